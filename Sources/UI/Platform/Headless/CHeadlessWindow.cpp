#include "UI/Platform/Headless/CHeadlessWindow.h"

#include "UI/Platform/Headless/CHeadlessDisplay.h"

namespace kel
{

CHeadlessWindow::CHeadlessWindow(CHeadlessDisplay* owner) : display(owner) {}

CHeadlessWindow::~CHeadlessWindow()
{
    if (display)
        display->forget(this);
}

CError* CHeadlessWindow::open(const COpenParams& params)
{
    openParams = params;
    openParams.title = "";
    windowX = params.x;
    windowY = params.y;
    KEL_CHECK(picture.resize(params.width, params.height));
    pendingArea = {};
    opened = true;
    return nullptr;
}

void CHeadlessWindow::close()
{
    opened = false;
    captured = false;
}

void CHeadlessWindow::present(const CLinearBitmap& source, const CLinearBitmap::Rect& srcArea,
                              int destX, int destY)
{
    if (!opened)
        return;
    ++presentCount;
    // Cut to the source and to the window, then copy row by row.
    int left = srcArea.left < 0 ? 0 : srcArea.left;
    int top = srcArea.top < 0 ? 0 : srcArea.top;
    int right = srcArea.right > source.getWidth() ? source.getWidth() : srcArea.right;
    int bottom = srcArea.bottom > source.getHeight() ? source.getHeight() : srcArea.bottom;
    const int shiftX = destX - srcArea.left;
    const int shiftY = destY - srcArea.top;
    if (left + shiftX < 0)
        left = -shiftX;
    if (top + shiftY < 0)
        top = -shiftY;
    if (right + shiftX > picture.getWidth())
        right = picture.getWidth() - shiftX;
    if (bottom + shiftY > picture.getHeight())
        bottom = picture.getHeight() - shiftY;
    if (right <= left || bottom <= top)
        return;
    for (int y = top; y < bottom; ++y)
    {
        const uint32_t* from = source.getRow(y) + left;
        uint32_t* to = picture.getRow(y + shiftY) + left + shiftX;
        for (int x = 0; x < right - left; ++x)
            to[x] = from[x];
    }
    pixelsPresented += static_cast<long long>(right - left) * (bottom - top);
    const CLinearBitmap::Rect done{left + shiftX, top + shiftY, right + shiftX, bottom + shiftY};
    if (pendingArea.isEmpty())
        pendingArea = done;
    else
    {
        pendingArea.left = done.left < pendingArea.left ? done.left : pendingArea.left;
        pendingArea.top = done.top < pendingArea.top ? done.top : pendingArea.top;
        pendingArea.right = done.right > pendingArea.right ? done.right : pendingArea.right;
        pendingArea.bottom = done.bottom > pendingArea.bottom ? done.bottom : pendingArea.bottom;
    }
}

void CHeadlessWindow::flush()
{
    if (!opened)
        return;
    ++flushCount;
    lastFlushArea = pendingArea;
    pendingArea = {};
}

void CHeadlessWindow::setBounds(int x, int y, int width, int height)
{
    windowX = x;
    windowY = y;
    if (width != picture.getWidth() || height != picture.getHeight())
    {
        if (CError* error = picture.resize(width, height))
            delete error; // the old picture stays; a test sees the size unchanged
    }
}

void CHeadlessWindow::clientToScreen(int x, int y, int& screenX, int& screenY)
{
    screenX = windowX + x;
    screenY = windowY + y;
}

CNativeWindow::CScreenRect CHeadlessWindow::getMonitorAt(int /*screenX*/, int /*screenY*/)
{
    return {0, 0, CHeadlessDisplay::kMonitorWidth, CHeadlessDisplay::kMonitorHeight};
}

void CHeadlessWindow::warpPointer(int x, int y)
{
    warpX = x;
    warpY = y;
}

void CHeadlessWindow::deliver(const CInputEvent& event)
{
    if (listener)
        listener->onNativeEvent(event);
}

void CHeadlessWindow::copyToClipboard(const char* utf8, int bytes)
{
    if (display)
        display->setClipboard(utf8, bytes);
}

void CHeadlessWindow::requestClipboardText()
{
    if (!display)
        return;
    CInputEvent answer;
    answer.kind = CInputEvent::kClipboardText;
    display->inject(this, answer);
}

} // namespace kel
