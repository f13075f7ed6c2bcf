#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

class CByteBuffer;
class CString;

// Abstract input: the source of every read in the framework (memory, resources, files, inflated
// data). Integers are read byte by byte, little-endian, with no alignment; strings are a u32 byte
// length and UTF-8 text; larger payloads come as compressed blocks (see readCompressedData).
// Owned by whoever made it; one thread at a time. [any thread]
class CInputStream : public CCheckedObject
{
public:
    // Longest string readString accepts, in bytes of UTF-8.
    static constexpr uint32_t kMaxStringBytes = 61440;
    // Size of the zlib input buffer of a compressed block read.
    static constexpr size_t kZipBufferBytes = 32768;

    ~CInputStream() override = default;

    // The whole contents in memory, when the stream has them; null otherwise.
    virtual const uint8_t* getData();
    // Steps over count bytes.
    [[nodiscard]] virtual CError* consume(size_t count) = 0;
    // Exactly count bytes, or an error.
    [[nodiscard]] virtual CError* read(void* buffer, size_t count) = 0;
    // Up to count bytes; outRead is 0 only at the end of the data.
    [[nodiscard]] virtual CError* readStreamed(void* buffer, size_t count, size_t& outRead) = 0;

    [[nodiscard]] CError* readUInt8(uint8_t& out);
    [[nodiscard]] CError* readUInt16(uint16_t& out);
    [[nodiscard]] CError* readInt16(int16_t& out);
    [[nodiscard]] CError* readUInt32(uint32_t& out);
    [[nodiscard]] CError* readInt32(int32_t& out);
    [[nodiscard]] CError* readUInt64(uint64_t& out);
    [[nodiscard]] CError* readInt64(int64_t& out);
    [[nodiscard]] CError* readFloat(float& out);
    [[nodiscard]] CError* readDouble(double& out);

    // A u32 byte length (at most kMaxStringBytes) and UTF-8 text. The text is decoded by hand: a
    // lead byte of no known form is dropped, a sequence cut by the end of the data or a decoded
    // zero ends the string, and the string stays narrow while every code point is below 256.
    [[nodiscard]] CError* readString(CString& out);

    // Reads one compressed block written with the same id: the id, the uncompressed size, the
    // CRC-32 of the size's four bytes and a zlib stream. A wrong id or CRC fails before out is
    // touched; a failure in the payload leaves out partly filled, and the caller discards it. On
    // success the stream stands right after the block when it can be positioned.
    [[nodiscard]] CError* readCompressedData(CByteBuffer& out, uint32_t expectedId);
};

} // namespace kel
