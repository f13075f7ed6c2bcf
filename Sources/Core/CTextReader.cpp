#include "Core/CTextReader.h"

#include "Core/CInputStream.h"
#include "Core/CString.h"

#include <cstring>

namespace kel
{

namespace
{
// Code point as UTF-8 text, for messages.
void toUtf8(uint32_t c, char (&out)[5])
{
    int n = 0;
    if (c < 0x80)
        out[n++] = static_cast<char>(c);
    else if (c < 0x800)
    {
        out[n++] = static_cast<char>(0xC0 | (c >> 6));
        out[n++] = static_cast<char>(0x80 | (c & 0x3F));
    }
    else if (c < 0x10000)
    {
        out[n++] = static_cast<char>(0xE0 | (c >> 12));
        out[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out[n++] = static_cast<char>(0x80 | (c & 0x3F));
    }
    else
    {
        out[n++] = static_cast<char>(0xF0 | ((c >> 18) & 0x07));
        out[n++] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out[n++] = static_cast<char>(0x80 | (c & 0x3F));
    }
    out[n] = 0;
}

int hexDigit(uint32_t c)
{
    if (c >= '0' && c <= '9')
        return static_cast<int>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<int>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<int>(c - 'A' + 10);
    return -1;
}
} // namespace

CTextReader::CTextReader(CInputStream* textSource, const char* name) : source(textSource)
{
    const char* text = name ? name : "";
    const size_t length = std::strlen(text);
    fileName = static_cast<char*>(CAllocator::alloc(length + 1));
    if (fileName)
        std::memcpy(fileName, text, length + 1);
}

CTextReader::~CTextReader()
{
    CAllocator::free(fileName);
}

bool CTextReader::isIdChar(uint32_t c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-' || c == '.' || c >= 128;
}

CError* CTextReader::prematureEnd(const char* keyedText)
{
    return KEL_ERROR(keyedText, fileName ? fileName : "", line, pos);
}

CError* CTextReader::nextByte(uint8_t& out, bool& outAtEnd, bool take)
{
    outAtEnd = false;
    if (bufferPos == bufferFill)
    {
        if (sourceEnded || !source)
        {
            outAtEnd = true;
            return nullptr;
        }
        size_t got = 0;
        KEL_CHECK(source->readStreamed(buffer, sizeof(buffer), got));
        bufferPos = 0;
        bufferFill = got;
        if (got == 0)
        {
            sourceEnded = true;
            outAtEnd = true;
            return nullptr;
        }
    }
    out = buffer[bufferPos];
    if (take)
        ++bufferPos;
    return nullptr;
}

CError* CTextReader::decode(uint32_t& out, bool& outAtEnd)
{
    for (;;)
    {
        outAtEnd = textEnded;
        if (textEnded)
            return nullptr;
        uint8_t lead = 0;
        KEL_CHECK(nextByte(lead, outAtEnd, true));
        if (outAtEnd)
        {
            textEnded = true;
            return nullptr;
        }
        int following;
        uint32_t c;
        if (lead < 0x80)
            following = 0, c = lead;
        else if ((lead & 0xE0) == 0xC0)
            following = 1, c = lead & 0x1Fu;
        else if ((lead & 0xF0) == 0xE0)
            following = 2, c = lead & 0x0Fu;
        else if ((lead & 0xF8) == 0xF0)
            following = 3, c = lead & 0x07u;
        else
            continue; // a lead byte of no known form is dropped
        bool dropped = false;
        for (int i = 0; i < following; ++i)
        {
            uint8_t next = 0;
            KEL_CHECK(nextByte(next, outAtEnd, false));
            if (outAtEnd)
            {
                // A sequence cut by the end of the data ends the text.
                textEnded = true;
                return nullptr;
            }
            if ((next & 0xC0) != 0x80)
            {
                dropped = true; // the byte is looked at again as a lead byte
                break;
            }
            ++bufferPos;
            c = (c << 6) | (next & 0x3Fu);
        }
        if (dropped)
            continue;
        if (c == '\r')
            continue;
        if (c == 0)
        {
            // A zero ends the text, as it ends a string.
            textEnded = true;
            outAtEnd = true;
            return nullptr;
        }
        if (c > 0x10FFFF)
            c = 0xFFFD;
        out = c;
        return nullptr;
    }
}

CError* CTextReader::peekChar(uint32_t& outChar, bool& outAtEnd, int offset)
{
    outChar = 0;
    if (offset < 0 || offset > 1)
        offset = offset < 0 ? 0 : 1;
    while (aheadCount <= offset)
    {
        uint32_t c = 0;
        KEL_CHECK(decode(c, outAtEnd));
        if (outAtEnd)
            return nullptr;
        ahead[aheadCount++] = c;
    }
    outAtEnd = false;
    outChar = ahead[offset];
    return nullptr;
}

CError* CTextReader::readChar(uint32_t& outChar)
{
    bool atEnd = false;
    KEL_CHECK(peekChar(outChar, atEnd));
    if (atEnd)
        return prematureEnd("@kelstr_CTextReader_readChar_PrematureEOF Premature end of file "
                            "(file '%1', line %2, pos %3).");
    ahead[0] = ahead[1];
    --aheadCount;
    if (outChar == '\n')
    {
        ++line;
        pos = 0;
    }
    else
        ++pos;
    return nullptr;
}

CError* CTextReader::skipCommentBlock()
{
    uint32_t previous = 0;
    for (;;)
    {
        uint32_t c = 0;
        bool atEnd = false;
        KEL_CHECK(peekChar(c, atEnd));
        if (atEnd)
            return prematureEnd("@kelstr_CTextReader_skipCommentBlock_UnfinishedComment "
                                "Unfinished comment (file '%1', line %2, pos %3).");
        KEL_CHECK(readChar(c));
        if (previous == '*' && c == '/')
            return nullptr;
        previous = c;
    }
}

CError* CTextReader::skipWhiteSpace()
{
    for (;;)
    {
        uint32_t c = 0;
        bool atEnd = false;
        KEL_CHECK(peekChar(c, atEnd));
        if (atEnd)
            return nullptr;
        if (isWhiteSpace(c))
        {
            KEL_CHECK(readChar(c));
            continue;
        }
        if (c != '/')
            return nullptr;
        uint32_t second = 0;
        KEL_CHECK(peekChar(second, atEnd, 1));
        if (atEnd || (second != '*' && second != '/'))
            return nullptr;
        KEL_CHECK(readChar(c));
        KEL_CHECK(readChar(c));
        if (second == '*')
        {
            KEL_CHECK(skipCommentBlock());
            continue;
        }
        for (;;)
        {
            KEL_CHECK(peekChar(c, atEnd));
            if (atEnd)
                return nullptr;
            KEL_CHECK(readChar(c));
            if (c == '\n')
                break;
        }
    }
}

CError* CTextReader::isAtEnd(bool& outAtEnd)
{
    KEL_CHECK(skipWhiteSpace());
    uint32_t c = 0;
    KEL_CHECK(peekChar(c, outAtEnd));
    return nullptr;
}

CError* CTextReader::parseId(CString& out)
{
    out.clear();
    KEL_CHECK(skipWhiteSpace());
    uint32_t c = 0;
    bool atEnd = false;
    KEL_CHECK(peekChar(c, atEnd));
    if (atEnd)
        return prematureEnd("@kelstr_CTextReader_parseId_prematureEOF Premature end of file (file "
                            "'%1', line %2, pos %3).");
    if (!isIdChar(c))
    {
        char text[5];
        toUtf8(c, text);
        return KEL_ERROR("@kelstr_CTextReader_parseId_InvalidChar Invalid character '%1' "
                         "encountered (file '%2', line %3, pos %4).",
                         text, fileName ? fileName : "", line, pos);
    }
    while (!atEnd && isIdChar(c))
    {
        KEL_CHECK(readChar(c));
        out.appendCodePoint(c);
        KEL_CHECK(peekChar(c, atEnd));
    }
    return nullptr;
}

CError* CTextReader::readHex(uint32_t& outValue, int maxDigits)
{
    outValue = 0;
    int digits = 0;
    uint64_t value = 0;
    while (digits < maxDigits)
    {
        uint32_t c = 0;
        bool atEnd = false;
        KEL_CHECK(peekChar(c, atEnd));
        const int digit = atEnd ? -1 : hexDigit(c);
        if (digit < 0)
            break;
        KEL_CHECK(readChar(c));
        value = value * 16 + static_cast<uint64_t>(digit);
        ++digits;
    }
    if (digits == 0)
        return prematureEnd("@kelstr_CTextReader_readHex_EmptyHexValue Empty hexadecimal value "
                            "(file '%1', line %2, pos %3).");
    if (value > 0x10FFFF)
        return prematureEnd("@kelstr_CTextReader_readHex_InvalidHexValue Invalid hexadecimal value "
                            "(file '%1', line %2, pos %3).");
    outValue = static_cast<uint32_t>(value);
    return nullptr;
}

CError* CTextReader::parseStr(CString& out)
{
    out.clear();
    KEL_CHECK(skipWhiteSpace());
    static const char* const kEndText =
        "@kelstr_CTextReader_parseStr_PrematureEOF Premature end of "
        "file (file '%1', line %2, pos %3).";
    uint32_t c = 0;
    bool atEnd = false;
    KEL_CHECK(peekChar(c, atEnd));
    if (atEnd)
        return prematureEnd(kEndText);
    if (c != '"')
        return prematureEnd("@kelstr_CTextReader_parseStr_StringStartExpected String's starting "
                            "quote expected (file '%1', line %2, pos %3).");
    KEL_CHECK(readChar(c));
    for (;;)
    {
        KEL_CHECK(peekChar(c, atEnd));
        if (atEnd)
            return prematureEnd(kEndText);
        if (c == '\n')
            return prematureEnd("@kelstr_CTextReader_parseStr_UnfinishedLine Unfinished line (file "
                                "'%1', line %2, pos %3).");
        KEL_CHECK(readChar(c));
        if (c == '"')
            return nullptr;
        if (c == '\\')
        {
            KEL_CHECK(peekChar(c, atEnd));
            if (atEnd)
                return prematureEnd(kEndText);
            KEL_CHECK(readChar(c));
            if (c == 'n')
                c = '\n';
            else if (c == 'r')
                c = '\r';
            else if (c == 't')
                c = '\t';
            else if (c == 'u' || c == 'U')
                KEL_CHECK(readHex(c, c == 'u' ? 4 : 8));
        }
        out.appendCodePoint(c);
    }
}

} // namespace kel
