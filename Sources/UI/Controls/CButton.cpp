#include "UI/Controls/CButton.h"

#include "Core/CSharedAttribute.h"
#include "UI/Controls/CTextView.h"
#include "UI/Lists/CValueList.h"
#include "UI/Params/CUIParam.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"

namespace kel
{

namespace
{

// The attribute under which the button keeps the followed shared attribute's text.
const char* const kSharedTextAttr = "shared-attribute-text";
const char* const kNoItemTitle = "---";

} // namespace

void CButton::registerClass(CClassInfo& info)
{
    CFrame::registerClass(info);
    info.addAttrHandler<CButton>("is-active", &CButton::attrActive);
    info.addAttrHandler<CButton>("is-temp-pushed", &CButton::attrTempPushed);
    info.addAttrHandler<CButton>("is-disabled", &CButton::attrDisabled);
    for (const char* flag : {"is-right-click-allowed", "is-inverse", "is-picture",
                             "image-set-index", "is-undo-disabled"})
        info.addAttrHandler<CButton>(flag, &CButton::attrFlags);
    for (const char* text : {"title", "selected-item", "is-item-list-empty"})
        info.addAttrHandler<CButton>(text, &CButton::attrTitle);
    info.addEventProc<CButton>("item-list-changed", &CButton::onItemListChanged);
}

CError* CButton::initChilds()
{
    KEL_CHECK(CFrame::initChilds());
    label = dynamic_cast<CTextView*>(findChild(CString("label")));
    activityParam = dynamic_cast<CUIParam*>(findChild(CString("ui-param-activity")));
    const CString sharedPath = getAttrString(CString("shared-attribute"), CString());
    if (!sharedPath.isEmpty())
    {
        KEL_CHECK(findObjectChecked(sharedPath, sharedAttribute));
        CAttrFilter filter;
        filter.set(sharedAttribute->getAttributeName(), CString(kSharedTextAttr));
        followObject(sharedAttribute, filter);
    }
    const CString listPath = getAttrString(CString("item-list"), CString());
    if (!listPath.isEmpty())
    {
        KEL_CHECK(findObjectChecked(listPath, itemList));
        KEL_CHECK(listenObject(listPath, CString("values-changed"), CString("item-list-changed")));
    }
    KEL_CHECK(syncFromBinding());
    KEL_CHECK(updateTitle());
    KEL_CHECK(applyDisabledLook());
    onStateChanged();
    return nullptr;
}

void CButton::detachLinks()
{
    label = nullptr;
    activityParam = nullptr;
    sharedAttribute = nullptr;
    itemList = nullptr;
    CFrame::detachLinks();
}

// ---- attributes ----

CError* CButton::attrFlags()
{
    rightAllowed = getAttrBool(CString("is-right-click-allowed"), false);
    inverse = getAttrBool(CString("is-inverse"), false);
    picture = getAttrBool(CString("is-picture"), false);
    imageIndex = getAttrInt(CString("image-set-index"), 0);
    undoDisabled = getAttrBool(CString("is-undo-disabled"), false);
    invalidate();
    return nullptr;
}

CError* CButton::attrActive()
{
    const bool isOn = getAttrBool(CString("is-active"), false);
    KEL_CHECK(applyActiveState(isOn));
    // A change made here (a toggle command) goes to the binding; one read from it does not.
    if (!syncing && getState() >= kStateChildsInitDone)
    {
        bool bound = false;
        if (!readBinding(bound) || bound != isOn)
            KEL_CHECK(writeBinding(isOn));
    }
    KEL_CHECK(onActiveChanged(isOn));
    return nullptr;
}

CError* CButton::attrTempPushed()
{
    if (getAttrBool(CString("is-temp-pushed"), false))
        KEL_CHECK(setState(CString("temp-pushed")));
    else
        KEL_CHECK(unsetState(CString("temp-pushed")));
    return nullptr;
}

CError* CButton::attrDisabled()
{
    disabled = getAttrBool(CString("is-disabled"), false);
    if (disabled)
    {
        // A press under way ends here: its release will not be heard.
        held = false;
        KEL_CHECK(unsetState(CString("pushed hover")));
    }
    KEL_CHECK(applyDisabledLook());
    return nullptr;
}

CError* CButton::attrTitle()
{
    if (getState() >= kStateChildsInitDone)
        KEL_CHECK(updateTitle());
    return nullptr;
}

CError* CButton::onActiveChanged(bool /*isNowActive*/)
{
    return nullptr;
}

CError* CButton::applyActiveState(bool isOn)
{
    const CString active("active");
    if (isOn == isStateActive(active))
        return nullptr;
    if (!isOn)
    {
        KEL_CHECK(unsetState(active));
        return nullptr;
    }
    // The colour rows are named "ActiveHover": "active" has to come first.
    const CString hoverState("hover");
    if (!isStateActive(hoverState))
    {
        KEL_CHECK(setState(active));
        return nullptr;
    }
    KEL_CHECK(unsetState(hoverState, true));
    KEL_CHECK(setState(CString("active hover")));
    return nullptr;
}

// ---- the binding ----

bool CButton::readBinding(bool& outActive) const
{
    outActive = false;
    if (activityParam && activityParam->isValid())
    {
        outActive = (activityParam->getNormalisedValue() >= 0.5) != inverse;
        return true;
    }
    if (!sharedAttribute)
        return false;
    bool flag = false;
    const CString text =
        sharedAttribute->getAttrString(sharedAttribute->getAttributeName(), CString());
    if (!text.parseBool(flag))
        return false;
    outActive = flag != inverse;
    return true;
}

CError* CButton::writeBinding(bool isOn)
{
    const bool stored = isOn != inverse;
    if (activityParam)
    {
        if (!undoDisabled)
            KEL_CHECK(activityParam->beginChange());
        KEL_CHECK(activityParam->setNormalisedValue(stored ? 1.0 : 0.0),
                  delete (undoDisabled ? nullptr : activityParam->endChange()));
        if (!undoDisabled)
            KEL_CHECK(activityParam->endChange());
        return nullptr;
    }
    if (sharedAttribute)
        KEL_CHECK(sharedAttribute->setAttr(sharedAttribute->getAttributeName(),
                                           CAttrValue(CString::fromBool(stored))));
    return nullptr;
}

CError* CButton::syncFromBinding()
{
    bool bound = false;
    if (!readBinding(bound))
        return nullptr;
    if (bound == getAttrBool(CString("is-active"), false) && bound == isActive())
        return nullptr;
    syncing = true;
    CError* error = setAttr(CString("is-active"), CAttrValue(bound));
    syncing = false;
    KEL_CHECK(error);
    return nullptr;
}

CError* CButton::onUIParamUpdate(CUIParam& changed)
{
    if (&changed == activityParam)
        KEL_CHECK(syncFromBinding());
    return nullptr;
}

CError* CButton::onLinkedAttr(CObject* sender, const CString& attrName, const CAttrValue& value)
{
    KEL_CHECK(CFrame::onLinkedAttr(sender, attrName, value));
    if (sender == sharedAttribute && sharedAttribute)
        KEL_CHECK(syncFromBinding());
    return nullptr;
}

// ---- text ----

CError* CButton::updateTitle()
{
    CString text = getAttrString(CString("title"), CString());
    if (itemList)
    {
        const int count = itemList->getCount();
        const int selected = getAttrInt(CString("selected-item"), 0);
        text = selected >= 0 && selected < count ? itemList->getTitle(selected)
                                                 : CString(kNoItemTitle);
    }
    if (getAttrBool(CString("is-item-list-empty"), false))
        text = CString(kNoItemTitle);
    KEL_CHECK(showTitle(text));
    return nullptr;
}

CError* CButton::showTitle(const CString& text)
{
    if (!label)
    {
        if (text.isEmpty())
            return nullptr;
        // A template without a label gets the plain one: centred over the whole inside.
        CAttrMap params;
        params.set(CString("placement"), CAttrValue("full"));
        params.set(CString("text-alignment"), CAttrValue("center"));
        params.set(CString("text-alignment-v"), CAttrValue("center"));
        params.set(CString("is-click-through"), CAttrValue(true));
        const CString role =
            (disabledLook ? ownColor : getAttrString(CString("color"), CString())) +
            CString("Text");
        ownLabelColor = role;
        params.set(CString("color"), CAttrValue(disabledLook ? CString("/DisabledText") : role));
        params.set(CString("title"), CAttrValue(text));
        KEL_CHECK(createChild(CString("ui:textview"), CString("label"), label, &params));
        shownTitle = text;
        onStateChanged();
        return nullptr;
    }
    if (text == shownTitle && label->getAttrString(CString("title"), CString()) == text)
        return nullptr;
    shownTitle = text;
    KEL_CHECK(label->setAttr(CString("title"), CAttrValue(text)));
    return nullptr;
}

CError* CButton::onItemListChanged()
{
    KEL_CHECK(updateTitle());
    CAttrMap params;
    params.set(CString("count"),
               CAttrValue(static_cast<int32_t>(itemList ? itemList->getCount() : 0)));
    KEL_CHECK(sendEvent(CString("item-list-updated"), params));
    return nullptr;
}

// ---- look ----

CError* CButton::applyDisabledLook()
{
    if (disabled == disabledLook || getState() < kStateChildsInitDone)
        return nullptr;
    disabledLook = disabled;
    const CString colorName("color");
    if (disabled)
    {
        ownColor = getAttrString(colorName, CString());
        KEL_CHECK(setAttr(colorName, CAttrValue("/Disabled")));
        if (label)
        {
            ownLabelColor = label->getAttrString(colorName, CString());
            KEL_CHECK(label->setAttr(colorName, CAttrValue("/DisabledText")));
        }
    }
    else
    {
        KEL_CHECK(setAttr(colorName, CAttrValue(ownColor)));
        if (label)
            KEL_CHECK(label->setAttr(colorName, CAttrValue(ownLabelColor)));
    }
    onStateChanged();
    return nullptr;
}

void CButton::onStateChanged()
{
    CFrame::onStateChanged();
    // The disabled roles have no state rows.
    if (disabledLook)
    {
        getColors().setState(CString());
        getColors().endBlend();
    }
    if (!label)
        return;
    label->getColors().setState(disabledLook ? CString()
                                             : getColorState() + label->getColorState());
    label->getColors().endBlend();
    label->invalidate();
}

void CButton::draw(CDrawContext& dc)
{
    if (!picture)
    {
        CFrame::draw(dc);
        return;
    }
    CView::draw(dc);
    const CImageSet* set = getImageSet();
    const CString rangeName = getImageSetRange().isEmpty()
                                  ? getAttrString(CString("image-set-range"), CString())
                                  : getImageSetRange();
    CImageSet::Range range;
    if (!set || !set->findRange(rangeName, range))
        return;
    // A range shorter than the index (the one-image "Active" of an icon) shows its last image.
    const int index = range.first + imageIndex > range.last ? range.last - range.first : imageIndex;
    const CImage* image = set->getImage(range.first + index);
    if (!image || image->getLayerCount() == 0)
        return;
    const int width = image->getLayer(0)->getDrawWidth();
    const int height = image->getLayer(0)->getDrawHeight();
    int x = 0;
    int y = 0;
    if (getAlignedImageCoords(dc, getViewRect(), width, height, x, y))
        drawImage(dc, rangeName, index, x, y);
}

// ---- input ----

CError* CButton::onCtlEvent(const CString& eventName, CAttrMap& params)
{
    if (disabled && eventName.startsWith(CString("mouse-")))
        return nullptr;
    KEL_CHECK(CFrame::onCtlEvent(eventName, params));
    return nullptr;
}

CError* CButton::press()
{
    held = true;
    KEL_CHECK(setState(CString("pushed")));
    return nullptr;
}

CError* CButton::endPress()
{
    held = false;
    KEL_CHECK(unsetState(CString("pushed")));
    return nullptr;
}

CError* CButton::onMouseEnter(CAttrMap& params)
{
    KEL_CHECK(CFrame::onMouseEnter(params));
    // Back over the button with the press held: it shows pushed again.
    if (held)
        KEL_CHECK(setState(CString("pushed")));
    return nullptr;
}

CError* CButton::onMouseExit(CAttrMap& params)
{
    KEL_CHECK(CFrame::onMouseExit(params));
    KEL_CHECK(unsetState(CString("pushed")));
    return nullptr;
}

CError* CButton::onMousePress(CAttrMap& params)
{
    KEL_CHECK(press());
    KEL_CHECK(CFrame::onMousePress(params));
    return nullptr;
}

CError* CButton::onMouseRelease(CAttrMap& params)
{
    // The window hands over a release only when it ends over the pressed view.
    KEL_CHECK(endPress());
    KEL_CHECK(CFrame::onMouseRelease(params));
    return nullptr;
}

CError* CButton::onMouseCancel(CAttrMap& params)
{
    KEL_CHECK(endPress());
    KEL_CHECK(CFrame::onMouseCancel(params));
    return nullptr;
}

CError* CButton::onMousePressR(CAttrMap& params)
{
    if (!rightAllowed)
        return nullptr;
    KEL_CHECK(press());
    KEL_CHECK(CFrame::onMousePressR(params));
    return nullptr;
}

CError* CButton::onMouseReleaseR(CAttrMap& params)
{
    if (!rightAllowed)
        return nullptr;
    KEL_CHECK(endPress());
    KEL_CHECK(CFrame::onMouseReleaseR(params));
    return nullptr;
}

CError* CButton::onMouseCancelR(CAttrMap& params)
{
    if (!rightAllowed)
        return nullptr;
    KEL_CHECK(endPress());
    KEL_CHECK(CFrame::onMouseCancelR(params));
    return nullptr;
}

} // namespace kel
