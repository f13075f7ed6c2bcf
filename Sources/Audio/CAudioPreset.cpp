#include "Audio/CAudioPreset.h"

#include "Audio/CAudioParamStorage.h"
#include "Audio/CAudioPresetBlock.h"
#include "Core/CInputStream.h"
#include "Core/CMemoryReader.h"
#include "Core/COutputStream.h"

namespace kel
{

CAudioPreset::CAudioPreset(const CAudioPreset& other) : CCheckedObject()
{
    *this = other;
}

CAudioPreset& CAudioPreset::operator=(const CAudioPreset& other)
{
    if (this == &other)
        return *this;
    name = other.name;
    entries.clear();
    for (const auto& [key, blob] : other.entries)
        entries[key] = blob;
    return *this;
}

void CAudioPreset::splitName(const CString& fullName, CString& outId, CString& outName)
{
    const int colon = fullName.findUnit(':');
    if (colon < 0)
    {
        outId.clear();
        outName = fullName;
        return;
    }
    outId = fullName.substring(0, colon);
    outName = fullName.substring(colon + 1);
}

CString CAudioPreset::joinName(const CString& id, const CString& shortName)
{
    CString joined(id);
    joined.appendUnit(':');
    joined.append(shortName);
    return joined;
}

bool CAudioPreset::setEntry(const CString& key, const void* data, size_t bytes)
{
    if (entries[key].assign(data, bytes))
        return true;
    entries.erase(key);
    return false;
}

void CAudioPreset::clear()
{
    name.clear();
    entries.clear();
}

CError* CAudioPreset::readEntryValues(const CString& key, CString& outPath,
                                      CAudioParamStorage& outValues) const
{
    outPath.clear();
    outValues.clear();
    const CByteBuffer* blob = findEntry(key);
    if (!blob)
        return nullptr;
    CMemoryReader reader(blob->getData(), blob->getSize());
    KEL_CHECK(reader.readString(outPath));
    const int64_t bodyAt = reader.getPosition();
    int32_t version = 0;
    int32_t elementSize = 0;
    int32_t dataType = 0;
    KEL_CHECK(reader.readInt32(version));
    KEL_CHECK(reader.readInt32(elementSize));
    KEL_CHECK(reader.readInt32(dataType));
    // The storage checks the head again as it reads; a layout it cannot hold fails there.
    outValues.setFormat(elementSize, dataType);
    KEL_CHECK(reader.setPosition(bodyAt));
    KEL_CHECK(outValues.load(reader));
    return nullptr;
}

CError* CAudioPreset::load(CInputStream& stream)
{
    clear();
    KEL_CHECK(stream.readString(name));
    int32_t count = 0;
    KEL_CHECK(stream.readInt32(count));
    for (int32_t i = 0; i < count; ++i)
    {
        CString key;
        KEL_CHECK(stream.readString(key));
        int32_t bytes = 0;
        KEL_CHECK(stream.readInt32(bytes));
        if (bytes < 0 || bytes > kMaxBlobBytes)
            return KEL_ERROR("@kelstr_CAudioPreset_load_InvalidSize Invalid size %1 of the value "
                             "'%2'.",
                             bytes, key);
        // A repeated key keeps its place (key order) and takes the later blob.
        CByteBuffer& blob = entries[key];
        if (!blob.resize(static_cast<size_t>(bytes)))
        {
            entries.erase(key);
            return KEL_ERROR("@kelstr_CAudioPreset_load_OutOfMemory Out of memory reading the "
                             "value '%1'.",
                             key);
        }
        if (bytes > 0)
            KEL_CHECK(stream.read(blob.getData(), static_cast<size_t>(bytes)));
    }
    return nullptr;
}

CError* CAudioPreset::save(COutputStream& stream) const
{
    KEL_CHECK(stream.writeString(name));
    KEL_CHECK(stream.writeInt32(entries.getCount()));
    for (const auto& [key, blob] : entries)
    {
        KEL_CHECK(stream.writeString(key));
        KEL_CHECK(stream.writeInt32(static_cast<int32_t>(blob.getSize())));
        if (blob.getSize() > 0)
            KEL_CHECK(stream.write(blob.getData(), blob.getSize()));
    }
    return nullptr;
}

CError* CAudioPreset::readBlock(CInputStream& stream)
{
    KEL_CHECK(CAudioPresetBlock::read(stream, kBlockId, *this));
    return nullptr;
}

CError* CAudioPreset::writeBlock(COutputStream& stream) const
{
    KEL_CHECK(CAudioPresetBlock::write(stream, kBlockId, *this));
    return nullptr;
}

CError* CAudioPreset::loadFile(const CString& path)
{
    KEL_CHECK(CAudioPresetBlock::loadFile(path, kBlockId, *this));
    return nullptr;
}

} // namespace kel
