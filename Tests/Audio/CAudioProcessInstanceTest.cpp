#include "Audio/CAudioCreators.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioProcess.h"
#include "Audio/CAudioWrapper.h"
#include "Audio/Modules/CModZumbelModule.h"
#include "Core/CApplication.h"
#include "ProductResources.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

using kel::CAudioParamContext;
using kel::CAudioWrapper;
using kel::CModZumbelModule;
using kel::CString;

namespace
{

// One instance on the application's shared tree, as the format layer makes it, running at
// 48 kHz on two channels.
class CAudioProcessInstanceTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        kel::CApplication::addCreatorRegistration(&kel::CAudioCreators::registerAll);
        kel::CApplication::init(kel::resources::kResourceTable, "SharedData.xml");
        ASSERT_NE(kel::CApplication::getSharedObject(), nullptr);
        wrapper = std::make_unique<CAudioWrapper>();
        kel::CError* error = wrapper->init();
        ASSERT_EQ(error, nullptr) << error->getMessage();
        wrapper->setChannelCount(2);
        wrapper->setSampleRate(48000.0);
        wrapper->setBlockSize(512);
        wrapper->setBufferShape(false, false);
        wrapper->start();
    }
    void TearDown() override
    {
        wrapper.reset();
        kel::CApplication::shutdown();
    }

    void set(const char* fullName, double value)
    {
        CAudioParamContext context;
        wrapper->getParamCollector()->getParam(CString(fullName))->setValue(0, 0, value, context);
    }

    // One block of a sine; answers whether the output equals the input exactly.
    bool block(int frames = 512)
    {
        std::vector<float> in[2];
        std::vector<float> out[2];
        for (int channel = 0; channel < 2; ++channel)
        {
            in[channel].resize(static_cast<size_t>(frames));
            out[channel].assign(static_cast<size_t>(frames), 7.0f);
            for (int n = 0; n < frames; ++n)
                in[channel][n] = 0.3f * std::sin(0.02f * static_cast<float>(position + n));
        }
        position += frames;
        float* ins[2] = {in[0].data(), in[1].data()};
        float* outs[2] = {out[0].data(), out[1].data()};
        wrapper->processBlock(ins, outs, frames);
        return in[0] == out[0] && in[1] == out[1];
    }

    std::unique_ptr<CAudioWrapper> wrapper;
    int position = 0;
};

} // namespace

TEST_F(CAudioProcessInstanceTest, IdleInstanceHandsTheHostsSamplesStraightAcross)
{
    ASSERT_NE(wrapper->getMainProcess(), nullptr);
    ASSERT_NE(wrapper->getOutputProcess(), nullptr);
    ASSERT_NE(wrapper->getModule(), nullptr);
    for (int n = 0; n < 20; ++n)
        EXPECT_TRUE(block(n % 2 ? 700 : 33)) << n;
    EXPECT_EQ(wrapper->getLatencyFrames(), 0);
}

TEST_F(CAudioProcessInstanceTest, ChangesAreTakenAtBlockStartAndEventsFollowThem)
{
    block();
    set("plugin.modMain.modZumbelModule.variation", 0.0);
    set("plugin.modMain.modZumbelModule.period", 1.0);
    set("plugin.modMain.modZumbelModule.gain", 1.0);
    EXPECT_EQ(wrapper->getModule()->getParams().periodSec, 30.0);
    block();
    EXPECT_EQ(wrapper->getModule()->getParams().periodSec, 1.0);
    EXPECT_EQ(wrapper->getModule()->getCountdown(), 48000 - 512);

    int changedBlocks = 0;
    for (int n = 0; n < 100; ++n)
        changedBlocks += block() ? 0 : 1;
    EXPECT_GT(changedBlocks, 0) << "the beep replaced the audio";

    set("plugin.modMain.modBypass.enable", 1.0);
    // The switch crossfades over 15 ms: 720 frames, the first two blocks.
    block();
    block();
    int differing = 0;
    for (int n = 0; n < 200; ++n)
        differing += block() ? 0 : 1;
    EXPECT_EQ(differing, 0) << "bypassed, the output is the input exactly";
}

TEST_F(CAudioProcessInstanceTest, StopClearsTheGraphAndStartResumesIt)
{
    set("plugin.modMain.modZumbelModule.period", 1.0);
    block();
    wrapper->stop();
    wrapper->stop();
    EXPECT_FALSE(wrapper->isRunning());
    wrapper->setSampleRate(44100.0);
    wrapper->start();
    EXPECT_TRUE(block());
    EXPECT_EQ(wrapper->getModule()->getSampleRate(), 44100.0) << "set up again for the new rate";
    EXPECT_EQ(wrapper->getModule()->getPhase(), CModZumbelModule::kIdle);
}
