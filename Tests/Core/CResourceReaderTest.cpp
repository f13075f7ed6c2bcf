// The resource table and the reader over it: exact names, blobs in place, and the fall-through
// to files for names that are not embedded.
#include "Core/CResourceReader.h"
#include "Core/CResourceTable.h"
#include "Core/CString.h"
#include "Support/CTempFolder.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace kel;

namespace
{

const uint8_t kFont[] = {3, 0, 0, 0, 'f', 'n', 't'};
const uint8_t kEmpty[] = {0, 0, 0, 0};
const uint8_t kOther[] = {2, 0, 0, 0, 'o', 'k'};
const uint8_t kHidden[] = {1, 0, 0, 0, 'h'};

// The table of each test; its temporary folder is known only at run time, so the row that
// shadows a file there is filled in by SetUp.
std::string shadowedPath;
CResourceEntry table[] = {
    {kFont, "../../../Gfx/Fonts/base.fnt"},
    {kEmpty, "Empty.bin"},
    {kOther, "SharedData.xml"},
    {kHidden, "SharedData.xml"}, // a second row of a name loses
    {kOther, nullptr},           // the shadowing row
    {nullptr, nullptr},
    {kHidden, "BehindTheEnd"},
};

class CResourceReaderTest : public testing::Test
{
protected:
    void SetUp() override
    {
        shadowedPath = folder + "/shadowed.bin";
        table[4].name = shadowedPath.c_str();
        std::ofstream(shadowedPath, std::ios::binary) << "from disk";
        std::ofstream(folder + "/plain.bin", std::ios::binary) << "plain file";

        previous = CResourceTable::getInstalled();
        CResourceTable::install(table);
        liveBefore = CAllocator::liveBlocks();
    }
    void TearDown() override
    {
        EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "leaked blocks";
        CResourceTable::install(previous);
    }

    std::string readAll(CResourceReader& reader)
    {
        int64_t size = -1;
        EXPECT_EQ(reader.getSize(size), nullptr);
        std::string text(static_cast<size_t>(size), '\0');
        EXPECT_EQ(reader.read(text.data(), text.size()), nullptr);
        return text;
    }

    test::CTempFolder temp{"kel-res"};
    const std::string folder = temp.path();
    const CResourceEntry* previous = nullptr;
    int64_t liveBefore = 0;
};

TEST_F(CResourceReaderTest, NamesAreFoundExactlyAsWritten)
{
    const uint8_t* data = nullptr;
    size_t size = 0;
    ASSERT_TRUE(CResourceTable::find("../../../Gfx/Fonts/base.fnt", data, size));
    EXPECT_EQ(data, kFont + 4);
    EXPECT_EQ(size, 3u);
    for (const char* near :
         {"base.fnt", "../../../Gfx/Fonts/Base.fnt", "../../../Gfx/Fonts/base.fn",
          "../../../Gfx/Fonts/base.fnt ", "", "BehindTheEnd"})
        EXPECT_FALSE(CResourceTable::find(near, data, size)) << near;
    EXPECT_FALSE(CResourceTable::find(nullptr, data, size));

    ASSERT_TRUE(CResourceTable::find("SharedData.xml", data, size));
    EXPECT_EQ(data, kOther + 4);
    EXPECT_EQ(CResourceTable::getCount(), 4);
}

TEST_F(CResourceReaderTest, TableListsInNameOrderAndInstallReplacesIt)
{
    std::vector<std::string> names;
    CResourceTable::forEach([](const char* name, const uint8_t*, size_t, void* context)
                            { static_cast<std::vector<std::string>*>(context)->push_back(name); },
                            &names);
    // Byte order: '.' and '/' come before capitals.
    EXPECT_EQ(names, (std::vector<std::string>{"../../../Gfx/Fonts/base.fnt", shadowedPath,
                                               "Empty.bin", "SharedData.xml"}));

    const CResourceEntry other[] = {{kHidden, "Only"}, {nullptr, nullptr}};
    CResourceTable::install(other);
    EXPECT_EQ(CResourceTable::getCount(), 1);
    EXPECT_EQ(CResourceTable::getInstalled(), other);
    const uint8_t* data = nullptr;
    size_t size = 0;
    EXPECT_FALSE(CResourceTable::find("SharedData.xml", data, size));
    CResourceTable::install(table);
}

TEST_F(CResourceReaderTest, EmbeddedNameReadsTheBlobInPlaceAndNeverTheDisk)
{
    CResourceReader reader;
    ASSERT_EQ(reader.open(shadowedPath.c_str()), nullptr);
    EXPECT_TRUE(reader.isEmbedded());
    EXPECT_EQ(reader.getData(), kOther + 4);
    int64_t position = -1;
    ASSERT_EQ(reader.getPosition(position), nullptr);
    EXPECT_EQ(position, 0);
    EXPECT_EQ(readAll(reader), "ok");

    ASSERT_EQ(reader.open(CString("../../../Gfx/Fonts/base.fnt")), nullptr);
    EXPECT_EQ(reader.getData(), kFont + 4);
    ASSERT_EQ(reader.setPosition(1), nullptr);
    char two[2] = {};
    ASSERT_EQ(reader.read(two, 2), nullptr);
    EXPECT_EQ(std::string(two, 2), "nt");
    CError* error = reader.read(two, 1);
    EXPECT_NE(error, nullptr);
    delete error;
}

TEST_F(CResourceReaderTest, OtherNamesAreOpenedAsFiles)
{
    CResourceReader reader;
    ASSERT_EQ(reader.open((folder + "/plain.bin").c_str()), nullptr);
    EXPECT_FALSE(reader.isEmbedded());
    EXPECT_EQ(reader.getData(), nullptr);
    ASSERT_EQ(reader.consume(6), nullptr);
    char rest[4] = {};
    size_t got = 0;
    ASSERT_EQ(reader.readStreamed(rest, sizeof rest, got), nullptr);
    EXPECT_EQ(std::string(rest, got), "file");

    // Opening again leaves the file for the embedded blob.
    ASSERT_EQ(reader.open("Empty.bin"), nullptr);
    EXPECT_TRUE(reader.isEmbedded());
    EXPECT_EQ(readAll(reader), "");
}

TEST_F(CResourceReaderTest, MissingResourceReportsTheFileOpenErrorUnderItsName)
{
    CResourceReader reader;
    CError* error = reader.open("base.fnt");
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getKey(), "kelstr_CFileReader_open_OpenError");
    EXPECT_NE(std::strstr(error->getMessage(), "'base.fnt'"), nullptr) << error->getMessage();
    bool passedReader = false;
    for (int i = 0; i < error->getFrameCount(); ++i)
        passedReader |= std::strstr(error->getFrameFile(i), "CResourceReader.cpp") != nullptr;
    EXPECT_TRUE(passedReader);
    delete error;

    // A failed open leaves nothing to read from.
    char byte = 0;
    error = reader.read(&byte, 1);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getKey(), "kelstr_CResourceReader_NotOpen");
    delete error;
    EXPECT_EQ(reader.getData(), nullptr);
}

} // namespace
