#include "Audio/CAudioParamData.h"

#include "Audio/CAudioParamDataItemString.h"
#include "Core/CInputStream.h"
#include "Core/COutputStream.h"

namespace kel
{

CAudioParamData::~CAudioParamData()
{
    clear();
}

CAudioParamData::CAudioParamData(const CAudioParamData& other) : CCheckedObject()
{
    *this = other;
}

CAudioParamData& CAudioParamData::operator=(const CAudioParamData& other)
{
    if (this == &other)
        return *this;
    clear();
    for (const auto& [id, item] : other.items)
        items.set(id, item->clone());
    highestId = other.highestId;
    return *this;
}

void CAudioParamData::clear()
{
    for (auto& [id, item] : items)
        delete item;
    items.clear();
    highestId = 0;
}

int32_t CAudioParamData::addString(const CString& text)
{
    // Tables are small (a preset name, eight group names); a linear search keeps repeated
    // edits from growing them.
    for (const auto& [id, item] : items)
    {
        if (item->getType() == CAudioParamDataItem::kTypeString &&
            static_cast<const CAudioParamDataItemString*>(item)->getText() == text)
            return id;
    }
    const int32_t id = highestId + 1;
    setItem(id, new CAudioParamDataItemString(text));
    return id;
}

const CString* CAudioParamData::findString(int32_t id) const
{
    CAudioParamDataItem* const* found = items.find(id);
    if (!found || (*found)->getType() != CAudioParamDataItem::kTypeString)
        return nullptr;
    return &static_cast<const CAudioParamDataItemString*>(*found)->getText();
}

void CAudioParamData::setItem(int32_t id, CAudioParamDataItem* item)
{
    if (CAudioParamDataItem** present = items.find(id))
    {
        delete *present;
        *present = item;
    }
    else
    {
        items.set(id, item);
    }
    if (id > highestId)
        highestId = id;
}

void CAudioParamData::retain(const CIntMap<bool>& used)
{
    for (auto entry = items.begin(); entry != items.end();)
    {
        if (used.contains(entry->first))
        {
            ++entry;
            continue;
        }
        delete entry->second;
        entry = items.erase(entry);
    }
}

CError* CAudioParamData::load(CInputStream& stream)
{
    clear();
    int32_t count = 0;
    KEL_CHECK(stream.readInt32(count));
    for (int32_t i = 0; i < count; ++i)
    {
        int32_t id = 0;
        int32_t type = 0;
        KEL_CHECK(stream.readInt32(id));
        KEL_CHECK(stream.readInt32(type));
        if (type != CAudioParamDataItem::kTypeString)
            return KEL_ERROR(
                "@kelstr_CAudioParamData_load_TypeError Unknown data type %1 encountered", type);
        CAudioParamDataItemString* item = new CAudioParamDataItemString();
        KEL_CHECK(item->load(stream), delete item);
        setItem(id, item);
    }
    return nullptr;
}

CError* CAudioParamData::save(COutputStream& stream) const
{
    return saveItems(stream, nullptr);
}

CError* CAudioParamData::save(COutputStream& stream, const CIntMap<bool>& used) const
{
    return saveItems(stream, &used);
}

CError* CAudioParamData::saveItems(COutputStream& stream, const CIntMap<bool>* used) const
{
    int32_t count = 0;
    for (const auto& entry : items)
        count += !used || used->contains(entry.first) ? 1 : 0;
    KEL_CHECK(stream.writeInt32(count));
    for (const auto& [id, item] : items)
    {
        if (used && !used->contains(id))
            continue;
        KEL_CHECK(stream.writeInt32(id));
        KEL_CHECK(stream.writeInt32(item->getType()));
        KEL_CHECK(item->save(stream));
    }
    return nullptr;
}

} // namespace kel
