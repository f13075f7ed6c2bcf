#include "Core/CMemoryReader.h"

#include <cstring>

namespace kel
{

CMemoryReader::CMemoryReader(const void* data, size_t size)
    : bytes(static_cast<const uint8_t*>(data)), byteCount(size)
{
}

void CMemoryReader::setData(const void* data, size_t size)
{
    bytes = static_cast<const uint8_t*>(data);
    byteCount = size;
    position = 0;
}

bool CMemoryReader::hasRoom(size_t count) const
{
    return position >= 0 && static_cast<uint64_t>(position) <= byteCount &&
           count <= byteCount - static_cast<size_t>(position);
}

CError* CMemoryReader::consume(size_t count)
{
    if (!hasRoom(count))
        return KEL_ERROR("@kelstr_CMemoryReader_consume_EOF Premature end of memory resource "
                         "while consuming (pos %1, count %2, size %3).",
                         static_cast<long long>(position), static_cast<unsigned long long>(count),
                         static_cast<unsigned long long>(byteCount));
    position += static_cast<int64_t>(count);
    return nullptr;
}

CError* CMemoryReader::read(void* buffer, size_t count)
{
    if (!hasRoom(count))
        return KEL_ERROR("@kelstr_CMemoryReader_read_EOF Premature end of memory resource while "
                         "reading (pos %1, count %2, size %3).",
                         static_cast<long long>(position), static_cast<unsigned long long>(count),
                         static_cast<unsigned long long>(byteCount));
    if (count)
        std::memcpy(buffer, bytes + position, count);
    position += static_cast<int64_t>(count);
    return nullptr;
}

CError* CMemoryReader::readStreamed(void* buffer, size_t count, size_t& outRead)
{
    outRead = 0;
    if (position < 0 || static_cast<uint64_t>(position) >= byteCount)
        return nullptr;
    const size_t left = byteCount - static_cast<size_t>(position);
    outRead = count < left ? count : left;
    if (outRead)
        std::memcpy(buffer, bytes + position, outRead);
    position += static_cast<int64_t>(outRead);
    return nullptr;
}

CError* CMemoryReader::getPosition(int64_t& outPosition)
{
    outPosition = position;
    return nullptr;
}

CError* CMemoryReader::setPosition(int64_t newPosition)
{
    position = newPosition;
    return nullptr;
}

CError* CMemoryReader::getSize(int64_t& outSize)
{
    outSize = static_cast<int64_t>(byteCount);
    return nullptr;
}

} // namespace kel
