#include "UI/Views/CViewBaseCtlEvents.h"

namespace kel
{

void CViewBaseCtlEvents::registerClass(CClassInfo& info)
{
    CViewBaseState::registerClass(info);
    info.addAttrHandler<CViewBaseCtlEvents>("is-click-through", &CViewBaseCtlEvents::attrHitFlags);
    info.addAttrHandler<CViewBaseCtlEvents>("is-intercepting", &CViewBaseCtlEvents::attrHitFlags);
    info.addAttrHandler<CViewBaseCtlEvents>("is-intercepting-allow-childs",
                                            &CViewBaseCtlEvents::attrHitFlags);
}

CError* CViewBaseCtlEvents::attrHitFlags()
{
    clickThrough = getAttrBool(CString("is-click-through"), false);
    intercepting = getAttrBool(CString("is-intercepting"), false);
    interceptingAllowChilds = getAttrBool(CString("is-intercepting-allow-childs"), false);
    return nullptr;
}

CError* CViewBaseCtlEvents::deliverCtlEvent(const CString& eventName, CAttrMap& params)
{
    KEL_CHECK(onCtlEvent(eventName, params));
    KEL_CHECK(sendEvent(eventName, params));
    return nullptr;
}

CError* CViewBaseCtlEvents::onCtlEvent(const CString& eventName, CAttrMap& /*params*/)
{
    if (eventName == "mouse-enter")
        hover = true;
    else if (eventName == "mouse-exit")
        hover = false;
    return nullptr;
}

} // namespace kel
