#include "Audio/Converters/CAudioParamConverterTime.h"

#include "Core/CDebugChannel.h"

#include <cmath>

namespace kel
{

CAudioParamConverterTime::CAudioParamConverterTime()
{
    mapping = Mapping::kSquare;
}

CError* CAudioParamConverterTime::init()
{
    KEL_CHECK(CAudioParamConverter::init());
    scale = getAttrDouble("scale", 1.0);
    if (!(scale > 0.0))
    {
        KEL_LOG("invalid time scale %g, using 1.0", scale);
        scale = 1.0;
    }
    const bool isLog = getAttrBool("is-log", false);
    isExact = getAttrBool("is-exact", false);
    decimals = getAttrBool("is-precise", false) ? 1 : 0;
    if (isLog)
        mapping = Mapping::kLog;
    else if (isExact)
        mapping = Mapping::kLinear;
    else
        mapping = Mapping::kSquare;
    return nullptr;
}

double CAudioParamConverterTime::parse(const CAudioParamInfo&, int, const CString& text,
                                       bool* ok) const
{
    double number = 0.0;
    if (!parseNumber(text, number))
        return failed(ok, 0.0);
    return succeeded(ok, number * scale);
}

void CAudioParamConverterTime::format(CString& out, const CAudioParamInfo&, int, double value, int,
                                      int mode) const
{
    out.clear();
    const double shown = value / scale;
    const double rounded = roundHalfAway(std::fabs(shown));
    if (mode != kFormatShort)
    {
        if (isExact || rounded < 10.0)
            appendFixed(out, shown, decimals + 2);
        else if (rounded < 100.0)
            appendFixed(out, shown, decimals + 1);
        else
            appendFixed(out, shown, decimals);
        return;
    }
    if (rounded < 10.0)
    {
        appendFixed(out, shown, 1);
    }
    else if (rounded < 100.0)
    {
        appendFixed(out, shown, 0);
    }
    else
    {
        // The short form marks a thousandfold with '*' (a "k" would read as kilo-seconds).
        appendFixed(out, 0.001 * value / scale, 1);
        out.append("*");
    }
}

} // namespace kel
