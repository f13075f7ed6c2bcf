#include "CCompiledTreeReader.h"

#include <cstring>

namespace kel
{

namespace
{

uint16_t u16At(const uint8_t* bytes, size_t at)
{
    return static_cast<uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

uint32_t u32At(const uint8_t* bytes, size_t at)
{
    return static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 |
           static_cast<uint32_t>(bytes[at + 2]) << 16 | static_cast<uint32_t>(bytes[at + 3]) << 24;
}

} // namespace

CError* CCompiledTreeReader::need(size_t at, size_t end, size_t count) const
{
    if (at > end || end - at < count)
        return KEL_ERROR("@kelstr_CCompiledTreeReader_read_Truncated The tree ends early: %1 bytes "
                         "wanted at offset %2.",
                         static_cast<unsigned long long>(count),
                         static_cast<unsigned long long>(at));
    return nullptr;
}

CError* CCompiledTreeReader::readString(size_t& at, size_t end, std::string& out)
{
    KEL_CHECK(need(at, end, 2));
    const uint16_t index = u16At(bytes, at);
    if (index >= strings.size())
        return KEL_ERROR(
            "@kelstr_CCompiledTreeReader_read_BadIndex String index %1 at offset %2 is "
            "beyond the %3 strings.",
            index, static_cast<unsigned long long>(at),
            static_cast<unsigned long long>(strings.size()));
    out = strings[index];
    at += 2;
    return nullptr;
}

CError* CCompiledTreeReader::read(const uint8_t* data, size_t size, CCompiledNode& outRoot)
{
    bytes = data;
    strings.clear();
    outRoot = CCompiledNode();
    KEL_CHECK(need(0, size, 8));
    const uint64_t count = u32At(data, 0);
    const uint64_t treeOffset = u32At(data, 4);
    if (count > 65536 || 8 + 4 * count > size)
        return KEL_ERROR(
            "@kelstr_CCompiledTreeReader_read_BadCount The string table of %1 entries does "
            "not fit the %2 bytes.",
            static_cast<unsigned long long>(count), static_cast<unsigned long long>(size));
    strings.reserve(count);
    for (uint64_t i = 0; i < count; ++i)
    {
        const uint64_t start = 8 + static_cast<uint64_t>(u32At(data, 8 + 4 * i));
        const void* terminator =
            start < size ? std::memchr(data + start, 0, size - start) : nullptr;
        if (!terminator)
            return KEL_ERROR(
                "@kelstr_CCompiledTreeReader_read_BadString String %1 at offset %2 does not "
                "end inside the data.",
                static_cast<unsigned long long>(i), static_cast<unsigned long long>(start));
        strings.emplace_back(reinterpret_cast<const char*>(data + start),
                             static_cast<const uint8_t*>(terminator) - (data + start));
    }
    if (8 + treeOffset > size)
        return KEL_ERROR(
            "@kelstr_CCompiledTreeReader_read_BadTreeOffset The tree offset %1 lies beyond "
            "the %2 bytes.",
            static_cast<unsigned long long>(treeOffset), static_cast<unsigned long long>(size));
    size_t at = static_cast<size_t>(8 + treeOffset);
    KEL_CHECK(readNode(at, size, 0, outRoot));
    if (at != size)
        return KEL_ERROR(
            "@kelstr_CCompiledTreeReader_read_Trailing The tree ends at offset %1, before "
            "the end of the data (%2 bytes).",
            static_cast<unsigned long long>(at), static_cast<unsigned long long>(size));
    return nullptr;
}

CError* CCompiledTreeReader::readNode(size_t& at, size_t end, int depth, CCompiledNode& out)
{
    if (depth > kMaxDepth)
        return KEL_ERROR(
            "@kelstr_CCompiledTreeReader_read_TooDeep Nodes nest deeper than %1 at offset "
            "%2.",
            kMaxDepth, static_cast<unsigned long long>(at));
    KEL_CHECK(readString(at, end, out.tag));
    KEL_CHECK(readString(at, end, out.name));
    KEL_CHECK(need(at, end, 1));
    out.isTemplate = bytes[at++] != 0;
    if (out.isTemplate)
    {
        KEL_CHECK(readString(at, end, out.classTag));
        KEL_CHECK(need(at, end, 4));
        const size_t bodySize = u32At(bytes, at);
        at += 4;
        KEL_CHECK(need(at, end, bodySize));
        const size_t bodyEnd = at + bodySize;
        out.children.emplace_back();
        KEL_CHECK(readNode(at, bodyEnd, depth + 1, out.children.back()));
        if (at != bodyEnd)
            return KEL_ERROR(
                "@kelstr_CCompiledTreeReader_read_BodySize The body of template '%1' ends "
                "at offset %2, not at %3 as its size says.",
                out.name.c_str(), static_cast<unsigned long long>(at),
                static_cast<unsigned long long>(bodyEnd));
        if (out.children.back().tag != out.classTag)
            return KEL_ERROR(
                "@kelstr_CCompiledTreeReader_read_BodyClass The body of template '%1' is "
                "'%2', not its class '%3'.",
                out.name.c_str(), out.children.back().tag.c_str(), out.classTag.c_str());
        return nullptr;
    }
    KEL_CHECK(need(at, end, 2));
    const uint16_t attrCount = u16At(bytes, at);
    at += 2;
    KEL_CHECK(need(at, end, 4 * size_t(attrCount)));
    out.attrs.resize(attrCount);
    for (auto& [key, value] : out.attrs)
    {
        KEL_CHECK(readString(at, end, key));
        KEL_CHECK(readString(at, end, value));
    }
    KEL_CHECK(need(at, end, 2));
    const uint16_t childCount = u16At(bytes, at);
    at += 2;
    // Each child takes five bytes at least: a huge count over little data fails here. Children
    // are added as they are read, so what is allocated never runs ahead of the data.
    KEL_CHECK(need(at, end, 5 * size_t(childCount)));
    for (uint16_t i = 0; i < childCount; ++i)
    {
        out.children.emplace_back();
        KEL_CHECK(readNode(at, end, depth + 1, out.children.back()));
    }
    return nullptr;
}

} // namespace kel
