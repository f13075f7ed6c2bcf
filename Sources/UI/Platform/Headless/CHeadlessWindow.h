#pragma once

#include "UI/Platform/CNativeWindow.h"

namespace kel
{

class CHeadlessDisplay;

// A window of the headless screen: its picture is a bitmap of the client area that present
// writes into, and flush only counts what would have gone to the screen. Tests read the picture
// and the counters. Made by CHeadlessDisplay, owned by whoever asked for it. [ui thread]
class CHeadlessWindow : public CNativeWindow
{
public:
    explicit CHeadlessWindow(CHeadlessDisplay* owner);
    ~CHeadlessWindow() override;

    [[nodiscard]] CError* open(const COpenParams& params) override;
    void close() override;
    void present(const CLinearBitmap& source, const CLinearBitmap::Rect& srcArea, int destX,
                 int destY) override;
    void flush() override;
    void setBounds(int x, int y, int width, int height) override;
    void clientToScreen(int x, int y, int& screenX, int& screenY) override;
    CScreenRect getMonitorAt(int screenX, int screenY) override;
    void setCapture(bool isCaptured) override { captured = isCaptured; }
    void warpPointer(int x, int y) override;
    void takeKeyFocus(bool isTaken) override { keyFocus = isTaken; }
    // The clipboard is the display's; the answer to a request is queued like any event.
    void copyToClipboard(const char* utf8, int bytes) override;
    void requestClipboardText() override;
    bool isOpen() const override { return opened; }

    // Delivers one event now, as the display's pump does.
    void deliver(const CInputEvent& event);
    void detachFromDisplay() { display = nullptr; }

    const CLinearBitmap& getPicture() const { return picture; }
    const COpenParams& getOpenParams() const { return openParams; }
    int getX() const { return windowX; }
    int getY() const { return windowY; }
    bool isCaptured() const { return captured; }
    bool hasKeyFocus() const { return keyFocus; }
    int getPresentCount() const { return presentCount; }
    int getFlushCount() const { return flushCount; }
    // Pixels presented since open, and the union of what the last flush sent.
    long long getPixelsPresented() const { return pixelsPresented; }
    const CLinearBitmap::Rect& getLastFlushArea() const { return lastFlushArea; }
    int getWarpX() const { return warpX; }
    int getWarpY() const { return warpY; }

private:
    CHeadlessDisplay* display; // not owned; outlives the window unless detached
    CLinearBitmap picture;
    COpenParams openParams;
    CLinearBitmap::Rect pendingArea;
    CLinearBitmap::Rect lastFlushArea;
    int windowX = 0;
    int windowY = 0;
    int presentCount = 0;
    int flushCount = 0;
    long long pixelsPresented = 0;
    int warpX = -1;
    int warpY = -1;
    bool opened = false;
    bool captured = false;
    bool keyFocus = false;
};

} // namespace kel
