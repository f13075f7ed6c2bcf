#include "Audio/Modules/CModZumbel.h"

#include "Audio/Modules/CModZumbelDef.h"
#include "Audio/Modules/CModZumbelModule.h"

namespace kel
{

CError* CModZumbel::registerKernels(CDCDAWContext* context)
{
    if (!CModZumbelModule::registerKernels(context))
        return KEL_ERROR("@kelstr_CModZumbel_registerKernels_Failed Signal kernels could not be "
                         "registered.");
    return nullptr;
}

CAudioModule* CModZumbel::createModule()
{
    auto* module = new CModZumbelModule();
    const auto* zumbelDef = dynamic_cast<const CModZumbelDef*>(getDef());
    module->setUseClear(!zumbelDef || zumbelDef->usesClear());
    return module;
}

CModZumbelModule* CModZumbel::getZumbelModule() const
{
    return getModuleCount() > 0 ? static_cast<CModZumbelModule*>(getModule(0)) : nullptr;
}

} // namespace kel
