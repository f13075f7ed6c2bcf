#include "UI/Controls/CFrame.h"

#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"

namespace kel
{

namespace
{

// Pieces of a frame range, in stored order: the four edges, then the four corners.
enum Piece
{
    kTop,
    kRight,
    kBottom,
    kLeft,
    kTopLeft,
    kTopRight,
    kBottomRight,
    kBottomLeft,
    kPieceCount
};

const CImageLayer* firstLayer(const CImageSet* set, int number)
{
    const CImage* image = set ? set->getImage(number) : nullptr;
    return image && image->getLayerCount() > 0 ? image->getLayer(0) : nullptr;
}

} // namespace

void CFrame::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    info.addAttrHandler<CFrame>("image-range", &CFrame::attrImageRange);
    info.addAttrHandler<CFrame>("is-face-filled", &CFrame::attrImageRange);
}

CError* CFrame::attrImageRange()
{
    imageRange = getAttrString(CString("image-range"));
    faceFilled = getAttrBool(CString("is-face-filled"), true);
    invalidate();
    return nullptr;
}

uint32_t CFrame::probeFacePixel(CDrawContext& dc, int firstImage)
{
    // One pixel is enough: the corner's innermost pixel lies on the face.
    static CLinearBitmap probe;
    if (probe.getWidth() != 1 && probe.resize(1, 1) != nullptr)
        return getSolidPixel();
    const CImageLayer* corner = firstLayer(getImageSet(), firstImage + kTopLeft);
    if (!corner)
        return getSolidPixel();
    probe.fill(getSolidPixel());
    CDrawContext probeDc{probe, 0, 0, {0, 0, 1, 1}};
    (void)dc;
    drawImageLayer(probeDc, *corner, 1 - corner->getDrawWidth(), 1 - corner->getDrawHeight(),
                   getColors().getImageColor(corner->getColorSlot()), 1.0);
    return probe.getPixel(0, 0);
}

void CFrame::draw(CDrawContext& dc)
{
    const CLinearBitmap::Rect area = getViewRect();
    const CImageSet* set = getImageSet();
    CImageSet::Range range;
    if (!set || !set->findRange(imageRange, range) || range.last - range.first + 1 < kPieceCount)
    {
        drawFilledRect(dc, area, getSolidPixel());
        return;
    }
    const CImageLayer* pieces[kPieceCount];
    for (int i = 0; i < kPieceCount; ++i)
    {
        pieces[i] = firstLayer(set, range.first + i);
        if (!pieces[i])
        {
            drawFilledRect(dc, area, getSolidPixel());
            return;
        }
    }
    const int cornerW = pieces[kTopLeft]->getDrawWidth();
    const int cornerH = pieces[kTopLeft]->getDrawHeight();
    const CLinearBitmap::Rect inner{area.left + cornerW, area.top + cornerH, area.right - cornerW,
                                    area.bottom - cornerH};
    if (faceFilled)
        drawFilledRect(dc, area, probeFacePixel(dc, range.first));

    // Edges repeat along the sides, cut where the corners begin.
    auto slot = [this](const CImageLayer* layer)
    { return getColors().getImageColor(layer->getColorSlot()); };
    const CLinearBitmap::Rect saved = dc.clip;
    auto clipTo = [&](const CLinearBitmap::Rect& r)
    {
        CLinearBitmap::Rect c{r.left - dc.originX, r.top - dc.originY, r.right - dc.originX,
                              r.bottom - dc.originY};
        dc.clip.left = saved.left > c.left ? saved.left : c.left;
        dc.clip.top = saved.top > c.top ? saved.top : c.top;
        dc.clip.right = saved.right < c.right ? saved.right : c.right;
        dc.clip.bottom = saved.bottom < c.bottom ? saved.bottom : c.bottom;
        return !dc.clip.isEmpty();
    };
    const int edgeH = pieces[kTop]->getDrawWidth() > 0 ? pieces[kTop]->getDrawWidth() : 1;
    const int edgeV = pieces[kLeft]->getDrawHeight() > 0 ? pieces[kLeft]->getDrawHeight() : 1;
    if (clipTo({inner.left, area.top, inner.right, area.bottom}))
    {
        for (int x = inner.left; x < inner.right; x += edgeH)
        {
            drawImageLayer(dc, *pieces[kTop], x, area.top, slot(pieces[kTop]), 1.0);
            drawImageLayer(dc, *pieces[kBottom], x, area.bottom - pieces[kBottom]->getDrawHeight(),
                           slot(pieces[kBottom]), 1.0);
        }
    }
    if (clipTo({area.left, inner.top, area.right, inner.bottom}))
    {
        for (int y = inner.top; y < inner.bottom; y += edgeV)
        {
            drawImageLayer(dc, *pieces[kLeft], area.left, y, slot(pieces[kLeft]), 1.0);
            drawImageLayer(dc, *pieces[kRight], area.right - pieces[kRight]->getDrawWidth(), y,
                           slot(pieces[kRight]), 1.0);
        }
    }
    if (clipTo(area))
    {
        drawImageLayer(dc, *pieces[kTopLeft], area.left, area.top, slot(pieces[kTopLeft]), 1.0);
        drawImageLayer(dc, *pieces[kTopRight], area.right - cornerW, area.top,
                       slot(pieces[kTopRight]), 1.0);
        drawImageLayer(dc, *pieces[kBottomRight], area.right - cornerW, area.bottom - cornerH,
                       slot(pieces[kBottomRight]), 1.0);
        drawImageLayer(dc, *pieces[kBottomLeft], area.left, area.bottom - cornerH,
                       slot(pieces[kBottomLeft]), 1.0);
    }
    dc.clip = saved;
}

} // namespace kel
