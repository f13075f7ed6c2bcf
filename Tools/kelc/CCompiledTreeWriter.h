#pragma once

#include "CCompiledNode.h"

#include "Core/CError.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kel
{

// Turns a tree into the compiled binary form: u32 string count, u32 tree offset, the string
// offset table (offsets counted from the table's start), the NUL-terminated strings and the
// nodes. Strings are stored once each, in order of first use by a walk of the tree, with the
// empty string always at index 0, so the same tree always gives the same bytes. The output has
// no length prefix; embedding adds it. [any thread]
class CCompiledTreeWriter
{
public:
    // Fails when the tree does not fit the format: more than 65536 strings, more than 65535
    // attributes or children in a node, a template without exactly one body.
    [[nodiscard]] static CError* write(const CCompiledNode& root, std::vector<uint8_t>& out);

    // The string table write would use for root.
    static std::vector<std::string> collectStrings(const CCompiledNode& root);
};

} // namespace kel
