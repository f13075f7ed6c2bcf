#include "Core/CByteBuffer.h"

#include <cstring>

namespace kel
{

CByteBuffer::CByteBuffer(const CByteBuffer& other) : CCheckedObject()
{
    // A copy that finds no memory stays empty; a value type has no way to report it.
    if (!assign(other.data, other.size))
        clear();
}

CByteBuffer& CByteBuffer::operator=(const CByteBuffer& other)
{
    if (this != &other && !assign(other.data, other.size))
        clear();
    return *this;
}

CByteBuffer::~CByteBuffer()
{
    clear();
}

bool CByteBuffer::resize(size_t bytes)
{
    if (bytes <= kInlineBytes)
    {
        if (!isInline())
        {
            std::memcpy(inlineBytes, data, bytes);
            CAllocator::free(data);
            data = inlineBytes;
        }
        else if (bytes > size)
            std::memset(inlineBytes + size, 0, bytes - size);
        size = bytes;
        return true;
    }
    uint8_t* grown;
    if (isInline())
    {
        grown = static_cast<uint8_t*>(CAllocator::alloc(bytes));
        if (!grown)
            return false;
        std::memcpy(grown, inlineBytes, size);
    }
    else
    {
        grown = static_cast<uint8_t*>(CAllocator::realloc(data, bytes));
        if (!grown)
            return false;
    }
    if (bytes > size)
        std::memset(grown + size, 0, bytes - size);
    data = grown;
    size = bytes;
    return true;
}

bool CByteBuffer::assign(const void* source, size_t bytes)
{
    if (source == data)
        return resize(bytes);
    size = 0; // nothing of the old contents needs to survive the resize
    if (!resize(bytes))
        return false;
    if (bytes)
        std::memcpy(data, source, bytes);
    return true;
}

void CByteBuffer::clear()
{
    if (!isInline())
        CAllocator::free(data);
    data = inlineBytes;
    size = 0;
}

} // namespace kel
