#include "Audio/Modules/CModBypassModule.h"

#include "Audio/CDCDAWContext.h"
#include "Core/CSeedCounter.h"

namespace kel
{

CModBypassModule::~CModBypassModule()
{
    if (context)
        context->release(noiseState);
}

double* CModBypassModule::getParamSlot(int slot)
{
    return slot >= 0 && slot < kParamSlotCount ? &slotValues[slot] : nullptr;
}

CError* CModBypassModule::lookupKernels()
{
    if (!context)
        return KEL_ERROR("@kelstr_CModBypassModule_lookupKernels_NoContext No kernel context.");
    denormnKernel = context->findKernel("com.kelmont.dcdaw.denormn");
    if (denormnKernel < 0)
        return KEL_ERROR("@kelstr_CModBypassModule_lookupKernels_Unknown Unknown kernel '%1'.",
                         "com.kelmont.dcdaw.denormn");
    return nullptr;
}

CError* CModBypassModule::setup(CDCDAWContext* dcdawContext, double sampleRateHz, int channels)
{
    if (context && context != dcdawContext)
    {
        context->release(noiseState);
        noiseState = kNoBuffer;
    }
    KEL_CHECK(CAudioModule::setup(dcdawContext, sampleRateHz, channels));
    if (noiseState == kNoBuffer)
        noiseState = context->acquire(sizeof(uint32_t));
    if (noiseState != kNoBuffer)
        *static_cast<uint32_t*>(context->pointer(noiseState)) = CSeedCounter::next();
    return nullptr;
}

void CModBypassModule::readParams()
{
    bypassed = slotValues[0] > 0.5;
}

void CModBypassModule::process()
{
    releaseOutputs();
    for (int channel = 0; channel < channelCount; ++channel)
    {
        uint32_t out = kNoBuffer;
        if (silenced)
        {
            out = noiseState == kNoBuffer
                      ? kNoBuffer
                      : context->acquire(static_cast<size_t>(frames) * sizeof(double));
            if (out != kNoBuffer)
                context->run(denormnKernel, frames, 0.0, out, noiseState);
        }
        else
        {
            out = getInput(channel, bypassed ? 1 : 0);
            context->addRef(out);
        }
        setOutput(channel, out);
    }
}

} // namespace kel
