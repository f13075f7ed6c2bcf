#include "Audio/CAudioParamFilterDef.h"

namespace kel
{

namespace
{

// Splits on ',' and drops blanks around the names and empty names.
void splitNames(const CString& text, CArray<CString>& out)
{
    out.clear();
    int start = 0;
    const int length = text.getLength();
    while (start <= length)
    {
        int end = text.findUnit(',', start);
        if (end < 0)
            end = length;
        int first = start;
        int last = end;
        while (first < last && text.getUnit(first) == ' ')
            ++first;
        while (last > first && text.getUnit(last - 1) == ' ')
            --last;
        if (last > first)
            out.add(text.substring(first, last - first));
        start = end + 1;
    }
}

} // namespace

CError* CAudioParamFilterDef::init()
{
    KEL_CHECK(CObject::init());
    splitNames(getAttrString("src"), sourceNames);
    if (sourceNames.isEmpty())
        return KEL_ERROR(
            "@kelstr_CAudioParamFilterDef_init_NoSrcParams No source parameters defined.");
    splitNames(getAttrString("dst"), destinationNames);
    if (destinationNames.isEmpty())
        return KEL_ERROR(
            "@kelstr_CAudioParamFilterDef_init_NoDstParams No destination parameters defined.");
    return nullptr;
}

} // namespace kel
