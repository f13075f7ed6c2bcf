#pragma once

#include "Audio/CDCDAWContext.h"

#include <cstdint>

namespace kel
{

// Signals that keep the filters behind a silent process out of subnormal numbers. Registered
// by the bypass and mute processes through registerKernels.
//
//   denorm [out]              out = 1e-11, a constant far below hearing
//   denormn [out, state]      faint noise: per sample s = s * 30013 + 30011 (32-bit wrap),
//                             b = bit 23 of s, out = b * 2e-11 - 1e-11. The state is one
//                             32-bit word, first set by the caller from the seed counter.
// [audio thread]
class CDCDAWDenormKernels
{
public:
    static constexpr int kCount = 2;
    enum Index
    {
        kDenorm,
        kDenormn
    };

    static constexpr double kLevel = 1e-11;

    // One step of the noise: advances the state word and answers the sample.
    static double nextNoise(uint32_t* state)
    {
        *state = *state * 30013u + 30011u;
        return static_cast<double>((*state >> 23) & 1u) * (2.0 * kLevel) - kLevel;
    }

    // Registers denorm and denormn in this order; ids (if given) receives their ids.
    // [set-up thread]
    static bool registerKernels(CDCDAWContext* context, int* ids);
};

} // namespace kel
