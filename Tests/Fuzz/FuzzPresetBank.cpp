// Preset, bank and list loading over arbitrary bytes: no crash, no read beyond the data, no
// leaked block; whatever loads saves in a form that loads back to the same bytes, and every
// entry's value blob decodes or fails cleanly.
//
// The first byte chooses the reader: 0 a preset payload, 1 a bank payload, 2 a list payload,
// 3 a preset block, 4 a bank block (with its compressed-block head).
#include "FuzzCheck.h"

#include "Audio/CAudioParamRegistry.h"
#include "Audio/CAudioParamStorage.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBank.h"
#include "Core/CAllocator.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"

#include <cstdint>
#include <cstring>

using namespace kel;

namespace
{

void decodeEntries(const CAudioPreset& preset)
{
    for (const auto& entry : preset.getEntries())
    {
        CString path;
        CAudioParamStorage values;
        delete preset.readEntryValues(entry.first, path, values);
    }
    (void)CAudioParamRegistry::usesRoutingFeatures(preset, true, true);
}

// Saves, loads the saved bytes into a fresh object and saves again: both must be the same.
template <class T, class Save, class Load>
void checkRoundTrip(const T& loaded, Save save, Load load)
{
    CMemoryWriteBuffer first(256);
    KEL_FUZZ_CHECK(save(loaded, first) == nullptr);
    T again;
    CMemoryReader reader(first.getData(), first.getSize());
    KEL_FUZZ_CHECK(load(again, reader) == nullptr);
    KEL_FUZZ_CHECK(reader.getPosition() == static_cast<int64_t>(first.getSize()));
    CMemoryWriteBuffer second(256);
    KEL_FUZZ_CHECK(save(again, second) == nullptr);
    KEL_FUZZ_CHECK(second.getSize() == first.getSize());
    KEL_FUZZ_CHECK(first.getSize() == 0 ||
                   std::memcmp(first.getData(), second.getData(), first.getSize()) == 0);
}

CError* savePreset(const CAudioPreset& preset, COutputStream& out)
{
    return preset.save(out);
}
CError* loadPreset(CAudioPreset& preset, CInputStream& in)
{
    return preset.load(in);
}
CError* saveBank(const CAudioPresetBank& bank, COutputStream& out)
{
    return bank.save(out);
}
CError* loadBank(CAudioPresetBank& bank, CInputStream& in)
{
    return bank.load(in);
}

void runPreset(CInputStream& in, bool isBlock)
{
    CAudioPreset preset;
    CError* error = isBlock ? preset.readBlock(in) : preset.load(in);
    if (error)
    {
        delete error;
        return;
    }
    decodeEntries(preset);
    checkRoundTrip(preset, savePreset, loadPreset);
}

void runBank(CInputStream& in, int mode)
{
    CAudioPresetBank bank;
    bool hasBank = true;
    CError* error = mode == 2   ? bank.loadList(in, hasBank)
                    : mode == 4 ? bank.readBlock(in)
                                : bank.load(in);
    if (error)
    {
        delete error;
        return;
    }
    for (int i = 0; i < bank.getCount(); ++i)
        decodeEntries(*bank.getPreset(i));
    checkRoundTrip(bank, saveBank, loadBank);
    CAudioPresetBank copy;
    copy.setCount(3);
    copy = bank;
    KEL_FUZZ_CHECK(copy.getCount() == bank.getCount());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const int64_t liveBefore = CAllocator::liveBlocks();
    {
        const int mode = data[0] % 5;
        CMemoryReader in(data + 1, size - 1);
        if (mode == 0 || mode == 3)
            runPreset(in, mode == 3);
        else
            runBank(in, mode);
    }
    KEL_FUZZ_CHECK(CAllocator::liveBlocks() == liveBefore);
    return 0;
}
