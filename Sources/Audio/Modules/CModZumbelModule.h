#pragma once

#include "Audio/CAudioModule.h"
#include "Audio/Filters/CRanmar.h"

#include <cstdint>

namespace kel
{

// The signal insertion module: at randomised intervals it lays a short tone, a burst of
// low-passed noise or a dip in level over the audio of all its channels at once. One schedule
// (Idle, FadeIn, Hold, FadeOut, each counted in samples) and one random generator drive every
// channel, so all channels get an event at the same sample. Every value of an event (gap, length,
// gain, pitch or corner) is drawn afresh, spread by `variation` around its parameter.
//
// The terminal process that owns the module sets it up (sample rate, channels; this reseeds),
// hands it parameter snapshots and clears it; all sample work goes through the context's kernels
// on pool buffers. While idle and far from the next event, the inputs are handed on as the
// outputs with no copy. Nothing on the processing path allocates or locks once the pool has
// grown. [audio thread; set-up may also run on the thread that sets the instance up]
class CModZumbelModule : public CAudioModule
{
public:
    enum Phase : int
    {
        kIdle = 0,
        kFadeIn = 1,
        kHold = 2,
        kFadeOut = 3
    };
    enum SignalType : int
    {
        kBeep = 0,
        kNoise = 1,
        kMute = 2
    };

    // Crossfade in and out of every event, independent of the process's own crossfade.
    static constexpr double kEventFadeSec = 0.03;
    static constexpr int kParamSlotCount = 6;

    // The parameter snapshot, in converter units, in slot order: signal, period, duration, freq,
    // gain, variation. `signal` holds the parameter's raw value; the module rounds it.
    struct Params
    {
        double signal = kBeep;
        double periodSec = 30.0;
        double durationSec = 0.5;
        double freqHz = 440.0;
        double gainLin = 0.25118864315095801; // -12 dB
        double variation = 0.25;              // full width: +-12.5 %
    };

    CModZumbelModule() = default;
    ~CModZumbelModule() override;

    int getParamSlotCount() const override { return kParamSlotCount; }
    double* getParamSlot(int slot) override;
    // Registers the four signal kernels (sinei, sine, fltnoisei, fltnoise) that the module runs
    // beside the context's standard ones. The owning process calls it once, before set-up.
    // [set-up thread]
    static bool registerKernels(CDCDAWContext* dcdawContext);
    // Needs copy, mix, fill0, xfadei, xfade and the four signal kernels; fails if one is missing.
    [[nodiscard]] CError* lookupKernels() override;
    void process() override;

    // Sets the module up for a sample rate and channel count and reseeds it from the
    // process-wide seed counter. The module then stands at the end of a fade-out with nothing
    // left to count, so its first act is to go idle and draw its first gap: nothing sounds before
    // the shortest period has passed. Marks the module for a full read.
    [[nodiscard]] CError* setup(CDCDAWContext* dcdawContext, double sampleRateHz,
                                int channels) override;
    // The same with a given seed, for reproducible runs. The seeds of noise bursts then follow
    // from it too, instead of coming from the seed counter.
    [[nodiscard]] CError* setupWithSeed(CDCDAWContext* dcdawContext, double sampleRateHz,
                                        int channels, uint32_t seed);

    // Full read: takes the values in the parameter slots as the snapshot. A running event is
    // dropped at once (no fade): the module goes idle and draws a new gap. [audio thread]
    void readParams() override;
    // Writes the slots from `values`, then reads them fully.
    void setParams(const Params& values);
    const Params& getParams() const { return params; }

    // When the audio restarts: go idle and draw a new gap, without fading a running event.
    // Does nothing unless use-clear is set (the default). [audio thread]
    void clear() override;
    void setUseClear(bool enabled) { useClear = enabled; }

    // Whether the next frameCount frames pass untouched: idle, with the gap lasting beyond them.
    // The owner may then hand the audio on itself and count the frames off with skipIdle.
    bool passesThrough(int frameCount) const { return phase == kIdle && countdown > frameCount; }
    // Counts idle frames off the gap; only after passesThrough said yes. [audio thread]
    void skipIdle(int frameCount) { countdown -= frameCount; }

    Phase getPhase() const { return static_cast<Phase>(phase); }
    int getCountdown() const { return countdown; }
    double getSampleRate() const { return sampleRate; }
    int getFadeLength() const { return fadeLength; }

private:
    enum Kernel : int
    {
        kKernelCopy,
        kKernelMix,
        kKernelFill0,
        kKernelXfadei,
        kKernelXfade,
        kKernelSinei,
        kKernelSine,
        kKernelFltnoisei,
        kKernelFltnoise,
        kKernelCount
    };

    [[nodiscard]] CError* setupSeeded(CDCDAWContext* dcdawContext, double sampleRateHz,
                                      int channels, uint32_t seed);
    double vary(double value);
    int drawSamples(double seconds);
    void onCountdownExpired();
    void startEvent();
    void beginFade(bool fadeIn);
    void startSignal();
    void renderSegment(int offset, int count, uint32_t signalBuffer, uint32_t tempBuffer);
    void releaseSignalState();
    void releaseFadeStates();

    int kernelIds[kKernelCount] = {};
    double sampleRate = 44100.0;
    int fadeLength = 1323;

    Params params;
    int signalType = kBeep;
    bool useClear = true;

    int countdown = 0;
    int phase = kFadeOut;
    CRanmar random = {};
    bool ownNoiseSeeds = false;
    uint32_t nextNoiseSeed = 0;

    double eventGain = 0.0;
    uint32_t signalState = kNoBuffer;
    int fadeStateCount = 0;
    uint32_t inlineFadeStates[kInlineChannels] = {};
    uint32_t* fadeStates = inlineFadeStates;
    int fadeStateCapacity = kInlineChannels;
};

} // namespace kel
