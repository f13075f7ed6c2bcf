#pragma once

#include "Core/CArray.h"
#include "UI/Platform/CNativeWindow.h"

#include <cstdint>

namespace kel
{

class CX11Display;

// One X11 window of an editor: a direct child of the host's window (the editor), or a top-level
// window kept above the host's top-level window (a popup or another window of the editor). Its
// picture is an XImage of the client area, in shared memory where the server offers it;
// present writes into it and flush sends the part written since the last flush.
//
// The host may destroy its window, and ours with it, at any time: the window then notices the
// DestroyNotify (or an error naming it), reports kParentGone once and makes no more requests.
// Made by CX11Display, owned by whoever asked for it; the display outlives it. [ui thread]
class CX11Window : public CNativeWindow
{
public:
    explicit CX11Window(CX11Display* owner);
    ~CX11Window() override;

    [[nodiscard]] CError* open(const COpenParams& params) override;
    void close() override;
    void present(const CLinearBitmap& source, const CLinearBitmap::Rect& srcArea, int destX,
                 int destY) override;
    void flush() override;
    void setBounds(int x, int y, int width, int height) override;
    void clientToScreen(int x, int y, int& screenX, int& screenY) override;
    CScreenRect getMonitorAt(int screenX, int screenY) override;
    void setCapture(bool isCaptured) override;
    void warpPointer(int x, int y) override;
    void takeKeyFocus(bool isTaken) override;
    // CLIPBOARD in UTF8_STRING (TARGETS answered too). Transfers in pieces (INCR) are not
    // spoken: a text field's text fits one property many times over; such an answer comes as
    // empty text.
    void copyToClipboard(const char* utf8, int bytes) override;
    void requestClipboardText() override;
    bool isOpen() const override { return window != 0 && !gone; }

    // The X window id, 0 when closed.
    unsigned long getWindowId() const { return window; }
    bool isGone() const { return gone; }
    bool usesSharedMemory() const { return shmInfo != nullptr; }

private:
    friend class CX11Display;
    // One event of this window (an XEvent*), from the display's pump.
    void handleEvent(void* event);
    void markGone();
    [[nodiscard]] CError* makeImage(int width, int height);
    void freeImage();
    void deliver(const CInputEvent& event);
    // Selection traffic: another client asks for our text, takes the clipboard, or answers us.
    void answerSelectionRequest(void* event);
    void takeSelectionAnswer(void* event);
    void internClipboardAtoms();

    CX11Display* display; // not owned; outlives the window
    unsigned long window = 0;
    unsigned long parent = 0;
    // Who had the keyboard before a text field took it; it goes back there.
    unsigned long focusBefore = 0;
    void* image = nullptr;   // XImage*, owned
    void* shmInfo = nullptr; // XShmSegmentInfo*, owned when shared memory is used
    void* gc = nullptr;      // GC, owned
    unsigned long deleteAtom = 0;
    unsigned long clipboardAtom = 0;
    unsigned long utf8Atom = 0;
    unsigned long targetsAtom = 0;
    unsigned long transferAtom = 0; // our property that answers are written into
    CArray<char> clipboardText;     // what we copied, while we own the clipboard
    bool ownsClipboard = false;
    int imageWidth = 0;
    int imageHeight = 0;
    CLinearBitmap::Rect dirty;
    uint32_t lastEventTime = 0;
    bool gone = false;
    bool destroying = false;
    bool listedParent = false; // an editor's window: its parent is among the editors' hosts
    bool captured = false;
    bool swapBytes = false; // the visual's channels are not 0x00RRGGBB
};

} // namespace kel
