#pragma once

#include "CCompiledNode.h"

#include "Core/CError.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kel
{

// Decodes a compiled object tree for the offline tools (kelres, the tests). Unlike the run-time
// loader, which trusts the embedded blobs, it checks everything: every offset and length against
// the data, every string index against the table, that a template body is exactly one node
// whose tag is the template's class, and that the tree ends where the data ends. Owned by whoever
// made it. [any thread]
class CCompiledTreeReader
{
public:
    // Deeper trees are refused rather than walked to the end of the stack.
    static constexpr int kMaxDepth = 512;

    // data holds the tree without the blob's length prefix.
    [[nodiscard]] CError* read(const uint8_t* data, size_t size, CCompiledNode& outRoot);

    // The string table of the last read, index 0 first.
    const std::vector<std::string>& getStrings() const { return strings; }

private:
    [[nodiscard]] CError* readNode(size_t& at, size_t end, int depth, CCompiledNode& out);
    [[nodiscard]] CError* readString(size_t& at, size_t end, std::string& out);
    [[nodiscard]] CError* need(size_t at, size_t end, size_t count) const;

    const uint8_t* bytes = nullptr;
    std::vector<std::string> strings;
};

} // namespace kel
