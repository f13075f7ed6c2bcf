#pragma once

#include "Audio/CDCDAWContext.h"

namespace kel
{

// First-order low-pass and high-pass kernels. The letters a to d name four designs of the same
// corner freqHz, all with unity gain at DC (low-pass) or Nyquist side (high-pass):
//
//   a  impulse-invariant:  coef = 1 - exp(-w)                       y += coef (x - y)
//   b  bilinear:           g = tan(w / 2), coef = g / (1 + g)        y = coef (x + x1) + (1 - 2
//   coef) y1 c  exact -3 dB corner: b = 2 - cos(w), coef = 1 + sqrt(b^2 - 1) - b   y += coef (x -
//   y) d  backward Euler:     coef = w / (1 + w)                        y += coef (x - y)
//
// with w = 2 pi freqHz / rate. The high-passes are the complements, out = x - y, which for the
// bilinear design is the bilinear high-pass. Low- and high-pass of one state share its history.
//
//   fltlphp1i [state]  computes the four coefficients at rate k and clears the history
//   fltlphp1u [state]  computes them again and keeps the history
//   fltlp1a ... flthp1d [out, state, a]  filter; the names ending in g multiply by gainLin
// [audio thread]
class CDCDAWOnePoleKernels
{
public:
    static constexpr int kCount = 18;

    struct OnePoleState
    {
        double freqHz;
        double gainLin;
        double coef[4]; // designs a, b, c, d
        double x1;
        double y1;
    };

    static bool registerKernels(CDCDAWContext* context, int* ids);
    static void design(OnePoleState* state, double sampleRateHz);
};

} // namespace kel
