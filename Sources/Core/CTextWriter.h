#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class COutputStream;
class CString;

// Writes UTF-8 text to an output stream it does not own, keeping an indentation: every line
// starts with four blanks per level, put in front of its first character. writeQuoted writes a
// string so that CTextReader::parseStr reads it back unit for unit.
// One thread at a time. [any thread]
class CTextWriter : public CCheckedObject
{
public:
    static constexpr int kIndentBlanks = 4;

    explicit CTextWriter(COutputStream* target);

    // UTF-8 text as it stands; each LF in it ends a line.
    [[nodiscard]] CError* write(const char* utf8);
    [[nodiscard]] CError* write(const CString& text);
    // The text and a line end.
    [[nodiscard]] CError* writeLine(const char* utf8 = "");
    [[nodiscard]] CError* newLine();
    // Double quotes around the text; quote, backslash, LF, CR and TAB escaped, other control
    // characters as \u and four hexadecimal digits.
    [[nodiscard]] CError* writeQuoted(const CString& text);

    void indent() { ++level; }
    void unindent()
    {
        if (level > 0)
            --level;
    }

private:
    [[nodiscard]] CError* put(const char* bytes, size_t count);
    [[nodiscard]] CError* putCodePoint(uint32_t c);

    COutputStream* target; // not owned
    int level = 0;
    bool atLineStart = true;
};

} // namespace kel
