#pragma once

#include "Audio/Converters/CAudioParamConverter.h"

namespace kel
{

// Bandwidths in octaves (tag audio:cvt-bw), shown with 2 decimals; square-law mapping. A text
// that is no number parses as 0.001 octaves. [any thread after init]
class CAudioParamConverterBW : public CAudioParamConverter
{
public:
    CAudioParamConverterBW();

    double parse(const CAudioParamInfo& info, int element, const CString& text,
                 bool* ok) const override;
    void format(CString& out, const CAudioParamInfo& info, int element, double value, int group,
                int mode) const override;
};

} // namespace kel
