#include "Core/CString.h"

#include "Core/CAllocator.h"

#include <charconv>
#include <cstdio>
#include <cstring>

namespace kel
{

namespace
{
constexpr int kMaxUnits = 0x3FFFFFF0;

bool isHighSurrogate(uint16_t unit)
{
    return unit >= 0xD800 && unit <= 0xDBFF;
}

bool isLowSurrogate(uint16_t unit)
{
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

uint16_t foldLower(uint16_t unit)
{
    if ((unit >= 'A' && unit <= 'Z') || (unit >= 0xC0 && unit <= 0xDE && unit != 0xD7))
        return static_cast<uint16_t>(unit + 32);
    return unit;
}

uint16_t foldUpper(uint16_t unit)
{
    if ((unit >= 'a' && unit <= 'z') || (unit >= 0xE0 && unit <= 0xFE && unit != 0xF7))
        return static_cast<uint16_t>(unit - 32);
    return unit;
}

int encodeUtf8(uint32_t codePoint, char* out)
{
    if (codePoint < 0x80)
    {
        out[0] = static_cast<char>(codePoint);
        return 1;
    }
    if (codePoint < 0x800)
    {
        out[0] = static_cast<char>(0xC0 | (codePoint >> 6));
        out[1] = static_cast<char>(0x80 | (codePoint & 0x3F));
        return 2;
    }
    if (codePoint < 0x10000)
    {
        out[0] = static_cast<char>(0xE0 | (codePoint >> 12));
        out[1] = static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
        out[2] = static_cast<char>(0x80 | (codePoint & 0x3F));
        return 3;
    }
    out[0] = static_cast<char>(0xF0 | (codePoint >> 18));
    out[1] = static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
    out[2] = static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    out[3] = static_cast<char>(0x80 | (codePoint & 0x3F));
    return 4;
}

int clampIndex(int index, int length)
{
    return index < 0 ? 0 : (index > length ? length : index);
}
} // namespace

CString::CString() : data(inlineBuffer)
{
    inlineBuffer[0] = 0;
    inlineBuffer[1] = 0;
}

CString::CString(const char* latin1) : CString()
{
    if (latin1)
        setLatin1(latin1, static_cast<int>(std::strlen(latin1)));
}

CString::CString(const char* latin1, int count) : CString()
{
    if (latin1 && count > 0)
        setLatin1(latin1, count);
}

CString::CString(const CString& other) : CString()
{
    *this = other;
}

CString::CString(CString&& other) noexcept : CString()
{
    moveFrom(other);
}

CString::~CString()
{
    releaseHeap();
}

CString& CString::operator=(const CString& other)
{
    if (this == &other)
        return *this;
    if (!other.wide)
    {
        // Assignment picks the form of the source, so a narrow source makes a narrow copy.
        setLatin1(static_cast<const char*>(other.data), other.length);
        return *this;
    }
    return *this = fromUtf16(static_cast<const uint16_t*>(other.data), other.length);
}

CString& CString::operator=(CString&& other) noexcept
{
    if (this != &other)
    {
        releaseHeap();
        moveFrom(other);
    }
    return *this;
}

CString& CString::operator=(const char* latin1)
{
    const auto* own = static_cast<const char*>(data);
    if (latin1 && latin1 >= own && latin1 <= own + length * (wide ? 2 : 1))
    {
        // Assigning a piece of our own text: copy it out first.
        CString copy(latin1);
        return *this = static_cast<CString&&>(copy);
    }
    setLatin1(latin1, latin1 ? static_cast<int>(std::strlen(latin1)) : 0);
    return *this;
}

void CString::moveFrom(CString& other)
{
    if (other.data == other.inlineBuffer)
    {
        std::memcpy(inlineBuffer, other.inlineBuffer, sizeof(inlineBuffer));
        data = inlineBuffer;
    }
    else
        data = other.data;
    length = other.length;
    capacity = other.capacity;
    wide = other.wide;
    other.data = other.inlineBuffer;
    other.length = 0;
    other.capacity = kInlineUnits;
    other.wide = false;
    other.inlineBuffer[0] = 0;
    other.inlineBuffer[1] = 0;
}

void CString::releaseHeap()
{
    if (data != inlineBuffer)
        CAllocator::free(data);
    data = inlineBuffer;
    capacity = kInlineUnits;
}

void CString::setLatin1(const char* latin1, int count)
{
    // The source may not lie inside our buffer here (callers make sure), so start afresh.
    releaseHeap();
    wide = false;
    length = 0;
    if (count > 0 && ensure(count, false))
    {
        std::memcpy(data, latin1, static_cast<size_t>(count));
        setLength(count);
    }
    else
        setLength(0);
}

bool CString::ensure(int units, bool wantWide)
{
    const bool targetWide = wide || wantWide;
    if (units < 0 || units > kMaxUnits)
        return false;
    if (units <= capacity && targetWide == wide)
        return true;
    if (units <= capacity && data == inlineBuffer)
    {
        // The inline buffer has room for the wide form: widen in place, from the back, so no
        // narrow unit is overwritten before it is read.
        auto* narrow = static_cast<unsigned char*>(data);
        auto* units16 = static_cast<uint16_t*>(data);
        for (int i = length; i >= 0; --i)
            units16[i] = narrow[i];
        wide = true;
        return true;
    }
    int64_t newCapacity = capacity;
    if (units > newCapacity)
    {
        newCapacity = newCapacity * 2;
        if (newCapacity < units)
            newCapacity = units;
        if (newCapacity > kMaxUnits)
            newCapacity = kMaxUnits;
    }
    const size_t unitBytes = targetWide ? 2 : 1;
    void* fresh = CAllocator::alloc(static_cast<size_t>(newCapacity + 1) * unitBytes);
    if (!fresh)
        return false;
    if (targetWide && !wide)
    {
        auto* narrow = static_cast<const unsigned char*>(data);
        auto* units16 = static_cast<uint16_t*>(fresh);
        for (int i = 0; i <= length; ++i)
            units16[i] = narrow[i];
    }
    else
        std::memcpy(fresh, data, static_cast<size_t>(length + 1) * unitBytes);
    releaseHeap();
    data = fresh;
    capacity = static_cast<int>(newCapacity);
    wide = targetWide;
    return true;
}

void CString::setLength(int units)
{
    length = units;
    if (wide)
        static_cast<uint16_t*>(data)[units] = 0;
    else
        static_cast<char*>(data)[units] = 0;
}

bool CString::isInline() const
{
    return data == inlineBuffer;
}

uint16_t CString::getUnit(int index) const
{
    if (index < 0 || index >= length)
        return 0;
    return wide ? static_cast<const uint16_t*>(data)[index]
                : static_cast<const unsigned char*>(data)[index];
}

void CString::setUnit(int index, uint16_t unit)
{
    if (index < 0 || index >= length)
        return;
    if (unit > 255 && !wide && !ensure(length, true))
        return;
    if (wide)
        static_cast<uint16_t*>(data)[index] = unit;
    else
        static_cast<unsigned char*>(data)[index] = static_cast<unsigned char>(unit);
}

CString CString::fromUtf8(const char* text, size_t bytes)
{
    CString result;
    if (!text)
        return result;
    if (bytes > static_cast<size_t>(kMaxUnits))
        bytes = static_cast<size_t>(kMaxUnits);
    // Never more units than bytes: with the room taken up front, units go straight into the
    // buffer, and the only other allocation is the one that may come with turning wide.
    if (!result.ensure(static_cast<int>(bytes), false))
        return result;
    int count = 0;
    auto put = [&result, &count](uint16_t unit)
    {
        if (unit > 255 && !result.wide)
        {
            result.length = count;
            if (!result.ensure(result.capacity, true))
                return false;
        }
        if (result.wide)
            static_cast<uint16_t*>(result.data)[count++] = unit;
        else
            static_cast<unsigned char*>(result.data)[count++] = static_cast<unsigned char>(unit);
        return true;
    };

    const auto* in = reinterpret_cast<const unsigned char*>(text);
    size_t i = 0;
    while (i < bytes)
    {
        const unsigned lead = in[i];
        if (lead < 0x80)
        {
            if (lead == 0)
                break;
            put(static_cast<uint16_t>(lead));
            ++i;
            continue;
        }
        size_t extra;
        uint32_t codePoint;
        if ((lead & 0xE0) == 0xC0)
        {
            extra = 1;
            codePoint = lead & 0x1F;
        }
        else if ((lead & 0xF0) == 0xE0)
        {
            extra = 2;
            codePoint = lead & 0x0F;
        }
        else if ((lead & 0xF8) == 0xF0)
        {
            extra = 3;
            codePoint = lead & 0x07;
        }
        else
        {
            ++i;
            continue;
        }
        bool valid = true;
        size_t k = 1;
        for (; k <= extra && i + k < bytes; ++k)
        {
            if ((in[i + k] & 0xC0) != 0x80)
            {
                valid = false;
                break;
            }
            codePoint = (codePoint << 6) | (in[i + k] & 0x3Fu);
        }
        if (!valid)
        {
            ++i;
            continue;
        }
        if (k <= extra || codePoint == 0)
            break; // cut by the end of the data, or a terminator
        bool stored;
        if (codePoint < 0x10000)
            stored = put(static_cast<uint16_t>(codePoint));
        else if (codePoint <= 0x10FFFF)
        {
            // Four bytes give two units, so the room reserved still suffices.
            codePoint -= 0x10000;
            stored = put(static_cast<uint16_t>(0xD800 + (codePoint >> 10))) &&
                     put(static_cast<uint16_t>(0xDC00 + (codePoint & 0x3FF)));
        }
        else
            stored = put(0xFFFD);
        if (!stored)
            break;
        i += extra + 1;
    }
    result.setLength(count);
    return result;
}

CString CString::fromUtf8(const char* terminated)
{
    return terminated ? fromUtf8(terminated, std::strlen(terminated)) : CString();
}

CString CString::fromUtf16(const uint16_t* units, int count)
{
    CString result;
    if (!units || count <= 0)
        return result;
    bool needsWide = false;
    for (int i = 0; i < count && !needsWide; ++i)
        needsWide = units[i] > 255;
    if (!result.ensure(count, needsWide))
        return result;
    if (needsWide)
        std::memcpy(result.data, units, sizeof(uint16_t) * static_cast<size_t>(count));
    else
    {
        auto* narrow = static_cast<unsigned char*>(result.data);
        for (int i = 0; i < count; ++i)
            narrow[i] = static_cast<unsigned char>(units[i]);
    }
    result.setLength(count);
    return result;
}

int CString::toUtf8(char* out, int outCapacity) const
{
    int needed = 0;
    int written = 0;
    bool full = !out || outCapacity <= 0;
    for (int i = 0; i < length; ++i)
    {
        uint32_t codePoint = getUnit(i);
        if (isHighSurrogate(static_cast<uint16_t>(codePoint)) && i + 1 < length &&
            isLowSurrogate(getUnit(i + 1)))
        {
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (getUnit(i + 1) - 0xDC00u);
            ++i;
        }
        char sequence[4];
        const int count = encodeUtf8(codePoint, sequence);
        needed += count;
        if (!full && written + count < outCapacity)
        {
            std::memcpy(out + written, sequence, static_cast<size_t>(count));
            written += count;
        }
        else
            full = true;
    }
    if (out && outCapacity > 0)
        out[written] = 0;
    return needed;
}

void CString::clear()
{
    releaseHeap();
    wide = false;
    setLength(0);
}

void CString::reserve(int units)
{
    if (units > capacity)
        (void)ensure(units, false);
}

void CString::appendUnit(uint16_t unit)
{
    if (length >= kMaxUnits || !ensure(length + 1, unit > 255))
        return;
    if (wide)
        static_cast<uint16_t*>(data)[length] = unit;
    else
        static_cast<unsigned char*>(data)[length] = static_cast<unsigned char>(unit);
    setLength(length + 1);
}

void CString::appendCodePoint(uint32_t codePoint)
{
    if (codePoint < 0x10000)
        appendUnit(static_cast<uint16_t>(codePoint));
    else if (codePoint <= 0x10FFFF)
    {
        codePoint -= 0x10000;
        appendUnit(static_cast<uint16_t>(0xD800 + (codePoint >> 10)));
        appendUnit(static_cast<uint16_t>(0xDC00 + (codePoint & 0x3FF)));
    }
    else
        appendUnit(0xFFFD);
}

void CString::append(const CString& text)
{
    insert(length, text);
}

void CString::append(const char* latin1)
{
    if (latin1)
        append(latin1, static_cast<int>(std::strlen(latin1)));
}

void CString::append(const char* latin1, int count)
{
    if (!latin1 || count <= 0)
        return;
    // The bytes may be part of our own text; the string form of insert copes with that.
    insert(length, CString(latin1, count));
}

void CString::insert(int index, const CString& text)
{
    const int count = text.length;
    if (count == 0 || count > kMaxUnits - length)
        return;
    index = clampIndex(index, length);
    if (&text == this)
    {
        CString copy(text);
        insert(index, copy);
        return;
    }
    if (!ensure(length + count, text.wide))
        return;
    if (wide)
    {
        auto* units16 = static_cast<uint16_t*>(data);
        std::memmove(units16 + index + count, units16 + index,
                     sizeof(uint16_t) * static_cast<size_t>(length - index));
        for (int i = 0; i < count; ++i)
            units16[index + i] = text.getUnit(i);
    }
    else
    {
        auto* narrow = static_cast<char*>(data);
        std::memmove(narrow + index + count, narrow + index, static_cast<size_t>(length - index));
        std::memcpy(narrow + index, text.data, static_cast<size_t>(count));
    }
    setLength(length + count);
}

void CString::erase(int index, int count)
{
    if (index < 0 || index >= length)
        return;
    if (count < 0 || count > length - index)
        count = length - index;
    const size_t unitBytes = wide ? 2 : 1;
    auto* bytes = static_cast<unsigned char*>(data);
    std::memmove(bytes + index * unitBytes, bytes + (index + count) * unitBytes,
                 static_cast<size_t>(length - index - count) * unitBytes);
    setLength(length - count);
}

int CString::find(const CString& needle, int from) const
{
    from = clampIndex(from, length);
    const int last = length - needle.length;
    for (int i = from; i <= last; ++i)
    {
        int k = 0;
        while (k < needle.length && getUnit(i + k) == needle.getUnit(k))
            ++k;
        if (k == needle.length)
            return i;
    }
    return -1;
}

int CString::findUnit(uint16_t unit, int from) const
{
    for (int i = clampIndex(from, length); i < length; ++i)
    {
        if (getUnit(i) == unit)
            return i;
    }
    return -1;
}

int CString::findLast(const CString& needle, int from) const
{
    int start = length - needle.length;
    if (from >= 0 && from < start)
        start = from;
    for (int i = start; i >= 0; --i)
    {
        int k = 0;
        while (k < needle.length && getUnit(i + k) == needle.getUnit(k))
            ++k;
        if (k == needle.length)
            return i;
    }
    return -1;
}

int CString::findLastUnit(uint16_t unit, int from) const
{
    int start = length - 1;
    if (from >= 0 && from < start)
        start = from;
    for (int i = start; i >= 0; --i)
    {
        if (getUnit(i) == unit)
            return i;
    }
    return -1;
}

bool CString::startsWith(const CString& prefix) const
{
    if (prefix.length > length)
        return false;
    for (int i = 0; i < prefix.length; ++i)
    {
        if (getUnit(i) != prefix.getUnit(i))
            return false;
    }
    return true;
}

bool CString::endsWith(const CString& suffix) const
{
    if (suffix.length > length)
        return false;
    const int offset = length - suffix.length;
    for (int i = 0; i < suffix.length; ++i)
    {
        if (getUnit(offset + i) != suffix.getUnit(i))
            return false;
    }
    return true;
}

CString CString::substring(int start, int count) const
{
    start = clampIndex(start, length);
    if (count < 0 || count > length - start)
        count = length - start;
    if (!wide)
        return CString(static_cast<const char*>(data) + start, count);
    return fromUtf16(static_cast<const uint16_t*>(data) + start, count);
}

int CString::compare(const CString& other) const
{
    const int common = length < other.length ? length : other.length;
    if (!wide && !other.wide)
    {
        // memcmp orders as unsigned char, which is the unit order of narrow text.
        const int order = std::memcmp(data, other.data, static_cast<size_t>(common));
        if (order != 0)
            return order < 0 ? -1 : 1;
    }
    else
    {
        for (int i = 0; i < common; ++i)
        {
            const uint16_t a = getUnit(i);
            const uint16_t b = other.getUnit(i);
            if (a != b)
                return a < b ? -1 : 1;
        }
    }
    return length < other.length ? -1 : (length > other.length ? 1 : 0);
}

int CString::compare(const char* latin1) const
{
    const auto* text = reinterpret_cast<const unsigned char*>(latin1 ? latin1 : "");
    for (int i = 0;; ++i)
    {
        if (i == length)
            return text[i] ? -1 : 0;
        if (text[i] == 0)
            return 1;
        const uint16_t unit = getUnit(i);
        if (unit != text[i])
            return unit < text[i] ? -1 : 1;
    }
}

int CString::compareNoCase(const CString& other) const
{
    const int common = length < other.length ? length : other.length;
    for (int i = 0; i < common; ++i)
    {
        const uint16_t a = foldLower(getUnit(i));
        const uint16_t b = foldLower(other.getUnit(i));
        if (a != b)
            return a < b ? -1 : 1;
    }
    return length < other.length ? -1 : (length > other.length ? 1 : 0);
}

bool CString::matchesWildcard(const CString& pattern, bool ignoreCase) const
{
    // Greedy scan that returns to the last '*' on a mismatch: linear in practice, and never
    // worse than length times pattern length.
    int s = 0;
    int p = 0;
    int star = -1;
    int resume = 0;
    const int patternLength = pattern.getLength();
    while (s < length)
    {
        const uint16_t wanted = p < patternLength ? pattern.getUnit(p) : 0;
        if (p < patternLength && wanted == '*')
        {
            star = p++;
            resume = s;
        }
        else if (p < patternLength && (wanted == '?' || wanted == getUnit(s) ||
                                       (ignoreCase && foldLower(wanted) == foldLower(getUnit(s)))))
        {
            ++p;
            ++s;
        }
        else if (star >= 0)
        {
            p = star + 1;
            s = ++resume;
        }
        else
            return false;
    }
    while (p < patternLength && pattern.getUnit(p) == '*')
        ++p;
    return p == patternLength;
}

void CString::toLowerCase()
{
    for (int i = 0; i < length; ++i)
        setUnit(i, foldLower(getUnit(i)));
}

void CString::toUpperCase()
{
    for (int i = 0; i < length; ++i)
        setUnit(i, foldUpper(getUnit(i)));
}

CString CString::format(const char* pattern, ...)
{
    CString result;
    va_list args;
    va_start(args, pattern);
    result.appendFormatV(pattern, args);
    va_end(args);
    return result;
}

void CString::appendFormat(const char* pattern, ...)
{
    va_list args;
    va_start(args, pattern);
    appendFormatV(pattern, args);
    va_end(args);
}

void CString::appendFormatV(const char* pattern, va_list args)
{
    if (!pattern)
        return;
    char local[256];
    va_list again;
    va_copy(again, args);
    const int needed = std::vsnprintf(local, sizeof(local), pattern, args);
    if (needed > 0 && needed < static_cast<int>(sizeof(local)))
        append(local, needed);
    else if (needed > 0)
    {
        auto* big = static_cast<char*>(CAllocator::alloc(static_cast<size_t>(needed) + 1));
        if (big)
        {
            std::vsnprintf(big, static_cast<size_t>(needed) + 1, pattern, again);
            append(big, needed);
            CAllocator::free(big);
        }
    }
    va_end(again);
}

CString CString::fromInt(int64_t value)
{
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof(digits), value);
    return CString(digits, static_cast<int>(result.ptr - digits));
}

CString CString::fromDouble(double value)
{
    if (value != value)
        return CString("nan");
    // to_chars ignores the C locale, which a host may have set to a decimal comma.
    char digits[400];
    const auto result =
        std::to_chars(digits, digits + sizeof(digits), value, std::chars_format::fixed, 4);
    const int count = static_cast<int>(result.ptr - digits);
    if (digits[0] == '-' && std::strspn(digits + 1, "0.") == static_cast<size_t>(count - 1))
        return CString(digits + 1, count - 1);
    return CString(digits, count);
}

CString CString::fromBool(bool value)
{
    return CString(value ? "true" : "false");
}

bool CString::parseInt(int32_t& out) const
{
    out = 0;
    int i = 0;
    const bool negative = getUnit(0) == '-';
    if (negative)
        ++i;
    unsigned base = 10;
    if (getUnit(i) == '0' && (getUnit(i + 1) == 'x' || getUnit(i + 1) == 'X'))
    {
        base = 16;
        i += 2;
    }
    else if (getUnit(i) == '#' || getUnit(i) == '$')
    {
        base = 16;
        i += 1;
    }
    else if (getUnit(i) == '0' && i + 1 < length)
    {
        base = 8;
        i += 1;
    }
    if (i >= length)
        return false;
    const uint64_t limit = base != 10 ? 0xFFFFFFFFull : (negative ? 0x80000000ull : 0x7FFFFFFFull);
    uint64_t magnitude = 0;
    for (; i < length; ++i)
    {
        const uint16_t unit = getUnit(i);
        unsigned digit = 99;
        if (unit >= '0' && unit <= '9')
            digit = unit - '0';
        else if (unit >= 'a' && unit <= 'f')
            digit = unit - 'a' + 10;
        else if (unit >= 'A' && unit <= 'F')
            digit = unit - 'A' + 10;
        if (digit >= base)
            return false;
        magnitude = magnitude * base + digit;
        if (magnitude > limit)
            return false;
    }
    // Two's complement wrap: "-0x1" is -1 and "0xFFFFFFFF" is -1 as well.
    const uint32_t bits = static_cast<uint32_t>(magnitude);
    out = static_cast<int32_t>(negative ? 0u - bits : bits);
    return true;
}

bool CString::parseDouble(double& out) const
{
    out = 0.0;
    int digitCount = 0;
    int separators = 0;
    for (int i = 0; i < length; ++i)
    {
        const uint16_t unit = getUnit(i);
        if (unit >= '0' && unit <= '9')
            ++digitCount;
        else if (unit == '.' || unit == ',')
            ++separators;
        else if (!(unit == '-' && i == 0))
            return false;
    }
    if (digitCount == 0 || separators > 1)
        return false;

    char local[128];
    char* text = local;
    if (length >= static_cast<int>(sizeof(local)))
    {
        text = static_cast<char*>(CAllocator::alloc(static_cast<size_t>(length)));
        if (!text)
            return false;
    }
    for (int i = 0; i < length; ++i)
    {
        const uint16_t unit = getUnit(i);
        text[i] = unit == ',' ? '.' : static_cast<char>(unit);
    }
    double value = 0.0;
    const auto result = std::from_chars(text, text + length, value, std::chars_format::fixed);
    const bool parsed = result.ec == std::errc() && result.ptr == text + length;
    if (text != local)
        CAllocator::free(text);
    if (!parsed)
        return false;
    out = value;
    return true;
}

bool CString::parseBool(bool& out) const
{
    out = false;
    if (compare("1") == 0 || compare("true") == 0)
    {
        out = true;
        return true;
    }
    return compare("0") == 0 || compare("false") == 0;
}

} // namespace kel
