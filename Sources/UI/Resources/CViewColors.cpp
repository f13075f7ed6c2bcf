#include "UI/Resources/CViewColors.h"

#include "Core/CAllocator.h"
#include "Core/CDebugChannel.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CPalette.h"

namespace kel
{

CViewColors::CViewColors()
{
    slotNames.add(CString());
    stateNames.add(CString());
}

CViewColors::~CViewColors()
{
    releaseTables();
    delete[] blendColors;
}

void CViewColors::releaseTables()
{
    CAllocator::free(imageTable);
    CAllocator::free(textTable);
    imageTable = nullptr;
    textTable = nullptr;
    imageTableSize = 0;
    textTableSize = 0;
    disabledColor = nullptr;
    disabledTextColor = nullptr;
}

void CViewColors::setPalette(const CPalette* newPalette)
{
    if (palette == newPalette)
        return;
    palette = newPalette;
    // The root compares its palette with itself, so only this flag tells it to rebuild.
    dirty = true;
}

void CViewColors::setRootName(const CString& name)
{
    if (rootName == name)
        return;
    rootName = name;
    dirty = true;
}

int CViewColors::findRow(const CString& stateName) const
{
    for (int row = 0; row < stateNames.getCount(); ++row)
    {
        if (stateNames[row] == stateName)
            return row;
    }
    return -1;
}

void CViewColors::setState(const CString& stateName)
{
    int row = findRow(stateName);
    if (row < 0)
    {
        stateNames.add(stateName);
        row = stateNames.getCount() - 1;
        dirty = true;
    }
    if (row == currentRow)
        return;
    currentRow = row;
    if (blendRow == currentRow)
        endBlend();
    blendStale = true;
}

void CViewColors::setBlend(const CString& fromState, double position)
{
    int row = findRow(fromState);
    if (row < 0)
    {
        stateNames.add(fromState);
        row = stateNames.getCount() - 1;
        dirty = true;
    }
    if (position >= 1.0 || row == currentRow)
    {
        endBlend();
        return;
    }
    if (row == blendRow && position == blendPosition)
        return;
    blendRow = row;
    blendPosition = position;
    blendStale = true;
}

void CViewColors::endBlend()
{
    blendRow = -1;
    blendPosition = 1.0;
}

static bool setNameAt(CArray<CString>& names, int index, const CString& name)
{
    if (index < 0)
        return false;
    while (names.getCount() <= index)
        names.add(CString());
    if (names[index] == name)
        return false;
    names[index] = name;
    return true;
}

void CViewColors::setSlotName(int index, const CString& name)
{
    const int countBefore = slotNames.getCount();
    if (setNameAt(slotNames, index, name) || slotNames.getCount() != countBefore)
        dirty = true;
}

void CViewColors::setTextSlotName(int index, const CString& name)
{
    const int countBefore = textSlotNames.getCount();
    if (setNameAt(textSlotNames, index, name) || textSlotNames.getCount() != countBefore)
        dirty = true;
}

void CViewColors::setSlotNames(const CString& list)
{
    CArray<CString> names;
    int start = 0;
    for (;;)
    {
        const int bar = list.findUnit('|', start);
        CString name = list.substring(start, bar < 0 ? -1 : bar - start);
        if (name == ".")
            name.clear();
        names.add(name);
        if (bar < 0)
            break;
        start = bar + 1;
    }
    bool same = names.getCount() == slotNames.getCount();
    for (int i = 0; same && i < names.getCount(); ++i)
        same = names[i] == slotNames[i];
    if (same)
        return;
    slotNames = names;
    dirty = true;
}

void CViewColors::setPhase(double newPhase)
{
    if (phase == newPhase)
        return;
    phase = newPhase;
    dirty = true;
}

CString CViewColors::composeName(const CString& root, const CString& slot, const CString& state)
{
    CString name;
    if (root.startsWith("/"))
        name = root.substring(1);
    else if (slot.startsWith("/"))
        name = slot.substring(1);
    else
        name = root + slot;
    if (!state.isEmpty())
    {
        name.append("_");
        name.append(state);
    }
    return name;
}

void CViewColors::fillTable(const CColor**& table, int& tableSize, const CArray<CString>& slots)
{
    const int size = stateNames.getCount() * slots.getCount();
    if (size != tableSize)
    {
        CAllocator::free(table);
        table = size > 0 ? allocArray<const CColor*>(size) : nullptr;
        tableSize = table ? size : 0;
    }
    for (int row = 0; row < stateNames.getCount(); ++row)
    {
        for (int slot = 0; slot < slots.getCount(); ++slot)
        {
            const int cell = row * slots.getCount() + slot;
            if (cell < tableSize)
                table[cell] =
                    palette->getColor(composeName(rootName, slots[slot], stateNames[row]), phase);
        }
    }
}

void CViewColors::update()
{
    if (!rootColors)
    {
        KEL_LOG("RootColors IS NULL");
        return;
    }
    if (!dirty && palette == rootColors->palette)
        return;
    dirty = false;
    palette = rootColors->palette;
    if (!palette)
    {
        // The old cells point into a palette that may be gone.
        releaseTables();
        KEL_LOG("PALETTE IS NULL");
        return;
    }
    ++rebuildCount;
    blendStale = true;
    fillTable(imageTable, imageTableSize, slotNames);
    fillTable(textTable, textTableSize, textSlotNames);
    disabledColor = palette->getColor("Disabled", 0.0);
    disabledTextColor = palette->getColor("DisabledText", 0.0);
}

const CColor* CViewColors::fallbackColor() const
{
    static const CColor black;
    return palette ? palette->getDefaultColor() : &black;
}

const CColor* CViewColors::cellColor(const CColor* const* table, int tableSize, int row, int slot,
                                     int slotCount)
{
    const int cell = row * slotCount + slot;
    if (slot < 0 || slot >= slotCount || cell < 0 || cell >= tableSize)
    {
        KEL_LOG("WRONG COLOR INDEX %i", cell);
        return fallbackColor();
    }
    return table[cell];
}

static uint8_t mixLevel(uint8_t from, uint8_t to, double position)
{
    return static_cast<uint8_t>(from + (to - from) * position + 0.5);
}

static void mixColor(CColor& out, const CColor& from, const CColor& to, double position)
{
    out.alpha = from.alpha + (to.alpha - from.alpha) * position;
    for (int level = 0; level < CColor::kLevels; ++level)
    {
        out.red[level] = mixLevel(from.red[level], to.red[level], position);
        out.green[level] = mixLevel(from.green[level], to.green[level], position);
        out.blue[level] = mixLevel(from.blue[level], to.blue[level], position);
    }
}

bool CViewColors::refreshBlend()
{
    if (blendRow < 0)
        return false;
    if (!blendStale)
        return true;
    blendStale = false;
    const int imageCount = slotNames.getCount();
    const int textCount = textSlotNames.getCount();
    if (imageCount + textCount != blendColorCount)
    {
        delete[] blendColors;
        blendColorCount = imageCount + textCount;
        blendColors = blendColorCount > 0 ? new CColor[blendColorCount] : nullptr;
    }
    for (int slot = 0; slot < imageCount; ++slot)
        mixColor(
            blendColors[slot], *cellColor(imageTable, imageTableSize, blendRow, slot, imageCount),
            *cellColor(imageTable, imageTableSize, currentRow, slot, imageCount), blendPosition);
    for (int slot = 0; slot < textCount; ++slot)
        mixColor(blendColors[imageCount + slot],
                 *cellColor(textTable, textTableSize, blendRow, slot, textCount),
                 *cellColor(textTable, textTableSize, currentRow, slot, textCount), blendPosition);
    return true;
}

const CColor* CViewColors::getImageColor(int slot)
{
    update();
    if (blendRow >= 0 && slot >= 0 && slot < slotNames.getCount() && refreshBlend())
        return &blendColors[slot];
    return cellColor(imageTable, imageTableSize, currentRow, slot, slotNames.getCount());
}

const CColor* CViewColors::getTextColor(int slot)
{
    update();
    if (blendRow >= 0 && slot >= 0 && slot < textSlotNames.getCount() && refreshBlend())
        return &blendColors[slotNames.getCount() + slot];
    return cellColor(textTable, textTableSize, currentRow, slot, textSlotNames.getCount());
}

const CColor* CViewColors::getImageColorInRow(int row, int slot)
{
    update();
    return cellColor(imageTable, imageTableSize, row, slot, slotNames.getCount());
}

const CColor* CViewColors::getTextColorInRow(int row, int slot)
{
    update();
    return cellColor(textTable, textTableSize, row, slot, textSlotNames.getCount());
}

const CColor* CViewColors::getDisabledColor()
{
    update();
    return disabledColor ? disabledColor : fallbackColor();
}

const CColor* CViewColors::getDisabledTextColor()
{
    update();
    return disabledTextColor ? disabledTextColor : fallbackColor();
}

} // namespace kel
