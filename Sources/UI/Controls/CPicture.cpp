#include "UI/Controls/CPicture.h"

#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"

namespace kel
{

void CPicture::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    info.addAttrHandler<CPicture>("image-range", &CPicture::attrPicture);
    info.addAttrHandler<CPicture>("image-index", &CPicture::attrPicture);
    info.addAttrHandler<CPicture>("is-tiled", &CPicture::attrPicture);
}

CError* CPicture::attrPicture()
{
    imageRange = getAttrString(CString("image-range"));
    imageIndex = getAttrInt(CString("image-index"), 0);
    tiled = getAttrBool(CString("is-tiled"), false);
    invalidate();
    return nullptr;
}

void CPicture::draw(CDrawContext& dc)
{
    CView::draw(dc);
    const CImageSet* set = getImageSet();
    CImageSet::Range range;
    if (!set || !set->findRange(imageRange, range))
        return;
    const CImage* image = set->getImage(range.first + imageIndex);
    if (!image || image->getLayerCount() == 0)
        return;
    const CLinearBitmap::Rect area = getViewRect();
    const int width = image->getLayer(0)->getDrawWidth();
    const int height = image->getLayer(0)->getDrawHeight();
    if (!tiled || width <= 0 || height <= 0)
    {
        int x = 0;
        int y = 0;
        if (getAlignedImageCoords(dc, area, width, height, x, y))
            drawImage(dc, imageRange, imageIndex, x, y);
        return;
    }
    // Only the tiles that meet the clip are drawn.
    const int clipLeft = dc.clip.left + dc.originX;
    const int clipTop = dc.clip.top + dc.originY;
    const int firstX = area.left + ((clipLeft - area.left) / width) * width;
    const int firstY = area.top + ((clipTop - area.top) / height) * height;
    for (int y = firstY; y < area.bottom && y < dc.clip.bottom + dc.originY; y += height)
    {
        for (int x = firstX; x < area.right && x < dc.clip.right + dc.originX; x += width)
            drawImage(dc, imageRange, imageIndex, x, y);
    }
}

} // namespace kel
