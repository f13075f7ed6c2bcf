#include "Audio/Modules/CModMuteModule.h"

#include "Audio/CDCDAWContext.h"

namespace kel
{

CError* CModMuteModule::lookupKernels()
{
    if (!context)
        return KEL_ERROR("@kelstr_CModMuteModule_lookupKernels_NoContext No kernel context.");
    denormKernel = context->findKernel("com.kelmont.dcdaw.denorm");
    if (denormKernel < 0)
        return KEL_ERROR("@kelstr_CModMuteModule_lookupKernels_Unknown Unknown kernel '%1'.",
                         "com.kelmont.dcdaw.denorm");
    return nullptr;
}

void CModMuteModule::process()
{
    releaseOutputs();
    for (int channel = 0; channel < channelCount; ++channel)
    {
        uint32_t out = kNoBuffer;
        if (muted)
        {
            out = context->acquire(static_cast<size_t>(frames) * sizeof(double));
            if (out != kNoBuffer)
                context->run(denormKernel, frames, 0.0, out);
        }
        else
        {
            out = getInput(channel);
            context->addRef(out);
        }
        setOutput(channel, out);
    }
}

} // namespace kel
