#include "Audio/Converters/CAudioParamConverterPercent.h"

namespace kel
{

CAudioParamConverterPercent::CAudioParamConverterPercent()
{
    mapping = Mapping::kLinear;
}

double CAudioParamConverterPercent::parse(const CAudioParamInfo&, int, const CString& text,
                                          bool* ok) const
{
    double number = 0.0;
    if (!parseNumber(text, number))
        return failed(ok, 0.0);
    return succeeded(ok, number * 0.01);
}

void CAudioParamConverterPercent::format(CString& out, const CAudioParamInfo&, int, double value,
                                         int, int mode) const
{
    out.clear();
    appendFixed(out, value * 100.0, mode == kFormatShort ? 0 : 1);
}

} // namespace kel
