#include "Audio/Filters/CDCDAWBiquadKernels.h"

#include <cmath>

namespace kel
{

namespace
{

constexpr double kPi = 3.14159265358979323846;

using State = CDCDAWBiquadKernels::BiquadState;

State* stateOf(CDCDAWCall* call, int buffer)
{
    return static_cast<State*>(call->data[buffer]);
}

void filter(CDCDAWCall* call, bool withGain)
{
    const int n = call->frames;
    double* out = call->doubles(0);
    State* s = stateOf(call, 1);
    const double* a = call->doubles(2);
    const double gain = withGain ? s->gainLin : 1.0;
    const double b0 = s->b0, b1 = s->b1, b2 = s->b2, a1 = s->a1, a2 = s->a2;
    double x1 = s->x1, x2 = s->x2, y1 = s->y1, y2 = s->y2;
    for (int i = 0; i < n; ++i)
    {
        // a and out may be one buffer: read before writing.
        const double x = a[i];
        const double y = b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        out[i] = y * gain;
    }
    s->x1 = x1;
    s->x2 = x2;
    s->y1 = y1;
    s->y2 = y2;
}

void kernelInit(CDCDAWCall* call)
{
    State* s = stateOf(call, 0);
    CDCDAWBiquadKernels::design(s, static_cast<int>(s->type), call->constant);
    s->x1 = s->x2 = s->y1 = s->y2 = 0.0;
}

void kernelUpdate(CDCDAWCall* call)
{
    State* s = stateOf(call, 0);
    CDCDAWBiquadKernels::design(s, static_cast<int>(s->type), call->constant);
}

void kernelCommon(CDCDAWCall* call)
{
    filter(call, false);
}

void kernelCommonGain(CDCDAWCall* call)
{
    filter(call, true);
}

template <int Type, bool WithGain> void kernelResponse(CDCDAWCall* call)
{
    CDCDAWBiquadKernels::design(stateOf(call, 1), Type, call->constant);
    filter(call, WithGain);
}

#define KEL_DCDAW_NAME(shortName) "com.kelmont.dcdaw." shortName

const CDCDAWKernelRow kRows[CDCDAWBiquadKernels::kCount] = {
    {KEL_DCDAW_NAME("fltbiqi"), kernelInit, 1, 1, 500, 0},
    {KEL_DCDAW_NAME("fltbiqu"), kernelUpdate, 1, 1, 500, 0},
    {KEL_DCDAW_NAME("fltbiqcommon"), kernelCommon, 3, 3, 200, 12},
    {KEL_DCDAW_NAME("fltbiqcommong"), kernelCommonGain, 3, 3, 200, 13},
    {KEL_DCDAW_NAME("fltbiqlp"), kernelResponse<CDCDAWBiquadKernels::kLowPass, false>, 3, 3, 700,
     12},
    {KEL_DCDAW_NAME("fltbiqlpg"), kernelResponse<CDCDAWBiquadKernels::kLowPass, true>, 3, 3, 700,
     13},
    {KEL_DCDAW_NAME("fltbiqhp"), kernelResponse<CDCDAWBiquadKernels::kHighPass, false>, 3, 3, 700,
     12},
    {KEL_DCDAW_NAME("fltbiqhpg"), kernelResponse<CDCDAWBiquadKernels::kHighPass, true>, 3, 3, 700,
     13},
    {KEL_DCDAW_NAME("fltbiqbp"), kernelResponse<CDCDAWBiquadKernels::kBandPass, false>, 3, 3, 700,
     12},
    {KEL_DCDAW_NAME("fltbiqbpg"), kernelResponse<CDCDAWBiquadKernels::kBandPass, true>, 3, 3, 700,
     13},
    {KEL_DCDAW_NAME("fltbiqnotch"), kernelResponse<CDCDAWBiquadKernels::kNotch, false>, 3, 3, 700,
     12},
    {KEL_DCDAW_NAME("fltbiqnotchg"), kernelResponse<CDCDAWBiquadKernels::kNotch, true>, 3, 3, 700,
     13},
};

#undef KEL_DCDAW_NAME

} // namespace

bool CDCDAWBiquadKernels::registerKernels(CDCDAWContext* context, int* ids)
{
    return context->registerKernels(kRows, kCount, ids);
}

void CDCDAWBiquadKernels::design(BiquadState* state, int type, double sampleRateHz)
{
    const double rate = sampleRateHz > 0.0 ? sampleRateHz : 44100.0;
    const double lowestHz = 1e-6 * rate;
    double freq = state->freqHz;
    if (!(freq > lowestHz))
        freq = lowestHz;
    if (freq > 0.49 * rate)
        freq = 0.49 * rate;
    const double q = state->q > 0.01 ? state->q : 0.01;
    const double w = 2.0 * kPi * freq / rate;
    const double cosW = std::cos(w);
    const double alpha = std::sin(w) / (2.0 * q);

    double b0, b1, b2;
    switch (type)
    {
    case kHighPass:
        b0 = (1.0 + cosW) * 0.5;
        b1 = -(1.0 + cosW);
        b2 = b0;
        break;
    case kBandPass:
        b0 = alpha;
        b1 = 0.0;
        b2 = -alpha;
        break;
    case kNotch:
        b0 = 1.0;
        b1 = -2.0 * cosW;
        b2 = 1.0;
        break;
    case kLowPass:
    default:
        type = kLowPass;
        b0 = (1.0 - cosW) * 0.5;
        b1 = 1.0 - cosW;
        b2 = b0;
        break;
    }
    const double a0 = 1.0 + alpha;
    state->type = type;
    state->b0 = b0 / a0;
    state->b1 = b1 / a0;
    state->b2 = b2 / a0;
    state->a1 = -2.0 * cosW / a0;
    state->a2 = (1.0 - alpha) / a0;
}

} // namespace kel
