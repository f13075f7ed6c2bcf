#pragma once

#include "Audio/CDCDAWContext.h"

namespace kel
{

// The sample arithmetic kernels: copies, sums, extremes, mixes, products, fills and the
// equal-gain crossfade. Buffers are doubles, output first; k is the call's constant. A trailing
// "i" means the kernel works in place (out is also its first operand), except in xfadei, which
// sets up a crossfade state.
//
//   copy  out = a              addc  out = a + k          addcid  out += k
//   add2  out = a + b          add2i out += a             add3    out = a + b + c
//   add4  out = a + b + c + d  sub2  out = a - b
//   max2/3/4, min2/3/4  the larger / smaller of a, b (, c, d);  max2i  out = max(out, a)
//   mix   out = b + (a - b) k  mix2  out = b + (a - b) c (per-sample factor buffer c)
//   mixb  out = a + b k        mixbc out += a k
//   add2mul out = (a + b) k    add3mul out = (a + b + c) k
//   mulc  out = a k            mulci out *= k             mul2  out = a b
//   mul2i out *= a             mul2addi out += a b
//   abs   out = |a|            sqrt  out = sqrt(max(a, 0))
//   fill0 out = 0              fillc out = k              filld out = a[0] (a held value)
//   xfadei, xfade  the raised-cosine crossfade, state XfadeState below.
//
// The kernels are plain functions run by CDCDAWContext. [audio thread]
class CDCDAWArithmeticKernels
{
public:
    static constexpr int kCount = 33;

    // Crossfade state. xfadei (frames = fade length n, k = 0 fades from b to a, k = 0.5 from a
    // to b) sets s1 = 0.5 sin(t), s2 = 0.5 sin(t - w), m = 2 cos(w) with w = pi / n and
    // t = pi (0.5 + 2k). xfade then gives out = (0.5 - s1) a + (0.5 + s1) b per sample and
    // steps (s1, s2) = (m s1 - s2, s1). Buffers of xfade: out, state, a, b.
    struct XfadeState
    {
        double s1;
        double s2;
        double m;
    };

    // Registers the family in its standard order; ids receives kCount ids.
    static bool registerKernels(CDCDAWContext* context, int* ids);
};

} // namespace kel
