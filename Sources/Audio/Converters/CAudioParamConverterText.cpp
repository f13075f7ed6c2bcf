#include "Audio/Converters/CAudioParamConverterText.h"

#include "Audio/CAudioParamInfo.h"

namespace kel
{

CAudioParamConverterText::CAudioParamConverterText()
{
    mapping = Mapping::kLinear;
}

double CAudioParamConverterText::parseClamped(const CAudioParamInfo&, int, const CString&,
                                              bool* ok) const
{
    return failed(ok, 0.0);
}

double CAudioParamConverterText::parse(const CAudioParamInfo&, int, const CString&, bool* ok) const
{
    return failed(ok, 0.0);
}

void CAudioParamConverterText::format(CString& out, const CAudioParamInfo& info, int, double value,
                                      int, int) const
{
    const CString* text = info.getStrings().findString(static_cast<int32_t>(roundHalfAway(value)));
    if (text)
        out = *text;
    else
        out.clear();
}

} // namespace kel
