#include "UI/Controls/CSelector.h"

#include "Core/CSharedAttribute.h"
#include "UI/Controls/CButton.h"
#include "UI/Lists/CValueList.h"

namespace kel
{

namespace
{

// The attribute under which the selector keeps the followed shared attribute's text.
const char* const kSharedTextAttr = "shared-attribute-text";

// The buttons' events and the procedures they reach.
const char* const kButtonEvents[][2] = {
    {"mouse-press-r", "cmd-press-r"},     {"mouse-release", "cmd-release"},
    {"mouse-release-r", "cmd-release-r"}, {"mouse-cancel-r", "cmd-cancel"},
    {"mouse-enter", "cmd-enter"},         {"mouse-exit", "cmd-exit"},
};

} // namespace

void CSelector::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    info.addAttrHandler<CSelector>("active-button", &CSelector::attrActiveButton);
    info.addEventProc<CSelector>("cmd-press-r", &CSelector::onCmdPressR);
    info.addEventProc<CSelector>("cmd-release", &CSelector::onCmdRelease);
    info.addEventProc<CSelector>("cmd-release-r", &CSelector::onCmdReleaseR);
    info.addEventProc<CSelector>("cmd-cancel", &CSelector::onCmdCancel);
    info.addEventProc<CSelector>("cmd-enter", &CSelector::onCmdEnter);
    info.addEventProc<CSelector>("cmd-exit", &CSelector::onCmdExit);
}

CError* CSelector::initChilds()
{
    KEL_CHECK(CView::initChilds());
    rightAllowed = getAttrBool(CString("is-right-click-allowed"), false);
    KEL_CHECK(prepareButtons());
    const CString sharedPath =
        getAttrString(CString("shared-attribute"), CString(getDefaultSharedAttribute()));
    if (!sharedPath.isEmpty())
    {
        KEL_CHECK(findObjectChecked(sharedPath, sharedAttribute));
        CAttrFilter filter;
        filter.set(sharedAttribute->getAttributeName(), CString(kSharedTextAttr));
        followObject(sharedAttribute, filter);
    }
    KEL_CHECK(makeButtons());
    if (sharedAttribute)
        KEL_CHECK(onSharedValue(
            sharedAttribute->getAttrString(sharedAttribute->getAttributeName(), CString())));
    KEL_CHECK(applyActiveButton());
    return nullptr;
}

void CSelector::detachLinks()
{
    buttons.clear();
    sharedAttribute = nullptr;
    CView::detachLinks();
}

CError* CSelector::onLinkedAttr(CObject* sender, const CString& attrName, const CAttrValue& value)
{
    KEL_CHECK(CView::onLinkedAttr(sender, attrName, value));
    if (sender == sharedAttribute && sharedAttribute)
        KEL_CHECK(onSharedValue(value.getString()));
    return nullptr;
}

void CSelector::readTitleList(const CString& list, CArray<CString>& out) const
{
    out.clear();
    if (list.isEmpty())
        return;
    if (const auto* values = dynamic_cast<const CValueList*>(findObject(list)))
    {
        for (int i = 0; i < values->getCount(); ++i)
            out.add(values->getTitle(i));
        return;
    }
    const CString separatorText = getAttrString(CString("separator-char"), CString("|"));
    const uint16_t separator = separatorText.isEmpty() ? '|' : separatorText.getUnit(0);
    int start = 0;
    for (int at = list.findUnit(separator); at >= 0; at = list.findUnit(separator, start))
    {
        out.add(list.substring(start, at - start));
        start = at + 1;
    }
    out.add(list.substring(start));
}

void CSelector::readTitles(CArray<CString>& out) const
{
    readTitleList(getAttrString(CString("button-title-list"), CString()), out);
}

void CSelector::describeButton(int /*index*/, CAttrMap& /*params*/) const {}

CError* CSelector::makeButtons()
{
    CArray<CString> titles;
    readTitles(titles);
    const int count = getAttrInt(CString("button-count"), titles.getCount());
    const CString buttonTag = getAttrString(CString("button-tag"), CString(getDefaultButtonTag()));
    const char* const copied[][2] = {{"button-width", "width"},
                                     {"button-height", "height"},
                                     {"button-inner-border", "inner-border"},
                                     {"button-color", "color"}};
    for (int index = 0; index < count; ++index)
    {
        CAttrMap params;
        for (const auto& pair : copied)
            if (const CAttrValue* value = findAttr(CString(pair[0])))
                params.set(CString(pair[1]), *value);
        if (index < titles.getCount())
            params.set(CString("title"), CAttrValue(titles[index]));
        params.set(CString("is-right-click-allowed"), CAttrValue(rightAllowed));
        describeButton(index, params);
        const CString buttonName = CString::format("button%d", index);
        CButton* button = nullptr;
        KEL_CHECK(createChild(buttonTag, buttonName, button, &params));
        buttons.add(button);
        for (const auto& pair : kButtonEvents)
            KEL_CHECK(listenObject(CString(".") + buttonName, CString(pair[0]), CString(pair[1])));
    }
    return nullptr;
}

CError* CSelector::attrActiveButton()
{
    if (getState() >= kStateChildsInitDone)
        KEL_CHECK(applyActiveButton());
    return nullptr;
}

CError* CSelector::applyActiveButton()
{
    const int active = getActiveButton();
    for (int index = 0; index < buttons.getCount(); ++index)
    {
        const bool isOn = index == active;
        if (buttons[index]->getAttrBool(CString("is-active"), false) != isOn)
            KEL_CHECK(buttons[index]->setAttr(CString("is-active"), CAttrValue(isOn)));
    }
    return nullptr;
}

CError* CSelector::onButtonReleased(int index)
{
    KEL_CHECK(setAttr(CString("active-button"), CAttrValue(static_cast<int32_t>(index))));
    return nullptr;
}

CError* CSelector::onSharedValue(const CString& /*text*/)
{
    return nullptr;
}

CError* CSelector::writeShared(const CString& text)
{
    if (sharedAttribute)
        KEL_CHECK(sharedAttribute->setAttr(sharedAttribute->getAttributeName(), CAttrValue(text)));
    return nullptr;
}

// ---- the buttons' events ----

int CSelector::senderIndex(const CAttrMap& params) const
{
    const CAttrValue* sender = params.find(CString("sender"));
    if (!sender)
        return -1;
    const CString& senderName = sender->getString();
    for (int index = 0; index < buttons.getCount(); ++index)
    {
        if (buttons[index]->getFullName() == senderName)
            return buttons[index]->isDisabled() ? -1 : index;
    }
    return -1;
}

CError* CSelector::raise(const char* eventName, int index)
{
    CAttrMap params;
    params.set(CString("index"), CAttrValue(static_cast<int32_t>(index)));
    KEL_CHECK(sendEvent(CString(eventName), params));
    return nullptr;
}

CError* CSelector::onCmdRelease(const CAttrMap& params)
{
    const int index = senderIndex(params);
    if (index < 0)
        return nullptr;
    KEL_CHECK(onButtonReleased(index));
    KEL_CHECK(raise("button-released", index));
    return nullptr;
}

CError* CSelector::onCmdPressR(const CAttrMap& params)
{
    const int index = senderIndex(params);
    if (index >= 0 && rightAllowed)
        KEL_CHECK(raise("button-pressed-r", index));
    return nullptr;
}

CError* CSelector::onCmdReleaseR(const CAttrMap& params)
{
    const int index = senderIndex(params);
    if (index >= 0 && rightAllowed)
        KEL_CHECK(raise("button-released-r", index));
    return nullptr;
}

CError* CSelector::onCmdCancel(const CAttrMap& params)
{
    const int index = senderIndex(params);
    if (index >= 0 && rightAllowed)
        KEL_CHECK(raise("button-cancelled-r", index));
    return nullptr;
}

CError* CSelector::onCmdEnter(const CAttrMap& params)
{
    const int index = senderIndex(params);
    if (index >= 0)
        KEL_CHECK(raise("button-enter", index));
    return nullptr;
}

CError* CSelector::onCmdExit(const CAttrMap& params)
{
    const int index = senderIndex(params);
    if (index >= 0)
        KEL_CHECK(raise("button-exit", index));
    return nullptr;
}

} // namespace kel
