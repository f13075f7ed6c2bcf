#pragma once

#include "Core/CArray.h"
#include "Core/CString.h"
#include "UI/Controls/CWindowDrag.h"

namespace kel
{

class CTextView;
class CValueList;

// The editor's own window for choosing a file to load or a name to save under (tag
// ui:file-dialog, the root of the template ui:win-file-dialog). It is opened like every popup:
// the parameters of popup-toggle arrive as its attributes.
//
//   "mode"             "load" or "save"; anything else fails the opening ("Invalid file
//                      dialog mode.")
//   "filter-name"      what the files are ("Compressed bank files"); the filter line shows it
//                      as name + " (*." + extension + ")"
//   "extension"        the files listed and, in save mode, added to a name typed without it
//   "filename-prefix"  the name proposed in save mode
//   "result-event", "result-target"
//                      the chosen file goes as this event to this object (a path), with
//                      "path" (full, UTF-8 as the system has it), "filename" and "extension";
//                      Cancel and a closed window send nothing
//
// The list (the child text view ".body.list-area.list", fed by the value list ".entries") shows
// ".." where the folder has a parent, then the sub-folders (with a trailing '/'), then the files
// with the extension, each group sorted without regard to case. A double click enters a folder
// or chooses a file; a press on a file puts its name in the name field (".name-row.name", an
// edit box on a click; Return there is OK). "Up" goes to the parent, "Home" and "Plug-in data" to
// those places. A folder that cannot be listed leaves the list as it was and says so in the
// status line (".status"). Saving over an existing file asks first (ui:win-confirmation, whose
// "Yes" raises file-dialog-replace here).
//
// The folder a file was chosen in is kept in the local data item "file-dialog-folder"; the
// next dialog starts there, else in the user's home folder. The buttons reach the dialog through
// the events file-dialog-up, -home, -data, -ok and -cancel. Owned by the tree like any popup
// root. [ui thread; the listing is blocking I/O of the ui thread]
class CFileDialog : public CWindowDrag
{
public:
    static constexpr const char* kFolderItem = "file-dialog-folder";

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // Lists folder (no trailing '/', "/" for the root) for the extension (without the dot; empty
    // lists every file): sub-folders and files, each sorted without regard to case; hidden entries
    // (a leading dot) left out. Answers 0 or
    // the system's error number, the outputs then empty.
    static int listFolder(const CString& folder, const CString& extension,
                          CArray<CString>& outFolders, CArray<CString>& outFiles);
    // The parent of a folder path; "/" for the root and its children.
    static CString getParentFolder(const CString& folder);
    static CString joinPath(const CString& folder, const CString& name);

    bool isSaveMode() const { return saveMode; }
    const CString& getFolder() const { return folder; }
    // The entries as the list shows them, in its order.
    int getEntryCount() const { return entryNames.getCount(); }
    const CString& getEntryName(int index) const { return entryNames[index]; }
    bool isEntryFolder(int index) const { return index < folderEntryCount; }
    // What the status line says; empty when all is well.
    const CString& getStatus() const { return status; }
    // The name in the name field.
    CString getFileName() const;

    // Lists the folder and shows it; a folder that cannot be read leaves everything as it was
    // and puts the reason in the status line (outShown false).
    [[nodiscard]] CError* showFolder(const CString& path, bool* outShown = nullptr);
    // A double click on the entry: a folder is entered, a file chosen.
    [[nodiscard]] CError* activateEntry(int index);
    // OK: the file of the name field.
    [[nodiscard]] CError* choose();
    // Cancel: the window ends, nothing is sent.
    [[nodiscard]] CError* cancel();

protected:
    // window-create: a press in another window (the question before a file is replaced, the
    // blocked window of the opener) leaves the dialog up.
    [[nodiscard]] CError* onCtlEvent(const CString& eventName, CAttrMap& params) override;

private:
    [[nodiscard]] CError* onUp(const CAttrMap& params);
    [[nodiscard]] CError* onHome(const CAttrMap& params);
    [[nodiscard]] CError* onData(const CAttrMap& params);
    [[nodiscard]] CError* onOk(const CAttrMap& params);
    [[nodiscard]] CError* onCancel(const CAttrMap& params);
    [[nodiscard]] CError* onReplaceConfirmed(const CAttrMap& params);
    [[nodiscard]] CError* onEntrySelected(const CAttrMap& params);
    [[nodiscard]] CError* onEntryDoubleClicked(const CAttrMap& params);
    [[nodiscard]] CError* onNameEdited(const CAttrMap& params);

    [[nodiscard]] CError* setChildTitle(const char* path, const CString& text);
    [[nodiscard]] CError* setStatus(const CString& text);
    // The first folder the dialog shows: the remembered one, else home, else the root.
    [[nodiscard]] CError* showStartFolder();
    // Sends the result for the file at path, remembers its folder, ends the window.
    [[nodiscard]] CError* deliver(const CString& path, const CString& fileName);
    [[nodiscard]] CError* closeWindow();

    CValueList* entries = nullptr; // not owned: the child ".entries"; cleared in detachLinks
    CTextView* list = nullptr;     // not owned: the list view; cleared in detachLinks
    bool saveMode = false;
    CString extension;
    CString folder;
    CArray<CString> entryNames;
    int folderEntryCount = 0; // ".." and the sub-folders, first in entryNames
    CString status;
    CString pendingPath; // a file to be replaced once the user confirms
    CString pendingName;
};

} // namespace kel
