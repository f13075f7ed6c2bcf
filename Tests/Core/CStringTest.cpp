#include "Core/CString.h"

#include "Core/CAllocator.h"
#include "Core/CError.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

using kel::CString;
using kel::test::CUtf8;

namespace
{
// Every test must give back every block it took.
class CStringTest : public testing::Test
{
protected:
    void SetUp() override { liveBefore = kel::CAllocator::liveBlocks(); }
    void TearDown() override { EXPECT_EQ(kel::CAllocator::liveBlocks(), liveBefore); }

private:
    int64_t liveBefore = 0;
};

// Units 'a', 'b', ... in the narrow form, or offset by 0x400 (Cyrillic) in the wide form.
CString makeRun(int count, bool wide)
{
    CString text;
    for (int i = 0; i < count; ++i)
        text.appendUnit(static_cast<uint16_t>((wide ? 0x400 : 'a') + i % 26));
    return text;
}

bool hasUnits(const CString& text, int count, bool wide)
{
    if (text.getLength() != count)
        return false;
    for (int i = 0; i < count; ++i)
    {
        if (text.getUnit(i) != static_cast<uint16_t>((wide ? 0x400 : 'a') + i % 26))
            return false;
    }
    return true;
}

CString decode(const std::string& bytes)
{
    return CString::fromUtf8(bytes.data(), bytes.size());
}

std::vector<uint16_t> unitsOf(const CString& text)
{
    std::vector<uint16_t> units;
    for (int i = 0; i < text.getLength(); ++i)
        units.push_back(text.getUnit(i));
    return units;
}
} // namespace

TEST_F(CStringTest, InlineBufferHoldsThirtyTwoUnitsInEitherForm)
{
    for (bool wide : {false, true})
    {
        for (int count : {31, 32, 33})
        {
            SCOPED_TRACE(testing::Message() << "wide " << wide << " count " << count);
            CString text = makeRun(count, wide);
            EXPECT_EQ(text.isWide(), wide);
            EXPECT_EQ(text.isInline(), count <= CString::kInlineUnits);
            EXPECT_TRUE(hasUnits(text, count, wide));
            EXPECT_EQ(text.getUnit(count), 0);
            EXPECT_EQ(text.getUnit(-1), 0);
            if (wide)
                EXPECT_EQ(text.getWide()[count], 0);
            else
                EXPECT_EQ(text.getNarrow()[count], 0);

            CString copy(text);
            EXPECT_EQ(copy, text);
            EXPECT_EQ(copy.isWide(), wide);
            CString moved(std::move(copy));
            EXPECT_TRUE(hasUnits(moved, count, wide));
            EXPECT_TRUE(copy.isEmpty());
            EXPECT_TRUE(copy.isInline());

            CString assigned("x");
            assigned = moved;
            EXPECT_EQ(assigned, text);
            assigned = std::move(moved);
            EXPECT_EQ(assigned, text);
            assigned = static_cast<const CString&>(assigned);
            EXPECT_TRUE(hasUnits(assigned, count, wide));

            // Shrinking back over the boundary keeps the text intact.
            assigned.erase(count - 2);
            EXPECT_TRUE(hasUnits(assigned, count - 2, wide));
        }
    }
}

TEST_F(CStringTest, TurnsWideInTheMiddleOfOperationsAndKeepsItsUnits)
{
    // Inline, full: the wide unit needs the heap and the old units must follow.
    CString full = makeRun(32, false);
    full.appendUnit(0x263A);
    EXPECT_TRUE(full.isWide());
    EXPECT_FALSE(full.isInline());
    ASSERT_EQ(full.getLength(), 33);
    EXPECT_EQ(full.substring(0, 32), makeRun(32, false));
    EXPECT_EQ(full.getUnit(32), 0x263A);

    // Inline with room: widens in place.
    CString small = makeRun(20, false);
    small.appendUnit(0x100);
    EXPECT_TRUE(small.isWide());
    EXPECT_TRUE(small.isInline());
    EXPECT_EQ(small.substring(0, 20), makeRun(20, false));

    // On the heap: a narrow heap buffer becomes a wide one.
    CString big = makeRun(50, false);
    big.insert(25, CString::fromUtf8("\xE2\x82\xAC")); // euro sign, U+20AC
    ASSERT_EQ(big.getLength(), 51);
    EXPECT_TRUE(big.isWide());
    EXPECT_EQ(big.getUnit(24), makeRun(50, false).getUnit(24));
    EXPECT_EQ(big.getUnit(25), 0x20AC);
    EXPECT_EQ(big.getUnit(26), makeRun(50, false).getUnit(25));

    // setUnit above 255 widens as well; the narrow units around it stay.
    CString word("abc");
    word.setUnit(1, 0x3B1);
    EXPECT_TRUE(word.isWide());
    EXPECT_EQ(unitsOf(word), (std::vector<uint16_t>{'a', 0x3B1, 'c'}));

    // Copies and substrings take the narrow form when their units allow it.
    CString tail = big.substring(26);
    EXPECT_FALSE(tail.isWide());
    word.setUnit(1, 'b');
    CString copy;
    copy = word;
    EXPECT_FALSE(copy.isWide());
    EXPECT_EQ(copy, "abc");
}

TEST_F(CStringTest, Utf8RoundTripKeepsEverySequenceLengthAndUsesSurrogatePairsAboveBmp)
{
    // 1, 2, 3 and 4 byte sequences: 'A', e-acute, euro sign, G clef (U+1D11E).
    const std::string text = "A\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E!";
    CString decoded = decode(text);
    EXPECT_TRUE(decoded.isWide());
    EXPECT_EQ(unitsOf(decoded), (std::vector<uint16_t>{'A', 0xE9, 0x20AC, 0xD834, 0xDD1E, '!'}));
    EXPECT_EQ(decoded.getUtf8Length(), static_cast<int>(text.size()));
    EXPECT_EQ(CUtf8::of(decoded), text);

    // Turning wide while decoding, on the heap: the narrow units before stay in place.
    const std::string longText = std::string(40, 'x') + "\xE2\x82\xAC" + std::string(40, 'y');
    CString longDecoded = decode(longText);
    ASSERT_EQ(longDecoded.getLength(), 81);
    EXPECT_TRUE(longDecoded.isWide());
    EXPECT_EQ(longDecoded.getUnit(39), 'x');
    EXPECT_EQ(longDecoded.getUnit(40), 0x20AC);
    EXPECT_EQ(longDecoded.getUnit(80), 'y');
    EXPECT_EQ(CUtf8::of(longDecoded), longText);

    // Latin-1 only stays narrow.
    CString latin = decode("caf\xC3\xA9");
    EXPECT_FALSE(latin.isWide());
    EXPECT_STREQ(latin.getNarrow(), "caf\xE9");

    // Highest code point and a lone surrogate both travel unchanged.
    CString edge;
    edge.appendCodePoint(0x10FFFF);
    edge.appendUnit(0xDC00);
    edge.appendUnit('x');
    EXPECT_EQ(CUtf8::of(edge), "\xF4\x8F\xBF\xBF\xED\xB0\x80x");
    EXPECT_EQ(decode(CUtf8::of(edge)), edge);
}

TEST_F(CStringTest, Utf8OutputIsCutAtSequenceBoundaries)
{
    CString text = decode("a\xE2\x82\xAC"
                          "b"); // a, euro, b: 1 + 3 + 1 bytes
    char out[8];
    std::memset(out, 'Z', sizeof(out));
    EXPECT_EQ(text.toUtf8(out, 4), 5);
    EXPECT_STREQ(out, "a"); // the euro sign needs 3 bytes and a terminator
    EXPECT_EQ(out[2], 'Z');
    EXPECT_EQ(text.toUtf8(out, 5), 5);
    EXPECT_STREQ(out, "a\xE2\x82\xAC");
    EXPECT_EQ(text.toUtf8(out, 1), 5);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(text.toUtf8(nullptr, 100), 5);
    EXPECT_EQ(text.toUtf8(out, 0), 5);
}

TEST_F(CStringTest, InvalidUtf8IsDroppedOrEndsDecodingButNeverReadsBeyondTheData)
{
    // A stray continuation byte and a lead byte of no known form are dropped.
    EXPECT_EQ(decode("a\x80"
                     "b\xFF"
                     "c"),
              "abc");
    // A lead byte whose continuation is missing is dropped, the next byte is read anew.
    EXPECT_EQ(decode("a\xC3"
                     "bc"),
              "abc");
    EXPECT_EQ(decode("a\xE2\x82"
                     "b"),
              "ab");
    // A sequence cut by the end of the data ends decoding.
    EXPECT_EQ(decode("ab\xF0\x9D\x84"), "ab");
    // A zero, plain or overlong, ends the string.
    EXPECT_EQ(decode(std::string("ab\0cd", 5)), "ab");
    EXPECT_EQ(decode("ab\xC0\x80"
                     "cd"),
              "ab");
    // Beyond U+10FFFF: the replacement character.
    EXPECT_EQ(unitsOf(decode("\xF7\xBF\xBF\xBF")), (std::vector<uint16_t>{0xFFFD}));
    EXPECT_TRUE(CString::fromUtf8(nullptr, 5).isEmpty());
    EXPECT_TRUE(CString::fromUtf8("abc", 0).isEmpty());

    // Whatever comes in, what comes out is UTF-8 that decodes to the same units. Each input sits
    // in a buffer of its exact size, so AddressSanitizer sees any read past the end.
    std::mt19937 random(12345);
    for (int round = 0; round < 3000; ++round)
    {
        const size_t size = random() % 48;
        std::vector<char> bytes(size);
        for (char& byte : bytes)
            byte = static_cast<char>(random() % 4 == 0 ? 0x80 | random() % 64 : random() % 256);
        CString decoded = CString::fromUtf8(bytes.data(), size);
        EXPECT_EQ(decode(CUtf8::of(decoded)), decoded);
    }
}

TEST_F(CStringTest, ComparesByCodeUnitAcrossForms)
{
    CString wideAbc("abc");
    wideAbc.appendUnit(0x100);
    wideAbc.erase(3);
    ASSERT_TRUE(wideAbc.isWide());
    EXPECT_EQ(wideAbc, CString("abc"));
    EXPECT_EQ(wideAbc, "abc");
    EXPECT_EQ(wideAbc.compare(CString("abd")), -1);
    EXPECT_EQ(CString("abd").compare(wideAbc), 1);

    // Order: prefix first, then unit values; upper case before lower, Latin-1 before wide.
    const CString eAcute = decode("\xC3\xA9");
    const CString aMacron = decode("\xC4\x81");
    std::vector<CString> sorted = {"", "Z", "a", "ab", "b", eAcute, aMacron};
    for (size_t i = 0; i + 1 < sorted.size(); ++i)
    {
        EXPECT_LT(sorted[i], sorted[i + 1]) << i;
        EXPECT_GT(sorted[i + 1], sorted[i]) << i;
        EXPECT_NE(sorted[i], sorted[i + 1]) << i;
    }
    EXPECT_LT(CString("ab"), CString("abc").substring(0, 3));
    EXPECT_LT(CString("abc").compare("abcd"), 0);
    EXPECT_GT(CString("abcd").compare("abc"), 0);
    EXPECT_EQ(CString().compare(nullptr), 0);

    // Case folding covers ASCII and Latin-1 letters only.
    EXPECT_TRUE(decode("\xC3\x89"
                       "COLE")
                    .equalsNoCase(decode("\xC3\xA9"
                                         "cole")));
    EXPECT_FALSE(CString("a").equalsNoCase("b"));
    EXPECT_LT(CString("ABC").compareNoCase("abd"), 0);
    CString word = decode("Stra\xC3\x9F"
                          "e \xC3\x89t\xC3\xA9");
    word.toUpperCase();
    EXPECT_EQ(word, decode("STRA\xC3\x9F"
                           "E \xC3\x89T\xC3\x89"));
    word.toLowerCase();
    EXPECT_EQ(word, decode("stra\xC3\x9F"
                           "e \xC3\xA9t\xC3\xA9"));
}

TEST_F(CStringTest, EditingClampsIndicesAndCopesWithItsOwnText)
{
    CString text("hello world");
    text.insert(-5, "[");
    text.insert(1000, "]");
    EXPECT_EQ(text, "[hello world]");
    text.erase(6, 1000);
    EXPECT_EQ(text, "[hello");
    text.erase(-1, 2);
    text.erase(6);
    EXPECT_EQ(text, "[hello");
    text.erase(0, 1);
    text.append(text);
    EXPECT_EQ(text, "hellohello");
    text.insert(5, text);
    EXPECT_EQ(text, "hellohellohellohello");
    text = text.getNarrow() + 15; // a piece of its own buffer
    EXPECT_EQ(text, "hello");

    EXPECT_EQ(CString("abcabc").find("bc"), 1);
    EXPECT_EQ(CString("abcabc").find("bc", 2), 4);
    EXPECT_EQ(CString("abcabc").find("bc", 99), -1);
    EXPECT_EQ(CString("abc").find(""), 0);
    EXPECT_EQ(CString("ab").find("abc"), -1);
    EXPECT_EQ(CString("abcabc").findLast("bc"), 4);
    EXPECT_EQ(CString("abcabc").findLast("bc", 3), 1);
    EXPECT_EQ(CString("a.b.c").findUnit('.'), 1);
    EXPECT_EQ(CString("a.b.c").findLastUnit('.'), 3);
    EXPECT_EQ(CString("a.b.c").findLastUnit('.', 2), 1);
    EXPECT_EQ(CString("abc").findUnit('x'), -1);
    EXPECT_EQ(CString("abc").substring(1), "bc");
    EXPECT_EQ(CString("abc").substring(-3, 2), "ab");
    EXPECT_EQ(CString("abc").substring(5, 2), "");
    EXPECT_TRUE(CString("plugin.param").startsWith("plugin."));
    EXPECT_TRUE(CString("plugin.param").endsWith(".param"));
    EXPECT_FALSE(CString("a").endsWith("ba"));

    // The same operations on wide text.
    CString wide =
        decode("\xCE\xB1\xCE\xB2\xCE\xB3\xCE\xB1\xCE\xB2"); // alpha beta gamma alpha beta
    EXPECT_EQ(wide.find(decode("\xCE\xB2")), 1);
    EXPECT_EQ(wide.findLast(decode("\xCE\xB1\xCE\xB2")), 3);
    wide.erase(1, 2);
    EXPECT_EQ(wide, decode("\xCE\xB1\xCE\xB1\xCE\xB2"));
    wide.insert(1, "-");
    EXPECT_EQ(wide, decode("\xCE\xB1-\xCE\xB1\xCE\xB2"));
}

TEST_F(CStringTest, WildcardsMatchRunsAndSingleUnits)
{
    EXPECT_TRUE(CString("Audio WaveLab Pro 11").matchesWildcard("*WaveLab*"));
    EXPECT_TRUE(CString("WaveLab").matchesWildcard("*WaveLab*"));
    EXPECT_FALSE(CString("Wavelab").matchesWildcard("*WaveLab*"));
    EXPECT_TRUE(CString("Wavelab").matchesWildcard("*WaveLab*", true));
    EXPECT_FALSE(CString("WaveLa").matchesWildcard("*WaveLab*"));
    EXPECT_TRUE(CString("abcbcd").matchesWildcard("a*bcd"));
    EXPECT_TRUE(CString("axbxcx").matchesWildcard("a*b*c?"));
    EXPECT_FALSE(CString("axbxc").matchesWildcard("a*b*c?"));
    EXPECT_TRUE(CString("").matchesWildcard("*"));
    EXPECT_TRUE(CString("").matchesWildcard(""));
    EXPECT_FALSE(CString("a").matchesWildcard(""));
    EXPECT_FALSE(CString("").matchesWildcard("?"));
    EXPECT_TRUE(decode("x\xE2\x82\xACy").matchesWildcard("x?y"));
    EXPECT_TRUE(decode("\xCE\x91\xCE\x92").matchesWildcard(decode("*\xCE\x92")));
}

TEST_F(CStringTest, FormatsLikePrintfBeyondAnyFixedBuffer)
{
    EXPECT_EQ(CString::format("%d-%s-%.2f", -5, "x", 0.5), "-5-x-0.50");
    CString text("n=");
    text.appendFormat("%05d", 42);
    EXPECT_EQ(text, "n=00042");
    const std::string longText(1000, 'q');
    CString big = CString::format("<%s>", longText.c_str());
    EXPECT_EQ(big.getLength(), 1002);
    EXPECT_EQ(big.getUnit(1000), 'q');
    EXPECT_EQ(big.getUnit(1001), '>');
}

TEST_F(CStringTest, NumbersTurnToTextWithFourDecimalsAndBack)
{
    EXPECT_EQ(CString::fromDouble(1.23456), "1.2346");
    EXPECT_EQ(CString::fromDouble(-1.5), "-1.5000");
    EXPECT_EQ(CString::fromDouble(0.0), "0.0000");
    EXPECT_EQ(CString::fromDouble(-0.0), "0.0000");
    EXPECT_EQ(CString::fromDouble(-0.00004), "0.0000");
    EXPECT_EQ(CString::fromDouble(-0.00005), "-0.0001");
    EXPECT_EQ(CString::fromDouble(1e300).getLength(), 301 + 5);
    EXPECT_EQ(CString::fromDouble(1.0 / 0.0), "inf");
    EXPECT_EQ(CString::fromDouble(-1.0 / 0.0), "-inf");
    EXPECT_EQ(CString::fromDouble(0.0 / 0.0), "nan");
    EXPECT_EQ(CString::fromInt(-2147483648LL), "-2147483648");
    EXPECT_EQ(CString::fromInt(INT64_MIN), "-9223372036854775808");
    EXPECT_EQ(CString::fromBool(true), "true");
    EXPECT_EQ(CString::fromBool(false), "false");

    double value = 7.0;
    EXPECT_TRUE(CString::fromDouble(1e300).parseDouble(value));
    EXPECT_EQ(value, 1e300);
    EXPECT_TRUE(CString::fromDouble(-1.0 / 3.0).parseDouble(value));
    EXPECT_EQ(value, -0.3333);
    const char* goodDoubles[] = {"1.5", "1,5", "-2", ".5", "5.", "-0", "007.250"};
    const double goodValues[] = {1.5, 1.5, -2.0, 0.5, 5.0, 0.0, 7.25};
    for (int i = 0; i < 7; ++i)
    {
        EXPECT_TRUE(CString(goodDoubles[i]).parseDouble(value)) << goodDoubles[i];
        EXPECT_EQ(value, goodValues[i]) << goodDoubles[i];
    }
    const std::string tooBig = "1" + std::string(400, '0');
    for (const char* bad : {"", "-", ".", "1.2.3", "1,2.3", "1e5", "--1", "1-", " 1", "1 ", "+1",
                            "0x10", "inf", "nan", tooBig.c_str()})
    {
        value = 7.0;
        EXPECT_FALSE(CString(bad).parseDouble(value)) << bad;
        EXPECT_EQ(value, 0.0) << bad;
    }
    EXPECT_FALSE(decode("1\xD9\xA3").parseDouble(value)); // an Arabic-Indic digit is no digit

    int32_t number = 7;
    const char* goodInts[] = {"42",  "-42",        "0x1F",        "0X1f",       "#ff",
                              "$10", "017",        "0",           "-0x1",       "0xFFFFFFFF",
                              "-0",  "2147483647", "-2147483648", "0x80000000", "-#10"};
    const int32_t goodIntValues[] = {42, -42, 31, 31,         255,       16,        15, 0,
                                     -1, -1,  0,  2147483647, INT32_MIN, INT32_MIN, -16};
    for (int i = 0; i < 15; ++i)
    {
        EXPECT_TRUE(CString(goodInts[i]).parseInt(number)) << goodInts[i];
        EXPECT_EQ(number, goodIntValues[i]) << goodInts[i];
    }
    for (const char* bad : {"", "-", "0x", "#", "08", "019", "12a", "0xG", " 1", "1 ", "+1",
                            "2147483648", "-2147483649", "0x100000000", "1.0", "--1"})
    {
        number = 7;
        EXPECT_FALSE(CString(bad).parseInt(number)) << bad;
        EXPECT_EQ(number, 0) << bad;
    }

    bool flag = true;
    EXPECT_TRUE(CString("true").parseBool(flag));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(CString("1").parseBool(flag));
    EXPECT_TRUE(flag);
    EXPECT_TRUE(CString("false").parseBool(flag));
    EXPECT_FALSE(flag);
    EXPECT_TRUE(CString("0").parseBool(flag));
    EXPECT_FALSE(flag);
    for (const char* bad : {"", "TRUE", "yes", "2", "true ", "01"})
    {
        flag = true;
        EXPECT_FALSE(CString(bad).parseBool(flag)) << bad;
        EXPECT_FALSE(flag) << bad;
    }
}

TEST_F(CStringTest, ErrorArgumentsTakeTheTextAsUtf8)
{
    CString name = decode("Ger\xC3\xA4t \xE2\x82\xAC");
    CString longName = makeRun(40, true);
    kel::CError* error =
        kel::CError::create("@kelstr_Test_op Name '%1', long '%2'.", name, longName);
    const std::string expected =
        "Name '" + CUtf8::of(name) + "', long '" + CUtf8::of(longName) + "'.";
    EXPECT_EQ(std::string(error->getMessage()), expected);
    delete error;

    // A copied argument keeps its own text.
    kel::CErrorArg original(longName);
    kel::CErrorArg copied(original);
    EXPECT_STREQ(copied.getText(), original.getText());
    EXPECT_NE(copied.getText(), original.getText());
}
