#pragma once

#include "UI/CLinearBitmap.h"
#include "UI/Rendering/CSectorMap.h"
#include "UI/Resources/CViewColors.h"
#include "UI/Views/CViewBaseCtlEvents.h"

namespace kel
{

class CImageSet;
class CImageLayer;
class CColor;
class CWindow;

// The drawing layer of a view: its colours (role "color", slots, the state row), its image set
// ("image-set", a path to an image set of the shared tree), whether it is dynamic, its z-index,
// opacity, and the drawing operations that every view uses. The window's sector map lists each
// view in the sectors it touches and calls drawSector; a view draws in window coordinates through
// a CDrawContext that carries the sector's picture, its origin and the clip.
//
// While the state layer runs a colour change, the view's table answers the mix of the previous
// and the new colour row (see CViewColors), so that the solid pixel, the image layers and the
// text colours of every view ease alike.
//
// A root view ("is-root-view") owns the sector map of its window and the colour table that gives
// every view of the window its palette. Owned by its parent view (or its window object at a
// root). [ui thread]
class CViewBase : public CViewBaseCtlEvents, public CSectorMap::CDrawable
{
public:
    // Where one drawing call goes: the sector's picture, the window pixel of its top left
    // corner, and the part of it that may be drawn (sector coordinates).
    struct CDrawContext
    {
        CLinearBitmap& target;
        int originX;
        int originY;
        CLinearBitmap::Rect clip;
    };

    CViewBase();
    ~CViewBase() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // The sector map of this view's window: its own at a root view, else its root's.
    CSectorMap* getSectorMap() const;
    CViewColors& getColors() { return colors; }
    const CImageSet* getImageSet() const { return imageSet; }

    // Marks the view's picture changed (static or dynamic, as the view is).
    void invalidate();

    // CSectorMap::CDrawable
    CLinearBitmap::Rect getDrawRect() const override;
    bool isDrawDynamic() const override { return isDynamic; }
    int getDrawZIndex() const override { return zIndex; }
    bool isDrawReady() const override;
    void drawSector(CLinearBitmap& target, int originX, int originY,
                    const CLinearBitmap::Rect& clip) override;

    // ---- drawing operations; rectangles and points in window pixels ----
    void drawFilledRect(CDrawContext& dc, const CLinearBitmap::Rect& area, uint32_t pixel);
    void drawInvertedRect(CDrawContext& dc, const CLinearBitmap::Rect& area);
    // Image index of the range rangeName of the view's image set, at (x, y), each layer in the
    // colour of its slot (or of colorSlot when it is 0 or more).
    void drawImage(CDrawContext& dc, const CString& rangeName, int index, int x, int y,
                   int colorSlot = -1);
    void drawImageLayer(CDrawContext& dc, const CImageLayer& layer, int x, int y,
                        const CColor* color, double layerOpacity);
    // The top left corner of an image of width by height inside area, by "pic-alignment-h" and
    // "pic-alignment-v"; false when the clip leaves nothing of it.
    bool getAlignedImageCoords(CDrawContext& dc, const CLinearBitmap::Rect& area, int width,
                               int height, int& x, int& y);

    // The window pixel of a role's solid colour in the current state row (slot 0), mixed with
    // the previous row while the colour changes.
    uint32_t getSolidPixel(int slot = 0);

protected:
    // Draws the view's own picture; the base draws nothing.
    virtual void draw(CDrawContext& dc);
    void onAreaChanged() override;
    void onStateChanged() override;

    // The palette of the window changed (root views only).
    [[nodiscard]] CError* attrPalette();

private:
    [[nodiscard]] CError* attrColor();
    [[nodiscard]] CError* attrColorSlots();
    [[nodiscard]] CError* attrImageSet();
    [[nodiscard]] CError* attrDrawFlags();
    [[nodiscard]] CError* attrZIndex();

    CViewColors colors;
    const CImageSet* imageSet = nullptr; // not owned: the shared tree's, lives with the process
    CSectorMap* ownSectorMap = nullptr;  // owned at a root view
    CViewBase* rootBase = nullptr;       // not owned; cleared in detachLinks
    bool isDynamic = false;
    bool isRegistered = false;
    bool debugInvert = false;
    int zIndex = 0;
    double opacity = 1.0;
};

} // namespace kel
