// A small VST 2 plug-in with an X11 editor, built only to prove the editor tests and the editor
// host: a pass-through effect with two parameters whose editor is a child window of the host's
// window on a connection of its own, drawn 40 times a second from effEditIdle or, while no idle
// comes, from a thread of its own. A press and drag on the left half edits parameter 0, the
// wheel steps it; each is one gesture.

#include "Audio/VST/VstInterface.h"

#include <X11/Xlib.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <thread>

namespace
{

constexpr int kWidth = 446;
constexpr int kHeight = 215;
constexpr int kParams = 2;
constexpr auto kFramePeriod = std::chrono::milliseconds(25);
constexpr auto kIdleTimeout = std::chrono::milliseconds(100);

// Errors on the editor's own connection while it draws into a window the host may have
// destroyed (with the parent); any other connection's go on to the handler that was there.
// Editors of several instances pump side by side: one swap at a time, or the second would save
// the first's handler as the one to put back.
std::mutex gHandlerSwap;
Display* gQuietDisplay = nullptr;
XErrorHandler gPreviousHandler = nullptr;

int swallowOwnErrors(Display* display, XErrorEvent* event)
{
    if (display == gQuietDisplay)
        return 0;
    return gPreviousHandler ? gPreviousHandler(display, event) : 0;
}

class CFakeEditorPlugin
{
public:
    explicit CFakeEditorPlugin(VstHostCallback callback) : host(callback)
    {
        std::memset(&effect, 0, sizeof(effect));
        effect.magic = kVstEffectMagic;
        effect.dispatcher = &dispatchThunk;
        effect.setParameter = [](AEffect* e, int32_t index, float value)
        {
            if (index >= 0 && index < kParams)
                self(e)->params[index] = value;
        };
        effect.getParameter = [](AEffect* e, int32_t index)
        { return index >= 0 && index < kParams ? self(e)->params[index].load() : 0.0f; };
        effect.processReplacing = [](AEffect*, float** in, float** out, int32_t frames)
        {
            for (int ch = 0; ch < 2; ++ch)
                std::memcpy(out[ch], in[ch], sizeof(float) * static_cast<size_t>(frames));
        };
        effect.numPrograms = 1;
        effect.numParams = kParams;
        effect.numInputs = 2;
        effect.numOutputs = 2;
        effect.flags = kEffectFlagHasEditor | kEffectFlagCanReplacing | kEffectFlagProgramChunks;
        effect.object = this;
        effect.uniqueID = 0x4B464B45; // 'KFKE'
        effect.version = 1;
        rect.top = rect.left = 0;
        rect.right = kWidth;
        rect.bottom = kHeight;
    }

    ~CFakeEditorPlugin() { closeEditor(); }

    AEffect effect;

private:
    static CFakeEditorPlugin* self(AEffect* e)
    {
        return static_cast<CFakeEditorPlugin*>(e->object);
    }

    static intptr_t dispatchThunk(AEffect* e, int32_t opcode, int32_t index, intptr_t value,
                                  void* ptr, float opt)
    {
        CFakeEditorPlugin* plugin = self(e);
        if (opcode == kEffClose)
        {
            delete plugin;
            return 1;
        }
        return plugin->dispatch(opcode, index, value, ptr, opt);
    }

    intptr_t dispatch(int32_t opcode, int32_t index, intptr_t value, void* ptr, float)
    {
        switch (opcode)
        {
        case kEffEditGetRect:
            *static_cast<ERect**>(ptr) = &rect;
            return 1;
        case kEffEditOpen:
            return openEditor(reinterpret_cast<uintptr_t>(ptr)) ? 1 : 0;
        case kEffEditClose:
            closeEditor();
            return 1;
        case kEffEditIdle:
            lastIdle = std::chrono::steady_clock::now().time_since_epoch().count();
            pump();
            return 1;
        case kEffGetChunk:
            chunk[0] = params[0];
            chunk[1] = params[1];
            *static_cast<void**>(ptr) = chunk;
            return sizeof(chunk);
        case kEffSetChunk:
            if (value != sizeof(chunk) || index != 0)
                return 0;
            std::memcpy(chunk, ptr, sizeof(chunk));
            params[0] = chunk[0];
            params[1] = chunk[1];
            return 1;
        case kEffGetVstVersion:
            return kVstFormatVersion;
        default:
            return 0;
        }
    }

    bool openEditor(uintptr_t parent)
    {
        if (display || !parent)
            return false;
        display = XOpenDisplay(nullptr);
        if (!display)
            return false;
        window = XCreateSimpleWindow(display, parent, 0, 0, kWidth, kHeight, 0, 0, 0x202020);
        XSelectInput(display, window,
                     ExposureMask | ButtonPressMask | ButtonReleaseMask | PointerMotionMask |
                         StructureNotifyMask);
        XMapWindow(display, window);
        gc = XCreateGC(display, window, 0, nullptr);
        XFlush(display);
        windowGone = false;
        lastIdle = 0;
        stopPump = false;
        pumpThread = std::thread(&CFakeEditorPlugin::runFallbackPump, this);
        return true;
    }

    void closeEditor()
    {
        if (!display)
            return;
        stopPump = true;
        pumpThread.join();
        std::lock_guard<std::mutex> guard(pumpMutex);
        quiet(
            [&]()
            {
                XFreeGC(display, gc);
                if (!windowGone)
                    XDestroyWindow(display, window);
            });
        XCloseDisplay(display);
        display = nullptr;
        if (inGesture)
            host(&effect, kHostEndEdit, 0, 0, nullptr, 0.0f);
        inGesture = false;
    }

    // Pumps while the host sends no idle.
    void runFallbackPump()
    {
        while (!stopPump)
        {
            const auto now = std::chrono::steady_clock::now().time_since_epoch();
            if (now - std::chrono::steady_clock::duration(lastIdle.load()) > kIdleTimeout)
                pump();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    // One synchronous call with errors of this connection swallowed.
    template <typename F> void quiet(F calls)
    {
        XSync(display, False);
        std::lock_guard<std::mutex> guard(gHandlerSwap);
        gQuietDisplay = display;
        gPreviousHandler = XSetErrorHandler(&swallowOwnErrors);
        calls();
        XSync(display, False);
        XSetErrorHandler(gPreviousHandler);
        gQuietDisplay = nullptr;
    }

    void pump()
    {
        std::lock_guard<std::mutex> guard(pumpMutex);
        if (!display)
            return;
        while (XPending(display) > 0)
        {
            XEvent event;
            XNextEvent(display, &event);
            handle(event);
        }
        const auto now = std::chrono::steady_clock::now();
        if (!windowGone && now - lastFrame >= kFramePeriod)
        {
            lastFrame = now;
            quiet([&]() { draw(); });
        }
    }

    void handle(const XEvent& event)
    {
        if (event.type == DestroyNotify && event.xdestroywindow.window == window)
            windowGone = true;
        else if (event.type == ButtonPress && event.xbutton.button == 1 &&
                 event.xbutton.x < kWidth / 2)
        {
            inGesture = true;
            dragY = event.xbutton.y;
            host(&effect, kHostBeginEdit, 0, 0, nullptr, 0.0f);
        }
        else if (event.type == MotionNotify && inGesture)
        {
            setFromEditor(params[0] + (dragY - event.xmotion.y) / 200.0f);
            dragY = event.xmotion.y;
        }
        else if (event.type == ButtonRelease && event.xbutton.button == 1 && inGesture)
        {
            inGesture = false;
            host(&effect, kHostEndEdit, 0, 0, nullptr, 0.0f);
        }
        else if (event.type == ButtonPress &&
                 (event.xbutton.button == 4 || event.xbutton.button == 5) && !inGesture)
        {
            host(&effect, kHostBeginEdit, 0, 0, nullptr, 0.0f);
            setFromEditor(params[0] + (event.xbutton.button == 4 ? 0.05f : -0.05f));
            host(&effect, kHostEndEdit, 0, 0, nullptr, 0.0f);
        }
    }

    void setFromEditor(float valueNorm)
    {
        valueNorm = valueNorm < 0.0f ? 0.0f : valueNorm > 1.0f ? 1.0f : valueNorm;
        if (valueNorm == params[0])
            return;
        params[0] = valueNorm;
        host(&effect, kHostAutomate, 0, 0, nullptr, valueNorm);
    }

    void draw()
    {
        // Eight colour swatches along the top, a bar for each parameter below them.
        for (int i = 0; i < 8; ++i)
        {
            XSetForeground(display, gc, 0x1F1F1Fu * static_cast<unsigned>(i + 1) ^ 0x3050A0u);
            XFillRectangle(display, window, gc, 10 + i * 53, 10, 48, 40);
        }
        for (int i = 0; i < kParams; ++i)
        {
            const int x = 20 + i * (kWidth / 2);
            const int full = kHeight - 80;
            const int filled = static_cast<int>(params[i] * static_cast<float>(full));
            XSetForeground(display, gc, 0x000000);
            XFillRectangle(display, window, gc, x, 60, 160, static_cast<unsigned>(full));
            XSetForeground(display, gc, i == 0 ? 0xE0A020 : 0x20A0E0);
            if (filled > 0)
                XFillRectangle(display, window, gc, x, 60 + full - filled, 160,
                               static_cast<unsigned>(filled));
        }
        XFlush(display);
    }

    VstHostCallback host;
    ERect rect;
    std::atomic<float> params[kParams] = {0.5f, 0.5f};
    float chunk[kParams] = {};

    std::mutex pumpMutex;
    Display* display = nullptr;
    Window window = 0;
    GC gc = nullptr;
    bool windowGone = false;
    bool inGesture = false;
    int dragY = 0;
    std::chrono::steady_clock::time_point lastFrame;
    std::atomic<std::chrono::steady_clock::rep> lastIdle{0};
    std::atomic<bool> stopPump{false};
    std::thread pumpThread;
};

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(VstHostCallback host)
{
    if (!host || host(nullptr, kHostVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    return &(new CFakeEditorPlugin(host))->effect;
}
