// The user's banks as one item of the product's data store: kept across processes, heard by
// every copy in the process at each write, and a damaged item changes nothing.
#include "Audio/CAudioPresetBankStore.h"
#include "Core/CApplicationDataBridge.h"
#include "Core/CLocalData.h"
#include "Support/CErrorText.h"
#include "Support/CTempFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

using namespace kel;

namespace
{

class CAudioPresetBankStoreTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CLocalData::get().useFolders(CString(folder.path().c_str()), CString());
    }
    void TearDown() override { CLocalData::get().reset(); }

    // A bank of count presets, each with one entry.
    static CAudioPresetBank makeBank(const char* name, int count)
    {
        CAudioPresetBank bank{CString(name)};
        for (int i = 0; i < count; ++i)
        {
            CAudioPreset preset(CAudioPreset::joinName(CString("z4m1"), CString::fromInt(i)));
            const double value = 0.25 * i;
            EXPECT_TRUE(preset.setEntry(CString("modZumbelModule.gain"), &value, sizeof value));
            bank.addPreset(preset);
        }
        return bank;
    }
    std::string itemBytes() const
    {
        std::ifstream in(folder.path() + "/Kelmont/Audio Plug-Ins/Zumbel/shared-banks",
                         std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }

    test::CTempFolder folder{"kel-bank-store"};
};

struct CCounter
{
    void onChange() { ++count; }
    int count = 0;
};

TEST_F(CAudioPresetBankStoreTest, BanksSurviveANewProcessAndEveryWriteIsHeard)
{
    CCounter heard;
    CApplicationDataBridge<CCounter> bridge(&heard, &CCounter::onChange);
    bridge.attach(&CLocalData::get(), CString("shared-banks"));

    CAudioPresetBankStore store(CLocalData::get(), CString("shared-banks"));
    ASSERT_EQ(test::CErrorText::takeMessage(store.read()), "");
    EXPECT_EQ(store.getCount(), 0);
    store.insertBank(0, makeBank("Second", 2));
    store.insertBank(0, makeBank("First", 3));
    store.insertBank(9, makeBank("Third", 0));
    ASSERT_EQ(test::CErrorText::takeMessage(store.write()), "");
    EXPECT_EQ(heard.count, 1);
    bridge.detach();

    // A new process: the store forgets its cache and reads the item from the disk.
    CLocalData::get().useFolders(CString(folder.path().c_str()), CString());
    CAudioPresetBankStore fresh(CLocalData::get(), CString("shared-banks"));
    ASSERT_EQ(test::CErrorText::takeMessage(fresh.read()), "");
    ASSERT_EQ(fresh.getCount(), 3);
    const char* names[] = {"First", "Second", "Third"};
    const int counts[] = {3, 2, 0};
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(fresh.getBank(i)->getName(), CString(names[i]));
        EXPECT_EQ(fresh.getBank(i)->getCount(), counts[i]);
    }
    const CByteBuffer* blob =
        fresh.getBank(0)->getPreset(2)->findEntry(CString("modZumbelModule.gain"));
    ASSERT_NE(blob, nullptr);
    double value = 0.0;
    ASSERT_EQ(blob->getSize(), sizeof value);
    memcpy(&value, blob->getData(), sizeof value);
    EXPECT_EQ(value, 0.5);

    EXPECT_TRUE(fresh.removeBank(1));
    EXPECT_FALSE(fresh.removeBank(5));
    ASSERT_EQ(test::CErrorText::takeMessage(fresh.write()), "");
    ASSERT_EQ(test::CErrorText::takeMessage(store.read()), "");
    EXPECT_EQ(store.getCount(), 2);
    EXPECT_EQ(store.getBank(1)->getName(), CString("Third"));
}

TEST_F(CAudioPresetBankStoreTest, ADamagedItemIsAnErrorAndLeavesTheBanksAsTheyWere)
{
    CAudioPresetBankStore store(CLocalData::get(), CString("shared-banks"));
    store.insertBank(0, makeBank("Kept", 2));
    ASSERT_EQ(test::CErrorText::takeMessage(store.write()), "");
    const std::string stored = itemBytes();
    ASSERT_GT(stored.size(), 20u);

    // Damage in the compressed payload, as a half-written or edited file would have it.
    std::string damaged = stored;
    for (size_t i = stored.size() / 2; i < stored.size(); ++i)
        damaged[i] = static_cast<char>(damaged[i] ^ 0x5a);
    folder.write("Kelmont/Audio Plug-Ins/Zumbel/shared-banks", damaged);
    CLocalData::get().useFolders(CString(folder.path().c_str()), CString());
    EXPECT_NE(test::CErrorText::takeMessage(store.read()), "");
    ASSERT_EQ(store.getCount(), 1);
    EXPECT_EQ(store.getBank(0)->getPreset(1)->getName(), CString("z4m1:1"));

    // A payload that decompresses but claims too many banks is damage as well.
    CLocalData::get().useFolders(CString(folder.path().c_str()), CString());
    const int32_t count = CAudioPresetBankStore::kMaxBanks + 1;
    ASSERT_EQ(test::CErrorText::takeMessage(CLocalData::get().write(
                  CString("shared-banks"), &count, sizeof count, CAudioPresetBankStore::kBlockId)),
              "");
    EXPECT_EQ(test::CErrorText::takeKey(store.read()),
              "kelstr_CAudioPresetBankStore_load_CountError");
    EXPECT_EQ(store.getCount(), 1);
}

} // namespace
