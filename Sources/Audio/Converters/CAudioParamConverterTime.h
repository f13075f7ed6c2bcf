#pragma once

#include "Audio/Converters/CAudioParamConverter.h"

namespace kel
{

// Times (tag audio:cvt-time). The internal value is seconds; the text is the value divided by
// `scale` (so 0.001 shows milliseconds), with more decimals for small values, or a fixed count
// when `is-exact`; `is-precise` adds one decimal. The short form marks thousands with '*'.
// Mapping: logarithmic with `is-log`, else linear with `is-exact`, else square law. A text that
// is no number parses as 0. [any thread after init]
class CAudioParamConverterTime : public CAudioParamConverter
{
public:
    CAudioParamConverterTime();

    [[nodiscard]] CError* init() override;

    double getScale() const { return scale; }
    int getDecimals() const { return decimals; }

    double parse(const CAudioParamInfo& info, int element, const CString& text,
                 bool* ok) const override;
    void format(CString& out, const CAudioParamInfo& info, int element, double value, int group,
                int mode) const override;

private:
    double scale = 1.0;
    bool isExact = false;
    // 1 with is-precise, else 0.
    int decimals = 0;
};

} // namespace kel
