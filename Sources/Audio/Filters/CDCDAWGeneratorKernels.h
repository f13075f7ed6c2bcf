#pragma once

#include "Audio/CDCDAWContext.h"
#include "Audio/Filters/CRanmar.h"

#include <cstdint>

namespace kel
{

// The signal generators of the insertion module: a sine from the two-term recursion and white
// noise through a one-pole low-pass. They are not standard kernels: the module registers them
// through registerKernels before it looks their ids up. k is the sample rate in the set-ups.
//
//   sinei [state]            y1 = A sin(0), y2 = A sin(-w), c = 2 cos(w), w = 2 pi freqHz / k,
//                            A = amplitude (the caller fills freqHz and amplitude)
//   sine [out, state]        out = y1, then (y1, y2) = (c y1 - y2, y1)
//   fltnoisei [state]        seeds the generator from seed (ij = seed mod 31329,
//                            kl = (seed / 31329) mod 30082, or 1802 and 9373 if they fall
//                            outside their ranges), clears y, doubles amplitude and sets
//                            a = 1 + sqrt(b^2 - 1) - b with b = 2 - cos(w)
//   fltnoise [out, state]    x = (r - 0.5) amplitude, y += (x - y) a, out = y, r a draw
//                            (the caller fills seed, amplitude and freqHz)
// [audio thread]
class CDCDAWGeneratorKernels
{
public:
    static constexpr int kCount = 4;
    enum Index
    {
        kSinei,
        kSine,
        kFltnoisei,
        kFltnoise
    };

    // Six doubles.
    struct SineState
    {
        double freqHz;
        double amplitude;
        double y1;
        double y2;
        double c;
        double w; // radians per sample, kept for tests and read-outs
    };

    struct NoiseState
    {
        int32_t seed;
        double amplitude;
        double freqHz;
        CRanmar generator;
        double y;
        double a;
    };

    // Registers sinei, sine, fltnoisei, fltnoise in this order; ids (if given) receives their
    // ids. Registering again answers the same ids. [set-up thread]
    static bool registerKernels(CDCDAWContext* context, int* ids);
};

} // namespace kel
