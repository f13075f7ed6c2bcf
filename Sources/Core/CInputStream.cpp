#include "Core/CInputStream.h"

#include "Core/CByteBuffer.h"
#include "Core/CDebugChannel.h"
#include "Core/CInputZipStream.h"
#include "Core/CString.h"

#include <zlib.h>

#include <cstdio>
#include <cstring>

namespace kel
{

namespace
{
template <typename T> CError* readLittleEndian(CInputStream& stream, T& out)
{
    uint8_t bytes[sizeof(T)];
    KEL_CHECK(stream.read(bytes, sizeof(T)));
    uint64_t value = 0;
    for (size_t i = 0; i < sizeof(T); ++i)
        value |= static_cast<uint64_t>(bytes[i]) << (8 * i);
    out = static_cast<T>(value);
    return nullptr;
}

// Payload errors name how far into the block they came.
CError* withBlockPosition(CError* error, const CInputZipStream& zip)
{
    if (!error)
        return nullptr;
    char where[96];
    std::snprintf(where, sizeof(where), "compressed block: byte %llu of the zlib stream",
                  static_cast<unsigned long long>(zip.getCompressedBytesRead()));
    return KEL_FRAME_AT(error, where);
}
} // namespace

const uint8_t* CInputStream::getData()
{
    return nullptr;
}

CError* CInputStream::readUInt8(uint8_t& out)
{
    KEL_CHECK(read(&out, 1));
    return nullptr;
}

CError* CInputStream::readUInt16(uint16_t& out)
{
    KEL_CHECK(readLittleEndian(*this, out));
    return nullptr;
}

CError* CInputStream::readInt16(int16_t& out)
{
    KEL_CHECK(readLittleEndian(*this, out));
    return nullptr;
}

CError* CInputStream::readUInt32(uint32_t& out)
{
    KEL_CHECK(readLittleEndian(*this, out));
    return nullptr;
}

CError* CInputStream::readInt32(int32_t& out)
{
    KEL_CHECK(readLittleEndian(*this, out));
    return nullptr;
}

CError* CInputStream::readUInt64(uint64_t& out)
{
    KEL_CHECK(readLittleEndian(*this, out));
    return nullptr;
}

CError* CInputStream::readInt64(int64_t& out)
{
    KEL_CHECK(readLittleEndian(*this, out));
    return nullptr;
}

CError* CInputStream::readFloat(float& out)
{
    uint32_t bits = 0;
    KEL_CHECK(readUInt32(bits));
    std::memcpy(&out, &bits, sizeof(out));
    return nullptr;
}

CError* CInputStream::readDouble(double& out)
{
    uint64_t bits = 0;
    KEL_CHECK(readUInt64(bits));
    std::memcpy(&out, &bits, sizeof(out));
    return nullptr;
}

CError* CInputStream::readString(CString& out)
{
    uint32_t length = 0;
    KEL_CHECK(readUInt32(length));
    if (length > kMaxStringBytes)
        return KEL_ERROR("@kelstr_CInputStream_readString_StringDataTooLong String length %1 too "
                         "long in readString().",
                         length);
    char local[32];
    char* bytes = local;
    if (length > sizeof(local))
    {
        bytes = static_cast<char*>(CAllocator::alloc(length));
        if (!bytes)
            return KEL_ERROR("@kelstr_CInputStream_readString_OutOfMemory Out of memory reading a "
                             "string of %1 bytes.",
                             length);
    }
    CError* error = read(bytes, length);
    if (!error)
        out = CString::fromUtf8(bytes, length);
    if (bytes != local)
        CAllocator::free(bytes);
    KEL_CHECK(error);
    return nullptr;
}

CError* CInputStream::readCompressedData(CByteBuffer& out, uint32_t expectedId)
{
    uint32_t id = 0;
    KEL_CHECK(readUInt32(id));
    if (id != expectedId)
        return KEL_ERROR("@kelstr_CInputStream_readCompressedData_InvalidData Invalid ID "
                         "encountered when reading compressed data (expected %1, read %2).",
                         expectedId, id);
    // The size's bytes are checked as they stand, before anything is sized after them.
    uint8_t sizeBytes[4];
    KEL_CHECK(read(sizeBytes, sizeof(sizeBytes)));
    uint32_t headCrc = 0;
    KEL_CHECK(readUInt32(headCrc));
    const uint32_t crc = static_cast<uint32_t>(crc32(0L, sizeBytes, sizeof(sizeBytes)));
    if (crc != headCrc)
        return KEL_ERROR("@kelstr_CInputStream_readCompressedData_HeadCRC Invalid CRC encountered "
                         "when reading compressed data (expected %1, read %2).",
                         crc, headCrc);
    const size_t size = static_cast<size_t>(sizeBytes[0]) | static_cast<size_t>(sizeBytes[1]) << 8 |
                        static_cast<size_t>(sizeBytes[2]) << 16 |
                        static_cast<size_t>(sizeBytes[3]) << 24;

    out.clear();
    CInputZipStream zip;
    KEL_CHECK(zip.open(this, kZipBufferBytes));
    // The buffer grows with the data that really comes, doubling up to the size the header
    // promises, so a damaged but well-checked size cannot claim gigabytes for a short stream.
    CError* error = nullptr;
    size_t filled = 0;
    while (!error && filled < size)
    {
        size_t step = filled > 65536 ? filled : 65536;
        if (step > size - filled)
            step = size - filled;
        if (!out.resize(filled + step))
        {
            error = KEL_ERROR("@kelstr_CInputStream_readCompressedData_OutOfMemory Out of memory "
                              "reading compressed data of %1 bytes.",
                              static_cast<unsigned long long>(size));
            break;
        }
        error = withBlockPosition(zip.read(out.getData() + filled, step), zip);
        filled += step;
    }
    if (!error)
    {
        // The whole payload is in: a stream whose check value alone is missing, because the
        // data ends there, still gives it. A check value that is present and wrong fails.
        error = zip.skipToEnd();
        if (error && zip.isSourceExhausted())
        {
            KEL_LOG("compressed block of %llu bytes ends without its check value",
                    static_cast<unsigned long long>(size));
            delete error;
            error = nullptr;
        }
        error = withBlockPosition(error, zip);
    }
    CError* closeError = zip.close();
    if (error)
    {
        if (closeError)
        {
            KEL_LOG("%s", closeError->getMessage());
            delete closeError;
        }
        KEL_CHECK(error);
    }
    KEL_CHECK(closeError);
    return nullptr;
}

} // namespace kel
