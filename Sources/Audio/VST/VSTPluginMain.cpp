// The plug-in's two exported entry points. Hosts look for "VSTPluginMain"; older ones for
// "main". Both run one creator.

#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/VstInterface.h"
#include "Core/CError.h"

#include <cstdio>

namespace
{

AEffect* createPlugin(VstHostCallback host)
{
    AEffect* effect = nullptr;
    if (kel::CError* error = kel::CAudioWrapperVST::create(host, &effect))
    {
        // Until the error window exists the reason goes to the host's console.
        char text[4096];
        error->formatChain(text, static_cast<int>(sizeof(text)));
        std::fprintf(stderr, "Zumbel: the plug-in could not be loaded.\n%s\n", text);
        delete error;
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
