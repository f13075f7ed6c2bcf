#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

// The strings of one compiled tree, decoded once per load, and the bytes the tree lies in.
// Reference-counted: the load holds one reference, and every template definition read from the
// tree holds one, so that template bodies can still be read when they are instantiated much later.
// The last release deletes it. [set-up thread]
class CTreeStringTable : public CCheckedObject
{
public:
    // Count 1. The bytes are used in place and must outlive the table.
    CTreeStringTable(const uint8_t* data, size_t size);
    // Count 1. Takes a CAllocator block of the tree's bytes and frees it with the table.
    static CTreeStringTable* adoptBytes(uint8_t* ownedBytes, size_t size);

    void addRef() { ++refCount; }
    void release();

    // Checks the header and decodes the string table; answers where the root node starts.
    [[nodiscard]] CError* decode(size_t& outTreeStart);

    const uint8_t* getData() const { return bytes; }
    size_t getSize() const { return byteCount; }
    bool isInPlace() const { return ownedBytes == nullptr; }
    int getCount() const { return strings.getCount(); }
    // Index must be below getCount().
    const CString& getString(int index) const { return strings[index]; }

private:
    ~CTreeStringTable() override;

    const uint8_t* bytes;
    size_t byteCount;
    uint8_t* ownedBytes = nullptr;
    int refCount = 1;
    CArray<CString, 1> strings;
};

} // namespace kel
