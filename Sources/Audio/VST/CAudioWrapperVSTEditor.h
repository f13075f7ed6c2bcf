#pragma once

#include "Audio/VST/AEffEditor.h"
#include "Core/CError.h"
#include "Core/CThreadContract.h"

namespace kel
{

class CAudioWrapperVST;
class CEditorPump;
class CNativeDisplay;
class CObject;
class CWindow;

// The plug-in's editor as the host sees it: the rectangle the host makes room for, and the user
// interface tree built from "UserInterface.xml" under the host's window while the editor is open.
//
// open makes a screen connection of the editor's own, builds the tree (its main window a child of
// the host's window), connects the tree's interface client to the instance, and starts the pump
// that serves the editor from the host's idle or, when the host gives none, from a thread of its
// own. close undoes it in reverse: the pump stops first, then the windows, the tree and the
// connection go. The effect owns the editor and deletes it before anything else; the editor
// points back at the effect without owning it. [ui thread]
class CAudioWrapperVSTEditor : public AEffEditor
{
public:
    // Makes the screen connection of an editor; the default is the X11 one. Tests install the
    // headless one.
    using DisplayMaker = CNativeDisplay* (*)();
    static void setDisplayMaker(DisplayMaker maker);

    explicit CAudioWrapperVSTEditor(CAudioWrapperVST* owner);
    ~CAudioWrapperVSTEditor() override;

    // Answers before open and without a display: the size comes from the shared tree's project
    // object times the interface scale.
    bool getRect(ERect** rectOut) override;
    // False when the tree exists already, or when anything fails (the error window says why;
    // nothing is left behind).
    bool open(void* parentWindow) override;
    void close() override;
    void idle() override;
    // Passes only the direction on, to the view under the pointer: a positive distance is one
    // step up, anything else one step down. True when an open window took it.
    bool onWheel(float distance) override;

    CObject* getUiRoot() const { return uiRoot; }
    CWindow* getRenderer() const { return renderer; }
    CEditorPump* getPump() const { return pump; }

private:
    [[nodiscard]] CError* openEditor(void* parentWindow);
    void closeEditor();
    void readRect();

    CAudioWrapperVST* wrapper;
    ERect rect;
    CNativeDisplay* display = nullptr; // owned while open
    CObject* uiRoot = nullptr;         // owned while open
    CWindow* renderer = nullptr;       // not owned: inside the tree
    CEditorPump* pump = nullptr;       // owned while open
    // The editor's calls come on the thread that opened it (checked in debug builds).
    CThreadContract uiContract{"editor"};
};

} // namespace kel
