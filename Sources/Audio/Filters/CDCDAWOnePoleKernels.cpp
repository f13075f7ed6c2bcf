#include "Audio/Filters/CDCDAWOnePoleKernels.h"

#include <cmath>

namespace kel
{

namespace
{

constexpr double kPi = 3.14159265358979323846;

using State = CDCDAWOnePoleKernels::OnePoleState;

enum Design
{
    kImpulseInvariant,
    kBilinear,
    kCosine,
    kBackwardEuler
};

template <int Which, bool HighPass, bool WithGain> void kernelFilter(CDCDAWCall* call)
{
    const int n = call->frames;
    double* out = call->doubles(0);
    auto* s = static_cast<State*>(call->data[1]);
    const double* a = call->doubles(2);
    const double gain = WithGain ? s->gainLin : 1.0;
    const double coef = s->coef[Which];
    double x1 = s->x1;
    double y = s->y1;
    for (int i = 0; i < n; ++i)
    {
        const double x = a[i];
        if (Which == kBilinear)
            y = coef * (x + x1) + (1.0 - 2.0 * coef) * y;
        else
            y += coef * (x - y);
        x1 = x;
        out[i] = (HighPass ? x - y : y) * gain;
    }
    s->x1 = x1;
    s->y1 = y;
}

void kernelInit(CDCDAWCall* call)
{
    auto* s = static_cast<State*>(call->data[0]);
    CDCDAWOnePoleKernels::design(s, call->constant);
    s->x1 = s->y1 = 0.0;
}

void kernelUpdate(CDCDAWCall* call)
{
    CDCDAWOnePoleKernels::design(static_cast<State*>(call->data[0]), call->constant);
}

#define KEL_DCDAW_NAME(shortName) "com.kelmont.dcdaw." shortName
#define KEL_DCDAW_PAIR(shortName, which, highPass)                                                 \
    {KEL_DCDAW_NAME(shortName), kernelFilter<which, highPass, false>, 3, 3, 200, 6},               \
    {                                                                                              \
        KEL_DCDAW_NAME(shortName "g"), kernelFilter<which, highPass, true>, 3, 3, 200, 7           \
    }

const CDCDAWKernelRow kRows[CDCDAWOnePoleKernels::kCount] = {
    {KEL_DCDAW_NAME("fltlphp1i"), kernelInit, 1, 1, 500, 0},
    {KEL_DCDAW_NAME("fltlphp1u"), kernelUpdate, 1, 1, 500, 0},
    KEL_DCDAW_PAIR("fltlp1a", kImpulseInvariant, false),
    KEL_DCDAW_PAIR("fltlp1b", kBilinear, false),
    KEL_DCDAW_PAIR("fltlp1c", kCosine, false),
    KEL_DCDAW_PAIR("fltlp1d", kBackwardEuler, false),
    KEL_DCDAW_PAIR("flthp1a", kImpulseInvariant, true),
    KEL_DCDAW_PAIR("flthp1b", kBilinear, true),
    KEL_DCDAW_PAIR("flthp1c", kCosine, true),
    KEL_DCDAW_PAIR("flthp1d", kBackwardEuler, true),
};

#undef KEL_DCDAW_PAIR
#undef KEL_DCDAW_NAME

} // namespace

bool CDCDAWOnePoleKernels::registerKernels(CDCDAWContext* context, int* ids)
{
    return context->registerKernels(kRows, kCount, ids);
}

void CDCDAWOnePoleKernels::design(OnePoleState* state, double sampleRateHz)
{
    const double rate = sampleRateHz > 0.0 ? sampleRateHz : 44100.0;
    double freq = state->freqHz;
    if (!(freq > 1e-6 * rate))
        freq = 1e-6 * rate;
    if (freq > 0.49 * rate)
        freq = 0.49 * rate;
    const double w = 2.0 * kPi * freq / rate;
    const double g = std::tan(0.5 * w);
    const double b = 2.0 - std::cos(w);
    state->coef[kImpulseInvariant] = 1.0 - std::exp(-w);
    state->coef[kBilinear] = g / (1.0 + g);
    state->coef[kCosine] = 1.0 + std::sqrt(b * b - 1.0) - b;
    state->coef[kBackwardEuler] = w / (1.0 + w);
}

} // namespace kel
