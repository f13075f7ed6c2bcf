#include "UI/Controls/CGradient.h"

#include "UI/Resources/CColor.h"

#include <cmath>

namespace kel
{

namespace
{

int clampAlpha(int alpha)
{
    return alpha < 0 ? 0 : alpha > 255 ? 255 : alpha;
}

uint32_t mixChannel(uint32_t over, uint32_t below, int shift, uint32_t alpha)
{
    const uint32_t a = (over >> shift) & 0xffu;
    const uint32_t b = (below >> shift) & 0xffu;
    return ((a * alpha + b * (255u - alpha) + 127u) / 255u) << shift;
}

} // namespace

void CGradient::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    for (const char* attrName : {"alpha-start", "alpha-end", "orientation"})
        info.addAttrHandler<CGradient>(attrName, &CGradient::attrGradient);
}

CError* CGradient::init()
{
    KEL_CHECK(CView::init());
    // Presses go through to what lies below, unless the tree wants them stopped here.
    if (!hasAttr(CString("is-click-through")))
        KEL_CHECK(setAttr(CString("is-click-through"), CAttrValue(true), false));
    return nullptr;
}

CError* CGradient::attrGradient()
{
    alphaStart = clampAlpha(getAttrInt(CString("alpha-start"), 0));
    alphaEnd = clampAlpha(getAttrInt(CString("alpha-end"), 255));
    horizontal = getAttrString(CString("orientation"), CString()) == CString("horizontal");
    invalidate();
    return nullptr;
}

void CGradient::draw(CDrawContext& dc)
{
    const CColor* color = getColors().getImageColor(0);
    if (!color)
        return;
    const CLinearBitmap::Rect area = getViewRect();
    const int steps = horizontal ? area.right - area.left : area.bottom - area.top;
    // The part of the view inside the clip, in sector pixels.
    const int left = area.left - dc.originX > dc.clip.left ? area.left - dc.originX : dc.clip.left;
    const int top = area.top - dc.originY > dc.clip.top ? area.top - dc.originY : dc.clip.top;
    const int right =
        area.right - dc.originX < dc.clip.right ? area.right - dc.originX : dc.clip.right;
    const int bottom =
        area.bottom - dc.originY < dc.clip.bottom ? area.bottom - dc.originY : dc.clip.bottom;
    if (steps <= 0 || right <= left || bottom <= top)
        return;
    const uint32_t over = color->getSolidRGB();
    const double colorAlpha = color->alpha < 0.0 ? 0.0 : color->alpha > 1.0 ? 1.0 : color->alpha;
    auto alphaAt = [&](int index)
    {
        const double run = steps > 1 ? static_cast<double>(index) / (steps - 1) : 0.0;
        const double alpha = (alphaStart + (alphaEnd - alphaStart) * run) * colorAlpha;
        return static_cast<uint32_t>(clampAlpha(static_cast<int>(std::lround(alpha))));
    };
    for (int y = top; y < bottom; ++y)
    {
        uint32_t* row = dc.target.getRow(y);
        const uint32_t rowAlpha = horizontal ? 0u : alphaAt(y + dc.originY - area.top);
        for (int x = left; x < right; ++x)
        {
            const uint32_t alpha = horizontal ? alphaAt(x + dc.originX - area.left) : rowAlpha;
            row[x] = mixChannel(over, row[x], 16, alpha) | mixChannel(over, row[x], 8, alpha) |
                     mixChannel(over, row[x], 0, alpha);
        }
    }
}

} // namespace kel
