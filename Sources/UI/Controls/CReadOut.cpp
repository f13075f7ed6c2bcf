#include "UI/Controls/CReadOut.h"

#include "UI/Params/CUIParam.h"
#include "UI/Params/CUIParamController.h"

namespace kel
{

void CReadOut::registerClass(CClassInfo& info)
{
    CTextView::registerClass(info);
}

CError* CReadOut::initChilds()
{
    KEL_CHECK(CTextView::initChilds());
    if (!getAttrString(CString("bridge"), CString()).isEmpty() ||
        !getAttrString(CString("shared-attribute"), CString()).isEmpty())
        KEL_CHECK(makeChild("ui:ui-param", "ui-param",
                            {"bridge", "group-selector", "element", "shared-attribute",
                             "shared-attribute-value", "value-list"}));
    if (getAttrBool(CString("needs-ui-param-controller"), false))
        KEL_CHECK(makeChild("ui:ui-param-controller", "ui-param-controller",
                            {"ui-param-count", "update-fps"}));
    uiParam = dynamic_cast<CUIParam*>(findObject(CString(".ui-param")));
    controller = dynamic_cast<CUIParamController*>(findObject(CString(".ui-param-controller")));
    showValue();
    return nullptr;
}

CError* CReadOut::makeChild(const char* templateName, const char* childName,
                            std::initializer_list<const char*> attrNames)
{
    if (findObject(CString(".") + CString(childName)))
        return nullptr;
    CAttrMap params;
    for (const char* attrName : attrNames)
    {
        const CString value = getAttrString(CString(attrName), CString());
        if (!value.isEmpty())
            params.set(CString(attrName), CAttrValue(value));
    }
    CObject* made = nullptr;
    KEL_CHECK(createChild(CString(templateName), CString(childName), made, &params));
    return nullptr;
}

void CReadOut::detachLinks()
{
    uiParam = nullptr;
    controller = nullptr;
    CTextView::detachLinks();
}

CError* CReadOut::onUIParamUpdate(CUIParam& /*changed*/)
{
    showValue();
    return nullptr;
}

void CReadOut::showValue()
{
    if (!uiParam)
        return;
    CString text;
    if (uiParam->isValid())
        uiParam->getText(text);
    if (text != getContent())
        setContent(text);
}

CString CReadOut::getEditStartText()
{
    CString text;
    if (uiParam && uiParam->isValid())
        uiParam->getText(text);
    return text;
}

CError* CReadOut::onEditCommitted(const CString& text)
{
    if (uiParam && uiParam->isValid())
    {
        KEL_CHECK(uiParam->beginChange());
        KEL_CHECK(uiParam->setFromText(text), delete uiParam->endChange());
        KEL_CHECK(uiParam->endChange());
    }
    // A text that was not taken leaves the value's own text on show.
    showValue();
    return nullptr;
}

CError* CReadOut::onMouseWheel(CAttrMap& params)
{
    KEL_CHECK(CTextView::onMouseWheel(params));
    if (controller)
        KEL_CHECK(controller->addWheelDelta(getParamInt(params, "delta"), 0, 1,
                                            getParamBool(params, "is-shift")));
    return nullptr;
}

} // namespace kel
