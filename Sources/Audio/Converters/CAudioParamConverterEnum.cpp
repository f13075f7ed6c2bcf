#include "Audio/Converters/CAudioParamConverterEnum.h"

#include "Audio/CAudioParamInfo.h"

#include <cstdint>

namespace kel
{

CError* CAudioParamConverterEnum::init()
{
    KEL_CHECK(CAudioParamConverter::init());
    initStates();
    return nullptr;
}

void CAudioParamConverterEnum::initStates()
{
    longNames.clear();
    shortNames.clear();
    // `enum` itself has no names at all: every index then prints "Reserve".
    const CString names = getAttrString("state-names", CString());
    const int length = names.getLength();
    int start = 0;
    while (start <= length)
    {
        int end = names.findUnit(';', start);
        if (end < 0)
            end = length;
        if (end > start)
        {
            const CString piece = names.substring(start, end - start);
            const int bar = piece.findUnit('|');
            if (bar < 0)
            {
                longNames.add(piece);
                shortNames.add(piece);
            }
            else
            {
                longNames.add(piece.substring(0, bar));
                shortNames.add(piece.substring(bar + 1));
            }
        }
        start = end + 1;
    }
}

double CAudioParamConverterEnum::parse(const CAudioParamInfo&, int, const CString& text,
                                       bool* ok) const
{
    // The integer form of attribute values: decimal, "0x", "#" or "$" hexadecimal, a leading
    // "0" octal, each with an optional '-'.
    int32_t index = 0;
    if (!text.parseInt(index))
        return failed(ok, 0.0);
    return succeeded(ok, static_cast<double>(index));
}

void CAudioParamConverterEnum::format(CString& out, const CAudioParamInfo& info, int element,
                                      double value, int, int mode) const
{
    const double index = roundHalfAway(value) - roundHalfAway(info.getMin(element));
    if (index < 0.0 || index >= static_cast<double>(longNames.getCount()))
    {
        out = "Reserve";
        return;
    }
    const int stateIndex = static_cast<int>(index);
    out = mode == kFormatShortName ? shortNames[stateIndex] : longNames[stateIndex];
}

double CAudioParamConverterEnum::toValue(const CAudioParamInfo& info, int element,
                                         double normalised) const
{
    return roundHalfAway(linearToValue(normalised, info.getMin(element), info.getMax(element)));
}

} // namespace kel
