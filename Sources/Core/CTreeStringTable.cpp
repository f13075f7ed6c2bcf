#include "Core/CTreeStringTable.h"

#include "Core/CAllocator.h"

#include <cstring>

namespace kel
{

namespace
{

uint32_t readLe32(const uint8_t* at)
{
    return static_cast<uint32_t>(at[0]) | (static_cast<uint32_t>(at[1]) << 8) |
           (static_cast<uint32_t>(at[2]) << 16) | (static_cast<uint32_t>(at[3]) << 24);
}

} // namespace

CTreeStringTable::CTreeStringTable(const uint8_t* data, size_t size) : bytes(data), byteCount(size)
{
}

CTreeStringTable* CTreeStringTable::adoptBytes(uint8_t* owned, size_t size)
{
    CTreeStringTable* table = new CTreeStringTable(owned, size);
    table->ownedBytes = owned;
    return table;
}

CTreeStringTable::~CTreeStringTable()
{
    CAllocator::free(ownedBytes);
}

void CTreeStringTable::release()
{
    if (--refCount == 0)
        delete this;
}

CError* CTreeStringTable::decode(size_t& outTreeStart)
{
    outTreeStart = 0;
    if (!bytes || byteCount < 8)
        return KEL_ERROR("@kelstr_CObject_loadTree_Header Compiled tree data of %1 bytes is too "
                         "short for its header.",
                         static_cast<unsigned long long>(byteCount));
    const uint32_t count = readLe32(bytes);
    const uint32_t treeOffset = readLe32(bytes + 4);
    // The offset table and the root node must lie inside the data before anything is sized by
    // them: a damaged count must not turn into a huge allocation.
    if (8 + 4 * static_cast<uint64_t>(count) > byteCount)
        return KEL_ERROR("@kelstr_CObject_loadTree_StringCount Compiled tree string count %1 "
                         "exceeds its data.",
                         count);
    if (8 + static_cast<uint64_t>(treeOffset) > byteCount)
        return KEL_ERROR("@kelstr_CObject_loadTree_TreeOffset Compiled tree offset %1 lies "
                         "beyond its data.",
                         treeOffset);
    strings.clear();
    strings.reserve(static_cast<int>(count));
    for (uint32_t i = 0; i < count; ++i)
    {
        const uint64_t start = 8 + static_cast<uint64_t>(readLe32(bytes + 8 + 4 * i));
        const void* terminator =
            start < byteCount ? std::memchr(bytes + start, 0, byteCount - start) : nullptr;
        if (!terminator)
            return KEL_ERROR("@kelstr_CObject_loadTree_String Compiled tree string %1 is not "
                             "terminated inside its data.",
                             i);
        const char* text = reinterpret_cast<const char*>(bytes + start);
        strings.add(CString(text, static_cast<int>(static_cast<const char*>(terminator) - text)));
    }
    outTreeStart = 8 + static_cast<size_t>(treeOffset);
    return nullptr;
}

} // namespace kel
