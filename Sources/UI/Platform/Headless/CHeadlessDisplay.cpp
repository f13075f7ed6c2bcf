#include "UI/Platform/Headless/CHeadlessDisplay.h"

#include "UI/Platform/Headless/CHeadlessWindow.h"

namespace kel
{

CHeadlessDisplay::~CHeadlessDisplay()
{
    close();
}

CError* CHeadlessDisplay::open()
{
    opened = true;
    return nullptr;
}

void CHeadlessDisplay::close()
{
    // Windows still alive keep working on their own, without a display to pump them.
    for (CHeadlessWindow* window : windows)
        window->detachFromDisplay();
    windows.clear();
    queue.clear();
    opened = false;
}

CNativeWindow* CHeadlessDisplay::createWindow()
{
    auto* window = new CHeadlessWindow(this);
    windows.add(window);
    return window;
}

void CHeadlessDisplay::inject(CHeadlessWindow* window, const CNativeWindow::CInputEvent& event)
{
    queue.add(CQueued{window, event});
}

void CHeadlessDisplay::pump()
{
    // Events injected while delivering wait for the next pump, as a real queue would.
    CArray<CQueued> taken;
    taken.reserve(queue.getCount());
    for (const CQueued& queued : queue)
        taken.add(queued);
    queue.clear();
    for (CQueued& queued : taken)
    {
        if (!windows.contains(queued.window))
            continue;
        // A clipboard answer carries the text the clipboard holds when it arrives.
        if (queued.event.kind == CNativeWindow::CInputEvent::kClipboardText)
        {
            queued.event.text = clipboard.getData();
            queued.event.textBytes = clipboard.getCount();
        }
        queued.window->deliver(queued.event);
    }
}

void CHeadlessDisplay::setClipboard(const char* utf8, int bytes)
{
    clipboard.clear();
    for (int i = 0; i < bytes; ++i)
        clipboard.add(utf8[i]);
}

void CHeadlessDisplay::forget(CHeadlessWindow* window)
{
    const int index = windows.indexOf(window);
    if (index >= 0)
        windows.removeAt(index);
    for (int i = queue.getCount() - 1; i >= 0; --i)
    {
        if (queue[i].window == window)
            queue.removeAt(i);
    }
}

} // namespace kel
