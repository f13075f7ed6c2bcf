#pragma once

#include "Core/CError.h"
#include "Core/CString.h"
#include "Core/CTreeStringTable.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

// A cursor over the nodes of a compiled tree (or one template body within it): unaligned
// little-endian fields read byte by byte, string indices resolved through the tree's string table.
// Every read is checked against the end of its range, so damaged data gives an error. The node
// reader itself is CObject's (readNode), which walks the tree with this cursor. Lives for one
// read. [set-up thread]
class CTreeReader
{
public:
    // Deepest nesting of nodes accepted; the product's trees stay far below it.
    static constexpr int kMaxDepth = 256;

    // Reads bytes [start, end) of the table's data; the table must outlive the reader.
    CTreeReader(CTreeStringTable* table, const uint8_t* start, const uint8_t* end);

    CTreeStringTable* getStrings() const { return strings; }
    const uint8_t* getCursor() const { return cursor; }
    size_t getRemaining() const { return static_cast<size_t>(end - cursor); }

    [[nodiscard]] CError* readUInt8(uint8_t& out);
    [[nodiscard]] CError* readUInt16(uint16_t& out);
    [[nodiscard]] CError* readUInt32(uint32_t& out);
    // A u16 string index, resolved.
    [[nodiscard]] CError* readString(const CString*& out);
    [[nodiscard]] CError* skip(size_t count);

    // Nesting guard around the reading of one node.
    [[nodiscard]] CError* enterNode();
    void leaveNode() { --depth; }

private:
    [[nodiscard]] CError* makeTruncatedError(size_t wanted) const;

    CTreeStringTable* strings;
    const uint8_t* base;
    const uint8_t* cursor;
    const uint8_t* end;
    int depth = 0;
};

} // namespace kel
