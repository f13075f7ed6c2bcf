#include "UI/Views/CViewBaseCtlEvents.h"

#include "Core/CDebugChannel.h"
#include "Core/CSystem.h"
#include "Core/CUtf8Path.h"
#include "UI/Windows/CWindow.h"

namespace kel
{

namespace
{
// Parameters of popup-toggle that the opener uses itself and does not hand to the popup.
const char* const kToggleOwnParams[] = {
    "popup-tag",     "popup-result-target", "is-popup-toggle-always-create",
    "is-same-width", "width-modif",         "sender",
    "event-name"};

bool boolParam(const CAttrMap& params, const char* name)
{
    const CAttrValue* value = params.find(CString(name));
    return value && value->getBool();
}

int32_t intParam(const CAttrMap& params, const char* name)
{
    const CAttrValue* value = params.find(CString(name));
    return value ? value->getInt() : 0;
}
} // namespace

const CViewBaseCtlEvents::COperationEntry CViewBaseCtlEvents::kOperations[] = {
    {"mouse-enter", &CViewBaseCtlEvents::onMouseEnter},
    {"mouse-exit", &CViewBaseCtlEvents::onMouseExit},
    {"mouse-top-exit", &CViewBaseCtlEvents::onMouseTopExit},
    {"mouse-move", &CViewBaseCtlEvents::onMouseMove},
    {"mouse-press", &CViewBaseCtlEvents::onMousePress},
    {"mouse-release", &CViewBaseCtlEvents::onMouseRelease},
    {"mouse-press-r", &CViewBaseCtlEvents::onMousePressR},
    {"mouse-release-r", &CViewBaseCtlEvents::onMouseReleaseR},
    {"mouse-cancel", &CViewBaseCtlEvents::onMouseCancel},
    {"mouse-cancel-r", &CViewBaseCtlEvents::onMouseCancelR},
    {"mouse-wheel", &CViewBaseCtlEvents::onMouseWheel},
    {"key-press", &CViewBaseCtlEvents::onKeyPress},
    {"key-release", &CViewBaseCtlEvents::onKeyRelease},
    {"focus-lost", &CViewBaseCtlEvents::onFocusLost},
    {"block-window", &CViewBaseCtlEvents::blockWindowOperation},
    {"unblock-window", &CViewBaseCtlEvents::unblockWindowOperation},
};

void CViewBaseCtlEvents::registerClass(CClassInfo& info)
{
    CViewBaseState::registerClass(info);
    for (const char* flag : {"is-click-through", "is-focusable", "is-intercepting",
                             "is-intercepting-allow-childs", "is-window-draggable"})
        info.addAttrHandler<CViewBaseCtlEvents>(flag, &CViewBaseCtlEvents::attrHitFlags);
    info.addEventProc<CViewBaseCtlEvents>("block-window", &CViewBaseCtlEvents::onBlockWindowEvent);
    info.addEventProc<CViewBaseCtlEvents>("unblock-window",
                                          &CViewBaseCtlEvents::onUnblockWindowEvent);
    info.addEventProc<CViewBaseCtlEvents>("popup-toggle", &CViewBaseCtlEvents::onPopupToggleEvent);
    info.addEventProc<CViewBaseCtlEvents>("popup-result", &CViewBaseCtlEvents::onPopupResultEvent);
    info.addEventProc<CViewBaseCtlEvents>("popup-closed", &CViewBaseCtlEvents::onPopupClosedEvent);
}

void CViewBaseCtlEvents::detachLinks()
{
    // The popup is not in this view's subtree: it goes now, before the path can name another.
    CObject* popup = findPopup();
    if (CError* error = unblockForPopup(popupPath))
        CSystem::showError(error);
    popupPath.clear();
    CObject::destroyObject(popup);
    CViewBaseState::detachLinks();
}

CError* CViewBaseCtlEvents::attrHitFlags()
{
    clickThrough = getAttrBool(CString("is-click-through"), false);
    focusable = getAttrBool(CString("is-focusable"), false);
    intercepting = getAttrBool(CString("is-intercepting"), false);
    interceptingAllowChilds = getAttrBool(CString("is-intercepting-allow-childs"), false);
    windowDraggable = getAttrBool(CString("is-window-draggable"), false);
    return nullptr;
}

CWindow* CViewBaseCtlEvents::findWindow() const
{
    const CViewBasePlacement* topView = getRootView();
    if (!topView)
        return nullptr;
    const CString windowPath = topView->getAttrString(CString("window"), CString());
    return windowPath.isEmpty() ? nullptr : dynamic_cast<CWindow*>(findObject(windowPath));
}

CError* CViewBaseCtlEvents::deliverCtlEvent(const CString& eventName, CAttrMap& params)
{
    KEL_CHECK(onCtlEvent(eventName, params));
    KEL_CHECK(sendEvent(eventName, params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onCtlEvent(const CString& eventName, CAttrMap& params)
{
    for (const COperationEntry& entry : kOperations)
    {
        if (eventName == entry.eventName)
        {
            KEL_CHECK((this->*entry.operation)(params));
            return nullptr;
        }
    }
    KEL_CHECK(runCommands(eventName, params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMouseEnter(CAttrMap& params)
{
    // The commands see the view as it was before the pointer came.
    KEL_CHECK(runCommands(CString("mouse-enter"), params));
    hover = true;
    KEL_CHECK(setState(CString("hover")));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMouseExit(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-exit"), params));
    hover = false;
    KEL_CHECK(unsetState(CString("hover")));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMouseTopExit(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-top-exit"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMouseMove(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-move"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMousePress(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-press"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMouseRelease(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-release"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMousePressR(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-press-r"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMouseReleaseR(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-release-r"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMouseCancel(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-cancel"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMouseCancelR(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-cancel-r"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onMouseWheel(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("mouse-wheel"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onKeyPress(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("key-press"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onKeyRelease(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("key-release"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onFocusLost(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("focus-lost"), params));
    if (CWindow* window = findWindow())
    {
        CAttrMap windowParams;
        windowParams.set(CString("sender"), CAttrValue(getFullName()));
        KEL_CHECK(window->callEventProc(CString("focus-lost"), windowParams));
    }
    return nullptr;
}

CError* CViewBaseCtlEvents::onBlockWindowEvent(const CAttrMap& params)
{
    KEL_CHECK(onBlockWindow(params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onUnblockWindowEvent(const CAttrMap& params)
{
    KEL_CHECK(onUnblockWindow(params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onBlockWindow(const CAttrMap& params)
{
    // One blocker, one block of the window: a second block-window while it is up changes
    // nothing, so that one unblock-window always lifts it.
    if (findObject(CString(".window-blocker")))
        return nullptr;
    CViewBaseCtlEvents* blocker = nullptr;
    KEL_CHECK(createChild(CString("ui:window-blocker"), CString("window-blocker"), blocker));
    const CAttrValue* blockedBy = params.find(CString("blocked-by"));
    if (blockedBy)
        KEL_CHECK(blocker->setAttr(CString("blocked-by"), *blockedBy));
    CWindow* window = findWindow();
    if (!window)
        return nullptr;
    // No view stays in hover under a modal window.
    const CAttrMap none;
    KEL_CHECK(window->callEventProc(CString("mouse-exit"), none));
    if (blockedBy && !findObject(blockedBy->getString()))
    {
        const CUtf8Path text(blockedBy->getString());
        KEL_LOG("Target not found: '%s'", text.get());
    }
    KEL_CHECK(window->callEventProc(CString("block-window"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onUnblockWindow(const CAttrMap& params)
{
    CObject* blocker = findObject(CString(".window-blocker"));
    if (!blocker)
        return nullptr; // not blocked by this view: the window's count is someone else's
    CObject::destroyObject(blocker);
    if (CWindow* window = findWindow())
        KEL_CHECK(window->callEventProc(CString("unblock-window"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::unblockForPopup(const CString& popup)
{
    const CObject* blocker = findObject(CString(".window-blocker"));
    if (popup.isEmpty() || !blocker ||
        blocker->getAttrString(CString("blocked-by"), CString()) != popup)
        return nullptr;
    const CAttrMap none;
    KEL_CHECK(onUnblockWindow(none));
    return nullptr;
}

// ---- popups ----

CObject* CViewBaseCtlEvents::findPopup() const
{
    return popupPath.isEmpty() ? nullptr : findObject(popupPath);
}

CViewBaseCtlEvents* CViewBaseCtlEvents::getOpenPopup() const
{
    auto* popup = dynamic_cast<CViewBaseCtlEvents*>(findPopup());
    CWindow* window = popup ? popup->findWindow() : nullptr;
    return window && window->getNativeWindow() ? popup : nullptr;
}

CError* CViewBaseCtlEvents::onPopupToggleEvent(const CAttrMap& params)
{
    if (CViewBaseCtlEvents* open = getOpenPopup())
    {
        // Its window tells this view popup-closed, which releases it.
        CAttrMap closeParams;
        KEL_CHECK(open->findWindow()->callEventProc(CString("popup-close"), closeParams));
        if (!boolParam(params, "is-popup-toggle-always-create"))
            return nullptr;
    }
    // A popup whose window went another way (close-window) is not reused.
    KEL_CHECK(releasePopup());
    return openPopup(params);
}

CError* CViewBaseCtlEvents::openPopup(const CAttrMap& params)
{
    const CAttrValue* popupTag = params.find(CString("popup-tag"));
    const CViewBasePlacement* ownRoot = getRootView();
    CObject* host = ownRoot ? ownRoot->getParent() : nullptr;
    if (!host)
        return nullptr; // a view outside any window opens nothing
    if (const CAttrValue* target = params.find(CString("popup-result-target")))
        KEL_CHECK(setAttr(CString("popup-result-target"), *target));

    CAttrMap attrs;
    for (const auto& [paramName, value] : params)
        attrs.set(paramName, value);
    for (const char* own : kToggleOwnParams)
        attrs.erase(CString(own));
    if (!attrs.contains(CString("window-alignment")))
        attrs.set(CString("window-alignment"), CAttrValue("bottom-local-center"));
    attrs.set(CString("opener"), CAttrValue(getFullName()));
    attrs.set(CString("is-popup-window"), CAttrValue(true));
    attrs.set(CString("is-root-view"), CAttrValue(true));
    const int32_t widthModif = intParam(params, "width-modif");
    const bool sameWidth = boolParam(params, "is-same-width");
    if (sameWidth)
    {
        const CLinearBitmap::Rect own = getViewRect();
        attrs.set(CString("width"), CAttrValue(own.right - own.left + widthModif));
    }

    CViewBaseCtlEvents* popup = nullptr;
    KEL_CHECK(host->createChild(popupTag ? popupTag->getString() : CString(), CString("popup"),
                                popup, &attrs));
    CError* error = nullptr;
    if (widthModif != 0 && !sameWidth)
    {
        const CLinearBitmap::Rect made = popup->getViewRect();
        error = popup->setAttr(CString("width"), CAttrValue(made.right - made.left + widthModif));
    }
    CWindow* window = popup->findWindow();
    if (!error && window)
    {
        for (const auto& [attrName, value] : attrs)
        {
            error = window->setAttr(attrName, value);
            if (error)
                break;
        }
    }
    else if (!error)
        error = popup->createChild(CString("ui:window-renderer"), CString("window-renderer"),
                                   window, &attrs);
    if (!error)
        error = window->createWindow();
    KEL_CHECK(error, CObject::destroyObject(popup));
    popupPath = popup->getFullName();
    return nullptr;
}

CError* CViewBaseCtlEvents::releasePopup()
{
    CObject* popup = findPopup();
    // A modal popup that ends lifts the block it laid on this view's window.
    KEL_CHECK(unblockForPopup(popupPath));
    popupPath.clear();
    if (popup)
        KEL_CHECK(popup->releaseChildBridged());
    return nullptr;
}

CError* CViewBaseCtlEvents::onPopupClosedEvent(const CAttrMap& params)
{
    const CAttrValue* popup = params.find(CString("popup"));
    if (popup && !popupPath.isEmpty() && popup->getString() == popupPath)
        KEL_CHECK(releasePopup());
    KEL_CHECK(runCommands(CString("popup-closed"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::sendPopupResult(int index)
{
    CWindow* window = findWindow();
    if (!window || window->isEmbedded())
        return nullptr;
    CObject* opener = findObject(window->getAttrString(CString("opener"), CString()));
    if (opener && opener != window)
    {
        CAttrMap params;
        params.set(CString("index"), CAttrValue(static_cast<int32_t>(index)));
        params.set(CString("source"), CAttrValue(getFullName()));
        KEL_CHECK(opener->callEventProc(CString("popup-result"), params));
    }
    const CAttrMap none;
    KEL_CHECK(window->callEventProc(CString("popup-close"), none));
    return nullptr;
}

CError* CViewBaseCtlEvents::onPopupResult(CAttrMap& params)
{
    KEL_CHECK(runCommands(CString("popup-result"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onPopupResultEvent(const CAttrMap& params)
{
    CAttrMap heard = params;
    KEL_CHECK(onPopupResult(heard));
    KEL_CHECK(sendEvent(CString("popup-result"), heard));

    const CString targetPath = getAttrString(CString("popup-result-target"), CString());
    if (targetPath.isEmpty())
        return nullptr;
    CObject* target = findObject(targetPath);
    if (!target)
    {
        const CUtf8Path text(targetPath);
        KEL_LOG("Target not found: '%s'", text.get());
        return nullptr;
    }
    // The views the result went through, this one last: a target among them closes a loop.
    const CAttrValue* passed = params.find(CString("popup-result-chain"));
    CString chain = passed ? passed->getString() : CString();
    if (!chain.isEmpty())
        chain.appendUnit(' ');
    chain.append(getFullName());
    CArray<CString> names;
    splitNames(chain, names);
    for (const CString& entry : names)
    {
        if (entry == target->getFullName())
        {
            KEL_LOG("Infinite loop caused by popup-result-target");
            return nullptr;
        }
    }
    CAttrMap next = params;
    next.set(CString("popup-result-chain"), CAttrValue(chain));
    KEL_CHECK(target->callEventProc(CString("popup-result"), next));
    return nullptr;
}

} // namespace kel
