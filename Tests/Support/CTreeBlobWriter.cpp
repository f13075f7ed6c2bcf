#include "Support/CTreeBlobWriter.h"

#include <algorithm>

#include <map>

namespace kel
{

namespace
{

class Layout
{
public:
    Layout() { indexOf(""); }

    uint16_t indexOf(const std::string& text)
    {
        auto found = indices.find(text);
        if (found != indices.end())
            return found->second;
        const uint16_t index = static_cast<uint16_t>(strings.size());
        indices.emplace(text, index);
        strings.push_back(text);
        return index;
    }

    void putU8(std::vector<uint8_t>& out, uint8_t value) { out.push_back(value); }
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

    void putNode(std::vector<uint8_t>& out, const CTreeBlobWriter::Node& node)
    {
        putU16(out, indexOf(node.tag));
        putU16(out, indexOf(node.name));
        if (node.templateBody)
        {
            putU8(out, 1);
            putU16(out, indexOf(node.templateBody->tag));
            std::vector<uint8_t> body;
            putNode(body, *node.templateBody);
            putU32(out, static_cast<uint32_t>(body.size()));
            out.insert(out.end(), body.begin(), body.end());
            return;
        }
        putU8(out, 0);
        putU16(out, static_cast<uint16_t>(node.attrs.size()));
        for (const auto& [key, value] : node.attrs)
        {
            putU16(out, indexOf(key));
            putU16(out, indexOf(value));
        }
        putU16(out, static_cast<uint16_t>(node.children.size()));
        for (const auto& child : node.children)
            putNode(out, *child);
    }

    std::vector<std::string> strings;

private:
    std::map<std::string, uint16_t> indices;
};

} // namespace

CTreeBlobWriter::Node& CTreeBlobWriter::Node::add(const std::string& childTag,
                                                  const std::string& childName)
{
    children.push_back(std::make_unique<Node>(childTag, childName));
    return *children.back();
}

CTreeBlobWriter::Node& CTreeBlobWriter::Node::addTemplate(const std::string& templateName,
                                                          const std::string& classTag)
{
    Node& definition = add("template", templateName);
    definition.templateBody = std::make_unique<Node>(classTag, templateName);
    return *definition.templateBody;
}

std::vector<uint8_t> CTreeBlobWriter::write(const Node& root)
{
    Layout layout;
    std::vector<uint8_t> nodes;
    layout.putNode(nodes, root);

    std::vector<uint8_t> out;
    const uint32_t count = static_cast<uint32_t>(layout.strings.size());
    std::vector<uint8_t> text;
    std::vector<uint32_t> offsets;
    for (const std::string& entry : layout.strings)
    {
        offsets.push_back(4 * count + static_cast<uint32_t>(text.size()));
        text.insert(text.end(), entry.begin(), entry.end());
        text.push_back(0);
    }
    layout.putU32(out, count);
    layout.putU32(out, 4 * count + static_cast<uint32_t>(text.size()));
    for (uint32_t offset : offsets)
        layout.putU32(out, offset);
    out.insert(out.end(), text.begin(), text.end());
    out.insert(out.end(), nodes.begin(), nodes.end());
    return out;
}

std::vector<uint8_t> CTreeBlobWriter::writeResource(const Node& root)
{
    const std::vector<uint8_t> tree = write(root);
    const uint32_t size = static_cast<uint32_t>(tree.size());
    std::vector<uint8_t> out(4 + tree.size());
    for (int byte = 0; byte < 4; ++byte)
        out[byte] = static_cast<uint8_t>(size >> (8 * byte));
    std::copy(tree.begin(), tree.end(), out.begin() + 4);
    return out;
}

} // namespace kel
