#include "Audio/Converters/CAudioParamConverterGain.h"

#include <cmath>

namespace kel
{

CAudioParamConverterGain::CAudioParamConverterGain()
{
    mapping = Mapping::kLog;
}

CError* CAudioParamConverterGain::init()
{
    KEL_CHECK(CAudioParamConverter::init());
    KEL_CHECK(readDecimals(
        "@kelstr_CAudioParamConverterGain_init_InvalidDecimals Invalid decimals %1 specified.",
        decimals));
    return nullptr;
}

double CAudioParamConverterGain::parse(const CAudioParamInfo&, int, const CString& text,
                                       bool* ok) const
{
    double decibels = 0.0;
    if (!parseNumber(text, decibels))
        return failed(ok, 1.0);
    return succeeded(ok, std::exp(decibels / kDecibelsPerNeper));
}

void CAudioParamConverterGain::format(CString& out, const CAudioParamInfo&, int, double value, int,
                                      int mode) const
{
    out.clear();
    appendFixed(out, std::log(value) * kDecibelsPerNeper, mode == kFormatShort ? 0 : decimals);
}

} // namespace kel
