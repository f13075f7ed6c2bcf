#include "Audio/Converters/CAudioParamConverterReal.h"

namespace kel
{

CAudioParamConverterReal::CAudioParamConverterReal()
{
    mapping = Mapping::kLinear;
}

CError* CAudioParamConverterReal::init()
{
    KEL_CHECK(CAudioParamConverter::init());
    KEL_CHECK(readDecimals(
        "@kelstr_CAudioParamConverterReal_init_InvalidDecimals Invalid decimals %1 specified.",
        decimals));
    return nullptr;
}

double CAudioParamConverterReal::parse(const CAudioParamInfo&, int, const CString& text,
                                       bool* ok) const
{
    double number = 0.0;
    if (!parseNumber(text, number))
        return failed(ok, 0.0);
    return succeeded(ok, number);
}

void CAudioParamConverterReal::format(CString& out, const CAudioParamInfo&, int, double value, int,
                                      int mode) const
{
    out.clear();
    appendFixed(out, value, mode == kFormatShort ? 0 : decimals);
}

} // namespace kel
