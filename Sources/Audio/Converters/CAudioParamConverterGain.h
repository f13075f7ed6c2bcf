#pragma once

#include "Audio/Converters/CAudioParamConverter.h"

namespace kel
{

// Gains (tag audio:cvt-gain): the internal value is a linear factor, the text decibels with
// `decimals` decimals (none in the short form). Logarithmic mapping, so both limits are above 0.
// A text that is no number parses as 0 dB, a factor of 1. [any thread after init]
class CAudioParamConverterGain : public CAudioParamConverter
{
public:
    CAudioParamConverterGain();

    [[nodiscard]] CError* init() override;

    // 20 / ln 10: decibels per neper of amplitude.
    static constexpr double kDecibelsPerNeper = 8.685889638065037;

    double parse(const CAudioParamInfo& info, int element, const CString& text,
                 bool* ok) const override;
    void format(CString& out, const CAudioParamInfo& info, int element, double value, int group,
                int mode) const override;

private:
    int decimals = 0;
};

} // namespace kel
