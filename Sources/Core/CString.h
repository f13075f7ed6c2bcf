#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace kel
{

// The framework's string: a run of code units with an inline buffer of 32 units. Text stays
// narrow (one byte per unit, Latin-1) until a unit above 255 arrives; from then on it is wide
// (16-bit units, UTF-16). Every operation takes either form, and comparison is by code unit, so a
// narrow string and a wide one holding the same units are equal and order the same way.
//
// Code points above 0xFFFF are kept as UTF-16 surrogate pairs (two units). A lone surrogate is
// kept as it is and travels through UTF-8 as its three-byte form, so the units survive a round
// trip. Narrow and wide buffers are always terminated with a zero unit behind the length. A string
// that has turned wide stays wide until it is cleared or assigned; copies, substrings and
// assignments take the narrow form whenever their units allow it.
//
// A CString is a value: it owns its buffer (beyond 32 units it comes from CAllocator) and is
// copied and moved like one. Index arguments are clamped to the text; no operation reads beyond
// it. Not shared between threads without a lock. [any thread]
class CString
{
public:
    static constexpr int kInlineUnits = 32;

    CString();
    // Bytes are units (Latin-1); a null pointer is the empty string.
    CString(const char* latin1);
    CString(const char* latin1, int length);
    CString(const CString& other);
    CString(CString&& other) noexcept;
    ~CString();
    CString& operator=(const CString& other);
    CString& operator=(CString&& other) noexcept;
    CString& operator=(const char* latin1);

    // UTF-8 in, as the streams read it: a byte below 128 is itself; lead bytes 110, 1110 and
    // 11110 take one, two and three continuation bytes. A lead byte of no such form, or one whose
    // continuation is missing (a byte that is not 10xxxxxx), is dropped and decoding resumes at
    // the next byte. A sequence cut by the end of the data ends decoding, and so does a decoded
    // zero. Code points above 0x10FFFF become U+FFFD.
    static CString fromUtf8(const char* data, size_t bytes);
    static CString fromUtf8(const char* terminated);
    static CString fromUtf16(const uint16_t* units, int count);

    int getLength() const { return length; }
    bool isEmpty() const { return length == 0; }
    bool isWide() const { return wide; }
    // True while the text lives in the object's own 32 units (for tests and diagnostics).
    bool isInline() const;
    // The unit at index; 0 for an index outside the text.
    uint16_t getUnit(int index) const;
    // Direct access to the terminated buffer of one form; null when the string has the other.
    const char* getNarrow() const { return wide ? nullptr : static_cast<const char*>(data); }
    const uint16_t* getWide() const { return wide ? static_cast<const uint16_t*>(data) : nullptr; }

    // UTF-8 out. Answers the bytes the whole text needs, without terminator; writes as much as
    // fits in capacity with a terminator, never cutting a sequence in half.
    int toUtf8(char* out, int capacity) const;
    int getUtf8Length() const { return toUtf8(nullptr, 0); }

    void clear();
    void reserve(int units);
    // Turns the string wide above 255.
    void appendUnit(uint16_t unit);
    // Appends one code point, as a surrogate pair above 0xFFFF (0x110000 and beyond: U+FFFD).
    void appendCodePoint(uint32_t codePoint);
    void append(const CString& text);
    void append(const char* latin1);
    void append(const char* latin1, int count);
    // Inserts before index (clamped to 0..length).
    void insert(int index, const CString& text);
    // Removes up to count units from index; a negative count removes to the end.
    void erase(int index, int count = -1);
    void setUnit(int index, uint16_t unit);
    CString& operator+=(const CString& text)
    {
        append(text);
        return *this;
    }
    CString& operator+=(const char* latin1)
    {
        append(latin1);
        return *this;
    }

    // Position of the first match at or after from, or -1. An empty needle matches at from.
    int find(const CString& needle, int from = 0) const;
    int findUnit(uint16_t unit, int from = 0) const;
    // Position of the last match that starts at or before from (-1: from the end), or -1.
    int findLast(const CString& needle, int from = -1) const;
    int findLastUnit(uint16_t unit, int from = -1) const;
    bool startsWith(const CString& prefix) const;
    bool endsWith(const CString& suffix) const;
    // Up to count units from start; a negative count takes the rest.
    CString substring(int start, int count = -1) const;

    // Negative, zero or positive, by code unit; a prefix orders first.
    int compare(const CString& other) const;
    int compare(const char* latin1) const;
    // As compare, with ASCII and Latin-1 letters folded to lower case.
    int compareNoCase(const CString& other) const;
    bool equalsNoCase(const CString& other) const { return compareNoCase(other) == 0; }
    // '*' matches any run of units, '?' exactly one; everything else itself.
    bool matchesWildcard(const CString& pattern, bool ignoreCase = false) const;

    void toLowerCase();
    void toUpperCase();

    // printf-style; the bytes produced are units (Latin-1), as for the constructor.
    static CString format(const char* pattern, ...) __attribute__((format(printf, 1, 2)));
    void appendFormat(const char* pattern, ...) __attribute__((format(printf, 2, 3)));
    void appendFormatV(const char* pattern, va_list args) __attribute__((format(printf, 2, 0)));

    // Number and bool text forms of attribute values.
    static CString fromInt(int64_t value);
    // Four decimals, '.' whatever the C locale; a result of zero carries no minus sign.
    // Infinities and NaN give "inf", "-inf" and "nan", which parseDouble refuses.
    static CString fromDouble(double value);
    static CString fromBool(bool value);
    // Optional '-', then "0x", "0X", '#' or '$' for hexadecimal, a leading '0' for octal,
    // otherwise decimal. Hexadecimal and octal take up to 32 bits (0xFFFFFFFF is -1); decimal
    // must fit int32. Anything else fails: false, and out is 0.
    bool parseInt(int32_t& out) const;
    // Optional '-' at the first place, digits, at most one ',' or '.', digits; at least one
    // digit, no exponent, no blanks. Failure: false, and out is 0.
    bool parseDouble(double& out) const;
    // "1" and "true" are true, "0" and "false" false; anything else fails: false, and out false.
    bool parseBool(bool& out) const;

private:
    void setLatin1(const char* latin1, int count);
    // Makes room for units (plus terminator) in the given form, widening the text if asked.
    // False when the allocator has no room; the string is then unchanged.
    [[nodiscard]] bool ensure(int units, bool wantWide);
    void setLength(int units);
    void releaseHeap();
    void moveFrom(CString& other);

    // Either form fits: 32 wide units and a terminator.
    alignas(uint16_t) unsigned char inlineBuffer[(kInlineUnits + 1) * 2];
    void* data;
    int length = 0;
    int capacity = kInlineUnits;
    bool wide = false;
};

inline bool operator==(const CString& a, const CString& b)
{
    return a.getLength() == b.getLength() && a.compare(b) == 0;
}
inline bool operator!=(const CString& a, const CString& b)
{
    return !(a == b);
}
inline bool operator<(const CString& a, const CString& b)
{
    return a.compare(b) < 0;
}
inline bool operator<=(const CString& a, const CString& b)
{
    return a.compare(b) <= 0;
}
inline bool operator>(const CString& a, const CString& b)
{
    return a.compare(b) > 0;
}
inline bool operator>=(const CString& a, const CString& b)
{
    return a.compare(b) >= 0;
}
inline bool operator==(const CString& a, const char* b)
{
    return a.compare(b) == 0;
}
inline bool operator!=(const CString& a, const char* b)
{
    return a.compare(b) != 0;
}
inline bool operator==(const char* a, const CString& b)
{
    return b.compare(a) == 0;
}
inline bool operator!=(const char* a, const CString& b)
{
    return b.compare(a) != 0;
}
inline CString operator+(const CString& a, const CString& b)
{
    CString sum(a);
    sum.append(b);
    return sum;
}

} // namespace kel
