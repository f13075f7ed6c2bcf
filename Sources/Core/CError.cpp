#include "Core/CError.h"

#include "Core/CString.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <zlib.h>

namespace kel
{

namespace
{
std::atomic<CError::Translator> gTranslator{nullptr};

char* copyText(const char* text, size_t length)
{
    auto* copy = static_cast<char*>(CAllocator::alloc(length + 1));
    std::memcpy(copy, text, length);
    copy[length] = 0;
    return copy;
}

// Replaces %1..%6 with the arguments; a '%' not followed by an argument number stays.
char* expand(const char* pattern, const CErrorArg* args, int count)
{
    size_t length = 0;
    for (const char* p = pattern; *p; ++p)
    {
        if (p[0] == '%' && p[1] >= '1' && p[1] <= '6' && p[1] - '1' < count)
        {
            length += std::strlen(args[p[1] - '1'].getText());
            ++p;
        }
        else
            ++length;
    }
    auto* out = static_cast<char*>(CAllocator::alloc(length + 1));
    char* w = out;
    for (const char* p = pattern; *p; ++p)
    {
        if (p[0] == '%' && p[1] >= '1' && p[1] <= '6' && p[1] - '1' < count)
        {
            const char* arg = args[p[1] - '1'].getText();
            const size_t n = std::strlen(arg);
            std::memcpy(w, arg, n);
            w += n;
            ++p;
        }
        else
            *w++ = *p;
    }
    *w = 0;
    return out;
}
} // namespace

CErrorArg::CErrorArg(long long value) : text(digits)
{
    std::snprintf(digits, sizeof(digits), "%lld", value);
}

CErrorArg::CErrorArg(unsigned long long value) : text(digits)
{
    std::snprintf(digits, sizeof(digits), "%llu", value);
}

CErrorArg::CErrorArg(const CString& value) : text(digits)
{
    const int needed = value.toUtf8(digits, static_cast<int>(sizeof(digits)));
    if (needed >= static_cast<int>(sizeof(digits)))
    {
        // Without memory the argument keeps the cut text that fits in digits.
        ownedText = static_cast<char*>(CAllocator::alloc(static_cast<size_t>(needed) + 1));
        if (ownedText)
        {
            value.toUtf8(ownedText, needed + 1);
            text = ownedText;
        }
    }
}

CErrorArg::CErrorArg(const CErrorArg& other) : text(other.text)
{
    // The text may live in the other argument's own storage; never point into it.
    if (other.text == other.digits)
    {
        std::memcpy(digits, other.digits, sizeof(digits));
        text = digits;
    }
    else if (other.ownedText)
    {
        const size_t length = std::strlen(other.ownedText);
        ownedText = copyText(other.ownedText, length);
        text = ownedText;
    }
}

CErrorArg::~CErrorArg()
{
    CAllocator::free(ownedText);
}

uint32_t CError::getNumber() const
{
    const char* text = key ? key : "";
    const uLong crc = crc32(crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(text),
                            static_cast<uInt>(std::strlen(text)));
    return crc != 0 ? static_cast<uint32_t>(crc) : 1u;
}

CError* CError::createFrom(const char* keyedText, const CErrorArg* args, int count)
{
    auto* error = new CError();
    const char* text = keyedText ? keyedText : "";
    const char* defaultText = text;
    if (text[0] == '@')
    {
        const char* blank = std::strchr(text, ' ');
        const size_t keyLength =
            blank ? static_cast<size_t>(blank - text - 1) : std::strlen(text + 1);
        error->key = copyText(text + 1, keyLength);
        defaultText = blank ? blank + 1 : text + 1 + keyLength;
    }
    else
        error->key = copyText("", 0);

    const char* pattern = defaultText;
    if (Translator translator = gTranslator.load(); translator && error->key[0])
    {
        if (const char* translated = translator(error->key))
            pattern = translated;
    }
    error->message = expand(pattern, args, count < kMaxArgs ? count : kMaxArgs);
    return error;
}

CError::~CError()
{
    for (int i = 0; i < frameCount; ++i)
        CAllocator::free(frames[i].name);
    CAllocator::free(frames);
    CAllocator::free(message);
    CAllocator::free(key);
}

void CError::addFrame(const char* file, int line, const char* fullName)
{
    if (frameCount == frameCapacity)
    {
        frameCapacity = frameCapacity * 2 + 1;
        frames = static_cast<Frame*>(CAllocator::realloc(frames, sizeof(Frame) * frameCapacity));
    }
    const char* name = fullName ? fullName : "";
    frames[frameCount++] = Frame{file ? file : "", line, copyText(name, std::strlen(name))};
}

const char* CError::getFrameFile(int index) const
{
    return index >= 0 && index < frameCount ? frames[index].file : "";
}

int CError::getFrameLine(int index) const
{
    return index >= 0 && index < frameCount ? frames[index].line : 0;
}

const char* CError::getFrameName(int index) const
{
    return index >= 0 && index < frameCount ? frames[index].name : "";
}

int CError::formatChain(char* out, int capacity) const
{
    int needed = 0;
    auto append = [&](const char* format, auto... values)
    {
        const int room = capacity - needed > 0 ? capacity - needed : 0;
        const int written = std::snprintf(out && room ? out + needed : nullptr,
                                          static_cast<size_t>(room), format, values...);
        if (written > 0)
            needed += written;
    };
    append("%s", message);
    for (int i = 0; i < frameCount; ++i)
    {
        if (frames[i].name[0])
            append("\n  at %s:%d (%s)", frames[i].file, frames[i].line, frames[i].name);
        else
            append("\n  at %s:%d", frames[i].file, frames[i].line);
    }
    return needed;
}

void CError::setTranslator(Translator translator)
{
    gTranslator.store(translator);
}

} // namespace kel
