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

void CViewColors::setState(const CString& stateName)
{
    for (int row = 0; row < stateNames.getCount(); ++row)
    {
        if (stateNames[row] == stateName)
        {
            currentRow = row;
            return;
        }
    }
    stateNames.add(stateName);
    currentRow = stateNames.getCount() - 1;
    dirty = true;
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

const CColor* CViewColors::cellColor(const CColor* const* table, int tableSize, int slot,
                                     int slotCount)
{
    const int cell = currentRow * slotCount + slot;
    if (slot < 0 || slot >= slotCount || cell < 0 || cell >= tableSize)
    {
        KEL_LOG("WRONG COLOR INDEX %i", cell);
        return fallbackColor();
    }
    return table[cell];
}

const CColor* CViewColors::getImageColor(int slot)
{
    update();
    return cellColor(imageTable, imageTableSize, slot, slotNames.getCount());
}

const CColor* CViewColors::getTextColor(int slot)
{
    update();
    return cellColor(textTable, textTableSize, slot, textSlotNames.getCount());
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
