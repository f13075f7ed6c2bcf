#include "UI/Platform/X11/CX11Display.h"

#include "Core/Platform/CLock.h"
#include "UI/Platform/X11/CX11Window.h"

#include <X11/Xlib.h>
#include <X11/extensions/XShm.h>

#include <cstdlib>
#include <cstring>

namespace kel
{

namespace
{

// The handler is process-wide: two editors swapping it at once could leave ours installed for
// good. One lock for every guard of every display.
CLock& guardLock()
{
    static CLock lock;
    return lock;
}

// The display whose guard is running; read by the handler, which Xlib calls on that thread.
CX11Display* guardedDisplay = nullptr;
int guardErrors = 0;
unsigned long guardErrorResource = 0;

int takeError(Display* /*connection*/, XErrorEvent* event)
{
    ++guardErrors;
    guardErrorResource = event->resourceid;
    return 0;
}

Display* asDisplay(void* connection)
{
    return static_cast<Display*>(connection);
}

} // namespace

CX11Display::~CX11Display()
{
    close();
}

CNativeDisplay* CX11Display::makeAboveEditors()
{
    auto* display = new CX11Display();
    display->aboveEditors = true;
    return display;
}

CError* CX11Display::open()
{
    if (connection)
        return nullptr;
    const char* name = std::getenv("DISPLAY");
    Display* opened = XOpenDisplay(nullptr);
    if (!opened)
        return CError::create(
            "@kelstr_CX11Display_open_NoDisplay Unable to connect to the X display '%1'.",
            name ? name : "");
    connection = opened;
    eventFd = ConnectionNumber(opened);
    // Shared memory only works when the server runs on this machine.
    const char* displayName = DisplayString(opened);
    const bool local =
        displayName && (displayName[0] == ':' || !std::strncmp(displayName, "unix:", 5));
    sharedMemory = local && XShmQueryExtension(opened);
    return nullptr;
}

void CX11Display::close()
{
    for (CX11Window* window : windows)
        window->close();
    windows.clear();
    if (connection)
        XCloseDisplay(asDisplay(connection));
    connection = nullptr;
    eventFd = -1;
}

CNativeWindow* CX11Display::createWindow()
{
    auto* window = new CX11Window(this);
    windows.add(window);
    return window;
}

void CX11Display::forget(CX11Window* window)
{
    const int index = windows.indexOf(window);
    if (index >= 0)
        windows.removeAt(index);
}

int CX11Display::guarded(void (*work)(void* context), void* context)
{
    if (!connection)
        return 0;
    CLockGuard hold(&guardLock());
    guardedDisplay = this;
    guardErrors = 0;
    guardErrorResource = 0;
    XErrorHandler previous = XSetErrorHandler(&takeError);
    work(context);
    XSync(asDisplay(connection), False);
    XSetErrorHandler(previous);
    const int taken = guardErrors;
    if (taken > 0)
    {
        errorCount += taken;
        lastErrorResource = guardErrorResource;
        // An error that names one of our windows means the host took it away.
        for (CX11Window* window : windows)
        {
            if (window->getWindowId() == guardErrorResource)
                window->markGone();
        }
    }
    guardedDisplay = nullptr;
    return taken;
}

void CX11Display::pump()
{
    if (!connection)
        return;
    // Every request of ours ended in a synchronised guard, so no error can be on its way: when
    // nothing has arrived either, a frame costs one non-blocking read and no round trip.
    if (XEventsQueued(asDisplay(connection), QueuedAfterReading) == 0)
        return;
    // Events are read inside the guard (errors come in with them) and delivered outside it, so
    // that a listener may make requests of its own.
    struct CRead
    {
        CX11Display* self;
        CArray<XEvent, 16> events;
    } read{this, {}};
    guarded(
        [](void* context)
        {
            auto* state = static_cast<CRead*>(context);
            Display* server = asDisplay(state->self->connection);
            while (XPending(server) > 0)
            {
                XEvent event;
                XNextEvent(server, &event);
                // Only the last of a run of motions matters.
                if (event.type == MotionNotify)
                {
                    while (
                        XCheckTypedWindowEvent(server, event.xmotion.window, MotionNotify, &event))
                    {
                    }
                }
                state->events.add(event);
            }
        },
        &read);
    for (XEvent& event : read.events)
        dispatch(&event);
}

void CX11Display::dispatch(void* rawEvent)
{
    XEvent* event = static_cast<XEvent*>(rawEvent);
    for (CX11Window* window : windows)
    {
        if (window->getWindowId() == event->xany.window)
        {
            window->handleEvent(event);
            return;
        }
    }
}

} // namespace kel
