#include "Support/CTreeBlobWriter.h"

#include "CCompiledTreeWriter.h"

#include <gtest/gtest.h>

namespace kel
{

namespace
{

CCompiledNode toCompiled(const CTreeBlobWriter::Node& node)
{
    CCompiledNode out;
    out.tag = node.tag;
    out.name = node.name;
    if (node.templateBody)
    {
        out.isTemplate = true;
        out.classTag = node.templateBody->tag;
        out.children.push_back(toCompiled(*node.templateBody));
        return out;
    }
    out.attrs = node.attrs;
    out.children.reserve(node.children.size());
    for (const auto& child : node.children)
        out.children.push_back(toCompiled(*child));
    return out;
}

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
    std::vector<uint8_t> out;
    CError* error = CCompiledTreeWriter::write(toCompiled(root), out);
    if (error)
    {
        ADD_FAILURE() << "the test tree does not fit the compiled form: " << error->getMessage();
        delete error;
    }
    return out;
}

std::vector<uint8_t> CTreeBlobWriter::writeResource(const Node& root)
{
    const std::vector<uint8_t> tree = write(root);
    const uint32_t size = static_cast<uint32_t>(tree.size());
    std::vector<uint8_t> out;
    out.reserve(4 + tree.size());
    for (int byte = 0; byte < 4; ++byte)
        out.push_back(static_cast<uint8_t>(size >> (8 * byte)));
    out.insert(out.end(), tree.begin(), tree.end());
    return out;
}

} // namespace kel
