#include "CCompiledTreeWriter.h"

#include <map>

namespace kel
{

namespace
{

constexpr size_t kMaxStrings = 65536;
constexpr size_t kMaxCount = 65535;

class CStringIndex
{
public:
    CStringIndex() { add(""); }

    void add(const std::string& text)
    {
        if (indices.emplace(text, strings.size()).second)
            strings.push_back(text);
    }
    uint16_t get(const std::string& text) const { return static_cast<uint16_t>(indices.at(text)); }

    std::vector<std::string> strings;

private:
    std::map<std::string, size_t> indices;
};

// The walk here is the order in which write meets the strings.
void collect(const CCompiledNode& node, CStringIndex& index)
{
    index.add(node.tag);
    index.add(node.name);
    if (node.isTemplate)
        index.add(node.classTag);
    for (const auto& [key, value] : node.attrs)
    {
        index.add(key);
        index.add(value);
    }
    for (const CCompiledNode& child : node.children)
        collect(child, index);
}

void putU16(std::vector<uint8_t>& out, uint16_t value)
{
    out.push_back(static_cast<uint8_t>(value));
    out.push_back(static_cast<uint8_t>(value >> 8));
}

void putU32(std::vector<uint8_t>& out, uint32_t value)
{
    for (int shift = 0; shift < 32; shift += 8)
        out.push_back(static_cast<uint8_t>(value >> shift));
}

void patchU32(std::vector<uint8_t>& out, size_t at, uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        out[at + static_cast<size_t>(i)] = static_cast<uint8_t>(value >> (8 * i));
}

CError* writeNode(const CCompiledNode& node, const CStringIndex& index, std::vector<uint8_t>& out)
{
    putU16(out, index.get(node.tag));
    putU16(out, index.get(node.name));
    out.push_back(node.isTemplate ? 1 : 0);
    if (node.isTemplate)
    {
        if (node.children.size() != 1 || !node.attrs.empty())
            return KEL_ERROR(
                "@kelstr_CCompiledTreeWriter_write_TemplateBody Template '%1' must have "
                "exactly one body and no attributes.",
                node.name.c_str());
        putU16(out, index.get(node.classTag));
        const size_t sizeAt = out.size();
        putU32(out, 0);
        KEL_CHECK(writeNode(node.children[0], index, out));
        const size_t bodySize = out.size() - sizeAt - 4;
        if (bodySize > UINT32_MAX)
            return KEL_ERROR(
                "@kelstr_CCompiledTreeWriter_write_TemplateSize Template '%1' is too large.",
                node.name.c_str());
        patchU32(out, sizeAt, static_cast<uint32_t>(bodySize));
        return nullptr;
    }
    if (node.attrs.size() > kMaxCount || node.children.size() > kMaxCount)
        return KEL_ERROR(
            "@kelstr_CCompiledTreeWriter_write_TooMany Node '%1' ('%2') has more than 65535 "
            "attributes or children.",
            node.name.c_str(), node.tag.c_str());
    putU16(out, static_cast<uint16_t>(node.attrs.size()));
    for (const auto& [key, value] : node.attrs)
    {
        putU16(out, index.get(key));
        putU16(out, index.get(value));
    }
    putU16(out, static_cast<uint16_t>(node.children.size()));
    for (const CCompiledNode& child : node.children)
        KEL_CHECK(writeNode(child, index, out));
    return nullptr;
}

} // namespace

std::vector<std::string> CCompiledTreeWriter::collectStrings(const CCompiledNode& root)
{
    CStringIndex index;
    collect(root, index);
    return index.strings;
}

CError* CCompiledTreeWriter::write(const CCompiledNode& root, std::vector<uint8_t>& out)
{
    CStringIndex index;
    collect(root, index);
    const std::vector<std::string>& strings = index.strings;
    if (strings.size() > kMaxStrings)
        return KEL_ERROR(
            "@kelstr_CCompiledTreeWriter_write_TooManyStrings The tree has %1 different "
            "strings; at most 65536 fit.",
            static_cast<unsigned long long>(strings.size()));

    out.clear();
    putU32(out, static_cast<uint32_t>(strings.size()));
    const size_t treeOffsetAt = out.size();
    putU32(out, 0);
    // Offsets count from the start of the offset table, that is from byte 8.
    size_t offset = 4 * strings.size();
    for (const std::string& text : strings)
    {
        putU32(out, static_cast<uint32_t>(offset));
        offset += text.size() + 1;
    }
    for (const std::string& text : strings)
    {
        out.insert(out.end(), text.begin(), text.end());
        out.push_back(0);
    }
    if (offset > UINT32_MAX)
        return KEL_ERROR(
            "@kelstr_CCompiledTreeWriter_write_TooLarge The string table is too large.");
    patchU32(out, treeOffsetAt, static_cast<uint32_t>(offset));
    KEL_CHECK(writeNode(root, index, out));
    return nullptr;
}

} // namespace kel
