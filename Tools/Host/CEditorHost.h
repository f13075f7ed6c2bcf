#pragma once

#include "CRgbImage.h"

#include "Core/CError.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

struct _XDisplay;

namespace kel
{

class CHostedPlugin;

// The GUI side of our own host on X11, as Linux hosts do it: one Display connection of the
// host's own, a top-level window per editor (the parent given to effEditOpen), and a GUI loop
// that pumps the host's X events and calls effEditIdle at a chosen rate (or never). It injects
// input with XTest, grabs windows into memory and measures what the plug-in does meanwhile.
//
// Editors are keyed by their CHostedPlugin, which must stay loaded while its editor is open;
// close() and the destructor close every editor still open, then the connection. A process-wide
// X error handler that counts every error is installed by open() and stays installed: a
// plug-in must cause no X error and must not take that handler away.
// [the host's GUI thread: the thread that calls open() makes every call]
class CEditorHost
{
public:
    using WindowId = unsigned long;

    // The last X error seen by the counting handler.
    struct CXError
    {
        int errorCode = 0;
        int requestCode = 0;
        int minorCode = 0;
        unsigned long resourceId = 0;
    };

    CEditorHost();
    ~CEditorHost();
    CEditorHost(const CEditorHost&) = delete;
    CEditorHost& operator=(const CEditorHost&) = delete;

    // The counting handler, for the whole process. [any thread; the X calls on the caller's]
    static void installErrorHandler();
    // Whether the counting handler is still the one installed (puts it back if it was not).
    static bool isErrorHandlerInstalled();
    // X errors on any connection of the process since it started, the host's own queries of
    // windows that may be gone excepted.
    static int64_t getErrorCount();
    static CXError getLastError();

    // Connects to the named display (null: $DISPLAY) and checks for XTest.
    [[nodiscard]] CError* open(const char* displayName = nullptr);
    void close();
    bool isOpen() const { return display != nullptr; }

    // Makes a parent window of the editor's size at (x, y) of the screen, maps it and sends
    // effEditOpen with its id. A plug-in that refuses (answers 0) is no error: the parent goes
    // again and isEditorOpen() stays false. Errors: no connection, no rectangle, already open.
    [[nodiscard]] CError* openEditor(CHostedPlugin& plugin, int x = 0, int y = 0);
    bool isEditorOpen(const CHostedPlugin& plugin) const;
    // effEditClose, then the parent is destroyed (unless destroyParent came first).
    void closeEditor(CHostedPlugin& plugin);
    // The host destroys its window while the editor is still open, as hosts do before
    // effEditClose.
    void destroyParent(CHostedPlugin& plugin);

    WindowId getParent(const CHostedPlugin& plugin) const;
    // The editor's window: the first child of the parent, 0 if there is none (or no parent).
    WindowId findEditorWindow(const CHostedPlugin& plugin);
    std::vector<WindowId> getChildren(WindowId window);
    // Whether the window still exists on the server.
    bool windowExists(WindowId window);
    // The screen's top-level windows (the root's children), bottom to top.
    std::vector<WindowId> getTopLevelWindows();
    // The WM_TRANSIENT_FOR of a window; 0 when it has none or is gone.
    WindowId getTransientFor(WindowId window);
    // The WM_NAME of a window; empty when it has none or is gone.
    std::string getWindowTitle(WindowId window);
    // Whether the window exists and is viewable (mapped, and its ancestors too).
    bool isViewable(WindowId window);
    // The size effEditGetRect gave at open.
    int getEditorWidth(const CHostedPlugin& plugin) const;
    int getEditorHeight(const CHostedPlugin& plugin) const;
    // Milliseconds effEditOpen took; -1 if it was not sent.
    double getOpenMs(const CHostedPlugin& plugin) const;
    // Windows still under the parent when effEditClose returned (the host waits a moment for
    // the server to see the editor's connection go).
    int getChildrenLeftAtClose(const CHostedPlugin& plugin) const;

    // The GUI loop. An idle rate of 0 never calls effEditIdle; the host's own X events are
    // pumped in any case.
    void setIdleRate(double hz);
    double getIdleRate() const { return idleHz; }
    // One turn: pumps the host's events, idles every open editor if an idle is due, then waits
    // for events for at most maxWaitMs.
    void runOnce(int maxWaitMs);
    void runFor(double seconds);
    // Runs until done() answers true (asked after every turn) or timeoutSec passes.
    bool runUntil(const std::function<bool()>& done, double timeoutSec);
    // Runs until the editor's window shows a drawn picture; answers the milliseconds since
    // effEditOpen returned, -1 on timeout.
    double waitForFirstFrame(const CHostedPlugin& plugin, double timeoutSec);

    // Input through XTest, positions in the parent's coordinates; the server routes it to
    // whatever window is under the pointer, as for a real mouse.
    void movePointer(const CHostedPlugin& plugin, int x, int y);
    void pressButton(int button);
    void releaseButton(int button);
    void click(const CHostedPlugin& plugin, int x, int y, int button = 1);
    // A click at (x, y) of any window on the screen (a popup the editor opened).
    void clickWindow(WindowId window, int x, int y, int button = 1);
    // Press at (x0, y0), move in `steps` steps to (x1, y1), release; the loop runs between.
    void drag(const CHostedPlugin& plugin, int x0, int y0, int x1, int y1, int steps);
    // Wheel clicks at (x, y): positive steps up (button 4), negative down (button 5).
    void scrollWheel(const CHostedPlugin& plugin, int x, int y, int steps);
    void pressKey(unsigned long keysym);
    void releaseKey(unsigned long keysym);
    void typeKey(unsigned long keysym);
    // Types printable ASCII text key by key, with Shift where the character needs it on a US
    // keyboard.
    void typeText(const std::string& text);
    // Gives the keyboard to the editor's parent, as a host does when its window is clicked.
    void focusParent(const CHostedPlugin& plugin);
    // The window that has the keyboard (0: none; 1: whatever is under the pointer).
    WindowId getInputFocus();

    // The editor's window (its parent if it has none) into memory; false if not viewable.
    bool grabEditor(const CHostedPlugin& plugin, CRgbImage& out);
    bool grabWindow(WindowId window, CRgbImage& out);

private:
    using Clock = std::chrono::steady_clock;

    struct CEditorSlot
    {
        CHostedPlugin* plugin = nullptr;
        WindowId parent = 0;
        bool isOpen = false;
        int width = 0;
        int height = 0;
        double openMs = -1.0;
        Clock::time_point openedAt;
        int childrenLeftAtClose = 0;
    };

    CEditorSlot* findSlot(const CHostedPlugin& plugin);
    const CEditorSlot* findSlot(const CHostedPlugin& plugin) const;
    void pumpEvents();
    void idleEditors();
    // Runs the loop for about the given time between injected events.
    void settle(int ms);
    // Screen position of a point of the editor's parent.
    void toParentRoot(const CHostedPlugin& plugin, int x, int y, int& rootX, int& rootY);

    _XDisplay* display = nullptr;
    WindowId root = 0;
    std::vector<CEditorSlot> slots;
    double idleHz = 0.0;
    Clock::time_point nextIdle;
};

} // namespace kel
