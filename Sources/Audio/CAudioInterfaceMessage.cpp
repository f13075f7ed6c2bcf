#include "Audio/CAudioInterfaceMessage.h"

#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamStorage.h"
#include "Core/CMemoryReader.h"
#include "Core/COutputStream.h"

#include <cstring>

namespace kel
{

CError* CAudioInterfaceMessage::writeChange(COutputStream& stream, const CAudioParamChange& change,
                                            int32_t elementSize, int32_t dataType)
{
    KEL_CHECK(stream.writeInt32(change.group));
    KEL_CHECK(stream.writeInt32(change.firstItem));
    KEL_CHECK(stream.writeInt32(change.itemCount));
    KEL_CHECK(stream.writeInt32(change.isReplacing ? 1 : 0));
    // The values travel as a storage of their own, so that a string change carries the texts of
    // its ids, whatever table they came from.
    CAudioParamStorage values(elementSize, dataType);
    CAudioParamChange local = change;
    local.group = 0;
    local.firstItem = 0;
    if (local.itemCount > 0 && local.values && !values.applyChange(local))
        return KEL_ERROR("@kelstr_CAudioInterfaceMessage_writeChange_NoMemory Out of memory.");
    KEL_CHECK(values.save(stream));
    return nullptr;
}

size_t CAudioInterfaceMessage::writeParamChange(uint8_t* out, size_t capacity, int32_t listenerId,
                                                const CAudioParamChange& change,
                                                int32_t elementSize, int32_t dataType)
{
    if (dataType != CAudioParamStorage::kTypeReal || change.itemCount <= 0 || !change.values ||
        elementSize <= 0)
        return 0;
    const size_t valueCount = static_cast<size_t>(change.itemCount) * elementSize;
    // Type, id, the change's four fields, the storage's version, element size, type, group
    // count and item count, then the values.
    const size_t needed = 11 * sizeof(int32_t) + valueCount * sizeof(double);
    if (change.itemCount > static_cast<int>(capacity) || needed > capacity)
        return 0;
    size_t at = 0;
    const auto put = [&](uint64_t bits, int bytes)
    {
        for (int b = 0; b < bytes; ++b)
            out[at++] = static_cast<uint8_t>(bits >> (8 * b));
    };
    const auto putInt = [&](int32_t value) { put(static_cast<uint32_t>(value), 4); };
    putInt(kParamChange);
    putInt(listenerId);
    putInt(change.group);
    putInt(change.firstItem);
    putInt(change.itemCount);
    putInt(change.isReplacing ? 1 : 0);
    putInt(CAudioParamStorage::kVersion);
    putInt(elementSize);
    putInt(dataType);
    putInt(1);
    putInt(change.itemCount);
    for (size_t i = 0; i < valueCount; ++i)
    {
        uint64_t bits = 0;
        std::memcpy(&bits, &change.values[i], sizeof(bits));
        put(bits, 8);
    }
    return at;
}

CError* CAudioInterfaceMessage::readChange(CMemoryReader& stream, CAudioParamStorage& values,
                                           CAudioParamChange& out)
{
    int32_t group = 0;
    int32_t firstItem = 0;
    int32_t itemCount = 0;
    bool isReplacing = false;
    KEL_CHECK(stream.readInt32(group));
    KEL_CHECK(stream.readInt32(firstItem));
    KEL_CHECK(stream.readInt32(itemCount));
    KEL_CHECK(readFlag(stream, isReplacing));
    KEL_CHECK(values.load(stream));
    if (itemCount < 0 || firstItem < 0 || values.getGroupCount() > 1 ||
        values.getItemCount(0) != itemCount)
        return KEL_ERROR("@kelstr_CAudioInterfaceMessage_readChange_CountError Change of %1 items "
                         "carries %2.",
                         itemCount, values.getItemCount(0));
    out = CAudioParamChange();
    out.group = group;
    out.firstItem = firstItem;
    out.itemCount = itemCount;
    out.values = values.getGroupValues(0);
    out.strings = values.isString() ? &values.getStrings() : nullptr;
    out.isReplacing = isReplacing;
    return nullptr;
}

CError* CAudioInterfaceMessage::writeStringList(COutputStream& stream, const CArray<CString>& list)
{
    KEL_CHECK(stream.writeInt32(list.getCount()));
    for (const CString& item : list)
        KEL_CHECK(stream.writeString(item));
    return nullptr;
}

CError* CAudioInterfaceMessage::readStringList(CMemoryReader& stream, CArray<CString>& outList)
{
    outList.clear();
    int32_t count = 0;
    KEL_CHECK(stream.readInt32(count));
    // Every item takes at least its length field: a count the rest cannot hold is damage.
    const int64_t left = static_cast<int64_t>(stream.getSize()) - stream.getPosition();
    if (count < 0 || count > kMaxListCount || static_cast<int64_t>(count) * 4 > left)
        return KEL_ERROR("@kelstr_CAudioInterfaceMessage_readStringList_CountError Invalid count "
                         "%1.",
                         count);
    outList.reserve(count);
    for (int32_t i = 0; i < count; ++i)
        KEL_CHECK(stream.readString(outList.add(CString())));
    return nullptr;
}

CError* CAudioInterfaceMessage::writeBlob(COutputStream& stream, const void* data, size_t bytes)
{
    if (bytes > 0x7fffffff)
        return KEL_ERROR("@kelstr_CAudioInterfaceMessage_writeBlob_TooLarge Data of %1 bytes is "
                         "too large.",
                         static_cast<unsigned long long>(bytes));
    KEL_CHECK(stream.writeInt32(static_cast<int32_t>(bytes)));
    if (bytes > 0)
        KEL_CHECK(stream.write(data, bytes));
    return nullptr;
}

CError* CAudioInterfaceMessage::readBlob(CMemoryReader& stream, const uint8_t*& outData,
                                         size_t& outBytes)
{
    outData = nullptr;
    outBytes = 0;
    int32_t length = 0;
    KEL_CHECK(stream.readInt32(length));
    const int64_t left = static_cast<int64_t>(stream.getSize()) - stream.getPosition();
    if (length < 0 || length > left)
        return KEL_ERROR("@kelstr_CAudioInterfaceMessage_readBlob_LengthError Invalid length %1.",
                         length);
    outData = stream.getData() + stream.getPosition();
    outBytes = static_cast<size_t>(length);
    KEL_CHECK(stream.consume(outBytes));
    return nullptr;
}

CError* CAudioInterfaceMessage::readFlag(CMemoryReader& stream, bool& out)
{
    int32_t value = 0;
    KEL_CHECK(stream.readInt32(value));
    out = value != 0;
    return nullptr;
}

} // namespace kel
