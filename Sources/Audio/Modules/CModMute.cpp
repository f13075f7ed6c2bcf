#include "Audio/Modules/CModMute.h"

#include "Audio/Filters/CDCDAWDenormKernels.h"
#include "Audio/Modules/CModMuteModule.h"

namespace kel
{

CError* CModMute::registerKernels(CDCDAWContext* context)
{
    if (!CDCDAWDenormKernels::registerKernels(context, nullptr))
        return KEL_ERROR("@kelstr_CModMute_registerKernels_Failed Denormal kernels could not be "
                         "registered.");
    return nullptr;
}

CAudioModule* CModMute::createModule()
{
    return new CModMuteModule();
}

} // namespace kel
