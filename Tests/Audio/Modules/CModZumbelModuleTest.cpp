#include "Audio/Modules/CModZumbelModule.h"

#include "Audio/CDCDAWContext.h"
#include "Core/CAllocator.h"
#include "Core/Platform/CThisThread.h"
#include "Support/CMallocCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

using kel::CDCDAWContext;
using kel::CModZumbelModule;

namespace
{
using Params = CModZumbelModule::Params;
using Signal = std::vector<double>;

constexpr double kPi = 3.14159265358979323846;
constexpr int kMaxRun = 512;

// A kernel context with the signal kernels, and one module on it. The driver plays the part of
// the process graph: it splits host blocks into runs of at most 512 frames, places each run's
// inputs in pool buffers, processes, and copies the outputs back.
class Rig
{
public:
    Rig(double sampleRateHz, int channels, const Params& params, uint32_t seed = 1234)
        : sampleRate(sampleRateHz), channelCount(channels)
    {
        EXPECT_EQ(nullptr, context.init());
        EXPECT_TRUE(CModZumbelModule::registerKernels(&context));
        module = std::make_unique<CModZumbelModule>();
        EXPECT_EQ(nullptr, module->setupWithSeed(&context, sampleRate, channelCount, seed));
        module->setParams(params);
    }

    // Processes `in` (one signal per channel, equal lengths) in host blocks of `blockSize`.
    std::vector<Signal> run(const std::vector<Signal>& in, int blockSize)
    {
        std::vector<Signal> out(in.size(), Signal(in[0].size()));
        runInto(in, out, blockSize);
        return out;
    }

    // The same into preallocated outputs; allocates nothing itself.
    void runInto(const std::vector<Signal>& in, std::vector<Signal>& out, int blockSize)
    {
        const int total = static_cast<int>(in[0].size());
        for (int block = 0; block < total; block += blockSize)
        {
            const int blockEnd = std::min(total, block + blockSize);
            for (int at = block; at < blockEnd; at += kMaxRun)
                processRun(in, out, at, std::min(kMaxRun, blockEnd - at));
        }
    }

    // One run of `frames` at `offset`; answers whether every output was its input's handle.
    bool processRun(const std::vector<Signal>& in, std::vector<Signal>& out, int offset, int frames)
    {
        uint32_t handles[64];
        for (int channel = 0; channel < channelCount; ++channel)
        {
            handles[channel] = context.acquire(kMaxRun * sizeof(double));
            std::memcpy(context.doubles(handles[channel]), in[channel].data() + offset,
                        static_cast<size_t>(frames) * sizeof(double));
            module->setInput(channel, handles[channel]);
        }
        module->setFrames(frames);
        module->process();
        bool passedOn = true;
        for (int channel = 0; channel < channelCount; ++channel)
        {
            const uint32_t output = module->getOutput(channel);
            passedOn = passedOn && output == handles[channel];
            std::memcpy(out[channel].data() + offset, context.doubles(output),
                        static_cast<size_t>(frames) * sizeof(double));
            context.release(handles[channel]);
        }
        return passedOn;
    }

    int samples(double seconds) const
    {
        return static_cast<int>(std::lround(seconds * sampleRate));
    }

    CDCDAWContext context;
    std::unique_ptr<CModZumbelModule> module;
    double sampleRate;
    int channelCount;
};

Params shortParams(int signal, double variation)
{
    Params params;
    params.signal = signal;
    params.periodSec = 1.0;
    params.durationSec = 0.2;
    params.freqHz = 440.0;
    params.gainLin = 0.5;
    params.variation = variation;
    return params;
}

Signal constant(int length, double value)
{
    return Signal(static_cast<size_t>(length), value);
}

Signal testTone(int length, double freqHz, double sampleRate)
{
    Signal tone(static_cast<size_t>(length));
    for (int n = 0; n < length; ++n)
        tone[n] = 0.3 * std::sin(2.0 * kPi * freqHz * n / sampleRate) + 0.1;
    return tone;
}

struct Event
{
    int start; // first sample of the fade-in
    int end;   // one past the last sample of the fade-out
};

// Events of a Beep or Noise on silence. The first fade-in sample is still pure input (silence),
// the last fade-out sample already carries a little signal, so the non-zero runs fix both ends.
std::vector<Event> findEvents(const Signal& out)
{
    std::vector<Event> events;
    const int length = static_cast<int>(out.size());
    for (int n = 0; n < length;)
    {
        if (out[n] == 0.0)
        {
            ++n;
            continue;
        }
        Event event{n - 1, n};
        int lastNonZero = n;
        // A sine or a noise burst touches zero only now and then; an event's samples are never
        // apart by a hundred zeros.
        for (int m = n; m < length && m - lastNonZero < 100; ++m)
        {
            if (out[m] != 0.0)
                lastNonZero = m;
        }
        event.end = lastNonZero + 1;
        events.push_back(event);
        n = event.end;
    }
    return events;
}

// The frequency of a pure sine from three samples around a peak: y[n-1] + y[n+1] = 2 cos(w) y[n].
double measureSineHz(const Signal& out, int from, int to, double sampleRate, double* peak)
{
    int best = from + 1;
    for (int n = from + 1; n < to - 1; ++n)
    {
        if (std::fabs(out[n]) > std::fabs(out[best]))
            best = n;
    }
    *peak = std::fabs(out[best]);
    const double cosW = (out[best - 1] + out[best + 1]) / (2.0 * out[best]);
    return std::acos(cosW) * sampleRate / (2.0 * kPi);
}

// The corner of a one-pole low-pass driven by white noise, from the lag-1 correlation rho = 1 - a
// of its output: with a = 1 + sqrt(b^2 - 1) - b and b = 2 - cos(w), b = (rho + 1 / rho) / 2.
double measureNoiseCornerHz(const Signal& out, int from, int to, double sampleRate)
{
    double lag0 = 0.0;
    double lag1 = 0.0;
    for (int n = from + 1; n < to; ++n)
    {
        lag0 += out[n] * out[n];
        lag1 += out[n] * out[n - 1];
    }
    const double rho = lag1 / lag0;
    const double b = 0.5 * (rho + 1.0 / rho);
    return std::acos(2.0 - b) * sampleRate / (2.0 * kPi);
}

} // namespace

TEST(CModZumbelModule, OutsideEventsEveryChannelPassesItsInputExactly)
{
    // Ten channels: past the inline channel arrays. Channel 0 is silent and shows the events.
    const double rate = 48000.0;
    const int channels = 10;
    Rig rig(rate, channels, shortParams(CModZumbelModule::kBeep, 0.5));
    const int length = rig.samples(8.0);
    std::vector<Signal> in{constant(length, 0.0)};
    for (int channel = 1; channel < channels; ++channel)
        in.push_back(testTone(length, 100.0 * channel, rate));
    const std::vector<Signal> out = rig.run(in, 512);

    const std::vector<Event> events = findEvents(out[0]);
    ASSERT_GE(events.size(), 4u);
    for (int channel = 1; channel < channels; ++channel)
    {
        int inside = 0;
        int changedInside = 0;
        size_t next = 0;
        for (int n = 0; n < length; ++n)
        {
            while (next < events.size() && n >= events[next].end)
                ++next;
            if (next < events.size() && n >= events[next].start)
            {
                ++inside;
                changedInside += out[channel][n] != in[channel][n] ? 1 : 0;
            }
            else
            {
                ASSERT_EQ(in[channel][n], out[channel][n]) << "channel " << channel << " at " << n;
            }
        }
        // All channels get their events at the same samples.
        EXPECT_GT(changedInside, inside * 9 / 10);
    }
}

TEST(CModZumbelModule, AtDefaultsNoEventStartsBeforeTheShortestPeriod)
{
    for (double rate : {44100.0, 48000.0, 96000.0})
    {
        const int shortest = static_cast<int>(std::floor(26.25 * rate + 0.5));
        const int longest = static_cast<int>(std::floor(33.75 * rate + 0.5));
        int earliest = longest;
        for (uint32_t seed = 0; seed < 60; ++seed)
        {
            Rig rig(rate, 1, Params(), seed * 277u);
            const std::vector<Signal> in{constant(kMaxRun, 0.0)};
            std::vector<Signal> out{constant(kMaxRun, 0.0)};
            int start = -1;
            for (int at = 0; start < 0 && at < longest + kMaxRun; at += kMaxRun)
            {
                if (rig.processRun(in, out, 0, kMaxRun))
                    continue;
                for (int n = 0; n < kMaxRun && start < 0; ++n)
                {
                    if (out[0][n] != 0.0)
                        start = at + n - 1;
                }
            }
            ASSERT_GE(start, shortest) << "rate " << rate << " seed " << seed;
            ASSERT_LE(start, longest);
            earliest = std::min(earliest, start);
        }
        // The spread reaches well towards its lower end (a spread of only +-6.25 % would not).
        EXPECT_LT(earliest, static_cast<int>(28.0 * rate)) << "rate " << rate;
    }
}

TEST(CModZumbelModule, GapsLengthsPitchAndLevelOfBeepsStayWithinTheVariation)
{
    const double rate = 48000.0;
    const Params params = shortParams(CModZumbelModule::kBeep, 0.5);
    Rig rig(rate, 1, params);
    const int length = rig.samples(90.0);
    const std::vector<Signal> out = rig.run({constant(length, 0.0)}, 512);
    const std::vector<Event> events = findEvents(out[0]);
    ASSERT_GE(events.size(), 50u);

    const int fade = rig.module->getFadeLength();
    double minGap = 1e9, maxGap = 0.0, minHz = 1e9, maxHz = 0.0;
    for (size_t index = 0; index + 1 < events.size(); ++index)
    {
        const Event& event = events[index];
        const double gapSec = (events[index + 1].start - event.end) / rate;
        EXPECT_GE(gapSec, 0.75);
        EXPECT_LE(gapSec, 1.25);
        minGap = std::min(minGap, gapSec);
        maxGap = std::max(maxGap, gapSec);

        const double holdSec = (event.end - event.start - 2 * fade) / rate;
        EXPECT_GE(holdSec, 0.2 * 0.75 - 1.0 / rate);
        EXPECT_LE(holdSec, 0.2 * 1.25 + 1.0 / rate);

        double peak = 0.0;
        const double hz = measureSineHz(out[0], event.start + fade, event.end - fade, rate, &peak);
        EXPECT_GE(hz, 440.0 * 0.75 - 1e-6);
        EXPECT_LE(hz, 440.0 * 1.25 + 1e-6);
        EXPECT_GE(peak, 0.5 * 0.75 * 0.999);
        EXPECT_LE(peak, 0.5 * 1.25 + 1e-9);
        minHz = std::min(minHz, hz);
        maxHz = std::max(maxHz, hz);
    }
    // The values really are spread, across most of the allowed width.
    EXPECT_GT(maxGap - minGap, 0.3);
    EXPECT_GT(maxHz - minHz, 0.6 * 220.0);
}

TEST(CModZumbelModule, NoiseCornerFollowsFrequencyWithinTheVariation)
{
    const double rate = 48000.0;
    for (double variation : {0.0, 0.5})
    {
        Params params = shortParams(CModZumbelModule::kNoise, variation);
        params.freqHz = 2000.0;
        params.durationSec = 1.5;
        Rig rig(rate, 1, params);
        const int length = rig.samples(40.0);
        const std::vector<Signal> out = rig.run({constant(length, 0.0)}, 512);
        const std::vector<Event> events = findEvents(out[0]);
        ASSERT_GE(events.size(), 10u);
        const int fade = rig.module->getFadeLength();
        double minHz = 1e9, maxHz = 0.0;
        for (const Event& event : events)
        {
            if (event.end >= length)
                break;
            const double hz =
                measureNoiseCornerHz(out[0], event.start + fade, event.end - fade, rate);
            const double low = 2000.0 * (1.0 - variation / 2.0);
            const double high = 2000.0 * (1.0 + variation / 2.0);
            EXPECT_GE(hz, low * 0.95) << "variation " << variation;
            EXPECT_LE(hz, high * 1.05) << "variation " << variation;
            minHz = std::min(minHz, hz);
            maxHz = std::max(maxHz, hz);
        }
        if (variation > 0.0)
        {
            EXPECT_GT(maxHz - minHz, 400.0);
        }
    }
}

TEST(CModZumbelModule, EventFadesAreRaisedCosinesOfThirtyMillisecondsOnTheirExactSamples)
{
    // A full dip (gain 0) on a constant 1 shows the fade's shape directly. Without variation the
    // schedule is fixed: a gap of a second, a hold of 0.2 s, none of it a multiple of the run.
    for (const auto& [rate, fadeSamples] : {std::pair<double, int>{48000.0, 1440}, {44100.0, 1323}})
    {
        Params params = shortParams(CModZumbelModule::kMute, 0.0);
        params.gainLin = 0.0;
        Rig rig(rate, 1, params);
        EXPECT_EQ(fadeSamples, rig.module->getFadeLength());
        const int length = rig.samples(2.6);
        const std::vector<Signal> out = rig.run({constant(length, 1.0)}, 512);
        const int gap = rig.samples(1.0);
        const int hold = static_cast<int>(std::floor(0.2 * rate + 0.5));
        int n = 0;
        for (int start : {gap, 2 * gap + 2 * fadeSamples + hold})
        {
            for (; n < start; ++n)
                ASSERT_EQ(1.0, out[0][n]) << "before the event at " << start;
            for (int i = 0; i < fadeSamples; ++i)
            {
                ASSERT_NEAR(0.5 + 0.5 * std::cos(kPi * i / fadeSamples), out[0][start + i], 1e-9)
                    << "fade-in sample " << i;
                ASSERT_NEAR(0.5 - 0.5 * std::cos(kPi * i / fadeSamples),
                            out[0][start + fadeSamples + hold + i], 1e-9)
                    << "fade-out sample " << i;
            }
            for (n = start + fadeSamples; n < start + fadeSamples + hold; ++n)
                ASSERT_EQ(0.0, out[0][n]);
            n = start + 2 * fadeSamples + hold;
        }
        for (; n < length; ++n)
            ASSERT_EQ(1.0, out[0][n]);
    }
}

TEST(CModZumbelModule, FastPathHandsOnTheInputHandleUntilTheCountdownFitsTheBlock)
{
    const double rate = 48000.0;
    Rig rig(rate, 2, shortParams(CModZumbelModule::kBeep, 0.5));
    const std::vector<Signal> in{constant(kMaxRun, 0.0), constant(kMaxRun, 0.25)};
    std::vector<Signal> out{constant(kMaxRun, 0.0), constant(kMaxRun, 0.0)};

    while (rig.module->getCountdown() > kMaxRun)
    {
        const int before = rig.module->getCountdown();
        ASSERT_TRUE(rig.processRun(in, out, 0, kMaxRun));
        ASSERT_EQ(before - kMaxRun, rig.module->getCountdown());
    }
    const int left = rig.module->getCountdown();
    ASSERT_GT(left, 1);
    // One frame short of the event: still handed on.
    EXPECT_TRUE(rig.processRun(in, out, 0, left - 1));
    EXPECT_EQ(CModZumbelModule::kIdle, rig.module->getPhase());
    // A countdown equal to the run: copied, and the event starts right at the run's end.
    EXPECT_FALSE(rig.processRun(in, out, 0, 1));
    EXPECT_EQ(0.25, out[1][0]);
    EXPECT_EQ(CModZumbelModule::kFadeIn, rig.module->getPhase());
    EXPECT_EQ(rig.module->getFadeLength(), rig.module->getCountdown());
    EXPECT_FALSE(rig.processRun(in, out, 0, 2));
    EXPECT_EQ(0.0, out[0][0]); // the fade's first sample is still all input
    EXPECT_NE(0.0, out[0][1]);
}

TEST(CModZumbelModule, AnyBlockSizeGivesTheSameOutputAsRunsOf512)
{
    const double rate = 48000.0;
    for (int signal : {CModZumbelModule::kBeep, CModZumbelModule::kNoise, CModZumbelModule::kMute})
    {
        const Params params = shortParams(signal, 0.5);
        const int length = static_cast<int>(6.0 * rate);
        const std::vector<Signal> in{testTone(length, 220.0, rate), testTone(length, 331.0, rate),
                                     constant(length, 0.0)};
        const std::vector<Signal> reference = Rig(rate, 3, params, 99).run(in, 512);
        ASSERT_GE(findEvents(reference[2]).size(), signal == CModZumbelModule::kMute ? 0u : 3u);
        for (int blockSize : {1, 7, 511, 513, 4096, 8192})
        {
            const std::vector<Signal> out = Rig(rate, 3, params, 99).run(in, blockSize);
            for (int channel = 0; channel < 3; ++channel)
            {
                const auto mismatch = std::mismatch(out[channel].begin(), out[channel].end(),
                                                    reference[channel].begin());
                EXPECT_TRUE(mismatch.first == out[channel].end())
                    << "signal " << signal << " block " << blockSize << " channel " << channel
                    << " differs at " << (mismatch.first - out[channel].begin());
            }
        }
    }
}

TEST(CModZumbelModule, MuteDipsTheAudioToTheGain)
{
    const double rate = 48000.0;
    for (double gain : {1.0, 0.25})
    {
        Params params = shortParams(CModZumbelModule::kMute, 0.0);
        params.gainLin = gain;
        Rig rig(rate, 1, params);
        const int length = rig.samples(3.0);
        const Signal in = testTone(length, 440.0, rate);
        const std::vector<Signal> out = rig.run({in}, 512);
        const int holdStart = rig.samples(1.0) + 1440;
        const int holdEnd = holdStart + 9600;
        for (int n = 0; n < length; ++n)
        {
            if (gain == 1.0 || (n >= holdStart && n < holdEnd))
            {
                ASSERT_NEAR(in[n] * gain, out[0][n], 1e-15) << "gain " << gain << " at " << n;
            }
        }
    }
}

TEST(CModZumbelModule, WithoutVariationEveryEventIsAlike)
{
    const double rate = 44100.0;
    Rig rig(rate, 1, shortParams(CModZumbelModule::kBeep, 0.0));
    const int length = rig.samples(12.0);
    const std::vector<Signal> out = rig.run({constant(length, 0.0)}, 512);
    const std::vector<Event> events = findEvents(out[0]);
    ASSERT_GE(events.size(), 8u);
    const int fade = 1323;
    EXPECT_EQ(44100, events[0].start);
    for (size_t index = 0; index + 1 < events.size(); ++index)
    {
        EXPECT_EQ(44100, events[index + 1].start - events[index].end);
        EXPECT_EQ(2 * fade + 8820, events[index].end - events[index].start);
        double peak = 0.0;
        EXPECT_NEAR(440.0,
                    measureSineHz(out[0], events[index].start + fade, events[index].end - fade,
                                  rate, &peak),
                    1e-6);
        EXPECT_NEAR(0.5, peak, 1e-3);
    }
}

TEST(CModZumbelModule, ClearAndFullReadDropARunningEventWithoutFade)
{
    const double rate = 48000.0;
    Rig rig(rate, 1, shortParams(CModZumbelModule::kMute, 0.0));
    const std::vector<Signal> in{constant(kMaxRun, 1.0)};
    std::vector<Signal> out{constant(kMaxRun, 0.0)};
    for (int action = 0; action < 3; ++action)
    {
        while (rig.module->getPhase() != CModZumbelModule::kHold)
            rig.processRun(in, out, 0, kMaxRun);
        if (action == 0)
        {
            rig.module->clear();
        }
        else if (action == 1)
        {
            rig.module->setParams(rig.module->getParams());
        }
        else
        {
            // Without use-clear, a clear leaves the event running.
            rig.module->setUseClear(false);
            rig.module->clear();
            EXPECT_EQ(CModZumbelModule::kHold, rig.module->getPhase());
            break;
        }
        EXPECT_EQ(CModZumbelModule::kIdle, rig.module->getPhase());
        EXPECT_EQ(48000, rig.module->getCountdown());
        EXPECT_TRUE(rig.processRun(in, out, 0, kMaxRun));
    }
}

TEST(CModZumbelModule, ModulesSetUpFromTheSeedCounterFollowDifferentSchedules)
{
    CDCDAWContext context;
    ASSERT_EQ(nullptr, context.init());
    ASSERT_TRUE(CModZumbelModule::registerKernels(&context));
    CModZumbelModule first;
    CModZumbelModule second;
    ASSERT_EQ(nullptr, first.setup(&context, 48000.0, 2));
    ASSERT_EQ(nullptr, second.setup(&context, 48000.0, 2));
    first.setParams(Params());
    second.setParams(Params());
    EXPECT_NE(first.getCountdown(), second.getCountdown());
}

TEST(CModZumbelModule, ProcessingAllocatesNothingAfterWarmUp)
{
    for (int signal : {CModZumbelModule::kBeep, CModZumbelModule::kNoise, CModZumbelModule::kMute})
    {
        const double rate = 48000.0;
        Rig rig(rate, 2, shortParams(signal, 0.5));
        const int length = rig.samples(20.0);
        const std::vector<Signal> in{testTone(length, 220.0, rate), testTone(length, 330.0, rate)};
        std::vector<Signal> out{constant(length, 0.0), constant(length, 0.0)};
        rig.runInto(in, out, 512); // warm-up: the pool grows to what the events need

        kel::CAllocator::watchThread(kel::CThisThread::id());
        const bool countMalloc = kel::test::CMallocCounter::isAvailable();
        if (countMalloc)
            kel::test::CMallocCounter::watchThisThread();
        rig.runInto(in, out, 512);
        rig.runInto(in, out, 100);
        const uint64_t pooled = kel::CAllocator::watchedAllocations();
        kel::CAllocator::watchThread(0);
        const uint64_t mallocs = countMalloc ? kel::test::CMallocCounter::count() : 0;
        if (countMalloc)
            kel::test::CMallocCounter::stopWatching();
        EXPECT_EQ(0u, pooled) << "signal " << signal;
        EXPECT_EQ(0u, mallocs) << "signal " << signal;
    }
}

TEST(CModZumbelModule, EveryPoolBufferReturnsWhenTheModuleGoes)
{
    for (int signal : {CModZumbelModule::kBeep, CModZumbelModule::kNoise, CModZumbelModule::kMute})
    {
        const double rate = 48000.0;
        Rig rig(rate, 3, shortParams(signal, 0.5));
        const int length = rig.samples(4.2);
        const std::vector<Signal> in(3, testTone(length, 220.0, rate));
        rig.run(in, 300);
        // Set up again on the same context mid-event, then drop the module.
        ASSERT_EQ(nullptr, rig.module->setupWithSeed(&rig.context, 44100.0, 2, 7));
        rig.module->setParams(shortParams(signal, 0.5));
        rig.channelCount = 2;
        rig.run({in[0], in[1]}, 512);
        rig.module.reset();
        EXPECT_EQ(rig.context.getPoolRecordCount(), rig.context.getFreeRecordCount());
    }
}
