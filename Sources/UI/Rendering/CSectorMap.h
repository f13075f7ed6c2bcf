#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "UI/CLinearBitmap.h"

#include <cstdint>

namespace kel
{

// The surface of one window, cut into squares of 128 by 128 pixels. Each sector keeps the picture
// that goes to the screen and a remembered picture of its static views, lists the views that
// touch it in drawing order, and collects the dirty rectangle of what changed since it was last
// drawn. A frame draws only the sectors that are pending, and inside a sector with a good static
// picture only the dirty rectangle: static views are copied, dynamic views drawn again.
//
// Made by the window for its root view; grows with the window. Views register themselves and
// must be removed before they go; the map points at them without owning them. [ui thread]
class CSectorMap : public CCheckedObject
{
public:
    static constexpr int kSectorSize = 128;

    // What the map draws: a view, seen through the few things the map needs of it.
    class CDrawable
    {
    public:
        virtual ~CDrawable() = default;
        // The view's rectangle in window pixels (right and bottom exclusive), already cut by
        // whatever clips it; empty when it has nothing to draw.
        virtual CLinearBitmap::Rect getDrawRect() const = 0;
        // Dynamic views change often and are never part of the remembered static picture.
        virtual bool isDrawDynamic() const = 0;
        // Drawing order: lower first; equal z-indices in the order the views were added.
        virtual int getDrawZIndex() const = 0;
        // False until the view's tree has finished its set-up: such a view is passed over.
        virtual bool isDrawReady() const = 0;
        // Draws into target, a sector's picture whose top left pixel is the window pixel
        // (originX, originY); clip is in the sector's coordinates and must not be left.
        virtual void drawSector(CLinearBitmap& target, int originX, int originY,
                                const CLinearBitmap::Rect& clip) = 0;
    };

    // Told when the first sector of a frame becomes pending. [ui thread]
    class CListener
    {
    public:
        virtual ~CListener() = default;
        virtual void onSectorsPending() = 0;
    };

    CSectorMap() = default;
    ~CSectorMap() override;
    CSectorMap(const CSectorMap&) = delete;
    CSectorMap& operator=(const CSectorMap&) = delete;

    // Rebuilds the sectors for a window of the given size: every remembered picture is
    // forgotten and every sector is pending. Views stay registered.
    [[nodiscard]] CError* resize(int windowWidth, int windowHeight);
    int getWindowWidth() const { return windowWidth; }
    int getWindowHeight() const { return windowHeight; }
    int getSectorsPerRow() const { return sectorsPerRow; }
    int getSectorCount() const { return sectors.getCount(); }
    // The sector's rectangle in window pixels, 128 by 128 even where the window ends earlier.
    CLinearBitmap::Rect getSectorRect(int sector) const;

    // Lists the view in every sector its rectangle touches and marks that area changed.
    void addView(CDrawable* view);
    // Takes the view out of every sector and marks the area it covered changed.
    void removeView(CDrawable* view);
    // The view's rectangle or z-index changed: it is listed anew, and both its old and its new
    // area are marked changed as static changes.
    void updateView(CDrawable* view);
    // The view's picture changed. A static view's change forgets the remembered picture of each
    // sector it touches; a dynamic view's only grows the dirty rectangle.
    void invalidateView(CDrawable* view);
    // Marks an area of the window (window pixels) changed; isStatic as above.
    void invalidateArea(const CLinearBitmap::Rect& area, bool isStatic);
    // Every sector pending, every remembered picture forgotten.
    void invalidateAll();

    // Draws each pending sector (out-of-range numbers are ignored) and appends it to the changed
    // list. Answers the number of sectors drawn.
    int drawPending();
    // Draws one sector as a frame would.
    void drawSector(int sector);

    bool hasPending() const { return !pendingSectors.isEmpty(); }
    const CArray<int, 16>& getPendingSectors() const { return pendingSectors; }
    const CArray<int, 16>& getChangedSectors() const { return changedSectors; }
    // The part of a changed sector that its last drawing touched, in sector coordinates.
    CLinearBitmap::Rect getDrawnArea(int sector) const;
    const CLinearBitmap& getPicture(int sector) const { return sectors[sector]->picture; }
    bool isStaticValid(int sector) const { return sectors[sector]->isStaticValid; }
    void clearChanged() { changedSectors.clear(); }

    // Not owned; null for none.
    void setListener(CListener* newListener) { listener = newListener; }

    void setSuspended(bool suspended) { isSuspended = suspended; }
    bool getSuspended() const { return isSuspended; }

    // How many views were drawn, and how many sectors copied their static picture, since the
    // counters were last reset: for tests and the load display.
    int getViewDrawCount() const { return viewDrawCount; }
    int getStaticCopyCount() const { return staticCopyCount; }
    void resetCounters()
    {
        viewDrawCount = 0;
        staticCopyCount = 0;
    }

private:
    struct CEntry
    {
        int zIndex;
        uint64_t order;
        CDrawable* view;
    };
    struct CSector
    {
        CLinearBitmap picture;
        CLinearBitmap staticPicture;
        bool isStaticValid = false;
        bool isPending = false;
        double dirtyLeft = 0.0;
        double dirtyTop = 0.0;
        double dirtyRight = 0.0;
        double dirtyBottom = 0.0;
        CLinearBitmap::Rect drawnArea;
        CArray<CEntry, 16> views;
    };
    struct CViewRecord
    {
        CDrawable* view;
        uint64_t order;
        int zIndex;
        CLinearBitmap::Rect rect; // the rectangle it is listed under
    };

    // The range of sectors (columns and rows, inclusive) that a window rectangle touches; false
    // when it touches none.
    bool sectorRange(const CLinearBitmap::Rect& area, int& firstCol, int& firstRow, int& lastCol,
                     int& lastRow) const;
    void listView(const CViewRecord& record);
    void unlistView(const CViewRecord& record);
    void markSector(int sector, const CLinearBitmap::Rect& area, bool isStatic);
    int findRecord(CDrawable* view) const;
    void releaseSectors();

    CArray<CSector*, 16> sectors;
    CArray<CViewRecord, 16> records;
    CArray<int, 16> pendingSectors;
    CArray<int, 16> changedSectors;
    int sectorsPerRow = 0;
    int windowWidth = 0;
    int windowHeight = 0;
    uint64_t nextOrder = 0;
    bool isSuspended = false;
    CListener* listener = nullptr;
    int viewDrawCount = 0;
    int staticCopyCount = 0;
};

} // namespace kel
