#pragma once

#include "Audio/Converters/CAudioParamConverter.h"

namespace kel
{

// String parameters (tag audio:cvt-text): the value is an id into the parameter's string table,
// and the text is that string. Strings enter their table directly, never through parse, which
// gives 0 and reports the text invalid. [any thread after init]
class CAudioParamConverterText : public CAudioParamConverter
{
public:
    CAudioParamConverterText();

    double parseClamped(const CAudioParamInfo& info, int element, const CString& text,
                        bool* ok) const override;

    double parse(const CAudioParamInfo& info, int element, const CString& text,
                 bool* ok) const override;
    void format(CString& out, const CAudioParamInfo& info, int element, double value, int group,
                int mode) const override;
};

} // namespace kel
