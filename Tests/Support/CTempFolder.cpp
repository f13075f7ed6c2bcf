#include "Support/CTempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdlib.h>
#include <vector>

namespace kel::test
{

CTempFolder::CTempFolder(const char* prefix)
{
    std::string pattern = std::string("/tmp/") + prefix + "-XXXXXX";
    std::vector<char> buffer(pattern.begin(), pattern.end());
    buffer.push_back('\0');
    if (mkdtemp(buffer.data()))
        folder = buffer.data();
    else
        ADD_FAILURE() << "cannot make a folder like " << pattern;
}

CTempFolder::~CTempFolder()
{
    if (folder.empty())
        return;
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

std::string CTempFolder::write(const std::string& name, const std::string& bytes) const
{
    const std::string path = file(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

} // namespace kel::test
