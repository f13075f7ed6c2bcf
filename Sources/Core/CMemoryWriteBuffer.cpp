#include "Core/CMemoryWriteBuffer.h"

#include <cstring>

namespace kel
{

CMemoryWriteBuffer::CMemoryWriteBuffer(size_t growthStepBytes)
    : growthStep(growthStepBytes ? growthStepBytes : 1)
{
}

CMemoryWriteBuffer::~CMemoryWriteBuffer()
{
    clear();
}

void CMemoryWriteBuffer::clear()
{
    CAllocator::free(bytes);
    bytes = nullptr;
    size = capacity = position = 0;
}

bool CMemoryWriteBuffer::reserve(size_t needed)
{
    if (needed <= capacity)
        return true;
    // Whole steps, and at least half as much again, so that long runs of small writes stay
    // linear in time.
    size_t grown = (needed + growthStep - 1) / growthStep * growthStep;
    if (grown < capacity + capacity / 2)
        grown = capacity + capacity / 2;
    auto* fresh = static_cast<uint8_t*>(CAllocator::realloc(bytes, grown));
    if (!fresh)
        return false;
    bytes = fresh;
    capacity = grown;
    return true;
}

CError* CMemoryWriteBuffer::write(const void* buffer, size_t count)
{
    if (count > SIZE_MAX - position || !reserve(position + count))
        return KEL_ERROR("@kelstr_CMemoryWriteBuffer_write_OutOfMemory Out of memory writing %1 "
                         "bytes at position %2.",
                         static_cast<unsigned long long>(count),
                         static_cast<unsigned long long>(position));
    if (position > size)
        std::memset(bytes + size, 0, position - size);
    if (count)
        std::memcpy(bytes + position, buffer, count);
    position += count;
    if (position > size)
        size = position;
    return nullptr;
}

CError* CMemoryWriteBuffer::getPosition(int64_t& outPosition)
{
    outPosition = static_cast<int64_t>(position);
    return nullptr;
}

CError* CMemoryWriteBuffer::setPosition(int64_t newPosition)
{
    if (newPosition < 0)
        return KEL_ERROR("@kelstr_CMemoryWriteBuffer_setPosition_Invalid Invalid position %1.",
                         static_cast<long long>(newPosition));
    position = static_cast<size_t>(newPosition);
    return nullptr;
}

CError* CMemoryWriteBuffer::getSize(int64_t& outSize)
{
    outSize = static_cast<int64_t>(size);
    return nullptr;
}

CError* CMemoryWriteBuffer::writeTo(COutputStream& target) const
{
    KEL_CHECK(target.write(bytes, size));
    return nullptr;
}

} // namespace kel
