// The plug-in's two exported entry points. Hosts look for "VSTPluginMain"; older ones for
// "main". Both run one creator.

#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/VstInterface.h"
#include "Core/CError.h"
#include "Core/CSystem.h"

namespace
{

AEffect* createPlugin(VstHostCallback host)
{
    AEffect* effect = nullptr;
    // The first instance also starts the application; the error window never blocks, so a host
    // that scans plug-ins goes on.
    if (kel::CError* error = kel::CAudioWrapperVST::create(host, &effect))
    {
        kel::CSystem::showError(error);
        return nullptr;
    }
    return effect;
}

} // namespace

extern "C" __attribute__((visibility("default"))) AEffect* VSTPluginMain(VstHostCallback host)
{
    return createPlugin(host);
}

// A C++ program may not declare its own 'main' with this signature, so the function carries
// another name and the assembler label gives the exported symbol its name.
__attribute__((visibility("default"))) AEffect* vstLegacyMain(VstHostCallback host) asm("main");

AEffect* vstLegacyMain(VstHostCallback host)
{
    return createPlugin(host);
}
