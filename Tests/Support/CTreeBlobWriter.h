#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kel
{

// Test-side builder of compiled trees: a tree of nodes made in a few chained calls, laid out by
// the tree compiler's own writer (CCompiledTreeWriter), so the tests read exactly what the build
// embeds. Template definitions carry their body node, whose tag is the template's class tag.
//
//     CTreeBlobWriter::Node root;
//     root.add("core:object", "settings").attr("mode", "1");
//     root.addTemplate("ui:thing", "core:object").attr("width", "10");
//     std::vector<uint8_t> blob = CTreeBlobWriter::write(root);
class CTreeBlobWriter
{
public:
    class Node
    {
    public:
        Node() = default;
        Node(std::string nodeTag, std::string nodeName)
            : tag(std::move(nodeTag)), name(std::move(nodeName))
        {
        }

        Node& attr(const std::string& key, const std::string& value)
        {
            attrs.emplace_back(key, value);
            return *this;
        }
        // A child node; the reference stays valid while the tree lives.
        Node& add(const std::string& childTag, const std::string& childName = std::string());
        // A template definition child named templateName; answers its body node (tag classTag).
        Node& addTemplate(const std::string& templateName, const std::string& classTag);

        std::string tag;
        std::string name;
        std::vector<std::pair<std::string, std::string>> attrs;
        std::vector<std::unique_ptr<Node>> children;
        // Set on a template definition: the body it holds.
        std::unique_ptr<Node> templateBody;
    };

    // The tree bytes, as found behind a resource blob's length.
    static std::vector<uint8_t> write(const Node& root);
    // The same with the u32 length in front, as an embedded resource table row wants it.
    static std::vector<uint8_t> writeResource(const Node& root);
};

} // namespace kel
