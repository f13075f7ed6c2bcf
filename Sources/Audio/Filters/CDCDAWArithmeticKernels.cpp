#include "Audio/Filters/CDCDAWArithmeticKernels.h"

#include <cmath>
#include <cstring>

namespace kel
{

namespace
{

constexpr double kPi = 3.14159265358979323846;

// Binds the call's buffers by position; `n` is the frame count.
#define KEL_DCDAW_BUFFERS                                                                          \
    const int n = call->frames;                                                                    \
    double* out = call->doubles(0);                                                                \
    (void)out

void kernelCopy(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    // Overlapping views of one buffer are allowed.
    std::memmove(out, call->doubles(1), static_cast<size_t>(n) * sizeof(double));
}

void kernelAddc(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] = a[i] + k;
}

void kernelAddcid(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] += k;
}

void kernelAdd2(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    for (int i = 0; i < n; ++i)
        out[i] = a[i] + b[i];
}

void kernelAdd2i(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    for (int i = 0; i < n; ++i)
        out[i] += a[i];
}

void kernelAdd3(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    const double* c = call->doubles(3);
    for (int i = 0; i < n; ++i)
        out[i] = a[i] + b[i] + c[i];
}

void kernelAdd4(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    const double* c = call->doubles(3);
    const double* d = call->doubles(4);
    for (int i = 0; i < n; ++i)
        out[i] = a[i] + b[i] + c[i] + d[i];
}

void kernelSub2(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    for (int i = 0; i < n; ++i)
        out[i] = a[i] - b[i];
}

// Extremes over the call's operand buffers 1 .. count.
template <bool TakeMax> void extreme(CDCDAWCall* call, int count)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    for (int i = 0; i < n; ++i)
        out[i] = a[i];
    for (int operand = 2; operand <= count; ++operand)
    {
        const double* b = call->doubles(operand);
        for (int i = 0; i < n; ++i)
            out[i] = TakeMax ? (b[i] > out[i] ? b[i] : out[i]) : (b[i] < out[i] ? b[i] : out[i]);
    }
}

void kernelMax2(CDCDAWCall* call)
{
    extreme<true>(call, 2);
}

void kernelMax2i(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    for (int i = 0; i < n; ++i)
        out[i] = a[i] > out[i] ? a[i] : out[i];
}

void kernelMax3(CDCDAWCall* call)
{
    extreme<true>(call, 3);
}

void kernelMax4(CDCDAWCall* call)
{
    extreme<true>(call, 4);
}

void kernelMin2(CDCDAWCall* call)
{
    extreme<false>(call, 2);
}

void kernelMin3(CDCDAWCall* call)
{
    extreme<false>(call, 3);
}

void kernelMin4(CDCDAWCall* call)
{
    extreme<false>(call, 4);
}

void kernelMix(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] = b[i] + (a[i] - b[i]) * k;
}

void kernelMix2(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    const double* factor = call->doubles(3);
    for (int i = 0; i < n; ++i)
        out[i] = b[i] + (a[i] - b[i]) * factor[i];
}

void kernelMixb(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] = a[i] + b[i] * k;
}

void kernelMixbc(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] += a[i] * k;
}

void kernelAdd2mul(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] = (a[i] + b[i]) * k;
}

void kernelAdd3mul(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    const double* c = call->doubles(3);
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] = (a[i] + b[i] + c[i]) * k;
}

void kernelMulc(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] = a[i] * k;
}

void kernelMulci(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] *= k;
}

void kernelMul2(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    for (int i = 0; i < n; ++i)
        out[i] = a[i] * b[i];
}

void kernelMul2i(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    for (int i = 0; i < n; ++i)
        out[i] *= a[i];
}

void kernelMul2addi(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    const double* b = call->doubles(2);
    for (int i = 0; i < n; ++i)
        out[i] += a[i] * b[i];
}

void kernelAbs(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    for (int i = 0; i < n; ++i)
        out[i] = std::fabs(a[i]);
}

void kernelSqrt(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double* a = call->doubles(1);
    // Rounding may leave a power estimate a hair below zero; that is silence, not NaN.
    for (int i = 0; i < n; ++i)
        out[i] = a[i] > 0.0 ? std::sqrt(a[i]) : 0.0;
}

void kernelFill0(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    for (int i = 0; i < n; ++i)
        out[i] = 0.0;
}

void kernelFillc(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double k = call->constant;
    for (int i = 0; i < n; ++i)
        out[i] = k;
}

void kernelFilld(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    const double value = call->doubles(1)[0];
    for (int i = 0; i < n; ++i)
        out[i] = value;
}

void kernelXfadei(CDCDAWCall* call)
{
    auto* state = static_cast<CDCDAWArithmeticKernels::XfadeState*>(call->data[0]);
    const int length = call->frames > 0 ? call->frames : 1;
    const double w = kPi / length;
    const double t = kPi * (0.5 + 2.0 * call->constant);
    state->s1 = 0.5 * std::sin(t);
    state->s2 = 0.5 * std::sin(t - w);
    state->m = 2.0 * std::cos(w);
}

void kernelXfade(CDCDAWCall* call)
{
    KEL_DCDAW_BUFFERS;
    auto* state = static_cast<CDCDAWArithmeticKernels::XfadeState*>(call->data[1]);
    const double* a = call->doubles(2);
    const double* b = call->doubles(3);
    double s1 = state->s1;
    double s2 = state->s2;
    const double m = state->m;
    for (int i = 0; i < n; ++i)
    {
        out[i] = (0.5 - s1) * a[i] + (0.5 + s1) * b[i];
        const double next = m * s1 - s2;
        s2 = s1;
        s1 = next;
    }
    state->s1 = s1;
    state->s2 = s2;
}

#undef KEL_DCDAW_BUFFERS

#define KEL_DCDAW_NAME(shortName) "com.kelmont.dcdaw." shortName

const CDCDAWKernelRow kRows[CDCDAWArithmeticKernels::kCount] = {
    {KEL_DCDAW_NAME("copy"), kernelCopy, 2, 1, 200, 4},
    {KEL_DCDAW_NAME("addc"), kernelAddc, 2, 1, 200, 5},
    {KEL_DCDAW_NAME("addcid"), kernelAddcid, 1, 1, 200, 4},
    {KEL_DCDAW_NAME("add2"), kernelAdd2, 3, 1, 200, 6},
    {KEL_DCDAW_NAME("add2i"), kernelAdd2i, 2, 1, 200, 5},
    {KEL_DCDAW_NAME("add3"), kernelAdd3, 4, 1, 200, 8},
    {KEL_DCDAW_NAME("add4"), kernelAdd4, 5, 1, 200, 10},
    {KEL_DCDAW_NAME("sub2"), kernelSub2, 3, 1, 200, 6},
    {KEL_DCDAW_NAME("max2"), kernelMax2, 3, 1, 200, 6},
    {KEL_DCDAW_NAME("max2i"), kernelMax2i, 2, 1, 200, 5},
    {KEL_DCDAW_NAME("max3"), kernelMax3, 4, 1, 200, 8},
    {KEL_DCDAW_NAME("max4"), kernelMax4, 5, 1, 200, 10},
    {KEL_DCDAW_NAME("min2"), kernelMin2, 3, 1, 200, 6},
    {KEL_DCDAW_NAME("min3"), kernelMin3, 4, 1, 200, 8},
    {KEL_DCDAW_NAME("min4"), kernelMin4, 5, 1, 200, 10},
    {KEL_DCDAW_NAME("mix"), kernelMix, 3, 1, 200, 8},
    {KEL_DCDAW_NAME("mix2"), kernelMix2, 4, 1, 200, 9},
    {KEL_DCDAW_NAME("mixb"), kernelMixb, 3, 1, 200, 7},
    {KEL_DCDAW_NAME("mixbc"), kernelMixbc, 2, 1, 200, 6},
    {KEL_DCDAW_NAME("add2mul"), kernelAdd2mul, 3, 1, 200, 7},
    {KEL_DCDAW_NAME("add3mul"), kernelAdd3mul, 4, 1, 200, 9},
    {KEL_DCDAW_NAME("mulc"), kernelMulc, 2, 1, 200, 5},
    {KEL_DCDAW_NAME("mulci"), kernelMulci, 1, 1, 200, 4},
    {KEL_DCDAW_NAME("mul2"), kernelMul2, 3, 1, 200, 6},
    {KEL_DCDAW_NAME("mul2i"), kernelMul2i, 2, 1, 200, 5},
    {KEL_DCDAW_NAME("mul2addi"), kernelMul2addi, 3, 1, 200, 7},
    {KEL_DCDAW_NAME("abs"), kernelAbs, 2, 1, 200, 5},
    {KEL_DCDAW_NAME("sqrt"), kernelSqrt, 2, 1, 200, 20},
    {KEL_DCDAW_NAME("fill0"), kernelFill0, 1, 1, 200, 2},
    {KEL_DCDAW_NAME("fillc"), kernelFillc, 1, 1, 200, 2},
    {KEL_DCDAW_NAME("filld"), kernelFilld, 2, 1, 200, 2},
    {KEL_DCDAW_NAME("xfadei"), kernelXfadei, 1, 1, 2200, 0},
    {KEL_DCDAW_NAME("xfade"), kernelXfade, 4, 3, 200, 11},
};

#undef KEL_DCDAW_NAME

} // namespace

bool CDCDAWArithmeticKernels::registerKernels(CDCDAWContext* context, int* ids)
{
    return context->registerKernels(kRows, kCount, ids);
}

} // namespace kel
