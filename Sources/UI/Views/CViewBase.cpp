#include "UI/Views/CViewBase.h"

#include "UI/Resources/CColor.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"
#include "UI/Resources/CImageSetObject.h"
#include "UI/Resources/CPaletteObject.h"
#include "UI/Windows/CWindow.h"

namespace kel
{

namespace
{

CLinearBitmap::Rect toSector(const CViewBase::CDrawContext& dc, const CLinearBitmap::Rect& area)
{
    CLinearBitmap::Rect r{area.left - dc.originX, area.top - dc.originY, area.right - dc.originX,
                          area.bottom - dc.originY};
    if (r.left < dc.clip.left)
        r.left = dc.clip.left;
    if (r.top < dc.clip.top)
        r.top = dc.clip.top;
    if (r.right > dc.clip.right)
        r.right = dc.clip.right;
    if (r.bottom > dc.clip.bottom)
        r.bottom = dc.clip.bottom;
    return r;
}

} // namespace

CViewBase::CViewBase() = default;

CViewBase::~CViewBase()
{
    delete ownSectorMap;
}

void CViewBase::registerClass(CClassInfo& info)
{
    CViewBaseCtlEvents::registerClass(info);
    info.addAttrHandler<CViewBase>("color", &CViewBase::attrColor);
    info.addAttrHandler<CViewBase>("color-slots", &CViewBase::attrColorSlots);
    info.addAttrHandler<CViewBase>("image-set", &CViewBase::attrImageSet);
    info.addAttrHandler<CViewBase>("is-dynamic", &CViewBase::attrDrawFlags);
    info.addAttrHandler<CViewBase>("is-force-non-dynamic", &CViewBase::attrDrawFlags);
    info.addAttrHandler<CViewBase>("is-debug-invert-area", &CViewBase::attrDrawFlags);
    info.addAttrHandler<CViewBase>("opacity", &CViewBase::attrDrawFlags);
    info.addAttrHandler<CViewBase>("z-index", &CViewBase::attrZIndex);
    info.addAttrHandler<CViewBase>("palette", &CViewBase::attrPalette);
}

CError* CViewBase::init()
{
    KEL_CHECK(CViewBaseCtlEvents::init());
    if (isRootView())
    {
        ownSectorMap = new CSectorMap();
        rootBase = this;
        colors.setRootColors(&colors);
    }
    else
    {
        rootBase = dynamic_cast<CViewBase*>(getRootView());
        colors.setRootColors(rootBase ? &rootBase->colors : nullptr);
    }
    // Listed now, before the children: the map draws views of one z-index in the order they
    // were added, so a parent lies under its children. Its place comes with the first frame.
    if (CSectorMap* map = getSectorMap())
    {
        map->addView(this);
        isRegistered = true;
    }
    return nullptr;
}

void CViewBase::detachLinks()
{
    if (CWindow* window = findWindow())
        window->forgetView(this);
    if (isRegistered)
    {
        if (CSectorMap* map = getSectorMap())
            map->removeView(this);
        isRegistered = false;
    }
    rootBase = nullptr;
    imageSet = nullptr;
    colors.setRootColors(nullptr);
    CViewBaseCtlEvents::detachLinks();
}

CSectorMap* CViewBase::getSectorMap() const
{
    return rootBase ? rootBase->ownSectorMap : nullptr;
}

CError* CViewBase::attrColor()
{
    colors.setRootName(getAttrString(CString("color")));
    invalidate();
    return nullptr;
}

CError* CViewBase::attrColorSlots()
{
    colors.setSlotNames(getAttrString(CString("color-slots")));
    invalidate();
    return nullptr;
}

CError* CViewBase::attrImageSet()
{
    // An image set named by a path that is not there is logged once; the view draws no image.
    const CString path = getAttrString(CString("image-set"));
    imageSet = nullptr;
    if (!path.isEmpty())
    {
        CImageSetObject* object = dynamic_cast<CImageSetObject*>(findObject(path));
        if (object)
        {
            if (!object->isLoaded())
                KEL_CHECK(object->loadNow());
            imageSet = object->getImageSet();
        }
        else
        {
            char text[256];
            path.toUtf8(text, sizeof text);
            KEL_LOG("Image set not found: %s", text);
        }
    }
    invalidate();
    return nullptr;
}

CError* CViewBase::attrDrawFlags()
{
    const bool wasDynamic = isDynamic;
    isDynamic = getAttrBool(CString("is-dynamic"), false) &&
                !getAttrBool(CString("is-force-non-dynamic"), false);
    debugInvert = getAttrBool(CString("is-debug-invert-area"), false);
    opacity = getAttrDouble(CString("opacity"), 1.0);
    if (wasDynamic != isDynamic)
    {
        if (CSectorMap* map = isRegistered ? getSectorMap() : nullptr)
            map->updateView(this);
    }
    invalidate();
    return nullptr;
}

CError* CViewBase::attrZIndex()
{
    zIndex = getAttrInt(CString("z-index"), 0);
    if (CSectorMap* map = isRegistered ? getSectorMap() : nullptr)
        map->updateView(this);
    return nullptr;
}

CError* CViewBase::attrPalette()
{
    if (!isRootView())
        return nullptr;
    // Palettes live in the shared tree under "pal"; an unknown name keeps the one before.
    const CString schemeName = getAttrString(CString("palette"), CString("Default"));
    CString path("shared::pal.");
    path.append(schemeName);
    CPaletteObject* object = dynamic_cast<CPaletteObject*>(findObject(path));
    if (!object)
    {
        char text[256];
        schemeName.toUtf8(text, sizeof text);
        KEL_LOG("Palette not found: %s", text);
        return nullptr;
    }
    if (!object->isLoaded())
        KEL_CHECK(object->loadNow());
    colors.setPalette(object->getPalette());
    if (ownSectorMap)
        ownSectorMap->invalidateAll();
    return nullptr;
}

void CViewBase::onAreaChanged()
{
    if (CSectorMap* map = isRegistered ? getSectorMap() : nullptr)
        map->updateView(this);
}

void CViewBase::onStateChanged()
{
    // While the colour eases, every colour the view reads from its table is the mix of the row
    // it comes from and the new one; the first evaluation and a change over no time never run.
    colors.setState(getColorState());
    if (isColorMorphRunning())
        colors.setBlend(getPreviousColorState(), getColorMorphPosition());
    else
        colors.endBlend();
    invalidate();
}

void CViewBase::invalidate()
{
    if (CSectorMap* map = isRegistered ? getSectorMap() : nullptr)
        map->invalidateView(this);
}

CLinearBitmap::Rect CViewBase::getDrawRect() const
{
    if (isHidden())
        return {};
    return getViewRect();
}

bool CViewBase::isDrawReady() const
{
    const CObject* treeRoot = getRoot();
    return treeRoot && treeRoot->getState() == kStateComplete;
}

void CViewBase::drawSector(CLinearBitmap& target, int originX, int originY,
                           const CLinearBitmap::Rect& clip)
{
    CDrawContext dc{target, originX, originY, clip};
    // Nothing of the view may leave its own rectangle.
    const CLinearBitmap::Rect own = toSector(dc, getViewRect());
    if (own.isEmpty())
        return;
    dc.clip = own;
    colors.update();
    draw(dc);
    if (debugInvert)
        drawInvertedRect(dc, getViewRect());
}

void CViewBase::draw(CDrawContext& /*dc*/) {}

void CViewBase::drawFilledRect(CDrawContext& dc, const CLinearBitmap::Rect& area, uint32_t pixel)
{
    const CLinearBitmap::Rect r = toSector(dc, area);
    if (r.isEmpty())
    {
        KEL_LOG("drawFilledRect CLIP 0");
        return;
    }
    for (int y = r.top; y < r.bottom; ++y)
    {
        uint32_t* row = dc.target.getRow(y);
        for (int x = r.left; x < r.right; ++x)
            row[x] = pixel;
    }
}

void CViewBase::drawInvertedRect(CDrawContext& dc, const CLinearBitmap::Rect& area)
{
    const CLinearBitmap::Rect r = toSector(dc, area);
    if (r.isEmpty())
    {
        KEL_LOG("drawInvertedRect CLIP 0");
        return;
    }
    for (int y = r.top; y < r.bottom; ++y)
    {
        uint32_t* row = dc.target.getRow(y);
        for (int x = r.left; x < r.right; ++x)
            row[x] = ~row[x] & 0x00ffffffu;
    }
}

void CViewBase::drawImage(CDrawContext& dc, const CString& rangeName, int index, int x, int y,
                          int colorSlot)
{
    if (!imageSet)
        return;
    CImageSet::Range range;
    if (!imageSet->findRange(rangeName, range))
    {
        char text[256];
        rangeName.toUtf8(text, sizeof text);
        KEL_LOG("Range not found <%s>", text);
        return;
    }
    const CImage* image = imageSet->getImage(range.first + index);
    if (!image || range.first + index > range.last)
        return;
    for (int i = 0; i < image->getLayerCount(); ++i)
    {
        const CImageLayer* layer = image->getLayer(i);
        const int slot = colorSlot >= 0 ? colorSlot : layer->getColorSlot();
        drawImageLayer(dc, *layer, x, y, colors.getImageColor(slot), 1.0);
    }
}

void CViewBase::drawImageLayer(CDrawContext& dc, const CImageLayer& layer, int x, int y,
                               const CColor* color, double layerOpacity)
{
    if (dc.clip.isEmpty())
    {
        KEL_LOG("drawImageLayer CLIP 0");
        return;
    }
    dc.target.drawLayer(layer, x - dc.originX, y - dc.originY, dc.clip, color,
                        layerOpacity * opacity);
}

bool CViewBase::getAlignedImageCoords(CDrawContext& dc, const CLinearBitmap::Rect& area, int width,
                                      int height, int& x, int& y)
{
    const CString alignH = getAttrString(CString("pic-alignment-h"), CString("center"));
    const CString alignV = getAttrString(CString("pic-alignment-v"), CString("center"));
    if (alignH == "left")
        x = area.left;
    else if (alignH == "right")
        x = area.right - width;
    else
        x = area.left + (area.right - area.left - width) / 2;
    if (alignV == "top")
        y = area.top;
    else if (alignV == "bottom")
        y = area.bottom - height;
    else
        y = area.top + (area.bottom - area.top - height) / 2;
    const CLinearBitmap::Rect r = toSector(dc, {x, y, x + width, y + height});
    if (r.isEmpty())
    {
        KEL_LOG("getAlignedImageCoords CLIP 0");
        return false;
    }
    return true;
}

uint32_t CViewBase::getSolidPixel(int slot)
{
    const CColor* color = colors.getImageColor(slot);
    return color ? color->getSolidRGB() : 0;
}

} // namespace kel
