#include "Core/CTreeReader.h"

namespace kel
{

CTreeReader::CTreeReader(CTreeStringTable* table, const uint8_t* start, const uint8_t* stop)
    : strings(table), base(table->getData()), cursor(start), end(stop)
{
}

CError* CTreeReader::makeTruncatedError(size_t wanted) const
{
    return KEL_ERROR("@kelstr_CObject_readNode_Truncated Compiled tree data ends at offset %1 "
                     "where %2 more bytes are needed.",
                     static_cast<unsigned long long>(cursor - base),
                     static_cast<unsigned long long>(wanted));
}

CError* CTreeReader::skip(size_t count)
{
    if (getRemaining() < count)
        return makeTruncatedError(count);
    cursor += count;
    return nullptr;
}

CError* CTreeReader::readUInt8(uint8_t& out)
{
    if (getRemaining() < 1)
        return makeTruncatedError(1);
    out = *cursor++;
    return nullptr;
}

CError* CTreeReader::readUInt16(uint16_t& out)
{
    if (getRemaining() < 2)
        return makeTruncatedError(2);
    out = static_cast<uint16_t>(cursor[0] | (cursor[1] << 8));
    cursor += 2;
    return nullptr;
}

CError* CTreeReader::readUInt32(uint32_t& out)
{
    if (getRemaining() < 4)
        return makeTruncatedError(4);
    out = static_cast<uint32_t>(cursor[0]) | (static_cast<uint32_t>(cursor[1]) << 8) |
          (static_cast<uint32_t>(cursor[2]) << 16) | (static_cast<uint32_t>(cursor[3]) << 24);
    cursor += 4;
    return nullptr;
}

CError* CTreeReader::readString(const CString*& out)
{
    out = nullptr;
    uint16_t index = 0;
    KEL_CHECK(readUInt16(index));
    if (index >= strings->getCount())
        return KEL_ERROR("@kelstr_CObject_readNode_StringIndex String index %1 at offset %2 is "
                         "beyond the %3 strings of the compiled tree.",
                         index, static_cast<unsigned long long>(cursor - base - 2),
                         strings->getCount());
    out = &strings->getString(index);
    return nullptr;
}

CError* CTreeReader::enterNode()
{
    if (depth >= kMaxDepth)
        return KEL_ERROR("@kelstr_CObject_readNode_Depth Compiled tree nodes nest deeper than %1 "
                         "levels at offset %2.",
                         kMaxDepth, static_cast<unsigned long long>(cursor - base));
    ++depth;
    return nullptr;
}

} // namespace kel
