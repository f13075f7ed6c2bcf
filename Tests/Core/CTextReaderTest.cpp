#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CString.h"
#include "Core/CTextReader.h"
#include "Core/CTextWriter.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <string>

using namespace kel;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{
// Reads tokens out of a text; every test must give back all it takes from the allocator.
class CTextReaderTest : public testing::Test
{
protected:
    void SetUp() override { liveBefore = CAllocator::liveBlocks(); }
    void TearDown() override { EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "leaked blocks"; }

    int64_t liveBefore = 0;
};

} // namespace

TEST_F(CTextReaderTest, TokensSkipWhiteSpaceAndBothCommentFormsAndCountLines)
{
    const std::string text = "  first-id /* block\r\n comment */ \"a \\\"b\\\" \\n\\t\\x\"\r\n"
                             "// line comment\n"
                             "\tna\xC3\xAFve.2 \"\\u3A9\\U1F600\\u00e9\"  // trailing";
    CMemoryReader source(text.data(), text.size());
    CTextReader reader(&source, "tokens.txt");
    CString token;
    ASSERT_EQ(reader.parseId(token), nullptr);
    EXPECT_EQ(CUtf8::of(token), "first-id");
    EXPECT_EQ(reader.getLine(), 1);
    EXPECT_EQ(reader.getPos(), 10);
    ASSERT_EQ(reader.parseStr(token), nullptr);
    EXPECT_EQ(CUtf8::of(token), "a \"b\" \n\tx");
    EXPECT_EQ(reader.getLine(), 2) << "CR is dropped, LF counts";
    ASSERT_EQ(reader.parseId(token), nullptr);
    EXPECT_EQ(CUtf8::of(token), "na\xC3\xAFve.2");
    EXPECT_EQ(reader.getLine(), 4);
    EXPECT_EQ(reader.getPos(), 8);
    ASSERT_EQ(reader.parseStr(token), nullptr);
    EXPECT_EQ(CUtf8::of(token), "\xCE\xA9\xF0\x9F\x98\x80\xC3\xA9");
    EXPECT_EQ(token.getLength(), 4) << "the code point above 16 bits is a surrogate pair";
    bool atEnd = false;
    ASSERT_EQ(reader.isAtEnd(atEnd), nullptr);
    EXPECT_TRUE(atEnd);
    uint32_t c = 0;
    EXPECT_EQ(CErrorText::takeMessage(reader.readChar(c)),
              "Premature end of file (file 'tokens.txt', line 4, pos 42).");
}

TEST_F(CTextReaderTest, EveryFailureNamesFileLineAndPosition)
{
    struct Case
    {
        std::string text;
        bool asString;
        std::string message;
    };
    const Case cases[] = {
        {"\n  {", false, "Invalid character '{' encountered (file 'f.txt', line 2, pos 2)."},
        {"\n \xE2\x82\xAC", true,
         "String's starting quote expected (file 'f.txt', line 2, pos 1)."},
        {"  /* open", false, "Unfinished comment (file 'f.txt', line 1, pos 9)."},
        {"  // only a comment", false, "Premature end of file (file 'f.txt', line 1, pos 19)."},
        {"\"abc\ndef\"", true, "Unfinished line (file 'f.txt', line 1, pos 4)."},
        {"\"abc", true, "Premature end of file (file 'f.txt', line 1, pos 4)."},
        {"\"abc\\", true, "Premature end of file (file 'f.txt', line 1, pos 5)."},
        {"\"\\uxyz\"", true, "Empty hexadecimal value (file 'f.txt', line 1, pos 3)."},
        {"\"\\U7FFFFFFF\"", true, "Invalid hexadecimal value (file 'f.txt', line 1, pos 11)."},
        {"\"ab\xE2\x82", true, "Premature end of file (file 'f.txt', line 1, pos 3)."},
    };
    for (const Case& c : cases)
    {
        CMemoryReader source(c.text.data(), c.text.size());
        CTextReader reader(&source, "f.txt");
        CString token;
        EXPECT_EQ(
            CErrorText::takeMessage(c.asString ? reader.parseStr(token) : reader.parseId(token)),
            c.message);
    }
    // The invalid character is named as UTF-8 text.
    const std::string euro = "\xE2\x82\xAC";
    CMemoryReader source(euro.data(), euro.size());
    CTextReader reader(&source, "f.txt");
    uint32_t c = 0;
    bool atEnd = true;
    ASSERT_EQ(reader.peekChar(c, atEnd), nullptr);
    EXPECT_FALSE(atEnd);
    EXPECT_EQ(c, 0x20ACu);
    EXPECT_TRUE(CTextReader::isIdChar(c));
    const std::string brace = "=";
    CMemoryReader braceSource(brace.data(), brace.size());
    CTextReader braceReader(&braceSource, "");
    CString token;
    EXPECT_EQ(CErrorText::takeMessage(braceReader.parseId(token)),
              "Invalid character '=' encountered (file '', line 1, pos 0).");
}

TEST_F(CTextReaderTest, WriterIndentsLinesAndQuotedStringsReadBackUnitForUnit)
{
    CString tricky("tab\there \"quoted\" back\\slash\nline\rcr");
    tricky.appendUnit(1);
    tricky.appendCodePoint(0x1F600);
    tricky.appendCodePoint(0x3A9);

    CMemoryWriteBuffer out(128);
    CTextWriter writer(&out);
    ASSERT_EQ(writer.writeLine("list {"), nullptr);
    writer.indent();
    ASSERT_EQ(writer.write("name "), nullptr);
    ASSERT_EQ(writer.writeQuoted(tricky), nullptr);
    ASSERT_EQ(writer.newLine(), nullptr);
    ASSERT_EQ(writer.write("a\nb\n\n"), nullptr);
    writer.unindent();
    ASSERT_EQ(writer.write(CString("}")), nullptr);

    const std::string text(reinterpret_cast<const char*>(out.getData()), out.getSize());
    EXPECT_EQ(text, "list {\n    name \"tab\\there \\\"quoted\\\" back\\\\slash\\nline\\rcr"
                    "\\u0001\xF0\x9F\x98\x80\xCE\xA9\"\n    a\n    b\n\n}");

    CMemoryReader source(out.getData(), out.getSize());
    CTextReader reader(&source, "list.txt");
    CString token;
    ASSERT_EQ(reader.parseId(token), nullptr);
    EXPECT_TRUE(token == "list");
    ASSERT_EQ(reader.skipWhiteSpace(), nullptr);
    uint32_t brace = 0;
    ASSERT_EQ(reader.readChar(brace), nullptr);
    EXPECT_EQ(brace, static_cast<uint32_t>('{'));
    ASSERT_EQ(reader.parseId(token), nullptr);
    EXPECT_TRUE(token == "name");
    ASSERT_EQ(reader.parseStr(token), nullptr);
    EXPECT_TRUE(token == tricky);
    EXPECT_EQ(reader.getLine(), 2);
}
