#include "CChunkDamage.h"

#include "Core/CByteBuffer.h"
#include "Core/CError.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

using kel::CChunkDamage;
using Kind = CChunkDamage::EKind;

namespace
{

constexpr uint32_t kPresetId = 0x73727061;
constexpr uint32_t kBankId = 0x6B6E6261;

// A chunk as a plug-in makes it: 16 zero bytes, then one compressed block of the payload.
std::vector<uint8_t> makeChunk(const std::vector<uint8_t>& payload, uint32_t id)
{
    kel::CMemoryWriteBuffer out(128);
    const uint8_t reserved[CChunkDamage::kReservedBytes] = {};
    EXPECT_EQ(out.write(reserved, sizeof(reserved)), nullptr);
    EXPECT_EQ(out.writeCompressedData(payload.data(), payload.size(), id), nullptr);
    return std::vector<uint8_t>(out.getData(), out.getData() + out.getSize());
}

// True if a reader expecting `id` takes the chunk's block.
bool reads(const std::vector<uint8_t>& chunk, uint32_t id)
{
    if (chunk.size() < CChunkDamage::kReservedBytes)
        return false;
    kel::CMemoryReader in(chunk.data() + CChunkDamage::kReservedBytes,
                          chunk.size() - CChunkDamage::kReservedBytes);
    kel::CByteBuffer payload;
    std::unique_ptr<kel::CError> error(in.readCompressedData(payload, id));
    return error == nullptr;
}

// Payloads of the shapes that state takes: structured and compressible, or incompressible
// (stored uncompressed by zlib).
std::vector<std::vector<uint8_t>> payloads()
{
    std::vector<uint8_t> structured;
    for (int n = 0; n < 40; ++n)
    {
        const char name[] = "plugin.modMain.modZumbelModule.period";
        structured.insert(structured.end(), name, name + sizeof(name));
        const double value = n * 0.37;
        const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
        structured.insert(structured.end(), bytes, bytes + sizeof(value));
    }
    std::vector<uint8_t> noise(3000);
    std::mt19937 random(3);
    for (uint8_t& byte : noise)
        byte = static_cast<uint8_t>(random());
    return {structured, noise};
}

} // namespace

TEST(CChunkDamageTest, EveryDamageIsRefusedByTheBlockReader)
{
    std::mt19937_64 random(11);
    for (const std::vector<uint8_t>& payload : payloads())
        for (const uint32_t id : {kPresetId, kBankId})
        {
            const std::vector<uint8_t> intact = makeChunk(payload, id);
            ASSERT_TRUE(reads(intact, id));
            for (int kind = 0; kind < static_cast<int>(Kind::Count); ++kind)
                for (int trial = 0; trial < 200; ++trial)
                {
                    std::vector<uint8_t> chunk = intact;
                    const Kind damage = static_cast<Kind>(kind);
                    ASSERT_TRUE(CChunkDamage::apply(chunk, damage, random()));
                    const uint32_t readAs = CChunkDamage::swapsForm(damage)
                                                ? (id == kPresetId ? kBankId : kPresetId)
                                                : id;
                    EXPECT_FALSE(reads(chunk, readAs))
                        << CChunkDamage::kindName(damage) << ", trial " << trial;
                }
        }
}

TEST(CChunkDamageTest, ChunksTooShortForADamageAreLeftAlone)
{
    // Sixteen reserved bytes and a head, but no room for a cut inside the stream.
    const std::vector<uint8_t> small = makeChunk({1, 2, 3}, kPresetId);
    std::vector<uint8_t> chunk = small;
    EXPECT_FALSE(CChunkDamage::apply(chunk, Kind::CutStream, 5));
    EXPECT_EQ(chunk, small);

    // An empty payload reads without any stream byte, so cutting could go unnoticed.
    const std::vector<uint8_t> empty = makeChunk({}, kPresetId);
    chunk = empty;
    EXPECT_FALSE(CChunkDamage::apply(chunk, Kind::CutHead, 5));
    EXPECT_EQ(chunk, empty);

    std::vector<uint8_t> bare(CChunkDamage::kReservedBytes + 4);
    EXPECT_FALSE(CChunkDamage::apply(bare, Kind::WrongId, 5));
}
