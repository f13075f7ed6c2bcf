#include "Audio/Converters/CAudioParamConverterBW.h"

namespace kel
{

CAudioParamConverterBW::CAudioParamConverterBW()
{
    mapping = Mapping::kSquare;
}

double CAudioParamConverterBW::parse(const CAudioParamInfo&, int, const CString& text,
                                     bool* ok) const
{
    double number = 0.0;
    if (!parseNumber(text, number))
        return failed(ok, 0.001);
    return succeeded(ok, number);
}

void CAudioParamConverterBW::format(CString& out, const CAudioParamInfo&, int, double value, int,
                                    int) const
{
    out.clear();
    appendFixed(out, value, 2);
}

} // namespace kel
