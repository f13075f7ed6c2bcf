#include "Audio/Filters/CDCDAWEqKernels.h"

#include <cmath>

namespace kel
{

namespace
{

constexpr double kPi = 3.14159265358979323846;

using Shelf = CDCDAWEqKernels::ShelfState;
using Allpass = CDCDAWEqKernels::AllpassState;

// tan(w / 2) for a frequency kept inside (0, 0.49 rate).
double prewarp(double freqHz, double sampleRateHz)
{
    const double rate = sampleRateHz > 0.0 ? sampleRateHz : 44100.0;
    double freq = freqHz;
    if (!(freq > 1e-6 * rate))
        freq = 1e-6 * rate;
    if (freq > 0.49 * rate)
        freq = 0.49 * rate;
    return std::tan(kPi * freq / rate);
}

void designShelf(Shelf* s, double rate)
{
    const double g = prewarp(s->freqHz, rate);
    s->coef = g / (1.0 + g);
}

void kernelShelfInit(CDCDAWCall* call)
{
    auto* s = static_cast<Shelf*>(call->data[0]);
    designShelf(s, call->constant);
    s->x1 = s->y1 = 0.0;
}

void kernelShelfUpdate(CDCDAWCall* call)
{
    designShelf(static_cast<Shelf*>(call->data[0]), call->constant);
}

void kernelShelf(CDCDAWCall* call)
{
    const int n = call->frames;
    double* out = call->doubles(0);
    auto* s = static_cast<Shelf*>(call->data[1]);
    const double* a = call->doubles(2);
    const double coef = s->coef;
    const double boost = s->shelfGainLin - 1.0;
    double x1 = s->x1;
    double low = s->y1;
    for (int i = 0; i < n; ++i)
    {
        const double x = a[i];
        low = coef * (x + x1) + (1.0 - 2.0 * coef) * low;
        x1 = x;
        out[i] = x + boost * (x - low);
    }
    s->x1 = x1;
    s->y1 = low;
}

void designAllpass(Allpass* s, double rate)
{
    const double g = prewarp(s->freqHz, rate);
    s->coef = (g - 1.0) / (g + 1.0);
}

void kernelAllpassInit(CDCDAWCall* call)
{
    auto* s = static_cast<Allpass*>(call->data[0]);
    designAllpass(s, call->constant);
    for (int k = 0; k < CDCDAWEqKernels::kAllpassSections; ++k)
        s->x1[k] = s->y1[k] = 0.0;
}

void kernelAllpassUpdate(CDCDAWCall* call)
{
    designAllpass(static_cast<Allpass*>(call->data[0]), call->constant);
}

template <bool WithGain> void kernelAllpass(CDCDAWCall* call)
{
    const int n = call->frames;
    double* out = call->doubles(0);
    auto* s = static_cast<Allpass*>(call->data[1]);
    const double* a = call->doubles(2);
    const double gain = WithGain ? s->gainLin : 1.0;
    const double coef = s->coef;
    for (int i = 0; i < n; ++i)
    {
        double x = a[i];
        for (int k = 0; k < CDCDAWEqKernels::kAllpassSections; ++k)
        {
            const double y = coef * x + s->x1[k] - coef * s->y1[k];
            s->x1[k] = x;
            s->y1[k] = y;
            x = y;
        }
        out[i] = x * gain;
    }
}

#define KEL_DCDAW_NAME(shortName) "com.kelmont.dcdaw." shortName

const CDCDAWKernelRow kRows[CDCDAWEqKernels::kCount] = {
    {KEL_DCDAW_NAME("fltheqi"), kernelShelfInit, 1, 1, 500, 0},
    {KEL_DCDAW_NAME("flthequ"), kernelShelfUpdate, 1, 1, 500, 0},
    {KEL_DCDAW_NAME("fltheq"), kernelShelf, 3, 3, 200, 7},
    {KEL_DCDAW_NAME("fltapf1_6i"), kernelAllpassInit, 1, 1, 500, 0},
    {KEL_DCDAW_NAME("fltapf1_6u"), kernelAllpassUpdate, 1, 1, 500, 0},
    {KEL_DCDAW_NAME("fltapf1_6"), kernelAllpass<false>, 3, 3, 200, 24},
    {KEL_DCDAW_NAME("fltapf1_6g"), kernelAllpass<true>, 3, 3, 200, 25},
};

#undef KEL_DCDAW_NAME

} // namespace

bool CDCDAWEqKernels::registerKernels(CDCDAWContext* context, int* ids)
{
    return context->registerKernels(kRows, kCount, ids);
}

} // namespace kel
