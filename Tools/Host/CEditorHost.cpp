#include "CEditorHost.h"

#include "CHostedPlugin.h"

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <thread>

namespace kel
{

namespace
{
// How long closeEditor waits for the editor's window to leave the parent: a plug-in that lets
// the server destroy its window with its connection is only done once the server has read the
// connection's end.
constexpr int kCloseGraceMs = 200;
// Turns of the loop between injected input events, so that the plug-in sees each one apart.
constexpr int kInputGapMs = 20;

std::atomic<int64_t> gErrorCount{0};
std::mutex gLastErrorMutex;
CEditorHost::CXError gLastError;
// The host's own connection while it asks about windows that may be gone: a BadWindow there is
// the host's question, not the plug-in's fault. Errors reach the handler on the thread that
// reads the reply, which for the host's connection is the GUI thread asking.
thread_local Display* tQuietDisplay = nullptr;

int countXError(Display* from, XErrorEvent* event)
{
    if (from != nullptr && from == tQuietDisplay)
        return 0;
    gErrorCount.fetch_add(1);
    std::lock_guard<std::mutex> guard(gLastErrorMutex);
    gLastError.errorCode = event->error_code;
    gLastError.requestCode = event->request_code;
    gLastError.minorCode = event->minor_code;
    gLastError.resourceId = event->resourceid;
    // Anything but 0 would be ignored by Xlib anyway; the error is counted, the host goes on.
    return 0;
}

// Channel value of a pixel, scaled to 0..255, for any mask of a TrueColor visual.
uint32_t channelOf(unsigned long pixel, unsigned long mask)
{
    if (mask == 0)
        return 0;
    const int shift = __builtin_ctzl(mask);
    const unsigned long maximum = mask >> shift;
    return static_cast<uint32_t>(((pixel & mask) >> shift) * 255 / maximum);
}

double msBetween(std::chrono::steady_clock::time_point from,
                 std::chrono::steady_clock::time_point to)
{
    return std::chrono::duration<double, std::milli>(to - from).count();
}
} // namespace

CEditorHost::CEditorHost() = default;

CEditorHost::~CEditorHost()
{
    close();
}

void CEditorHost::installErrorHandler()
{
    XSetErrorHandler(&countXError);
}

bool CEditorHost::isErrorHandlerInstalled()
{
    return XSetErrorHandler(&countXError) == &countXError;
}

int64_t CEditorHost::getErrorCount()
{
    return gErrorCount.load();
}

CEditorHost::CXError CEditorHost::getLastError()
{
    std::lock_guard<std::mutex> guard(gLastErrorMutex);
    return gLastError;
}

CError* CEditorHost::open(const char* displayName)
{
    close();
    installErrorHandler();
    display = XOpenDisplay(displayName);
    if (!display)
        return KEL_ERROR("@kelstr_CEditorHost_open_NoDisplay Cannot open the display '%1'.",
                         displayName ? displayName : "$DISPLAY");
    int eventBase = 0, errorBase = 0, major = 0, minor = 0;
    if (!XTestQueryExtension(display, &eventBase, &errorBase, &major, &minor))
    {
        XCloseDisplay(display);
        display = nullptr;
        return KEL_ERROR("@kelstr_CEditorHost_open_NoXTest The display has no XTest extension.");
    }
    root = DefaultRootWindow(display);
    nextIdle = Clock::now();
    return nullptr;
}

void CEditorHost::close()
{
    for (CEditorSlot& slot : slots)
        if (slot.isOpen && slot.plugin)
            closeEditor(*slot.plugin);
    slots.clear();
    if (display)
        XCloseDisplay(display);
    display = nullptr;
    root = 0;
}

CEditorHost::CEditorSlot* CEditorHost::findSlot(const CHostedPlugin& plugin)
{
    for (CEditorSlot& slot : slots)
        if (slot.plugin == &plugin)
            return &slot;
    return nullptr;
}

const CEditorHost::CEditorSlot* CEditorHost::findSlot(const CHostedPlugin& plugin) const
{
    for (const CEditorSlot& slot : slots)
        if (slot.plugin == &plugin)
            return &slot;
    return nullptr;
}

CError* CEditorHost::openEditor(CHostedPlugin& plugin, int x, int y)
{
    if (!display)
        return KEL_ERROR("@kelstr_CEditorHost_openEditor_NoDisplay The host has no display.");
    CEditorSlot* slot = findSlot(plugin);
    if (slot && slot->isOpen)
        return KEL_ERROR("@kelstr_CEditorHost_openEditor_Open The editor is open already.");
    int width = 0, height = 0;
    if (!plugin.getEditorRect(width, height) || width <= 0 || height <= 0)
        return KEL_ERROR("@kelstr_CEditorHost_openEditor_NoRect The plug-in gives no editor size "
                         "(%1 by %2).",
                         width, height);
    if (!slot)
    {
        slots.push_back(CEditorSlot());
        slot = &slots.back();
        slot->plugin = &plugin;
    }

    // Black, so that a frame the editor has not drawn reads as blank.
    XSetWindowAttributes attributes = {};
    attributes.background_pixel = BlackPixel(display, DefaultScreen(display));
    attributes.event_mask = StructureNotifyMask | SubstructureNotifyMask | ExposureMask;
    const Window parent = XCreateWindow(
        display, root, x, y, static_cast<unsigned>(width), static_cast<unsigned>(height), 0,
        CopyFromParent, InputOutput, CopyFromParent, CWBackPixel | CWEventMask, &attributes);
    XStoreName(display, parent, "zumbel-host");
    XMapWindow(display, parent);
    XSync(display, False);

    slot->parent = parent;
    slot->width = width;
    slot->height = height;
    slot->childrenLeftAtClose = 0;
    const Clock::time_point before = Clock::now();
    const intptr_t answer = plugin.dispatch(
        kEffEditOpen, 0, 0, reinterpret_cast<void*>(static_cast<uintptr_t>(parent)));
    slot->openedAt = Clock::now();
    slot->openMs = msBetween(before, slot->openedAt);
    if (!answer)
    {
        XDestroyWindow(display, parent);
        XSync(display, False);
        slot->parent = 0;
        slot->isOpen = false;
        return nullptr;
    }
    slot->isOpen = true;

    // Hosts ask again once the editor stands and fit their window to the answer.
    int openWidth = 0, openHeight = 0;
    if (plugin.getEditorRect(openWidth, openHeight) && openWidth > 0 && openHeight > 0 &&
        (openWidth != width || openHeight != height))
    {
        slot->width = openWidth;
        slot->height = openHeight;
        XResizeWindow(display, parent, static_cast<unsigned>(openWidth),
                      static_cast<unsigned>(openHeight));
        XFlush(display);
    }
    pumpEvents();
    return nullptr;
}

bool CEditorHost::isEditorOpen(const CHostedPlugin& plugin) const
{
    const CEditorSlot* slot = findSlot(plugin);
    return slot && slot->isOpen;
}

void CEditorHost::closeEditor(CHostedPlugin& plugin)
{
    CEditorSlot* slot = findSlot(plugin);
    if (!slot || !slot->isOpen)
        return;
    plugin.dispatch(kEffEditClose);
    slot->isOpen = false;
    if (slot->parent && display)
    {
        const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kCloseGraceMs);
        size_t left = getChildren(slot->parent).size();
        while (left > 0 && Clock::now() < deadline)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            left = getChildren(slot->parent).size();
        }
        slot->childrenLeftAtClose = static_cast<int>(left);
        XDestroyWindow(display, slot->parent);
        XSync(display, False);
        slot->parent = 0;
    }
    pumpEvents();
}

void CEditorHost::destroyParent(CHostedPlugin& plugin)
{
    CEditorSlot* slot = findSlot(plugin);
    if (!slot || !slot->parent || !display)
        return;
    XDestroyWindow(display, slot->parent);
    XSync(display, False);
    slot->parent = 0;
    pumpEvents();
}

CEditorHost::WindowId CEditorHost::getParent(const CHostedPlugin& plugin) const
{
    const CEditorSlot* slot = findSlot(plugin);
    return slot ? slot->parent : 0;
}

CEditorHost::WindowId CEditorHost::findEditorWindow(const CHostedPlugin& plugin)
{
    const CEditorSlot* slot = findSlot(plugin);
    if (!slot || !slot->parent)
        return 0;
    const std::vector<WindowId> children = getChildren(slot->parent);
    return children.empty() ? 0 : children.front();
}

std::vector<CEditorHost::WindowId> CEditorHost::getChildren(WindowId window)
{
    std::vector<WindowId> found;
    if (!display || !window)
        return found;
    tQuietDisplay = display;
    Window rootOut = 0, parentOut = 0;
    Window* children = nullptr;
    unsigned count = 0;
    if (XQueryTree(display, window, &rootOut, &parentOut, &children, &count))
        found.assign(children, children + count);
    if (children)
        XFree(children);
    XSync(display, False);
    tQuietDisplay = nullptr;
    return found;
}

bool CEditorHost::windowExists(WindowId window)
{
    if (!display || !window)
        return false;
    tQuietDisplay = display;
    XWindowAttributes attributes;
    const bool exists = XGetWindowAttributes(display, window, &attributes) != 0;
    XSync(display, False);
    tQuietDisplay = nullptr;
    return exists;
}

std::vector<CEditorHost::WindowId> CEditorHost::getTopLevelWindows()
{
    return display ? getChildren(DefaultRootWindow(display)) : std::vector<WindowId>();
}

CEditorHost::WindowId CEditorHost::getTransientFor(WindowId window)
{
    if (!display || !window)
        return 0;
    tQuietDisplay = display;
    Window owner = 0;
    if (!XGetTransientForHint(display, window, &owner))
        owner = 0;
    XSync(display, False);
    tQuietDisplay = nullptr;
    return owner;
}

std::string CEditorHost::getWindowTitle(WindowId window)
{
    if (!display || !window)
        return std::string();
    tQuietDisplay = display;
    char* name = nullptr;
    std::string title;
    if (XFetchName(display, window, &name) && name)
        title = name;
    if (name)
        XFree(name);
    XSync(display, False);
    tQuietDisplay = nullptr;
    return title;
}

bool CEditorHost::isViewable(WindowId window)
{
    if (!display || !window)
        return false;
    tQuietDisplay = display;
    XWindowAttributes attributes;
    const bool viewable = XGetWindowAttributes(display, window, &attributes) != 0 &&
                          attributes.map_state == IsViewable;
    XSync(display, False);
    tQuietDisplay = nullptr;
    return viewable;
}

int CEditorHost::getEditorWidth(const CHostedPlugin& plugin) const
{
    const CEditorSlot* slot = findSlot(plugin);
    return slot ? slot->width : 0;
}

int CEditorHost::getEditorHeight(const CHostedPlugin& plugin) const
{
    const CEditorSlot* slot = findSlot(plugin);
    return slot ? slot->height : 0;
}

double CEditorHost::getOpenMs(const CHostedPlugin& plugin) const
{
    const CEditorSlot* slot = findSlot(plugin);
    return slot ? slot->openMs : -1.0;
}

int CEditorHost::getChildrenLeftAtClose(const CHostedPlugin& plugin) const
{
    const CEditorSlot* slot = findSlot(plugin);
    return slot ? slot->childrenLeftAtClose : 0;
}

void CEditorHost::setIdleRate(double hz)
{
    idleHz = hz > 0.0 ? hz : 0.0;
    nextIdle = Clock::now();
}

void CEditorHost::pumpEvents()
{
    if (!display)
        return;
    // The host's windows only tell it about themselves and their children; a host acts on
    // none of that here, it only keeps its queue empty as a real GUI loop does.
    while (XPending(display) > 0)
    {
        XEvent event;
        XNextEvent(display, &event);
    }
}

void CEditorHost::idleEditors()
{
    for (CEditorSlot& slot : slots)
        if (slot.isOpen && slot.plugin)
            slot.plugin->dispatch(kEffEditIdle);
}

void CEditorHost::runOnce(int maxWaitMs)
{
    pumpEvents();
    Clock::time_point now = Clock::now();
    int waitMs = maxWaitMs;
    if (idleHz > 0.0)
    {
        const auto period = std::chrono::duration_cast<Clock::duration>(
            std::chrono::duration<double>(1.0 / idleHz));
        if (now >= nextIdle)
        {
            idleEditors();
            nextIdle += period;
            // A slow turn skips the idles it missed instead of sending them in a burst.
            if (nextIdle < now)
                nextIdle = now + period;
            now = Clock::now();
        }
        const int untilIdleMs = static_cast<int>(std::max(0.0, msBetween(now, nextIdle)) + 0.5);
        waitMs = std::min(waitMs, untilIdleMs);
    }
    if (display)
    {
        XFlush(display);
        pollfd watch = {ConnectionNumber(display), POLLIN, 0};
        poll(&watch, 1, waitMs);
        pumpEvents();
    }
    else if (waitMs > 0)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
    }
}

void CEditorHost::runFor(double seconds)
{
    const Clock::time_point deadline =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(
                           std::chrono::duration<double>(seconds > 0.0 ? seconds : 0.0));
    while (true)
    {
        const double leftMs = msBetween(Clock::now(), deadline);
        if (leftMs <= 0.0)
            break;
        runOnce(std::min(10, static_cast<int>(leftMs) + 1));
    }
}

bool CEditorHost::runUntil(const std::function<bool()>& done, double timeoutSec)
{
    const Clock::time_point deadline =
        Clock::now() +
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(timeoutSec));
    while (!done())
    {
        if (Clock::now() >= deadline)
            return false;
        runOnce(5);
    }
    return true;
}

double CEditorHost::waitForFirstFrame(const CHostedPlugin& plugin, double timeoutSec)
{
    const CEditorSlot* slot = findSlot(plugin);
    if (!slot || !slot->isOpen)
        return -1.0;
    const Clock::time_point openedAt = slot->openedAt;
    CRgbImage picture;
    const bool drawn =
        runUntil([&]() { return grabEditor(plugin, picture) && !picture.isBlank(); }, timeoutSec);
    return drawn ? msBetween(openedAt, Clock::now()) : -1.0;
}

void CEditorHost::toParentRoot(const CHostedPlugin& plugin, int x, int y, int& rootX, int& rootY)
{
    rootX = x;
    rootY = y;
    const CEditorSlot* slot = findSlot(plugin);
    if (!slot || !slot->parent || !display)
        return;
    Window child = 0;
    tQuietDisplay = display;
    XTranslateCoordinates(display, slot->parent, root, x, y, &rootX, &rootY, &child);
    XSync(display, False);
    tQuietDisplay = nullptr;
}

void CEditorHost::settle(int ms)
{
    runFor(ms / 1000.0);
}

void CEditorHost::movePointer(const CHostedPlugin& plugin, int x, int y)
{
    if (!display)
        return;
    int rootX = 0, rootY = 0;
    toParentRoot(plugin, x, y, rootX, rootY);
    XTestFakeMotionEvent(display, DefaultScreen(display), rootX, rootY, CurrentTime);
    XFlush(display);
}

void CEditorHost::pressButton(int button)
{
    if (!display)
        return;
    XTestFakeButtonEvent(display, static_cast<unsigned>(button), True, CurrentTime);
    XFlush(display);
}

void CEditorHost::releaseButton(int button)
{
    if (!display)
        return;
    XTestFakeButtonEvent(display, static_cast<unsigned>(button), False, CurrentTime);
    XFlush(display);
}

void CEditorHost::click(const CHostedPlugin& plugin, int x, int y, int button)
{
    movePointer(plugin, x, y);
    settle(kInputGapMs);
    pressButton(button);
    settle(kInputGapMs);
    releaseButton(button);
    settle(kInputGapMs);
}

void CEditorHost::clickWindow(WindowId window, int x, int y, int button)
{
    if (!display)
        return;
    int rootX = x, rootY = y;
    Window child = 0;
    tQuietDisplay = display;
    XTranslateCoordinates(display, window, root, x, y, &rootX, &rootY, &child);
    XSync(display, False);
    tQuietDisplay = nullptr;
    XTestFakeMotionEvent(display, DefaultScreen(display), rootX, rootY, CurrentTime);
    XFlush(display);
    settle(kInputGapMs);
    pressButton(button);
    settle(kInputGapMs);
    releaseButton(button);
    settle(kInputGapMs);
}

void CEditorHost::drag(const CHostedPlugin& plugin, int x0, int y0, int x1, int y1, int steps)
{
    movePointer(plugin, x0, y0);
    settle(kInputGapMs);
    pressButton(1);
    settle(kInputGapMs);
    steps = std::max(steps, 1);
    for (int i = 1; i <= steps; ++i)
    {
        movePointer(plugin, x0 + (x1 - x0) * i / steps, y0 + (y1 - y0) * i / steps);
        settle(kInputGapMs);
    }
    releaseButton(1);
    settle(kInputGapMs);
}

void CEditorHost::scrollWheel(const CHostedPlugin& plugin, int x, int y, int steps)
{
    movePointer(plugin, x, y);
    settle(kInputGapMs);
    const int button = steps > 0 ? 4 : 5;
    for (int i = 0; i < std::abs(steps); ++i)
    {
        pressButton(button);
        releaseButton(button);
        settle(kInputGapMs);
    }
}

void CEditorHost::pressKey(unsigned long keysym)
{
    if (!display)
        return;
    XTestFakeKeyEvent(display, XKeysymToKeycode(display, keysym), True, CurrentTime);
    XFlush(display);
}

void CEditorHost::releaseKey(unsigned long keysym)
{
    if (!display)
        return;
    XTestFakeKeyEvent(display, XKeysymToKeycode(display, keysym), False, CurrentTime);
    XFlush(display);
}

void CEditorHost::typeKey(unsigned long keysym)
{
    pressKey(keysym);
    settle(kInputGapMs);
    releaseKey(keysym);
    settle(kInputGapMs);
}

void CEditorHost::typeText(const std::string& text)
{
    static const char* const kShifted = "~!@#$%^&*()_+{}|:\"<>?";
    for (const char c : text)
    {
        const bool shift =
            (c >= 'A' && c <= 'Z') || (c != '\0' && std::strchr(kShifted, c) != nullptr);
        if (shift)
            pressKey(XK_Shift_L);
        // Printable ASCII keysyms are the characters' codes.
        typeKey(static_cast<unsigned char>(c));
        if (shift)
            releaseKey(XK_Shift_L);
    }
}

void CEditorHost::focusParent(const CHostedPlugin& plugin)
{
    const WindowId parent = getParent(plugin);
    if (!display || !parent)
        return;
    XSetInputFocus(display, parent, RevertToParent, CurrentTime);
    XFlush(display);
    settle(kInputGapMs);
}

CEditorHost::WindowId CEditorHost::getInputFocus()
{
    if (!display)
        return 0;
    Window focus = 0;
    int revert = 0;
    XGetInputFocus(display, &focus, &revert);
    return focus;
}

bool CEditorHost::grabEditor(const CHostedPlugin& plugin, CRgbImage& out)
{
    const WindowId editor = findEditorWindow(plugin);
    return grabWindow(editor ? editor : getParent(plugin), out);
}

bool CEditorHost::grabWindow(WindowId window, CRgbImage& out)
{
    if (!display || !window)
        return false;
    // The window may go at any moment (the editor closes its own); the host's questions about
    // it are allowed to fail.
    tQuietDisplay = display;
    XWindowAttributes attributes;
    XImage* image = nullptr;
    if (XGetWindowAttributes(display, window, &attributes) && attributes.map_state == IsViewable &&
        attributes.width > 0 && attributes.height > 0)
        image = XGetImage(display, window, 0, 0, static_cast<unsigned>(attributes.width),
                          static_cast<unsigned>(attributes.height), AllPlanes, ZPixmap);
    XSync(display, False);
    tQuietDisplay = nullptr;
    if (!image)
        return false;
    const Visual* visual = attributes.visual;
    out = CRgbImage(attributes.width, attributes.height);
    for (int y = 0; y < attributes.height; ++y)
        for (int x = 0; x < attributes.width; ++x)
        {
            const unsigned long pixel = XGetPixel(image, x, y);
            out.setPixel(x, y,
                         (channelOf(pixel, visual->red_mask) << 16) |
                             (channelOf(pixel, visual->green_mask) << 8) |
                             channelOf(pixel, visual->blue_mask));
        }
    XDestroyImage(image);
    return true;
}

} // namespace kel
