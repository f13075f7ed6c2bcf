#include "Core/CIntMap.h"
#include "Core/CPtrMap.h"
#include "Core/CStringMap.h"

#include "Core/CAllocator.h"

#include <gtest/gtest.h>

#include <vector>

using kel::CString;

namespace
{
class CTreeMapTest : public testing::Test
{
protected:
    void SetUp() override { liveBefore = kel::CAllocator::liveBlocks(); }
    void TearDown() override { EXPECT_EQ(kel::CAllocator::liveBlocks(), liveBefore); }

private:
    int64_t liveBefore = 0;
};
} // namespace

TEST_F(CTreeMapTest, StringKeysOrderByCodeUnitAndNarrowEqualsWide)
{
    const int64_t empty = kel::CAllocator::liveBlocks();
    kel::CStringMap<int> map;
    CString eAcute = CString::fromUtf8("\xC3\xA9");
    CString alpha = CString::fromUtf8("\xCE\xB1");
    for (const CString& key :
         {CString("b"), CString("B"), alpha, eAcute, CString("ab"), CString(""), CString("a")})
        EXPECT_TRUE(map.insert(key, key.getLength()));
    EXPECT_GT(kel::CAllocator::liveBlocks(), empty); // the nodes come from the pooled allocator

    std::vector<CString> order;
    for (const auto& [key, value] : map)
        order.push_back(key);
    const std::vector<CString> expected = {"", "B", "a", "ab", "b", eAcute, alpha};
    EXPECT_EQ(order, expected);

    // A wide key with narrow units finds the narrow entry.
    CString wideAb("ab");
    wideAb.appendUnit(0x100);
    wideAb.erase(2);
    ASSERT_TRUE(wideAb.isWide());
    ASSERT_NE(map.find(wideAb), nullptr);
    EXPECT_EQ(*map.find(wideAb), 2);
    EXPECT_FALSE(map.insert(wideAb, 99));
    EXPECT_EQ(map.get("ab", -1), 2);

    map.set(wideAb, 99);
    EXPECT_EQ(map.get("ab", -1), 99);
    map["new"] += 5;
    EXPECT_EQ(map.get("new", -1), 5);
    EXPECT_EQ(map.getCount(), 8);
    EXPECT_TRUE(map.erase("B"));
    EXPECT_FALSE(map.erase("B"));
    EXPECT_EQ(map.find("B"), nullptr);
    EXPECT_EQ(map.getCount(), 7);
    map.clear();
    EXPECT_TRUE(map.isEmpty());
    EXPECT_EQ(kel::CAllocator::liveBlocks(), empty);
}

TEST_F(CTreeMapTest, IntKeysOrderAsSignedAndErasureDuringIterationWorks)
{
    kel::CIntMap<CString> map;
    for (int key : {5, -1, 0, INT32_MIN, INT32_MAX, -100, 42})
        map.set(key, CString::fromInt(key));
    std::vector<int> keys;
    for (const auto& [key, value] : map)
    {
        keys.push_back(key);
        EXPECT_EQ(value, CString::fromInt(key));
    }
    EXPECT_EQ(keys, (std::vector<int>{INT32_MIN, -100, -1, 0, 5, 42, INT32_MAX}));

    for (auto it = map.begin(); it != map.end();)
        it = it->first < 0 ? map.erase(it) : std::next(it);
    EXPECT_EQ(map.getCount(), 4);
    EXPECT_EQ(map.begin()->first, 0);
    EXPECT_EQ(map.lowerBound(6)->first, 42);
    EXPECT_EQ(map.lowerBound(INT32_MAX)->second, "2147483647");
}

TEST_F(CTreeMapTest, PointerKeysOrderByAddressAndServeAsSets)
{
    int objects[4] = {};
    kel::CPtrMap<bool, int*> set;
    for (int i : {2, 0, 3, 1, 2})
        set.insert(&objects[i], true);
    EXPECT_EQ(set.getCount(), 4);
    int* previous = nullptr;
    for (const auto& entry : set)
    {
        EXPECT_LT(previous, entry.first);
        previous = entry.first;
    }
    EXPECT_TRUE(set.contains(&objects[3]));
    EXPECT_TRUE(set.erase(&objects[3]));
    EXPECT_FALSE(set.contains(&objects[3]));

    kel::CPtrMap<CString> names;
    names.set(&objects[0], "first");
    EXPECT_EQ(*names.find(&objects[0]), "first");
    EXPECT_EQ(names.find(&objects[1]), nullptr);
}
