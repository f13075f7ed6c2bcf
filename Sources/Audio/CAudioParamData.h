#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CIntMap.h"

#include <cstdint>

namespace kel
{

class CAudioParamDataItem;
class CInputStream;
class COutputStream;
class CString;

// The string table of a string parameter: items keyed by a 32-bit id, in id order, with the
// highest id seen kept so that the next new string takes the next id. A string parameter's value
// slots hold these ids as reals. An id names one string for the table's life: dropping unused
// items (retain) keeps the highest id, so a dropped id is never handed out again and a stale id
// still held somewhere reads as missing, never as another string. Only clear starts over.
// Owns its items; copies clone them.
// [any thread; guarded by whoever holds the table (a parameter's lock)]
class CAudioParamData : public CCheckedObject
{
public:
    CAudioParamData() = default;
    ~CAudioParamData() override;
    CAudioParamData(const CAudioParamData& other);
    CAudioParamData& operator=(const CAudioParamData& other);

    void clear();
    int getCount() const { return items.getCount(); }

    // The id of an equal string already in the table, or a new id for it.
    int32_t addString(const CString& text);
    // The string of that id; null when the table has none.
    const CString* findString(int32_t id) const;
    // Takes ownership of the item; an item of the same id is replaced.
    void setItem(int32_t id, CAudioParamDataItem* item);
    // Drops the items whose ids `used` lacks; the highest id stays.
    void retain(const CIntMap<bool>& used);

    // Count, then per item: id, type word, item bytes; in id order.
    [[nodiscard]] CError* load(CInputStream& stream);
    [[nodiscard]] CError* save(COutputStream& stream) const;
    // The same form with the items of the ids in `used` alone.
    [[nodiscard]] CError* save(COutputStream& stream, const CIntMap<bool>& used) const;

private:
    [[nodiscard]] CError* saveItems(COutputStream& stream, const CIntMap<bool>* used) const;

    CIntMap<CAudioParamDataItem*> items;
    int32_t highestId = 0;
};

} // namespace kel
