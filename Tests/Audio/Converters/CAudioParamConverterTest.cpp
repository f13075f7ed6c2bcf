#include "Audio/CAudioParamInfo.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "Audio/Converters/CAudioParamConverterEnum.h"
#include "Audio/Converters/CAudioParamConverterTime.h"
#include "Audio/Converters/CParamTestTree.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

using kel::CAudioParamConverter;
using kel::CAudioParamConverterEnum;
using kel::CAudioParamInfo;
using kel::CString;
using kel::test::CUtf8;

namespace
{

class CAudioParamConverterTest : public kel::paramtest::CParamTreeTest
{
protected:
    void SetUp() override
    {
        CParamTreeTest::SetUp();
        ASSERT_EQ(load(), "");
    }

    void TearDown() override
    {
        info = CAudioParamInfo();
        CParamTreeTest::TearDown();
    }

    // The converter of that name over the range min..max.
    const CAudioParamConverter& use(const char* name, double minValue, double maxValue)
    {
        const CAudioParamConverter& found = converter(name);
        info.setElement(0, const_cast<CAudioParamConverter*>(&found), minValue, maxValue);
        return found;
    }

    std::string format(const CAudioParamConverter& c, double value, int mode = 0)
    {
        CString out("stale");
        c.format(out, info, 0, value, 0, mode);
        return CUtf8::of(out);
    }

    double parse(const CAudioParamConverter& c, const char* input, bool* ok = nullptr)
    {
        return c.parse(info, 0, CString(input), ok);
    }

    CAudioParamInfo info;
};

double number(const char* input, bool& ok)
{
    double value = 42.0;
    ok = CAudioParamConverter::parseNumber(CString(input), value);
    return value;
}

} // namespace

TEST(CAudioParamConverterNumber, AcceptsBothDecimalMarksAndRejectsEverythingElse)
{
    bool ok = false;
    EXPECT_EQ(number("1,5", ok), 1.5);
    EXPECT_TRUE(ok);
    EXPECT_EQ(number("1.5", ok), 1.5);
    EXPECT_TRUE(ok);
    EXPECT_EQ(number("-0.25", ok), -0.25);
    EXPECT_EQ(number(".5", ok), 0.5);
    EXPECT_TRUE(ok);
    // A lone sign and the empty text are numbers (zero); the sign survives.
    EXPECT_EQ(number("-", ok), 0.0);
    EXPECT_TRUE(ok);
    EXPECT_TRUE(std::signbit(number("-", ok)));
    EXPECT_EQ(number("", ok), 0.0);
    EXPECT_TRUE(ok);
    for (const char* bad : {"1.5.2", "1,5.2", "1e3", "--3", "3-", "+3", " 3", "3 ", "0x10", "k"})
    {
        EXPECT_EQ(number(bad, ok), 0.0) << bad;
        EXPECT_FALSE(ok) << bad;
    }
    // Fraction digits beyond what a double holds neither overflow nor change the value.
    EXPECT_DOUBLE_EQ(number("0.12345678901234567890123456789", ok), 0.12345678901234568);
    EXPECT_TRUE(ok);
    // Wide text parses like narrow text.
    CString wide("12.5");
    wide.appendUnit(0x263A);
    wide.erase(4);
    ASSERT_TRUE(wide.isWide());
    double value = 0.0;
    EXPECT_TRUE(CAudioParamConverter::parseNumber(wide, value));
    EXPECT_EQ(value, 12.5);
}

TEST(CAudioParamConverterNumber, RoundsHalvesAwayFromZero)
{
    EXPECT_EQ(CAudioParamConverter::roundHalfAway(0.5), 1.0);
    EXPECT_EQ(CAudioParamConverter::roundHalfAway(-0.5), -1.0);
    EXPECT_EQ(CAudioParamConverter::roundHalfAway(2.4999), 2.0);
    EXPECT_EQ(CAudioParamConverter::roundHalfAway(-2.5), -3.0);
}

TEST_F(CAudioParamConverterTest, ParseClampedLimitsInEitherDirectionAndClampsTheFallback)
{
    const CAudioParamConverter& real = use("real", 0.0, 10.0);
    bool ok = false;
    EXPECT_EQ(real.parseClamped(info, 0, CString("12"), &ok), 10.0);
    EXPECT_TRUE(ok);
    EXPECT_EQ(real.parseClamped(info, 0, CString("-1"), &ok), 0.0);
    use("real", 10.0, 0.0);
    EXPECT_EQ(real.parseClamped(info, 0, CString("12"), &ok), 10.0);
    EXPECT_EQ(real.parseClamped(info, 0, CString("-1"), &ok), 0.0);
    EXPECT_EQ(real.parseClamped(info, 0, CString("4"), &ok), 4.0);
    // A bandwidth that does not parse falls back to 0.001 octaves, then to the range.
    const CAudioParamConverter& bw = use("bw", 0.1, 4.0);
    EXPECT_EQ(bw.parseClamped(info, 0, CString("wide"), &ok), 0.1);
    EXPECT_FALSE(ok);
    EXPECT_EQ(parse(bw, "wide"), 0.001);
}

TEST_F(CAudioParamConverterTest, FailedTextsGiveEachKindsFallback)
{
    bool ok = true;
    EXPECT_EQ(parse(use("real", 0, 1), "x", &ok), 0.0);
    EXPECT_FALSE(ok);
    EXPECT_EQ(parse(use("percent", 0, 1), "x"), 0.0);
    EXPECT_EQ(parse(use("ratio", 0.1, 1), "x"), 0.5);
    EXPECT_EQ(parse(use("ratio", 0.1, 1), "1:0"), 0.5);
    EXPECT_EQ(parse(use("gain", 0.1, 1), "x"), 1.0);
    EXPECT_EQ(parse(use("freq", 20, 20000), "x"), 0.0);
    EXPECT_EQ(parse(use("time", 0.001, 1), "x"), 0.0);
    EXPECT_EQ(parse(use("enum-zumbel", 0, 2), "x"), 0.0);
    // The ok flag is optional everywhere.
    EXPECT_EQ(parse(use("real", 0, 1), "0,5"), 0.5);
}

TEST_F(CAudioParamConverterTest, GainIsDecibelsOutsideAndAFactorInside)
{
    const CAudioParamConverter& gain = use("gain", std::exp(-36.0 / 8.685889638065037), 1.0);
    EXPECT_EQ(CUtf8::of(gain.getLabel()), "dB");
    EXPECT_NEAR(parse(gain, "-12.0"), 0.25118864315095801, 1e-16);
    EXPECT_NEAR(parse(gain, "-6,0"), 0.50118723362727224, 1e-16);
    EXPECT_EQ(parse(gain, "0"), 1.0);
    EXPECT_EQ(format(gain, 0.25118864315095801), "-12.0");
    EXPECT_EQ(format(gain, 0.25118864315095801, CAudioParamConverter::kFormatShort), "-12");
    EXPECT_EQ(format(gain, 1.0), "0.0");
    EXPECT_EQ(format(gain, 2.0), "6.0");
    EXPECT_NEAR(gain.toNormalised(info, 0, parse(gain, "-18")), 0.5, 1e-15);
    EXPECT_NEAR(gain.toValue(info, 0, 0.5), parse(gain, "-18"), 1e-15);
}

TEST_F(CAudioParamConverterTest, FreqTakesKiloSuffixAndSwitchesUnitsByRoundedText)
{
    const CAudioParamConverter& freq = use("freq", 20.0, 20000.0);
    EXPECT_EQ(parse(freq, "2k"), 2000.0);
    EXPECT_EQ(parse(freq, "2.5K"), 2500.0);
    EXPECT_EQ(parse(freq, "440"), 440.0);
    bool ok = true;
    parse(freq, "2kk", &ok);
    EXPECT_FALSE(ok);

    EXPECT_EQ(format(freq, 99.94), "99.9");
    EXPECT_EQ(format(freq, 99.96), "100");
    EXPECT_EQ(format(freq, 440.0), "440");
    EXPECT_EQ(format(freq, 999.4), "999");
    EXPECT_EQ(format(freq, 999.6), "1.00k");
    EXPECT_EQ(format(freq, 9994.0), "9.99k");
    EXPECT_EQ(format(freq, 9996.0), "10.0k");
    EXPECT_EQ(format(freq, 20000.0), "20.0k");

    const int kShort = CAudioParamConverter::kFormatShort;
    EXPECT_EQ(format(freq, 999.94, kShort), "999.9");
    EXPECT_EQ(format(freq, 999.96, kShort), "1.0k");
    EXPECT_EQ(format(freq, 9999.9, kShort), "10.0k");
    EXPECT_EQ(format(freq, 20000.0, kShort), "20k");

    EXPECT_NEAR(freq.toNormalised(info, 0, 632.4555320336759), 0.5, 1e-15);
    EXPECT_NEAR(freq.toValue(info, 0, 0.5), 632.4555320336759, 1e-12);
}

TEST_F(CAudioParamConverterTest, TimeScalesAndPicksDecimalsByMagnitude)
{
    const CAudioParamConverter& seconds = use("time-sec", 1.0, 90.0);
    EXPECT_EQ(format(seconds, 30.0), "30.0");
    EXPECT_EQ(format(seconds, 0.5), "0.50");
    EXPECT_EQ(format(seconds, 9.4), "9.40");
    EXPECT_EQ(format(seconds, 9.6), "9.6");
    EXPECT_EQ(format(seconds, 150.0), "150");
    EXPECT_EQ(parse(seconds, "30"), 30.0);

    const int kShort = CAudioParamConverter::kFormatShort;
    EXPECT_EQ(format(seconds, 0.5, kShort), "0.5");
    EXPECT_EQ(format(seconds, 30.0, kShort), "30");
    EXPECT_EQ(format(seconds, 1500.0, kShort), "1.5*");

    // Milliseconds: the value stays in seconds.
    const CAudioParamConverter& ms = use("time", 0.001, 1.0);
    EXPECT_EQ(parse(ms, "250"), 0.25);
    EXPECT_EQ(format(ms, 0.25), "250");
    EXPECT_EQ(format(ms, 0.0305), "30.5");
    EXPECT_EQ(format(ms, 0.005), "5.00");
    EXPECT_EQ(format(ms, 2.5, kShort), "2.5*");

    // Exact times keep all decimals; precise ones add one.
    const CAudioParamConverter& exact = use("time-exact", 0.0, 1.0);
    EXPECT_EQ(format(exact, 0.25), "250.000");
    EXPECT_EQ(format(exact, 0.0305), "30.500");
    const auto& exactTime = static_cast<const kel::CAudioParamConverterTime&>(exact);
    EXPECT_EQ(exactTime.getDecimals(), 1);
    EXPECT_EQ(exactTime.getScale(), 0.001);
}

TEST_F(CAudioParamConverterTest, TimeMappingFollowsLogExactOrSquareLaw)
{
    const double lo = 0.01;
    const double hi = 1.0;
    // Square law for plain times, logarithmic with is-log, linear with is-exact.
    EXPECT_NEAR(use("time", lo, hi).toNormalised(info, 0, lo + 0.25 * (hi - lo)), 0.5, 1e-15);
    EXPECT_NEAR(use("timelog", lo, hi).toNormalised(info, 0, 0.1), 0.5, 1e-15);
    EXPECT_NEAR(use("time-exact", lo, hi).toNormalised(info, 0, lo + 0.5 * (hi - lo)), 0.5, 1e-15);
    for (const char* name : {"time", "timelog", "time-exact", "time-sec"})
    {
        const CAudioParamConverter& c = use(name, lo, hi);
        for (double x : {0.0, 0.3, 0.7, 1.0})
            EXPECT_NEAR(c.toNormalised(info, 0, c.toValue(info, 0, x)), x, 1e-14) << name;
    }
}

TEST_F(CAudioParamConverterTest, PercentRealBwAndRatioFormatTheirWay)
{
    const int kShort = CAudioParamConverter::kFormatShort;
    const CAudioParamConverter& percent = use("percent", 0.0, 0.5);
    EXPECT_EQ(parse(percent, "25"), 0.25);
    EXPECT_EQ(format(percent, 0.25), "25.0");
    EXPECT_EQ(format(percent, 0.25, kShort), "25");

    const CAudioParamConverter& real = use("real", 0.0, 10.0);
    EXPECT_EQ(format(real, 1.234), "1.23");
    EXPECT_EQ(format(real, 1.234, kShort), "1");
    EXPECT_EQ(format(use("phase", 0, 1), 0.25), "0.2");

    const CAudioParamConverter& bw = use("bw", 0.1, 4.0);
    EXPECT_EQ(CUtf8::of(bw.getLabel()), "Oct");
    EXPECT_EQ(format(bw, 1.0 / 3.0), "0.33");
    EXPECT_EQ(format(bw, 2.0, kShort), "2.00");
    EXPECT_NEAR(bw.toNormalised(info, 0, 0.1 + 0.25 * 3.9), 0.5, 1e-15);

    const CAudioParamConverter& ratio = use("ratio", 0.01, 1.0);
    EXPECT_EQ(parse(ratio, "1:4"), 0.25);
    EXPECT_EQ(parse(ratio, "4"), 4.0);
    EXPECT_EQ(format(ratio, 0.25), "1:4.0");
    EXPECT_EQ(format(ratio, 2.0), "2.0:1");
    EXPECT_EQ(format(ratio, 0.05), "1:20");
    const CAudioParamConverter& ratio2 = use("ratio2", 0.01, 1.0);
    EXPECT_EQ(format(ratio2, 0.25), "1:4.00");
    EXPECT_EQ(format(ratio2, 0.25, kShort), "1:4.0");
    EXPECT_EQ(parse(ratio2, CUtf8::of(CString("1:") + CString("4.00")).c_str()), 0.25);
    EXPECT_NEAR(ratio.toNormalised(info, 0, 0.1), 0.5, 1e-15);
}

TEST_F(CAudioParamConverterTest, EnumPrintsStateNamesAndReserveOutsideTheList)
{
    const CAudioParamConverter& zumbel = use("enum-zumbel", 0.0, 2.0);
    EXPECT_EQ(format(zumbel, 0.0), "Beep");
    EXPECT_EQ(format(zumbel, 1.4), "Noise");
    EXPECT_EQ(format(zumbel, 1.5), "Mute");
    EXPECT_EQ(format(zumbel, 3.0), "Reserve");
    EXPECT_EQ(format(zumbel, -1.0), "Reserve");
    EXPECT_EQ(format(use("enum", 0.0, 1.0), 0.0), "Reserve");

    // The index counts from the parameter's minimum.
    const CAudioParamConverter& enable = use("enum-enable", 1.0, 2.0);
    EXPECT_EQ(format(enable, 1.0), "Off");
    EXPECT_EQ(format(enable, 2.0), "On");

    const CAudioParamConverter& gate = use("enum-kelgate", 0.0, 2.0);
    const int kShortName = CAudioParamConverter::kFormatShortName;
    EXPECT_EQ(format(gate, 1.0), "Cutoff A");
    EXPECT_EQ(format(gate, 1.0, kShortName), "CutA");
    EXPECT_EQ(format(gate, 0.0, kShortName), "Fall");
    EXPECT_EQ(format(gate, 0.0, CAudioParamConverter::kFormatShort), "Fall");
}

TEST_F(CAudioParamConverterTest, EnumParsesIntegersInFourRadixesButNoNames)
{
    const CAudioParamConverter& e = use("enum-zumbel", 0.0, 2.0);
    bool ok = false;
    EXPECT_EQ(parse(e, "$1F", &ok), 31.0);
    EXPECT_TRUE(ok);
    EXPECT_EQ(parse(e, "0x1f", &ok), 31.0);
    EXPECT_EQ(parse(e, "#1f", &ok), 31.0);
    EXPECT_EQ(parse(e, "017", &ok), 15.0);
    EXPECT_EQ(parse(e, "0", &ok), 0.0);
    EXPECT_TRUE(ok);
    EXPECT_EQ(parse(e, "-2", &ok), -2.0);
    EXPECT_TRUE(ok);
    for (const char* bad : {"08", "Beep", "1.0", "12a", "0xg"})
    {
        parse(e, bad, &ok);
        EXPECT_FALSE(ok) << bad;
    }
    EXPECT_EQ(e.parseClamped(info, 0, CString("7"), &ok), 2.0);
}

TEST_F(CAudioParamConverterTest, EnumMapsLinearlyAndRoundsBackToWholeStates)
{
    const CAudioParamConverter& e = use("enum-zumbel", 0.0, 2.0);
    EXPECT_EQ(e.toValue(info, 0, 0.25), 1.0);
    EXPECT_EQ(e.toValue(info, 0, 0.24), 0.0);
    EXPECT_EQ(e.toNormalised(info, 0, 1.0), 0.5);
    use("enum-zumbel", -2.0, 2.0);
    EXPECT_EQ(e.toValue(info, 0, 0.375), -1.0);
    // A descending range maps the other way round.
    use("enum-zumbel", 2.0, 0.0);
    EXPECT_EQ(e.toValue(info, 0, 0.0), 2.0);
    EXPECT_EQ(e.toValue(info, 0, 1.0), 0.0);
}

TEST_F(CAudioParamConverterTest, TextPrintsTheTableStringAndParsesNothing)
{
    const CAudioParamConverter& t = use("text", 0.0, CAudioParamInfo::kStringIdMax);
    info.getDefaults().setFormat(1, CAudioParamInfo::kTypeString);
    const int32_t id = info.getDefaults().getStrings().addString(CString("Front"));
    EXPECT_EQ(format(t, id), "Front");
    EXPECT_EQ(format(t, id + 0.4), "Front");
    EXPECT_EQ(format(t, id + 7), "");
    bool ok = true;
    EXPECT_EQ(t.parseClamped(info, 0, CString("Front"), &ok), 0.0);
    EXPECT_FALSE(ok);
}

TEST_F(CAudioParamConverterTest, DescendingRangesMapBothWays)
{
    struct Case
    {
        const char* name;
        double minValue;
        double maxValue;
    };
    for (const Case& c :
         {Case{"real", 10.0, -10.0}, Case{"gain", 1.0, 0.01}, Case{"freq", 20000.0, 20.0},
          Case{"bw", 4.0, 0.1}, Case{"time", 1.0, 0.001}, Case{"percent", 1.0, 0.0}})
    {
        const CAudioParamConverter& conv = use(c.name, c.minValue, c.maxValue);
        EXPECT_NEAR(conv.toValue(info, 0, 0.0), c.minValue, 1e-14 * std::fabs(c.minValue))
            << c.name;
        EXPECT_NEAR(conv.toValue(info, 0, 1.0), c.maxValue, 1e-14 * std::fabs(c.minValue))
            << c.name;
        EXPECT_NEAR(conv.toNormalised(info, 0, c.maxValue), 1.0, 1e-12) << c.name;
        for (double x : {0.1, 0.5, 0.9})
            EXPECT_NEAR(conv.toNormalised(info, 0, conv.toValue(info, 0, x)), x, 1e-12) << c.name;
    }
}

TEST_F(CAudioParamConverterTest, EnumStatesSplitOnSemicolonsAndBars)
{
    const auto& filters =
        static_cast<const CAudioParamConverterEnum&>(converter("enum-filters-std"));
    ASSERT_EQ(filters.getStateCount(), 6);
    EXPECT_EQ(CUtf8::of(filters.getLongName(2)), "Lo-shelf");
    EXPECT_EQ(CUtf8::of(filters.getShortName(2)), "Lo-shlf");
    EXPECT_EQ(CUtf8::of(filters.getShortName(5)), "Hi-pass");
    EXPECT_EQ(static_cast<const CAudioParamConverterEnum&>(converter("enum")).getStateCount(), 0);
    EXPECT_EQ(CUtf8::of(filters.getLabel()), "");
}

namespace
{

// Decimals that are no integer of 0 or more fail the converter's init.
class CAudioParamConverterDecimalsTest : public kel::paramtest::CParamTreeTest,
                                         public ::testing::WithParamInterface<const char*>
{
};

} // namespace

TEST_P(CAudioParamConverterDecimalsTest, InvalidDecimalsFailInit)
{
    for (const char* bad : {"-1", "x", "1.5"})
    {
        source = kel::CTreeBlobWriter::Node();
        source.add(GetParam(), "bad").attr("label", "").attr("decimals", bad);
        EXPECT_EQ(load(), std::string("Invalid decimals ") + bad + " specified.") << GetParam();
    }
    source = kel::CTreeBlobWriter::Node();
    source.add(GetParam(), "good").attr("label", "").attr("decimals", "0");
    EXPECT_EQ(load(), "");
}

INSTANTIATE_TEST_SUITE_P(Kinds, CAudioParamConverterDecimalsTest,
                         ::testing::Values("audio:cvt-gain", "audio:cvt-ratio", "audio:cvt-real"));
