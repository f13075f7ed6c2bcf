#include "UI/Controls/CKnob.h"

#include "Core/CGlobalSettings.h"
#include "UI/Params/CUIParam.h"
#include "UI/Params/CUIParamController.h"
#include "UI/Resources/CColorSwatch.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"

#include <cmath>

namespace kel
{

namespace
{
constexpr double kTurn = 6.283185307179586;
} // namespace

void CKnob::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    for (const char* attrName : {"center-x", "center-y", "inner-radius", "outer-radius",
                                 "zone-start", "zone-end", "element"})
        info.addAttrHandler<CKnob>(attrName, &CKnob::attrGeometry);
    info.addAttrHandler<CKnob>("color-swatch", &CKnob::attrSwatch);
    info.addAttrHandler<CKnob>("color-index", &CKnob::attrSwatch);
    info.addAttrHandler<CKnob>("is-link-inversed", &CKnob::attrLink);
}

CError* CKnob::attrGeometry()
{
    centerXRatio = getAttrDouble(CString("center-x"), 0.5);
    centerYRatio = getAttrDouble(CString("center-y"), 0.45);
    innerRatio = getAttrDouble(CString("inner-radius"), 0.27);
    outerRatio = getAttrDouble(CString("outer-radius"), 0.44);
    zoneStart = getAttrDouble(CString("zone-start"), 0.89);
    zoneEnd = getAttrDouble(CString("zone-end"), 0.60);
    element = getAttrInt(CString("element"), 0);
    computeGeometry();
    return nullptr;
}

CError* CKnob::attrSwatch()
{
    colorIndex = getAttrInt(CString("color-index"), -1);
    swatch = nullptr;
    if (!getAttrString(CString("color-swatch"), CString()).isEmpty())
        KEL_CHECK(findObjectByAttr("color-swatch", swatch));
    invalidate();
    return nullptr;
}

CError* CKnob::attrLink()
{
    linkInversed = getAttrBool(CString("is-link-inversed"), false);
    return nullptr;
}

CError* CKnob::initChilds()
{
    KEL_CHECK(CView::initChilds());
    controller = dynamic_cast<CUIParamController*>(findObject(CString(".ui-param-controller")));
    if (!controller)
        return KEL_ERROR(
            "@kelstr_CKnob_init_NoParamController Unable to locate UI parameter controller.");
    uiParam = dynamic_cast<CUIParam*>(findObject(CString(".ui-param")));
    labels = dynamic_cast<CView*>(findObject(CString(".knob-labels")));
    const CString linkPath = getAttrString(CString("linked-knob"), CString());
    if (!linkPath.isEmpty())
    {
        KEL_CHECK(findObjectByAttr("linked-knob", linkedKnob));
        // A knob linked to itself would move twice as far: refused like a path to nowhere.
        if (linkedKnob == this)
        {
            linkedKnob = nullptr;
            return KEL_ERROR("@kelstr_CView_findObjectByAttr_FindError Name attribute '%1' refers "
                             "to a non-existent object '%2' ('%3')",
                             CString("linked-knob"), linkPath, getFullName());
        }
    }
    computeGeometry();
    return nullptr;
}

void CKnob::detachLinks()
{
    uiParam = nullptr;
    controller = nullptr;
    labels = nullptr;
    swatch = nullptr;
    linkedKnob = nullptr;
    linkOpen = false;
    CView::detachLinks();
}

CKnob::CGeometry CKnob::getGeometry() const
{
    const CLinearBitmap::Rect area = getViewRect();
    const double width = area.right - area.left;
    const double height = area.bottom - area.top;
    CGeometry geometry;
    geometry.centerX = area.left + width * centerXRatio;
    geometry.centerY = area.top + height * centerYRatio;
    geometry.innerRadius = width * innerRatio;
    geometry.outerRadius = width * outerRatio;
    return geometry;
}

void CKnob::computeGeometry()
{
    const CGeometry geometry = getGeometry();
    centerX = geometry.centerX;
    centerY = geometry.centerY;
    innerRadius = geometry.innerRadius;
    outerRadius = geometry.outerRadius;
}

void CKnob::onAreaChanged()
{
    CView::onAreaChanged();
    computeGeometry();
}

CError* CKnob::onUIParamUpdate(CUIParam& /*changed*/)
{
    invalidate();
    return nullptr;
}

int CKnob::frameOf(int first, int last, double v)
{
    if (first > last)
        return -1;
    const double clamped = v < 0.0 ? 0.0 : (v > 1.0 ? 1.0 : v);
    return first + static_cast<int>(std::lround((last - first) * clamped));
}

void CKnob::draw(CDrawContext& dc)
{
    CView::draw(dc);
    const CImageSet* set = getImageSet();
    const CString rangeName = getImageSetRange().isEmpty()
                                  ? getAttrString(CString("image-set-range"), CString())
                                  : getImageSetRange();
    CImageSet::Range range;
    // A knob whose parameter is out of reach shows no value at all, not a made-up one.
    if (!set || !set->findRange(rangeName, range) || !uiParam || !uiParam->isValid())
        return;
    const double value = uiParam->getNormalisedValue(0);
    const int frame = frameOf(range.first, range.last, value);
    const CImage* image = frame >= 0 ? set->getImage(frame) : nullptr;
    if (!image || image->getLayerCount() == 0)
        return;
    const int width = image->getLayer(0)->getDrawWidth();
    const int height = image->getLayer(0)->getDrawHeight();
    int x = 0;
    int y = 0;
    if (!getAlignedImageCoords(dc, getViewRect(), width, height, x, y))
        return;
    const CColor* indicator = getSwatchColor();
    for (int i = 0; i < image->getLayerCount(); ++i)
    {
        const CImageLayer* layer = image->getLayer(i);
        const int slot = layer->getColorSlot();
        const CColor* color =
            slot == kIndicatorSlot && indicator ? indicator : getColors().getImageColor(slot);
        drawImageLayer(dc, *layer, x, y, color, 1.0);
    }
}

const CColor* CKnob::getSwatchColor()
{
    const CViewColors* rootColors = getColors().getRootColors();
    if (!swatch || !rootColors || !rootColors->getPalette())
        return nullptr;
    return swatch->findColor(colorIndex, *rootColors->getPalette(), getColorState());
}

double CKnob::getRadialValue(int x, int y) const
{
    const double a = std::atan2(y - centerY, x - centerX) / kTurn + 0.5;
    const double span = zoneEnd + 1.0 - zoneStart;
    if (a > zoneEnd && a < zoneStart)
        return a <= (zoneStart + zoneEnd) / 2.0 ? 1.0 : 0.0;
    if (a >= zoneStart)
        return (a - zoneStart) / span;
    return (a + 1.0 - zoneStart) / span;
}

int CKnob::intParam(const CAttrMap& params, const char* name)
{
    const CAttrValue* value = params.find(CString(name));
    return value ? value->getInt() : 0;
}

bool CKnob::boolParam(const CAttrMap& params, const char* name)
{
    const CAttrValue* value = params.find(CString(name));
    return value && value->getBool();
}

CError* CKnob::onMousePress(CAttrMap& params)
{
    KEL_CHECK(CView::onMousePress(params));
    if (!controller)
        return nullptr;
    const int x = intParam(params, "actual-x");
    const int y = intParam(params, "actual-y");
    const double dx = x - centerX;
    const double dy = y - centerY;
    const double distance2 = dx * dx + dy * dy;
    // Exactly on the inner radius counts as the ring; beyond the ring is not the knob's.
    if (distance2 >= outerRadius * outerRadius)
        return nullptr;
    const bool isRing = distance2 >= innerRadius * innerRadius;
    if (dragMode != kModeNone)
        KEL_CHECK(endDrag());
    CUIParamController* partner =
        linkedKnob && boolParam(params, "is-ctrl") ? linkedKnob->controller : nullptr;
    if (boolParam(params, "is-double-click"))
    {
        KEL_CHECK(controller->resetToDefault(element, 1));
        if (partner)
            KEL_CHECK(partner->resetToDefault(linkedKnob->element, 1));
        return nullptr;
    }
    if (isRing && CGlobalSettings::values().radialKnobMode.load(std::memory_order_relaxed))
    {
        dragMode = kModeRadial;
        KEL_CHECK(controller->startScale(CUIParamController::kModeRadial, element, 1, false, x, y));
        KEL_CHECK(controller->setValue(getRadialValue(x, y)));
        return nullptr;
    }
    dragMode = kModeDrag;
    KEL_CHECK(controller->startScale(CUIParamController::kModeOffset, element, 1, false, x, y));
    if (partner)
    {
        KEL_CHECK(partner->startScale(CUIParamController::kModeOffset, linkedKnob->element, 1, true,
                                      x, y));
        linkOpen = true;
    }
    return nullptr;
}

CError* CKnob::onMouseMove(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseMove(params));
    if (!controller || dragMode == kModeNone)
        return nullptr;
    const int x = intParam(params, "actual-x");
    const int y = intParam(params, "actual-y");
    if (dragMode == kModeRadial)
    {
        KEL_CHECK(controller->setValue(getRadialValue(x, y)));
        return nullptr;
    }
    const bool isShift = boolParam(params, "is-shift");
    double value = 0.0;
    KEL_CHECK(controller->advanceScale(x, y, isShift, false, true, value));
    if (linkOpen && linkedKnob && linkedKnob->controller)
        KEL_CHECK(linkedKnob->controller->advanceScale(x, y, isShift, linkInversed, true, value));
    return nullptr;
}

CError* CKnob::endDrag()
{
    dragMode = kModeNone;
    const bool wasLinked = linkOpen;
    linkOpen = false;
    if (controller)
        KEL_CHECK(controller->finishScale());
    if (wasLinked && linkedKnob && linkedKnob->controller)
        KEL_CHECK(linkedKnob->controller->finishScale());
    return nullptr;
}

CError* CKnob::onMouseRelease(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseRelease(params));
    KEL_CHECK(endDrag());
    return nullptr;
}

CError* CKnob::onMouseCancel(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseCancel(params));
    KEL_CHECK(endDrag());
    return nullptr;
}

CError* CKnob::onMouseWheel(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseWheel(params));
    if (!controller)
        return nullptr;
    const int delta = intParam(params, "delta");
    const bool isShift = boolParam(params, "is-shift");
    KEL_CHECK(controller->addWheelDelta(delta, element, 1, isShift));
    if (linkedKnob && linkedKnob->controller && boolParam(params, "is-ctrl"))
        KEL_CHECK(linkedKnob->controller->addWheelDelta(linkInversed ? -delta : delta,
                                                        linkedKnob->element, 1, isShift));
    return nullptr;
}

CError* CKnob::onMouseEnter(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseEnter(params));
    if (labels && CGlobalSettings::values().showKnobLabels.load(std::memory_order_relaxed))
        KEL_CHECK(labels->setState(CString("show")));
    return nullptr;
}

CError* CKnob::onMouseExit(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseExit(params));
    // Cleared whatever the setting says now: a setting switched off while the labels were
    // shown must not leave them standing.
    if (labels)
        KEL_CHECK(labels->unsetState(CString("show")));
    return nullptr;
}

} // namespace kel
