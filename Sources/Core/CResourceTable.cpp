#include "Core/CResourceTable.h"

#include "Core/CTreeMap.h"

#include <cstring>
#include <new>

namespace kel
{

namespace
{

// The map keeps the table's own name pointers: the rows are static, so no name is copied.
struct CNameKey
{
    const char* text;
    bool operator<(const CNameKey& other) const { return std::strcmp(text, other.text) < 0; }
};

struct CBlob
{
    const uint8_t* data;
    size_t size;
};

using CResourceMap = CTreeMap<CNameKey, CBlob>;

struct CInstalled
{
    CResourceMap map;
    const CResourceEntry* table = nullptr;
};

// Built on first use and never destroyed, like the allocator under it: a static object of
// another module may still look a resource up while this file's statics are torn down.
CInstalled& installed()
{
    alignas(CInstalled) static unsigned char storage[sizeof(CInstalled)];
    static CInstalled* const instance = new (storage) CInstalled();
    return *instance;
}

} // namespace

uint32_t CResourceTable::blobSize(const uint8_t* blob)
{
    // Byte by byte: blobs sit in the library at any alignment.
    return static_cast<uint32_t>(blob[0]) | static_cast<uint32_t>(blob[1]) << 8 |
           static_cast<uint32_t>(blob[2]) << 16 | static_cast<uint32_t>(blob[3]) << 24;
}

void CResourceTable::install(const CResourceEntry* table)
{
    CInstalled& state = installed();
    state.map.clear();
    state.table = table;
    for (const CResourceEntry* row = table; row && row->data; ++row)
        state.map.insert(CNameKey{row->name ? row->name : ""},
                         CBlob{row->data + 4, blobSize(row->data)});
}

const CResourceEntry* CResourceTable::getInstalled()
{
    return installed().table;
}

bool CResourceTable::find(const char* name, const uint8_t*& outData, size_t& outSize)
{
    if (!name)
        return false;
    const CBlob* blob = installed().map.find(CNameKey{name});
    if (!blob)
        return false;
    outData = blob->data;
    outSize = blob->size;
    return true;
}

int CResourceTable::getCount()
{
    return installed().map.getCount();
}

void CResourceTable::forEach(void (*visit)(const char* name, const uint8_t* data, size_t size,
                                           void* context),
                             void* context)
{
    for (const auto& [key, blob] : installed().map)
        visit(key.text, blob.data, blob.size, context);
}

} // namespace kel
