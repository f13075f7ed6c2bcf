#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CInputStream;
class CString;

// A hand-written reader of UTF-8 text: code points, white space, comments, identifiers and
// quoted strings, with a file name, a line and a position in the line for its messages. Code
// points are decoded as CInputStream::readString does; CR is dropped and LF counts a line.
// White space is blank, TAB, CR and LF; comments run from "/*" to "*/" or from "//" to the end
// of the line. Identifier characters are ASCII letters and digits, '_', '-', '.', and every code
// point from 128 up. The source is not owned and is read ahead in small pieces.
// One thread at a time. [any thread]
class CTextReader : public CCheckedObject
{
public:
    // fileName is copied; it only serves the messages.
    CTextReader(CInputStream* source, const char* fileName);
    ~CTextReader() override;
    CTextReader(const CTextReader&) = delete;
    CTextReader& operator=(const CTextReader&) = delete;

    // The next code point; the end of the data is an error here.
    [[nodiscard]] CError* readChar(uint32_t& outChar);
    // The code point at offset 0 or 1 ahead, not taken; outAtEnd when the data ends before it.
    [[nodiscard]] CError* peekChar(uint32_t& outChar, bool& outAtEnd, int ahead = 0);
    // True when only white space and comments are left.
    [[nodiscard]] CError* isAtEnd(bool& outAtEnd);

    // Skips white space and comments; stops before anything else or at the end of the data.
    [[nodiscard]] CError* skipWhiteSpace();
    // Skips the rest of a block comment whose "/*" has been read.
    [[nodiscard]] CError* skipCommentBlock();

    // After white space and comments, a run of identifier characters (at least one).
    [[nodiscard]] CError* parseId(CString& out);
    // After white space and comments, a double-quoted string on one line. Behind a backslash
    // n, r, t stand for LF, CR, TAB, u takes up to 4 and U up to 8 hexadecimal digits of a code
    // point, and any other character stands for itself.
    [[nodiscard]] CError* parseStr(CString& out);
    // Up to maxDigits hexadecimal digits (at least one) of a code point up to 0x10FFFF.
    [[nodiscard]] CError* readHex(uint32_t& outValue, int maxDigits);

    // Line (from 1) and characters taken on it, as the messages give them.
    int getLine() const { return line; }
    int getPos() const { return pos; }

    static bool isWhiteSpace(uint32_t c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
    static bool isIdChar(uint32_t c);

private:
    static constexpr int kBufferBytes = 256;

    [[nodiscard]] CError* nextByte(uint8_t& out, bool& outAtEnd, bool take);
    [[nodiscard]] CError* decode(uint32_t& out, bool& outAtEnd);
    CError* prematureEnd(const char* keyedText);

    CInputStream* source; // not owned
    char* fileName = nullptr;
    uint8_t buffer[kBufferBytes];
    size_t bufferFill = 0;
    size_t bufferPos = 0;
    bool sourceEnded = false;
    bool textEnded = false;
    uint32_t ahead[2] = {};
    int aheadCount = 0;
    int line = 1;
    int pos = 0;
};

} // namespace kel
