#include "Audio/Filters/CDCDAWGeneratorKernels.h"

#include <cmath>
#include <type_traits>

namespace kel
{

static_assert(sizeof(CDCDAWGeneratorKernels::SineState) == 6 * sizeof(double),
              "the sine state is six doubles");
static_assert(std::is_trivially_copyable<CDCDAWGeneratorKernels::NoiseState>::value,
              "the noise state lives in a pool buffer");

namespace
{

constexpr double kPi = 3.14159265358979323846;

using Sine = CDCDAWGeneratorKernels::SineState;
using Noise = CDCDAWGeneratorKernels::NoiseState;

void kernelSinei(CDCDAWCall* call)
{
    auto* s = static_cast<Sine*>(call->data[0]);
    const double w = 2.0 * kPi * s->freqHz / call->constant;
    const double amplitude = s->amplitude;
    s->w = w;
    s->y1 = amplitude * std::sin(0.0);
    s->y2 = amplitude * std::sin(-w);
    s->c = 2.0 * std::cos(w);
}

void kernelSine(CDCDAWCall* call)
{
    const int n = call->frames;
    double* out = call->doubles(0);
    auto* s = static_cast<Sine*>(call->data[1]);
    const double c = s->c;
    double y1 = s->y1;
    double y2 = s->y2;
    for (int i = 0; i < n; ++i)
    {
        out[i] = y1;
        const double next = c * y1 - y2;
        y2 = y1;
        y1 = next;
    }
    s->y1 = y1;
    s->y2 = y2;
}

void kernelFltnoisei(CDCDAWCall* call)
{
    auto* s = static_cast<Noise*>(call->data[0]);
    // C remainders: a negative seed gives negative parts, which the fallback catches.
    int ij = s->seed % 31329;
    int kl = (s->seed / 31329) % 30082;
    if (ij < 0 || ij > 31328 || kl < 0 || kl > 30081)
    {
        ij = 1802;
        kl = 9373;
    }
    s->generator.seed(ij, kl);
    s->y = 0.0;
    s->amplitude *= 2.0;
    const double w = 2.0 * kPi * s->freqHz / call->constant;
    const double b = 2.0 - std::cos(w);
    s->a = 1.0 + std::sqrt(b * b - 1.0) - b;
}

void kernelFltnoise(CDCDAWCall* call)
{
    const int n = call->frames;
    double* out = call->doubles(0);
    auto* s = static_cast<Noise*>(call->data[1]);
    const double amplitude = s->amplitude;
    const double a = s->a;
    double y = s->y;
    for (int i = 0; i < n; ++i)
    {
        const double x = (s->generator.next() - 0.5) * amplitude;
        y += (x - y) * a;
        out[i] = y;
    }
    s->y = y;
}

#define KEL_DCDAW_NAME(shortName) "com.kelmont.dcdaw." shortName

const CDCDAWKernelRow kRows[CDCDAWGeneratorKernels::kCount] = {
    {KEL_DCDAW_NAME("sinei"), kernelSinei, 1, 1, 0, 15},
    {KEL_DCDAW_NAME("sine"), kernelSine, 2, 3, 0, 15},
    {KEL_DCDAW_NAME("fltnoisei"), kernelFltnoisei, 1, 1, 0, 15},
    {KEL_DCDAW_NAME("fltnoise"), kernelFltnoise, 2, 1, 0, 15},
};

#undef KEL_DCDAW_NAME

} // namespace

bool CDCDAWGeneratorKernels::registerKernels(CDCDAWContext* context, int* ids)
{
    return context->registerKernels(kRows, kCount, ids);
}

} // namespace kel
