#include "CChunkDamage.h"

namespace kel
{

namespace
{
// XORs a byte at [from, from + 4) with a non-zero pattern.
void flipByteOf(std::vector<uint8_t>& chunk, size_t from, uint64_t random)
{
    const size_t at = from + random % 4;
    const uint8_t pattern = static_cast<uint8_t>(1 + (random >> 8) % 255);
    chunk[at] ^= pattern;
}
} // namespace

bool CChunkDamage::apply(std::vector<uint8_t>& chunk, EKind kind, uint64_t random)
{
    constexpr size_t blockAt = kReservedBytes;
    constexpr size_t streamAt = kReservedBytes + kHeadBytes;
    // Half of a stream this long still lacks data symbols beyond the end-of-block code, its
    // padding and the trailer.
    constexpr size_t minCutStreamBytes = 32;
    if (chunk.size() < streamAt + 2)
        return false;
    // An empty payload needs no stream bytes at all, so cuts would not be noticed.
    const uint32_t payloadBytes = static_cast<uint32_t>(chunk[blockAt + 4]) |
                                  static_cast<uint32_t>(chunk[blockAt + 5]) << 8 |
                                  static_cast<uint32_t>(chunk[blockAt + 6]) << 16 |
                                  static_cast<uint32_t>(chunk[blockAt + 7]) << 24;
    switch (kind)
    {
    case EKind::CutHead:
        if (payloadBytes == 0)
            return false;
        // 17 bytes up to the head plus one stream byte: never the whole zlib header.
        chunk.resize(kReservedBytes + 1 + random % (kHeadBytes + 1));
        return true;
    case EKind::CutStream:
    {
        const size_t streamBytes = chunk.size() - streamAt;
        if (payloadBytes == 0 || streamBytes < minCutStreamBytes)
            return false;
        chunk.resize(streamAt + 2 + random % (streamBytes / 2 - 1));
        return true;
    }
    case EKind::WrongId:
        flipByteOf(chunk, blockAt, random);
        return true;
    case EKind::WrongSize:
        flipByteOf(chunk, blockAt + 4, random);
        return true;
    case EKind::WrongCrc:
        flipByteOf(chunk, blockAt + 8, random);
        return true;
    case EKind::BadMethod:
        // The low nibble of the first zlib byte is the method; 15 is reserved.
        chunk[streamAt] = static_cast<uint8_t>((chunk[streamAt] & 0xF0) | 0x0F);
        return true;
    case EKind::OtherForm:
        return true;
    case EKind::Count:
        break;
    }
    return false;
}

const char* CChunkDamage::kindName(EKind kind)
{
    switch (kind)
    {
    case EKind::CutHead:
        return "cut in the head";
    case EKind::CutStream:
        return "cut in the stream";
    case EKind::WrongId:
        return "wrong id";
    case EKind::WrongSize:
        return "wrong size";
    case EKind::WrongCrc:
        return "wrong CRC";
    case EKind::BadMethod:
        return "unknown zlib method";
    case EKind::OtherForm:
        return "other form";
    case EKind::Count:
        break;
    }
    return "?";
}

} // namespace kel
