#pragma once

#include "Audio/Converters/CAudioParamConverter.h"

namespace kel
{

// Plain numbers (tag audio:cvt-real), shown with `decimals` decimals; linear mapping. A text
// that is no number parses as 0. [any thread after init]
class CAudioParamConverterReal : public CAudioParamConverter
{
public:
    CAudioParamConverterReal();

    [[nodiscard]] CError* init() override;

    double parse(const CAudioParamInfo& info, int element, const CString& text,
                 bool* ok) const override;
    void format(CString& out, const CAudioParamInfo& info, int element, double value, int group,
                int mode) const override;

private:
    int decimals = 0;
};

} // namespace kel
