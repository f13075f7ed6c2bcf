#include "UI/Windows/CWindow.h"

#include "Core/CApplication.h"
#include "Core/CGlobalSettings.h"
#include "Core/CNotifyServer.h"
#include "Core/CSystem.h"
#include "Core/CTimer.h"
#include "Core/Platform/CThisThread.h"
#include "Core/Platform/CTickClock.h"
#include "UI/Platform/CNativeDisplay.h"
#include "UI/Views/CViewBase.h"
#include "UI/Windows/CWindowSharedData.h"

#include <cstdlib>

namespace kel
{

double CWindow::clockSec = 0.0;

namespace
{
// Whether view is inner or lies inside it.
bool isWithin(const CObject* view, const CObject* inner)
{
    for (const CObject* node = view; node; node = node->getParent())
    {
        if (node == inner)
            return true;
    }
    return false;
}

// Whether a press on view leaves the keys where they are: it or a view around it says so with
// "is-keeping-key-focus" (the keys of an on-screen keyboard type into a field that keeps them).
bool keepsKeyFocus(const CObject* view)
{
    for (const CObject* node = view; node; node = node->getParent())
    {
        const auto* asView = dynamic_cast<const CViewBase*>(node);
        if (asView && asView->getAttrBool(CString("is-keeping-key-focus"), false))
            return true;
    }
    return false;
}

// The views under node (node too) whose "tab-group" is group, in the order of the tree.
void collectTabGroup(CObject* node, const CString& group, CArray<CViewBase*>& out)
{
    auto* view = dynamic_cast<CViewBase*>(node);
    if (view && view->getAttrString(CString("tab-group"), CString()) == group)
        out.add(view);
    for (int i = 0; i < node->getChildCount(); ++i)
        collectTabGroup(node->getChild(i), group, out);
}

bool contains(const CLinearBitmap::Rect& r, int x, int y)
{
    return x >= r.left && x < r.right && y >= r.top && y < r.bottom;
}

// The topmost view under (x, y) in the subtree of view; children are tried from the last drawn.
CViewBase* findViewAt(CViewBase* view, int x, int y, bool ignoreClickThrough)
{
    if (!view || view->isHidden() || !contains(view->getViewRect(), x, y))
        return nullptr;
    if (!view->isIntercepting() || view->isInterceptingAllowChilds())
    {
        for (int i = view->getChildCount() - 1; i >= 0; --i)
        {
            CViewBase* child = dynamic_cast<CViewBase*>(view->getChild(i));
            if (CViewBase* hit = findViewAt(child, x, y, ignoreClickThrough))
                return hit;
        }
    }
    if (view->isIntercepting())
        return view;
    if (view->isClickThrough() && !ignoreClickThrough)
        return nullptr;
    return view;
}

} // namespace

CWindow::CWindow() = default;

CWindow::~CWindow()
{
    closeWindow();
}

void CWindow::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addEventProc<CWindow>("render-tick", &CWindow::onRenderTick);
    info.addEventProc<CWindow>("cursor-tick", &CWindow::onCursorTick);
    info.addEventProc<CWindow>("auto-click-tick", &CWindow::onAutoClickTick);
    info.addEventProc<CWindow>("deactivate-tick", &CWindow::onDeactivateTick);
    info.addEventProc<CWindow>("close-window", &CWindow::onCloseWindow);
    info.addEventProc<CWindow>("popup-close", &CWindow::onPopupClose);
    info.addEventProc<CWindow>("mouse-exit", &CWindow::onMouseExitEvent);
    info.addEventProc<CWindow>("block-window", &CWindow::onBlockWindow);
    info.addEventProc<CWindow>("unblock-window", &CWindow::onUnblockWindow);
    info.addEventProc<CWindow>("focus-lost", &CWindow::onViewFocusLost);
    info.addEventProc<CWindow>("change-key-focus", &CWindow::onChangeKeyFocus);
}

CError* CWindow::init()
{
    KEL_CHECK(CObject::init());
    // Settings are optional: a window without them uses the built-in precisions.
    globalSettings = dynamic_cast<CGlobalSettings*>(findObject(CString("ui.global-settings")));
    exportDrawLoad = getAttrBool(CString("is-export-draw-load"), false);
    pluginVst = getAttrBool(CString("is-plugin-vst"), false);
    mainWindow = getAttrBool(CString("is-main-window"), false);
    popupWindow = getAttrBool(CString("is-popup-window"), false);

    rootView = dynamic_cast<CViewBase*>(getParent());
    if (!rootView || !rootView->isRootView())
        return KEL_ERROR("@kelstr_CWindow_init_NoRootView Unable to find root view.");
    KEL_CHECK(rootView->setAttr(CString("window"), CAttrValue(getFullName())));
    sectorMap = rootView->getSectorMap();
    if (!sectorMap)
        return KEL_ERROR("@kelstr_CWindow_init_NoSectorMap Unable to find sector map.");
    sectorMap->setListener(this);
    if (rootView->getArea())
        rootView->getArea()->getNetwork()->setListener(this);
    sharedData = dynamic_cast<CWindowSharedData*>(findObject(CString("ui.window-shared-data")));
    if (sharedData)
        sharedData->addWindow(this);

    const CObject* bridgeOwner = findEventBridgeOwner();
    if (!bridgeOwner)
        return KEL_ERROR("@kelstr_CWindow_init_NoEventBridge Unable to locate a suitable event "
                         "bridge.");
    // Timers belong to the bridge's thread: a window made elsewhere has none.
    if (bridgeOwner->getBridgeThreadId() == CThisThread::id())
    {
        KEL_CHECK(createTimer("render-timer", "fps", "40", "render-tick", renderTimer));
        KEL_CHECK(createTimer("cursor-timer", "cursor-fps", "3", "cursor-tick", cursorTimer));
        KEL_CHECK(createTimer("auto-click-timer", "auto-click-fps", "30", "auto-click-tick",
                              autoClickTimer));
        KEL_CHECK(createTimer("deactivate-timer", "deactivate-fps", "30", "deactivate-tick",
                              deactivateTimer));
        // An idle window wakes for its frames only: the cursor blinks while a view has the
        // keys, a held button repeats while it is held, and only popups watch for deactivation.
        KEL_CHECK(runTimer(cursorTimer, nullptr));
        KEL_CHECK(runTimer(autoClickTimer, nullptr));
        KEL_CHECK(runTimer(deactivateTimer, popupWindow ? "deactivate-fps" : nullptr));
        timersRunning = true;
    }
    return nullptr;
}

CError* CWindow::createTimer(const char* timerName, const char* fpsAttr, const char* fallbackFps,
                             const char* procName, CTimer*& timer)
{
    CAttrMap params;
    params.set(CString("fps"), CAttrValue(getAttrString(CString(fpsAttr), CString(fallbackFps))));
    KEL_CHECK(createChild<CTimer>(CString("core:timer"), CString(timerName), timer, &params));
    CString path(".");
    path.append(timerName);
    KEL_CHECK(listenObject(path, CString("tick"), CString(procName)));
    return nullptr;
}

CError* CWindow::runTimer(CTimer* timer, const char* fpsAttr)
{
    if (!timer)
        return nullptr;
    // An empty rate stops a timer; the window's attribute gives it back its rate.
    const bool isFrameRate = fpsAttr && CString(fpsAttr) == "fps";
    const CString fps =
        fpsAttr ? getAttrString(CString(fpsAttr), CString(isFrameRate ? "40" : "30")) : CString();
    return timer->setAttr(CString("fps"), CAttrValue(fps));
}

void CWindow::detachLinks()
{
    if (sectorMap)
        sectorMap->setListener(nullptr);
    if (rootView && rootView->getArea())
        rootView->getArea()->getNetwork()->setListener(nullptr);
    renderTimer = cursorTimer = autoClickTimer = deactivateTimer = nullptr;
    closeWindow();
    if (sharedData)
        sharedData->removeWindow(this);
    sharedData = nullptr;
    rootView = nullptr;
    sectorMap = nullptr;
    globalSettings = nullptr;
    hoverView = topView = pressedView = keyFocusView = nullptr;
    CObject::detachLinks();
}

CError* CWindow::createWindow()
{
    if (nativeWindow)
        return nullptr;
    CNativeDisplay* display = sharedData ? sharedData->getDisplay() : nullptr;
    CNativeWindow::COpenParams params;
    // The window of the editor stands in the host's window; windows opened from it are
    // top-level windows of their own.
    if (isEmbedded())
    {
        params.parent = getRoot()->getAttrPointer(CString("ParentWindow"), nullptr);
        if (!params.parent)
            return KEL_ERROR("@kelstr_CWindow_createWindow_NoParentWindow Unable to locate "
                             "parent window.");
    }
    if (!display)
        return KEL_ERROR("@kelstr_CWindow_createWindow_CreateError Unable to create window "
                         "(error %1).",
                         "no display");
    const CLinearBitmap::Rect rect = rootView->getViewRect();
    params.width = rect.right - rect.left;
    params.height = rect.bottom - rect.top;
    params.isPopup = popupWindow;
    // A popup's renderer is made in code; the window's own root carries the title.
    CString titleText = getAttrString(CString("title"), CString());
    if (titleText.isEmpty())
        titleText = rootView->getAttrString(CString("title"), CString("Untitled"));
    char title[128];
    titleText.toUtf8(title, sizeof title);
    params.title = title;
    params.x = getAttrInt(CString("window-x"), 0);
    params.y = getAttrInt(CString("window-y"), 0);
    if (params.width <= 0 || params.height <= 0)
        return KEL_ERROR("@kelstr_CWindow_createWindow_CreateError Unable to create window "
                         "(error %1).",
                         "empty size");
    if (!isEmbedded())
        KEL_CHECK(placeNearOpener(params));
    KEL_CHECK(sectorMap->resize(params.width, params.height));
    nativeWindow = display->createWindow();
    nativeWindow->setListener(this);
    if (CError* error = nativeWindow->open(params))
    {
        delete nativeWindow;
        nativeWindow = nullptr;
        KEL_CHECK(error);
    }
    CAttrMap created;
    KEL_CHECK(rootView->deliverCtlEvent(CString("window-create"), created));
    CAttrMap ready;
    KEL_CHECK(rootView->deliverCtlEvent(CString("content-ready"), ready));
    // The first frame is drawn at once, not a timer tick later.
    renderStep();
    return nullptr;
}

void CWindow::closeWindow()
{
    if (!nativeWindow)
        return;
    nativeWindow->setListener(nullptr);
    nativeWindow->close();
    delete nativeWindow;
    nativeWindow = nullptr;
}

CError* CWindow::onRenderTick()
{
    renderStep();
    return nullptr;
}

void CWindow::renderStep()
{
    CAttrMap params;
    if (CError* error = sendEvent(CString("render"), params))
        CSystem::showError(error);
    clockSec = static_cast<double>(static_cast<uint32_t>(CTickClock::tickCountMs())) / 1000.0;
    if (sharedData)
        sharedData->nextFrame();
    frameCount.fetch_add(1, std::memory_order_relaxed);
    // Events the screen connection read ahead (while waiting for a put, say) are not announced
    // by its descriptor again: the main window drains them once a frame.
    if (isEmbedded() && sharedData && sharedData->getDisplay())
        sharedData->getDisplay()->pump();
    if (!sectorMap || sectorMap->getSuspended())
        return;
    if (exportDrawLoad)
        updateDrawLoad(CLinearBitmap::getDrawLoad());
    if (sectorMap->getChangedSectors().isEmpty() && rootView)
        rootView->applyChangedAreas();
    if (exportDrawLoad)
        CLinearBitmap::resetDrawLoad();
    if (!sectorMap->hasPending())
    {
        sleepIfIdle();
        return;
    }
    sectorMap->drawPending();
    if (nativeWindow && nativeWindow->isOpen())
    {
        const CArray<int, 16>& changed = sectorMap->getChangedSectors();
        for (int n : changed)
        {
            const CLinearBitmap::Rect sector = sectorMap->getSectorRect(n);
            const CLinearBitmap::Rect drawn = sectorMap->getDrawnArea(n);
            nativeWindow->present(sectorMap->getPicture(n), drawn, sector.left + drawn.left,
                                  sector.top + drawn.top);
        }
        sectorsSent += changed.getCount();
        nativeWindow->flush();
    }
    sectorMap->clearChanged();
}

void CWindow::updateDrawLoad(int64_t drawLoad)
{
    // Drawing time as a share of 2,000,000 units, limited to 100; the shown value is the greater
    // of the average and the peak of the last five.
    double load = static_cast<double>(drawLoad) * 100.0 / 2000000.0;
    if (load > 100.0)
        load = 100.0;
    if (drawLoadCount == 20)
    {
        for (int i = 1; i < 20; ++i)
            drawLoadHistory[i - 1] = drawLoadHistory[i];
        --drawLoadCount;
    }
    drawLoadHistory[drawLoadCount++] = load;
    double sum = 0.0;
    double peak = 0.0;
    for (int i = 0; i < drawLoadCount; ++i)
    {
        sum += drawLoadHistory[i];
        if (i >= drawLoadCount - 5 && drawLoadHistory[i] > peak)
            peak = drawLoadHistory[i];
    }
    const double shown = sum / drawLoadCount > peak ? sum / drawLoadCount : peak;
    if (drawLoad > 0)
        lastStaticDrawSec = clockSec;
    double sinceStatic = (clockSec - lastStaticDrawSec) / 2.0;
    if (sinceStatic > 1.0)
        sinceStatic = 1.0;
    CError* error = setAttr(CString("draw-load"), CAttrValue(CString::format("%.4f%%", shown)));
    if (!error)
        error = setAttr(CString("static-view-update"), CAttrValue(sinceStatic));
    if (error)
        CSystem::showError(error);
}

CError* CWindow::onCursorTick()
{
    CAttrMap params;
    if (keyFocusView)
        KEL_CHECK(keyFocusView->deliverCtlEvent(CString("cursor-blink"), params));
    return nullptr;
}

CError* CWindow::onAutoClickTick()
{
    if (!pressedView || pressedButton != 1)
        return nullptr;
    const double timeout = getAttrDouble(CString("auto-click-timeout"), kAutoClickTimeoutSec);
    const double now = static_cast<double>(CTickClock::tickCountMs()) / 1000.0;
    if (now - pressClockSec < timeout)
        return nullptr;
    CViewBase* under = getViewAt(pointerX, pointerY);
    if (!under)
        return nullptr;
    CAttrMap params;
    params.set(CString("x"), CAttrValue(static_cast<int32_t>(pointerX)));
    params.set(CString("y"), CAttrValue(static_cast<int32_t>(pointerY)));
    KEL_CHECK(under->deliverCtlEvent(CString("auto-click"), params));
    return nullptr;
}

CError* CWindow::onDeactivateTick()
{
    return nullptr;
}

CError* CWindow::onCloseWindow()
{
    closeWindow();
    return nullptr;
}

CError* CWindow::onPopupClose()
{
    return endPopup();
}

CError* CWindow::endPopup()
{
    if (!popupWindow || !nativeWindow)
        return nullptr;
    closeWindow();
    auto* opener =
        dynamic_cast<CViewBase*>(findObject(getAttrString(CString("opener"), CString("."))));
    if (!opener || !rootView)
        return nullptr;
    CAttrMap params;
    params.set(CString("popup"), CAttrValue(rootView->getFullName()));
    return opener->callEventProc(CString("popup-closed"), params);
}

void CWindow::closeOtherPopups(const CViewBase* pressed)
{
    if (!sharedData)
        return;
    for (int i = sharedData->getWindowCount() - 1; i >= 0; --i)
    {
        CWindow* other = sharedData->getWindow(i);
        if (other == this || !other->popupWindow || !other->nativeWindow ||
            other->getAttrBool(CString("is-drop-down-behavior-disabled"), false))
            continue;
        // A press on the popup's opener leaves it to the opener, which toggles it.
        const CObject* opener = findObject(other->getAttrString(CString("opener"), CString(".")));
        if (pressed && isWithin(pressed, opener))
            continue;
        if (CError* error = other->endPopup())
            CSystem::showError(error);
    }
}

CViewBase* CWindow::getViewAt(int x, int y, bool ignoreClickThrough) const
{
    CViewBase* hit = findViewAt(rootView, x, y, ignoreClickThrough);
    // A view may hand its hits to another ("redirect-get-view-at", a path).
    if (hit && hit->hasAttr(CString("redirect-get-view-at")))
    {
        CViewBase* target = dynamic_cast<CViewBase*>(
            hit->findObject(hit->getAttrString(CString("redirect-get-view-at"))));
        if (target)
            hit = target;
    }
    return hit;
}

void CWindow::sendToView(CViewBase* view, const char* eventName, CAttrMap& params)
{
    if (!view)
        return;
    if (CError* error = view->deliverCtlEvent(CString(eventName), params))
        CSystem::showError(error);
}

void CWindow::fillPointerParams(CAttrMap& params, int x, int y, int modifiers)
{
    params.set(CString("x"), CAttrValue(static_cast<int32_t>(x)));
    params.set(CString("y"), CAttrValue(static_cast<int32_t>(y)));
    params.set(CString("actual-x"), CAttrValue(static_cast<int32_t>(x)));
    params.set(CString("actual-y"), CAttrValue(static_cast<int32_t>(y)));
    params.set(CString("is-button-l"), CAttrValue((modifiers & CNativeWindow::kModButtonL) != 0));
    params.set(CString("is-button-r"), CAttrValue((modifiers & CNativeWindow::kModButtonR) != 0));
    params.set(CString("is-alt"), CAttrValue((modifiers & CNativeWindow::kModAlt) != 0));
    params.set(CString("is-ctrl"), CAttrValue((modifiers & CNativeWindow::kModCtrl) != 0));
    params.set(CString("is-shift"), CAttrValue((modifiers & CNativeWindow::kModShift) != 0));
}

void CWindow::cancelPress()
{
    CViewBase* pressed = pressedView;
    if (!pressed)
        return;
    const bool right = pressedButton == 3;
    pressedView = nullptr;
    pressedButton = 0;
    if (nativeWindow)
        nativeWindow->setCapture(false);
    if (CError* error = runTimer(autoClickTimer, nullptr))
        CSystem::showError(error);
    CAttrMap params;
    fillPointerParams(params, pointerX, pointerY, pointerModifiers);
    sendToView(pressed, right ? "mouse-cancel-r" : "mouse-cancel", params);
}

bool CWindow::takesInput(const CNativeWindow::CInputEvent& event) const
{
    if (blockCount == 0)
        return true;
    switch (event.kind)
    {
    case CNativeWindow::CInputEvent::kExpose:
    case CNativeWindow::CInputEvent::kResize:
    case CNativeWindow::CInputEvent::kFocusOut:
    case CNativeWindow::CInputEvent::kCaptureLost:
        return true;
    default:
        return false;
    }
}

CError* CWindow::onMouseExitEvent(const CAttrMap& /*params*/)
{
    CViewBase* old = hoverView;
    hoverView = nullptr;
    topView = nullptr;
    if (old)
    {
        CAttrMap params;
        fillPointerParams(params, pointerX, pointerY, pointerModifiers);
        KEL_CHECK(old->deliverCtlEvent(CString("mouse-exit"), params));
    }
    return nullptr;
}

CError* CWindow::onBlockWindow(const CAttrMap& /*params*/)
{
    // A press under way ends: the modal window takes the input from here.
    if (blockCount++ == 0)
        cancelPress();
    return nullptr;
}

CError* CWindow::onUnblockWindow(const CAttrMap& /*params*/)
{
    if (blockCount > 0)
        --blockCount;
    return nullptr;
}

CError* CWindow::onViewFocusLost(const CAttrMap& params)
{
    // The view that gave the focus up no longer takes the keys.
    const CAttrValue* sender = params.find(CString("sender"));
    if (keyFocusView && sender && sender->getString() == keyFocusView->getFullName())
        setKeyFocus(nullptr, false);
    return nullptr;
}

CError* CWindow::onChangeKeyFocus(const CAttrMap& params)
{
    const CAttrValue* target = params.find(CString("key-focus-view"));
    CViewBase* view = target ? static_cast<CViewBase*>(target->getPointer()) : nullptr;
    const CAttrValue* tab = params.find(CString("is-tab"));
    const bool byTab = tab && tab->getBool();
    if (view && byTab)
    {
        const CAttrValue* shift = params.find(CString("is-shift"));
        view = findTabNeighbour(view, shift && shift->getBool());
    }
    setKeyFocus(view, byTab);
    return nullptr;
}

void CWindow::setKeyFocus(CViewBase* view, bool byTab)
{
    if (view == keyFocusView)
        return;
    CViewBase* old = keyFocusView;
    keyFocusView = view;
    if (nativeWindow && (old == nullptr) != (view == nullptr))
        nativeWindow->takeKeyFocus(view != nullptr);
    if (timersRunning)
    {
        if (CError* error = runTimer(cursorTimer, view ? "cursor-fps" : nullptr))
            CSystem::showError(error);
    }
    CAttrMap params;
    sendToView(old, "blur", params);
    // The old view may have handed the focus on while it heard blur.
    if (keyFocusView != view || !view)
        return;
    params.set(CString("is-tab"), CAttrValue(byTab));
    sendToView(view, "focus", params);
}

CViewBase* CWindow::findTabNeighbour(CViewBase* from, bool backwards) const
{
    const CString group = from->getAttrString(CString("tab-group"), CString());
    if (group.isEmpty() || !rootView)
        return nullptr;
    CArray<CViewBase*> members;
    collectTabGroup(rootView, group, members);
    const int count = members.getCount();
    for (int i = 0; i < count; ++i)
    {
        if (members[i] == from)
            return members[(i + (backwards ? count - 1 : 1)) % count];
    }
    return nullptr;
}

void CWindow::forgetView(const CViewBase* view)
{
    if (hoverView == view)
        hoverView = nullptr;
    if (topView == view)
        topView = nullptr;
    if (pressedView == view)
    {
        pressedView = nullptr;
        pressedButton = 0;
        if (nativeWindow)
            nativeWindow->setCapture(false);
    }
    if (keyFocusView == view)
    {
        keyFocusView = nullptr;
        if (nativeWindow)
            nativeWindow->takeKeyFocus(false);
        if (timersRunning)
        {
            if (CError* error = runTimer(cursorTimer, nullptr))
                CSystem::showError(error);
        }
    }
}

void CWindow::onNativeEvent(const CNativeWindow::CInputEvent& event)
{
    wake();
    if (!takesInput(event))
        return;
    switch (event.kind)
    {
    case CNativeWindow::CInputEvent::kMouseMove:
    case CNativeWindow::CInputEvent::kMouseEnter:
        handleMouseMove(event);
        break;
    case CNativeWindow::CInputEvent::kCaptureLost:
        // A window that loses the pointer ends the press under way: a drag ends here.
        cancelPress();
        [[fallthrough]];
    case CNativeWindow::CInputEvent::kMouseLeave:
    {
        CAttrMap params;
        CViewBase* old = hoverView;
        hoverView = nullptr;
        topView = nullptr;
        sendToView(old, "mouse-exit", params);
        break;
    }
    case CNativeWindow::CInputEvent::kMouseButton:
        handleMouseButton(event);
        break;
    case CNativeWindow::CInputEvent::kMouseWheel:
    {
        CAttrMap params;
        fillPointerParams(params, event.x, event.y, event.modifiers);
        params.set(CString("delta"), CAttrValue(static_cast<int32_t>(event.wheelDelta)));
        sendToView(getViewAt(event.x, event.y), "mouse-wheel", params);
        break;
    }
    case CNativeWindow::CInputEvent::kKeyDown:
    case CNativeWindow::CInputEvent::kKeyUp:
        handleKey(event);
        break;
    case CNativeWindow::CInputEvent::kClipboardText:
    {
        // The answer to a view's request goes to the view that has the keys.
        CAttrMap params;
        params.set(CString("text"),
                   CAttrValue(CString::fromUtf8(event.text ? event.text : "",
                                                static_cast<size_t>(event.textBytes))));
        sendToView(keyFocusView, "clipboard-text", params);
        break;
    }
    case CNativeWindow::CInputEvent::kFocusOut:
    {
        CAttrMap params;
        sendToView(keyFocusView ? keyFocusView : rootView, "focus-lost", params);
        break;
    }
    case CNativeWindow::CInputEvent::kExpose:
        paintArea(event.area);
        break;
    case CNativeWindow::CInputEvent::kResize:
        if (sectorMap && (event.width != sectorMap->getWindowWidth() ||
                          event.height != sectorMap->getWindowHeight()))
        {
            if (CError* error = sectorMap->resize(event.width, event.height))
                CSystem::showError(error);
        }
        break;
    case CNativeWindow::CInputEvent::kClose:
    {
        // A popup closed by the system ends as any popup does: its opener hears of it (and
        // lifts the block a modal one laid on its window).
        CAttrMap params;
        CError* error = popupWindow ? endPopup() : sendEvent(CString("close-window"), params);
        if (error)
            CSystem::showError(error);
        break;
    }
    case CNativeWindow::CInputEvent::kParentGone:
        parentGone = true;
        pressedView = nullptr;
        break;
    }
}

CError* CWindow::placeNearOpener(CNativeWindow::COpenParams& params)
{
    auto* opener = dynamic_cast<CViewBase*>(findObject(getAttrString(CString("opener"))));
    CWindow* openerWindow = opener ? dynamic_cast<CWindow*>(findObject(
                                         opener->getRootView()->getAttrString(CString("window"))))
                                   : nullptr;
    if (!opener || !openerWindow || !openerWindow->nativeWindow)
        return nullptr; // no opener on screen: the window stands where window-x, -y say
    params.transientFor = openerWindow->nativeWindow;
    if (getAttrBool(CString("is-manual-coords"), false))
        return nullptr;

    // The opener and its window in screen coordinates.
    const CLinearBitmap::Rect local = opener->getViewRect();
    int left = 0;
    int top = 0;
    openerWindow->nativeWindow->clientToScreen(local.left, local.top, left, top);
    const int right = left + (local.right - local.left);
    const int bottom = top + (local.bottom - local.top);
    const CLinearBitmap::Rect whole = openerWindow->rootView->getViewRect();
    int windowLeft = 0;
    int windowTop = 0;
    openerWindow->nativeWindow->clientToScreen(0, 0, windowLeft, windowTop);
    const int w = params.width;
    const int h = params.height;
    const CString alignment = getAttrString(CString("window-alignment"), CString("bottom"));
    if (alignment == "bottom")
    {
        params.x = left;
        params.y = bottom;
    }
    else if (alignment == "bottom-center")
    {
        params.x = (left + right - w) / 2;
        params.y = bottom;
    }
    else if (alignment == "bottom-local-center")
    {
        params.x = windowLeft + (whole.right - whole.left - w) / 2;
        params.y = bottom;
    }
    else if (alignment == "center")
    {
        params.x = windowLeft + (whole.right - whole.left - w) / 2;
        params.y = windowTop + (whole.bottom - whole.top - h) / 2;
    }
    else if (alignment == "center-overlay")
    {
        params.x = (left + right - w) / 2;
        params.y = (top + bottom - h) / 2;
    }
    else if (alignment == "left")
    {
        params.x = left - w;
        params.y = top;
    }
    else if (alignment == "right")
    {
        params.x = right;
        params.y = top;
    }
    else if (alignment == "cursor")
    {
        openerWindow->nativeWindow->clientToScreen(openerWindow->pointerX, openerWindow->pointerY,
                                                   params.x, params.y);
    }
    else
        return KEL_ERROR("@kelstr_CWindow_createWindow_InvalidWinAlign Invalid window alignment "
                         "'%1'",
                         alignment);
    params.x += getAttrInt(CString("shift-x"), 0);
    params.y += getAttrInt(CString("shift-y"), 0);

    // On the monitor that holds the opener; a drop-down that does not fit below opens above.
    const CNativeWindow::CScreenRect monitor = openerWindow->nativeWindow->getMonitorAt(left, top);
    if (params.y + h > monitor.bottom && getAttrBool(CString("is-window-alignment-auto"), true) &&
        top - h >= monitor.top)
        params.y = top - h;
    params.x = params.x + w > monitor.right ? monitor.right - w : params.x;
    params.y = params.y + h > monitor.bottom ? monitor.bottom - h : params.y;
    params.x = params.x < monitor.left ? monitor.left : params.x;
    params.y = params.y < monitor.top ? monitor.top : params.y;
    return nullptr;
}

void CWindow::sleepIfIdle()
{
    if (!renderTimer || renderSleeping || exportDrawLoad || !nativeWindow)
        return;
    if (sectorMap->hasPending() || !sectorMap->getChangedSectors().isEmpty())
        return;
    if (rootView && rootView->getArea() && rootView->getArea()->getNetwork()->hasChangedAreas())
        return;
    if (CApplication::getNotifyServer().hasListeners(this, CString("render")))
        return;
    if (runTimer(renderTimer, nullptr) == nullptr)
        renderSleeping.store(true, std::memory_order_relaxed);
}

void CWindow::wake()
{
    if (!renderSleeping.load(std::memory_order_relaxed))
        return;
    renderSleeping.store(false, std::memory_order_relaxed);
    if (CError* error = runTimer(renderTimer, "fps"))
        CSystem::showError(error);
}

bool CWindow::onHostWheel(int direction)
{
    if (blockCount > 0)
        return false;
    CViewBase* under = getViewAt(pointerX, pointerY);
    if (!under)
        return false;
    CAttrMap params;
    fillPointerParams(params, pointerX, pointerY, pointerModifiers);
    params.set(CString("delta"), CAttrValue(static_cast<int32_t>(direction > 0 ? 1 : -1)));
    sendToView(under, "mouse-wheel", params);
    return true;
}

void CWindow::showHint(const CViewBase* view)
{
    const CString path = getAttrString(CString("hint-view"), CString());
    if (path.isEmpty())
        return;
    CObject* line = findObject(path);
    if (!line)
        return;
    CString hint;
    if (!sharedData || sharedData->getAttrBool(CString("is-show-hints"), true))
    {
        for (const CObject* node = view; node && hint.isEmpty(); node = node->getParent())
            hint = node->getAttrString(CString("hint"), CString());
    }
    if (hint != line->getAttrString(CString("title"), CString()))
    {
        if (CError* error = line->setAttr(CString("title"), CAttrValue(hint)))
            CSystem::showError(KEL_FRAME(error));
    }
}

void CWindow::handleMouseMove(const CNativeWindow::CInputEvent& event)
{
    pointerX = event.x;
    pointerY = event.y;
    pointerModifiers = event.modifiers;
    CViewBase* under = getViewAt(event.x, event.y);
    CViewBase* top = getViewAt(event.x, event.y, true);
    CAttrMap params;
    fillPointerParams(params, event.x, event.y, event.modifiers);
    if (under != hoverView)
    {
        CViewBase* old = hoverView;
        hoverView = under;
        sendToView(old, "mouse-exit", params);
        sendToView(under, "mouse-enter", params);
        showHint(under);
    }
    if (top != topView)
    {
        CViewBase* old = topView;
        topView = top;
        sendToView(old, "mouse-top-exit", params);
    }
    // While a button is held the pressed view follows the pointer wherever it goes.
    sendToView(pressedView ? pressedView : under, "mouse-move", params);
}

void CWindow::handleMouseButton(const CNativeWindow::CInputEvent& event)
{
    pointerX = event.x;
    pointerY = event.y;
    pointerModifiers = event.modifiers;
    const bool right = event.button == 3;
    CAttrMap params;
    fillPointerParams(params, event.x, event.y, event.modifiers);
    params.set(CString("button"), CAttrValue(static_cast<int32_t>(event.button)));
    params.set(CString("is-button-down"), CAttrValue(event.isDown));
    CViewBase* under = getViewAt(event.x, event.y);
    if (event.isDown)
    {
        closeOtherPopups(under);
        const bool isDouble = event.button == lastPressButton &&
                              event.timeMs - lastPressMs <= kDoubleClickMs &&
                              std::abs(event.x - lastPressX) <= kDoubleClickDistance &&
                              std::abs(event.y - lastPressY) <= kDoubleClickDistance;
        // A third press starts over rather than making a second double click.
        lastPressButton = isDouble ? 0 : event.button;
        lastPressMs = event.timeMs;
        lastPressX = event.x;
        lastPressY = event.y;
        params.set(CString("is-double-click"), CAttrValue(isDouble));
        if (pressedView)
            return; // a second button while one is held is not a new press
        // A press away from the view that has the keys ends its focus (an edit box commits).
        if (keyFocusView && !isWithin(under, keyFocusView) && !keepsKeyFocus(under))
        {
            setKeyFocus(nullptr, false);
            under = getViewAt(event.x, event.y);
        }
        pressedView = under;
        pressedButton = event.button;
        pressClockSec = static_cast<double>(CTickClock::tickCountMs()) / 1000.0;
        if (nativeWindow)
            nativeWindow->setCapture(true);
        if (CError* error = runTimer(autoClickTimer, "auto-click-fps"))
            CSystem::showError(error);
        sendToView(under, right ? "mouse-press-r" : "mouse-press", params);
        return;
    }
    if (!pressedView || event.button != pressedButton)
        return;
    CViewBase* pressed = pressedView;
    pressedView = nullptr;
    pressedButton = 0;
    if (nativeWindow)
        nativeWindow->setCapture(false);
    if (CError* error = runTimer(autoClickTimer, nullptr))
        CSystem::showError(error);
    params.set(CString("is-double-click"), CAttrValue(false));
    if (under == pressed)
        sendToView(pressed, right ? "mouse-release-r" : "mouse-release", params);
    else
        sendToView(pressed, right ? "mouse-cancel-r" : "mouse-cancel", params);
}

void CWindow::handleKey(const CNativeWindow::CInputEvent& event)
{
    CAttrMap params;
    params.set(CString("keycode"), CAttrValue(static_cast<int32_t>(event.keysym)));
    params.set(CString("char"), CAttrValue(static_cast<int32_t>(event.character)));
    params.set(CString("is-alt"), CAttrValue((event.modifiers & CNativeWindow::kModAlt) != 0));
    params.set(CString("is-ctrl"), CAttrValue((event.modifiers & CNativeWindow::kModCtrl) != 0));
    params.set(CString("is-shift"), CAttrValue((event.modifiers & CNativeWindow::kModShift) != 0));
    const bool down = event.kind == CNativeWindow::CInputEvent::kKeyDown;
    sendToView(keyFocusView ? keyFocusView : rootView, down ? "key-press" : "key-release", params);
}

void CWindow::paintArea(const CLinearBitmap::Rect& area)
{
    if (!nativeWindow || !nativeWindow->isOpen() || !sectorMap || sectorMap->getSuspended())
        return;
    for (int n = 0; n < sectorMap->getSectorCount(); ++n)
    {
        const CLinearBitmap::Rect sector = sectorMap->getSectorRect(n);
        CLinearBitmap::Rect part{area.left > sector.left ? area.left : sector.left,
                                 area.top > sector.top ? area.top : sector.top,
                                 area.right < sector.right ? area.right : sector.right,
                                 area.bottom < sector.bottom ? area.bottom : sector.bottom};
        if (part.isEmpty())
            continue;
        const CLinearBitmap::Rect local{part.left - sector.left, part.top - sector.top,
                                        part.right - sector.left, part.bottom - sector.top};
        nativeWindow->present(sectorMap->getPicture(n), local, part.left, part.top);
    }
    nativeWindow->flush();
}

} // namespace kel
