#pragma once

#include "Audio/Converters/CAudioParamConverter.h"

namespace kel
{

// Percentages (tag audio:cvt-percent): the internal value is a fraction, 1.0 for 100 %; text
// is the percentage with 1 decimal (none in the short form). Linear mapping. A text that is no
// number parses as 0. [any thread after init]
class CAudioParamConverterPercent : public CAudioParamConverter
{
public:
    CAudioParamConverterPercent();

    double parse(const CAudioParamInfo& info, int element, const CString& text,
                 bool* ok) const override;
    void format(CString& out, const CAudioParamInfo& info, int element, double value, int group,
                int mode) const override;
};

} // namespace kel
