#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Core/CGlobalData.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "CWrapperEntry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <thread>

namespace kel
{
namespace
{

constexpr int32_t kGain = 4;

// The host parameters of one stereo instance, seen through its AEffect record as a host sees
// them.
class CAudioWrapperVSTParamTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // No user folder: no controller map of the machine's user is read.
        CGlobalData::get().useFolders(CString(), CString());
        ASSERT_EQ(test::CErrorText::takeChain(plugin.attach(&CWrapperEntry::make<2>, "stereo")),
                  "");
        effect = plugin.getEffect();
        ASSERT_NE(effect, nullptr);
        wrapper = static_cast<CAudioWrapperVST*>(AudioEffect::fromAeffect(effect));
    }
    void TearDown() override
    {
        if (effect)
        {
            EXPECT_EQ(plugin.close(), 1);
        }
        CGlobalData::get().reset();
    }

    std::string text(int32_t opcode, int32_t index)
    {
        // The host's 8-byte fields, with room behind them that must stay untouched.
        char buffer[16];
        std::memset(buffer, '#', sizeof(buffer));
        plugin.dispatch(opcode, index, 0, buffer);
        EXPECT_EQ(buffer[kVstParamTextBytes], '#') << "wrote beyond the host's field";
        return std::string(buffer, strnlen(buffer, kVstParamTextBytes));
    }

    CAudioParam* param(const char* fullName) const
    {
        return wrapper->getParamCollector()->findParam(CString(fullName));
    }

    // Every callback the plug-in made, whatever its opcode.
    int64_t hostCalls() const
    {
        int64_t count = 0;
        for (int32_t opcode = 0; opcode < 80; ++opcode)
            count += plugin.countCallbacks(opcode);
        return count;
    }

    CVstHost host;
    CHostedPlugin plugin{host};
    AEffect* effect = nullptr;
    CAudioWrapperVST* wrapper = nullptr;
};

TEST_F(CAudioWrapperVSTParamTest, SixParametersWithNamesUnitsAndValues)
{
    ASSERT_EQ(effect->numParams, 6);
    const char* names[] = {"Bypass", "Period", "Duratn", "Freq", "Gain", "Variatn"};
    for (int32_t index = 0; index < 6; ++index)
    {
        EXPECT_EQ(text(kEffGetParamName, index), names[index]);
        EXPECT_EQ(plugin.dispatch(kEffCanBeAutomated, index), 1);
    }
    EXPECT_EQ(text(kEffGetParamLabel, kGain), "dB");
    EXPECT_EQ(text(kEffGetParamDisplay, kGain), "-12.0");
    EXPECT_EQ(text(kEffGetParamLabel, 3), "Hz");
    EXPECT_EQ(text(kEffGetParamDisplay, 3), "440");
    EXPECT_NEAR(effect->getParameter(effect, kGain), 2.0f / 3.0f, 1e-6);
    EXPECT_EQ(effect->getParameter(effect, 0), 0.0f);

    // Outside the list: nothing, and no fault.
    for (int32_t index : {-1, 6, 1000})
    {
        EXPECT_EQ(effect->getParameter(effect, index), 0.0f);
        EXPECT_EQ(text(kEffGetParamName, index), "");
        EXPECT_EQ(text(kEffGetParamDisplay, index), "");
        EXPECT_EQ(text(kEffGetParamLabel, index), "");
    }
}

TEST_F(CAudioWrapperVSTParamTest, HostSetsValuesWithoutBeingCalledBack)
{
    plugin.clearRecords();
    for (int32_t index = -1; index < 8; ++index)
        effect->setParameter(effect, index, 0.5f);
    effect->setParameter(effect, 0, 1.0f);
    EXPECT_EQ(hostCalls(), 0);
    EXPECT_NEAR(effect->getParameter(effect, kGain), 0.5f, 1e-6);
    EXPECT_EQ(text(kEffGetParamDisplay, kGain), "-18.0");
    EXPECT_EQ(effect->getParameter(effect, 0), 1.0f);
    EXPECT_EQ(param("plugin.modMain.modBypass.enable")->getValue(0, 0), 1.0);
}

TEST_F(CAudioWrapperVSTParamTest, UserChangeReachesTheHostAsOneAutomationCall)
{
    CAudioParam* gain = param("plugin.modMain.modZumbelModule.gain");
    ASSERT_NE(gain, nullptr);
    plugin.clearRecords();
    {
        // Two steps of one gesture under one lock: the host hears of the last one, afterwards.
        CAudioParamContext context;
        CAudioParam::CGuard guard(*gain, &context);
        gain->setValue(0, 0, std::pow(10.0, -30.0 / 20.0), context, &guard);
        gain->setValue(0, 0, std::pow(10.0, -18.0 / 20.0), context, &guard);
        EXPECT_EQ(plugin.countCallbacks(kHostAutomate), 0);
    }
    ASSERT_EQ(plugin.countCallbacks(kHostAutomate), 1);
    EXPECT_EQ(plugin.getCallbacks(kHostAutomate)[0].index, kGain);
    EXPECT_NEAR(plugin.getCallbacks(kHostAutomate)[0].opt, 0.5f, 1e-6);

    // From another thread, as a UI or a second host thread would.
    std::thread other(
        [gain]
        {
            CAudioParamContext context;
            gain->setValue(0, 0, 1.0, context);
        });
    other.join();
    ASSERT_EQ(plugin.countCallbacks(kHostAutomate), 2);
    EXPECT_NEAR(plugin.getCallbacks(kHostAutomate)[1].opt, 1.0f, 1e-6);
}

TEST_F(CAudioWrapperVSTParamTest, HostFormatsAnyValueThroughVendorSpecificSeven)
{
    char buffer[16] = {};
    EXPECT_NE(plugin.dispatch(kEffVendorSpecific, CAudioWrapperVST::kFormatValueIndex, kGain,
                              buffer, 0.5f),
              0);
    EXPECT_STREQ(buffer, "-18.0");
    // The current value is not touched.
    EXPECT_NEAR(effect->getParameter(effect, kGain), 2.0f / 3.0f, 1e-6);
    EXPECT_EQ(
        plugin.dispatch(kEffVendorSpecific, CAudioWrapperVST::kFormatValueIndex, 6, buffer, 0.5f),
        0);
    EXPECT_EQ(plugin.dispatch(kEffVendorSpecific, CAudioWrapperVST::kFormatValueIndex, kGain,
                              nullptr, 0.5f),
              0);
}

} // namespace
} // namespace kel
