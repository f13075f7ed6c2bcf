#include "Audio/CAudioParamStorage.h"

#include "Audio/CAudioParamChange.h"
#include "Core/CAllocator.h"
#include "Core/CInputStream.h"
#include "Core/COutputStream.h"
#include "Core/CString.h"

#include <cmath>
#include <cstring>

namespace kel
{

namespace
{

// A stored count beyond this is a corrupt blob, not a parameter: refuse it before allocating.
constexpr int32_t kMaxStoredCount = 1 << 20;

const CString& emptyString()
{
    static const CString empty;
    return empty;
}

int32_t idOf(double value)
{
    return static_cast<int32_t>(value >= 0.0 ? std::floor(value + 0.5)
                                             : -std::floor(std::fabs(value) + 0.5));
}

} // namespace

CAudioParamStorage::CAudioParamStorage(int32_t elementSize, int32_t dataType)
{
    setFormat(elementSize, dataType);
}

CAudioParamStorage::~CAudioParamStorage()
{
    freeGroups(0);
}

CAudioParamStorage::CAudioParamStorage(const CAudioParamStorage& other) : CCheckedObject()
{
    *this = other;
}

CAudioParamStorage& CAudioParamStorage::operator=(const CAudioParamStorage& other)
{
    if (this == &other)
        return *this;
    freeGroups(0);
    esize = other.esize;
    dtype = other.dtype;
    strings = other.strings;
    for (const Group& source : other.groups)
    {
        Group copy{nullptr, 0, 0};
        if (source.length > 0 && reserveGroup(copy, source.length))
        {
            std::memcpy(copy.values, source.values, sizeof(double) * source.length);
            copy.length = source.length;
        }
        groups.add(copy);
    }
    return *this;
}

void CAudioParamStorage::setFormat(int32_t elementSize, int32_t dataType)
{
    clear();
    esize = elementSize > 0 ? elementSize : 1;
    dtype = dataType == kTypeString ? kTypeString : kTypeReal;
}

void CAudioParamStorage::freeGroups(int fromIndex)
{
    for (int i = fromIndex; i < groups.getCount(); ++i)
        CAllocator::free(groups[i].values);
    groups.removeAt(fromIndex, groups.getCount() - fromIndex);
}

void CAudioParamStorage::clear()
{
    freeGroups(0);
    groups.reset();
    strings.clear();
}

bool CAudioParamStorage::setGroupCount(int count)
{
    if (count < 0)
        return false;
    if (count < groups.getCount())
    {
        freeGroups(count);
        pruneStrings();
    }
    while (groups.getCount() < count)
        groups.add(Group{nullptr, 0, 0});
    return true;
}

int CAudioParamStorage::getGroupLength(int group) const
{
    return group >= 0 && group < groups.getCount() ? groups[group].length : 0;
}

const double* CAudioParamStorage::getGroupValues(int group) const
{
    if (group < 0 || group >= groups.getCount() || groups[group].length == 0)
        return nullptr;
    return groups[group].values;
}

const CString& CAudioParamStorage::getStringOf(double id) const
{
    const CString* text = strings.findString(idOf(id));
    return text ? *text : emptyString();
}

bool CAudioParamStorage::reserveGroup(Group& target, int reals)
{
    if (reals <= target.capacity)
        return true;
    int grown = target.capacity;
    while (grown < reals)
        grown = grown * 2 + 1;
    double* values =
        static_cast<double*>(CAllocator::realloc(target.values, sizeof(double) * grown));
    if (!values)
        return false;
    target.values = values;
    target.capacity = grown;
    return true;
}

bool CAudioParamStorage::storeValue(int group, int index, double value)
{
    if (group < 0 || group > groups.getCount() || index < 0)
        return false;
    if (group == groups.getCount())
        groups.add(Group{nullptr, 0, 0});
    Group& target = groups[group];
    if (!reserveGroup(target, index + 1))
        return false;
    for (int i = target.length; i < index; ++i)
        target.values[i] = 0.0;
    target.values[index] = value;
    if (index >= target.length)
        target.length = index + 1;
    return true;
}

bool CAudioParamStorage::wouldChange(const CAudioParamChange& change) const
{
    if (change.group < 0 || change.group >= groups.getCount())
        return true;
    const Group& target = groups[change.group];
    const int first = change.firstItem * esize;
    const int count = change.itemCount * esize;
    if (first + count > target.length || (change.isReplacing && first + count != target.length))
        return true;
    for (int i = 0; i < count; ++i)
    {
        const double stored = target.values[first + i];
        if (dtype != kTypeString)
        {
            if (stored != change.values[i])
                return true;
            continue;
        }
        const CString* text =
            change.strings ? change.strings->findString(idOf(change.values[i])) : nullptr;
        const CString& now = getStringOf(stored);
        if (!((text ? *text : emptyString()) == now))
            return true;
    }
    return false;
}

bool CAudioParamStorage::applyChange(const CAudioParamChange& change)
{
    if (change.group < 0 || change.firstItem < 0 || change.itemCount < 0)
        return false;
    if (change.group >= groups.getCount() && !setGroupCount(change.group + 1))
        return false;
    Group& target = groups[change.group];
    const int first = change.firstItem * esize;
    const int count = change.itemCount * esize;
    if (!reserveGroup(target, first + count))
        return false;
    for (int i = target.length; i < first; ++i)
        target.values[i] = 0.0;
    for (int i = 0; i < count; ++i)
    {
        double value = change.values[i];
        if (dtype == kTypeString)
        {
            // Ids are local to a table: re-enter the text here and keep this table's id.
            const CString* text =
                change.strings ? change.strings->findString(idOf(value)) : nullptr;
            value = static_cast<double>(strings.addString(text ? *text : emptyString()));
        }
        target.values[first + i] = value;
    }
    if (change.isReplacing || first + count > target.length)
        target.length = first + count;
    // The values written over may have held the last use of a string.
    pruneStrings();
    return true;
}

void CAudioParamStorage::collectIds(int first, int count, CIntMap<bool>& used) const
{
    for (int n = 0; n < count; ++n)
    {
        const int g = first + n;
        const double* values = getGroupValues(g);
        for (int i = 0; i < getGroupLength(g); ++i)
            used.set(idOf(values[i]), true);
    }
}

void CAudioParamStorage::pruneStrings()
{
    if (dtype != kTypeString || strings.getCount() == 0)
        return;
    CIntMap<bool> used;
    collectIds(0, groups.getCount(), used);
    strings.retain(used);
}

bool CAudioParamStorage::takeGroup(const CAudioParamStorage& other, int srcGroup, int dstGroup)
{
    CAudioParamChange change;
    change.group = dstGroup;
    change.itemCount = other.getItemCount(srcGroup);
    change.values = other.getGroupValues(srcGroup);
    change.strings = &other.strings;
    change.isReplacing = true;
    return applyChange(change);
}

CError* CAudioParamStorage::load(CInputStream& stream)
{
    if (dtype == kTypeString)
        strings.clear();
    int32_t version = 0;
    KEL_CHECK(stream.readInt32(version));
    if (version != kVersion)
        return KEL_ERROR("kelstr_CAudioParamStorage_load_VersionError Unsupported data set "
                         "version %1.",
                         version);
    int32_t readSize = 0;
    int32_t readType = 0;
    KEL_CHECK(stream.readInt32(readSize));
    KEL_CHECK(stream.readInt32(readType));
    if (readSize != esize || readType != dtype)
        return KEL_ERROR("@kelstr_CAudioParamStorage_load_FormatError Unsupported storage format "
                         "(esize=%1, dtype=%2; should be: esize=%3, dtype=%4).",
                         readSize, readType, esize, dtype);
    int32_t groupCount = 0;
    KEL_CHECK(stream.readInt32(groupCount));
    if (groupCount < 0 || groupCount > kMaxStoredCount)
        return KEL_ERROR("@kelstr_CAudioParamStorage_load_CountError Invalid count %1 stored.",
                         groupCount);
    if (!setGroupCount(groupCount))
        return KEL_ERROR("@kelstr_CAudioParamStorage_load_NoMemory Out of memory.");

    CAudioParamData loaded;
    if (dtype == kTypeString)
        KEL_CHECK(loaded.load(stream));
    for (int g = 0; g < groupCount; ++g)
    {
        int32_t itemCount = 0;
        KEL_CHECK(stream.readInt32(itemCount));
        if (itemCount < 0 || itemCount > kMaxStoredCount / esize)
            return KEL_ERROR("@kelstr_CAudioParamStorage_load_CountError Invalid count %1 stored.",
                             itemCount);
        Group& target = groups[g];
        target.length = 0;
        if (!reserveGroup(target, itemCount * esize))
            return KEL_ERROR("@kelstr_CAudioParamStorage_load_NoMemory Out of memory.");
        for (int i = 0; i < itemCount * esize; ++i)
        {
            double value = 0.0;
            if (dtype == kTypeString)
            {
                int32_t id = 0;
                KEL_CHECK(stream.readInt32(id));
                const CString* text = loaded.findString(id);
                value = static_cast<double>(strings.addString(text ? *text : emptyString()));
            }
            else
            {
                KEL_CHECK(stream.readDouble(value));
            }
            target.values[i] = value;
            target.length = i + 1;
        }
    }
    return nullptr;
}

CError* CAudioParamStorage::save(COutputStream& stream) const
{
    return save(stream, -1);
}

CError* CAudioParamStorage::save(COutputStream& stream, int group) const
{
    KEL_CHECK(stream.writeInt32(kVersion));
    KEL_CHECK(stream.writeInt32(esize));
    KEL_CHECK(stream.writeInt32(dtype));
    if (group < 0)
        KEL_CHECK(saveGroups(stream, 0, groups.getCount()));
    else
        KEL_CHECK(saveGroups(stream, group, 1));
    return nullptr;
}

CError* CAudioParamStorage::saveGroups(COutputStream& stream, int first, int count) const
{
    KEL_CHECK(stream.writeInt32(count));
    if (dtype == kTypeString)
    {
        // The strings of the groups written alone: one group of eight carries its own names.
        // Blobs of earlier versions may carry strings no value references (every name a
        // parameter ever had); load enters the referenced ones only, so they read the same.
        CIntMap<bool> used;
        collectIds(first, count, used);
        KEL_CHECK(strings.save(stream, used));
    }
    // Counted from zero: a group number from outside may be as large as an int goes.
    for (int n = 0; n < count; ++n)
    {
        const int g = first + n;
        const int length = getGroupLength(g);
        KEL_CHECK(stream.writeInt32(length / esize));
        const double* values = getGroupValues(g);
        for (int i = 0; i < length; ++i)
        {
            if (dtype == kTypeString)
                KEL_CHECK(stream.writeInt32(idOf(values[i])));
            else
                KEL_CHECK(stream.writeDouble(values[i]));
        }
    }
    return nullptr;
}

} // namespace kel
