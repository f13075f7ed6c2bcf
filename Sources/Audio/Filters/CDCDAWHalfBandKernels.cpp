#include "Audio/Filters/CDCDAWHalfBandKernels.h"

namespace kel
{

namespace
{

using Layout = CDCDAWHalfBandKernels;

template <int Order> void kernelInit(CDCDAWCall* call)
{
    double* state = call->doubles(0);
    for (int i = 0; i < 2 * Order; ++i)
        state[Layout::historyIndex(Order, 0) + i] = 0.0;
}

template <int Order> void kernelUpdate(CDCDAWCall* call)
{
    double* state = call->doubles(0);
    constexpr double kLimit = 0.999999;
    for (int section = 0; section < Order; ++section)
    {
        double& coef = state[Layout::coefIndex(section)];
        if (!(coef < kLimit)) // also catches NaN
            coef = kLimit;
        if (coef < -kLimit)
            coef = -kLimit;
    }
}

template <int Order, bool WithGain> void kernelRun(CDCDAWCall* call)
{
    const int n = call->frames;
    double* out = call->doubles(0);
    double* state = call->doubles(1);
    const double* a = call->doubles(2);
    const double gain = WithGain ? state[Layout::gainIndex()] : 1.0;
    double coef[Order];
    double xPrev[Order];
    double yPrev[Order];
    for (int s = 0; s < Order; ++s)
    {
        coef[s] = state[Layout::coefIndex(s)];
        xPrev[s] = state[Layout::historyIndex(Order, s)];
        yPrev[s] = state[Layout::historyIndex(Order, s) + 1];
    }
    for (int i = 0; i < n; ++i)
    {
        double x = a[i];
        for (int s = 0; s < Order; ++s)
        {
            const double y = (x - yPrev[s]) * coef[s] + xPrev[s];
            xPrev[s] = x;
            yPrev[s] = y;
            x = y;
        }
        out[i] = x * gain;
    }
    for (int s = 0; s < Order; ++s)
    {
        state[Layout::historyIndex(Order, s)] = xPrev[s];
        state[Layout::historyIndex(Order, s) + 1] = yPrev[s];
    }
}

#define KEL_DCDAW_NAME(shortName) "com.kelmont.dcdaw." shortName
#define KEL_DCDAW_ORDER(order)                                                                     \
    {KEL_DCDAW_NAME("flthbf" #order "i"), kernelInit<order>, 1, 1, 100, 0},                        \
        {KEL_DCDAW_NAME("flthbf" #order "u"), kernelUpdate<order>, 1, 1, 100, 0},                  \
        {KEL_DCDAW_NAME("flthbf" #order), kernelRun<order, false>, 3, 3, 200, 3 * order},          \
    {                                                                                              \
        KEL_DCDAW_NAME("flthbf" #order "g"), kernelRun<order, true>, 3, 3, 200, 3 * order + 1      \
    }

const CDCDAWKernelRow kRows[CDCDAWHalfBandKernels::kCount] = {
    KEL_DCDAW_ORDER(2),  KEL_DCDAW_ORDER(4),  KEL_DCDAW_ORDER(6),  KEL_DCDAW_ORDER(8),
    KEL_DCDAW_ORDER(10), KEL_DCDAW_ORDER(12), KEL_DCDAW_ORDER(14), KEL_DCDAW_ORDER(16),
};

#undef KEL_DCDAW_ORDER
#undef KEL_DCDAW_NAME

} // namespace

bool CDCDAWHalfBandKernels::registerKernels(CDCDAWContext* context, int* ids)
{
    return context->registerKernels(kRows, kCount, ids);
}

} // namespace kel
