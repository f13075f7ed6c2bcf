#pragma once

#include "Audio/CAudioParamData.h"
#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CIntMap.h"

#include <cstdint>

namespace kel
{

class CInputStream;
class COutputStream;
struct CAudioParamChange;

// The values of one parameter: per group a flat array of reals of items times element size,
// element fastest, and for a string parameter the table whose ids those reals are. Group arrays
// come from CAllocator and are owned here; they grow to twice plus one. Copies are deep.
// For a string storage the table holds the strings the values reference and no others: a change
// that drops the last reference to a string drops the string (its id is not reused), and a saved
// blob carries the strings of the groups it holds alone.
// Also the stored form of a value blob after its definition path (load, save).
// [any thread; guarded by the owning parameter's lock]
class CAudioParamStorage : public CCheckedObject
{
public:
    static constexpr int32_t kVersion = 1;
    static constexpr int32_t kTypeReal = 0;
    static constexpr int32_t kTypeString = 1;

    CAudioParamStorage() = default;
    CAudioParamStorage(int32_t elementSize, int32_t dataType);
    ~CAudioParamStorage() override;
    CAudioParamStorage(const CAudioParamStorage& other);
    CAudioParamStorage& operator=(const CAudioParamStorage& other);

    // Drops all groups and sets the layout.
    void setFormat(int32_t elementSize, int32_t dataType);
    int32_t getElementSize() const { return esize; }
    int32_t getDataType() const { return dtype; }
    bool isString() const { return dtype == kTypeString; }

    int getGroupCount() const { return groups.getCount(); }
    // New groups are empty; groups beyond count are freed.
    [[nodiscard]] bool setGroupCount(int count);
    // Reals of group g; 0 for a group that does not exist.
    int getGroupLength(int group) const;
    int getItemCount(int group) const { return getGroupLength(group) / esize; }
    // Null for a group that does not exist or is empty.
    const double* getGroupValues(int group) const;
    CAudioParamData& getStrings() { return strings; }
    const CAudioParamData& getStrings() const { return strings; }
    // Text of an id of a string storage; empty for an id the table lacks.
    const CString& getStringOf(double id) const;

    // Stores one real at flat index of group; a group index equal to the count adds a group,
    // an index beyond the length lengthens it. False when out of memory or too far out.
    [[nodiscard]] bool storeValue(int group, int index, double value);
    // Whether applying the change would alter anything: a value (or text) that differs, items
    // beyond the stored ones, or a replacing change of another length.
    bool wouldChange(const CAudioParamChange& change) const;
    // Writes a change into group, adding the group (and the empty ones before it) as needed;
    // string ids are entered into this table. False when out of memory.
    [[nodiscard]] bool applyChange(const CAudioParamChange& change);
    // Replaces group dstGroup with a copy of srcGroup of other (same layout).
    [[nodiscard]] bool takeGroup(const CAudioParamStorage& other, int srcGroup, int dstGroup);
    void clear();

    // Version, element size, type, groups; see the value blob format.
    [[nodiscard]] CError* load(CInputStream& stream);
    [[nodiscard]] CError* save(COutputStream& stream) const;
    // Group -1 saves all groups; a group number saves that group alone, as group 0.
    [[nodiscard]] CError* save(COutputStream& stream, int group) const;

private:
    struct Group
    {
        double* values;
        int length;
        int capacity;
    };

    [[nodiscard]] bool reserveGroup(Group& target, int reals);
    [[nodiscard]] CError* saveGroups(COutputStream& stream, int first, int count) const;
    void freeGroups(int fromIndex);
    // The string ids the values of groups first to first + count - 1 hold.
    void collectIds(int first, int count, CIntMap<bool>& used) const;
    // Drops the strings no value of any group references (a string storage).
    void pruneStrings();

    int32_t esize = 1;
    int32_t dtype = kTypeReal;
    CAudioParamData strings;
    CArray<Group> groups;
};

} // namespace kel
