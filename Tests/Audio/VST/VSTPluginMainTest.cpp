#include "Audio/VST/VstInterface.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

namespace kel
{
namespace
{

// The built plug-in, loaded as a host loads it.
// The library stays mapped after dlclose, so that a leak checker can still see the pools it made.
class CPluginLibrary
{
public:
    CPluginLibrary() : handle(dlopen(KEL_PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {}
    ~CPluginLibrary()
    {
        if (handle)
            dlclose(handle);
    }
    VstEntryProc entry(const char* name) const
    {
        return handle ? reinterpret_cast<VstEntryProc>(dlsym(handle, name)) : nullptr;
    }

    void* handle;
};

TEST(VSTPluginMain, BothEntryPointsCreateAWorkingEffect)
{
    CPluginLibrary library;
    ASSERT_NE(library.handle, nullptr) << dlerror();
    for (const char* name : {"VSTPluginMain", "main"})
    {
        VstEntryProc entry = library.entry(name);
        ASSERT_NE(entry, nullptr) << name;
        CVstHost host;
        CHostedPlugin plugin(host);
        ASSERT_EQ(test::CErrorText::takeChain(plugin.attach(entry, name)), "");
        AEffect* effect = plugin.getEffect();
        EXPECT_EQ(effect->magic, kVstEffectMagic);
        EXPECT_EQ(effect->uniqueID, 0x4B5A6D62);
        char text[kVstEffectNameBytes] = {};
        plugin.dispatch(kEffGetEffectName, 0, 0, text);
        EXPECT_STREQ(text, "Zumbel");
        plugin.open();
        plugin.start(44100.0, 512);
        ASSERT_EQ(effect->numInputs, 8);
        ASSERT_EQ(effect->numOutputs, 8);
        float samples[8][128] = {};
        float* channels[8];
        for (int channel = 0; channel < 8; ++channel)
            channels[channel] = samples[channel];
        effect->processReplacing(effect, channels, channels, 128);
        EXPECT_EQ(plugin.close(), 1);
    }
}

TEST(VSTPluginMain, HostWithoutVersionGetsNoEffect)
{
    CPluginLibrary library;
    ASSERT_NE(library.handle, nullptr) << dlerror();
    VstEntryProc entry = library.entry("VSTPluginMain");
    ASSERT_NE(entry, nullptr);
    CVstHost host;
    host.setHostVersion(0);
    CHostedPlugin plugin(host);
    EXPECT_EQ(test::CErrorText::takeKey(plugin.attach(entry, "VSTPluginMain")),
              "kelstr_CHostedPlugin_load_Refused");
    EXPECT_EQ(entry(nullptr), nullptr);
}

TEST(VSTPluginMain, OnlyTheEntryPointsAreExported)
{
    CPluginLibrary library;
    ASSERT_NE(library.handle, nullptr) << dlerror();
    // Names of the framework must stay inside the library.
    EXPECT_EQ(dlsym(library.handle, "_ZN3kel16CAudioWrapperVST6createEPFlP7AEffectiilPvfEPS2_i"),
              nullptr);
    EXPECT_EQ(dlsym(library.handle, "createPlugin"), nullptr);
}

} // namespace
} // namespace kel
