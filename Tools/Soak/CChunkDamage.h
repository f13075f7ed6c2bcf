#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kel
{

// Damages a plug-in state chunk (16 reserved bytes, then one compressed block: id, size, the
// size's CRC, a zlib stream) in ways that a correct reader must refuse whatever the bytes hold.
// Only such damage is made: a flipped bit inside the zlib data, or a cut of the Adler-32 trailer
// alone, may still decode to a payload of the right size, so neither is used. [any thread]
class CChunkDamage
{
public:
    enum class EKind
    {
        // Cut inside the block's head: the stream ends before any payload.
        CutHead,
        // Cut to at most half of the zlib stream: the last symbols are missing.
        CutStream,
        // A byte of the block id changed.
        WrongId,
        // A byte of the size changed: its CRC no longer matches.
        WrongSize,
        // A byte of the CRC changed.
        WrongCrc,
        // The zlib header names a compression method that does not exist.
        BadMethod,
        // Unchanged bytes handed over in the other form (a bank as a preset or the reverse).
        OtherForm,
        Count
    };

    static constexpr size_t kReservedBytes = 16;
    static constexpr size_t kHeadBytes = 12;

    // Answers false, leaving the chunk alone, when it is too short to carry the damage.
    // `random` picks the byte, the bit pattern or the length.
    static bool apply(std::vector<uint8_t>& chunk, EKind kind, uint64_t random);
    // True if the damaged chunk is to be handed over in the form it was not made in.
    static bool swapsForm(EKind kind) { return kind == EKind::OtherForm; }
    static const char* kindName(EKind kind);
};

} // namespace kel
