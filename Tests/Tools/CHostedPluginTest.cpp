#include "CArdourSession.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "FakePluginCodes.h"

#include "Core/Platform/CThisThread.h"
#include "Support/CErrorText.h"
#include "Support/CMallocCounter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using kel::CError;
using kel::CHostedPlugin;
using kel::CVstHost;
using kel::test::CErrorText;

namespace
{

class CHostedPluginTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(CErrorText::takeKey(plugin.load(KEL_FAKE_PLUGIN_PATH)), "");
        plugin.open();
    }

    intptr_t vendor(int32_t code, intptr_t value = 0, void* ptr = nullptr, float opt = 0.0f)
    {
        return plugin.dispatch(kEffVendorSpecific, code, value, ptr, opt);
    }

    // Two channels of a ramp-like signal that no two frames share.
    template <typename T> std::vector<std::vector<T>> makeSignal(int frames)
    {
        std::vector<std::vector<T>> signal(2, std::vector<T>(frames));
        for (int i = 0; i < frames; ++i)
        {
            signal[0][i] = static_cast<T>(std::sin(0.01 * i) * 0.8);
            signal[1][i] = static_cast<T>(std::cos(0.013 * i) * 0.6);
        }
        return signal;
    }

    CVstHost host;
    CHostedPlugin plugin{host};
};

TEST_F(CHostedPluginTest, AnswersItsConfiguredIdentityAndReadsPluginTexts)
{
    CVstHost ardour;
    ardour.poseAsArdour();
    CHostedPlugin posing(ardour);
    ASSERT_EQ(CErrorText::takeKey(posing.load(KEL_FAKE_PLUGIN_PATH)), "");
    posing.open();
    char seen[160] = {};
    posing.dispatch(kEffVendorSpecific, kFakeHostName, sizeof(seen), seen);
    EXPECT_STREQ(seen, "Linux Audio Systems|Ardour");
    posing.setBlockSize(8192);
    // Ardour keeps answering its period while bouncing in larger blocks.
    EXPECT_EQ(posing.dispatch(kEffVendorSpecific, kFakeBlockSizeQuery), 1024);
    EXPECT_EQ(posing.countCallbacks(kHostVersion), 1);

    vendor(kFakeHostName, sizeof(seen), seen);
    EXPECT_STREQ(seen, "Kelmont|Kelmont Test Host");
    plugin.setBlockSize(333);
    EXPECT_EQ(vendor(kFakeBlockSizeQuery), 333);

    EXPECT_EQ(plugin.getEffectName(), "Fake Gain");
    EXPECT_EQ(plugin.getVendorString(), "Kelmont Tests");
    EXPECT_EQ(plugin.getNumInputs(), 2);
    EXPECT_EQ(plugin.getNumParams(), 2);
    EXPECT_TRUE(plugin.hasFlag(kEffectFlagProgramChunks));
    plugin.setParameter(0, 0.25f);
    EXPECT_FLOAT_EQ(plugin.getParameter(0), 0.25f);
    EXPECT_EQ(plugin.getParameterName(0), "Gain");
    EXPECT_EQ(plugin.getParameterDisplay(0), "0.250");
    EXPECT_EQ(plugin.getLastTextBytes(), 6);
    EXPECT_EQ(plugin.getProgramName(), "Init");
    plugin.setProgramName("Louder");
    EXPECT_EQ(plugin.getProgramName(), "Louder");
}

TEST_F(CHostedPluginTest, AwkwardBlockSizesGiveTheSameOutputInFloatAndDouble)
{
    plugin.start(48000.0, 512);
    plugin.setParameter(0, 0.5f);
    const int frames = 5000;
    const std::vector<int> awkward = {1, 7, 511, 512, 513, 4096};

    auto floatIn = makeSignal<float>(frames);
    std::vector<std::vector<float>> floatOut(2, std::vector<float>(frames));
    const float* fin[] = {floatIn[0].data(), floatIn[1].data()};
    float* fout[] = {floatOut[0].data(), floatOut[1].data()};
    ASSERT_EQ(CErrorText::takeKey(plugin.process(fin, 2, fout, 2, frames, awkward)), "");
    for (int ch = 0; ch < 2; ++ch)
        for (int i = 0; i < frames; ++i)
            ASSERT_EQ(floatOut[ch][i], floatIn[ch][i] * 0.5f) << ch << " " << i;
    EXPECT_EQ(plugin.getFramesProcessed(), frames);
    // 1 + 7 + 511 + 512 + 513, then the 4096 block is cut to the 3456 frames left.
    EXPECT_EQ(plugin.getProcessCalls(), 6);
    EXPECT_EQ(vendor(kFakeLastFrames), 3456);
    EXPECT_EQ(plugin.getProcessThreadId(), kel::CThisThread::id());

    plugin.setProcessMode(true, false);
    auto doubleIn = makeSignal<double>(frames);
    std::vector<std::vector<double>> doubleOut(2, std::vector<double>(frames));
    const double* din[] = {doubleIn[0].data(), doubleIn[1].data()};
    double* dout[] = {doubleOut[0].data(), doubleOut[1].data()};
    ASSERT_EQ(CErrorText::takeKey(plugin.process(din, 2, dout, 2, frames, {frames})), "");
    for (int i = 0; i < frames; ++i)
        ASSERT_EQ(doubleOut[1][i], doubleIn[1][i] * 0.5);
    EXPECT_EQ(vendor(kFakeLastFrames), frames);
}

TEST_F(CHostedPluginTest, GuardWordsCatchWritesOutsideTheBuffersInEveryBlockSize)
{
    plugin.start(44100.0, 512);
    auto in = makeSignal<float>(512);
    std::vector<std::vector<float>> out(2, std::vector<float>(512));
    const float* pin[] = {in[0].data(), in[1].data()};
    float* pout[] = {out[0].data(), out[1].data()};

    for (bool doubles : {false, true})
    {
        plugin.setProcessMode(doubles, false);
        // A short block: the data ends at the guard, so one word too many is caught.
        vendor(kFakeOverrun, 1);
        EXPECT_EQ(CErrorText::takeKey(plugin.processBlock(pin, 2, pout, 2, 100)),
                  "kelstr_CHostedPlugin_process_OutputOverrun");
        vendor(kFakeOverrun, 0);
        vendor(kFakeUnderrun, 1);
        EXPECT_EQ(CErrorText::takeKey(plugin.processBlock(pin, 2, pout, 2, 512)),
                  "kelstr_CHostedPlugin_process_OutputOverrun");
        vendor(kFakeUnderrun, 0);
        vendor(kFakeWriteInput, 1);
        EXPECT_EQ(CErrorText::takeKey(plugin.processBlock(pin, 2, pout, 2, 7)),
                  "kelstr_CHostedPlugin_process_InputChanged");
        vendor(kFakeWriteInput, 0);
        vendor(kFakeSkipLast, 1);
        EXPECT_EQ(CErrorText::takeKey(plugin.processBlock(pin, 2, pout, 2, 64)),
                  "kelstr_CHostedPlugin_process_OutputUnwritten");
        vendor(kFakeSkipLast, 0);
        EXPECT_EQ(CErrorText::takeKey(plugin.processBlock(pin, 2, pout, 2, 1)), "");
    }
    // A fault in the middle of a whole signal stops it there.
    vendor(kFakeOverrun, 3);
    plugin.setSamplePosition(0);
    std::unique_ptr<CError> error(plugin.process(pin, 2, pout, 2, 512, {100}));
    ASSERT_TRUE(error);
    EXPECT_STREQ(error->getMessage(),
                 "Output 0 was written outside its 100 frames in the call at frame 0.");
}

TEST_F(CHostedPluginTest, InPlaceModeSharesBuffersAndStillDeliversTheOutput)
{
    plugin.start(44100.0, 256);
    plugin.setParameter(0, 0.25f);
    plugin.setProcessMode(false, true);
    auto in = makeSignal<float>(1000);
    std::vector<std::vector<float>> out(3, std::vector<float>(1000, 9.0f));
    const float* pin[] = {in[0].data(), nullptr};
    float* pout[] = {out[0].data(), out[1].data(), out[2].data()};
    ASSERT_EQ(CErrorText::takeKey(plugin.process(pin, 2, pout, 3, 1000, {256})), "");
    EXPECT_EQ(vendor(kFakeInPlaceSeen), 1);
    for (int i = 0; i < 1000; ++i)
    {
        ASSERT_EQ(out[0][i], in[0][i] * 0.25f);
        ASSERT_EQ(out[1][i], 0.0f); // a null input is silence
        ASSERT_EQ(out[2][i], 0.0f); // beyond the plug-in's outputs
    }
    plugin.setProcessMode(false, false);
    ASSERT_EQ(CErrorText::takeKey(plugin.process(pin, 2, pout, 3, 1000, {256})), "");
    EXPECT_EQ(vendor(kFakeInPlaceSeen), 0);
}

TEST_F(CHostedPluginTest, ProcessingAfterResumeAllocatesNothingOnTheHostSide)
{
    if (!kel::test::CMallocCounter::isAvailable())
        GTEST_SKIP() << "no malloc counter under the sanitizers";
    plugin.start(48000.0, 512);
    auto in = makeSignal<float>(4096);
    std::vector<std::vector<float>> out(2, std::vector<float>(4096));
    const float* pin[] = {in[0].data(), in[1].data()};
    float* pout[] = {out[0].data(), out[1].data()};
    auto din = makeSignal<double>(4096);
    std::vector<std::vector<double>> dout(2, std::vector<double>(4096));
    const double* dpin[] = {din[0].data(), din[1].data()};
    double* dpout[] = {dout[0].data(), dout[1].data()};

    const std::vector<int> mixedBlocks = {512, 1, 77};
    const std::vector<int> evenBlocks = {300};

    kel::test::CMallocCounter::watchThisThread();
    CError* error = plugin.process(pin, 2, pout, 2, 4096, mixedBlocks);
    plugin.setProcessMode(true, true);
    if (!error)
        error = plugin.process(dpin, 2, dpout, 2, 4096, evenBlocks);
    kel::test::CMallocCounter::stopWatching();
    ASSERT_EQ(CErrorText::takeKey(error), "");
    EXPECT_EQ(kel::test::CMallocCounter::count(), 0u);
    EXPECT_GT(plugin.countCallbacks(kHostGetTime), 0);
}

TEST_F(CHostedPluginTest, ChunksRoundTripInBankAndProgramForm)
{
    plugin.setParameter(0, 0.75f);
    const std::vector<uint8_t> bank = plugin.getChunk(false);
    const std::vector<uint8_t> program = plugin.getChunk(true);
    ASSERT_EQ(bank.size(), 12u);
    EXPECT_EQ(bank[0], 'B');
    EXPECT_EQ(program[0], 'P');

    plugin.setParameter(0, 0.1f);
    EXPECT_EQ(plugin.setChunk(bank.data(), bank.size(), false), 1);
    EXPECT_FLOAT_EQ(plugin.getParameter(0), 0.75f);
    plugin.setParameter(0, 0.1f);
    // A bank given as a program is refused and changes nothing.
    EXPECT_EQ(plugin.setChunk(bank.data(), bank.size(), true), 0);
    EXPECT_FLOAT_EQ(plugin.getParameter(0), 0.1f);
    EXPECT_EQ(plugin.setChunk(program.data(), program.size(), true), 1);
    EXPECT_FLOAT_EQ(plugin.getParameter(0), 0.75f);

    const auto log = plugin.getDispatchLog();
    ASSERT_FALSE(log.empty());
    EXPECT_EQ(log.back().opcode, kEffSetChunk);
    EXPECT_EQ(log.back().index, 1);
    EXPECT_EQ(log.back().value, 12);
}

TEST_F(CHostedPluginTest, CallbacksAreRecordedWithTheThreadThatMadeThem)
{
    uint64_t workerId = 0;
    std::thread worker(
        [&]
        {
            workerId = kel::CThisThread::id();
            vendor(kFakeAutomate, 1, nullptr, 0.625f);
        });
    worker.join();
    const auto automations = plugin.getCallbacks(kHostAutomate);
    ASSERT_EQ(automations.size(), 1u);
    EXPECT_EQ(automations[0].index, 1);
    EXPECT_FLOAT_EQ(automations[0].opt, 0.625f);
    EXPECT_EQ(automations[0].threadId, workerId);
    EXPECT_NE(workerId, kel::CThisThread::id());
    EXPECT_EQ(plugin.countCallbacks(kHostBeginEdit), 1);
    EXPECT_EQ(plugin.countCallbacks(kHostEndEdit), 1);
    const auto order = plugin.getCallbackLog();
    ASSERT_GE(order.size(), 3u);
    EXPECT_EQ(order[order.size() - 3].opcode, kHostBeginEdit);
    EXPECT_EQ(order.back().opcode, kHostEndEdit);

    // Idle reaches the editor only when the host is set to answer it so.
    vendor(kFakeIdle);
    EXPECT_EQ(vendor(kFakeEditIdles), 0);
    host.setIdleCallsEditIdle(true);
    vendor(kFakeIdle);
    EXPECT_EQ(vendor(kFakeEditIdles), 1);
}

TEST_F(CHostedPluginTest, ProcessSeesTempoAndAProcessLevelThatFollowsTheThread)
{
    host.setTempo(97.5);
    plugin.start(48000.0, 64);
    std::vector<float> silence(64, 0.0f);
    const float* pin[] = {silence.data(), silence.data()};
    float* pout[] = {silence.data(), silence.data()};
    ASSERT_EQ(CErrorText::takeKey(plugin.processBlock(pin, 2, pout, 2, 64)), "");
    EXPECT_EQ(vendor(kFakeTempoMilli), 97500);
    EXPECT_EQ(vendor(kFakeProcessLevel), kProcessLevelRealtime);

    host.setProcessLevel(kProcessLevelOffline);
    ASSERT_EQ(CErrorText::takeKey(plugin.processBlock(pin, 2, pout, 2, 64)), "");
    EXPECT_EQ(vendor(kFakeProcessLevel), kProcessLevelOffline);

    host.setTimeInfoEnabled(false);
    host.setTempo(140.0);
    ASSERT_EQ(CErrorText::takeKey(plugin.processBlock(pin, 2, pout, 2, 64)), "");
    EXPECT_EQ(vendor(kFakeTempoMilli), 97500);
}

TEST_F(CHostedPluginTest, SpeakerArrangementsAndPrecisionReachThePlugin)
{
    int ins = 0;
    int outs = 0;
    EXPECT_FALSE(plugin.getSpeakerArrangement(ins, outs));
    EXPECT_EQ(plugin.setSpeakerArrangement(1, 2), 1);
    ASSERT_TRUE(plugin.getSpeakerArrangement(ins, outs));
    EXPECT_EQ(ins, 1);
    EXPECT_EQ(outs, 2);
    EXPECT_EQ(plugin.setSpeakerArrangement(6, 6), 0);
    EXPECT_EQ(plugin.setProcessPrecision(true), 1);
}

TEST(CHostedPlugin, LoadFailuresAreErrorsAndLeaveNothingLoaded)
{
    CVstHost host;
    CHostedPlugin plugin(host);
    EXPECT_EQ(CErrorText::takeKey(plugin.load("/nonexistent/Nothing.so")),
              "kelstr_CVstLibrary_open_LoadFailed");
    EXPECT_EQ(CErrorText::takeKey(plugin.load("libm.so.6")), "kelstr_CVstLibrary_open_NoEntry");
    EXPECT_FALSE(plugin.isLoaded());
}

// A plug-in linked into the test program. Its entry asks for the host's version before its
// record exists, as plug-ins do, and keeps the callback to ask more later.
VstHostCallback gLinkedHost = nullptr;
intptr_t gLinkedVersion = 0;
AEffect gLinkedRecord = {};

intptr_t linkedDispatcher(AEffect*, int32_t opcode, int32_t, intptr_t, void*, float)
{
    return opcode == kEffClose ? 1 : 0;
}

// Gives the record if `Magic` is the format's, a foreign one else, none if the host is too old.
template <int32_t Magic> AEffect* linkedEntry(VstHostCallback host)
{
    gLinkedHost = host;
    gLinkedVersion = host(nullptr, kHostVersion, 0, 0, nullptr, 0.0f);
    if (gLinkedVersion < 2400)
        return nullptr;
    gLinkedRecord = {};
    gLinkedRecord.magic = Magic;
    gLinkedRecord.dispatcher = &linkedDispatcher;
    return &gLinkedRecord;
}

TEST(CHostedPlugin, AttachedPluginIsAnsweredFromItsEntryOnAndRefusalsAreErrors)
{
    CVstHost host;
    host.setHostVersion(2401);
    CHostedPlugin plugin(host);
    // One loaded from its library first: attaching unloads it.
    ASSERT_EQ(CErrorText::takeKey(plugin.load(KEL_FAKE_PLUGIN_PATH)), "");
    plugin.clearRecords();
    ASSERT_EQ(CErrorText::takeKey(plugin.attach(&linkedEntry<kVstEffectMagic>, "linked")), "");
    EXPECT_EQ(plugin.countDispatches(kEffClose), 1);
    EXPECT_EQ(plugin.getEffect(), &gLinkedRecord);
    // The version query before the record existed got this host's answer and was recorded.
    EXPECT_EQ(gLinkedVersion, 2401);
    const auto versions = plugin.getCallbacks(kHostVersion);
    ASSERT_EQ(versions.size(), 1u);
    EXPECT_EQ(versions[0].threadId, kel::CThisThread::id());
    // Later calls come with the record; the plug-in's folder is the current one.
    EXPECT_STREQ(reinterpret_cast<const char*>(
                     gLinkedHost(&gLinkedRecord, kHostGetDirectory, 0, 0, nullptr, 0.0f)),
                 ".");
    EXPECT_EQ(plugin.countCallbacks(kHostGetDirectory), 1);
    EXPECT_EQ(plugin.close(), 1);
    EXPECT_FALSE(plugin.isLoaded());

    std::unique_ptr<CError> foreign(plugin.attach(&linkedEntry<0x12345678>, "linked"));
    ASSERT_TRUE(foreign);
    EXPECT_STREQ(foreign->getKey(), "kelstr_CHostedPlugin_load_BadMagic");
    EXPECT_STREQ(foreign->getMessage(), "'linked' did not return an effect record.");
    EXPECT_FALSE(plugin.isLoaded());

    // A host that predates the version query gets no record: the entry refused.
    host.setHostVersion(2300);
    std::unique_ptr<CError> refused(plugin.attach(&linkedEntry<kVstEffectMagic>, "linked"));
    ASSERT_TRUE(refused);
    EXPECT_STREQ(refused->getKey(), "kelstr_CHostedPlugin_load_Refused");
    EXPECT_STREQ(refused->getMessage(), "The plug-in 'linked' refused to load.");
    EXPECT_EQ(gLinkedVersion, 2300);
    EXPECT_FALSE(plugin.isLoaded());
    EXPECT_EQ(CErrorText::takeKey(plugin.attach(nullptr, "none")),
              "kelstr_CHostedPlugin_load_Refused");
}

TEST(CHostedPlugin, UnloadAfterUseClosesTheEffectAndCanLoadAgain)
{
    CVstHost host;
    CHostedPlugin plugin(host);
    for (int round = 0; round < 3; ++round)
    {
        ASSERT_EQ(CErrorText::takeKey(plugin.load(KEL_FAKE_PLUGIN_PATH)), "");
        plugin.open();
        plugin.start(44100.0, 32);
        EXPECT_TRUE(plugin.isActive());
        plugin.unload();
        EXPECT_FALSE(plugin.isLoaded());
        EXPECT_EQ(plugin.countDispatches(kEffClose), round + 1);
    }
}

} // namespace

namespace
{

TEST(CArdourSession, SavedStateComesBackThroughTheReloadSequence)
{
    CVstHost host;
    host.poseAsArdour();
    kel::CArdourSession::CSavedState saved;
    {
        CHostedPlugin first(host);
        ASSERT_EQ(CErrorText::takeKey(first.load(KEL_FAKE_PLUGIN_PATH)), "");
        kel::CArdourSession::insert(first, 48000.0);
        kel::CArdourSession::beginBounce(first);
        EXPECT_EQ(first.getBlockSize(), 8192);
        first.setParameter(0, 0.3f);
        saved = kel::CArdourSession::save(first);
    }
    ASSERT_EQ(saved.params.size(), 2u);

    CHostedPlugin second(host);
    ASSERT_EQ(CErrorText::takeKey(second.load(KEL_FAKE_PLUGIN_PATH)), "");
    EXPECT_EQ(kel::CArdourSession::restore(second, 48000.0, saved), 1);
    EXPECT_FLOAT_EQ(second.getParameter(0), 0.3f);

    // After the single values: resume, program, bank chunk, resume, with no suspend between.
    std::vector<int32_t> tail;
    for (const auto& call : second.getDispatchLog())
        if (call.opcode == kEffMainsChanged || call.opcode == kEffSetProgram ||
            call.opcode == kEffSetChunk)
            tail.push_back(call.opcode);
    EXPECT_EQ(tail, (std::vector<int32_t>{kEffMainsChanged, kEffSetProgram, kEffSetChunk,
                                          kEffMainsChanged}));
    EXPECT_EQ(second.countDispatches(kEffCanDo), 1);
}

} // namespace
