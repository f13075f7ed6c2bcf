#pragma once

#include "Audio/Converters/CAudioParamConverter.h"

namespace kel
{

// Ratios (tag audio:cvt-ratio). Text is "a:b" (the ratio a / b) or one number; the display
// shows ratios below 1 as "1:n" and others as "n:1", with `decimals` decimals (1 in the short
// form) and fewer for large n. Logarithmic mapping. A text that is no ratio parses as 0.5.
// [any thread after init]
class CAudioParamConverterRatio : public CAudioParamConverter
{
public:
    CAudioParamConverterRatio();

    [[nodiscard]] CError* init() override;

    double parse(const CAudioParamInfo& info, int element, const CString& text,
                 bool* ok) const override;
    void format(CString& out, const CAudioParamInfo& info, int element, double value, int group,
                int mode) const override;

private:
    int decimals = 0;
};

} // namespace kel
