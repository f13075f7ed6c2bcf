#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "UI/CLinearBitmap.h"

#include <cstdint>

namespace kel
{

// The one seam between a window of the view framework (CWindow) and the screen. A backend
// (X11, or the headless one that draws into memory for tests and offscreen renders) implements
// it; nothing above this seam knows which. The window keeps a picture of its whole client area
// on the backend's side: CWindow copies finished sectors into it with present and sends them to
// the screen with flush.
//
// Windows come from a CNativeDisplay (one connection to the screen per editor). Input, exposure
// and the loss of the parent come back through CListener, only from inside the display's pump.
// Ownership: whoever made the window owns it and deletes it after close; the display outlives it.
// [ui thread: every call]
class CNativeWindow : public CCheckedObject
{
public:
    // Modifier bits of an input event.
    static constexpr int kModShift = 1;
    static constexpr int kModCtrl = 2;
    static constexpr int kModAlt = 4;
    static constexpr int kModButtonL = 8;
    static constexpr int kModButtonR = 16;

    struct CInputEvent
    {
        enum Kind
        {
            kMouseMove,
            kMouseButton, // button 1 (left) or 3 (right), press or release
            kMouseWheel,  // buttons 4 and 5 of X11: wheelDelta +1 (up) or -1 (down)
            kMouseEnter,
            kMouseLeave,
            kKeyDown,
            kKeyUp,
            kFocusOut,
            kCaptureLost,   // another client took the pointer while the window held it
            kResize,        // width, height: the client area's new size
            kExpose,        // area: a part of the window to be painted again
            kClose,         // the window manager asks a top-level window to close
            kParentGone,    // the host destroyed the parent; the window is gone with it
            kClipboardText, // text, textBytes: the answer to requestClipboardText
        };
        Kind kind = kMouseMove;
        int x = 0; // pointer position in client coordinates
        int y = 0;
        int button = 0; // 1 left, 3 right
        bool isDown = false;
        int modifiers = 0;      // kMod* bits at the moment of the event
        uint32_t keysym = 0;    // X11 keysym numbering (also used by the headless backend)
        uint32_t character = 0; // the Unicode character of a key, 0 if none
        int wheelDelta = 0;
        int width = 0;
        int height = 0;
        CLinearBitmap::Rect area;
        uint32_t timeMs = 0;        // the event's time stamp, milliseconds of the server's clock
        const char* text = nullptr; // UTF-8, valid while the event is delivered; not terminated
        int textBytes = 0;
    };

    class CListener
    {
    public:
        virtual ~CListener() = default;
        virtual void onNativeEvent(const CInputEvent& event) = 0;
    };

    struct COpenParams
    {
        // The host's window for an embedded editor (an X11 Window id carried in a pointer), or null
        // for a top-level window.
        void* parent = nullptr;
        // For a top-level window: the window it stays above (a CNativeWindow already open), or
        // null.
        CNativeWindow* transientFor = nullptr;
        int x = 0; // screen position of a top-level window; ignored for an embedded one
        int y = 0;
        int width = 0;
        int height = 0;
        bool isPopup = false; // no decoration, no taskbar entry, placed exactly at x, y
        const char* title = "";
    };

    // A monitor's rectangle in screen coordinates.
    struct CScreenRect
    {
        int left = 0;
        int top = 0;
        int right = 0;
        int bottom = 0;
    };

    ~CNativeWindow() override = default;

    void setListener(CListener* newListener) { listener = newListener; }

    // Creates and shows the window, flushed to the server at once. An error if the display or
    // the window cannot be had.
    [[nodiscard]] virtual CError* open(const COpenParams& params) = 0;
    // Destroys the window (unless the parent took it already) and frees everything of it.
    virtual void close() = 0;

    // Copies the part srcArea of source into the window's picture with srcArea's top left corner at
    // (destX, destY); parts outside the window are cut. Nothing reaches the screen before flush.
    virtual void present(const CLinearBitmap& source, const CLinearBitmap::Rect& srcArea, int destX,
                         int destY) = 0;
    // Sends the parts of the picture presented since the last flush to the screen.
    virtual void flush() = 0;

    // Window geometry in the parent's (or the screen's) coordinates.
    virtual void setBounds(int x, int y, int width, int height) = 0;
    // Screen position of a client point, for placing popups.
    virtual void clientToScreen(int x, int y, int& screenX, int& screenY) = 0;
    // The monitor that holds the screen point.
    virtual CScreenRect getMonitorAt(int screenX, int screenY) = 0;

    // While captured, motion and release outside the window still come to it.
    virtual void setCapture(bool isCaptured) = 0;
    // Puts the pointer at a client point (endless drags).
    virtual void warpPointer(int x, int y) = 0;
    // Takes the keyboard focus (a text field starts editing) or gives it back to the parent.
    virtual void takeKeyFocus(bool isTaken) = 0;

    // The system clipboard. Copy makes this window the owner of the text (UTF-8) until another
    // client copies; request asks for the current text, which arrives later as one
    // kClipboardText event (empty when the clipboard holds no text or nobody answers).
    virtual void copyToClipboard(const char* utf8, int bytes) = 0;
    virtual void requestClipboardText() = 0;

    virtual bool isOpen() const = 0;

protected:
    CListener* listener = nullptr;
};

} // namespace kel
