#pragma once

#include <string>
#include <utility>
#include <vector>

namespace kel
{

// One node of a compiled object tree as the offline tools hold it: what the compiler makes from
// a source, what the writer turns into the binary form and what the reader gets back from it.
// An ordinary node has attributes and children; a template definition (tag "template", its name
// the template's) has a class tag and exactly one child, its body. Plain data. [any thread]
struct CCompiledNode
{
    std::string tag;
    std::string name;
    bool isTemplate = false;
    std::string classTag;
    std::vector<std::pair<std::string, std::string>> attrs;
    std::vector<CCompiledNode> children;

    bool operator==(const CCompiledNode& other) const
    {
        return tag == other.tag && name == other.name && isTemplate == other.isTemplate &&
               classTag == other.classTag && attrs == other.attrs && children == other.children;
    }
    bool operator!=(const CCompiledNode& other) const { return !(*this == other); }
};

} // namespace kel
