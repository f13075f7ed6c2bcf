#pragma once

#include "Audio/Converters/CAudioParamConverter.h"

namespace kel
{

// Frequencies (tag audio:cvt-freq) in hertz. A text may end in "k" or "K" for kilohertz; the
// display switches to kilohertz from 1000 Hz on, with the decimals chosen so that the text stays
// short. Logarithmic mapping. A text that is no number parses as 0 Hz. [any thread after init]
class CAudioParamConverterFreq : public CAudioParamConverter
{
public:
    CAudioParamConverterFreq();

    double parse(const CAudioParamInfo& info, int element, const CString& text,
                 bool* ok) const override;
    void format(CString& out, const CAudioParamInfo& info, int element, double value, int group,
                int mode) const override;
};

} // namespace kel
