#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

class CByteBuffer;
class CString;

// Abstract output, the counterpart of CInputStream with the same wire forms: little-endian
// integers byte by byte, strings as a u32 byte length and UTF-8, and compressed blocks.
// Owned by whoever made it; one thread at a time. [any thread]
class COutputStream : public CCheckedObject
{
public:
    // Size of the zlib output buffer of a compressed block write.
    static constexpr size_t kZipBufferBytes = 32768;

    ~COutputStream() override = default;

    // All count bytes, or an error.
    [[nodiscard]] virtual CError* write(const void* buffer, size_t count) = 0;

    [[nodiscard]] CError* writeUInt8(uint8_t value);
    [[nodiscard]] CError* writeUInt16(uint16_t value);
    [[nodiscard]] CError* writeInt16(int16_t value);
    [[nodiscard]] CError* writeUInt32(uint32_t value);
    [[nodiscard]] CError* writeInt32(int32_t value);
    [[nodiscard]] CError* writeUInt64(uint64_t value);
    [[nodiscard]] CError* writeInt64(int64_t value);
    [[nodiscard]] CError* writeFloat(float value);
    [[nodiscard]] CError* writeDouble(double value);

    // A u32 byte length and the text in UTF-8, no terminator. Surrogate pairs become one
    // four-byte sequence.
    [[nodiscard]] CError* writeString(const CString& text);
    // A u32 length and the units as bytes; only for a narrow string.
    [[nodiscard]] CError* writeASCIIString(const CString& text);

    // Writes a compressed block readable with CInputStream::readCompressedData(out, id).
    [[nodiscard]] CError* writeCompressedData(const void* data, size_t bytes, uint32_t id);
    [[nodiscard]] CError* writeCompressedData(const CByteBuffer& data, uint32_t id);
};

} // namespace kel
