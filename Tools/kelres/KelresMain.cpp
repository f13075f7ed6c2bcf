// kelres: looks at the embedded resources of this build and at compiled object trees.
#include "CCompiledTreePrinter.h"
#include "CCompiledTreeReader.h"

#include "Core/CResourceReader.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

using namespace kel;

namespace
{

const char* const kUsage =
    "usage: kelres list PLUGIN.so|--builtin\n"
    "       kelres print NAME|FILE\n"
    "\n"
    "  list    the embedded resources, name and size in bytes, in name order. The plug-in\n"
    "          exports nothing but its entry points, so its table cannot be reached from\n"
    "          outside: kelres lists the table built into itself, which is the one of the\n"
    "          plug-in of the same build. A PLUGIN.so given is only checked to exist.\n"
    "  print   a compiled object tree as indented text: tags, [names], key=\"value\"\n"
    "          attributes, templates with their bodies. NAME is looked up among the\n"
    "          embedded resources first; anything else is read as a file made by kelc.\n";

int fail(CError* error)
{
    std::fprintf(stderr, "kelres: %s\n", error->getMessage());
    delete error;
    return 1;
}

int list(const char* source)
{
    if (std::strcmp(source, "--builtin") != 0)
    {
        if (FILE* file = std::fopen(source, "rb"))
            std::fclose(file);
        else
        {
            std::fprintf(stderr, "kelres: cannot open '%s'\n", source);
            return 1;
        }
        std::fprintf(stderr, "kelres: listing the table of this build (see --help)\n");
    }
    size_t total = 0;
    CResourceTable::forEach(
        [](const char* name, const uint8_t*, size_t size, void* context)
        {
            std::printf("%10zu  %s\n", size, name);
            *static_cast<size_t*>(context) += size;
        },
        &total);
    std::printf("%d resources, %zu bytes\n", CResourceTable::getCount(), total);
    return 0;
}

int print(const char* name)
{
    CResourceReader reader;
    if (CError* error = reader.open(name))
        return fail(error);
    int64_t size = 0;
    if (CError* error = reader.getSize(size))
        return fail(error);
    std::vector<uint8_t> buffer;
    const uint8_t* data = reader.getData();
    if (!data)
    {
        buffer.resize(static_cast<size_t>(size));
        if (CError* error = reader.read(buffer.data(), buffer.size()))
            return fail(error);
        data = buffer.data();
    }
    CCompiledTreeReader treeReader;
    CCompiledNode root;
    if (CError* error = treeReader.read(data, static_cast<size_t>(size), root))
        return fail(error);
    std::printf("# %s: %zu strings, %lld bytes\n", name, treeReader.getStrings().size(),
                static_cast<long long>(size));
    std::fputs(CCompiledTreePrinter::print(root).c_str(), stdout);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CResourceTable::install(resources::kResourceTable);
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "-h" || command == "--help")
    {
        std::fputs(kUsage, stdout);
        return 0;
    }
    if (argc == 3 && command == "list")
        return list(argv[2]);
    if (argc == 3 && command == "print")
        return print(argv[2]);
    std::fputs(kUsage, stderr);
    return 2;
}
