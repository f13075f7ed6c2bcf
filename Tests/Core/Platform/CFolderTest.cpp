#include "Core/CString.h"
#include "Core/Platform/CFolder.h"
#include "Core/Platform/CFolderScan.h"
#include "Support/CTempFolder.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

using namespace kel;
using kel::test::CUtf8;

namespace
{
// Sets an environment variable for one scope and restores it.
class CEnvGuard
{
public:
    CEnvGuard(const char* variableName, const char* value) : name(variableName)
    {
        if (const char* old = std::getenv(name))
        {
            hadValue = true;
            oldValue = old;
        }
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~CEnvGuard()
    {
        if (hadValue)
            setenv(name, oldValue.c_str(), 1);
        else
            unsetenv(name);
    }

private:
    const char* name;
    bool hadValue = false;
    std::string oldValue;
};

class CFolderTest : public testing::Test
{
protected:
    test::CTempFolder temp{"kel-folder"};
    const std::string root = temp.path();
};
} // namespace

TEST_F(CFolderTest, CreateWithParentsMakesEveryLevelAndAcceptsExistingOnes)
{
    const std::string deep = root + "/Kelmont/Audio Plug-Ins/Z\xC3\xBCmbel/";
    EXPECT_EQ(CFolder::createWithParents(deep.c_str()), 0);
    EXPECT_TRUE(CFolder::isFolder(deep.c_str()));
    EXPECT_EQ(CFolder::createWithParents(deep.c_str()), 0);
    EXPECT_EQ(CFolder::create((root + "/Kelmont").c_str()), 0);
    // A file in the way is an error, not a folder.
    std::ofstream((root + "/file").c_str()) << "x";
    EXPECT_EQ(CFolder::createWithParents((root + "/file/below").c_str()), ENOTDIR);
    EXPECT_NE(CFolder::create((root + "/file").c_str()), 0);
}

TEST_F(CFolderTest, RenameReplacesAFileAndRemoveTakesFilesAndEmptyFolders)
{
    const std::string a = root + "/a.tmp";
    const std::string b = root + "/b";
    std::ofstream(a.c_str()) << "new";
    std::ofstream(b.c_str()) << "old";
    EXPECT_EQ(CFolder::rename(a.c_str(), b.c_str()), 0);
    EXPECT_FALSE(CFolder::exists(a.c_str()));
    std::ifstream in(b.c_str());
    std::string text;
    in >> text;
    EXPECT_EQ(text, "new");
    EXPECT_EQ(CFolder::removeFile(b.c_str()), 0);
    EXPECT_EQ(CFolder::removeFile(b.c_str()), ENOENT);
    ASSERT_EQ(CFolder::create((root + "/sub").c_str()), 0);
    EXPECT_EQ(CFolder::removeFolder((root + "/sub").c_str()), 0);
    EXPECT_FALSE(CFolder::exists((root + "/sub").c_str()));
}

TEST_F(CFolderTest, ScanListsEntriesWithoutDotsAndTellsFolders)
{
    ASSERT_EQ(CFolder::create((root + "/Presets").c_str()), 0);
    std::ofstream((root + "/caf\xC3\xA9.cpf").c_str()) << "x";
    CFolderScan scan;
    ASSERT_EQ(scan.open(root.c_str()), 0);
    std::set<std::string> files;
    std::set<std::string> folders;
    CString name;
    bool isFolder = false;
    bool hasEntry = true;
    while (scan.next(name, isFolder, hasEntry) == 0 && hasEntry)
        (isFolder ? folders : files).insert(CUtf8::of(name));
    EXPECT_EQ(files, std::set<std::string>{"caf\xC3\xA9.cpf"});
    EXPECT_EQ(folders, std::set<std::string>{"Presets"});
    CFolderScan missing;
    EXPECT_EQ(missing.open((root + "/none").c_str()), ENOENT);
    EXPECT_NE(missing.next(name, isFolder, hasEntry), 0);
}

TEST(CFolderDataTest, UserAndCommonFoldersFollowTheXdgVariables)
{
    CString folder;
    {
        CEnvGuard dataHome("XDG_DATA_HOME", "/tmp/kel-data/");
        EXPECT_EQ(CFolder::getUserDataFolder(folder), 0);
        EXPECT_EQ(CUtf8::of(folder), "/tmp/kel-data");
    }
    {
        // A relative value does not count; the home folder's .local/share is used.
        CEnvGuard dataHome("XDG_DATA_HOME", "relative/data");
        CEnvGuard home("HOME", "/home/someone");
        EXPECT_EQ(CFolder::getUserDataFolder(folder), 0);
        EXPECT_EQ(CUtf8::of(folder), "/home/someone/.local/share");
    }
    {
        CEnvGuard dataDirs("XDG_DATA_DIRS", "relative:/opt/share/:/usr/share");
        EXPECT_EQ(CFolder::getCommonDataFolder(folder), 0);
        EXPECT_EQ(CUtf8::of(folder), "/opt/share");
    }
    {
        CEnvGuard dataDirs("XDG_DATA_DIRS", nullptr);
        EXPECT_EQ(CFolder::getCommonDataFolder(folder), 0);
        EXPECT_EQ(CUtf8::of(folder), "/usr/local/share");
    }
}
