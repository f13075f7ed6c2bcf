#include "UI/Views/CViewBaseCtlEvents.h"

#include "Core/CDebugChannel.h"
#include "Core/CUtf8Path.h"
#include "UI/Windows/CWindow.h"

namespace kel
{

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
    if (!findObject(CString(".window-blocker")))
    {
        CViewBaseCtlEvents* blocker = nullptr;
        KEL_CHECK(createChild(CString("ui:window-blocker"), CString("window-blocker"), blocker));
    }
    CWindow* window = findWindow();
    if (!window)
        return nullptr;
    // No view stays in hover under a modal window.
    const CAttrMap none;
    KEL_CHECK(window->callEventProc(CString("mouse-exit"), none));
    if (const CAttrValue* blockedBy = params.find(CString("blocked-by")))
    {
        if (!findObject(blockedBy->getString()))
        {
            const CUtf8Path text(blockedBy->getString());
            KEL_LOG("Target not found: '%s'", text.get());
        }
    }
    KEL_CHECK(window->callEventProc(CString("block-window"), params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onUnblockWindow(const CAttrMap& params)
{
    CObject::destroyObject(findObject(CString(".window-blocker")));
    if (CWindow* window = findWindow())
        KEL_CHECK(window->callEventProc(CString("unblock-window"), params));
    return nullptr;
}

} // namespace kel
