#include "UI/Views/CViewBorder.h"

#include "Core/CDebugChannel.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CViewAreaNetwork.h"

namespace kel
{

namespace
{

bool isBlank(uint16_t unit)
{
    return unit == ' ' || unit == '\t';
}

} // namespace

CViewBorder CViewBorder::parse(const CString& text, bool scale, bool rounding)
{
    CViewBorder border;
    double* sides[4] = {&border.left, &border.top, &border.right, &border.bottom};
    const int length = text.getLength();
    int at = 0;
    while (at < length)
    {
        while (at < length && isBlank(text.getUnit(at)))
            ++at;
        const int start = at;
        while (at < length && !isBlank(text.getUnit(at)))
            ++at;
        if (at == start)
            break;
        bool add = false;
        bool picked[4] = {false, false, false, false};
        bool anySide = false;
        int i = start;
        for (; i < at; ++i)
        {
            const uint16_t c = text.getUnit(i);
            const int side = (c == 'L' || c == 'l')   ? 0
                             : (c == 'T' || c == 't') ? 1
                             : (c == 'R' || c == 'r') ? 2
                             : (c == 'B' || c == 'b') ? 3
                                                      : -1;
            if (c == '*')
                add = true;
            else if (side >= 0)
                picked[side] = anySide = true;
            else
                break;
        }
        char utf8[256];
        if (i < at && !((text.getUnit(i) >= '0' && text.getUnit(i) <= '9') ||
                        text.getUnit(i) == '-' || text.getUnit(i) == '.' || text.getUnit(i) == ','))
        {
            text.toUtf8(utf8, sizeof utf8);
            KEL_LOG("Invalid border syntax: '%s' (2)", utf8);
            continue;
        }
        double value = 0.0;
        if (i == at || !text.substring(i, at - i).parseDouble(value))
        {
            text.toUtf8(utf8, sizeof utf8);
            KEL_LOG("Invalid border syntax: '%s' (1)", utf8);
            continue;
        }
        if (scale)
            value *= CUiScale::get();
        if (rounding)
            value = CViewAreaNetwork::roundHalfAway(value);
        for (int side = 0; side < 4; ++side)
        {
            if (anySide && !picked[side])
                continue;
            *sides[side] = add ? *sides[side] + value : value;
        }
    }
    return border;
}

} // namespace kel
