#pragma once

#include "Audio/Converters/CAudioParamConverter.h"
#include "Core/CArray.h"

namespace kel
{

// Enumerations (tag audio:cvt-enum): the internal value is a state index counted from the
// parameter's minimum; the text is the state's name from `state-names` ("Long|Short;..."), the
// short one in mode kFormatShortName, and "Reserve" for an index without a name. Text parses as
// an integer only (decimal, "0x"/"#"/"$" hexadecimal, leading-"0" octal), never as a name. Linear
// mapping, rounded to whole states on the way back. [any thread after init]
class CAudioParamConverterEnum : public CAudioParamConverter
{
public:
    CAudioParamConverterEnum() = default;

    [[nodiscard]] CError* init() override;
    // Parses `state-names`: pieces split on ';' (empty ones skipped), each "long|short" or "long".
    virtual void initStates();

    double parse(const CAudioParamInfo& info, int element, const CString& text,
                 bool* ok) const override;
    void format(CString& out, const CAudioParamInfo& info, int element, double value, int group,
                int mode) const override;
    double toValue(const CAudioParamInfo& info, int element, double normalised) const override;

    int getStateCount() const { return longNames.getCount(); }
    const CString& getLongName(int index) const { return longNames[index]; }
    const CString& getShortName(int index) const { return shortNames[index]; }

private:
    CArray<CString> longNames;
    CArray<CString> shortNames;
};

} // namespace kel
