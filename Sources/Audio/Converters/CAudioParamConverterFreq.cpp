#include "Audio/Converters/CAudioParamConverterFreq.h"

namespace kel
{

CAudioParamConverterFreq::CAudioParamConverterFreq()
{
    mapping = Mapping::kLog;
}

double CAudioParamConverterFreq::parse(const CAudioParamInfo&, int, const CString& text,
                                       bool* ok) const
{
    const int length = text.getLength();
    const uint16_t last = length > 0 ? text.getUnit(length - 1) : 0;
    const bool isKilo = last == 'k' || last == 'K';
    double number = 0.0;
    if (!parseNumber(isKilo ? text.substring(0, length - 1) : text, number))
        return failed(ok, 0.0);
    return succeeded(ok, isKilo ? number * 1000.0 : number);
}

void CAudioParamConverterFreq::format(CString& out, const CAudioParamInfo&, int, double value, int,
                                      int mode) const
{
    // Each step is chosen by what the rounded text would show, so 99.96 gives "100", not
    // "100.0", and 999.6 gives "1.00k", not "1000".
    out.clear();
    if (mode != kFormatShort)
    {
        if (roundHalfAway(10.0 * value) < 1000.0)
        {
            appendFixed(out, value, 1);
        }
        else if (roundHalfAway(value) < 1000.0)
        {
            appendFixed(out, value, 0);
        }
        else if (roundHalfAway(0.1 * value) < 1000.0)
        {
            appendFixed(out, 0.001 * value, 2);
            out.append("k");
        }
        else
        {
            appendFixed(out, 0.001 * value, 1);
            out.append("k");
        }
        return;
    }
    if (roundHalfAway(10.0 * value) < 10000.0)
    {
        appendFixed(out, value, 1);
    }
    else if (roundHalfAway(10.0 * value) < 100000.0)
    {
        appendFixed(out, 0.001 * value, 1);
        out.append("k");
    }
    else
    {
        appendFixed(out, 0.001 * value, 0);
        out.append("k");
    }
}

} // namespace kel
