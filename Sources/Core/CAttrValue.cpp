#include "Core/CAttrValue.h"

#include <cmath>
#include <cstdint>

namespace kel
{

CAttrValue::CAttrValue() : flags(kHasString), type(kTypeString) {}

CAttrValue::CAttrValue(bool value) : flags(kHasBool), type(kTypeBool), boolValue(value) {}

CAttrValue::CAttrValue(int32_t value) : flags(kHasInt), type(kTypeInt), intValue(value) {}

CAttrValue::CAttrValue(double value) : flags(kHasDouble), type(kTypeDouble), doubleValue(value) {}

CAttrValue::CAttrValue(const char* text) : flags(kHasString), type(kTypeString), stringValue(text)
{
}

CAttrValue::CAttrValue(const CString& text)
    : flags(kHasString), type(kTypeString), stringValue(text)
{
}

CAttrValue::CAttrValue(void* pointer)
    : flags(kHasPointer), type(kTypePointer), pointerValue(pointer)
{
}

void CAttrValue::convertBool() const
{
    if ((flags | failedFlags) & kHasBool)
        return;
    bool ok = true;
    switch (type)
    {
    case kTypeDouble:
        boolValue = doubleValue != 0.0;
        break;
    case kTypeInt:
        boolValue = intValue != 0;
        break;
    case kTypeString:
        ok = stringValue.parseBool(boolValue);
        break;
    default:
        ok = false;
        break;
    }
    if (ok)
        flags |= kHasBool;
    else
    {
        boolValue = false;
        failedFlags |= kHasBool;
    }
}

void CAttrValue::convertInt() const
{
    if ((flags | failedFlags) & kHasInt)
        return;
    bool ok = true;
    switch (type)
    {
    case kTypeBool:
        intValue = boolValue ? 1 : 0;
        break;
    case kTypeDouble:
    {
        // Halves go away from zero; values beyond int32 stop at its ends, NaN gives 0.
        const double rounded = std::round(doubleValue);
        if (std::isnan(rounded))
            ok = false;
        else if (rounded >= 2147483647.0)
            intValue = INT32_MAX;
        else if (rounded <= -2147483648.0)
            intValue = INT32_MIN;
        else
            intValue = static_cast<int32_t>(rounded);
        break;
    }
    case kTypeString:
        ok = stringValue.parseInt(intValue);
        break;
    default:
        ok = false;
        break;
    }
    if (ok)
        flags |= kHasInt;
    else
    {
        intValue = 0;
        failedFlags |= kHasInt;
    }
}

void CAttrValue::convertDouble() const
{
    if ((flags | failedFlags) & kHasDouble)
        return;
    bool ok = true;
    switch (type)
    {
    case kTypeBool:
        doubleValue = boolValue ? 1.0 : 0.0;
        break;
    case kTypeInt:
        doubleValue = intValue;
        break;
    case kTypeString:
        ok = stringValue.parseDouble(doubleValue);
        break;
    default:
        ok = false;
        break;
    }
    if (ok)
        flags |= kHasDouble;
    else
    {
        doubleValue = 0.0;
        failedFlags |= kHasDouble;
    }
}

void CAttrValue::convertString() const
{
    if ((flags | failedFlags) & kHasString)
        return;
    switch (type)
    {
    case kTypeBool:
        stringValue = CString::fromBool(boolValue);
        break;
    case kTypeDouble:
        stringValue = CString::fromDouble(doubleValue);
        break;
    case kTypeInt:
        stringValue = CString::fromInt(intValue);
        break;
    default:
        failedFlags |= kHasString;
        return;
    }
    flags |= kHasString;
}

bool CAttrValue::getBool() const
{
    convertBool();
    return boolValue;
}

int32_t CAttrValue::getInt() const
{
    convertInt();
    return intValue;
}

double CAttrValue::getDouble() const
{
    convertDouble();
    return doubleValue;
}

const CString& CAttrValue::getString() const
{
    convertString();
    return stringValue;
}

void* CAttrValue::getPointer() const
{
    return pointerValue;
}

bool CAttrValue::tryGetBool(bool& out) const
{
    out = getBool();
    return (flags & kHasBool) != 0;
}

bool CAttrValue::tryGetInt(int32_t& out) const
{
    out = getInt();
    return (flags & kHasInt) != 0;
}

bool CAttrValue::tryGetDouble(double& out) const
{
    out = getDouble();
    return (flags & kHasDouble) != 0;
}

bool CAttrValue::isSameAs(const CAttrValue& other) const
{
    if (type != other.type)
        return false;
    switch (type)
    {
    case kTypeBool:
        return boolValue == other.boolValue;
    case kTypeDouble:
        return doubleValue == other.doubleValue;
    case kTypeInt:
        return intValue == other.intValue;
    case kTypeString:
        return stringValue == other.stringValue;
    default:
        return pointerValue == other.pointerValue;
    }
}

} // namespace kel
