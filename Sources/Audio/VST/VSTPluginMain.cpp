// The plug-in's two exported entry points. Hosts look for "VSTPluginMain"; older ones for
// "main". Both run one creator.

#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/VstInterface.h"
#include "Core/CAllocator.h"
#include "Core/CApplication.h"
#include "Core/CError.h"
#include "Core/CResourceTable.h"
#include "Core/CGlobalData.h"
#include "Core/CLocalData.h"
#include "Core/CSystem.h"

namespace
{

// When the host unloads the library (or the process ends) with no instance left, the
// application's shared state and then the allocator's idle pools go back to the system, so that a
// host that loads and unloads the plug-in over and over does not grow. Statics are destroyed in
// the reverse order of their construction: the first object below is made before the framework's
// own statics and so goes after them, the second is made after them and goes before them, while
// the class tables the shared tree needs are still there.
struct CPoolRelease
{
    ~CPoolRelease() { kel::CAllocator::releaseIdlePools(); }
};

struct CApplicationRelease
{
    ~CApplicationRelease()
    {
        // Instances still open at process exit: a host thread may still run them.
        if (kel::CApplication::getRootCount() != 0)
            return;
        kel::CApplication::shutdown();
        kel::CResourceTable::install(nullptr);
    }
};

AEffect* createPlugin(VstHostCallback host)
{
    static CPoolRelease poolRelease;
    // The first instance also starts the application; the error window never blocks, so a host
    // that scans plug-ins goes on.
    kel::CAudioWrapperVST::startApplication();
    // The settings stores hold bridges of the shared tree: they must outlive its shutdown.
    (void)kel::CGlobalData::get();
    (void)kel::CLocalData::get();
    static CApplicationRelease applicationRelease;
    AEffect* effect = nullptr;
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
