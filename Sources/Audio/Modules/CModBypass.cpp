#include "Audio/Modules/CModBypass.h"

#include "Audio/Filters/CDCDAWDenormKernels.h"
#include "Audio/Modules/CModBypassModule.h"

namespace kel
{

namespace
{
constexpr int kSlotSolo = 1;
}

CError* CModBypass::registerKernels(CDCDAWContext* context)
{
    if (!CDCDAWDenormKernels::registerKernels(context, nullptr))
        return KEL_ERROR("@kelstr_CModBypass_registerKernels_Failed Denormal kernels could not "
                         "be registered.");
    return nullptr;
}

CAudioModule* CModBypass::createModule()
{
    return new CModBypassModule();
}

void CModBypass::prepareRead(const CModuleSlot& slot, CAudioModule& module)
{
    bool anySolo = false;
    for (const CModuleSlot& other : getSlots())
        anySolo = anySolo || getSlotValue(other.group, kSlotSolo) > 0.5;
    const bool ownSolo = getSlotValue(slot.group, kSlotSolo) > 0.5;
    static_cast<CModBypassModule&>(module).setSilenced(anySolo && !ownSolo);
}

bool CModBypass::passesProcessed() const
{
    for (const CModuleSlot& slot : getSlots())
    {
        const auto* module = static_cast<const CModBypassModule*>(slot.module);
        if (slot.fading || slot.heldBack || module->isBypassed() || module->isSilenced())
            return false;
    }
    return true;
}

} // namespace kel
