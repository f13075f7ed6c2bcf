// A host's chunk into a live instance, over arbitrary bytes: no crash, no leaked block, and a chunk
// that is refused (answer 0) changes nothing of what the instance would save.
//
// The first byte chooses the form: bit 0 a preset (else a bank) chunk; bit 1 wraps the rest as the
// payload of a well-formed chunk (reserved bytes and a compressed block with the right tag), so
// that the registry's readers see the bytes and not only the block's checks.
#include "FuzzCheck.h"

#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBank.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Core/CAllocator.h"
#include "Core/CMemoryWriteBuffer.h"

#include <cstdint>
#include <cstring>
#include <vector>

using namespace kel;

namespace
{

// Blocks a refused chunk may leave in the instance's own bookkeeping (its undo history).
constexpr int64_t kBookkeepingBlocks = 4;

intptr_t hostCallback(AEffect*, int32_t opcode, int32_t, intptr_t, void*, float)
{
    return opcode == kHostVersion ? 2400 : 0;
}

std::vector<uint8_t> saveChunk(AEffect* effect, bool isPreset)
{
    void* data = nullptr;
    const intptr_t bytes =
        effect->dispatcher(effect, kEffGetChunk, isPreset ? 1 : 0, 0, &data, 0.0f);
    KEL_FUZZ_CHECK(bytes > 16 && data);
    const auto* begin = static_cast<const uint8_t*>(data);
    return std::vector<uint8_t>(begin, begin + bytes);
}

intptr_t loadChunk(AEffect* effect, std::vector<uint8_t>& bytes, bool isPreset)
{
    return effect->dispatcher(effect, kEffSetChunk, isPreset ? 1 : 0,
                              static_cast<intptr_t>(bytes.size()), bytes.data(), 0.0f);
}

struct Instance
{
    AEffect* effect = nullptr;
    std::vector<uint8_t> initialBank;

    Instance()
    {
        CError* error = CAudioWrapperVST::create(&hostCallback, &effect);
        KEL_FUZZ_CHECK(!error && effect);
        effect->dispatcher(effect, kEffOpen, 0, 0, nullptr, 0.0f);
        initialBank = saveChunk(effect, false);
    }
};

Instance& instance()
{
    static Instance made;
    return made;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    Instance& made = instance();
    const bool isPreset = (data[0] & 1) != 0;
    const bool wrap = (data[0] & 2) != 0;

    std::vector<uint8_t> chunk;
    if (wrap)
    {
        CMemoryWriteBuffer block(256);
        const uint8_t reserved[16] = {};
        KEL_FUZZ_CHECK(block.write(reserved, sizeof(reserved)) == nullptr);
        KEL_FUZZ_CHECK(block.writeCompressedData(data + 1, size - 1,
                                                 isPreset ? CAudioPreset::kBlockId
                                                          : CAudioPresetBank::kBlockId) == nullptr);
        chunk.assign(block.getData(), block.getData() + block.getSize());
    }
    else
        chunk.assign(data + 1, data + size);

    const std::vector<uint8_t> bankBefore = saveChunk(made.effect, false);
    const std::vector<uint8_t> presetBefore = saveChunk(made.effect, true);
    CAudioParamCollector* collector =
        static_cast<CAudioWrapperVST*>(AudioEffect::fromAeffect(made.effect))->getParamCollector();
    const int paramsBefore = collector->getParamCount();
    const int64_t liveBefore = CAllocator::liveBlocks();
    const int64_t largeBefore = CAllocator::liveBlocksInClass(CAllocator::kRuntimeClass);
    if (loadChunk(made.effect, chunk, isPreset) == 0)
    {
        // A preset names parameters by key; a key the instance does not have yet is claimed as a
        // parameter of its own (it may be defined later) and stays. A refused chunk may also leave
        // the undo history replaced by a fresh one. Nothing of the chunk itself may stay behind.
        KEL_FUZZ_CHECK(CAllocator::liveBlocksInClass(CAllocator::kRuntimeClass) <= largeBefore);
        if (collector->getParamCount() == paramsBefore)
            KEL_FUZZ_CHECK(CAllocator::liveBlocks() <= liveBefore + kBookkeepingBlocks);
        KEL_FUZZ_CHECK(saveChunk(made.effect, false) == bankBefore);
        KEL_FUZZ_CHECK(saveChunk(made.effect, true) == presetBefore);
    }
    else
    {
        // Back to the state every input starts from.
        KEL_FUZZ_CHECK(loadChunk(made.effect, made.initialBank, false) == 1);
    }
    return 0;
}
