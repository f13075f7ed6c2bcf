#include "Core/CAttrValue.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kel
{
namespace
{

TEST(CAttrValueTest, BoolConvertsToWordsAndNumbers)
{
    const CAttrValue yes(true);
    EXPECT_EQ(yes.getString(), "true");
    EXPECT_EQ(yes.getInt(), 1);
    EXPECT_EQ(yes.getDouble(), 1.0);
    EXPECT_EQ(CAttrValue(false).getString(), "false");
    EXPECT_EQ(CAttrValue(false).getInt(), 0);
    EXPECT_EQ(yes.getType(), CAttrValue::kTypeBool);
}

TEST(CAttrValueTest, DoubleGivesFourDecimalsAndRoundsHalvesAwayFromZero)
{
    EXPECT_EQ(CAttrValue(1.5).getString(), "1.5000");
    EXPECT_EQ(CAttrValue(-0.00001).getString(), "0.0000");
    EXPECT_EQ(CAttrValue(2.5).getInt(), 3);
    EXPECT_EQ(CAttrValue(-2.5).getInt(), -3);
    EXPECT_EQ(CAttrValue(2.4999).getInt(), 2);
    EXPECT_EQ(CAttrValue(-0.4).getInt(), 0);
    EXPECT_EQ(CAttrValue(1e12).getInt(), INT32_MAX);
    EXPECT_EQ(CAttrValue(-1e12).getInt(), INT32_MIN);
    EXPECT_TRUE(CAttrValue(0.25).getBool());
    EXPECT_FALSE(CAttrValue(0.0).getBool());
    int32_t out = 7;
    EXPECT_FALSE(CAttrValue(std::nan("")).tryGetInt(out));
    EXPECT_EQ(out, 0);
}

TEST(CAttrValueTest, IntConvertsExactly)
{
    const CAttrValue value(static_cast<int32_t>(-42));
    EXPECT_EQ(value.getString(), "-42");
    EXPECT_EQ(value.getDouble(), -42.0);
    EXPECT_TRUE(value.getBool());
    EXPECT_FALSE(CAttrValue(static_cast<int32_t>(0)).getBool());
    EXPECT_EQ(CAttrValue(INT32_MIN).getString(), "-2147483648");
}

TEST(CAttrValueTest, StringToBoolKnowsFourWords)
{
    bool out = true;
    EXPECT_TRUE(CAttrValue("1").tryGetBool(out));
    EXPECT_TRUE(out);
    EXPECT_TRUE(CAttrValue("true").getBool());
    EXPECT_TRUE(CAttrValue("false").tryGetBool(out));
    EXPECT_FALSE(out);
    EXPECT_FALSE(CAttrValue("0").getBool());
    out = true;
    EXPECT_FALSE(CAttrValue("yes").tryGetBool(out));
    EXPECT_FALSE(out);
    EXPECT_FALSE(CAttrValue("TRUE").tryGetBool(out));
    EXPECT_FALSE(CAttrValue("").tryGetBool(out));
}

TEST(CAttrValueTest, StringToDoubleTakesOnlyPlainDecimals)
{
    struct Case
    {
        const char* text;
        bool ok;
        double value;
    };
    const Case cases[] = {
        {"12.5", true, 12.5},  {"-0,25", true, -0.25}, {"7", true, 7.0},   {"3.", true, 3.0},
        {".5", true, 0.5},     {"1e3", false, 0.0},    {"+1", false, 0.0}, {"1-", false, 0.0},
        {"1.2.3", false, 0.0}, {" 1", false, 0.0},     {"", false, 0.0},   {"-", false, 0.0},
        {"1,5.0", false, 0.0}, {"0x10", false, 0.0},
    };
    for (const Case& c : cases)
    {
        double out = 99.0;
        const CAttrValue value(c.text);
        EXPECT_EQ(value.tryGetDouble(out), c.ok) << c.text;
        EXPECT_EQ(out, c.value) << c.text;
        EXPECT_EQ((value.getFlags() & CAttrValue::kHasDouble) != 0, c.ok) << c.text;
    }
}

TEST(CAttrValueTest, StringToIntReadsHexOctalAndDecimal)
{
    struct Case
    {
        const char* text;
        bool ok;
        int32_t value;
    };
    const Case cases[] = {
        {"42", true, 42},   {"-42", true, -42}, {"0x1F", true, 31}, {"0X1f", true, 31},
        {"#ff", true, 255}, {"$10", true, 16},  {"017", true, 15},  {"-0x10", true, -16},
        {"0", true, 0},     {"08", false, 0},   {"0xG", false, 0},  {"12a", false, 0},
        {"1.5", false, 0},  {"", false, 0},     {"abc", false, 0},  {"#", false, 0},
    };
    for (const Case& c : cases)
    {
        int32_t out = 99;
        EXPECT_EQ(CAttrValue(c.text).tryGetInt(out), c.ok) << c.text;
        EXPECT_EQ(out, c.value) << c.text;
    }
}

TEST(CAttrValueTest, ConversionIsKeptAndFailureLeavesTheBitClear)
{
    const CAttrValue number("25");
    EXPECT_EQ(number.getFlags(), static_cast<uint32_t>(CAttrValue::kHasString));
    EXPECT_EQ(number.getInt(), 25);
    EXPECT_EQ(number.getFlags(),
              static_cast<uint32_t>(CAttrValue::kHasString | CAttrValue::kHasInt));
    EXPECT_EQ(number.getType(), CAttrValue::kTypeString);

    const CAttrValue word("abc");
    EXPECT_EQ(word.getDouble(), 0.0);
    EXPECT_EQ(word.getFlags(), static_cast<uint32_t>(CAttrValue::kHasString));
}

TEST(CAttrValueTest, PointerConvertsToNothing)
{
    int target = 0;
    const CAttrValue value(static_cast<void*>(&target));
    EXPECT_EQ(value.getPointer(), &target);
    EXPECT_TRUE(value.getString().isEmpty());
    EXPECT_EQ(value.getFlags(), static_cast<uint32_t>(CAttrValue::kHasPointer));
    EXPECT_EQ(CAttrValue("x").getPointer(), nullptr);
}

TEST(CAttrValueTest, SameValueComparesTypeAndOriginal)
{
    EXPECT_TRUE(CAttrValue("5").isSameAs(CAttrValue("5")));
    EXPECT_FALSE(CAttrValue("5").isSameAs(CAttrValue(static_cast<int32_t>(5))));
    EXPECT_TRUE(CAttrValue(2.0).isSameAs(CAttrValue(2.0)));
    EXPECT_FALSE(CAttrValue(true).isSameAs(CAttrValue(false)));
}

} // namespace
} // namespace kel
