#include "Core/COutputStream.h"

#include "Core/CByteBuffer.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/COutputZipStream.h"
#include "Core/CString.h"

#include <zlib.h>

#include <cstring>

namespace kel
{

namespace
{
template <typename T> CError* writeLittleEndian(COutputStream& stream, T value)
{
    uint8_t bytes[sizeof(T)];
    const auto bits = static_cast<uint64_t>(value);
    for (size_t i = 0; i < sizeof(T); ++i)
        bytes[i] = static_cast<uint8_t>(bits >> (8 * i));
    KEL_CHECK(stream.write(bytes, sizeof(T)));
    return nullptr;
}
} // namespace

CError* COutputStream::writeUInt8(uint8_t value)
{
    KEL_CHECK(write(&value, 1));
    return nullptr;
}

CError* COutputStream::writeUInt16(uint16_t value)
{
    KEL_CHECK(writeLittleEndian(*this, value));
    return nullptr;
}

CError* COutputStream::writeInt16(int16_t value)
{
    KEL_CHECK(writeLittleEndian(*this, static_cast<uint16_t>(value)));
    return nullptr;
}

CError* COutputStream::writeUInt32(uint32_t value)
{
    KEL_CHECK(writeLittleEndian(*this, value));
    return nullptr;
}

CError* COutputStream::writeInt32(int32_t value)
{
    KEL_CHECK(writeLittleEndian(*this, static_cast<uint32_t>(value)));
    return nullptr;
}

CError* COutputStream::writeUInt64(uint64_t value)
{
    KEL_CHECK(writeLittleEndian(*this, value));
    return nullptr;
}

CError* COutputStream::writeInt64(int64_t value)
{
    KEL_CHECK(writeLittleEndian(*this, static_cast<uint64_t>(value)));
    return nullptr;
}

CError* COutputStream::writeFloat(float value)
{
    uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    KEL_CHECK(writeUInt32(bits));
    return nullptr;
}

CError* COutputStream::writeDouble(double value)
{
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    KEL_CHECK(writeUInt64(bits));
    return nullptr;
}

CError* COutputStream::writeString(const CString& text)
{
    const int length = text.getUtf8Length();
    char local[33];
    char* bytes = local;
    if (length + 1 > static_cast<int>(sizeof(local)))
    {
        bytes = static_cast<char*>(CAllocator::alloc(static_cast<size_t>(length) + 1));
        if (!bytes)
            return KEL_ERROR("@kelstr_COutputStream_writeString_OutOfMemory Out of memory writing "
                             "a string of %1 bytes.",
                             length);
    }
    text.toUtf8(bytes, length + 1);
    CError* error = writeUInt32(static_cast<uint32_t>(length));
    if (!error)
        error = write(bytes, static_cast<size_t>(length));
    if (bytes != local)
        CAllocator::free(bytes);
    KEL_CHECK(error);
    return nullptr;
}

CError* COutputStream::writeASCIIString(const CString& text)
{
    if (text.isWide())
        return KEL_ERROR("@kelstr_COutputStream_writeASCIIString_NotASCIIString Not an ASCII "
                         "string '%1' supplied.",
                         text);
    KEL_CHECK(writeUInt32(static_cast<uint32_t>(text.getLength())));
    KEL_CHECK(write(text.getNarrow(), static_cast<size_t>(text.getLength())));
    return nullptr;
}

CError* COutputStream::writeCompressedData(const void* data, size_t bytes, uint32_t id)
{
    KEL_CHECK(writeUInt32(id));
    // The head goes through a small buffer so that its CRC is taken over exactly the bytes
    // that are written.
    CMemoryWriteBuffer head(128);
    KEL_CHECK(head.writeUInt32(static_cast<uint32_t>(bytes)));
    KEL_CHECK(head.writeTo(*this));
    KEL_CHECK(writeUInt32(static_cast<uint32_t>(crc32(0L, head.getData(), 4))));

    COutputZipStream zip;
    KEL_CHECK(zip.open(this, COutputZipStream::kDefaultLevel, kZipBufferBytes));
    KEL_CHECK(zip.write(data, bytes));
    KEL_CHECK(zip.close());
    return nullptr;
}

CError* COutputStream::writeCompressedData(const CByteBuffer& data, uint32_t id)
{
    KEL_CHECK(writeCompressedData(data.getData(), data.getSize(), id));
    return nullptr;
}

} // namespace kel
