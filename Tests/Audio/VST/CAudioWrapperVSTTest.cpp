#include "Audio/Converters/CAudioParamConverterGain.h"
#include "Audio/CAudioEnv.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "Core/CAllocator.h"
#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "Core/CSystem.h"
#include "Core/Platform/CLock.h"
#include "Core/Platform/CThisThread.h"
#include "Support/CErrorText.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "CWrapperEntry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

namespace kel
{
namespace
{

// Most tests run a stereo instance (CWrapperEntry::make<2>), as stereo hosts see it; the
// product's own count is tested apart.
AEffect* attachEffect(CHostedPlugin& plugin, VstEntryProc entry = &CWrapperEntry::make<2>)
{
    if (CError* error = plugin.attach(entry, "wrapper"))
        ADD_FAILURE() << test::CErrorText::takeChain(error);
    return plugin.getEffect();
}

// The speaker arrangements a host hands over (set) or asks for (get): the plug-in's answer.
intptr_t setArrangement(CHostedPlugin& plugin, VstSpeakerArrangement& in,
                        VstSpeakerArrangement& out)
{
    return plugin.dispatch(kEffSetSpeakerArrangement, 0, reinterpret_cast<intptr_t>(&in), &out);
}
intptr_t getArrangement(CHostedPlugin& plugin, VstSpeakerArrangement*& in,
                        VstSpeakerArrangement*& out)
{
    return plugin.dispatch(kEffGetSpeakerArrangement, 0, reinterpret_cast<intptr_t>(&in), &out);
}

CAudioWrapperVST* wrapperOf(AEffect* effect)
{
    return static_cast<CAudioWrapperVST*>(AudioEffect::fromAeffect(effect));
}

// Deterministic, clearly non-silent test signal; channel decides the phase.
template <typename Sample> std::vector<Sample> testSignal(int frames, int channel)
{
    std::vector<Sample> samples(static_cast<size_t>(frames));
    for (int n = 0; n < frames; ++n)
        samples[static_cast<size_t>(n)] =
            static_cast<Sample>(0.5 * std::sin(0.01 * n + channel) + 0.001 * channel);
    return samples;
}

// Host-side channel buffers with guard words after the frames the plug-in may touch.
template <typename Sample> struct CChannelBuffers
{
    static constexpr int kGuard = 16;
    static constexpr Sample kGuardValue = static_cast<Sample>(-1234.5);

    CChannelBuffers(int channelCount, int frameCount) : frames(frameCount)
    {
        for (int channel = 0; channel < channelCount; ++channel)
        {
            storage.emplace_back(static_cast<size_t>(frames + kGuard), kGuardValue);
        }
        for (auto& channel : storage)
            pointers.push_back(channel.data());
    }
    void fill(const std::vector<Sample>& samples, int channel)
    {
        std::copy(samples.begin(), samples.end(), storage[static_cast<size_t>(channel)].begin());
    }
    bool guardsIntact() const
    {
        for (const auto& channel : storage)
            for (int n = frames; n < frames + kGuard; ++n)
                if (channel[static_cast<size_t>(n)] != kGuardValue)
                    return false;
        return true;
    }
    Sample** data() { return pointers.data(); }
    const std::vector<Sample>& channel(int index) const
    {
        return storage[static_cast<size_t>(index)];
    }

    int frames;
    std::vector<std::vector<Sample>> storage;
    std::vector<Sample*> pointers;
};

// Output equals input on the first frames: the module waits at least its shortest period (many
// seconds) before its first event and hands the audio on untouched until then.
template <typename Sample>
void expectSameFrames(const std::vector<Sample>& actual, const std::vector<Sample>& expected,
                      int frames)
{
    for (int n = 0; n < frames; ++n)
    {
        ASSERT_EQ(actual[static_cast<size_t>(n)], expected[static_cast<size_t>(n)])
            << "frame " << n;
    }
}

class CAudioWrapperVSTTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        host.setVendor("Kelmont Test");
        host.setProduct("Test Host");
        effect = attachEffect(plugin);
        ASSERT_NE(effect, nullptr);
        wrapper = wrapperOf(effect);
    }
    void TearDown() override
    {
        if (effect)
        {
            EXPECT_EQ(plugin.close(), 1);
        }
    }

    CVstHost host;
    CHostedPlugin plugin{host};
    AEffect* effect = nullptr;
    CAudioWrapperVST* wrapper = nullptr;
};

TEST_F(CAudioWrapperVSTTest, StartUpPublishesIdentityCountsAndFlags)
{
    EXPECT_EQ(effect->uniqueID, 0x4B5A6D62);
    // The factory bank's seven programs.
    EXPECT_EQ(effect->numPrograms, 7);
    EXPECT_EQ(effect->numParams, 6);
    EXPECT_EQ(effect->numInputs, 2);
    EXPECT_EQ(effect->numOutputs, 2);
    EXPECT_EQ(effect->flags, kEffectFlagHasEditor | kEffectFlagCanReplacing |
                                 kEffectFlagCanDoubleReplacing | kEffectFlagProgramChunks);
    EXPECT_EQ(plugin.dispatch(kEffGetVstVersion), 2400);
    EXPECT_EQ(plugin.dispatch(kEffGetPlugCategory), kCategoryEffect);

    CVstHost productHost;
    CHostedPlugin productPlugin(productHost);
    AEffect* product = attachEffect(productPlugin, &CWrapperEntry::make<0>);
    ASSERT_NE(product, nullptr);
    EXPECT_EQ(product->numInputs, 8);
    EXPECT_EQ(product->numOutputs, 8);
    EXPECT_EQ(productPlugin.close(), 1);
    EXPECT_EQ(plugin.dispatch(kEffGetVendorVersion), 0x010000);
    EXPECT_EQ(plugin.dispatch(kEffCanBeAutomated, 0), 1);
    EXPECT_EQ(plugin.dispatch(kEffGetCurrentMidiProgram), -1);
    EXPECT_STREQ(wrapper->getHostProduct(), "Test Host");
    EXPECT_STREQ(wrapper->getHostVendor(), "Kelmont Test");
    EXPECT_EQ(wrapper->getHostVersion(), 2400);
}

TEST_F(CAudioWrapperVSTTest, WithoutADisplayTheEditorOpensNoWindow)
{
    // Its rectangle, which needs no display, is the editor tests' first case.
    int parentWindow = 0;
    EXPECT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parentWindow), 0);
    EXPECT_EQ(plugin.dispatch(kEffEditIdle), 0);
    EXPECT_EQ(plugin.dispatch(kEffEditClose), 0);
}

TEST_F(CAudioWrapperVSTTest, StringAnswersAreCutToTheirBuffers)
{
    struct Case
    {
        int32_t opcode;
        int bytes;
        const char* expected;
    };
    const Case cases[] = {
        {kEffGetEffectName, kVstEffectNameBytes, "Zumbel"},
        {kEffGetVendorString, kVstVendorStringBytes, "Kelmont"},
        {kEffGetProductString, kVstProductStringBytes, "Kelmont Zumbel"},
        {kEffGetProgramName, kVstProgramNameBytes, "Default"},
        {kEffGetParamName, kVstParamTextBytes, "Bypass"},
        {kEffGetParamLabel, kVstParamTextBytes, ""},
        {kEffGetParamDisplay, kVstParamTextBytes, "Off"},
    };
    for (const Case& c : cases)
    {
        char buffer[80];
        std::memset(buffer, '#', sizeof(buffer));
        plugin.dispatch(c.opcode, 0, 0, buffer);
        EXPECT_STREQ(buffer, c.expected) << "opcode " << c.opcode;
        EXPECT_EQ(buffer[c.bytes], '#') << "opcode " << c.opcode;
    }
    char buffer[kVstProgramNameBytes + 1];
    std::memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(plugin.dispatch(kEffGetProgramNameIndexed, 0, 0, buffer), 1);
    EXPECT_STREQ(buffer, "Default");
    EXPECT_EQ(buffer[kVstProgramNameBytes], '#');
    // Longer names are cut to the host's field.
    std::memset(buffer, '#', sizeof(buffer));
    EXPECT_EQ(plugin.dispatch(kEffGetProgramNameIndexed, 1, 0, buffer), 1);
    EXPECT_STREQ(buffer, "Beep - 1 s 220 Hz @ 30 ");
    EXPECT_EQ(buffer[kVstProgramNameBytes], '#');
    EXPECT_EQ(plugin.dispatch(kEffGetProgramNameIndexed, 7, 0, buffer), 0);
    EXPECT_EQ(plugin.dispatch(kEffGetProgramNameIndexed, -1, 0, buffer), 0);
}

TEST_F(CAudioWrapperVSTTest, CanDoAnswers)
{
    auto canDo = [this](const char* text)
    { return plugin.dispatch(kEffCanDo, 0, 0, const_cast<char*>(text)); };
    EXPECT_EQ(canDo("hasCockosExtensions"), static_cast<intptr_t>(0xBEEF0000u));
    EXPECT_EQ(canDo("receiveVstMidiEvent"), 1);
    EXPECT_EQ(canDo("receiveVstTimeInfo"), 1);
    EXPECT_EQ(canDo("bypass"), 0);
    EXPECT_EQ(canDo("receivevstmidievent"), 0);
    EXPECT_EQ(canDo(""), 0);
}

TEST_F(CAudioWrapperVSTTest, SpeakerArrangementsLargerThanDeclaredAreRefused)
{
    VstSpeakerArrangement input = {};
    VstSpeakerArrangement output = {};
    input.type = kArrangementStereo;
    input.numChannels = 3;
    output.type = kArrangementStereo;
    output.numChannels = 2;
    EXPECT_EQ(setArrangement(plugin, input, output), 0);
    VstSpeakerArrangement* gotIn = nullptr;
    VstSpeakerArrangement* gotOut = nullptr;
    EXPECT_EQ(getArrangement(plugin, gotIn, gotOut), 0);
    EXPECT_EQ(gotIn, nullptr);
    EXPECT_EQ(gotOut, nullptr);
    output.numChannels = 9;
    input.numChannels = 1;
    EXPECT_EQ(setArrangement(plugin, input, output), 0);
}

TEST_F(CAudioWrapperVSTTest, SpeakerArrangementNamesChannelsAndIsKept)
{
    VstSpeakerArrangement input = {};
    VstSpeakerArrangement output = {};
    input.type = kArrangementMono;
    input.numChannels = 1;
    output.type = kArrangementStereo;
    output.numChannels = 2;
    std::memcpy(output.speakers[1].name, "Right", 6);
    ASSERT_EQ(setArrangement(plugin, input, output), 1);
    // The host's records may go away; ours are copies.
    std::memset(&output, 0x55, sizeof(output));

    VstSpeakerArrangement* gotIn = nullptr;
    VstSpeakerArrangement* gotOut = nullptr;
    ASSERT_EQ(getArrangement(plugin, gotIn, gotOut), 1);
    ASSERT_NE(gotIn, nullptr);
    ASSERT_NE(gotOut, nullptr);
    EXPECT_EQ(gotIn->numChannels, 1);
    EXPECT_EQ(gotOut->numChannels, 2);
    EXPECT_STREQ(gotOut->speakers[1].name, "Right");

    char name[CAudioWrapperVST::kChannelNameBytes];
    ASSERT_TRUE(wrapper->getInChannelName(0, name, sizeof(name)));
    EXPECT_STREQ(name, "IN 1");
    EXPECT_FALSE(wrapper->getInChannelName(1, name, sizeof(name)));
    ASSERT_TRUE(wrapper->getOutChannelName(0, name, sizeof(name)));
    EXPECT_STREQ(name, "OUT 1");
    ASSERT_TRUE(wrapper->getOutChannelName(1, name, sizeof(name)));
    EXPECT_STREQ(name, "Right");

    // Resume takes the counts from the arrangements.
    plugin.open();
    plugin.start(48000.0f, 256);
    EXPECT_EQ(wrapper->getInChannels(), 1);
    EXPECT_EQ(wrapper->getOutChannels(), 2);
}

TEST_F(CAudioWrapperVSTTest, ProcessPrecisionTakesOnlyTheTwoKnownValues)
{
    EXPECT_EQ(plugin.dispatch(kEffSetProcessPrecision, 0, 2), 0);
    EXPECT_FALSE(wrapper->isDoublePrecision());
    EXPECT_EQ(plugin.dispatch(kEffSetProcessPrecision, 0, kProcessPrecision64), 1);
    EXPECT_TRUE(wrapper->isDoublePrecision());
    EXPECT_TRUE(wrapper->isInputDouble());
    EXPECT_TRUE(wrapper->isOutputDouble());
    EXPECT_EQ(plugin.dispatch(kEffSetProcessPrecision, 0, kProcessPrecision32), 1);
    EXPECT_FALSE(wrapper->isOutputDouble());
}

TEST_F(CAudioWrapperVSTTest, ZeroFrameCallWritesNothing)
{
    plugin.open();
    plugin.start(44100.0f, 512);
    CChannelBuffers<float> in(2, 0);
    CChannelBuffers<float> out(2, 0);
    const int64_t runsBefore = wrapper->getRunCount();
    effect->processReplacing(effect, in.data(), out.data(), 0);
    effect->processDoubleReplacing(effect, nullptr, nullptr, 0);
    effect->processReplacing(effect, in.data(), out.data(), -5);
    EXPECT_TRUE(out.guardsIntact());
    EXPECT_EQ(wrapper->getRunCount(), runsBefore);
}

TEST_F(CAudioWrapperVSTTest, NullInputIsSilence)
{
    plugin.open();
    plugin.start(44100.0f, 512);
    const int frames = 300;
    CChannelBuffers<float> in(2, frames);
    CChannelBuffers<float> out(2, frames);
    in.fill(testSignal<float>(frames, 1), 1);
    float* inputs[2] = {nullptr, in.data()[1]};
    effect->processReplacing(effect, inputs, out.data(), frames);
    expectSameFrames(out.channel(0), std::vector<float>(frames, 0.0f), frames);
    expectSameFrames(out.channel(1), in.channel(1), frames);

    // No input array at all.
    effect->processReplacing(effect, nullptr, out.data(), frames);
    expectSameFrames(out.channel(1), std::vector<float>(frames, 0.0f), frames);
    EXPECT_TRUE(out.guardsIntact());
}

TEST_F(CAudioWrapperVSTTest, MainsOnTwiceStartsOnceAndKeepsWorking)
{
    plugin.open();
    plugin.start(44100.0f, 1024);
    plugin.dispatch(kEffMainsChanged, 0, 1);
    EXPECT_TRUE(wrapper->isRunning());
    plugin.dispatch(kEffMainsChanged, 0, 0);
    plugin.dispatch(kEffMainsChanged, 0, 0);
    EXPECT_FALSE(wrapper->isRunning());
    plugin.dispatch(kEffSetBlockSize, 0, 8192);
    plugin.dispatch(kEffMainsChanged, 0, 1);
    EXPECT_TRUE(wrapper->isRunning());
    EXPECT_EQ(wrapper->CAudioWrapper::getBlockSize(), 8192);
    const int frames = 600;
    CChannelBuffers<float> in(2, frames);
    CChannelBuffers<float> out(2, frames);
    in.fill(testSignal<float>(frames, 0), 0);
    effect->processReplacing(effect, in.data(), out.data(), frames);
    expectSameFrames(out.channel(0), in.channel(0), frames);
}

TEST_F(CAudioWrapperVSTTest, AudioThreadNeitherAllocatesNorLocksAfterResume)
{
    plugin.open();
    plugin.start(44100.0f, 8192);
    const int frames = 8192;
    CChannelBuffers<float> in(2, frames);
    CChannelBuffers<float> out(2, frames);
    CChannelBuffers<double> inDouble(2, frames);
    CChannelBuffers<double> outDouble(2, frames);
    in.fill(testSignal<float>(frames, 0), 0);

    const uint64_t thread = CThisThread::id();
    CAllocator::watchThread(thread);
    CLock::watchThread(thread);
    for (int block = 0; block < 8; ++block)
    {
        effect->processReplacing(effect, in.data(), out.data(), frames - block * 123);
        effect->processDoubleReplacing(effect, inDouble.data(), outDouble.data(), 1 + block);
    }
    const uint64_t allocations = CAllocator::watchedAllocations();
    const uint64_t locks = CLock::watchedLocks();
    CAllocator::watchThread(0);
    CLock::watchThread(0);
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(locks, 0u);
}

TEST_F(CAudioWrapperVSTTest, ALatencyThatMovesIsToldToTheHostOnceAfterTheBlock)
{
    plugin.open();
    plugin.start(44100.0f, 512);
    float left[64] = {};
    float right[64] = {};
    float* channels[2] = {left, right};
    effect->processReplacing(effect, channels, channels, 64);
    EXPECT_TRUE(plugin.getCallbacks(kHostIOChanged).empty()) << "a steady latency is not news";
    // The graph's output stage stores a new latency during a block.
    wrapper->getAudioEnv()->setLatencyFrames(96);
    effect->processReplacing(effect, channels, channels, 64);
    EXPECT_EQ(plugin.getCallbacks(kHostIOChanged).size(), 1u);
    EXPECT_EQ(effect->initialDelay, 96) << "the host reads the delay when it hears of the change";
    effect->processReplacing(effect, channels, channels, 64);
    EXPECT_EQ(plugin.getCallbacks(kHostIOChanged).size(), 1u);
}

TEST_F(CAudioWrapperVSTTest, OfflineStateFollowsTheHostsProcessLevel)
{
    plugin.open();
    plugin.start(44100.0f, 512);
    EXPECT_FALSE(wrapper->getOffline());
    float left[64] = {};
    float right[64] = {};
    float* channels[2] = {left, right};
    host.setProcessLevel(kProcessLevelOffline);
    effect->processReplacing(effect, channels, channels, 64);
    EXPECT_TRUE(wrapper->getOffline());
    host.setProcessLevel(kProcessLevelRealtime);
    effect->processReplacing(effect, channels, channels, 64);
    EXPECT_FALSE(wrapper->getOffline());
}

TEST_F(CAudioWrapperVSTTest, NullPointersFromTheHostDoNotCrash)
{
    for (int32_t opcode = 0; opcode <= 80; ++opcode)
    {
        if (opcode == kEffClose)
            continue;
        plugin.dispatch(opcode, 0, 0, nullptr);
        // Two opcodes carry a pointer in value; elsewhere value is a plain number.
        if (opcode != kEffSetSpeakerArrangement && opcode != kEffGetSpeakerArrangement)
            plugin.dispatch(opcode, -1, -1, nullptr, -1.0f);
    }
    // Index 7 asks to format a value into ptr; wheel forms with no ptr at all.
    EXPECT_EQ(
        plugin.dispatch(kEffVendorSpecific, CAudioWrapperVST::kFormatValueIndex, 0, nullptr, 0.5f),
        0);
    EXPECT_EQ(plugin.dispatch(kEffSetSpeakerArrangement, 0, 0, nullptr), 0);
    // With no window to take it, the host keeps the wheel event.
    EXPECT_EQ(plugin.dispatch(kEffVendorSpecific, CAudioWrapperVST::kWheelIndex,
                              CAudioWrapperVST::kWheelValue, nullptr, 2.5f),
              0);
    VstEvents empty = {};
    EXPECT_EQ(plugin.dispatch(kEffProcessEvents, 0, 0, &empty), 1);
    EXPECT_EQ(wrapper->getParameter(-1), 0.0f);
    wrapper->setParameter(100, 1.0f);
}

// Notes the MIDI events the format layer hands on.
class CMidiRecorder : public CAudioWrapperVST
{
public:
    using CAudioWrapperVST::CAudioWrapperVST;
    // The entry of a stereo recording instance.
    static AEffect* entry(VstHostCallback host)
    {
        auto* recorder = new CMidiRecorder(host, 2);
        EXPECT_EQ(test::CErrorText::takeChain(recorder->init()), "");
        return recorder->getAeffect();
    }
    struct Event
    {
        int status, channel, data1, data2;
        double timeSec;
    };
    std::vector<Event> events;

protected:
    void midiEvent(int status, int channel, int data1, int data2, double timeSec) override
    {
        events.push_back(Event{status, channel, data1, data2, timeSec});
    }
};

TEST_F(CAudioWrapperVSTTest, MidiEventsAreDecodedWithTheirTimeAndOtherEventsSkipped)
{
    CHostedPlugin recorderPlugin(host);
    AEffect* own = attachEffect(recorderPlugin, &CMidiRecorder::entry);
    ASSERT_NE(own, nullptr);
    auto* recorder = static_cast<CMidiRecorder*>(AudioEffect::fromAeffect(own));
    recorderPlugin.open();
    recorderPlugin.start(48000.0, 512);

    VstMidiEvent note = {};
    note.type = kEventTypeMidi;
    note.byteSize = sizeof(VstMidiEvent);
    note.midiData[0] = static_cast<char>(0x91); // note on, channel 2
    note.midiData[1] = static_cast<char>(0xC0); // a data byte with its top bit set: 7 bits kept
    note.midiData[2] = static_cast<char>(0x7F);
    VstMidiEvent control = note;
    control.deltaFrames = 480;
    control.midiData[0] = static_cast<char>(0xBF); // controller, channel 16
    control.midiData[1] = 7;
    control.midiData[2] = 100;
    VstEvent sysEx = {};
    sysEx.type = kEventTypeSysEx;
    struct
    {
        int32_t numEvents;
        intptr_t reserved;
        VstEvent* events[4];
    } list = {4,
              0,
              {reinterpret_cast<VstEvent*>(&note), &sysEx, nullptr,
               reinterpret_cast<VstEvent*>(&control)}};
    EXPECT_EQ(recorderPlugin.dispatch(kEffProcessEvents, 0, 0, &list), 1);

    ASSERT_EQ(recorder->events.size(), 2u);
    const CMidiRecorder::Event& first = recorder->events[0];
    EXPECT_EQ(first.status, 0x90);
    EXPECT_EQ(first.channel, 1);
    EXPECT_EQ(first.data1, 0x40);
    EXPECT_EQ(first.data2, 0x7F);
    EXPECT_EQ(first.timeSec, 0.0);
    const CMidiRecorder::Event& second = recorder->events[1];
    EXPECT_EQ(second.status, 0xB0);
    EXPECT_EQ(second.channel, 15);
    EXPECT_EQ(second.data1, 7);
    EXPECT_EQ(second.data2, 100);
    EXPECT_DOUBLE_EQ(second.timeSec, 0.01);
    EXPECT_EQ(recorderPlugin.close(), 1);
}

TEST_F(CAudioWrapperVSTTest, InstanceHooksReachTheHost)
{
    plugin.clearRecords();
    wrapper->hostBeginEdit(2);
    wrapper->hostAutomate(2, 0.75f);
    wrapper->hostEndEdit(2);
    wrapper->hostUpdateDisplay();
    ASSERT_EQ(plugin.countCallbacks(kHostAutomate), 1);
    EXPECT_FLOAT_EQ(plugin.getCallbacks(kHostAutomate)[0].opt, 0.75f);
    EXPECT_EQ(plugin.getCallbacks(kHostBeginEdit).at(0).index, 2);
    EXPECT_EQ(plugin.getCallbacks(kHostEndEdit).at(0).index, 2);
    EXPECT_EQ(plugin.countCallbacks(kHostUpdateDisplay), 1);
}

// --- Host identity and quirks ---

TEST(CAudioWrapperVSTHosts, HostIdentitiesDecideChannelsSyncLockAndFocus)
{
    // Old hosts and ACID get two channels, others the full count; calls are serialised only for
    // WaveLab products; windows leave the focus alone only for the exact Steinberg vendor.
    const struct
    {
        int32_t version;
        const char* product;
        const char* vendor;
        int32_t channels;
        bool sync;
        bool focus;
    } cases[] = {
        {2299, "Test Host", "Kelmont Test", 2, false, true},
        {2300, "Test Host", "Kelmont Test", 8, false, true},
        {1, "Test Host", "Kelmont Test", 2, false, true},
        {2400, "Sony ACID Pro", "Sony", 2, false, true},
        {2400, "Sony ACID Pro 7", "Sony", 8, false, true},
        {2400, "", "", 8, false, true},
        {2400, "WaveLab", "", 8, true, true},
        {2400, "WaveLab Pro 11", "", 8, true, true},
        {2400, "Steinberg WaveLab Elements", "Steinberg", 8, true, false},
        {2400, "Wave Lab", "steinberg", 8, false, true},
        {2400, "Ardour", "Linux Audio Systems", 8, false, true},
        {2400, "", "Steinberg Media", 8, false, true},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(std::to_string(c.version) + " " + c.product + " / " + c.vendor);
        CVstHost host;
        host.setHostVersion(c.version);
        host.setProduct(c.product);
        host.setVendor(c.vendor);
        CHostedPlugin plugin(host);
        AEffect* effect = attachEffect(plugin, &CWrapperEntry::make<8>);
        ASSERT_NE(effect, nullptr);
        EXPECT_EQ(effect->numInputs, c.channels);
        EXPECT_EQ(effect->numOutputs, c.channels);
        EXPECT_EQ(wrapperOf(effect)->hasSyncLock(), c.sync);
        EXPECT_EQ(CAudioWrapperVST::windowsTakeFocus(), c.focus);
        // Serialised or not, the calls process.
        plugin.open();
        plugin.start(44100.0f, 256);
        float samples[8][32] = {};
        float* channels[8];
        for (int channel = 0; channel < 8; ++channel)
            channels[channel] = samples[channel];
        effect->processReplacing(effect, channels, channels, 32);
        plugin.dispatch(kEffMainsChanged, 0, 0);
        EXPECT_EQ(plugin.close(), 1);
    }
}

TEST(CAudioWrapperVSTHosts, HostWithoutVersionLoadsNothing)
{
    CVstHost host;
    host.setHostVersion(0);
    CHostedPlugin plugin(host);
    const int64_t liveBefore = CAllocator::liveBlocks();
    // No error either: the host gets no record. One left as it was would be a record without
    // its magic, which the host tells apart.
    const auto entry = [](VstHostCallback callback) -> AEffect*
    {
        static AEffect stale;
        stale = {};
        AEffect* effect = &stale;
        EXPECT_EQ(CAudioWrapperVST::create(callback, &effect), nullptr);
        return effect;
    };
    EXPECT_EQ(test::CErrorText::takeKey(plugin.attach(entry, "versionless")),
              "kelstr_CHostedPlugin_load_Refused");
    EXPECT_FALSE(plugin.isLoaded());
    EXPECT_EQ(CAllocator::liveBlocks(), liveBefore);
    AEffect stale = {};
    AEffect* effect = &stale;
    EXPECT_EQ(CAudioWrapperVST::create(nullptr, &effect), nullptr);
    EXPECT_EQ(effect, nullptr);
}

TEST(CAudioWrapperVSTHosts, ASessionLeavesNothingBehind)
{
    const auto session = []
    {
        CVstHost host;
        CHostedPlugin plugin(host);
        AEffect* effect = attachEffect(plugin);
        ASSERT_NE(effect, nullptr);
        VstSpeakerArrangement stereo = {};
        stereo.numChannels = 2;
        setArrangement(plugin, stereo, stereo);
        plugin.open();
        plugin.start(48000.0f, 1024);
        float samples[2][1024] = {};
        float* channels[2] = {samples[0], samples[1]};
        effect->processReplacing(effect, channels, channels, 1024);
        plugin.dispatch(kEffMainsChanged, 0, 0);
        EXPECT_EQ(plugin.close(), 1);
    };
    // The first instance starts the application, whose shared tree and caches stay for the
    // process; every later session gives back all it took.
    session();
    const int64_t liveBefore = CAllocator::liveBlocks();
    session();
    EXPECT_EQ(CAllocator::liveBlocks(), liveBefore);
}

TEST(CAudioWrapperVSTHosts, FirstInstanceStartsTheApplicationWhichLaterInstancesShare)
{
    static std::vector<std::string> reports;
    reports.clear();
    CSystem::setErrorPresenter([](const char*, const char*, const char* details, void*)
                               { reports.push_back(details); },
                               nullptr);
    CVstHost host;
    CHostedPlugin firstPlugin(host);
    AEffect* first = attachEffect(firstPlugin);
    ASSERT_NE(first, nullptr);
    CSystem::setErrorPresenter(nullptr, nullptr);
    EXPECT_TRUE(reports.empty()) << reports.front();

    CObject* shared = CApplication::getSharedObject();
    ASSERT_NE(shared, nullptr);
    const CObject* project = shared->findObject(CString("project"));
    ASSERT_NE(project, nullptr);
    EXPECT_TRUE(project->getAttrString(CString("app-name")) == "Zumbel");
    // The audio side's rows were registered before the tree was read; the interface's too.
    EXPECT_NE(
        dynamic_cast<CAudioParamConverterGain*>(shared->findObject(CString("audio.paramcvt.gain"))),
        nullptr);
    EXPECT_TRUE(CObject::hasCreator(CString("palette")));
    EXPECT_TRUE(CObject::hasCreator(CString("core:timer")));

    CHostedPlugin secondPlugin(host);
    AEffect* second = attachEffect(secondPlugin);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(CApplication::getSharedObject(), shared);
    secondPlugin.close();
    firstPlugin.close();
}

TEST(CAudioWrapperVSTWildcard, MatchesStarsAndQuestionMarksIgnoringCase)
{
    EXPECT_TRUE(CAudioWrapperVST::matchWildcard("*WaveLab*", "wavelab 9"));
    EXPECT_TRUE(CAudioWrapperVST::matchWildcard("*", ""));
    EXPECT_TRUE(CAudioWrapperVST::matchWildcard("a?c*", "abcdef"));
    EXPECT_TRUE(CAudioWrapperVST::matchWildcard("*ab*ab", "xxabyyabab"));
    EXPECT_FALSE(CAudioWrapperVST::matchWildcard("*WaveLab*", "WaveLa"));
    EXPECT_FALSE(CAudioWrapperVST::matchWildcard("a?c", "ac"));
    EXPECT_FALSE(CAudioWrapperVST::matchWildcard(nullptr, "x"));
}

TEST(CAudioWrapperVSTOutputTest, OutputsBeyondTheArrangementGetSilence)
{
    CVstHost host;
    CHostedPlugin plugin(host);
    AEffect* effect = attachEffect(plugin, &CWrapperEntry::make<8>);
    ASSERT_NE(effect, nullptr);
    ASSERT_EQ(effect->numOutputs, 8);
    VstSpeakerArrangement input = {};
    VstSpeakerArrangement output = {};
    input.numChannels = 2;
    output.numChannels = 2;
    ASSERT_EQ(setArrangement(plugin, input, output), 1);
    plugin.open();
    plugin.start(48000.0f, 256);

    constexpr int kFrames = 256;
    CChannelBuffers<float> in(8, kFrames);
    CChannelBuffers<float> out(8, kFrames);
    for (int channel = 0; channel < 8; ++channel)
    {
        in.fill(std::vector<float>(kFrames, 0.5f), channel);
        out.fill(std::vector<float>(kFrames, 1.0f), channel);
    }
    effect->processReplacing(effect, in.data(), out.data(), kFrames);
    for (int channel = 0; channel < 8; ++channel)
        expectSameFrames(out.channel(channel),
                         std::vector<float>(kFrames, channel < 2 ? 0.5f : 0.0f), kFrames);
    EXPECT_TRUE(out.guardsIntact());
    EXPECT_EQ(plugin.close(), 1);
}

// Runs frames of the test signal through a fresh instance on every channel and checks that each
// comes out untouched, with the guard words after the frames left alone.
struct CPassCase
{
    const char* what;
    VstEntryProc entry;
    bool precision64;
    bool doubles;
    float rateHz;
    int blockSize;
    int frames;
    bool inPlace;
    int lastRunFrames; // 0: not checked
    int runs;          // 0: not checked
};

template <typename Sample> void expectPassThrough(const CPassCase& c)
{
    SCOPED_TRACE(c.what);
    CVstHost host;
    CHostedPlugin plugin(host);
    AEffect* effect = attachEffect(plugin, c.entry);
    ASSERT_NE(effect, nullptr);
    if (c.precision64)
        plugin.dispatch(kEffSetProcessPrecision, 0, kProcessPrecision64);
    plugin.open();
    plugin.start(c.rateHz, c.blockSize);
    const int channels = effect->numOutputs;
    CChannelBuffers<Sample> in(channels, c.frames);
    CChannelBuffers<Sample> out(channels, c.frames);
    for (int channel = 0; channel < channels; ++channel)
        in.fill(testSignal<Sample>(c.frames, channel), channel);
    CChannelBuffers<Sample>& target = c.inPlace ? in : out;
    CAudioWrapperVST* wrapper = wrapperOf(effect);
    const int64_t runsBefore = wrapper->getRunCount();
    if constexpr (std::is_same_v<Sample, double>)
        effect->processDoubleReplacing(effect, in.data(), target.data(), c.frames);
    else
        effect->processReplacing(effect, in.data(), target.data(), c.frames);
    EXPECT_TRUE(!c.runs || wrapper->getRunCount() - runsBefore == c.runs);
    EXPECT_TRUE(!c.lastRunFrames || wrapper->getLastRunFrames() == c.lastRunFrames)
        << wrapper->getLastRunFrames();
    for (int channel = 0; channel < channels; ++channel)
        expectSameFrames(target.channel(channel), testSignal<Sample>(c.frames, channel), c.frames);
    EXPECT_TRUE(target.guardsIntact());
    EXPECT_EQ(plugin.close(), 1);
}

TEST(CAudioWrapperVSTPassTest, AudioPassesUntouchedWhateverTheBlocksAndBuffers)
{
    const VstEntryProc stereo = &CWrapperEntry::make<2>;
    const VstEntryProc eight = &CWrapperEntry::make<8>;
    const CPassCase cases[] = {
        {"1000 frames run as 512 and 488", stereo, false, false, 44100, 1024, 1000, false, 488, 2},
        // Hosts render offline in blocks larger than the size they announced.
        {"larger than announced", stereo, false, false, 44100, 64, 8192 + 100, false, 100, 0},
        {"in place", stereo, false, false, 44100, 2048, 1500, true, 0, 0},
        {"doubles", stereo, true, true, 96000, 1024, 777, false, 0, 0},
        // A host that announced 64 bits and then calls the float slot must not get doubles.
        {"float slot after 64 bits", stereo, true, false, 44100, 1024, 256, false, 0, 0},
        {"eight channels", eight, false, false, 44100, 512, 700, false, 0, 0},
    };
    for (const CPassCase& c : cases)
    {
        if (c.doubles)
            expectPassThrough<double>(c);
        else
            expectPassThrough<float>(c);
    }
}

} // namespace
} // namespace kel
