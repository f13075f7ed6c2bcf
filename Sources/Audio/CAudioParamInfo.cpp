#include "Audio/CAudioParamInfo.h"

#include "Audio/Converters/CAudioParamConverter.h"
#include "Core/CObject.h"

namespace kel
{

namespace
{

bool isBlank(uint16_t unit)
{
    return unit == ' ' || unit == '\t' || unit == '\r' || unit == '\n';
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
        if (pos == pieceStart)
            break;
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

} // namespace kel
