#include "UI/Params/CUIParam.h"

#include "Core/CSharedAttribute.h"
#include "UI/Params/CParamBridge.h"
#include "UI/Params/CParamGroupSelector.h"
#include "UI/Params/CUIParamUpdateHandler.h"

namespace kel
{

namespace
{

// The attribute under which a CUIParam keeps the followed shared attribute's text.
const char* const kSharedTextAttr = "shared-attribute-text";

} // namespace

CUIParam::CUIParam() = default;

CUIParam::~CUIParam() = default;

void CUIParam::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addEventProc<CUIParam>("group-change", &CUIParam::onGroupChange);
}

CError* CUIParam::init()
{
    KEL_CHECK(CObject::init());
    handler = dynamic_cast<CUIParamUpdateHandler*>(getParent());
    if (!handler)
        return KEL_ERROR("@kelstr_CUIParam_init_InvalidParent Parent object does not support "
                         "ui-param.");
    element = getAttrInt(CString("element"), 0);
    group = getAttrInt(CString("group"), 0);
    index = getAttrInt(CString("index"), 0);
    sharedValue = getAttrString(CString("shared-attribute-value"), CString());

    const CString groupSelectorPath = getAttrString(CString("group-selector"), CString());
    if (!groupSelectorPath.isEmpty())
    {
        KEL_CHECK(findObjectByAttr("group-selector", groupSelector));
        group = groupSelector->getGroup();
        KEL_CHECK(
            listenObject(groupSelectorPath, CString("group-change"), CString("group-change")));
    }
    if (!getAttrString(CString("value-list"), CString()).isEmpty())
        KEL_CHECK(findObjectByAttr("value-list", valueList));

    if (!getAttrString(CString("bridge"), CString()).isEmpty())
    {
        KEL_CHECK(findObjectByAttr("bridge", bridge));
        bridge->addUIParam(this);
        return nullptr;
    }
    const CString sharedPath = getAttrString(CString("shared-attribute"), CString());
    if (sharedPath.isEmpty())
        return nullptr;
    sharedAttribute = dynamic_cast<CSharedAttribute*>(findObject(sharedPath));
    if (!sharedAttribute || sharedAttribute->getAttributeName().isEmpty())
    {
        sharedAttribute = nullptr;
        return KEL_ERROR("@kelstr_CUIParam_init_NoSharedAttribute Invalid parameter shared "
                         "attribute '%1'.",
                         sharedPath);
    }
    CAttrFilter filter;
    filter.set(sharedAttribute->getAttributeName(), CString(kSharedTextAttr));
    followObject(sharedAttribute, filter);
    return nullptr;
}

void CUIParam::detachLinks()
{
    if (bridge)
        bridge->removeUIParam(this);
    bridge = nullptr;
    groupSelector = nullptr;
    sharedAttribute = nullptr;
    valueList = nullptr;
    handler = nullptr;
    CObject::detachLinks();
}

void CUIParam::onBridgeGone(CParamBridge* leaving)
{
    if (bridge == leaving)
        bridge = nullptr;
}

CError* CUIParam::onLinkedAttr(CObject* sender, const CString& attrName, const CAttrValue& value)
{
    KEL_CHECK(CObject::onLinkedAttr(sender, attrName, value));
    if (sender == sharedAttribute && sharedAttribute)
        KEL_CHECK(notifyHandler());
    return nullptr;
}

CError* CUIParam::notifyHandler()
{
    if (handler)
        KEL_CHECK(handler->onUIParamUpdate(*this));
    return nullptr;
}

CError* CUIParam::onBridgeChange(int changeOffset, int changeCount, int changeGroup,
                                 bool isReplacing)
{
    if (changeGroup >= 0 && changeGroup != group)
        return nullptr;
    const int used = getElement();
    if (used < changeOffset || (!isReplacing && used >= changeOffset + changeCount))
        return nullptr;
    KEL_CHECK(notifyHandler());
    return nullptr;
}

CError* CUIParam::onGroupChange()
{
    if (!groupSelector || groupSelector->getGroup() == group)
        return nullptr;
    // Only the reading changes: no value is written, so no undo step is made.
    group = groupSelector->getGroup();
    KEL_CHECK(notifyHandler());
    return nullptr;
}

// ---- values ----

CString CUIParam::getSharedText() const
{
    if (!sharedAttribute)
        return CString();
    return sharedAttribute->getAttrString(sharedAttribute->getAttributeName(), CString());
}

bool CUIParam::isValid() const
{
    return bridge ? bridge->isValid() : sharedAttribute != nullptr;
}

double CUIParam::getNormalisedValue(int offset) const
{
    if (bridge)
        return bridge->getNormalisedValue(getElement() + offset, group);
    if (!sharedAttribute)
        return 0.0;
    const CString text = getSharedText();
    if (!sharedValue.isEmpty())
        return text == sharedValue ? 1.0 : 0.0;
    bool flag = false;
    if (text.parseBool(flag))
        return flag ? 1.0 : 0.0;
    double number = 0.0;
    if (!text.parseDouble(number))
        return 0.0;
    return number < 0.0 ? 0.0 : (number > 1.0 ? 1.0 : number);
}

CError* CUIParam::setNormalisedValue(double value, int offset)
{
    if (bridge)
    {
        KEL_CHECK(bridge->setNormalisedValue(value, getElement() + offset, group));
        return nullptr;
    }
    if (!sharedAttribute)
        return nullptr;
    const CString attrName = sharedAttribute->getAttributeName();
    if (!sharedValue.isEmpty())
    {
        if (value >= 0.5)
            KEL_CHECK(sharedAttribute->setAttr(attrName, CAttrValue(sharedValue)));
        return nullptr;
    }
    // A switch stays a switch: a text that reads as a bool is written as one.
    bool flag = false;
    if (getSharedText().parseBool(flag))
    {
        KEL_CHECK(sharedAttribute->setAttr(attrName, CAttrValue(CString::fromBool(value >= 0.5))));
        return nullptr;
    }
    const double limited = value < 0.0 ? 0.0 : (value > 1.0 ? 1.0 : value);
    KEL_CHECK(sharedAttribute->setAttr(attrName, CAttrValue(CString::fromDouble(limited))));
    return nullptr;
}

void CUIParam::getText(CString& out, int offset) const
{
    out.clear();
    if (bridge)
        bridge->getValueText(out, getElement() + offset, group);
    else
        out = getSharedText();
}

void CUIParam::valueToText(CString& out, double value, int offset) const
{
    out.clear();
    if (bridge)
        bridge->valueToText(out, value, getElement() + offset, group);
    else if (sharedAttribute)
        out = CString::fromDouble(value);
}

CError* CUIParam::setFromText(const CString& text, int offset)
{
    if (bridge)
    {
        bool ok = false;
        const double value = bridge->textToValue(text, getElement() + offset, group, &ok);
        if (ok)
            KEL_CHECK(bridge->setNormalisedValue(value, getElement() + offset, group));
        return nullptr;
    }
    if (sharedAttribute)
        KEL_CHECK(sharedAttribute->setAttr(sharedAttribute->getAttributeName(), CAttrValue(text)));
    return nullptr;
}

double CUIParam::getDefaultValue(int offset) const
{
    if (bridge)
        return bridge->getDefaultValue(getElement() + offset, group);
    if (!sharedAttribute)
        return 0.0;
    double number = 0.0;
    const CString text = sharedAttribute->getAttrString(CString("def-value"), CString());
    if (!sharedValue.isEmpty())
        return text == sharedValue ? 1.0 : 0.0;
    bool flag = false;
    if (text.parseBool(flag))
        return flag ? 1.0 : 0.0;
    return text.parseDouble(number) ? number : 0.0;
}

CError* CUIParam::resetToDefault(int offset)
{
    if (bridge)
    {
        KEL_CHECK(bridge->resetToDefault(getElement() + offset, group));
        return nullptr;
    }
    if (sharedAttribute && sharedAttribute->hasAttr(CString("def-value")))
        KEL_CHECK(sharedAttribute->setAttr(
            sharedAttribute->getAttributeName(),
            CAttrValue(sharedAttribute->getAttrString(CString("def-value")))));
    return nullptr;
}

CError* CUIParam::beginChange(int offset, int32_t mergeId)
{
    if (bridge)
        KEL_CHECK(bridge->beginChange(getElement() + offset, group, mergeId));
    return nullptr;
}

CError* CUIParam::endChange()
{
    if (bridge)
        KEL_CHECK(bridge->endChange());
    return nullptr;
}

} // namespace kel
