#pragma once

#include "Core/CString.h"

namespace kel
{

// Four distances, left, top, right and bottom, read from a border string: blank-separated tokens
// applied left to right, all four starting at 0. A token is flag characters and a number: '*'
// adds to the present value instead of replacing it, and L, T, R, B (either case) pick sides,
// none meaning all four. So "3 B4" is 3 around and 4 below, and "3 B4 *LT1 *RB-1" pushes the
// contents one pixel right and down. A token that is no number is logged with the whole string
// and skipped. A value. [any thread; with scale, the ui thread, which owns the interface scale]
class CViewBorder
{
public:
    double left = 0.0;
    double top = 0.0;
    double right = 0.0;
    double bottom = 0.0;

    // scale multiplies each number by the interface scale, rounding then makes it a whole
    // number (halves away from zero), in that order.
    static CViewBorder parse(const CString& text, bool scale = false, bool rounding = false);
};

} // namespace kel
