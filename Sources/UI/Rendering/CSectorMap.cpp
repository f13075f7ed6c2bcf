#include "UI/Rendering/CSectorMap.h"

#include <cmath>

namespace kel
{

namespace
{

CLinearBitmap::Rect intersect(const CLinearBitmap::Rect& a, const CLinearBitmap::Rect& b)
{
    CLinearBitmap::Rect r;
    r.left = a.left > b.left ? a.left : b.left;
    r.top = a.top > b.top ? a.top : b.top;
    r.right = a.right < b.right ? a.right : b.right;
    r.bottom = a.bottom < b.bottom ? a.bottom : b.bottom;
    return r;
}

int clampToSector(double value)
{
    if (value < 0.0)
        return 0;
    if (value > CSectorMap::kSectorSize)
        return CSectorMap::kSectorSize;
    return static_cast<int>(value);
}

} // namespace

CSectorMap::~CSectorMap()
{
    releaseSectors();
}

void CSectorMap::releaseSectors()
{
    for (CSector* sector : sectors)
        delete sector;
    sectors.clear();
    pendingSectors.clear();
    changedSectors.clear();
}

CError* CSectorMap::resize(int newWidth, int newHeight)
{
    releaseSectors();
    windowWidth = newWidth > 0 ? newWidth : 0;
    windowHeight = newHeight > 0 ? newHeight : 0;
    sectorsPerRow = (windowWidth + kSectorSize - 1) / kSectorSize;
    const int rows = (windowHeight + kSectorSize - 1) / kSectorSize;
    const int count = sectorsPerRow * rows;
    sectors.reserve(count);
    for (int n = 0; n < count; ++n)
    {
        CSector* sector = new CSector();
        sectors.add(sector);
        KEL_CHECK(sector->picture.resize(kSectorSize, kSectorSize));
        KEL_CHECK(sector->staticPicture.resize(kSectorSize, kSectorSize));
    }
    for (const CViewRecord& record : records)
        listView(record);
    invalidateAll();
    return nullptr;
}

CLinearBitmap::Rect CSectorMap::getSectorRect(int sector) const
{
    CLinearBitmap::Rect r;
    if (sectorsPerRow <= 0)
        return r;
    r.left = (sector % sectorsPerRow) * kSectorSize;
    r.top = (sector / sectorsPerRow) * kSectorSize;
    r.right = r.left + kSectorSize;
    r.bottom = r.top + kSectorSize;
    return r;
}

bool CSectorMap::sectorRange(const CLinearBitmap::Rect& area, int& firstCol, int& firstRow,
                             int& lastCol, int& lastRow) const
{
    if (area.isEmpty() || sectors.isEmpty())
        return false;
    const int rows = sectors.getCount() / sectorsPerRow;
    firstCol = area.left < 0 ? 0 : area.left / kSectorSize;
    firstRow = area.top < 0 ? 0 : area.top / kSectorSize;
    lastCol = (area.right - 1) / kSectorSize;
    lastRow = (area.bottom - 1) / kSectorSize;
    if (lastCol >= sectorsPerRow)
        lastCol = sectorsPerRow - 1;
    if (lastRow >= rows)
        lastRow = rows - 1;
    return area.right > 0 && area.bottom > 0 && firstCol <= lastCol && firstRow <= lastRow;
}

int CSectorMap::findRecord(CDrawable* view) const
{
    for (int i = 0; i < records.getCount(); ++i)
    {
        if (records[i].view == view)
            return i;
    }
    return -1;
}

void CSectorMap::listView(const CViewRecord& record)
{
    int firstCol, firstRow, lastCol, lastRow;
    if (!sectorRange(record.rect, firstCol, firstRow, lastCol, lastRow))
        return;
    for (int row = firstRow; row <= lastRow; ++row)
    {
        for (int col = firstCol; col <= lastCol; ++col)
        {
            CArray<CEntry, 16>& list = sectors[row * sectorsPerRow + col]->views;
            // Sorted by z-index, then by the order of adding: find the first entry after it.
            int at = list.getCount();
            while (at > 0 &&
                   (list[at - 1].zIndex > record.zIndex ||
                    (list[at - 1].zIndex == record.zIndex && list[at - 1].order > record.order)))
                --at;
            list.insertAt(at, CEntry{record.zIndex, record.order, record.view});
        }
    }
}

void CSectorMap::unlistView(const CViewRecord& record)
{
    int firstCol, firstRow, lastCol, lastRow;
    if (!sectorRange(record.rect, firstCol, firstRow, lastCol, lastRow))
        return;
    for (int row = firstRow; row <= lastRow; ++row)
    {
        for (int col = firstCol; col <= lastCol; ++col)
        {
            CArray<CEntry, 16>& list = sectors[row * sectorsPerRow + col]->views;
            for (int i = 0; i < list.getCount(); ++i)
            {
                if (list[i].view == record.view)
                {
                    list.removeAt(i);
                    break;
                }
            }
        }
    }
}

void CSectorMap::addView(CDrawable* view)
{
    if (!view || findRecord(view) >= 0)
        return;
    CViewRecord record{view, nextOrder++, view->getDrawZIndex(), view->getDrawRect()};
    records.add(record);
    listView(record);
    invalidateArea(record.rect, true);
}

void CSectorMap::removeView(CDrawable* view)
{
    const int index = findRecord(view);
    if (index < 0)
        return;
    const CViewRecord record = records[index];
    records.removeAt(index);
    unlistView(record);
    invalidateArea(record.rect, true);
}

void CSectorMap::updateView(CDrawable* view)
{
    const int index = findRecord(view);
    if (index < 0)
        return;
    CViewRecord& record = records[index];
    const CLinearBitmap::Rect newRect = view->getDrawRect();
    const int newZ = view->getDrawZIndex();
    const CLinearBitmap::Rect oldRect = record.rect;
    unlistView(record);
    record.rect = newRect;
    record.zIndex = newZ;
    listView(record);
    invalidateArea(oldRect, true);
    invalidateArea(newRect, true);
}

void CSectorMap::invalidateView(CDrawable* view)
{
    const int index = findRecord(view);
    if (index < 0)
        return;
    invalidateArea(records[index].rect, !view->isDrawDynamic());
}

void CSectorMap::invalidateArea(const CLinearBitmap::Rect& area, bool isStatic)
{
    int firstCol, firstRow, lastCol, lastRow;
    if (!sectorRange(area, firstCol, firstRow, lastCol, lastRow))
        return;
    for (int row = firstRow; row <= lastRow; ++row)
    {
        for (int col = firstCol; col <= lastCol; ++col)
            markSector(row * sectorsPerRow + col, area, isStatic);
    }
}

void CSectorMap::invalidateAll()
{
    for (int n = 0; n < sectors.getCount(); ++n)
        markSector(n, getSectorRect(n), true);
}

void CSectorMap::markSector(int n, const CLinearBitmap::Rect& area, bool isStatic)
{
    CSector& sector = *sectors[n];
    const CLinearBitmap::Rect part = intersect(area, getSectorRect(n));
    if (isStatic)
        sector.isStaticValid = false;
    const bool isClean = sector.dirtyLeft == 0.0 && sector.dirtyTop == 0.0 &&
                         sector.dirtyRight == 0.0 && sector.dirtyBottom == 0.0;
    if (isClean)
    {
        sector.dirtyLeft = part.left;
        sector.dirtyTop = part.top;
        sector.dirtyRight = part.right;
        sector.dirtyBottom = part.bottom;
    }
    else
    {
        sector.dirtyLeft = std::fmin(sector.dirtyLeft, part.left);
        sector.dirtyTop = std::fmin(sector.dirtyTop, part.top);
        sector.dirtyRight = std::fmax(sector.dirtyRight, part.right);
        sector.dirtyBottom = std::fmax(sector.dirtyBottom, part.bottom);
    }
    if (!sector.isPending)
    {
        sector.isPending = true;
        pendingSectors.add(n);
        if (pendingSectors.getCount() == 1 && listener)
            listener->onSectorsPending();
    }
}

int CSectorMap::drawPending()
{
    int drawn = 0;
    for (int i = 0; i < pendingSectors.getCount(); ++i)
    {
        const int n = pendingSectors[i];
        if (n < 0 || n >= sectors.getCount())
            continue;
        drawSector(n);
        ++drawn;
    }
    pendingSectors.clear();
    return drawn;
}

void CSectorMap::drawSector(int n)
{
    if (n < 0 || n >= sectors.getCount())
        return;
    CSector& sector = *sectors[n];
    const CLinearBitmap::Rect sectorRect = getSectorRect(n);
    CLinearBitmap::Rect clip{0, 0, kSectorSize, kSectorSize};
    bool skipStatic = false;
    if (sector.isStaticValid)
    {
        // Right and bottom round down plus one: a dirty area of no width still draws a column.
        clip.left = clampToSector(std::floor(sector.dirtyLeft - sectorRect.left));
        clip.top = clampToSector(std::floor(sector.dirtyTop - sectorRect.top));
        clip.right = clampToSector(std::floor(sector.dirtyRight - sectorRect.left) + 1);
        clip.bottom = clampToSector(std::floor(sector.dirtyBottom - sectorRect.top) + 1);
        sector.picture.copyFrom(sector.staticPicture, clip);
        ++staticCopyCount;
        skipStatic = true;
    }
    for (const CEntry& entry : sector.views)
    {
        CDrawable* view = entry.view;
        if (!view->isDrawReady())
            continue;
        if (view->isDrawDynamic())
        {
            // Everything static below this view is drawn now: remember it.
            if (!sector.isStaticValid)
            {
                sector.staticPicture.copyFrom(sector.picture, {0, 0, kSectorSize, kSectorSize});
                sector.isStaticValid = true;
            }
            skipStatic = false;
        }
        else if (skipStatic)
        {
            continue;
        }
        view->drawSector(sector.picture, sectorRect.left, sectorRect.top, clip);
        ++viewDrawCount;
    }
    if (!sector.isStaticValid)
    {
        sector.staticPicture.copyFrom(sector.picture, {0, 0, kSectorSize, kSectorSize});
        sector.isStaticValid = true;
    }
    sector.dirtyLeft = sector.dirtyTop = sector.dirtyRight = sector.dirtyBottom = 0.0;
    sector.drawnArea = clip;
    sector.isPending = false;
    if (!changedSectors.contains(n))
        changedSectors.add(n);
}

CLinearBitmap::Rect CSectorMap::getDrawnArea(int n) const
{
    if (n < 0 || n >= sectors.getCount())
        return {};
    return sectors[n]->drawnArea;
}

} // namespace kel
