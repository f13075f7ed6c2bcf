// The plug-in's process calls against a plain copy of the same buffers: 2 and 8 channels at 512
// frames, float and double, while idle (the normal case) and inside an event. The ratios to the
// copy are printed after the run (see BenchMain.cpp).
#include "Audio/CAudioWrapper.h"
#include "Audio/Modules/CModZumbelModule.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/VstInterface.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace
{
constexpr int kFrames = 512;

intptr_t benchHost(AEffect*, int32_t opcode, int32_t, intptr_t, void*, float)
{
    return opcode == kHostVersion ? 2400 : 0;
}

template <typename Sample> struct CBuffers
{
    explicit CBuffers(int channels)
        : in(channels, std::vector<Sample>(kFrames)), out(channels, std::vector<Sample>(kFrames))
    {
        for (int ch = 0; ch < channels; ++ch)
        {
            for (int n = 0; n < kFrames; ++n)
                in[ch][n] = static_cast<Sample>(0.25 * std::sin(0.01 * n + ch));
            inPtr.push_back(in[ch].data());
            outPtr.push_back(out[ch].data());
        }
    }
    std::vector<std::vector<Sample>> in, out;
    std::vector<Sample*> inPtr, outPtr;
};

// One running instance with the given channels, at 48 kHz in blocks of 512.
struct CInstance
{
    CInstance(int channels, bool doublePrecision)
    {
        kel::CError* error = kel::CAudioWrapperVST::create(benchHost, &effect, channels);
        if (error)
        {
            delete error;
            effect = nullptr;
            return;
        }
        effect->dispatcher(effect, kEffOpen, 0, 0, nullptr, 0.0f);
        effect->dispatcher(effect, kEffSetSampleRate, 0, 0, nullptr, 48000.0f);
        effect->dispatcher(effect, kEffSetBlockSize, 0, kFrames, nullptr, 0.0f);
        effect->dispatcher(effect, kEffSetProcessPrecision, 0, doublePrecision ? 1 : 0, nullptr,
                           0.0f);
        effect->dispatcher(effect, kEffMainsChanged, 0, 1, nullptr, 0.0f);
    }
    ~CInstance()
    {
        if (effect)
        {
            effect->dispatcher(effect, kEffMainsChanged, 0, 0, nullptr, 0.0f);
            effect->dispatcher(effect, kEffClose, 0, 0, nullptr, 0.0f);
        }
    }
    kel::CModZumbelModule* module() const
    {
        auto* wrapper = static_cast<kel::CAudioWrapperVST*>(kel::AudioEffect::fromAeffect(effect));
        return wrapper->getModule();
    }
    AEffect* effect = nullptr;
};

void process(AEffect* effect, CBuffers<float>& buffers)
{
    effect->processReplacing(effect, buffers.inPtr.data(), buffers.outPtr.data(), kFrames);
}

void process(AEffect* effect, CBuffers<double>& buffers)
{
    effect->processDoubleReplacing(effect, buffers.inPtr.data(), buffers.outPtr.data(), kFrames);
}

template <typename Sample> void copyBuffers(benchmark::State& state)
{
    const int channels = static_cast<int>(state.range(0));
    CBuffers<Sample> buffers(channels);
    for (auto _ : state)
    {
        for (int ch = 0; ch < channels; ++ch)
            std::memcpy(buffers.outPtr[ch], buffers.inPtr[ch], sizeof(Sample) * kFrames);
        benchmark::ClobberMemory();
    }
}

// Idle: the schedule is put back to a fresh gap now and then, so no event ever starts.
template <typename Sample> void processIdle(benchmark::State& state)
{
    const int channels = static_cast<int>(state.range(0));
    CInstance instance(channels, sizeof(Sample) == sizeof(double));
    if (!instance.effect)
    {
        state.SkipWithError("the effect was not created");
        return;
    }
    CBuffers<Sample> buffers(channels);
    int blocks = 0;
    for (auto _ : state)
    {
        process(instance.effect, buffers);
        benchmark::ClobberMemory();
        if (++blocks == 1000)
        {
            instance.module()->clear();
            blocks = 0;
        }
    }
}

// Inside an event: the shortest gap and an endless hold, so nearly every block mixes a beep.
template <typename Sample> void processInEvent(benchmark::State& state)
{
    const int channels = static_cast<int>(state.range(0));
    CInstance instance(channels, sizeof(Sample) == sizeof(double));
    if (!instance.effect)
    {
        state.SkipWithError("the effect was not created");
        return;
    }
    CBuffers<Sample> buffers(channels);
    // The first blocks set the graph up and read its parameters; the schedule is changed after.
    for (int warm = 0; warm < 8; ++warm)
        process(instance.effect, buffers);
    kel::CModZumbelModule::Params params;
    params.periodSec = 0.0;
    params.durationSec = 1.0e6;
    params.variation = 0.0;
    instance.module()->setParams(params);
    instance.module()->clear(); // a fresh gap of zero: the event starts at once
    for (int warm = 0; warm < 8; ++warm)
        process(instance.effect, buffers);
    if (instance.module()->getPhase() != kel::CModZumbelModule::kHold)
    {
        state.SkipWithError("the module is not inside an event");
        return;
    }
    for (auto _ : state)
    {
        process(instance.effect, buffers);
        benchmark::ClobberMemory();
    }
}
} // namespace

BENCHMARK_TEMPLATE(copyBuffers, float)->Name("copy/float")->Arg(2)->Arg(8);
BENCHMARK_TEMPLATE(processIdle, float)->Name("process/float/idle")->Arg(2)->Arg(8);
BENCHMARK_TEMPLATE(processInEvent, float)->Name("process/float/event")->Arg(2)->Arg(8);
BENCHMARK_TEMPLATE(copyBuffers, double)->Name("copy/double")->Arg(2)->Arg(8);
BENCHMARK_TEMPLATE(processIdle, double)->Name("process/double/idle")->Arg(2)->Arg(8);
BENCHMARK_TEMPLATE(processInEvent, double)->Name("process/double/event")->Arg(2)->Arg(8);
