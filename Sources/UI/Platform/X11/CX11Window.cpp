#include "UI/Platform/X11/CX11Window.h"

#include "UI/Platform/X11/CX11Display.h"

#include "Core/Platform/CLock.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XShm.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace kel
{

namespace
{

Display* connectionOf(CX11Display* display)
{
    return static_cast<Display*>(display->getConnection());
}

// Runs a lambda inside the display's guard.
template <typename Work> int guard(CX11Display* display, Work&& work)
{
    using Callable = std::remove_reference_t<Work>;
    return display->guarded([](void* context) { (*static_cast<Callable*>(context))(); }, &work);
}

int modifiersOf(unsigned int state)
{
    int modifiers = 0;
    if (state & ShiftMask)
        modifiers |= CNativeWindow::kModShift;
    if (state & ControlMask)
        modifiers |= CNativeWindow::kModCtrl;
    if (state & Mod1Mask)
        modifiers |= CNativeWindow::kModAlt;
    if (state & Button1Mask)
        modifiers |= CNativeWindow::kModButtonL;
    if (state & Button3Mask)
        modifiers |= CNativeWindow::kModButtonR;
    return modifiers;
}

// The Unicode character of a keysym: Latin-1 keysyms are their own code, keysyms from
// 0x1000000 carry the code point; everything else (function keys, arrows) has none.
uint32_t characterOf(KeySym keysym)
{
    if ((keysym >= 0x20 && keysym <= 0x7e) || (keysym >= 0xa0 && keysym <= 0xff))
        return static_cast<uint32_t>(keysym);
    if (keysym >= 0x1000100 && keysym <= 0x110ffff)
        return static_cast<uint32_t>(keysym - 0x1000000);
    return 0;
}

// The top-level ancestor of a window (the child of the root it lies in).
Window topLevelOf(Display* connection, Window walk)
{
    for (int depthLeft = 64; walk && depthLeft > 0; --depthLeft)
    {
        Window rootOut = 0;
        Window parentOut = 0;
        Window* children = nullptr;
        unsigned int count = 0;
        if (!XQueryTree(connection, walk, &rootOut, &parentOut, &children, &count))
            break;
        if (children)
            XFree(children);
        if (parentOut == rootOut)
            break;
        walk = parentOut;
    }
    return walk;
}

// The hosts' windows that our editors stand in, newest last, for windows that must stay above
// the editor without being opened from it. Process-wide: each editor has its own connection.
CLock& editorParentsLock()
{
    static CLock lock;
    return lock;
}

CArray<unsigned long>& editorParents()
{
    static CArray<unsigned long> parents;
    return parents;
}

unsigned long newestEditorParent()
{
    CLockGuard hold(&editorParentsLock());
    const CArray<unsigned long>& parents = editorParents();
    return parents.isEmpty() ? 0 : parents[parents.getCount() - 1];
}

} // namespace

CX11Window::CX11Window(CX11Display* owner) : display(owner) {}

CX11Window::~CX11Window()
{
    close();
    if (display)
        display->forget(this);
}

CError* CX11Window::open(const COpenParams& params)
{
    Display* connection = connectionOf(display);
    if (!connection)
        return CError::create("@kelstr_CX11Window_open_NoDisplay Unable to create window (error "
                              "%1).",
                              "no connection");
    const int screen = DefaultScreen(connection);
    Visual* visual = DefaultVisual(connection, screen);
    const int depth = DefaultDepth(connection, screen);
    if (visual->c_class != TrueColor || (depth != 24 && depth != 32))
        return CError::create("@kelstr_CX11Window_open_Visual Unable to create window (error "
                              "%1).",
                              "the screen has no 24-bit true colour");
    swapBytes = !(visual->red_mask == 0xff0000 && visual->green_mask == 0xff00 &&
                  visual->blue_mask == 0xff);
    const Window root = RootWindow(connection, screen);
    const bool embedded = params.parent != nullptr;
    parent = embedded ? static_cast<Window>(reinterpret_cast<uintptr_t>(params.parent)) : root;
    // A window of no opener on a display that keeps such windows above the editors.
    const bool aboveEditor =
        !embedded && !params.transientFor && !params.isPopup && display->isAboveEditors();

    CError* error = nullptr;
    const int errors = guard(
        display,
        [&]()
        {
            XSetWindowAttributes attributes;
            std::memset(&attributes, 0, sizeof attributes);
            // No background: what shows before the first put is what the server had there,
            // not a flash of colour.
            attributes.background_pixmap = None;
            attributes.event_mask = ButtonPressMask | ButtonReleaseMask | PointerMotionMask |
                                    EnterWindowMask | LeaveWindowMask | KeyPressMask |
                                    KeyReleaseMask | FocusChangeMask | ExposureMask |
                                    StructureNotifyMask;
            attributes.override_redirect = params.isPopup ? True : False;
            const int x = embedded ? 0 : params.x;
            const int y = embedded ? 0 : params.y;
            window = XCreateWindow(connection, parent, x, y, static_cast<unsigned>(params.width),
                                   static_cast<unsigned>(params.height), 0, CopyFromParent,
                                   InputOutput, CopyFromParent,
                                   CWBackPixmap | CWEventMask | CWOverrideRedirect, &attributes);
            if (embedded)
            {
                // Hosts that speak XEmbed see a client that is mapped and needs nothing more.
                const Atom xembedInfo = XInternAtom(connection, "_XEMBED_INFO", False);
                const unsigned long info[2] = {0, 1};
                XChangeProperty(connection, window, xembedInfo, xembedInfo, 32, PropModeReplace,
                                reinterpret_cast<const unsigned char*>(info), 2);
            }
            else
            {
                XStoreName(connection, window, params.title ? params.title : "");
                deleteAtom = XInternAtom(connection, "WM_DELETE_WINDOW", False);
                Atom protocols[1] = {static_cast<Atom>(deleteAtom)};
                XSetWMProtocols(connection, window, protocols, 1);
                // Kept above the host's top-level window: the top-level ancestor of the opener.
                if (auto* opener = dynamic_cast<CX11Window*>(params.transientFor))
                    XSetTransientForHint(connection, window,
                                         topLevelOf(connection, opener->window));
                XSizeHints hints;
                std::memset(&hints, 0, sizeof hints);
                hints.flags = PPosition | PMinSize | PMaxSize;
                hints.x = params.x;
                hints.y = params.y;
                hints.min_width = hints.max_width = params.width;
                hints.min_height = hints.max_height = params.height;
                XSetWMNormalHints(connection, window, &hints);
            }
            gc = XCreateGC(connection, window, 0, nullptr);
            if (!aboveEditor)
                XMapWindow(connection, window);
        });
    if (errors > 0 || !window)
    {
        error = CError::create("@kelstr_CX11Window_open_CreateError Unable to create window "
                               "(error %1).",
                               static_cast<int>(display->getLastErrorResource()));
        close();
        return error;
    }
    if (aboveEditor)
    {
        // The host may destroy its window at any moment: an error here costs only the hint.
        if (const Window hostWindow = newestEditorParent())
        {
            guard(display,
                  [&]() {
                      XSetTransientForHint(connection, window, topLevelOf(connection, hostWindow));
                  });
        }
        guard(display, [&]() { XMapWindow(connection, window); });
    }
    if (embedded)
    {
        CLockGuard hold(&editorParentsLock());
        editorParents().add(parent);
        listedParent = true;
    }
    KEL_CHECK(makeImage(params.width, params.height));
    return nullptr;
}

CError* CX11Window::makeImage(int width, int height)
{
    freeImage();
    Display* connection = connectionOf(display);
    const int screen = DefaultScreen(connection);
    Visual* visual = DefaultVisual(connection, screen);
    const unsigned depth = static_cast<unsigned>(DefaultDepth(connection, screen));
    imageWidth = width;
    imageHeight = height;
    if (display->hasSharedMemory())
    {
        auto* info = new XShmSegmentInfo();
        XImage* made = XShmCreateImage(connection, visual, depth, ZPixmap, nullptr, info,
                                       static_cast<unsigned>(width), static_cast<unsigned>(height));
        if (made)
        {
            info->shmid = shmget(IPC_PRIVATE, static_cast<size_t>(made->bytes_per_line) * height,
                                 IPC_CREAT | 0600);
            info->shmaddr = info->shmid >= 0 ? static_cast<char*>(shmat(info->shmid, nullptr, 0))
                                             : reinterpret_cast<char*>(-1);
            bool attached = false;
            if (info->shmaddr != reinterpret_cast<char*>(-1))
            {
                made->data = info->shmaddr;
                info->readOnly = False;
                const int errors = guard(display, [&]() { XShmAttach(connection, info); });
                attached = errors == 0;
            }
            // Marked for removal at once: the segment goes when both sides have let go, even if
            // the host's process ends without our close.
            if (info->shmid >= 0)
                shmctl(info->shmid, IPC_RMID, nullptr);
            if (attached)
            {
                image = made;
                shmInfo = info;
                return nullptr;
            }
            if (info->shmaddr != reinterpret_cast<char*>(-1))
                shmdt(info->shmaddr);
            made->data = nullptr;
            XDestroyImage(made);
        }
        delete info;
    }
    // Without shared memory the picture travels in the request.
    const int stride = width * 4;
    char* data = static_cast<char*>(std::calloc(static_cast<size_t>(stride) * height, 1));
    if (!data)
        return CError::create("@kelstr_CX11Window_makeImage_Memory Out of memory for a %1 by %2 "
                              "window.",
                              width, height);
    XImage* made =
        XCreateImage(connection, visual, depth, ZPixmap, 0, data, static_cast<unsigned>(width),
                     static_cast<unsigned>(height), 32, stride);
    if (!made)
    {
        std::free(data);
        return CError::create("@kelstr_CX11Window_makeImage_Memory Out of memory for a %1 by %2 "
                              "window.",
                              width, height);
    }
    image = made;
    return nullptr;
}

void CX11Window::freeImage()
{
    XImage* held = static_cast<XImage*>(image);
    auto* info = static_cast<XShmSegmentInfo*>(shmInfo);
    if (info)
    {
        Display* connection = connectionOf(display);
        if (connection)
            guard(display, [&]() { XShmDetach(connection, info); });
        shmdt(info->shmaddr);
        delete info;
        if (held)
            held->data = nullptr;
    }
    if (held)
        XDestroyImage(held); // frees the plain image's pixels too
    image = nullptr;
    shmInfo = nullptr;
    dirty = {};
}

void CX11Window::close()
{
    if (listedParent)
    {
        listedParent = false;
        CLockGuard hold(&editorParentsLock());
        CArray<unsigned long>& parents = editorParents();
        const int index = parents.indexOf(parent);
        if (index >= 0)
            parents.removeAt(index);
    }
    Display* connection = display ? connectionOf(display) : nullptr;
    if (captured && connection && !gone)
        setCapture(false);
    freeImage();
    if (connection && (window || gc))
    {
        guard(display,
              [&]()
              {
                  if (gc)
                      XFreeGC(connection, static_cast<GC>(gc));
                  // A window the host destroyed with its own is not touched again.
                  if (window && !gone)
                  {
                      destroying = true;
                      XDestroyWindow(connection, window);
                  }
              });
    }
    gc = nullptr;
    window = 0;
    gone = false;
    destroying = false;
}

void CX11Window::markGone()
{
    if (gone)
        return;
    gone = true;
    captured = false;
    CInputEvent event;
    event.kind = CInputEvent::kParentGone;
    deliver(event);
}

void CX11Window::present(const CLinearBitmap& source, const CLinearBitmap::Rect& srcArea, int destX,
                         int destY)
{
    XImage* target = static_cast<XImage*>(image);
    if (!target || gone)
        return;
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
    if (right + shiftX > imageWidth)
        right = imageWidth - shiftX;
    if (bottom + shiftY > imageHeight)
        bottom = imageHeight - shiftY;
    if (right <= left || bottom <= top)
        return;
    const int count = right - left;
    for (int y = top; y < bottom; ++y)
    {
        const uint32_t* from = source.getRow(y) + left;
        auto* to = reinterpret_cast<uint32_t*>(target->data + static_cast<size_t>(y + shiftY) *
                                                                  target->bytes_per_line) +
                   left + shiftX;
        if (!swapBytes)
        {
            std::memcpy(to, from, static_cast<size_t>(count) * sizeof(uint32_t));
            continue;
        }
        // A visual with blue on top: red and blue change places.
        for (int x = 0; x < count; ++x)
            to[x] = ((from[x] >> 16) & 0xffu) | (from[x] & 0xff00u) | ((from[x] & 0xffu) << 16);
    }
    const CLinearBitmap::Rect done{left + shiftX, top + shiftY, right + shiftX, bottom + shiftY};
    if (dirty.isEmpty())
        dirty = done;
    else
    {
        dirty.left = done.left < dirty.left ? done.left : dirty.left;
        dirty.top = done.top < dirty.top ? done.top : dirty.top;
        dirty.right = done.right > dirty.right ? done.right : dirty.right;
        dirty.bottom = done.bottom > dirty.bottom ? done.bottom : dirty.bottom;
    }
}

void CX11Window::flush()
{
    XImage* source = static_cast<XImage*>(image);
    if (!source || gone || dirty.isEmpty())
        return;
    Display* connection = connectionOf(display);
    const CLinearBitmap::Rect area = dirty;
    dirty = {};
    // The guard's sync also means the server has read the shared pixels before we write again.
    guard(display,
          [&]()
          {
              const unsigned width = static_cast<unsigned>(area.right - area.left);
              const unsigned height = static_cast<unsigned>(area.bottom - area.top);
              if (shmInfo)
                  XShmPutImage(connection, window, static_cast<GC>(gc), source, area.left, area.top,
                               area.left, area.top, width, height, False);
              else
                  XPutImage(connection, window, static_cast<GC>(gc), source, area.left, area.top,
                            area.left, area.top, width, height);
          });
}

void CX11Window::setBounds(int x, int y, int width, int height)
{
    if (!window || gone || width <= 0 || height <= 0)
        return;
    Display* connection = connectionOf(display);
    guard(display,
          [&]()
          {
              XMoveResizeWindow(connection, window, x, y, static_cast<unsigned>(width),
                                static_cast<unsigned>(height));
          });
    if (width != imageWidth || height != imageHeight)
    {
        if (CError* error = makeImage(width, height))
            delete error; // the window keeps no picture; nothing is drawn into it
    }
}

void CX11Window::clientToScreen(int x, int y, int& screenX, int& screenY)
{
    screenX = x;
    screenY = y;
    if (!window || gone)
        return;
    Display* connection = connectionOf(display);
    guard(display,
          [&]()
          {
              Window child = 0;
              XTranslateCoordinates(connection, window, DefaultRootWindow(connection), x, y,
                                    &screenX, &screenY, &child);
          });
}

CNativeWindow::CScreenRect CX11Window::getMonitorAt(int /*screenX*/, int /*screenY*/)
{
    // One monitor: the whole screen (no extension that splits it is asked for).
    Display* connection = connectionOf(display);
    if (!connection)
        return {};
    const int screen = DefaultScreen(connection);
    return {0, 0, DisplayWidth(connection, screen), DisplayHeight(connection, screen)};
}

void CX11Window::setCapture(bool isCaptured)
{
    if (!window || gone || captured == isCaptured)
        return;
    Display* connection = connectionOf(display);
    captured = isCaptured;
    guard(display,
          [&]()
          {
              if (isCaptured)
                  XGrabPointer(connection, window, False,
                               ButtonPressMask | ButtonReleaseMask | PointerMotionMask,
                               GrabModeAsync, GrabModeAsync, None, None, lastEventTime);
              else
                  XUngrabPointer(connection, lastEventTime);
          });
}

void CX11Window::warpPointer(int x, int y)
{
    if (!window || gone)
        return;
    Display* connection = connectionOf(display);
    guard(display, [&]() { XWarpPointer(connection, None, window, 0, 0, 0, 0, x, y); });
}

void CX11Window::takeKeyFocus(bool isTaken)
{
    if (!window || gone)
        return;
    Display* connection = connectionOf(display);
    const Time when = lastEventTime ? lastEventTime : CurrentTime;
    if (isTaken)
    {
        // Hosts keep the keyboard unless a text field asks for it; it goes back to whoever had
        // it before.
        guard(display,
              [&]()
              {
                  Window holder = None;
                  int revert = 0;
                  XGetInputFocus(connection, &holder, &revert);
                  if (holder != window)
                      focusBefore = holder;
                  XSetInputFocus(connection, window, RevertToParent, when);
              });
        return;
    }
    const Window before = focusBefore > PointerRoot ? focusBefore : parent;
    focusBefore = 0;
    // A window that had the keys and is gone since: the host's window takes them.
    const int errors =
        before ? guard(display, [&]() { XSetInputFocus(connection, before, RevertToParent, when); })
               : 1;
    if (errors > 0 && parent && before != parent)
        guard(display, [&]() { XSetInputFocus(connection, parent, RevertToParent, when); });
}

void CX11Window::deliver(const CInputEvent& event)
{
    if (listener)
        listener->onNativeEvent(event);
}

void CX11Window::handleEvent(void* rawEvent)
{
    const XEvent& event = *static_cast<const XEvent*>(rawEvent);
    CInputEvent out;
    switch (event.type)
    {
    case ButtonPress:
    case ButtonRelease:
    {
        const XButtonEvent& button = event.xbutton;
        lastEventTime = static_cast<uint32_t>(button.time);
        out.x = button.x;
        out.y = button.y;
        out.modifiers = modifiersOf(button.state);
        out.timeMs = static_cast<uint32_t>(button.time);
        if (button.button == Button4 || button.button == Button5)
        {
            // The wheel is one press per step; its release says nothing more.
            if (event.type != ButtonPress)
                return;
            out.kind = CInputEvent::kMouseWheel;
            out.wheelDelta = button.button == Button4 ? 1 : -1;
        }
        else if (button.button == Button1 || button.button == Button3)
        {
            out.kind = CInputEvent::kMouseButton;
            out.button = static_cast<int>(button.button);
            out.isDown = event.type == ButtonPress;
        }
        else
            return;
        break;
    }
    case MotionNotify:
        out.kind = CInputEvent::kMouseMove;
        out.x = event.xmotion.x;
        out.y = event.xmotion.y;
        out.modifiers = modifiersOf(event.xmotion.state);
        out.timeMs = static_cast<uint32_t>(event.xmotion.time);
        break;
    case EnterNotify:
    case LeaveNotify:
        out.kind = event.type == EnterNotify ? CInputEvent::kMouseEnter : CInputEvent::kMouseLeave;
        // Another client's grab takes the pointer away from ours: the press under way ends.
        if (event.type == LeaveNotify && event.xcrossing.mode == NotifyGrab && captured)
        {
            captured = false;
            out.kind = CInputEvent::kCaptureLost;
        }
        out.x = event.xcrossing.x;
        out.y = event.xcrossing.y;
        out.modifiers = modifiersOf(event.xcrossing.state);
        out.timeMs = static_cast<uint32_t>(event.xcrossing.time);
        break;
    case KeyPress:
    case KeyRelease:
    {
        XKeyEvent key = event.xkey;
        lastEventTime = static_cast<uint32_t>(key.time);
        char text[8];
        KeySym keysym = 0;
        XLookupString(&key, text, sizeof text, &keysym, nullptr);
        out.kind = event.type == KeyPress ? CInputEvent::kKeyDown : CInputEvent::kKeyUp;
        out.keysym = static_cast<uint32_t>(keysym);
        out.character = characterOf(keysym);
        out.modifiers = modifiersOf(key.state);
        out.timeMs = static_cast<uint32_t>(key.time);
        break;
    }
    case FocusOut:
        // With the host's window focused and the pointer over ours, the server tells us of the
        // keyboard as "under the pointer" (NotifyPointer); taking the focus ourselves ends that
        // with a FocusOut that loses nothing. Focus moving into a window of ours is no loss
        // either (NotifyInferior).
        if (event.xfocus.detail == NotifyPointer || event.xfocus.detail == NotifyInferior)
            return;
        out.kind = CInputEvent::kFocusOut;
        break;
    case Expose:
        out.kind = CInputEvent::kExpose;
        out.area = {event.xexpose.x, event.xexpose.y, event.xexpose.x + event.xexpose.width,
                    event.xexpose.y + event.xexpose.height};
        break;
    case ConfigureNotify:
        if (event.xconfigure.width == imageWidth && event.xconfigure.height == imageHeight)
            return;
        out.kind = CInputEvent::kResize;
        out.width = event.xconfigure.width;
        out.height = event.xconfigure.height;
        if (CError* error = makeImage(out.width, out.height))
            delete error;
        break;
    case ClientMessage:
        if (static_cast<unsigned long>(event.xclient.data.l[0]) != deleteAtom)
            return;
        out.kind = CInputEvent::kClose;
        break;
    case SelectionRequest:
        answerSelectionRequest(const_cast<XEvent*>(&event));
        return;
    case SelectionClear:
        if (event.xselectionclear.selection == clipboardAtom)
        {
            ownsClipboard = false;
            clipboardText.clear();
        }
        return;
    case SelectionNotify:
        takeSelectionAnswer(const_cast<XEvent*>(&event));
        return;
    case DestroyNotify:
        if (event.xdestroywindow.window != window || destroying)
            return;
        // Not ours to destroy: the host took its window and ours with it.
        markGone();
        return;
    default:
        return;
    }
    deliver(out);
}

void CX11Window::internClipboardAtoms()
{
    if (clipboardAtom)
        return;
    Display* connection = connectionOf(display);
    guard(display,
          [&]()
          {
              clipboardAtom = XInternAtom(connection, "CLIPBOARD", False);
              utf8Atom = XInternAtom(connection, "UTF8_STRING", False);
              targetsAtom = XInternAtom(connection, "TARGETS", False);
              transferAtom = XInternAtom(connection, "KEL_CLIPBOARD", False);
          });
}

void CX11Window::copyToClipboard(const char* utf8, int bytes)
{
    if (!window || gone)
        return;
    internClipboardAtoms();
    clipboardText.clear();
    for (int i = 0; i < bytes; ++i)
        clipboardText.add(utf8[i]);
    Display* connection = connectionOf(display);
    guard(display,
          [&]()
          {
              XSetSelectionOwner(connection, clipboardAtom, window,
                                 lastEventTime ? lastEventTime : CurrentTime);
              ownsClipboard = XGetSelectionOwner(connection, clipboardAtom) == window;
          });
}

void CX11Window::requestClipboardText()
{
    if (!window || gone)
        return;
    internClipboardAtoms();
    Display* connection = connectionOf(display);
    // Also when we own it ourselves: the answer then comes through the server like any other,
    // so that it always arrives later, from the pump.
    guard(display,
          [&]()
          {
              XConvertSelection(connection, clipboardAtom, utf8Atom, transferAtom, window,
                                lastEventTime ? lastEventTime : CurrentTime);
          });
}

void CX11Window::answerSelectionRequest(void* rawEvent)
{
    const XSelectionRequestEvent& request = static_cast<XEvent*>(rawEvent)->xselectionrequest;
    Display* connection = connectionOf(display);
    XEvent reply = {};
    reply.xselection.type = SelectionNotify;
    reply.xselection.requestor = request.requestor;
    reply.xselection.selection = request.selection;
    reply.xselection.target = request.target;
    reply.xselection.time = request.time;
    reply.xselection.property = None;
    // Clients from before the property was required name none: the target is the property.
    const Atom property = request.property != None ? request.property : request.target;
    // The requestor may be gone by now; the guard takes the error.
    guard(display,
          [&]()
          {
              if (ownsClipboard && request.selection == clipboardAtom)
              {
                  if (request.target == targetsAtom)
                  {
                      const Atom offered[2] = {static_cast<Atom>(targetsAtom),
                                               static_cast<Atom>(utf8Atom)};
                      XChangeProperty(connection, request.requestor, property, XA_ATOM, 32,
                                      PropModeReplace,
                                      reinterpret_cast<const unsigned char*>(offered), 2);
                      reply.xselection.property = property;
                  }
                  else if (request.target == utf8Atom)
                  {
                      XChangeProperty(
                          connection, request.requestor, property, utf8Atom, 8, PropModeReplace,
                          reinterpret_cast<const unsigned char*>(clipboardText.getData()),
                          clipboardText.getCount());
                      reply.xselection.property = property;
                  }
              }
              XSendEvent(connection, request.requestor, False, NoEventMask, &reply);
          });
}

void CX11Window::takeSelectionAnswer(void* rawEvent)
{
    const XSelectionEvent& answer = static_cast<XEvent*>(rawEvent)->xselection;
    if (answer.selection != clipboardAtom)
        return;
    Display* connection = connectionOf(display);
    unsigned char* data = nullptr;
    Atom type = None;
    int format = 0;
    unsigned long items = 0;
    unsigned long after = 0;
    if (answer.property != None)
    {
        guard(display,
              [&]()
              {
                  // Up to 4 MiB of text, read and deleted in one request.
                  XGetWindowProperty(connection, window, answer.property, 0, 1L << 20, True,
                                     AnyPropertyType, &type, &format, &items, &after, &data);
              });
    }
    CInputEvent out;
    out.kind = CInputEvent::kClipboardText;
    out.timeMs = static_cast<uint32_t>(answer.time);
    if (data && format == 8 && (type == utf8Atom || type == XA_STRING))
    {
        out.text = reinterpret_cast<const char*>(data);
        out.textBytes = static_cast<int>(items);
    }
    deliver(out);
    if (data)
        XFree(data);
}

} // namespace kel
