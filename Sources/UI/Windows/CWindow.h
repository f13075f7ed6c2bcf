#pragma once

#include "Core/CObject.h"
#include "UI/Platform/CNativeWindow.h"
#include "UI/Rendering/CSectorMap.h"
#include "UI/Views/CViewAreaNetwork.h"

#include <atomic>
#include <cstdint>

namespace kel
{

class CGlobalSettings;
class CSectorMap;
class CTimer;
class CViewBase;
class CWindowSharedData;

// The window renderer (tag ui:window-renderer): joins the view tree above it to a native window.
// It runs the frame timers (render, cursor, auto-click, deactivate), draws the dirty sectors of
// the sector map at each render tick and sends them to the screen, turns the native window's
// input into the framework's events and decides which view gets them (hover, press capture,
// cancel, double clicks, held-button auto-clicks, key focus), and closes popups when a press
// lands elsewhere; a popup that closes tells the view that opened it (popup-closed).
//
// A child of its window's root view, which it names in the root's attribute "window". Owns its
// native window and its timers (children); the root view, the sector map and the shared data
// are not owned. Everything runs on the editor's thread. [ui thread]
class CWindow : public CObject,
                public CNativeWindow::CListener,
                public CSectorMap::CListener,
                public CViewAreaNetwork::CListener
{
public:
    // A second press within this time and distance of the first is a double click.
    static constexpr uint32_t kDoubleClickMs = 400;
    static constexpr int kDoubleClickDistance = 4;
    // Held-button repeat starts this long after the press unless "auto-click-timeout" says.
    static constexpr double kAutoClickTimeoutSec = 0.4;

    CWindow();
    ~CWindow() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // Creates the native window: under the host's window (the tree root's "ParentWindow") for
    // the main window, as a top-level window above its opener's otherwise. The sector map takes
    // the root view's size and the view tree hears window-create and content-ready.
    [[nodiscard]] CError* createWindow();
    // Destroys the native window; timers stop first. Safe when it never opened or is gone.
    void closeWindow();

    // One frame: the render event, the clock, the changed areas, the pending sectors, and the
    // finished ones to the screen.
    void renderStep();

    // Input and exposure from the native window.
    void onNativeEvent(const CNativeWindow::CInputEvent& event) override;

    // An idle window stops its render timer after a frame that had nothing to do, when nothing
    // listens to "render" and the draw load is not exported; any change of a view, of the layout
    // or any input starts it again. A listener that starts listening to "render" calls wake.
    void wake();
    bool isRenderSleeping() const { return renderSleeping.load(std::memory_order_relaxed); }
    void onSectorsPending() override { wake(); }
    void onAreasChanged() override { wake(); }

    // A wheel step that the host forwards (1 up, 0 down), for the view under the pointer. True
    // when a view was there to take it.
    bool onHostWheel(int direction);

    // Whether a modal window opened from this one blocks its input.
    bool isBlocked() const { return blockCount > 0; }

    // The view that takes input at a window point. With ignoreClickThrough the topmost view
    // is answered even where it lets clicks through.
    CViewBase* getViewAt(int x, int y, bool ignoreClickThrough = false) const;

    CViewBase* getRootView() const { return rootView; }
    // The view that takes the keys, null when none has asked for them.
    CViewBase* getKeyFocusView() const { return keyFocusView; }
    // A view that goes is dropped from the hover, the press and the key focus; a key focus
    // that goes gives the keyboard back to the host.
    void forgetView(const CViewBase* view);
    CSectorMap* getSectorMap() const { return sectorMap; }
    CNativeWindow* getNativeWindow() const { return nativeWindow; }
    bool isParentGone() const { return parentGone; }
    bool isMainWindow() const { return mainWindow; }
    // The editor's own window, a child of the host's: no opener and no popup.
    bool isEmbedded() const { return !popupWindow && !hasAttr(CString("opener")); }
    // The framework's time in seconds, read once per render step.
    static double getClock() { return clockSec; }

    // Counters for tests and the load display.
    uint64_t getFrameCount() const { return frameCount.load(std::memory_order_relaxed); }
    uint64_t getSectorsSent() const { return sectorsSent; }

private:
    [[nodiscard]] CError* onRenderTick();
    [[nodiscard]] CError* onCursorTick();
    [[nodiscard]] CError* onAutoClickTick();
    [[nodiscard]] CError* onDeactivateTick();
    [[nodiscard]] CError* onCloseWindow();
    [[nodiscard]] CError* onPopupClose();

    [[nodiscard]] CError* createTimer(const char* timerName, const char* fpsAttr,
                                      const char* fallbackFps, const char* procName,
                                      CTimer*& timer);
    // Starts a timer at the rate of the window's attribute fpsAttr, or stops it (null).
    [[nodiscard]] CError* runTimer(CTimer* timer, const char* fpsAttr);
    // A window opened from a view: above the opener's window, placed by "window-alignment"
    // ("bottom", "bottom-center", "bottom-local-center", "center", "center-overlay", "left",
    // "right", "cursor") on the opener's monitor, moved up when it does not fit below.
    [[nodiscard]] CError* placeNearOpener(CNativeWindow::COpenParams& params);
    // Stops the render timer when the frame just ended left nothing to do.
    void sleepIfIdle();
    void handleMouseMove(const CNativeWindow::CInputEvent& event);
    // The status line (the text view at "hint-view") shows the hint of the view under the
    // pointer, or of its nearest ancestor that has one, while the shared data shows hints.
    void showHint(const CViewBase* view);
    void handleMouseButton(const CNativeWindow::CInputEvent& event);
    void handleKey(const CNativeWindow::CInputEvent& event);
    void paintArea(const CLinearBitmap::Rect& area);
    void sendToView(CViewBase* view, const char* eventName, CAttrMap& params);
    static void fillPointerParams(CAttrMap& params, int x, int y, int modifiers);
    // Ends the press under way without a release: the pressed view hears mouse-cancel.
    void cancelPress();
    // A blocked window takes exposure, size and focus changes, no pointer or key input.
    bool takesInput(const CNativeWindow::CInputEvent& event) const;
    // Procedures of the events views send their window.
    [[nodiscard]] CError* onMouseExitEvent(const CAttrMap& params);
    [[nodiscard]] CError* onBlockWindow(const CAttrMap& params);
    [[nodiscard]] CError* onUnblockWindow(const CAttrMap& params);
    [[nodiscard]] CError* onViewFocusLost(const CAttrMap& params);
    [[nodiscard]] CError* onChangeKeyFocus(const CAttrMap& params);
    // Moves the keys to view (null: to nobody). The old view hears blur, the new one focus (with
    // is-tab when Tab brought it). The native window takes the keyboard from the host while a
    // view holds the focus and gives it back after; the cursor timer runs only then.
    void setKeyFocus(CViewBase* view, bool byTab);
    // The next view after from (before it, backwards) among the views of from's "tab-group", in
    // the order of the tree, going round; null when from has no group.
    CViewBase* findTabNeighbour(CViewBase* from, bool backwards) const;
    void updateDrawLoad(int64_t drawLoad);
    // Closes the popups of this editor other than this window (a press landed elsewhere on
    // pressed), except those that pressed opened: their opener decides.
    void closeOtherPopups(const CViewBase* pressed);
    // A popup window closes and its opener (the view named by "opener") hears popup-closed
    // with "popup", the full name of this window's root view. Nothing for other windows.
    [[nodiscard]] CError* endPopup();

    static double clockSec;

    CNativeWindow* nativeWindow = nullptr; // owned
    CTimer* renderTimer = nullptr;         // children: owned by the tree
    CTimer* cursorTimer = nullptr;
    CTimer* autoClickTimer = nullptr;
    CTimer* deactivateTimer = nullptr;
    CViewBase* rootView = nullptr;             // not owned: the parent; cleared in detachLinks
    CSectorMap* sectorMap = nullptr;           // not owned: the root view's
    CWindowSharedData* sharedData = nullptr;   // not owned; cleared in detachLinks
    CGlobalSettings* globalSettings = nullptr; // not owned; cleared in detachLinks
    CViewBase* hoverView = nullptr;            // not owned; cleared in detachLinks
    CViewBase* topView = nullptr;              // not owned; cleared in detachLinks
    CViewBase* pressedView = nullptr;          // not owned; cleared in detachLinks
    CViewBase* keyFocusView = nullptr;         // not owned; cleared in detachLinks
    bool exportDrawLoad = false;
    bool pluginVst = false;
    bool mainWindow = false;
    bool popupWindow = false;
    bool parentGone = false;
    bool timersRunning = false;
    std::atomic<bool> renderSleeping{false}; // read by tests while a pump thread renders
    int pressedButton = 0;
    int blockCount = 0; // views that block the window (block-window) and have not unblocked
    int lastPressButton = 0;
    int lastPressX = -1000;
    int lastPressY = -1000;
    uint32_t lastPressMs = 0;
    double pressClockSec = 0.0;
    int pointerX = 0;
    int pointerY = 0;
    int pointerModifiers = 0;
    std::atomic<uint64_t> frameCount{0}; // read by tests while a pump thread renders
    uint64_t sectorsSent = 0;
    double drawLoadHistory[20] = {};
    int drawLoadCount = 0;
    double lastStaticDrawSec = 0.0;
};

} // namespace kel
