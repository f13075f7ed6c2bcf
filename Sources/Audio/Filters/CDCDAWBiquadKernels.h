#pragma once

#include "Audio/CDCDAWContext.h"

namespace kel
{

// Second-order filter kernels (direct form I, the usual cookbook designs, normalised so that
// a0 = 1). One state buffer of BiquadState per filter; k is the sample rate where a kernel
// designs.
//
//   fltbiqi [state]           designs the coefficients from type, freqHz and q at rate k and
//                             clears the history
//   fltbiqu [state]           designs again and keeps the history (a parameter change without
//                             a click)
//   fltbiqcommon [out, state, a]   filters a with the coefficients in the state, whoever set them
//   fltbiqlp, fltbiqhp, fltbiqbp, fltbiqnotch [out, state, a]
//                             set the type, design for freqHz and q at rate k, then filter
//   the same names ending in g     as above, the output multiplied by gainLin
//
// The band-pass has 0 dB at its centre; the notch is 0 dB away from it. Frequencies are kept
// inside (0, 0.49 k) and q above 0.01 so that a bad parameter cannot make the filter unstable.
// [audio thread]
class CDCDAWBiquadKernels
{
public:
    static constexpr int kCount = 12;

    enum Type
    {
        kLowPass = 0,
        kHighPass = 1,
        kBandPass = 2,
        kNotch = 3
    };

    struct BiquadState
    {
        double freqHz;
        double q;
        double gainLin;
        double type; // a Type, stored as a double so the state is all doubles
        double b0, b1, b2, a1, a2;
        double x1, x2, y1, y2;
    };

    static bool registerKernels(CDCDAWContext* context, int* ids);

    // The design the kernels use; also for tests and for callers that fill the state directly.
    static void design(BiquadState* state, int type, double sampleRateHz);
};

} // namespace kel
