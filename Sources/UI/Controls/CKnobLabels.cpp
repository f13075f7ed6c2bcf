#include "UI/Controls/CKnobLabels.h"

#include "Core/CSystem.h"
#include "UI/Controls/CKnob.h"
#include "UI/Controls/CTextView.h"
#include "UI/Lists/CValueList.h"
#include "UI/Lists/CValueListAudio.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CViewArea.h"

#include <cmath>

namespace kel
{

namespace
{
constexpr double kTurn = 6.283185307179586;
constexpr const char* kBackgroundRange = "LabelBG";
constexpr const char* kLabelTemplate = "ui:knob-labels-label";
} // namespace

void CKnobLabels::registerClass(CClassInfo& info)
{
    CPicture::registerClass(info);
    info.addEventProc<CKnobLabels>("scale-values-change", &CKnobLabels::onScaleValuesChange);
}

CError* CKnobLabels::init()
{
    KEL_CHECK(CPicture::init());
    // The defaults go in before the handlers run, at createChilds.
    if (!hasAttr(CString("image-range")))
        KEL_CHECK(setAttr(CString("image-range"), CAttrValue(CString(kBackgroundRange)), false));
    const CObject* knobObject = getParent();
    if (!hasAttr(CString("image-set")) && knobObject && knobObject->hasAttr(CString("image-set")))
        KEL_CHECK(setAttr(CString("image-set"),
                          CAttrValue(knobObject->getAttrString(CString("image-set"))), false));
    return nullptr;
}

CError* CKnobLabels::initChilds()
{
    KEL_CHECK(CPicture::initChilds());
    scale = dynamic_cast<CValueList*>(findObject(CString(".scale")));
    if (!scale)
        return KEL_ERROR(
            "@kelstr_CKnobLabels_initChilds_NoScaleValues Unable to locate scale values.");
    // The list is often still empty here (its parameter is not connected yet): a template that
    // is not there must fail now, not at the first values.
    if (!findNamedTemplate(CString(kLabelTemplate)) && !hasCreator(CString(kLabelTemplate)))
        return KEL_ERROR(
            "@kelstr_CKnobLabels_initChilds_FailScaleLabels Unable to create scale labels.");
    KEL_CHECK(
        listenObject(CString(".scale"), CString("values-changed"), CString("scale-values-change")));
    KEL_CHECK(rebuildLabels());
    return nullptr;
}

void CKnobLabels::detachLinks()
{
    scale = nullptr;
    labels.clear();
    CPicture::detachLinks();
}

CError* CKnobLabels::onScaleValuesChange()
{
    KEL_CHECK(rebuildLabels());
    return nullptr;
}

CError* CKnobLabels::rebuildLabels()
{
    for (int i = labels.getCount() - 1; i >= 0; --i)
        CObject::destroyObject(labels[i]);
    labels.clear();
    if (!scale)
        return nullptr;
    for (int i = 0; i < scale->getCount(); ++i)
    {
        CAttrMap params;
        params.set(CString("placement"), CAttrValue(CString("overlay")));
        params.set(CString("text-alignment"), CAttrValue(CString("center")));
        params.set(CString("text-alignment-v"), CAttrValue(CString("center")));
        params.set(CString("width"), CAttrValue(CString("compact")));
        params.set(CString("height"), CAttrValue(CString("compact")));
        params.set(CString("is-hidden"), CAttrValue(isHidden()));
        params.set(CString("title"), CAttrValue(scale->getTitle(i)));
        CTextView* label = nullptr;
        if (CError* error = createChild(CString(kLabelTemplate), CString("label"), label, &params))
        {
            // The cause goes to the log; the caller hears what failed.
            KEL_LOG("%s", error->getMessage());
            delete error;
            return KEL_ERROR(
                "@kelstr_CKnobLabels_initChilds_FailScaleLabels Unable to create scale labels.");
        }
        labels.add(label);
    }
    KEL_CHECK(placeLabels());
    return nullptr;
}

double CKnobLabels::getLabelValue(int index) const
{
    if (!scale || index < 0 || index >= scale->getCount())
        return 0.0;
    const auto* audioList = dynamic_cast<const CValueListAudio*>(scale);
    if (audioList && audioList->isKnobCircle())
        return scale->getValue(index);
    const int count = scale->getCount();
    return count > 1 ? static_cast<double>(index) / (count - 1) : 0.0;
}

void CKnobLabels::getZone(double& zoneStart, double& zoneEnd) const
{
    const auto* knob = dynamic_cast<const CKnob*>(getParent());
    zoneStart = knob ? knob->getZoneStart() : 0.89;
    zoneEnd = knob ? knob->getZoneEnd() : 0.60;
}

void CKnobLabels::getCircle(double& centerX, double& centerY, double& radius) const
{
    const auto* knob = dynamic_cast<const CKnob*>(getParent());
    if (knob)
    {
        const CKnob::CGeometry geometry = knob->getGeometry();
        centerX = geometry.centerX;
        centerY = geometry.centerY;
        radius = geometry.outerRadius;
    }
    else
    {
        const CLinearBitmap::Rect area = getViewRect();
        centerX = area.left + (area.right - area.left) * 0.5;
        centerY = area.top + (area.bottom - area.top) * 0.45;
        radius = (area.right - area.left) * 0.44;
    }
    const CImageSet* set = getImageSet();
    CImageSet::Range range;
    if (!set || !set->findRange(CString(kBackgroundRange), range))
        return;
    const CImage* image = set->getImage(range.first);
    if (image && image->getLayerCount() > 0 && image->getLayer(0)->getDrawWidth() > 0)
        radius = image->getLayer(0)->getDrawWidth() / 2.0;
}

CError* CKnobLabels::placeLabels()
{
    placedFor = getViewRect();
    placedHidden = isHidden();
    const CViewArea* area = getArea();
    if (!area || labels.isEmpty())
        return nullptr;
    // The labels' outer borders count from this view's inner box, in unscaled units.
    const double boxLeft = area->getValue(CViewArea::kLeft) + area->getValue(CViewArea::kInnerLeft);
    const double boxTop = area->getValue(CViewArea::kTop) + area->getValue(CViewArea::kInnerTop);
    const double boxRight =
        area->getValue(CViewArea::kRight) - area->getValue(CViewArea::kInnerRight);
    const double boxBottom =
        area->getValue(CViewArea::kBottom) - area->getValue(CViewArea::kInnerBottom);
    const double scaleFactor = CUiScale::get() > 0.0 ? CUiScale::get() : 1.0;
    double centerX = 0.0;
    double centerY = 0.0;
    double radius = 0.0;
    getCircle(centerX, centerY, radius);
    double zoneStart = 0.0;
    double zoneEnd = 0.0;
    getZone(zoneStart, zoneEnd);
    for (int i = 0; i < labels.getCount(); ++i)
    {
        CTextView* label = labels[i];
        const double turns = zoneStart + getLabelValue(i) * (zoneEnd + 1.0 - zoneStart);
        const double angle = (turns - 0.5) * kTurn;
        const double width = label->getWrapper().getTextWidth();
        const double height = label->getWrapper().getTextHeight();
        const double left = std::round(centerX + radius * std::cos(angle) - width / 2.0);
        const double top = std::round(centerY + radius * std::sin(angle) - height / 2.0);
        const CString border = CString::format(
            "L%.4f T%.4f R%.4f B%.4f", (left - boxLeft) / scaleFactor, (top - boxTop) / scaleFactor,
            (boxRight - left - width) / scaleFactor, (boxBottom - top - height) / scaleFactor);
        if (label->getAttrString(CString("outer-border"), CString()) != border)
            KEL_CHECK(label->setAttr(CString("outer-border"), CAttrValue(border)));
        if (label->getAttrBool(CString("is-hidden"), false) != placedHidden)
            KEL_CHECK(label->setAttr(CString("is-hidden"), CAttrValue(placedHidden)));
    }
    return nullptr;
}

void CKnobLabels::onAreaChanged()
{
    CPicture::onAreaChanged();
    const CLinearBitmap::Rect area = getViewRect();
    if (area.left == placedFor.left && area.top == placedFor.top && area.right == placedFor.right &&
        area.bottom == placedFor.bottom && isHidden() == placedHidden)
        return;
    if (CError* error = placeLabels())
        CSystem::showError(KEL_FRAME(error));
}

} // namespace kel
