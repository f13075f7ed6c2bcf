#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioProcess.h"
#include "Audio/CAudioProcessDef.h"
#include "Audio/CAudioProcessPort.h"
#include "Audio/CAudioProcessTestTree.h"
#include "Audio/CDCDAWContext.h"
#include "Audio/CDCDAWContextObject.h"
#include "Audio/Modules/CModBypass.h"
#include "Audio/Modules/CModBypassModule.h"
#include "Audio/Modules/CModOutput.h"
#include "Audio/Modules/CModZumbel.h"
#include "Audio/Modules/CModZumbelModule.h"
#include "Core/CAllocator.h"
#include "Core/Platform/CLock.h"
#include "Core/Platform/CThisThread.h"
#include "Support/CErrorText.h"
#include "Support/CMallocCounter.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using kel::CAudioParam;
using kel::CAudioParamCollector;
using kel::CAudioParamContext;
using kel::CAudioProcess;
using kel::CAudioProcessBase;
using kel::CAudioProcessDef;
using kel::CDCDAWContext;
using kel::CModZumbelModule;
using kel::CString;
using kel::CTreeBlobWriter;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{

constexpr double kRate = 48000.0;

// The product's graph, built as an instance builds it: modMain and modOutput from the shared
// definitions, with their own collector and kernel context, at 48 kHz.
class CProductGraph
{
public:
    explicit CProductGraph(int graphChannels = 2) : channels(graphChannels)
    {
        EXPECT_EQ(shared.loadProduct(), "");
        EXPECT_EQ(CErrorText::takeMessage(contextObject.init()), "");
        context = contextObject.getContext();
        CAudioProcessBase* made = nullptr;
        auto* mainDef = shared.find<CAudioProcessDef>("audio.modMain");
        auto* outputDef = shared.find<kel::CAudioProcessDefBase>("audio.modOutput");
        EXPECT_EQ(CErrorText::takeMessage(mainDef->createProcess(made)), "");
        main = static_cast<CAudioProcess*>(made);
        CAudioProcessBase::CBuild build;
        build.collector = &collector;
        build.def = mainDef;
        build.path = CString("plugin.modMain");
        error = CErrorText::takeMessage(main->init(build));
        EXPECT_EQ(CErrorText::takeMessage(outputDef->createProcess(made)), "");
        output = dynamic_cast<kel::CModOutput*>(made);
        build.def = outputDef;
        build.path = CString("plugin.modOutput");
        EXPECT_EQ(CErrorText::takeMessage(output->init(build)), "");
        EXPECT_EQ(CErrorText::takeMessage(main->connect(0, output->getInputPort(0))), "");
        EXPECT_EQ(CErrorText::takeMessage(main->registerKernels(context)), "");
        zumbel =
            dynamic_cast<kel::CModZumbel*>(main->findProcess(CString("modZumbelModule.modZumbel")));
        bypass = dynamic_cast<kel::CModBypass*>(main->findProcess(CString("modBypass")));
        setup();
    }
    ~CProductGraph()
    {
        delete output;
        delete main;
    }

    void setup()
    {
        CAudioProcessBase::CSetup conditions;
        conditions.context = context;
        conditions.sampleRateHz = kRate;
        conditions.channels = channels;
        conditions.blockContext = ++blockContext;
        EXPECT_EQ(CErrorText::takeMessage(main->setup(conditions)), "");
        EXPECT_EQ(CErrorText::takeMessage(output->setup(conditions)), "");
        output->setOutputShape(false, false, channels);
        // As the instance does at start: pool buffers of the run size, ready on the free list.
        std::vector<uint32_t> warm;
        for (int n = 0; n < 48; ++n)
            warm.push_back(context->acquire(512 * sizeof(double)));
        for (auto it = warm.rbegin(); it != warm.rend(); ++it)
            context->release(*it);
    }

    // One run through the graph as the instance runs it, changes taken at its start.
    void run(const std::vector<std::vector<float>>& in, std::vector<std::vector<float>>& out,
             int frames)
    {
        const CAudioParamCollector::CPacket* changes = collector.takeChanges();
        for (int channel = 0; channel < channels; ++channel)
        {
            const uint32_t handle = context->acquire(512 * sizeof(double));
            for (int n = 0; n < frames; ++n)
                context->doubles(handle)[n] = in[channel][n];
            main->getInputPort(0)->push(channel, handle, frames);
        }
        main->update(changes);
        output->update(nullptr);
        main->process();
        out.assign(channels, std::vector<float>(frames, 99.0f));
        std::vector<float*> pointers;
        for (auto& channel : out)
            pointers.push_back(channel.data());
        output->write(pointers.data(), 0, frames);
        collector.releaseChanges(changes);
    }

    CAudioParam& param(const char* fullName) { return *collector.getParam(CString(fullName)); }
    void set(const char* fullName, double value)
    {
        CAudioParamContext paramContext;
        param(fullName).setValue(0, 0, value, paramContext);
    }
    CModZumbelModule* module() const { return zumbel->getZumbelModule(); }

    int channels;
    kel::processtest::CSharedTree shared;
    CAudioParamCollector collector;
    kel::CDCDAWContextObject contextObject;
    CDCDAWContext* context = nullptr;
    CAudioProcess* main = nullptr;
    kel::CModOutput* output = nullptr;
    kel::CModZumbel* zumbel = nullptr;
    kel::CModBypass* bypass = nullptr;
    uint32_t blockContext = 0;
    std::string error;
};

const char* const kPeriod = "plugin.modMain.modZumbelModule.period";
const char* const kFreq = "plugin.modMain.modZumbelModule.freq";
const char* const kGain = "plugin.modMain.modZumbelModule.gain";
const char* const kVariation = "plugin.modMain.modZumbelModule.variation";
const char* const kEnable = "plugin.modMain.modBypass.enable";

std::vector<std::vector<float>> ramp(int channels, int frames, int start)
{
    std::vector<std::vector<float>> in(channels, std::vector<float>(frames));
    for (int channel = 0; channel < channels; ++channel)
        for (int n = 0; n < frames; ++n)
            in[channel][n] = 0.25f * std::sin(0.01f * static_cast<float>(start + n) + channel);
    return in;
}

std::vector<std::string> names(const kel::CArray<CAudioProcessBase*, 8>& processes)
{
    std::vector<std::string> out;
    for (const CAudioProcessBase* process : processes)
        out.push_back(CUtf8::of(process->getName()));
    return out;
}

// A container definition "box" with the given children (tag, name) and links (src, dst).
std::string buildBox(kel::processtest::CSharedTree& shared,
                     const std::vector<std::pair<const char*, const char*>>& children,
                     const std::vector<std::pair<const char*, const char*>>& links,
                     CAudioProcess*& out)
{
    CTreeBlobWriter::Node root;
    CTreeBlobWriter::Node& box = root.add("audio:process-def", "box");
    for (const auto& [tag, name] : children)
        box.add(tag, name);
    for (const auto& [src, dst] : links)
    {
        CTreeBlobWriter::Node& link = box.add("audio:process-link");
        if (src)
            link.attr("src", src);
        if (dst)
            link.attr("dst", dst);
    }
    const std::string loaded = shared.load(root);
    if (!loaded.empty())
        return loaded;
    auto* def = shared.find<CAudioProcessDef>("box");
    CAudioProcessBase* made = nullptr;
    EXPECT_EQ(CErrorText::takeMessage(def->createProcess(made)), "");
    out = static_cast<CAudioProcess*>(made);
    CAudioProcessBase::CBuild build;
    build.def = def;
    build.path = CString("plugin.box");
    return CErrorText::takeMessage(out->init(build));
}

} // namespace

TEST(CAudioProcessGraph, ProductGraphChainsItsChildrenAndFeedsTheBypassDryInput)
{
    CProductGraph graph;
    ASSERT_EQ(graph.error, "");
    EXPECT_EQ(names(graph.main->getOrder()),
              (std::vector<std::string>{"modMainPre", "modZumbelModule", "modBypass"}));
    std::vector<std::string> links;
    for (const auto& link : graph.main->getLinks())
        links.push_back(std::to_string(link.srcIndex) + "/" + std::to_string(link.srcPort) + ">" +
                        std::to_string(link.dstIndex) + "/" + std::to_string(link.dstPort));
    EXPECT_EQ(links,
              (std::vector<std::string>{"0/0>2/1", "-1/0>0/0", "0/0>1/0", "1/0>2/0", "2/0>-1/0"}));
    ASSERT_NE(graph.zumbel, nullptr);
    ASSERT_NE(graph.bypass, nullptr);
    EXPECT_EQ(graph.zumbel->getModuleCount(), 1) << "one module takes every channel";
    EXPECT_EQ(graph.module()->getChannelCount(), 2);
    EXPECT_EQ(graph.bypass->getModuleCount(), 2) << "one bypass module per channel";
}

TEST(CAudioProcessGraph, InnerParametersAreRemappedOntoTheOuterOnesWithTheOuterDefaults)
{
    CProductGraph graph;
    ASSERT_EQ(graph.error, "");
    const CAudioParamCollector& collector = graph.collector;
    EXPECT_EQ(collector.findParam(CString("plugin.modMain.modZumbelModule.modZumbel.period")),
              nullptr);
    EXPECT_EQ(collector.findParam(CString("plugin.modMain.modBypass.group-solo")), nullptr);
    EXPECT_NE(collector.findParam(CString("plugin.modMain.io-params.channel-group-solo")), nullptr);
    CAudioParam* period = collector.findParam(CString(kPeriod));
    ASSERT_NE(period, nullptr);
    EXPECT_EQ(CUtf8::of(period->getDefinitionPath()), "audio.modMain.modZumbelModule.period");
    // The node's slots read the user's values (30 s, -12 dB, 25 %), not its fallbacks.
    EXPECT_EQ(graph.zumbel->getSlotValue(0, 1), 30.0);
    EXPECT_NEAR(graph.module()->getParams().gainLin, 0.2511886, 1e-6);
    EXPECT_EQ(graph.module()->getParams().variation, 0.25);
}

TEST(CAudioProcessGraph, ParameterChangeReachesTheModuleAtTheNextBlockAndRestartsTheSchedule)
{
    CProductGraph graph;
    std::vector<std::vector<float>> out;
    const auto in = ramp(2, 256, 0);
    graph.run(in, out, 256);
    const CModZumbelModule* before = graph.module();
    graph.set(kVariation, 0.0);
    graph.set(kPeriod, 2.0);
    EXPECT_EQ(graph.module()->getParams().periodSec, 30.0) << "nothing before the block";
    graph.run(in, out, 256);
    const CModZumbelModule* after = graph.module();
    EXPECT_NE(after, before) << "a running module is replaced by a fresh one";
    EXPECT_EQ(after->getParams().periodSec, 2.0);
    EXPECT_EQ(after->getParams().variation, 0.0);
    EXPECT_EQ(after->getPhase(), CModZumbelModule::kIdle);
    EXPECT_EQ(after->getCountdown(), 2 * 48000 - 256) << "a new gap, counted from this block";
}

TEST(CAudioProcessGraph, RunningEventIsCutWithinFifteenMilliseconds)
{
    CProductGraph graph;
    graph.set(kVariation, 0.0);
    graph.set(kPeriod, 1.0);
    graph.set(kGain, 1.0);
    const std::vector<std::vector<float>> silence(2, std::vector<float>(64, 0.0f));
    std::vector<std::vector<float>> out;
    int frames = 0;
    while (graph.module()->getPhase() != CModZumbelModule::kHold && frames < 3 * 48000)
    {
        graph.run(silence, out, 64);
        frames += 64;
    }
    ASSERT_EQ(graph.module()->getPhase(), CModZumbelModule::kHold);
    graph.run(silence, out, 64);
    ASSERT_GT(std::fabs(out[0][32]), 0.01f) << "the tone sounds";

    graph.set(kFreq, 880.0);
    // The new module is idle: from the end of the crossfade on, the output is silence.
    int lastSounding = -1;
    for (int block = 0; block < 40; ++block)
    {
        graph.run(silence, out, 64);
        for (int n = 0; n < 64; ++n)
            if (out[0][n] != 0.0f)
                lastSounding = block * 64 + n;
    }
    EXPECT_LT(lastSounding, 720) << "cut within 15 ms at 48 kHz";
    EXPECT_GE(lastSounding, 600) << "the old event fades over the crossfade";
}

TEST(CAudioProcessGraph, SecondChangeDuringACrossfadeIsServedWhenItEnds)
{
    CProductGraph graph;
    std::vector<std::vector<float>> out;
    const auto in = ramp(2, 128, 0);
    graph.run(in, out, 128);
    graph.set(kPeriod, 10.0);
    graph.run(in, out, 128);
    ASSERT_TRUE(graph.zumbel->isFading());
    graph.set(kPeriod, 20.0);
    graph.run(in, out, 128);
    EXPECT_TRUE(graph.zumbel->hasHeldBackChange());
    EXPECT_EQ(graph.module()->getParams().periodSec, 10.0) << "held back";
    for (int block = 0; block < 6; ++block)
        graph.run(in, out, 128);
    EXPECT_FALSE(graph.zumbel->hasHeldBackChange());
    EXPECT_EQ(graph.module()->getParams().periodSec, 20.0);
}

TEST(CAudioProcessGraph, BypassEnabledGivesTheInputExactlyEvenDuringAnEvent)
{
    CProductGraph graph;
    graph.set(kVariation, 0.0);
    graph.set(kPeriod, 1.0);
    graph.set(kGain, 1.0);
    graph.set(kEnable, 1.0);
    std::vector<std::vector<float>> out;
    int mismatches = 0;
    bool sawEvent = false;
    // The first 15 ms crossfade to the dry input; from then on every sample is the input.
    for (int block = 1; block * 512 < 2 * 48000; ++block)
    {
        const auto in = ramp(2, 512, block * 512);
        graph.run(in, out, 512);
        sawEvent = sawEvent || graph.module()->getPhase() != CModZumbelModule::kIdle;
        if (block >= 2 && out != in)
            ++mismatches;
    }
    EXPECT_TRUE(sawEvent);
    EXPECT_EQ(mismatches, 0);
}

TEST(CAudioProcessGraph, ClearPutsTheInsertionBackToIdleWithoutFading)
{
    CProductGraph graph;
    graph.set(kVariation, 0.0);
    graph.set(kPeriod, 1.0);
    const std::vector<std::vector<float>> silence(2, std::vector<float>(256, 0.0f));
    std::vector<std::vector<float>> out;
    for (int frames = 0; graph.module()->getPhase() != CModZumbelModule::kHold && frames < 96000;
         frames += 256)
        graph.run(silence, out, 256);
    ASSERT_EQ(graph.module()->getPhase(), CModZumbelModule::kHold);
    graph.main->clear();
    EXPECT_EQ(graph.module()->getPhase(), CModZumbelModule::kIdle);
    graph.run(silence, out, 256);
    EXPECT_EQ(out, silence) << "the cut event is not faded out";
}

TEST(CAudioProcessGraph, SoloOnAnotherGroupSilencesWithAFaintNoise)
{
    CProductGraph graph;
    graph.bypass->setChannelGroup(1, 1);
    graph.setup();
    CAudioParamContext context;
    graph.param("plugin.modMain.io-params.channel-group-solo").setValue(1, 0, 1.0, context);
    std::vector<std::vector<float>> out;
    const auto in = ramp(2, 512, 0);
    graph.run(in, out, 512); // the soloed group came from a change: crossfade
    graph.run(in, out, 512);
    double largest = 0.0;
    bool anyNonZero = false;
    for (float sample : out[0])
    {
        largest = std::fmax(largest, std::fabs(sample));
        anyNonZero = anyNonZero || sample != 0.0f;
    }
    EXPECT_TRUE(anyNonZero);
    EXPECT_LE(largest, 1.0001e-11);
    EXPECT_EQ(out[1], in[1]) << "the soloed group plays";
}

TEST(CAudioProcessGraph, SmoothUpdatesNeitherAllocateNorLockOnTheAudioThread)
{
    CProductGraph graph;
    std::vector<std::vector<float>> out;
    const auto in = ramp(2, 512, 0);
    // Warm: a crossfade of each process, so every pool record has its size.
    graph.set(kPeriod, 3.0);
    graph.set(kEnable, 1.0);
    for (int block = 0; block < 4; ++block)
        graph.run(in, out, 512);
    graph.set(kPeriod, 4.0);
    graph.set(kEnable, 0.0);
    std::vector<std::vector<float>> held(2, std::vector<float>(512));
    const uint64_t thread = kel::CThisThread::id();
    kel::CAllocator::watchThread(thread);
    kel::CLock::watchThread(thread);
    kel::test::CMallocCounter::watchThisThread();
    for (int block = 0; block < 4; ++block)
    {
        const CAudioParamCollector::CPacket* changes = graph.collector.takeChanges();
        for (int channel = 0; channel < 2; ++channel)
        {
            const uint32_t handle = graph.context->acquire(512 * sizeof(double));
            graph.main->getInputPort(0)->push(channel, handle, 512);
        }
        graph.main->update(changes);
        graph.main->process();
        float* pointers[2] = {held[0].data(), held[1].data()};
        graph.output->write(pointers, 0, 512);
        graph.collector.releaseChanges(changes);
    }
    const uint64_t mallocs = kel::test::CMallocCounter::count();
    kel::test::CMallocCounter::stopWatching();
    const uint64_t allocations = kel::CAllocator::watchedAllocations();
    const uint64_t locks = kel::CLock::watchedLocks();
    kel::CAllocator::watchThread(0);
    kel::CLock::watchThread(0);
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(mallocs, 0u);
    EXPECT_EQ(locks, 0u);
}

TEST(CAudioProcessGraph, OutputPadsMissingFramesWithZerosAndSkipsNullChannels)
{
    CProductGraph graph(3);
    const uint32_t handle = graph.context->acquire(100 * sizeof(double));
    for (int n = 0; n < 100; ++n)
        graph.context->doubles(handle)[n] = 0.5;
    graph.output->getInputPort(0)->push(0, handle, 60);
    std::vector<float> first(200, 9.0f);
    std::vector<float> second(200, 9.0f);
    float* pointers[3] = {first.data(), nullptr, second.data()};
    graph.output->write(pointers, 100, 80);
    EXPECT_EQ(first[99], 9.0f) << "before the run's offset nothing is touched";
    EXPECT_EQ(first[100], 0.5f);
    EXPECT_EQ(first[159], 0.5f);
    EXPECT_EQ(first[160], 0.0f) << "the frames the graph did not give are zeros";
    EXPECT_EQ(first[179], 0.0f);
    EXPECT_EQ(first[180], 9.0f);
    EXPECT_EQ(second[100], 0.0f) << "a channel with no packets is zeros";
    EXPECT_EQ(second[179], 0.0f);
    EXPECT_EQ(graph.output->getInputPort(0)->getPacketCount(0), 0);
}

TEST(CAudioProcessGraph, ContainerRefusesDuplicateNamesAndWrongDefinitions)
{
    kel::processtest::CSharedTree shared;
    CAudioProcess* box = nullptr;
    ASSERT_EQ(buildBox(shared, {{"audio:modNode", "a"}}, {}, box), "");
    const auto* nodeDef = shared.find<kel::CAudioProcessDefBase>("box.a");
    CAudioProcessBase* twin = nullptr;
    ASSERT_EQ(CErrorText::takeMessage(nodeDef->createProcess(twin)), "");
    CAudioProcessBase::CBuild build;
    build.def = nodeDef;
    build.path = CString("plugin.box.a");
    ASSERT_EQ(CErrorText::takeMessage(twin->init(build)), "");
    EXPECT_EQ(CErrorText::takeMessage(box->addProcess(twin)), "Duplicate audio process name 'a'.");
    delete twin;
    delete box;

    CAudioProcess plain;
    EXPECT_EQ(CErrorText::takeMessage(plain.init(build)),
              "Audio process def of invalid class supplied.");
}

TEST(CAudioProcessGraph, LinkAttributesAreCheckedWithTheirOwnMessages)
{
    const std::vector<std::pair<const char*, const char*>> nodes = {{"audio:modNode", "a"},
                                                                    {"audio:modNode", "b"}};
    struct Case
    {
        const char* src;
        const char* dst;
        const char* message;
    };
    const Case cases[] = {
        {nullptr, "b", "No 'src' attribute defined."},
        {"a", nullptr, "No 'dst' attribute defined."},
        {"c", "b", "Invalid process in the 'src' attribute value 'c' specified."},
        {"a/x", "b", "Invalid port in the 'src' attribute value 'a/x' specified."},
        {"a", "zz/1", "Invalid process in the 'dst' attribute value 'zz/1' specified."},
        {"a", "b/-1", "Invalid port in the 'dst' attribute value 'b/-1' specified."},
    };
    for (const Case& c : cases)
    {
        kel::processtest::CSharedTree shared;
        CAudioProcess* box = nullptr;
        const std::string message = buildBox(shared, nodes, {{c.src, c.dst}}, box);
        EXPECT_NE(message.find(c.message), std::string::npos) << message;
        delete box;
    }
}

TEST(CAudioProcessGraph, CycleOfLinksKeepsTheDefinitionOrder)
{
    kel::processtest::CSharedTree shared;
    CAudioProcess* box = nullptr;
    // b feeds a explicitly, and the chain feeds b from a.
    ASSERT_EQ(buildBox(shared, {{"audio:modNode", "a"}, {"audio:modNode", "b"}}, {{"b", "a"}}, box),
              "");
    EXPECT_FALSE(box->makeOrder()) << "process seq err";
    EXPECT_EQ(names(box->getOrder()), (std::vector<std::string>{"a", "b"}));
    delete box;
}
