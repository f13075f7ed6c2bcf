#include "Core/CArray.h"

#include "Core/CAllocator.h"
#include "Core/CString.h"

#include <gtest/gtest.h>

#include <utility>

using kel::CArray;

namespace
{
int gLiveTokens = 0;

// A non-trivial element: owns a heap block, counts live instances, and marks moved-from ones.
class CToken
{
public:
    explicit CToken(int tokenValue = 0) : value(static_cast<int*>(kel::CAllocator::alloc(16)))
    {
        *value = tokenValue;
        ++gLiveTokens;
    }
    CToken(const CToken& other) : CToken(other.get()) {}
    CToken(CToken&& other) noexcept : value(std::exchange(other.value, nullptr)) { ++gLiveTokens; }
    CToken& operator=(const CToken& other)
    {
        if (this != &other)
        {
            CToken copy(other);
            std::swap(value, copy.value);
        }
        return *this;
    }
    CToken& operator=(CToken&& other) noexcept
    {
        std::swap(value, other.value);
        return *this;
    }
    ~CToken()
    {
        kel::CAllocator::free(value);
        --gLiveTokens;
    }
    int get() const { return value ? *value : -1; }
    bool operator==(const CToken& other) const { return get() == other.get(); }

private:
    int* value;
};

class CArrayTest : public testing::Test
{
protected:
    void SetUp() override
    {
        liveBefore = kel::CAllocator::liveBlocks();
        gLiveTokens = 0;
    }
    void TearDown() override
    {
        EXPECT_EQ(gLiveTokens, 0);
        EXPECT_EQ(kel::CAllocator::liveBlocks(), liveBefore);
    }

private:
    int64_t liveBefore = 0;
};

template <typename Array> bool holdsSequence(const Array& array, int count)
{
    if (array.getCount() != count)
        return false;
    for (int i = 0; i < count; ++i)
    {
        if (array[i].get() != i)
            return false;
    }
    return true;
}
} // namespace

TEST_F(CArrayTest, GrowsToTwicePlusOneAndKeepsNonTrivialElements)
{
    CArray<CToken, 8> small;
    const int capacities8[] = {8, 17, 35, 71};
    int step = 0;
    for (int i = 0; i < 40; ++i)
    {
        small.add(CToken(i));
        if (i + 1 > capacities8[step])
            ++step;
        EXPECT_EQ(small.getCapacity(), capacities8[step]) << i;
        EXPECT_EQ(small.isInline(), i < 8) << i;
        EXPECT_EQ(gLiveTokens, i + 1);
    }
    EXPECT_TRUE(holdsSequence(small, 40));

    CArray<CToken, 16> wide;
    for (int i = 0; i < 17; ++i)
        wide.emplace(i);
    EXPECT_EQ(wide.getCapacity(), 33);
    EXPECT_TRUE(holdsSequence(wide, 17));
    EXPECT_EQ(gLiveTokens, 57);

    wide.clear();
    EXPECT_EQ(gLiveTokens, 40);
    EXPECT_EQ(wide.getCapacity(), 33);
    wide.reset();
    EXPECT_TRUE(wide.isInline());
    EXPECT_EQ(wide.getCapacity(), 16);
}

TEST_F(CArrayTest, AddingAnElementOfItselfAtTheGrowthPointIsSafe)
{
    CArray<CToken, 8> array;
    for (int i = 0; i < 8; ++i)
        array.add(CToken(i));
    array.add(array[0]); // the source lies in the storage that is about to move
    EXPECT_EQ(array.getCount(), 9);
    EXPECT_EQ(array[8].get(), 0);
    for (int i = 9; i < 17; ++i)
        array.insertAt(0, array.getLast());
    EXPECT_EQ(array.getCount(), 17);
    EXPECT_EQ(array[0].get(), 0);
    EXPECT_EQ(gLiveTokens, 17);
}

TEST_F(CArrayTest, InsertAndRemoveShiftElementsInOrder)
{
    CArray<CToken, 8> array;
    for (int i : {1, 2, 4, 5, 6, 7, 8})
        array.add(CToken(i));
    array.insertAt(-3, CToken(0));
    array.insertAt(3, CToken(3));  // ninth element: moves to the heap mid-insert
    array.insertAt(99, CToken(9)); // clamped to the end
    EXPECT_TRUE(holdsSequence(array, 10));
    EXPECT_EQ(array.indexOf(CToken(5)), 5);
    EXPECT_FALSE(array.contains(CToken(42)));

    array.removeAt(2, 3); // 2, 3, 4
    ASSERT_EQ(array.getCount(), 7);
    EXPECT_EQ(array[1].get(), 1);
    EXPECT_EQ(array[2].get(), 5);
    array.removeAt(5, 100); // 8, 9
    array.removeAt(-1);
    array.removeAt(5);
    EXPECT_EQ(array.getCount(), 5);
    EXPECT_EQ(gLiveTokens, 5);
    array.removeLast();
    EXPECT_EQ(array.getLast().get(), 6);
    int sum = 0;
    for (const CToken& token : array)
        sum += token.get();
    EXPECT_EQ(sum, 0 + 1 + 5 + 6);
}

TEST_F(CArrayTest, CopiesAndMovesBothInlineAndHeapStorage)
{
    for (int count : {5, 20})
    {
        CArray<CToken, 8> source;
        for (int i = 0; i < count; ++i)
            source.add(CToken(i));
        CArray<CToken, 8> copy(source);
        EXPECT_TRUE(holdsSequence(copy, count));
        EXPECT_EQ(gLiveTokens, 2 * count);

        CArray<CToken, 8> moved(std::move(copy));
        EXPECT_TRUE(holdsSequence(moved, count));
        EXPECT_EQ(copy.getCount(), 0);
        EXPECT_TRUE(copy.isInline());
        EXPECT_EQ(gLiveTokens, 2 * count);

        CArray<CToken, 8> assigned;
        assigned.add(CToken(99));
        assigned = source;
        EXPECT_TRUE(holdsSequence(assigned, count));
        assigned = std::move(moved);
        EXPECT_TRUE(holdsSequence(assigned, count));
        assigned = static_cast<const CArray<CToken, 8>&>(assigned);
        EXPECT_TRUE(holdsSequence(assigned, count));
        EXPECT_EQ(gLiveTokens, 2 * count);
    }
}

TEST_F(CArrayTest, ReserveGrowsByTheSameStepsAndHoldsStrings)
{
    CArray<kel::CString, 16> names;
    names.reserve(34);
    EXPECT_EQ(names.getCapacity(), 67);
    names.reserve(10);
    EXPECT_EQ(names.getCapacity(), 67);
    for (int i = 0; i < 40; ++i)
        names.add(kel::CString::format("a rather long parameter name number %d", i));
    EXPECT_EQ(names[39], "a rather long parameter name number 39");
    EXPECT_EQ(names.getCapacity(), 67);
}
