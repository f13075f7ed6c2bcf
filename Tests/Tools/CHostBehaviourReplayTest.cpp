// Behaviours seen in real hosts, replayed one by one on the built plug-in through our own host:
// the binary interface only, nothing of the plug-in's inside. Where the output has to be
// compared between two runs, both instances get events every second with nothing drawn at
// random (shortest period, no variation, a tone), so that any two correct runs agree sample
// for sample.
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

using kel::test::CErrorText;

namespace kel
{
namespace
{

// The product's host parameters, by index.
enum EHostParam : int
{
    kBypass = 0,
    kPeriod = 1,
    kDuration = 2,
    kFreq = 3,
    kGain = 4,
    kVariation = 5,
    kHostParamCount = 6
};

constexpr double kRateHz = 44100.0;

template <typename T> using CChannels = std::vector<std::vector<T>>;

template <typename T> CChannels<T> makeInput(int channels, int64_t frames)
{
    CChannels<T> in(channels, std::vector<T>(static_cast<size_t>(frames)));
    for (int ch = 0; ch < channels; ++ch)
        for (int64_t n = 0; n < frames; ++n)
            in[ch][n] =
                static_cast<T>(0.25 * std::sin(0.011 * static_cast<double>(n + 1) * (ch + 1)));
    return in;
}

// Runs the test signal through the plug-in in blocks that cycle through `blockSizes`, calling
// `beforeBlock` (if given) with each block's number first. Answers the output.
template <typename T>
CChannels<T> render(CHostedPlugin& plugin, int64_t frames, const std::vector<int>& blockSizes,
                    const std::function<void(int)>& beforeBlock = {})
{
    const int channels = plugin.getNumOutputs();
    const CChannels<T> in = makeInput<T>(channels, frames);
    CChannels<T> out(channels, std::vector<T>(static_cast<size_t>(frames)));
    std::vector<const T*> inAt(channels);
    std::vector<T*> outAt(channels);
    int64_t done = 0;
    for (int block = 0; done < frames; ++block)
    {
        const int64_t left = frames - done;
        const int size = blockSizes[block % blockSizes.size()];
        const int count = left < size ? static_cast<int>(left) : size;
        for (int ch = 0; ch < channels; ++ch)
        {
            inAt[ch] = in[ch].data() + done;
            outAt[ch] = out[ch].data() + done;
        }
        if (beforeBlock)
            beforeBlock(block);
        if (CError* error =
                plugin.processBlock(inAt.data(), channels, outAt.data(), channels, count))
        {
            ADD_FAILURE() << CErrorText::takeChain(error);
            break;
        }
        done += count;
    }
    return out;
}

// Frames at the start of the output that equal the input, over all channels.
template <typename T> int64_t untouchedFrames(const CChannels<T>& out, int64_t frames)
{
    const CChannels<T> in = makeInput<T>(static_cast<int>(out.size()), frames);
    for (int64_t n = 0; n < frames; ++n)
        for (size_t ch = 0; ch < out.size(); ++ch)
            if (out[ch][n] != in[ch][n])
                return n;
    return frames;
}

class HostBehaviourReplay : public testing::Test
{
protected:
    // A loaded and opened instance of the built plug-in on `onHost`.
    static std::unique_ptr<CHostedPlugin> openPlugin(CVstHost& onHost)
    {
        auto plugin = std::make_unique<CHostedPlugin>(onHost);
        if (CError* error = plugin->load(KEL_PLUGIN_PATH))
        {
            ADD_FAILURE() << CErrorText::takeChain(error);
            return nullptr;
        }
        plugin->open();
        return plugin;
    }

    // Events every second that depend on nothing drawn at random. Set before resume, so that
    // the module starts from these values rather than crossfading to them.
    static void makeDeterministic(CHostedPlugin& plugin)
    {
        plugin.setParameter(kPeriod, 0.0f);
        plugin.setParameter(kVariation, 0.0f);
    }

    // Renders two seconds of a deterministic instance: its first event must start after the
    // one-second period.
    static void expectFirstEventAfterOneSecond(CHostedPlugin& plugin)
    {
        const int64_t frames = static_cast<int64_t>(kRateHz * 2);
        const int64_t first = untouchedFrames(render<float>(plugin, frames, {1024}), frames);
        EXPECT_NEAR(first / kRateHz, 1.0, 0.05) << "first event (s; 2 means none)";
    }

    static std::vector<float> parameterValues(CHostedPlugin& plugin)
    {
        std::vector<float> values;
        for (int index = 0; index < plugin.getNumParams(); ++index)
            values.push_back(plugin.getParameter(index));
        return values;
    }

    // The number a parameter's read-out shows.
    static double shownValue(CHostedPlugin& plugin, int index)
    {
        return std::strtod(plugin.getParameterDisplay(index).c_str(), nullptr);
    }

    static int countThreads()
    {
        int count = 0;
        for ([[maybe_unused]] const auto& entry :
             std::filesystem::directory_iterator("/proc/self/task"))
            ++count;
        return count;
    }

    CVstHost host;
};

template <typename T>
void expectSameSamples(const CChannels<T>& actual, const CChannels<T>& expected)
{
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t ch = 0; ch < actual.size(); ++ch)
        for (size_t n = 0; n < actual[ch].size(); ++n)
            ASSERT_EQ(actual[ch][n], expected[ch][n]) << "channel " << ch << " frame " << n;
}

TEST_F(HostBehaviourReplay, MainsOnTwiceKeepsOneRunningInstance)
{
    auto twice = openPlugin(host);
    auto once = openPlugin(host);
    ASSERT_TRUE(twice && once);
    makeDeterministic(*twice);
    makeDeterministic(*once);
    twice->start(kRateHz, 512);
    twice->setActive(true);
    once->start(kRateHz, 512);
    // A second resume must not restart the clock or stack a second start: events stay where a
    // single resume puts them.
    const int64_t frames = static_cast<int64_t>(kRateHz * 3);
    const auto expected = render<float>(*once, frames, {512});
    const auto actual = render<float>(*twice, frames, {512});
    EXPECT_LT(untouchedFrames(expected, frames), frames) << "no event in three seconds";
    expectSameSamples(actual, expected);
}

TEST_F(HostBehaviourReplay, StoppedTransportStillInsertsEvents)
{
    struct Case
    {
        const char* what;
        bool timeInfo;
        bool playing;
    };
    for (const Case& c :
         {Case{"transport stopped", true, false}, Case{"no time info", false, true}})
    {
        SCOPED_TRACE(c.what);
        CVstHost stopped;
        stopped.setTimeInfoEnabled(c.timeInfo);
        auto plugin = openPlugin(stopped);
        ASSERT_TRUE(plugin);
        plugin->setTransportPlaying(c.playing);
        makeDeterministic(*plugin);
        plugin->start(kRateHz, 1024);
        // The first event follows the one-second period, not the host's transport.
        expectFirstEventAfterOneSecond(*plugin);
    }
}

TEST_F(HostBehaviourReplay, BounceBlocksUpTo8192RunWholeWhileTheHostStillSays1024)
{
    CVstHost bouncing;
    bouncing.setBlockSizeAnswer(1024);
    auto bounce = openPlugin(bouncing);
    auto reference = openPlugin(host);
    ASSERT_TRUE(bounce && reference);
    // Both play a second at the host's period, then restart: the bounce in blocks of up to
    // 8192 frames, the reference in 512.
    const int64_t frames = static_cast<int64_t>(kRateHz * 4);
    for (CHostedPlugin* plugin : {bounce.get(), reference.get()})
    {
        makeDeterministic(*plugin);
        plugin->start(kRateHz, 1024);
        render<float>(*plugin, static_cast<int64_t>(kRateHz), {1024});
        plugin->setActive(false);
    }
    bounce->setBlockSize(8192);
    bounce->setActive(true);
    reference->setBlockSize(512);
    reference->setActive(true);
    const auto expected = render<float>(*reference, frames, {512});
    const auto actual = render<float>(*bounce, frames, {8192, 8192, 3001, 8192, 1, 8191});
    EXPECT_LT(untouchedFrames(expected, frames), frames) << "no event in four seconds";
    expectSameSamples(actual, expected);
}

TEST_F(HostBehaviourReplay, ValuesSetAroundAnEarlySuspendRuleTheFirstPeriod)
{
    // Hosts toggle the mains while they load a project, often before any audio has run, and
    // set the stored values on either side of that.
    struct Sequence
    {
        const char* what;
        bool audioFirst;
        bool setWhileSuspended;
    };
    const Sequence sequences[] = {
        {"values, resume, suspend, resume", false, false},
        {"resume, suspend, values, resume", false, true},
        {"resume, audio, suspend, values, resume", true, true},
    };
    for (const Sequence& sequence : sequences)
    {
        SCOPED_TRACE(sequence.what);
        auto plugin = openPlugin(host);
        ASSERT_TRUE(plugin);
        if (!sequence.setWhileSuspended)
            makeDeterministic(*plugin);
        plugin->start(kRateHz, 512);
        if (sequence.audioFirst)
            render<float>(*plugin, 4096, {512});
        plugin->setActive(false);
        if (sequence.setWhileSuspended)
            makeDeterministic(*plugin);
        plugin->setActive(true);
        expectFirstEventAfterOneSecond(*plugin);
    }
}

TEST_F(HostBehaviourReplay, InPlaceBuffersGiveTheOutOfPlaceOutput)
{
    const int64_t frames = static_cast<int64_t>(kRateHz * 3);
    for (bool doubles : {false, true})
    {
        SCOPED_TRACE(doubles ? "double" : "float");
        auto separate = openPlugin(host);
        auto inPlace = openPlugin(host);
        ASSERT_TRUE(separate && inPlace);
        for (CHostedPlugin* plugin : {separate.get(), inPlace.get()})
        {
            makeDeterministic(*plugin);
            plugin->setProcessPrecision(doubles);
            plugin->start(kRateHz, 1024);
        }
        separate->setProcessMode(doubles, false);
        inPlace->setProcessMode(doubles, true);
        const std::vector<int> blocks = {1024, 333, 700};
        if (doubles)
            expectSameSamples(render<double>(*inPlace, frames, blocks),
                              render<double>(*separate, frames, blocks));
        else
            expectSameSamples(render<float>(*inPlace, frames, blocks),
                              render<float>(*separate, frames, blocks));
    }
}

TEST_F(HostBehaviourReplay, RateChangeWhileSuspendedKeepsParametersAndMovesEventsToTheNewRate)
{
    auto plugin = openPlugin(host);
    ASSERT_TRUE(plugin);
    plugin->start(kRateHz, 512);
    // Values that leave the timing at its defaults.
    plugin->setParameter(kFreq, 0.3f);
    plugin->setParameter(kGain, 0.6f);
    render<float>(*plugin, static_cast<int64_t>(kRateHz), {512});
    const std::vector<float> before = parameterValues(*plugin);

    plugin->setActive(false);
    const double newRateHz = 96000.0;
    plugin->setSampleRate(newRateHz);
    plugin->setActive(true);
    EXPECT_EQ(parameterValues(*plugin), before);

    // The default period is 30 s with a variation of 25 %, drawn as +-12.5 %: the first event
    // starts between 26.25 s and 33.75 s of audio at the new rate. At the old rate it would
    // start at less than half of that. Blocks are fed and checked one at a time, so that a
    // long stretch of audio costs no memory.
    const int channels = plugin->getNumOutputs();
    const int blockFrames = 4096;
    const CChannels<float> in = makeInput<float>(channels, blockFrames);
    CChannels<float> out(channels, std::vector<float>(blockFrames));
    std::vector<const float*> inAt;
    std::vector<float*> outAt;
    for (int ch = 0; ch < channels; ++ch)
    {
        inAt.push_back(in[ch].data());
        outAt.push_back(out[ch].data());
    }
    const int64_t limit = static_cast<int64_t>(newRateHz * 34.0);
    int64_t first = -1;
    for (int64_t done = 0; done < limit && first < 0; done += blockFrames)
    {
        CError* error =
            plugin->processBlock(inAt.data(), channels, outAt.data(), channels, blockFrames);
        ASSERT_EQ(error, nullptr) << CErrorText::takeChain(error);
        for (int n = 0; n < blockFrames && first < 0; ++n)
            for (int ch = 0; ch < channels; ++ch)
                if (out[ch][n] != in[ch][n])
                {
                    first = done + n;
                    break;
                }
    }
    ASSERT_GE(first, 0) << "no event within 34 s";
    EXPECT_GE(first / newRateHz, 26.25);
    EXPECT_LE(first / newRateHz, 33.75);
}

TEST_F(HostBehaviourReplay, OfflineLevelSwitchingBetweenBlocksChangesNoSample)
{
    CVstHost switching;
    auto offline = openPlugin(switching);
    CVstHost realtime;
    realtime.setProcessLevel(kProcessLevelRealtime);
    auto reference = openPlugin(realtime);
    ASSERT_TRUE(offline && reference);
    for (CHostedPlugin* plugin : {offline.get(), reference.get()})
    {
        makeDeterministic(*plugin);
        plugin->start(kRateHz, 1024);
    }
    const int64_t frames = static_cast<int64_t>(kRateHz * 3);
    const auto expected = render<float>(*reference, frames, {1024});
    // Bounce, play, bounce...: the level changes every other block.
    const auto actual = render<float>(
        *offline, frames, {1024},
        [&](int block) {
            switching.setProcessLevel(block % 4 < 2 ? kProcessLevelOffline : kProcessLevelRealtime);
        });
    expectSameSamples(actual, expected);
    EXPECT_GT(offline->countCallbacks(kHostGetCurrentProcessLevel), 0);
}

TEST_F(HostBehaviourReplay, BankChunkLoadedLastWinsOverEarlierParameterAndProgram)
{
    auto source = openPlugin(host);
    ASSERT_TRUE(source);
    source->setProgram(2);
    const float values[kHostParamCount] = {0.0f, 0.2f, 0.7f, 0.35f, 0.8f, 0.1f};
    for (int index = 0; index < kHostParamCount; ++index)
        source->setParameter(index, values[index]);
    const std::vector<float> expected = parameterValues(*source);
    const std::vector<uint8_t> bank = source->getChunk(false);
    ASSERT_FALSE(bank.empty());

    auto target = openPlugin(host);
    ASSERT_TRUE(target);
    ASSERT_EQ(target->getNumParams(), source->getNumParams());
    // A host restoring a project: stale values, the saved program, more stale values, and the
    // stored chunk last. The chunk's edited program is the one in force.
    target->setParameter(kFreq, 0.9f);
    target->setProgram(2);
    target->setParameter(kPeriod, 0.9f);
    EXPECT_EQ(target->setChunk(bank.data(), bank.size(), false), 1);
    EXPECT_EQ(target->getProgram(), 2);
    const std::vector<float> restored = parameterValues(*target);
    for (size_t index = 0; index < expected.size(); ++index)
        EXPECT_NEAR(restored[index], expected[index], 1e-5) << "parameter " << index;
}

TEST_F(HostBehaviourReplay, SetProgramSelectsTheFactoryValuesAlsoAfterAChunk)
{
    struct Factory
    {
        int program;
        double periodSec;
        double durationSec;
        double freqHz;
    };
    const Factory table[] = {
        {1, 30.0, 1.0, 220.0}, {3, 5.0, 0.1, 330.0}, {6, 15.0, 0.5, 440.0}, {0, 30.0, 0.5, 440.0}};
    auto plugin = openPlugin(host);
    ASSERT_TRUE(plugin);
    ASSERT_GE(plugin->getNumPrograms(), 7);
    auto expectFactory = [&](const Factory& row)
    {
        SCOPED_TRACE("program " + std::to_string(row.program));
        plugin->setProgram(row.program);
        EXPECT_EQ(plugin->getProgram(), row.program);
        EXPECT_NEAR(shownValue(*plugin, kPeriod), row.periodSec, row.periodSec * 0.01);
        EXPECT_NEAR(shownValue(*plugin, kDuration), row.durationSec, row.durationSec * 0.01);
        EXPECT_NEAR(shownValue(*plugin, kFreq), row.freqHz, row.freqHz * 0.01);
    };
    for (const Factory& row : table)
        expectFactory(row);

    // A chunk of an edited bank, then a program change: the program's own values come back.
    plugin->setParameter(kPeriod, 0.5f);
    plugin->setParameter(kFreq, 0.5f);
    const std::vector<uint8_t> bank = plugin->getChunk(false);
    ASSERT_FALSE(bank.empty());
    auto reloaded = openPlugin(host);
    ASSERT_TRUE(reloaded);
    ASSERT_EQ(reloaded->setChunk(bank.data(), bank.size(), false), 1);
    plugin = std::move(reloaded);
    expectFactory(table[1]);
}

TEST_F(HostBehaviourReplay, DispatcherCallsFromThreadsOtherThanTheCreatorsWork)
{
    auto plugin = std::make_unique<CHostedPlugin>(host);
    if (CError* error = plugin->load(KEL_PLUGIN_PATH))
        FAIL() << CErrorText::takeChain(error);

    // The creating thread never calls the dispatcher: the host's interface thread opens and
    // sets up, its audio thread processes while the interface thread keeps reading texts,
    // values and state, and a third thread tears down.
    std::thread(
        [&]
        {
            plugin->open();
            makeDeterministic(*plugin);
            plugin->start(kRateHz, 512);
        })
        .join();
    std::atomic<bool> audioRunning{true};
    std::atomic<int> rounds{0};
    std::thread ui(
        [&]
        {
            while (audioRunning.load())
            {
                for (int index = 0; index < plugin->getNumParams(); ++index)
                    if (plugin->getParameterDisplay(index).empty())
                        ADD_FAILURE() << "empty read-out of parameter " << index;
                std::vector<uint8_t> state = plugin->getChunk(true);
                if (state.empty())
                    ADD_FAILURE() << "no program chunk";
                plugin->getProgramName();
                plugin->dispatch(kEffEditIdle);
                ++rounds;
                std::this_thread::yield();
            }
        });
    std::thread audio(
        [&]
        {
            const int64_t frames = static_cast<int64_t>(kRateHz * 3);
            const auto out = render<float>(*plugin, frames, {512});
            EXPECT_LT(untouchedFrames(out, frames), frames) << "no event in three seconds";
            while (rounds.load() < 3)
                std::this_thread::yield();
            audioRunning = false;
        });
    audio.join();
    ui.join();
    std::thread(
        [&]
        {
            plugin->setActive(false);
            plugin->close();
        })
        .join();
    plugin->unload();
}

TEST_F(HostBehaviourReplay, EditIdleWithNoEditorOpenIsHarmlessAtEveryStage)
{
    auto plugin = openPlugin(host);
    ASSERT_TRUE(plugin);
    const int threads = countThreads();
    auto idle = [&](const char* stage)
    {
        for (int call = 0; call < 20; ++call)
            EXPECT_EQ(plugin->dispatch(kEffEditIdle), 0) << stage;
    };
    idle("opened");
    plugin->dispatch(kEffEditClose);
    idle("after a close without an open");
    plugin->start(kRateHz, 512);
    idle("running");
    const int64_t frames = 4096;
    const auto out = render<float>(*plugin, frames, {512}, [&](int) { idle("between blocks"); });
    EXPECT_EQ(untouchedFrames(out, frames), frames);
    plugin->setActive(false);
    idle("suspended");
    // Nothing to pump, so nothing may have been started to pump it.
    EXPECT_EQ(countThreads(), threads);
}

TEST_F(HostBehaviourReplay, StringQueriesStayInsideTheirNominalBuffers)
{
    auto plugin = openPlugin(host);
    ASSERT_TRUE(plugin);
    constexpr int kCanaryBytes = 16;
    constexpr unsigned char kCanary = 0xA5;
    constexpr unsigned char kFill = 'x';
    // A buffer of exactly `bytes`, filled with text-like bytes, then the canary. Answers a
    // message for the first fault.
    auto query = [&](int32_t opcode, int32_t index, int bytes) -> std::string
    {
        std::vector<unsigned char> buffer(static_cast<size_t>(bytes + kCanaryBytes), kCanary);
        std::memset(buffer.data(), kFill, static_cast<size_t>(bytes));
        plugin->dispatch(opcode, index, 0, buffer.data());
        for (int i = bytes; i < bytes + kCanaryBytes; ++i)
            if (buffer[i] != kCanary)
                return "wrote past its " + std::to_string(bytes) + " bytes";
        if (!std::memchr(buffer.data(), 0, static_cast<size_t>(bytes)))
            return "left the text unterminated";
        return "";
    };
    struct Query
    {
        const char* name;
        int32_t opcode;
        int count; // of indices, from 0
        int bytes;
    };
    const Query queries[] = {
        {"effect name", kEffGetEffectName, 1, kVstEffectNameBytes},
        {"vendor", kEffGetVendorString, 1, kVstVendorStringBytes},
        {"product", kEffGetProductString, 1, kVstProductStringBytes},
        {"program name", kEffGetProgramName, 1, kVstProgramNameBytes},
        {"indexed program name", kEffGetProgramNameIndexed, plugin->getNumPrograms(),
         kVstProgramNameBytes},
        {"parameter name", kEffGetParamName, plugin->getNumParams(), kVstParamTextBytes},
        {"parameter label", kEffGetParamLabel, plugin->getNumParams(), kVstParamTextBytes},
    };
    for (const Query& q : queries)
        for (int index = 0; index < q.count; ++index)
        {
            const std::string fault = query(q.opcode, index, q.bytes);
            EXPECT_EQ(fault, "") << q.name << " " << index;
        }
    // Read-outs grow with the value: the ends of each range and points between them.
    for (int index = 0; index < plugin->getNumParams(); ++index)
        for (float valueNorm : {0.0f, 0.0001f, 0.137f, 0.5f, 0.93f, 1.0f})
        {
            plugin->setParameter(index, valueNorm);
            const std::string fault = query(kEffGetParamDisplay, index, kVstParamTextBytes);
            EXPECT_EQ(fault, "") << "display of parameter " << index << " at " << valueNorm;
        }

    // Pin names: the record, then the canary; its texts end inside their fields.
    for (int32_t opcode : {kEffGetInputProperties, kEffGetOutputProperties})
        for (int pin = 0; pin < plugin->getNumOutputs(); ++pin)
        {
            std::vector<unsigned char> buffer(sizeof(VstPinProperties) + kCanaryBytes, kCanary);
            std::memset(buffer.data(), kFill, sizeof(VstPinProperties));
            const intptr_t answered = plugin->dispatch(opcode, pin, 0, buffer.data());
            for (size_t i = sizeof(VstPinProperties); i < buffer.size(); ++i)
                ASSERT_EQ(buffer[i], kCanary) << "pin record " << opcode << " " << pin;
            if (!answered)
                continue;
            const auto* properties = reinterpret_cast<const VstPinProperties*>(buffer.data());
            EXPECT_NE(std::memchr(properties->label, 0, sizeof(properties->label)), nullptr);
            EXPECT_NE(std::memchr(properties->shortLabel, 0, sizeof(properties->shortLabel)),
                      nullptr);
        }
}

} // namespace
} // namespace kel
