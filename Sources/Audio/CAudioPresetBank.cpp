#include "Audio/CAudioPresetBank.h"

#include "Audio/CAudioPresetBlock.h"
#include "Core/CInputStream.h"
#include "Core/COutputStream.h"

namespace kel
{

CAudioPresetBank::CAudioPresetBank(const CAudioPresetBank& other) : CCheckedObject()
{
    *this = other;
}

CAudioPresetBank& CAudioPresetBank::operator=(const CAudioPresetBank& other)
{
    if (this == &other)
        return *this;
    name = other.name;
    setCount(other.getCount());
    for (int i = 0; i < other.getCount(); ++i)
        *presets[i] = *other.presets[i];
    return *this;
}

CAudioPresetBank::~CAudioPresetBank()
{
    setCount(0);
}

CAudioPreset* CAudioPresetBank::getPreset(int index)
{
    return index >= 0 && index < presets.getCount() ? presets[index] : nullptr;
}

const CAudioPreset* CAudioPresetBank::getPreset(int index) const
{
    return index >= 0 && index < presets.getCount() ? presets[index] : nullptr;
}

void CAudioPresetBank::setCount(int count)
{
    if (count < 0)
        count = 0;
    while (presets.getCount() > count)
    {
        delete presets.getLast();
        presets.removeLast();
    }
    presets.reserve(count);
    while (presets.getCount() < count)
        presets.add(new CAudioPreset());
}

CAudioPreset& CAudioPresetBank::addPreset(const CAudioPreset& preset)
{
    return *presets.add(new CAudioPreset(preset));
}

CError* CAudioPresetBank::load(CInputStream& stream)
{
    KEL_CHECK(stream.readString(name));
    int32_t count = 0;
    KEL_CHECK(stream.readInt32(count));
    if (count < 0 || count > kMaxPresets)
        return KEL_ERROR("@kelstr_CAudioPresetBank_load_InvalidCount Invalid preset count %1.",
                         count);
    // Grown one preset at a time, so that a damaged count costs no more than the presets that
    // really follow it.
    if (presets.getCount() > count)
        setCount(count);
    for (int32_t i = 0; i < count; ++i)
    {
        if (i == presets.getCount())
            presets.add(new CAudioPreset());
        KEL_CHECK(presets[i]->load(stream));
    }
    return nullptr;
}

CError* CAudioPresetBank::save(COutputStream& stream) const
{
    KEL_CHECK(stream.writeString(name));
    KEL_CHECK(stream.writeInt32(presets.getCount()));
    for (const CAudioPreset* preset : presets)
        KEL_CHECK(preset->save(stream));
    return nullptr;
}

CError* CAudioPresetBank::readBlock(CInputStream& stream)
{
    KEL_CHECK(CAudioPresetBlock::read(stream, kBlockId, *this));
    return nullptr;
}

CError* CAudioPresetBank::writeBlock(COutputStream& stream) const
{
    KEL_CHECK(CAudioPresetBlock::write(stream, kBlockId, *this));
    return nullptr;
}

CError* CAudioPresetBank::loadFile(const CString& path)
{
    KEL_CHECK(CAudioPresetBlock::loadFile(path, kBlockId, *this));
    return nullptr;
}

CError* CAudioPresetBank::loadList(CInputStream& stream, bool& outHasBank)
{
    outHasBank = false;
    int32_t flag = 0;
    KEL_CHECK(stream.readInt32(flag));
    if (flag <= 0)
        return nullptr;
    KEL_CHECK(load(stream));
    outHasBank = true;
    return nullptr;
}

CError* CAudioPresetBank::saveList(COutputStream& stream) const
{
    KEL_CHECK(stream.writeInt32(1));
    KEL_CHECK(save(stream));
    return nullptr;
}

} // namespace kel
