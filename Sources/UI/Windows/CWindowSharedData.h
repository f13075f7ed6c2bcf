#pragma once

#include "Core/CArray.h"
#include "Core/CObject.h"

namespace kel
{

class CNativeDisplay;
class CWindow;

// What all windows of one editor share (tag ui:window-shared-data, at "ui.window-shared-data"):
// the connection to the screen that makes their native windows, the list of open windows (a
// press in one closes the popups of the others), and the frame counters of the render steps.
// The editor owns the display and sets it before the first window opens; the windows register
// at init and leave at detachLinks. [ui thread]
class CWindowSharedData : public CObject
{
public:
    static void registerClass(CClassInfo& info);
    void detachLinks() override;

    void setDisplay(CNativeDisplay* newDisplay) { display = newDisplay; }
    CNativeDisplay* getDisplay() const { return display; }

    void addWindow(CWindow* window);
    void removeWindow(CWindow* window);
    int getWindowCount() const { return windows.getCount(); }
    CWindow* getWindow(int index) const { return windows[index]; }

    // Counts render steps; each window copies the value at its step.
    uint64_t nextFrame() { return ++frameCounter; }
    uint64_t getFrameCounter() const { return frameCounter; }

private:
    CNativeDisplay* display = nullptr; // not owned: the editor's; cleared in detachLinks
    CArray<CWindow*> windows;          // not owned; each leaves in its own detachLinks
    uint64_t frameCounter = 0;
};

} // namespace kel
