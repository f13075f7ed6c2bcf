#include "Audio/Converters/CAudioParamConverterRatio.h"

namespace kel
{

namespace
{

constexpr double kFallbackRatio = 0.5;

} // namespace

CAudioParamConverterRatio::CAudioParamConverterRatio()
{
    // Logarithmic on the inverse is the same curve: ln(min/v) / ln(min/max).
    mapping = Mapping::kLog;
}

CError* CAudioParamConverterRatio::init()
{
    KEL_CHECK(CAudioParamConverter::init());
    KEL_CHECK(readDecimals(
        "@kelstr_CAudioParamConverterRatio_init_InvalidDecimals Invalid decimals %1 specified.",
        decimals));
    return nullptr;
}

double CAudioParamConverterRatio::parse(const CAudioParamInfo&, int, const CString& text,
                                        bool* ok) const
{
    const int colon = text.findUnit(':');
    double first = 0.0;
    if (colon < 0)
    {
        if (!parseNumber(text, first))
            return failed(ok, kFallbackRatio);
        return succeeded(ok, first);
    }
    double second = 0.0;
    if (!parseNumber(text.substring(0, colon), first) ||
        !parseNumber(text.substring(colon + 1), second) || second == 0.0)
        return failed(ok, kFallbackRatio);
    return succeeded(ok, first / second);
}

void CAudioParamConverterRatio::format(CString& out, const CAudioParamInfo&, int, double value, int,
                                       int mode) const
{
    out.clear();
    const int places = mode == kFormatShort ? 1 : decimals;
    if (!(value > 0.0))
    {
        appendFixed(out, value, places);
        return;
    }
    // The larger side is the one shown with decimals; they thin out as it grows, so that
    // 1:1000 does not read "1:1000.00".
    const bool isExpansion = roundHalfAway(1000.0 / value) <= 1000.0;
    const double shown = isExpansion ? value : 1.0 / value;
    int shownPlaces = places;
    if (roundHalfAway(shown) >= 100.0)
        shownPlaces = 0;
    else if (roundHalfAway(shown) >= 10.0 && shownPlaces > 0)
        shownPlaces -= 1;
    if (isExpansion)
    {
        appendFixed(out, shown, shownPlaces);
        out.append(":1");
    }
    else
    {
        out.append("1:");
        appendFixed(out, shown, shownPlaces);
    }
}

} // namespace kel
