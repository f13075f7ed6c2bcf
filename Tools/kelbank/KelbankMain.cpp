// kelbank: compiles the text sources of preset banks and lists into their stored form, and
// prints stored banks back as text.
//
//   kelbank compile SOURCE.txt OUT    a bank ("abnk" block) or a list ("alst" block)
//   kelbank print FILE                the presets of a bank, list or preset file, as source text
//
// The stored form is written by the framework's own preset classes, so it lives in one place.
// Source format, one statement a line, words separated by blanks, '#' to the end of a line is a
// comment, a word with blanks or '#' in double quotes (\" and \\ inside):
//
//   bank NAME                      an "abnk" bank of that name (first statement)
//   list NAME                      an "alst" list: flag 1, then a bank of that name
//   prefix KEY-PREFIX PATH-PREFIX  put before the keys and definition paths that follow
//   preset "id:name"               starts a preset
//   real KEY VALUE...              a real parameter: one group, one item per value
//   string KEY TEXT...             a string parameter: one group, one item per text; the string
//                                  table holds each text once, ids from 1 in order of appearance
//
// Reals are read as the nearest double of the text, so a value is written with the digits it is
// stored with. The same source always gives the same bytes.
#include "Audio/CAudioParamStorage.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBank.h"
#include "Core/CByteBuffer.h"
#include "Core/CError.h"
#include "Core/CFileReader.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CString.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using kel::CAudioParamStorage;
using kel::CAudioPreset;
using kel::CAudioPresetBank;
using kel::CString;

int usage()
{
    std::fprintf(stderr, "usage: kelbank compile SOURCE.txt OUT\n"
                         "       kelbank print FILE\n");
    return 2;
}

int reportError(kel::CError* error)
{
    char text[2048];
    error->formatChain(text, sizeof text);
    std::fprintf(stderr, "kelbank: %s\n", text);
    delete error;
    return 1;
}

std::string utf8(const CString& text)
{
    std::string out(static_cast<size_t>(text.getUtf8Length()) + 1, '\0');
    text.toUtf8(&out[0], static_cast<int>(out.size()));
    out.resize(out.size() - 1);
    return out;
}

CString fromUtf8(const std::string& text)
{
    return CString::fromUtf8(text.data(), text.size());
}

// ---- the source ----

class CBankSource
{
public:
    explicit CBankSource(const std::string& sourcePath) : path(sourcePath) {}

    // Fills bank; false with a "file:line: message" error.
    bool compile(CAudioPresetBank& bank, bool& outIsList, std::string& error)
    {
        std::ifstream in(path, std::ios::binary);
        if (!in)
        {
            error = path + ": cannot read";
            return false;
        }
        std::string text;
        bool hasKind = false;
        CAudioPreset* preset = nullptr;
        for (lineNumber = 1; std::getline(in, text); ++lineNumber)
        {
            std::vector<std::string> words;
            if (!split(text, words, error))
                return false;
            if (words.empty())
                continue;
            const std::string& verb = words[0];
            if (verb == "bank" || verb == "list")
            {
                if (hasKind || words.size() != 2)
                    return fail("'bank' or 'list' takes a name and comes first, once", error);
                hasKind = true;
                outIsList = verb == "list";
                bank.setName(fromUtf8(words[1]));
                continue;
            }
            if (!hasKind)
                return fail("the source starts with 'bank' or 'list'", error);
            if (verb == "prefix")
            {
                if (words.size() != 3)
                    return fail("'prefix' takes a key prefix and a path prefix", error);
                keyPrefix = words[1];
                pathPrefix = words[2];
            }
            else if (verb == "preset")
            {
                if (words.size() != 2)
                    return fail("'preset' takes a name", error);
                preset = &bank.addPreset(CAudioPreset(fromUtf8(words[1])));
            }
            else if (verb == "real" || verb == "string")
            {
                if (!preset)
                    return fail("a value stands before the first 'preset'", error);
                if (words.size() < 2)
                    return fail("'" + verb + "' takes a key and its values", error);
                if (!addEntry(*preset, verb == "string", words, error))
                    return false;
            }
            else
            {
                return fail("unknown statement '" + verb + "'", error);
            }
        }
        if (!hasKind)
            return fail("the source is empty", error);
        return true;
    }

private:
    bool fail(const std::string& message, std::string& error) const
    {
        error = path + ":" + std::to_string(lineNumber) + ": " + message;
        return false;
    }

    bool split(const std::string& text, std::vector<std::string>& words, std::string& error)
    {
        size_t at = 0;
        while (at < text.size())
        {
            const char c = text[at];
            if (c == ' ' || c == '\t' || c == '\r')
            {
                ++at;
                continue;
            }
            if (c == '#')
                break;
            std::string word;
            if (c == '"')
            {
                for (++at;; ++at)
                {
                    if (at >= text.size())
                        return fail("unterminated quote", error);
                    if (text[at] == '"')
                        break;
                    if (text[at] == '\\' && at + 1 < text.size())
                        ++at;
                    word += text[at];
                }
                ++at;
            }
            else
            {
                while (at < text.size() && text[at] != ' ' && text[at] != '\t' &&
                       text[at] != '\r' && text[at] != '#')
                    word += text[at++];
            }
            words.push_back(word);
        }
        return true;
    }

    bool addEntry(CAudioPreset& preset, bool isString, const std::vector<std::string>& words,
                  std::string& error)
    {
        CAudioParamStorage storage(1, isString ? CAudioParamStorage::kTypeString
                                               : CAudioParamStorage::kTypeReal);
        if (!storage.setGroupCount(1))
            return fail("out of memory", error);
        for (size_t i = 2; i < words.size(); ++i)
        {
            double value = 0.0;
            if (isString)
            {
                value = static_cast<double>(storage.getStrings().addString(fromUtf8(words[i])));
            }
            else
            {
                char* end = nullptr;
                errno = 0;
                value = std::strtod(words[i].c_str(), &end);
                if (words[i].empty() || *end != '\0' || errno == ERANGE)
                    return fail("'" + words[i] + "' is no real number", error);
            }
            if (!storage.storeValue(0, static_cast<int>(i - 2), value))
                return fail("out of memory", error);
        }
        const CString key = fromUtf8(keyPrefix + words[1]);
        if (preset.findEntry(key))
            return fail("the key '" + keyPrefix + words[1] + "' is given twice", error);
        kel::CMemoryWriteBuffer blob(256);
        kel::CError* failure = blob.writeString(fromUtf8(pathPrefix + words[1]));
        if (!failure)
            failure = storage.save(blob);
        if (failure)
        {
            delete failure;
            return fail("cannot write the value of '" + words[1] + "'", error);
        }
        if (!preset.setEntry(key, blob.getData(), blob.getSize()))
            return fail("out of memory", error);
        return true;
    }

    std::string path;
    int lineNumber = 0;
    std::string keyPrefix;
    std::string pathPrefix;
};

// ---- output ----

// Writes through a temporary name so that a failed run never leaves a half file behind.
int writeFile(const std::string& outPath, const void* data, size_t size)
{
    const std::string temporary = outPath + ".tmp";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
        if (!out)
        {
            std::fprintf(stderr, "kelbank: cannot write %s\n", temporary.c_str());
            return 1;
        }
    }
    if (std::rename(temporary.c_str(), outPath.c_str()) != 0)
    {
        std::fprintf(stderr, "kelbank: cannot write %s\n", outPath.c_str());
        return 1;
    }
    return 0;
}

int compile(const char* sourcePath, const char* outPath)
{
    CAudioPresetBank bank;
    bool isList = false;
    std::string error;
    if (!CBankSource(sourcePath).compile(bank, isList, error))
    {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    kel::CMemoryWriteBuffer out(1 << 16);
    kel::CError* failure = nullptr;
    if (isList)
    {
        kel::CMemoryWriteBuffer payload(1 << 16);
        failure = bank.saveList(payload);
        if (!failure)
            failure = out.writeCompressedData(payload.getData(), payload.getSize(),
                                              CAudioPresetBank::kListId);
    }
    else
    {
        failure = bank.writeBlock(out);
    }
    if (failure)
        return reportError(failure);
    return writeFile(outPath, out.getData(), out.getSize());
}

// ---- printing ----

std::string quoted(const std::string& text)
{
    bool plain = !text.empty();
    for (char c : text)
        plain = plain && c != ' ' && c != '\t' && c != '#' && c != '"' && c != '\\';
    if (plain)
        return text;
    std::string out = "\"";
    for (char c : text)
    {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out + "\"";
}

// The shortest text that reads back as the same double.
std::string realText(double value)
{
    char text[40];
    int digits = 1;
    for (; digits < 17; ++digits)
    {
        std::snprintf(text, sizeof text, "%.*g", digits, value);
        if (std::strtod(text, nullptr) == value)
            break;
    }
    // Whole numbers up to 17 digits are written out ("440", not "4.4e+02").
    const double magnitude = std::fabs(value);
    if (magnitude >= 1.0 && magnitude < 1e17)
        digits = std::max(digits, static_cast<int>(std::floor(std::log10(magnitude))) + 1);
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return text;
}

// One entry as a statement, with a prefix statement before it when its path needs another.
bool printEntry(const CAudioPreset& preset, const CString& key, std::string& pathPrefix,
                std::ostringstream& out)
{
    CString path;
    CAudioParamStorage storage;
    if (kel::CError* failure = preset.readEntryValues(key, path, storage))
    {
        reportError(failure);
        return false;
    }
    const std::string keyText = utf8(key);
    const std::string pathText = utf8(path);
    if (pathText.size() < keyText.size() ||
        pathText.compare(pathText.size() - keyText.size(), keyText.size(), keyText) != 0)
    {
        std::fprintf(stderr, "kelbank: the path '%s' of '%s' does not end in its key\n",
                     pathText.c_str(), keyText.c_str());
        return false;
    }
    const std::string prefix = pathText.substr(0, pathText.size() - keyText.size());
    if (prefix != pathPrefix)
    {
        out << "prefix \"\" " << quoted(prefix) << "\n";
        pathPrefix = prefix;
    }
    out << "    " << (storage.isString() ? "string " : "real ") << quoted(keyText);
    for (int g = 0; g < storage.getGroupCount(); ++g)
    {
        if (g > 0)
            out << "    # group " << g << ":";
        const double* values = storage.getGroupValues(g);
        for (int i = 0; i < storage.getGroupLength(g); ++i)
            out << " "
                << (storage.isString() ? quoted(utf8(storage.getStringOf(values[i])))
                                       : realText(values[i]));
        out << "\n";
    }
    return true;
}

bool printPreset(const CAudioPreset& preset, std::string& pathPrefix, std::ostringstream& out)
{
    out << "\npreset " << quoted(utf8(preset.getName())) << "\n";
    for (const auto& entry : preset.getEntries())
    {
        if (!printEntry(preset, entry.first, pathPrefix, out))
            return false;
    }
    return true;
}

int print(const char* filePath)
{
    kel::CFileReader file;
    if (kel::CError* failure = file.open(filePath))
        return reportError(failure);
    int64_t size = 0;
    if (kel::CError* failure = file.getSize(size))
        return reportError(failure);
    std::vector<uint8_t> bytes(static_cast<size_t>(size));
    if (kel::CError* failure = file.read(bytes.data(), bytes.size()))
        return reportError(failure);
    uint32_t id = 0;
    if (bytes.size() >= 4)
        std::memcpy(&id, bytes.data(), 4);

    kel::CMemoryReader reader(bytes.data(), bytes.size());
    kel::CByteBuffer payload;
    if (kel::CError* failure = reader.readCompressedData(payload, id))
        return reportError(failure);
    kel::CMemoryReader body(payload.getData(), payload.getSize());
    std::ostringstream out;
    std::string pathPrefix;
    kel::CError* failure = nullptr;
    if (id == CAudioPreset::kBlockId)
    {
        CAudioPreset preset;
        failure = preset.load(body);
        if (!failure && !printPreset(preset, pathPrefix, out))
            return 1;
    }
    else if (id == CAudioPresetBank::kBlockId || id == CAudioPresetBank::kListId)
    {
        CAudioPresetBank bank;
        bool hasBank = true;
        failure = id == CAudioPresetBank::kListId ? bank.loadList(body, hasBank) : bank.load(body);
        if (!failure)
        {
            out << (id == CAudioPresetBank::kListId ? "list " : "bank ")
                << quoted(utf8(bank.getName())) << "\n";
            for (int i = 0; i < bank.getCount(); ++i)
            {
                if (!printPreset(*bank.getPreset(i), pathPrefix, out))
                    return 1;
            }
        }
    }
    else
    {
        std::fprintf(stderr, "kelbank: %s holds no preset, bank or list\n", filePath);
        return 1;
    }
    if (failure)
        return reportError(failure);
    std::fputs(out.str().c_str(), stdout);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], "compile") == 0)
        return compile(argv[2], argv[3]);
    if (argc == 3 && std::strcmp(argv[1], "print") == 0)
        return print(argv[2]);
    return usage();
}
