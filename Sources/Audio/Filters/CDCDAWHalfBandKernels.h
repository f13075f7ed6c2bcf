#pragma once

#include "Audio/CDCDAWContext.h"

namespace kel
{

// Allpass chains for half-band filters, of 2 to 16 first-order sections (the orders 2, 4, ...
// 16 of the names flthbf2 ... flthbf16). Each section turns x into
// y = (x - yPrev) coef + xPrev, keeps x and y as its new xPrev and yPrev and hands y on, which
// is the allpass (coef + z^-1) / (1 + coef z^-1). The coefficient lists come from the filter
// generators; the caller writes them into the state.
//
// State of order N, all doubles: [0] gainLin, [1 .. N] the coefficients, then N pairs
// (xPrev, yPrev). stateDoubles(N) gives its length.
//
//   flthbfNi [state]             clears the history
//   flthbfNu [state]             takes newly written coefficients, keeping the history; it
//                                pulls each into [-0.999999, 0.999999], where the section is
//                                stable
//   flthbfN  [out, state, a]     runs the chain
//   flthbfNg [out, state, a]     runs it and multiplies by gainLin
// [audio thread]
class CDCDAWHalfBandKernels
{
public:
    static constexpr int kOrders = 8;
    static constexpr int kCount = kOrders * 4;

    static constexpr int stateDoubles(int order) { return 1 + 3 * order; }
    static constexpr int gainIndex() { return 0; }
    static constexpr int coefIndex(int section) { return 1 + section; }
    static constexpr int historyIndex(int order, int section) { return 1 + order + 2 * section; }

    static bool registerKernels(CDCDAWContext* context, int* ids);
};

} // namespace kel
