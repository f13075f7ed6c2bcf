#pragma once

#include <string>

namespace kel::test
{

// A new, empty folder below /tmp for one test (named after prefix, with a unique tail), removed
// with everything in it when the object goes. A folder that cannot be made fails the test and
// leaves path() empty.
class CTempFolder
{
public:
    explicit CTempFolder(const char* prefix = "kel-test");
    ~CTempFolder();
    CTempFolder(const CTempFolder&) = delete;
    CTempFolder& operator=(const CTempFolder&) = delete;

    const std::string& path() const { return folder; }
    // The full path of name inside the folder.
    std::string file(const std::string& name) const { return folder + "/" + name; }
    // Writes bytes to name, making the folders on its way, and answers its full path.
    std::string write(const std::string& name, const std::string& bytes) const;

private:
    std::string folder;
};

} // namespace kel::test
