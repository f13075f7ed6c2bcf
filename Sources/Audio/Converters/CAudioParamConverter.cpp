#include "Audio/Converters/CAudioParamConverter.h"

#include "Audio/CAudioParamInfo.h"

#include <charconv>
#include <cmath>
#include <cstdint>

namespace kel
{

CError* CAudioParamConverter::init()
{
    KEL_CHECK(CObject::init());
    // Only some instances carry a unit word; the others show none.
    label = getAttrString("label", CString());
    return nullptr;
}

double CAudioParamConverter::parseClamped(const CAudioParamInfo& info, int element,
                                          const CString& text, bool* ok) const
{
    return clampToRange(parse(info, element, text, ok), info.getMin(element), info.getMax(element));
}

double CAudioParamConverter::toValue(const CAudioParamInfo& info, int element,
                                     double normalised) const
{
    const double minValue = info.getMin(element);
    const double maxValue = info.getMax(element);
    switch (mapping)
    {
    case Mapping::kLog:
        return logToValue(normalised, minValue, maxValue);
    case Mapping::kSquare:
        return squareToValue(normalised, minValue, maxValue);
    case Mapping::kLinear:
        break;
    }
    return linearToValue(normalised, minValue, maxValue);
}

double CAudioParamConverter::toNormalised(const CAudioParamInfo& info, int element,
                                          double value) const
{
    const double minValue = info.getMin(element);
    const double maxValue = info.getMax(element);
    switch (mapping)
    {
    case Mapping::kLog:
        return logToNormalised(value, minValue, maxValue);
    case Mapping::kSquare:
        return squareToNormalised(value, minValue, maxValue);
    case Mapping::kLinear:
        break;
    }
    return linearToNormalised(value, minValue, maxValue);
}

bool CAudioParamConverter::parseNumber(const CString& text, double& out)
{
    out = 0.0;
    const int length = text.getLength();
    int i = 0;
    const bool negative = length > 0 && text.getUnit(0) == '-';
    if (negative)
        i = 1;
    // Unsigned arithmetic: an absurdly long integer part wraps instead of overflowing. Fraction
    // digits beyond the 18th cannot change a double and are not accumulated, so the
    // denominator never overflows.
    uint64_t integerPart = 0;
    uint64_t numerator = 0;
    uint64_t denominator = 1;
    bool inFraction = false;
    for (; i < length; ++i)
    {
        const uint16_t unit = text.getUnit(i);
        if (unit >= '0' && unit <= '9')
        {
            const unsigned digit = unit - '0';
            if (!inFraction)
            {
                integerPart = integerPart * 10 + digit;
            }
            else if (denominator < 1000000000000000000ull)
            {
                numerator = numerator * 10 + digit;
                denominator *= 10;
            }
        }
        else if ((unit == '.' || unit == ',') && !inFraction)
        {
            inFraction = true;
        }
        else
        {
            return false;
        }
    }
    const double magnitude = static_cast<double>(integerPart) +
                             static_cast<double>(numerator) / static_cast<double>(denominator);
    out = negative ? -magnitude : magnitude;
    return true;
}

double CAudioParamConverter::roundHalfAway(double value)
{
    return value >= 0.0 ? std::floor(value + 0.5) : -std::floor(std::fabs(value) + 0.5);
}

void CAudioParamConverter::appendFixed(CString& out, double value, int decimals)
{
    // to_chars ignores the C locale, which a host may have set to a decimal comma.
    char digits[400];
    const auto result = std::to_chars(digits, digits + sizeof(digits), value,
                                      std::chars_format::fixed, decimals < 0 ? 0 : decimals);
    out.append(digits, static_cast<int>(result.ptr - digits));
}

double CAudioParamConverter::clampToRange(double value, double minValue, double maxValue)
{
    const double low = maxValue >= minValue ? minValue : maxValue;
    const double high = maxValue >= minValue ? maxValue : minValue;
    if (value > high)
        return high;
    if (value < low)
        return low;
    return value;
}

double CAudioParamConverter::linearToNormalised(double value, double minValue, double maxValue)
{
    return (value - minValue) / (maxValue - minValue);
}

double CAudioParamConverter::linearToValue(double normalised, double minValue, double maxValue)
{
    return minValue + (maxValue - minValue) * normalised;
}

double CAudioParamConverter::logToNormalised(double value, double minValue, double maxValue)
{
    return std::log(value / minValue) / std::log(maxValue / minValue);
}

double CAudioParamConverter::logToValue(double normalised, double minValue, double maxValue)
{
    return std::exp(std::log(minValue) + std::log(maxValue / minValue) * normalised);
}

double CAudioParamConverter::squareToNormalised(double value, double minValue, double maxValue)
{
    return std::sqrt(std::fabs((value - minValue) / (maxValue - minValue)));
}

double CAudioParamConverter::squareToValue(double normalised, double minValue, double maxValue)
{
    return normalised * normalised * (maxValue - minValue) + minValue;
}

CError* CAudioParamConverter::readDecimals(const char* message, int& out)
{
    out = 0;
    const CAttrValue* attr = findAttr("decimals");
    if (!attr)
    {
        out = getAttrInt("decimals");
        return nullptr;
    }
    int32_t value = 0;
    if (!attr->tryGetInt(value) || value < 0)
        return KEL_ERROR(message, attr->getString());
    out = value;
    return nullptr;
}

double CAudioParamConverter::failed(bool* ok, double fallback)
{
    if (ok)
        *ok = false;
    return fallback;
}

double CAudioParamConverter::succeeded(bool* ok, double value)
{
    if (ok)
        *ok = true;
    return value;
}

} // namespace kel
