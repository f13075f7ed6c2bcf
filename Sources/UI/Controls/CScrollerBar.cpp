#include "UI/Controls/CScrollerBar.h"

#include "Core/CDebugChannel.h"
#include "Core/CUtf8Path.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CPalette.h"
#include "UI/Resources/CUiScale.h"

#include <cmath>

namespace kel
{

void CScrollerBar::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    for (const char* attrName :
         {"target", "orientation", "min-thumb-length", "scroll-step", "thumb-color"})
        info.addAttrHandler<CScrollerBar>(attrName, &CScrollerBar::attrSettings);
    info.addEventProc<CScrollerBar>("target-wheel", &CScrollerBar::onTargetWheel);
}

CError* CScrollerBar::initChilds()
{
    KEL_CHECK(CView::initChilds());
    KEL_CHECK(attrSettings());
    if (targetPath.isEmpty())
        return KEL_ERROR("@kelstr_CScrollerBar_initChilds_NoTarget No target view specified.");
    return nullptr;
}

void CScrollerBar::detachLinks()
{
    listening = false;
    dragging = false;
    CView::detachLinks();
}

CError* CScrollerBar::attrSettings()
{
    const CString path = getAttrString(CString("target"), CString());
    if (path != targetPath)
    {
        targetPath = path;
        reportedMissing = false;
        listening = false;
    }
    horizontal = getAttrString(CString("orientation"), CString()) == CString("horizontal");
    minThumbLength = getAttrInt(CString("min-thumb-length"), 12);
    scrollStep = getAttrInt(CString("scroll-step"), 20);
    thumbColor = getAttrString(CString("thumb-color"), CString("ScrollerBar"));
    invalidate();
    return nullptr;
}

CError* CScrollerBar::findTargetArea(CViewArea*& outArea)
{
    outArea = nullptr;
    if (targetPath.isEmpty())
        return nullptr; // an empty path would find the bar itself
    CViewBasePlacement* target = nullptr;
    KEL_CHECK(findObjectChecked(targetPath, target));
    if (!listening)
    {
        // The wheel over the scrolled view, or over what it scrolls, moves it too.
        listening = true;
        for (int i = -1; i < target->getChildCount(); ++i)
        {
            const CObject* sender = i < 0 ? target : target->getChild(i);
            if (sender != this && dynamic_cast<const CViewBasePlacement*>(sender))
                KEL_CHECK(listenObject(sender->getFullName(), CString("mouse-wheel"),
                                       CString("target-wheel")));
        }
    }
    outArea = target->getArea();
    return nullptr;
}

CError* CScrollerBar::measure(CTrack& out, bool& scrolls)
{
    scrolls = false;
    KEL_CHECK(findTargetArea(out.area));
    if (!out.area)
        return nullptr;
    const CLinearBitmap::Rect bar = getViewRect();
    out.start = horizontal ? bar.left : bar.top;
    out.length = horizontal ? bar.right - bar.left : bar.bottom - bar.top;
    const double virtualExtent =
        out.area->getValue(horizontal ? CViewArea::kVirtualWidth : CViewArea::kVirtualHeight);
    out.visible =
        horizontal
            ? out.area->getValue(CViewArea::kWidth) - out.area->getValue(CViewArea::kInnerLeft) -
                  out.area->getValue(CViewArea::kInnerRight)
            : out.area->getValue(CViewArea::kHeight) - out.area->getValue(CViewArea::kInnerTop) -
                  out.area->getValue(CViewArea::kInnerBottom);
    out.offset = out.area->getValue(horizontal ? CViewArea::kScrollX : CViewArea::kScrollY);
    out.maxOffset = virtualExtent - out.visible;
    if (out.maxOffset < 1.0 || out.visible <= 0.0 || out.length <= 0)
        return nullptr;
    const int minimum = CUiScale::scaleMetric(minThumbLength);
    int thumb = static_cast<int>(std::lround(out.length * out.visible / virtualExtent));
    thumb = thumb < minimum ? minimum : thumb;
    out.thumbLength = thumb > out.length ? out.length : thumb;
    const double position = out.offset < 0.0             ? 0.0
                            : out.offset > out.maxOffset ? 1.0
                                                         : out.offset / out.maxOffset;
    out.thumbStart =
        out.start + static_cast<int>(std::lround((out.length - out.thumbLength) * position));
    scrolls = true;
    return nullptr;
}

bool CScrollerBar::measureLogged(CTrack& out)
{
    bool scrolls = false;
    if (CError* error = measure(out, scrolls))
    {
        if (!reportedMissing)
            KEL_LOG("%s", error->getMessage());
        reportedMissing = true;
        delete error;
        return false;
    }
    return scrolls;
}

bool CScrollerBar::getThumb(int& start, int& length)
{
    CTrack track;
    if (!measureLogged(track))
        return false;
    start = track.thumbStart;
    length = track.thumbLength;
    return true;
}

void CScrollerBar::scrollTo(const CTrack& track, double offset)
{
    // Whole pixels keep the scrolled text on the pixel grid.
    offset = std::round(offset);
    offset = offset > track.maxOffset ? std::floor(track.maxOffset) : offset;
    offset = offset < 0.0 ? 0.0 : offset;
    if (offset == track.offset)
        return;
    if (horizontal)
        track.area->setScrollOffset(offset, track.area->getValue(CViewArea::kScrollY));
    else
        track.area->setScrollOffset(track.area->getValue(CViewArea::kScrollX), offset);
    invalidate();
}

int CScrollerBar::along(const CAttrMap& params) const
{
    return getParamInt(params, horizontal ? "x" : "y");
}

void CScrollerBar::draw(CDrawContext& dc)
{
    CView::draw(dc);
    CTrack track;
    if (!measureLogged(track))
        return;
    const CViewColors* rootColors = getColors().getRootColors();
    const CPalette* palette = rootColors ? rootColors->getPalette() : nullptr;
    if (!palette)
        return;
    const CString row(dragging ? "_Active" : isHover() ? "_Hover" : "");
    const CColor* color = palette->findColor(thumbColor + row);
    if (!color)
        color = palette->findColor(thumbColor);
    if (!color)
    {
        const CUtf8Path text(thumbColor);
        KEL_LOG("Color not found: '%s'", text.get());
        return;
    }
    const CLinearBitmap::Rect bar = getViewRect();
    const int thumbEnd = track.thumbStart + track.thumbLength;
    drawFilledRect(dc,
                   horizontal
                       ? CLinearBitmap::Rect{track.thumbStart, bar.top, thumbEnd, bar.bottom}
                       : CLinearBitmap::Rect{bar.left, track.thumbStart, bar.right, thumbEnd},
                   color->getSolidRGB());
}

CError* CScrollerBar::onMousePress(CAttrMap& params)
{
    KEL_CHECK(CView::onMousePress(params));
    CTrack track;
    bool scrolls = false;
    KEL_CHECK(measure(track, scrolls));
    if (!scrolls)
        return nullptr;
    const int at = along(params);
    if (at >= track.thumbStart && at < track.thumbStart + track.thumbLength)
    {
        dragging = true;
        dragGrip = at - track.thumbStart;
        invalidate();
        return nullptr;
    }
    // A page towards the press.
    scrollTo(track, track.offset + (at < track.thumbStart ? -track.visible : track.visible));
    return nullptr;
}

CError* CScrollerBar::onMouseMove(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseMove(params));
    if (!dragging)
        return nullptr;
    CTrack track;
    bool scrolls = false;
    KEL_CHECK(measure(track, scrolls));
    if (!scrolls)
        return nullptr;
    const int room = track.length - track.thumbLength;
    if (room <= 0)
        return nullptr;
    const int thumbStart = along(params) - dragGrip - track.start;
    scrollTo(track, track.maxOffset * thumbStart / room);
    return nullptr;
}

CError* CScrollerBar::onMouseRelease(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseRelease(params));
    if (dragging)
    {
        dragging = false;
        invalidate();
    }
    return nullptr;
}

CError* CScrollerBar::onMouseCancel(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseCancel(params));
    if (dragging)
    {
        dragging = false;
        invalidate();
    }
    return nullptr;
}

CError* CScrollerBar::scrollByWheel(const CAttrMap& params)
{
    CTrack track;
    bool scrolls = false;
    KEL_CHECK(measure(track, scrolls));
    // A notch up (delta +1) moves towards the start.
    if (scrolls)
        scrollTo(track,
                 track.offset - getParamInt(params, "delta") * CUiScale::scaleMetric(scrollStep));
    return nullptr;
}

CError* CScrollerBar::onMouseWheel(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseWheel(params));
    return scrollByWheel(params);
}

CError* CScrollerBar::onTargetWheel(const CAttrMap& params)
{
    return scrollByWheel(params);
}

} // namespace kel
