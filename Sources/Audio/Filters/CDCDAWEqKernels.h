#pragma once

#include "Audio/CDCDAWContext.h"

namespace kel
{

// Two small equaliser kernels, each designed at rate k by its set-up (i) or update (u, keeps the
// history) kernel:
//
//   fltheq   a first-order high shelf: out = x + (shelfGainLin - 1) hp(x), hp being the
//            bilinear first-order high-pass at freqHz. Unity at DC, shelfGainLin at Nyquist.
//            Kernels fltheqi [state], flthequ [state], fltheq [out, state, a]; ShelfState.
//   fltapf1_6  six first-order allpass sections sharing one break frequency freqHz
//            (coef = (tan(w/2) - 1) / (tan(w/2) + 1), y = coef x + x1 - coef y1): a phase
//            shifter of magnitude 1 with -540 degrees (an inversion) at freqHz. Kernels fltapf1_6i
//            [state], fltapf1_6u [state], fltapf1_6 [out, state, a], fltapf1_6g (times gainLin);
//            AllpassState.
// [audio thread]
class CDCDAWEqKernels
{
public:
    static constexpr int kCount = 7;
    static constexpr int kAllpassSections = 6;

    struct ShelfState
    {
        double freqHz;
        double shelfGainLin;
        double coef; // bilinear one-pole coefficient g / (1 + g)
        double x1;
        double y1; // the low-pass part's history
    };

    struct AllpassState
    {
        double freqHz;
        double gainLin;
        double coef;
        double x1[kAllpassSections];
        double y1[kAllpassSections];
    };

    static bool registerKernels(CDCDAWContext* context, int* ids);
};

} // namespace kel
