#include "CCompiledTreePrinter.h"

#include <cstdio>

namespace kel
{

namespace
{

void appendEscaped(std::string& out, const std::string& text)
{
    for (unsigned char c : text)
    {
        if (c == '"' || c == '\\')
        {
            out += '\\';
            out += static_cast<char>(c);
        }
        else if (c < 32 || c == 127)
        {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", c);
            out += escaped;
        }
        else
            out += static_cast<char>(c);
    }
}

void printNode(const CCompiledNode& node, int depth, std::string& out)
{
    out.append(2 * static_cast<size_t>(depth), ' ');
    if (depth == 0 && node.tag.empty())
        out += "(root)";
    else
        appendEscaped(out, node.tag);
    if (!node.name.empty())
    {
        out += " [";
        appendEscaped(out, node.name);
        out += ']';
    }
    if (node.isTemplate)
    {
        out += " of ";
        appendEscaped(out, node.classTag);
    }
    for (const auto& [key, value] : node.attrs)
    {
        out += ' ';
        appendEscaped(out, key);
        out += "=\"";
        appendEscaped(out, value);
        out += '"';
    }
    out += '\n';
    for (const CCompiledNode& child : node.children)
        printNode(child, depth + 1, out);
}

} // namespace

std::string CCompiledTreePrinter::print(const CCompiledNode& root)
{
    std::string out;
    printNode(root, 0, out);
    return out;
}

} // namespace kel
