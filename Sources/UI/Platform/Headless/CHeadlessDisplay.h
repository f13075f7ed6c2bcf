#pragma once

#include "Core/CArray.h"
#include "UI/Platform/CNativeDisplay.h"
#include "UI/Platform/CNativeWindow.h"

namespace kel
{

class CHeadlessWindow;

// The screen in memory: windows draw into bitmaps that tests and offscreen renders read, input
// is injected by the caller and delivered by pump in order, and the only monitor is a fixed
// 1920 by 1080 rectangle. No system call anywhere, so the interface runs without a display.
// Owned by whoever opened it. [ui thread]
class CHeadlessDisplay : public CNativeDisplay
{
public:
    static constexpr int kMonitorWidth = 1920;
    static constexpr int kMonitorHeight = 1080;

    CHeadlessDisplay() = default;
    ~CHeadlessDisplay() override;

    [[nodiscard]] CError* open() override;
    void close() override;
    CNativeWindow* createWindow() override;
    int getEventFd() const override { return -1; }
    void pump() override;

    bool isOpen() const { return opened; }
    // Queues an event for window; pump delivers it.
    void inject(CHeadlessWindow* window, const CNativeWindow::CInputEvent& event);
    int getWindowCount() const { return windows.getCount(); }
    CHeadlessWindow* getWindow(int index) const { return windows[index]; }
    // The screen's clipboard, shared by its windows as a real one is shared by clients.
    void setClipboard(const char* utf8, int bytes);
    const CArray<char>& getClipboard() const { return clipboard; }

private:
    friend class CHeadlessWindow;
    struct CQueued
    {
        CHeadlessWindow* window;
        CNativeWindow::CInputEvent event;
    };
    void forget(CHeadlessWindow* window);

    CArray<CHeadlessWindow*> windows; // not owned: each leaves when deleted
    CArray<CQueued> queue;
    CArray<char> clipboard;
    bool opened = false;
};

} // namespace kel
