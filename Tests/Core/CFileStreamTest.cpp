#include "Core/CByteBuffer.h"
#include "Core/CFileReader.h"
#include "Core/CFileWriter.h"
#include "Core/CString.h"
#include "Support/CErrorText.h"
#include "Support/CTempFolder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

using namespace kel;
using kel::test::CErrorText;

namespace
{
// A fresh folder with a UTF-8 name for each test, removed afterwards; every test must give back
// all it takes from the allocator.
class CFileStreamTest : public testing::Test
{
protected:
    void SetUp() override
    {
        liveBefore = CAllocator::liveBlocks();
        folder = temp.path() + "/Pr\xC3\xBC"
                               "fung \xE2\x99\xAA";
        std::filesystem::create_directory(folder);
    }
    void TearDown() override { EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "leaked blocks"; }

    test::CTempFolder temp{"kel-files"};
    std::string folder;
    int64_t liveBefore = 0;
};

} // namespace

TEST_F(CFileStreamTest, WrittenFileReadsBackWithPositionsAndSize)
{
    const std::string path = folder + "/Voreinstellung \xC3\xA9t\xC3\xA9.cpf";
    const uint8_t payload[] = "a payload that is compressed into the file";
    {
        CFileWriter writer;
        ASSERT_EQ(writer.open(path.c_str(), false), nullptr);
        ASSERT_EQ(writer.writeUInt32(0x01020304), nullptr);
        ASSERT_EQ(writer.writeString(CString("caf\xE9")), nullptr);
        ASSERT_EQ(writer.writeCompressedData(payload, sizeof(payload), 7), nullptr);
        ASSERT_EQ(writer.writeUInt8(0xEE), nullptr);
        int64_t position = 0;
        int64_t size = 0;
        ASSERT_EQ(writer.getPosition(position), nullptr);
        ASSERT_EQ(writer.getSize(size), nullptr);
        EXPECT_EQ(position, size);
        ASSERT_EQ(writer.flush(), nullptr);
        ASSERT_EQ(writer.close(), nullptr);
        ASSERT_EQ(writer.close(), nullptr) << "closing twice does nothing";
    }

    CFileReader reader;
    ASSERT_EQ(reader.open(CString::fromUtf8(path.c_str()), 0), nullptr);
    EXPECT_STREQ(reader.getName(), path.c_str());
    EXPECT_EQ(reader.getData(), nullptr);
    uint32_t head = 0;
    CString text;
    CByteBuffer block;
    uint8_t tail = 0;
    ASSERT_EQ(reader.readUInt32(head), nullptr);
    ASSERT_EQ(reader.readString(text), nullptr);
    ASSERT_EQ(reader.readCompressedData(block, 7), nullptr);
    ASSERT_EQ(reader.readUInt8(tail), nullptr) << "the block read leaves the file behind itself";
    EXPECT_EQ(head, 0x01020304u);
    EXPECT_TRUE(text == "caf\xE9");
    ASSERT_EQ(block.getSize(), sizeof(payload));
    EXPECT_EQ(std::memcmp(block.getData(), payload, sizeof(payload)), 0);
    EXPECT_EQ(tail, 0xEE);

    ASSERT_EQ(reader.setPosition(4), nullptr);
    ASSERT_EQ(reader.consume(4), nullptr);
    uint8_t letters[3] = {};
    ASSERT_EQ(reader.read(letters, 3), nullptr);
    EXPECT_EQ(std::memcmp(letters, "caf", 3), 0);
    int64_t position = 0;
    ASSERT_EQ(reader.getPosition(position), nullptr);
    EXPECT_EQ(position, 11);
}

TEST_F(CFileStreamTest, AppendingKeepsTheContentsAndRewritingDropsThem)
{
    const std::string path = folder + "/log.txt";
    CFileWriter writer;
    ASSERT_EQ(writer.open(path.c_str(), false), nullptr);
    ASSERT_EQ(writer.write("abc", 3), nullptr);
    ASSERT_EQ(writer.open(path.c_str(), true), nullptr) << "open closes the previous file";
    ASSERT_EQ(writer.write("de", 2), nullptr);
    ASSERT_EQ(writer.setPosition(0), nullptr);
    ASSERT_EQ(writer.write("A", 1), nullptr);
    ASSERT_EQ(writer.close(), nullptr);

    CFileReader reader;
    ASSERT_EQ(reader.open(path.c_str()), nullptr);
    char text[6] = {};
    ASSERT_EQ(reader.read(text, 5), nullptr);
    EXPECT_STREQ(text, "Abcde");
    ASSERT_EQ(reader.close(), nullptr);

    ASSERT_EQ(writer.open(path.c_str(), false), nullptr);
    int64_t size = -1;
    ASSERT_EQ(writer.getSize(size), nullptr);
    EXPECT_EQ(size, 0);
}

TEST_F(CFileStreamTest, FailuresNameTheFileAndTheSystemError)
{
    const std::string missing = folder + "/none \xC3\xBC.bin";
    CFileReader reader;
    EXPECT_EQ(CErrorText::takeMessage(reader.open(missing.c_str(), 3)),
              "Unable to open file '" + missing + "' for reading (error " + std::to_string(ENOENT) +
                  ", flags 3).");
    CFileWriter writer;
    const std::string noFolder = folder + "/no/such/folder.bin";
    EXPECT_EQ(CErrorText::takeMessage(writer.open(noFolder.c_str(), true)),
              "Unable to open file '" + noFolder + "' for appending (error " +
                  std::to_string(ENOENT) + ", flags 0).");
    EXPECT_EQ(CErrorText::takeMessage(writer.open(noFolder.c_str(), false)),
              "Unable to open file '" + noFolder + "' for rewriting (error " +
                  std::to_string(ENOENT) + ", flags 0).");

    const std::string path = folder + "/short.bin";
    ASSERT_EQ(writer.open(path.c_str(), false), nullptr);
    ASSERT_EQ(writer.write("1234", 4), nullptr);
    ASSERT_EQ(writer.close(), nullptr);
    const std::string badf = std::to_string(EBADF);
    EXPECT_EQ(CErrorText::takeMessage(writer.write("x", 1)),
              "Unable to write to file '" + path + "' (error " + badf + ").");
    int64_t value = 0;
    EXPECT_EQ(CErrorText::takeMessage(writer.getSize(value)),
              "Unable to get file size of file '" + path + "' (error " + badf + ").");

    ASSERT_EQ(reader.open(path.c_str()), nullptr);
    uint8_t bytes[10];
    EXPECT_EQ(CErrorText::takeMessage(reader.read(bytes, 10)),
              "Unable to read from file '" + path + "' (required 10 bytes, read 4 bytes).");
    size_t got = 1;
    ASSERT_EQ(reader.readStreamed(bytes, 10, got), nullptr);
    EXPECT_EQ(got, 0u) << "streamed reads end quietly";
    EXPECT_EQ(CErrorText::takeMessage(reader.setPosition(-5)), "Unable to set file's '" + path +
                                                                   "' reading position (error " +
                                                                   std::to_string(EINVAL) + ").");
    ASSERT_EQ(reader.close(), nullptr);
    ASSERT_EQ(reader.close(), nullptr);
    EXPECT_EQ(CErrorText::takeMessage(reader.getSize(value)),
              "Unable to get file's '" + path + "' size (error " + badf + ").");
    EXPECT_EQ(CErrorText::takeMessage(reader.getPosition(value)),
              "Unable to get file's '" + path + "' reading position (error " + badf + ").");
    EXPECT_EQ(CErrorText::takeMessage(reader.consume(1)),
              "Unable to set file's '" + path + "' consume position (error " + badf + ").");
    EXPECT_EQ(CErrorText::takeMessage(reader.readStreamed(bytes, 1, got)),
              "Unable to read from file '" + path + "' (error " + badf + ").");
}

TEST_F(CFileStreamTest, AReplacingWriterLeavesTheOldFileWholeUntilItCommitsAndNothingOnFailure)
{
    const std::string path = folder + "/Bank \xC3\xBC.cbf";
    auto contents = [](const std::string& file)
    {
        std::string text;
        CFileReader reader;
        int64_t size = 0;
        if (reader.open(file.c_str()) || reader.getSize(size))
            return std::string("<unreadable>");
        text.resize(static_cast<size_t>(size));
        if (reader.read(text.data(), text.size()))
            return std::string("<unreadable>");
        return text;
    };
    auto entries = [&]()
    {
        size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            count += entry.exists();
        return count;
    };
    {
        CFileWriter writer;
        ASSERT_EQ(writer.open(CString::fromUtf8(path.c_str()), false), nullptr);
        ASSERT_EQ(writer.write("old", 3), nullptr);
        ASSERT_EQ(writer.close(), nullptr);
    }
    {
        // A write that never commits, as one that failed half-way: the old file stays.
        CFileWriter writer;
        ASSERT_EQ(writer.openReplacing(CString::fromUtf8(path.c_str())), nullptr);
        ASSERT_EQ(writer.write("new", 3), nullptr);
        EXPECT_EQ(contents(path), "old");
    }
    EXPECT_EQ(contents(path), "old");
    EXPECT_EQ(entries(), 1u) << "the temporary file is removed";

    CFileWriter writer;
    ASSERT_EQ(writer.openReplacing(CString::fromUtf8(path.c_str())), nullptr);
    ASSERT_EQ(writer.write("newer", 5), nullptr);
    ASSERT_EQ(writer.commit(), nullptr);
    EXPECT_EQ(contents(path), "newer");
    EXPECT_EQ(entries(), 1u);

    // A name the file cannot take (a folder with something in it): the error names it, and
    // nothing is left behind.
    const std::string taken = folder + "/taken";
    std::filesystem::create_directories(taken + "/inside");
    ASSERT_EQ(writer.openReplacing(CString::fromUtf8(taken.c_str())), nullptr);
    ASSERT_EQ(writer.write("x", 1), nullptr);
    const std::string message = CErrorText::takeMessage(writer.commit());
    EXPECT_EQ(message.rfind("Unable to replace '" + taken + "' (error ", 0), 0u) << message;
    EXPECT_EQ(entries(), 2u);
    EXPECT_EQ(CErrorText::takeMessage(
                  writer.openReplacing(CString::fromUtf8((folder + "/no/such/folder.cbf").c_str())))
                  .rfind("Unable to open file '", 0),
              0u);
    EXPECT_EQ(entries(), 2u);
}
