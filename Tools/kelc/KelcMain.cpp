// kelc: compiles an object tree source into the binary form that is embedded in the plug-in.
//
//   kelc [-I DIR]... -o OUT [--depfile FILE] SOURCE
#include "CTreeCompiler.h"
#include "CCompiledTreeWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

using namespace kel;

namespace
{

void usage(FILE* out)
{
    std::fputs("usage: kelc [-I DIR]... -o OUT [--depfile FILE] SOURCE\n"
               "  Compiles an object tree source (XML rooted in <kel>) into its binary form.\n"
               "  -I DIR           also search DIR for included files (after the including\n"
               "                   file's folder), in the order given\n"
               "  -o OUT           the compiled tree\n"
               "  --depfile FILE   write a make-style list of the files read, for rebuilds\n",
               out);
}

// Make syntax: blanks, '#' and '$' in names need escapes.
std::string escapeForMake(const std::string& path)
{
    std::string out;
    for (char c : path)
    {
        if (c == ' ' || c == '#' || c == '\\')
            out += '\\';
        if (c == '$')
            out += '$';
        out += c;
    }
    return out;
}

bool writeFile(const std::string& path, const void* data, size_t size)
{
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    return static_cast<bool>(stream.flush());
}

} // namespace

int main(int argc, char** argv)
{
    CTreeCompiler compiler;
    std::string outPath;
    std::string depfilePath;
    std::string sourcePath;
    for (int i = 1; i < argc; ++i)
    {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "-h" || arg == "--help")
        {
            usage(stdout);
            return 0;
        }
        if (arg == "-o" && hasValue)
            outPath = argv[++i];
        else if (arg == "--depfile" && hasValue)
            depfilePath = argv[++i];
        else if (arg == "-I" && hasValue)
            compiler.addIncludeDir(argv[++i]);
        else if (arg.size() > 2 && arg.compare(0, 2, "-I") == 0)
            compiler.addIncludeDir(arg.substr(2));
        else if (arg.empty() || arg[0] == '-' || !sourcePath.empty())
        {
            usage(stderr);
            return 2;
        }
        else
            sourcePath = arg;
    }
    if (sourcePath.empty() || outPath.empty())
    {
        usage(stderr);
        return 2;
    }

    CCompiledNode root;
    std::vector<uint8_t> bytes;
    CError* error = compiler.compile(sourcePath, root);
    if (!error)
        error = CCompiledTreeWriter::write(root, bytes);
    if (error)
    {
        std::fprintf(stderr, "kelc: %s\n", error->getMessage());
        delete error;
        return 1;
    }
    if (!writeFile(outPath, bytes.data(), bytes.size()))
    {
        std::fprintf(stderr, "kelc: cannot write '%s': %s\n", outPath.c_str(),
                     std::strerror(errno));
        return 1;
    }
    if (!depfilePath.empty())
    {
        std::string text = escapeForMake(outPath) + ":";
        for (const std::string& dependency : compiler.getDependencies())
            text += " \\\n  " + escapeForMake(dependency);
        text += "\n";
        if (!writeFile(depfilePath, text.data(), text.size()))
        {
            std::fprintf(stderr, "kelc: cannot write '%s'\n", depfilePath.c_str());
            return 1;
        }
    }
    return 0;
}
