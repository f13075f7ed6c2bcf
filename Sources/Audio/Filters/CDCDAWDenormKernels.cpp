#include "Audio/Filters/CDCDAWDenormKernels.h"

namespace kel
{

namespace
{

void kernelDenorm(CDCDAWCall* call)
{
    double* out = call->doubles(0);
    for (int i = 0; i < call->frames; ++i)
        out[i] = CDCDAWDenormKernels::kLevel;
}

void kernelDenormn(CDCDAWCall* call)
{
    double* out = call->doubles(0);
    auto* state = static_cast<uint32_t*>(call->data[1]);
    uint32_t s = *state;
    for (int i = 0; i < call->frames; ++i)
        out[i] = CDCDAWDenormKernels::nextNoise(&s);
    *state = s;
}

const CDCDAWKernelRow kRows[CDCDAWDenormKernels::kCount] = {
    {"com.kelmont.dcdaw.denorm", kernelDenorm, 1, 1, 0, 2},
    {"com.kelmont.dcdaw.denormn", kernelDenormn, 2, 3, 0, 15},
};

} // namespace

bool CDCDAWDenormKernels::registerKernels(CDCDAWContext* context, int* ids)
{
    return context->registerKernels(kRows, kCount, ids);
}

} // namespace kel
