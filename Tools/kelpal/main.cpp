// kelpal: the colour palette compiler.
//
//   kelpal compile ROLES SCHEME OUT.pal    compile one scheme source into the .pal form
//   kelpal names ROLES OUT.txt             every stored name of the role list, one per line
//   kelpal --swatch OUT.png PALETTE.pal    a picture of a compiled palette for people to judge
//
// Output files are written only when complete, and depend on nothing but the inputs.

#include "CRoleList.h"
#include "CSchemeCompiler.h"
#include "CSwatchPainter.h"

#include "Core/CError.h"
#include "Core/CFileReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "UI/Resources/CPalette.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

namespace
{

int usage()
{
    std::fprintf(stderr, "usage: kelpal compile ROLES SCHEME OUT.pal\n"
                         "       kelpal names ROLES OUT.txt\n"
                         "       kelpal --swatch OUT.png PALETTE.pal\n");
    return 2;
}

int reportError(kel::CError* error)
{
    char text[2048];
    error->formatChain(text, sizeof text);
    std::fprintf(stderr, "kelpal: %s\n", text);
    delete error;
    return 1;
}

int fail(const std::string& message)
{
    std::fprintf(stderr, "kelpal: %s\n", message.c_str());
    return 1;
}

// Writes through a temporary name so that a failed run never leaves a half file behind.
int writeFile(const std::string& path, const void* data, size_t size)
{
    const std::string temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
        if (!out)
            return fail("cannot write " + temporary);
    }
    return std::rename(temporary.c_str(), path.c_str()) == 0 ? 0 : fail("cannot write " + path);
}

int compile(const char* rolesPath, const char* schemePath, const char* outPath)
{
    std::string error;
    kelpal::CRoleList roles;
    kelpal::CSchemeCompiler compiler;
    kel::CPalette palette;
    if (!roles.load(rolesPath, error) || !compiler.compile(roles, schemePath, palette, error))
        return fail(error);
    kel::CMemoryWriteBuffer buffer(1 << 20);
    if (kel::CError* failure = palette.write(buffer))
        return reportError(failure);
    return writeFile(outPath, buffer.getData(), buffer.getSize());
}

int names(const char* rolesPath, const char* outPath)
{
    std::string error;
    kelpal::CRoleList roles;
    if (!roles.load(rolesPath, error))
        return fail(error);
    std::string text;
    for (const std::string& name : roles.storedNames())
        text += name + "\n";
    return writeFile(outPath, text.data(), text.size());
}

int swatch(const char* outPath, const char* palettePath)
{
    kel::CFileReader reader;
    kel::CPalette palette;
    if (kel::CError* failure = reader.open(palettePath))
        return reportError(failure);
    if (kel::CError* failure = palette.read(reader))
        return reportError(failure);
    std::string title = palettePath;
    const size_t slash = title.find_last_of('/');
    if (slash != std::string::npos)
        title.erase(0, slash + 1);
    title = title.substr(0, title.find('.'));
    std::string error;
    if (!kelpal::CSwatchPainter().paint(palette, title, outPath, error))
        return fail(error);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "compile") == 0)
        return compile(argv[2], argv[3], argv[4]);
    if (argc == 4 && std::strcmp(argv[1], "names") == 0)
        return names(argv[2], argv[3]);
    if (argc == 4 && std::strcmp(argv[1], "--swatch") == 0)
        return swatch(argv[2], argv[3]);
    return usage();
}
