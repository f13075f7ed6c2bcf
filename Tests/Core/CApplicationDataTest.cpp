#include "Core/CAllocator.h"
#include "Core/CApplicationDataBridge.h"
#include "Core/CByteBuffer.h"
#include "Core/CGlobalData.h"
#include "Core/CLocalData.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CResourceTable.h"
#include "Core/CString.h"
#include "CObjectTestFixture.h"
#include "Support/CTempFolder.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace kel;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{
constexpr uint32_t kId = 0x6b736574; // "tesk" on the wire

std::string bytesOf(const CByteBuffer& buffer)
{
    return std::string(reinterpret_cast<const char*>(buffer.getData()), buffer.getSize());
}

// Counts the notifications of one item.
class CItemWatcher
{
public:
    CItemWatcher() : bridge(this, &CItemWatcher::onChange) {}
    void onChange() { ++changes; }
    CApplicationDataBridge<CItemWatcher> bridge;
    int changes = 0;
};

// Every test gets a fresh XDG_DATA_HOME and XDG_DATA_DIRS and fresh stores.
class CApplicationDataTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::filesystem::create_directories(base + "/user");
        std::filesystem::create_directories(base + "/common");
        if (const char* old = std::getenv("XDG_DATA_HOME"))
            oldDataHome = old;
        setenv("XDG_DATA_HOME", (base + "/user").c_str(), 1);
        setenv("XDG_DATA_DIRS", (base + "/common:/usr/share").c_str(), 1);
        CGlobalData::get().reset();
        CLocalData::get().reset();
        liveBefore = CAllocator::liveBlocks();
    }
    void TearDown() override
    {
        CGlobalData::get().reset();
        CLocalData::get().reset();
        EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "framework blocks left behind";
        if (oldDataHome.empty())
            unsetenv("XDG_DATA_HOME");
        else
            setenv("XDG_DATA_HOME", oldDataHome.c_str(), 1);
        unsetenv("XDG_DATA_DIRS");
    }

    static CByteBuffer buffer(const std::string& content)
    {
        CByteBuffer out;
        EXPECT_TRUE(out.assign(content.data(), content.size()));
        return out;
    }
    static std::vector<std::string> entriesOf(const std::string& folder)
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            names.push_back(entry.path().filename().string());
        return names;
    }

    test::CTempFolder temp{"kel-appdata"};
    const std::string base = temp.path();
    std::string oldDataHome;
    int64_t liveBefore = 0;
};
} // namespace

TEST_F(CApplicationDataTest, WriteLandsInTheUserFolderWithoutLeftoversAndReadsBack)
{
    CApplicationData& global = CGlobalData::get();
    CApplicationData& local = CLocalData::get();
    EXPECT_EQ(CUtf8::of(global.getUserFolder()), base + "/user/Kelmont/Audio Plug-Ins/");
    EXPECT_EQ(CUtf8::of(local.getCommonFolder()), base + "/common/Kelmont/Audio Plug-Ins/Zumbel/");
    ASSERT_EQ(CErrorText::takeMessage(global.write(CString("ccmap"), buffer("map data"), kId)), "");
    ASSERT_EQ(
        CErrorText::takeMessage(local.write(CString("default-preset"), buffer("preset"), kId)), "");
    EXPECT_EQ(entriesOf(base + "/user/Kelmont/Audio Plug-Ins/Zumbel"),
              std::vector<std::string>{"default-preset"});

    // A fresh store (a new process) finds the items on disk.
    global.reset();
    CByteBuffer read;
    ASSERT_EQ(CErrorText::takeMessage(global.read(CString("ccmap"), read, kId)), "");
    EXPECT_EQ(bytesOf(read), "map data");
    // An item stored under another id is a damaged item: an error, and nothing read.
    global.reset();
    EXPECT_NE(CErrorText::takeMessage(global.read(CString("ccmap"), read, kId + 1)), "");
    EXPECT_EQ(read.getSize(), 0u);
}

TEST_F(CApplicationDataTest, WriteCreatesMissingFoldersOfTheItemPathAndReplacesTheOldItem)
{
    CApplicationData& local = CLocalData::get();
    ASSERT_EQ(
        CErrorText::takeMessage(local.write(CString("presets/bank one"), buffer("first"), kId)),
        "");
    ASSERT_EQ(
        CErrorText::takeMessage(local.write(CString("presets/bank one"), buffer("second"), kId)),
        "");
    const std::string folder = base + "/user/Kelmont/Audio Plug-Ins/Zumbel/presets";
    EXPECT_EQ(entriesOf(folder), std::vector<std::string>{"bank one"});
    local.reset();
    CByteBuffer read;
    ASSERT_EQ(CErrorText::takeMessage(local.read(CString("presets/bank one"), read, kId)), "");
    EXPECT_EQ(bytesOf(read), "second");
}

TEST_F(CApplicationDataTest, WriteWithoutUserFolderDoesNothing)
{
    CApplicationData& global = CGlobalData::get();
    global.useFolders(CString(), CString((base + "/common").c_str()));
    CItemWatcher watcher;
    watcher.bridge.attach(&global, CString("tablet-mode"));
    EXPECT_FALSE(global.isOpen());
    ASSERT_EQ(CErrorText::takeMessage(global.write(CString("tablet-mode"), buffer("true"), kId)),
              "");
    EXPECT_EQ(watcher.changes, 0);
    CByteBuffer read;
    ASSERT_EQ(CErrorText::takeMessage(global.read(CString("tablet-mode"), read, kId)), "");
    EXPECT_EQ(read.getSize(), 0u);
    EXPECT_TRUE(std::filesystem::is_empty(base + "/user"));
    EXPECT_TRUE(std::filesystem::is_empty(base + "/common"));
}

TEST_F(CApplicationDataTest, ItemAbsentOnDiskComesFromTheCommonFolderThenFromTheResource)
{
    // The same block form in the common folder and as a resource.
    CMemoryWriteBuffer block(128);
    ASSERT_EQ(CErrorText::takeMessage(block.writeCompressedData("routing", 7, kId)), "");
    std::vector<uint8_t> blob(4 + block.getSize());
    const uint32_t size = static_cast<uint32_t>(block.getSize());
    std::memcpy(blob.data(), &size, 4);
    std::memcpy(blob.data() + 4, block.getData(), block.getSize());
    const CResourceEntry table[] = {{blob.data(), "AppDataGlobal_routing-presets"},
                                    {nullptr, nullptr}};
    const CResourceEntry* previous = CResourceTable::getInstalled();
    CResourceTable::install(table);

    CByteBuffer read;
    ASSERT_EQ(
        CErrorText::takeMessage(CGlobalData::get().read(CString("routing-presets"), read, kId)),
        "");
    EXPECT_EQ(bytesOf(read), "routing");
    // The product's store has another prefix.
    ASSERT_EQ(
        CErrorText::takeMessage(CLocalData::get().read(CString("routing-presets"), read, kId)), "");
    EXPECT_EQ(read.getSize(), 0u);
    CResourceTable::install(previous);

    std::filesystem::create_directories(base + "/common/Kelmont/Audio Plug-Ins");
    std::ofstream(base + "/common/Kelmont/Audio Plug-Ins/shared-item", std::ios::binary)
        .write(reinterpret_cast<const char*>(block.getData()),
               static_cast<std::streamsize>(block.getSize()));
    ASSERT_EQ(CErrorText::takeMessage(CGlobalData::get().read(CString("shared-item"), read, kId)),
              "");
    EXPECT_EQ(bytesOf(read), "routing");
}

TEST_F(CApplicationDataTest, WriteNotifiesTheBridgesOfThatItemOnly)
{
    CApplicationData& global = CGlobalData::get();
    CItemWatcher same;
    CItemWatcher sameToo;
    CItemWatcher other;
    same.bridge.attach(&global, CString("drag-precision"));
    sameToo.bridge.attach(&global, CString("drag-precision"));
    other.bridge.attach(&global, CString("tablet-mode"));
    ASSERT_EQ(
        CErrorText::takeMessage(global.writeString(CString("drag-precision"), CString("0.25"))),
        "");
    EXPECT_EQ(same.changes, 1);
    EXPECT_EQ(sameToo.changes, 1);
    EXPECT_EQ(other.changes, 0);
    sameToo.bridge.detach();
    ASSERT_EQ(
        CErrorText::takeMessage(global.writeString(CString("drag-precision"), CString("0.5"))), "");
    EXPECT_EQ(same.changes, 2);
    EXPECT_EQ(sameToo.changes, 1);
    CString value;
    ASSERT_EQ(CErrorText::takeMessage(global.readString(CString("drag-precision"), value)), "");
    EXPECT_EQ(CUtf8::of(value), "0.5");
}
