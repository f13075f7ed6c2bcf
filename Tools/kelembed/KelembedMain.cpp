// kelembed: writes a C++ source holding files as embedded resource blobs (a u32 length and the
// bytes) and the table that names them, for CResourceTable::install.
//
//   kelembed -o OUT.cpp --namespace NS [NAME=FILE]...
//
// The table is NS::kResourceTable, in the order given; the same input gives the same output.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace
{

constexpr size_t kWrapColumn = 96;

struct CInput
{
    std::string name;
    std::string path;
};

// Blobs are written as string literals, not as lists of numbers: compilers take a literal of
// megabytes in a fraction of the time and memory that an initializer list of the same bytes costs.
// '?' is escaped against trigraphs.
void appendLiteral(std::string& out, const unsigned char* bytes, size_t count, size_t& column,
                   size_t wrapColumn)
{
    for (size_t i = 0; i < count; ++i)
    {
        if (column >= wrapColumn)
        {
            out += "\"\n    \"";
            column = 0;
        }
        const unsigned char c = bytes[i];
        if (c >= 32 && c < 127 && c != '"' && c != '\\' && c != '?')
        {
            out += static_cast<char>(c);
            ++column;
        }
        else
        {
            // The shortest escape, unless an octal digit follows and would join it.
            const bool digitFollows = i + 1 < count && bytes[i + 1] >= '0' && bytes[i + 1] <= '7';
            char escaped[8];
            const int length =
                std::snprintf(escaped, sizeof escaped, digitFollows ? "\\%03o" : "\\%o", c);
            out += escaped;
            column += static_cast<size_t>(length);
        }
    }
}

// A name as a C++ string literal on one line (it also stands in a comment).
std::string quote(const std::string& text)
{
    std::string out = "\"";
    size_t column = 0;
    appendLiteral(out, reinterpret_cast<const unsigned char*>(text.data()), text.size(), column,
                  SIZE_MAX);
    return out + "\"";
}

} // namespace

int main(int argc, char** argv)
{
    std::string outPath;
    std::string nameSpace;
    std::vector<CInput> inputs;
    for (int i = 1; i < argc; ++i)
    {
        const std::string arg = argv[i];
        const size_t equals = arg.find('=');
        if (arg == "-o" && i + 1 < argc)
            outPath = argv[++i];
        else if (arg == "--namespace" && i + 1 < argc)
            nameSpace = argv[++i];
        else if (equals != std::string::npos && equals > 0 && arg[0] != '-')
            inputs.push_back({arg.substr(0, equals), arg.substr(equals + 1)});
        else
        {
            std::fputs("usage: kelembed -o OUT.cpp --namespace NS [NAME=FILE]...\n", stderr);
            return 2;
        }
    }
    if (outPath.empty() || nameSpace.empty())
    {
        std::fputs("usage: kelembed -o OUT.cpp --namespace NS [NAME=FILE]...\n", stderr);
        return 2;
    }

    std::string out = "// Made by kelembed at build time from the build's resource list.\n"
                      "#include \"Core/CResourceTable.h\"\n\n"
                      "namespace " +
                      nameSpace + "\n{\n\nnamespace\n{\n";
    for (size_t index = 0; index < inputs.size(); ++index)
    {
        std::ifstream stream(inputs[index].path, std::ios::binary);
        if (!stream)
        {
            std::fprintf(stderr, "kelembed: cannot read '%s' (resource '%s')\n",
                         inputs[index].path.c_str(), inputs[index].name.c_str());
            return 1;
        }
        std::ostringstream contents;
        contents << stream.rdbuf();
        const std::string bytes = contents.str();
        if (bytes.size() > UINT32_MAX)
        {
            std::fprintf(stderr, "kelembed: '%s' is too large\n", inputs[index].path.c_str());
            return 1;
        }
        const uint32_t size = static_cast<uint32_t>(bytes.size());
        std::string blob = {static_cast<char>(size), static_cast<char>(size >> 8),
                            static_cast<char>(size >> 16), static_cast<char>(size >> 24)};
        blob += bytes;
        out += "\n// " + quote(inputs[index].name) + ", " + std::to_string(size) + " bytes\n";
        // The literal's own terminating zero lies behind the blob and is never read.
        out += "const uint8_t kBlob" + std::to_string(index) + "[] =\n    \"";
        size_t column = 0;
        appendLiteral(out, reinterpret_cast<const unsigned char*>(blob.data()), blob.size(), column,
                      kWrapColumn);
        out += "\";\n";
    }
    out += "\n} // namespace\n\nextern const ::kel::CResourceEntry kResourceTable[];\n"
           "const ::kel::CResourceEntry kResourceTable[] = {\n";
    for (size_t index = 0; index < inputs.size(); ++index)
        out += "    {kBlob" + std::to_string(index) + ", " + quote(inputs[index].name) + "},\n";
    out += "    {nullptr, nullptr},\n};\n\n} // namespace " + nameSpace + "\n";

    std::ofstream stream(outPath, std::ios::binary | std::ios::trunc);
    stream << out;
    if (!stream.flush())
    {
        std::fprintf(stderr, "kelembed: cannot write '%s'\n", outPath.c_str());
        return 1;
    }
    return 0;
}
