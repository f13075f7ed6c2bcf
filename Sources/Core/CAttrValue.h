#pragma once

#include "Core/CString.h"
#include "Core/CStringMap.h"

#include <cstdint>

namespace kel
{

// The value of one attribute: the type it was given with and a set of representations that are
// valid. Asking for a representation that is not valid converts it from the original once, keeps
// the result and marks it valid; a conversion that fails leaves its bit clear and answers the
// empty value (false, 0, 0.0, the empty string, null).
//
// Conversions from the original type:
//   bool   -> string "true"/"false"; int, double 1 or 0
//   double -> string with four decimals; int rounded to nearest, halves away from zero (clamped
//             to the int32 range); bool non-zero
//   int    -> string decimal; bool non-zero; double exact
//   string -> bool: "1"/"true", "0"/"false", nothing else
//             double: optional '-', digits, at most one ',' or '.', digits; no exponent
//             int: optional '-', "0x"/"0X"/'#'/'$' hexadecimal, leading '0' octal, else decimal
// A pointer is only a pointer: it converts to nothing, and nothing converts to it.
//
// A value; not shared between threads without a lock. [any thread]
class CAttrValue
{
public:
    enum Flag : uint32_t
    {
        kHasBool = 1,
        kHasDouble = 2,
        kHasInt = 4,
        kHasString = 8,
        kHasPointer = 16,
    };
    enum Type : uint32_t
    {
        kTypeBool = 0,
        kTypeDouble = 1,
        kTypeInt = 2,
        kTypeString = 3,
        kTypePointer = 4,
    };

    // The empty string.
    CAttrValue();
    CAttrValue(bool value);
    CAttrValue(int32_t value);
    CAttrValue(double value);
    CAttrValue(const char* text);
    CAttrValue(const CString& text);
    CAttrValue(void* pointer);

    Type getType() const { return type; }
    uint32_t getFlags() const { return flags; }
    bool isString() const { return type == kTypeString; }

    // The representation, converted on first use. Failure gives the empty value.
    bool getBool() const;
    int32_t getInt() const;
    double getDouble() const;
    const CString& getString() const;
    void* getPointer() const;

    // As above, answering whether the representation exists (converted or original).
    bool tryGetBool(bool& out) const;
    bool tryGetInt(int32_t& out) const;
    bool tryGetDouble(double& out) const;

    // Same type and same original value (strings by code unit).
    bool isSameAs(const CAttrValue& other) const;

private:
    void convertBool() const;
    void convertInt() const;
    void convertDouble() const;
    void convertString() const;

    mutable uint32_t flags;
    Type type;
    mutable bool boolValue = false;
    mutable double doubleValue = 0.0;
    mutable int32_t intValue = 0;
    mutable CString stringValue;
    void* pointerValue = nullptr;
    // Conversions that were tried and failed, so that they are tried once.
    mutable uint32_t failedFlags = 0;
};

// A plain map of attribute values: event parameters, parameters of a run-time creation.
using CAttrMap = CStringMap<CAttrValue>;

// A parameter of an event by name, or fallback when the event has none.
inline int32_t getParamInt(const CAttrMap& params, const char* name, int32_t fallback = 0)
{
    const CAttrValue* value = params.find(CString(name));
    return value ? value->getInt() : fallback;
}
inline bool getParamBool(const CAttrMap& params, const char* name, bool fallback = false)
{
    const CAttrValue* value = params.find(CString(name));
    return value ? value->getBool() : fallback;
}

} // namespace kel
