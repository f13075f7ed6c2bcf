#include "Audio/CAudioParamInfo.h"

#include "Audio/Converters/CAudioParamConverter.h"
#include "Core/CObject.h"
#include "Core/COutputStream.h"
#include "Core/CPosInputStream.h"

#include <cstdint>
#include <utility>

namespace kel
{

namespace
{

bool isBlank(uint16_t unit)
{
    return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
}

// Bits of the saved flags word.
constexpr int32_t kFlagValid = 1;
constexpr int32_t kFlagGlobal = 2;
constexpr int32_t kFlagStorable = 4;
constexpr int32_t kFlagPersistent = 8;
constexpr int32_t kFlagDiscrete = 16;
constexpr int32_t kFlagSingleGroup = 32;
constexpr int32_t kFlagsKnown = 63;

// Least bytes of one stored list item: a string's length word, a real, a (min, max) pair.
constexpr int64_t kStringBytesMin = 4;
constexpr int64_t kLimitPairBytes = 16;

// What the stream holds after its position; a stream that cannot tell answers a bound no count
// reaches, and a list then ends where its data runs out.
CError* getBytesLeft(CInputStream& stream, int64_t& out)
{
    out = INT64_MAX;
    auto* positioned = dynamic_cast<CPosInputStream*>(&stream);
    if (!positioned)
        return nullptr;
    int64_t position = 0;
    int64_t size = 0;
    KEL_CHECK(positioned->getPosition(position));
    KEL_CHECK(positioned->getSize(size));
    out = size > position ? size - position : 0;
    return nullptr;
}

// A stored count of items of at least itemBytes each; a count the rest of the data cannot hold
// is corrupt.
CError* readCount(CInputStream& stream, int64_t itemBytes, int32_t& out)
{
    KEL_CHECK(stream.readInt32(out));
    int64_t bytesLeft = 0;
    KEL_CHECK(getBytesLeft(stream, bytesLeft));
    if (out < 0 || out > bytesLeft / itemBytes)
        return KEL_ERROR("@kelstr_CAudioParamInfo_load_CountError Invalid count %1 stored.", out);
    return nullptr;
}

// The stored defaults size their group list and each group's array from counts in the data.
// Walk them once, checking every count against the bytes behind it, and go back, so that the
// storage's own load never sizes anything from a corrupt count.
CError* checkStoredGroups(CPosInputStream& stream, int32_t elementSize, bool isString)
{
    int64_t start = 0;
    KEL_CHECK(stream.getPosition(start));
    // Version, element size and type: the storage's load checks them.
    KEL_CHECK(stream.consume(12));
    int32_t groupCount = 0;
    KEL_CHECK(readCount(stream, 4, groupCount));
    if (isString)
    {
        // The string table: id, type word and string per entry.
        int32_t stringCount = 0;
        KEL_CHECK(readCount(stream, 8 + kStringBytesMin, stringCount));
        for (int32_t i = 0; i < stringCount; ++i)
        {
            uint32_t textBytes = 0;
            KEL_CHECK(stream.consume(8));
            KEL_CHECK(stream.readUInt32(textBytes));
            KEL_CHECK(stream.consume(textBytes));
        }
    }
    const int64_t itemBytes = elementSize * static_cast<int64_t>(isString ? 4 : 8);
    for (int32_t g = 0; g < groupCount; ++g)
    {
        int32_t itemCount = 0;
        KEL_CHECK(readCount(stream, itemBytes, itemCount));
        KEL_CHECK(stream.consume(static_cast<size_t>(itemCount * itemBytes)));
    }
    KEL_CHECK(stream.setPosition(start));
    return nullptr;
}

} // namespace

void CAudioParamInfo::splitOnBlanks(const CString& text, CArray<CString>& out)
{
    const int length = text.getLength();
    int start = 0;
    while (start < length)
    {
        while (start < length && isBlank(text.getUnit(start)))
            ++start;
        int end = start;
        while (end < length && !isBlank(text.getUnit(end)))
            ++end;
        if (end > start)
            out.add(text.substring(start, end - start));
        start = end;
    }
}

void CAudioParamInfo::setLayout(int32_t size, int32_t type)
{
    elementSize = size;
    dataType = type == kTypeString ? kTypeString : kTypeReal;
    defaults.setFormat(size, dataType);
}

void CAudioParamInfo::setFlags(bool isGlobalFlag, bool isStorableFlag, bool isPersistentFlag,
                               bool isDiscreteFlag, bool isSingleGroupFlag)
{
    global = isGlobalFlag;
    storable = isStorableFlag;
    persistent = isPersistentFlag;
    discrete = isDiscreteFlag;
    singleGroup = isSingleGroupFlag;
}

void CAudioParamInfo::setElement(int element, CAudioParamConverter* converter, double minValue,
                                 double maxValue)
{
    while (converters.getCount() <= element)
        converters.add(nullptr);
    while (minValues.getCount() <= element)
        minValues.add(0.0);
    while (maxValues.getCount() <= element)
        maxValues.add(1.0);
    converters[element] = converter;
    minValues[element] = minValue;
    maxValues[element] = maxValue;
}

CAudioParamConverter* CAudioParamInfo::getConverter(int element) const
{
    return element >= 0 && element < converters.getCount() ? converters[element] : nullptr;
}

double CAudioParamInfo::getMin(int element) const
{
    return element >= 0 && element < minValues.getCount() ? minValues[element] : 0.0;
}

double CAudioParamInfo::getMax(int element) const
{
    return element >= 0 && element < maxValues.getCount() ? maxValues[element] : 1.0;
}

CError* CAudioParamInfo::parseConverterNames(const CObject& from)
{
    converters.clear();
    for (const CString& name : converterNames)
    {
        CString path;
        if (name.getUnit(0) == '/')
            path = name.substring(1);
        else
            path = CString("audio.paramcvt.") + name;
        // Converters live in the shared tree; a definition read outside it (a tree of a test, a
        // tree loaded before the shared one is installed) finds them in its own tree.
        CObject* found = CObject::getSharedRoot() ? from.findObject(CString("shared::") + path)
                                                  : from.findObject(path);
        CAudioParamConverter* converter = dynamic_cast<CAudioParamConverter*>(found);
        if (!converter)
            return KEL_ERROR("@kelstr_CAudioParamInfo_parseConverterNames_ConverterNotFound Audio "
                             "parameter converter '%1' not found.",
                             name);
        converters.add(converter);
    }
    if (converters.getCount() < elementSize)
        return KEL_ERROR("@kelstr_CAudioParamInfo_parseConverterNames_NotEnoughConverters Not "
                         "enough converters defined %1 (should be %2).",
                         converters.getCount(), elementSize);
    return nullptr;
}

CError* CAudioParamInfo::convertMinMaxValues(const CString& minText, const CString& maxText)
{
    minValues.clear();
    maxValues.clear();
    if (dataType == kTypeString)
    {
        for (int e = 0; e < elementSize; ++e)
        {
            minValues.add(0.0);
            maxValues.add(kStringIdMax);
        }
        return nullptr;
    }
    KEL_CHECK(parseLimits(minText, false));
    KEL_CHECK(parseLimits(maxText, true));
    for (int e = 0; e < elementSize; ++e)
    {
        if (maxValues[e] - minValues[e] == 0.0)
            return KEL_ERROR("@kelstr_CAudioParamInfo_convertMinMaxValues_Zero Zero default "
                             "min-max values difference detected in element %1.",
                             e);
    }
    return nullptr;
}

CError* CAudioParamInfo::parseLimits(const CString& text, bool isMax)
{
    CArray<CString> pieces;
    splitOnBlanks(text, pieces);
    if (pieces.getCount() < elementSize)
    {
        if (isMax)
            return KEL_ERROR("@kelstr_CAudioParamInfo_convertMinMaxValues_NotEnoughMax Not enough "
                             "maximum values defined %1 (should be %2).",
                             pieces.getCount(), elementSize);
        return KEL_ERROR("@kelstr_CAudioParamInfo_convertMinMaxValues_NotEnoughMin Not enough "
                         "minimum values defined %1 (should be %2).",
                         pieces.getCount(), elementSize);
    }
    CArray<double>& target = isMax ? maxValues : minValues;
    for (int e = 0; e < elementSize; ++e)
    {
        // Limits are taken as they parse: a bad text gives the converter's fallback.
        const CAudioParamConverter* converter = getConverter(e);
        target.add(converter ? converter->parse(*this, e, pieces[e], nullptr) : 0.0);
    }
    return nullptr;
}

CError* CAudioParamInfo::parseDefValues(const CString& text)
{
    defaults.setFormat(elementSize, dataType);
    const int length = text.getLength();
    int group = 0;
    int item = 0;
    int element = 0;
    int pieceStart = 0;
    // The text ends in an implicit ';'.
    for (int pos = 0; pos <= length; ++pos)
    {
        const uint16_t unit = pos < length ? text.getUnit(pos) : ';';
        if (unit != '*' && unit != ',' && unit != ';')
            continue;
        // An empty text gives no value; an empty piece anywhere else ("1,,2") is an error, not
        // the end of the list.
        if (pos == pieceStart)
        {
            if (length == 0)
                break;
            return KEL_ERROR("@kelstr_CAudioParamInfo_parseDefValues_Error Default values parsing "
                             "error.");
        }
        const CString piece = text.substring(pieceStart, pos - pieceStart);
        pieceStart = pos + 1;
        if (element >= elementSize)
            return KEL_ERROR("@kelstr_CAudioParamInfo_parseDefValues_Error Default values parsing "
                             "error.");
        double value = 0.0;
        if (dataType == kTypeString)
        {
            value = static_cast<double>(defaults.getStrings().addString(piece));
        }
        else
        {
            const CAudioParamConverter* converter = getConverter(element);
            bool ok = converter != nullptr;
            if (converter)
                value = converter->parse(*this, element, piece, &ok);
            if (!ok)
                return KEL_ERROR("@kelstr_CAudioParamInfo_parseDefValues_Error Default values "
                                 "parsing error.");
        }
        if (!defaults.storeValue(group, item * elementSize + element, value))
            return KEL_ERROR("@kelstr_CAudioParamInfo_parseDefValues_Error Default values parsing "
                             "error.");
        if (unit == '*')
        {
            ++element;
            continue;
        }
        if (element != elementSize - 1)
            return KEL_ERROR("@kelstr_CAudioParamInfo_parseDefValues_NoElements Not enough default "
                             "elements at pos %1.",
                             pos);
        element = 0;
        if (unit == ',')
        {
            ++item;
        }
        else
        {
            item = 0;
            ++group;
        }
    }
    return nullptr;
}

CError* CAudioParamInfo::save(COutputStream& stream) const
{
    int32_t flags = valid ? kFlagValid : 0;
    flags |= global ? kFlagGlobal : 0;
    flags |= storable ? kFlagStorable : 0;
    flags |= persistent ? kFlagPersistent : 0;
    flags |= discrete ? kFlagDiscrete : 0;
    flags |= singleGroup ? kFlagSingleGroup : 0;
    KEL_CHECK(stream.writeInt32(flags));
    KEL_CHECK(stream.writeInt32(elementSize));
    KEL_CHECK(stream.writeInt32(dataType));
    KEL_CHECK(stream.writeString(visualName));
    KEL_CHECK(stream.writeString(leafName));
    KEL_CHECK(stream.writeString(registryName));
    KEL_CHECK(stream.writeInt32(converterNames.getCount()));
    for (const CString& name : converterNames)
        KEL_CHECK(stream.writeString(name));
    KEL_CHECK(stream.writeInt32(elementSize));
    for (int e = 0; e < elementSize; ++e)
    {
        KEL_CHECK(stream.writeDouble(getMin(e)));
        KEL_CHECK(stream.writeDouble(getMax(e)));
    }
    KEL_CHECK(defaults.save(stream));
    return nullptr;
}

CError* CAudioParamInfo::load(CInputStream& stream, const CObject& from)
{
    CAudioParamInfo loaded;
    KEL_CHECK(loaded.loadFields(stream, from));
    loaded.layoutWord = layoutWord;
    *this = std::move(loaded);
    return nullptr;
}

CError* CAudioParamInfo::loadFields(CInputStream& stream, const CObject& from)
{
    int32_t flags = 0;
    int32_t size = 0;
    int32_t type = 0;
    KEL_CHECK(stream.readInt32(flags));
    KEL_CHECK(stream.readInt32(size));
    KEL_CHECK(stream.readInt32(type));
    if ((flags & ~kFlagsKnown) != 0)
        return KEL_ERROR("@kelstr_CAudioParamInfo_load_InvalidFlags Invalid flags %1 stored.",
                         flags);
    if (size < 1 || size > kMaxElementSize)
        return KEL_ERROR("@kelstr_CAudioParamInfo_load_InvalidElementSize Invalid element size "
                         "%1 stored.",
                         size);
    if ((type != kTypeReal && type != kTypeString) || (type == kTypeString && size > 1))
        return KEL_ERROR("@kelstr_CAudioParamInfo_load_InvalidDataType Invalid data type %1 for "
                         "element size %2 stored.",
                         type, size);
    setLayout(size, type);
    valid = (flags & kFlagValid) != 0;
    setFlags((flags & kFlagGlobal) != 0, (flags & kFlagStorable) != 0,
             (flags & kFlagPersistent) != 0, (flags & kFlagDiscrete) != 0,
             (flags & kFlagSingleGroup) != 0);
    KEL_CHECK(stream.readString(visualName));
    KEL_CHECK(stream.readString(leafName));
    KEL_CHECK(stream.readString(registryName));

    int32_t count = 0;
    KEL_CHECK(readCount(stream, kStringBytesMin, count));
    for (int32_t i = 0; i < count; ++i)
    {
        CString name;
        KEL_CHECK(stream.readString(name));
        converterNames.add(name);
    }
    KEL_CHECK(parseConverterNames(from));

    KEL_CHECK(readCount(stream, kLimitPairBytes, count));
    if (count != elementSize)
        return KEL_ERROR("@kelstr_CAudioParamInfo_load_CountError Invalid count %1 stored.", count);
    for (int e = 0; e < elementSize; ++e)
    {
        double minValue = 0.0;
        double maxValue = 0.0;
        KEL_CHECK(stream.readDouble(minValue));
        KEL_CHECK(stream.readDouble(maxValue));
        minValues.add(minValue);
        maxValues.add(maxValue);
    }

    if (auto* positioned = dynamic_cast<CPosInputStream*>(&stream))
        KEL_CHECK(checkStoredGroups(*positioned, elementSize, isString()));
    KEL_CHECK(defaults.load(stream));
    return nullptr;
}

} // namespace kel
