#include "Core/CTextWriter.h"

#include "Core/COutputStream.h"
#include "Core/CString.h"

#include <cstdio>
#include <cstring>

namespace kel
{

CTextWriter::CTextWriter(COutputStream* textTarget) : target(textTarget) {}

CError* CTextWriter::put(const char* bytes, size_t count)
{
    if (!target)
        return KEL_ERROR("@kelstr_CTextWriter_write_NoStream Output stream not specified.");
    size_t start = 0;
    while (start < count)
    {
        if (atLineStart && bytes[start] != '\n')
        {
            static const char blanks[] = "                ";
            for (int left = level * kIndentBlanks; left > 0;)
            {
                const int piece = left < 16 ? left : 16;
                KEL_CHECK(target->write(blanks, static_cast<size_t>(piece)));
                left -= piece;
            }
            atLineStart = false;
        }
        const void* lineEnd = std::memchr(bytes + start, '\n', count - start);
        const size_t end =
            lineEnd ? static_cast<size_t>(static_cast<const char*>(lineEnd) - bytes) + 1 : count;
        KEL_CHECK(target->write(bytes + start, end - start));
        atLineStart = lineEnd != nullptr;
        start = end;
    }
    return nullptr;
}

CError* CTextWriter::write(const char* utf8)
{
    KEL_CHECK(put(utf8 ? utf8 : "", utf8 ? std::strlen(utf8) : 0));
    return nullptr;
}

CError* CTextWriter::write(const CString& text)
{
    const int length = text.getUtf8Length();
    char local[128];
    char* bytes = length + 1 > static_cast<int>(sizeof(local))
                      ? static_cast<char*>(CAllocator::alloc(static_cast<size_t>(length) + 1))
                      : local;
    if (!bytes)
        return KEL_ERROR("@kelstr_CTextWriter_write_OutOfMemory Out of memory writing %1 bytes.",
                         length);
    text.toUtf8(bytes, length + 1);
    CError* error = put(bytes, static_cast<size_t>(length));
    if (bytes != local)
        CAllocator::free(bytes);
    KEL_CHECK(error);
    return nullptr;
}

CError* CTextWriter::writeLine(const char* utf8)
{
    KEL_CHECK(write(utf8));
    KEL_CHECK(newLine());
    return nullptr;
}

CError* CTextWriter::newLine()
{
    KEL_CHECK(put("\n", 1));
    return nullptr;
}

CError* CTextWriter::putCodePoint(uint32_t c)
{
    char bytes[8];
    int n = 0;
    if (c < 0x20 || c == '"' || c == '\\')
    {
        if (c == '\n' || c == '\r' || c == '\t' || c == '"' || c == '\\')
        {
            bytes[n++] = '\\';
            bytes[n++] = c == '\n' ? 'n' : c == '\r' ? 'r' : c == '\t' ? 't' : static_cast<char>(c);
        }
        else
            n = std::snprintf(bytes, sizeof(bytes), "\\u%04X", static_cast<unsigned>(c));
    }
    else if (c < 0x80)
        bytes[n++] = static_cast<char>(c);
    else if (c < 0x800)
    {
        bytes[n++] = static_cast<char>(0xC0 | (c >> 6));
        bytes[n++] = static_cast<char>(0x80 | (c & 0x3F));
    }
    else if (c < 0x10000)
    {
        bytes[n++] = static_cast<char>(0xE0 | (c >> 12));
        bytes[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        bytes[n++] = static_cast<char>(0x80 | (c & 0x3F));
    }
    else
    {
        bytes[n++] = static_cast<char>(0xF0 | (c >> 18));
        bytes[n++] = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        bytes[n++] = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        bytes[n++] = static_cast<char>(0x80 | (c & 0x3F));
    }
    KEL_CHECK(put(bytes, static_cast<size_t>(n)));
    return nullptr;
}

CError* CTextWriter::writeQuoted(const CString& text)
{
    KEL_CHECK(put("\"", 1));
    const int length = text.getLength();
    for (int i = 0; i < length; ++i)
    {
        uint32_t c = text.getUnit(i);
        const uint32_t low = text.getUnit(i + 1);
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < length && low >= 0xDC00 && low <= 0xDFFF)
        {
            c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
            ++i;
        }
        KEL_CHECK(putCodePoint(c));
    }
    KEL_CHECK(put("\"", 1));
    return nullptr;
}

} // namespace kel
