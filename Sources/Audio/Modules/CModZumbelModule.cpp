#include "Audio/Modules/CModZumbelModule.h"

#include "Audio/CDCDAWContext.h"
#include "Audio/Filters/CDCDAWGeneratorKernels.h"
#include "Core/CSeedCounter.h"

#include <climits>
#include <cmath>

namespace kel
{

namespace
{
const char* const kKernelNames[] = {
    "com.kelmont.dcdaw.copy",   "com.kelmont.dcdaw.mix",       "com.kelmont.dcdaw.fill0",
    "com.kelmont.dcdaw.xfadei", "com.kelmont.dcdaw.xfade",     "com.kelmont.dcdaw.sinei",
    "com.kelmont.dcdaw.sine",   "com.kelmont.dcdaw.fltnoisei", "com.kelmont.dcdaw.fltnoise",
};

// The fade kernel's state: s1, s2 and the recursion factor.
constexpr size_t kFadeStateBytes = 3 * sizeof(double);

using SineState = CDCDAWGeneratorKernels::SineState;
using NoiseState = CDCDAWGeneratorKernels::NoiseState;
} // namespace

CModZumbelModule::~CModZumbelModule()
{
    releaseSignalState();
    releaseFadeStates();
    if (fadeStates != inlineFadeStates)
        CAllocator::free(fadeStates);
}

double* CModZumbelModule::getParamSlot(int slot)
{
    switch (slot)
    {
    case 0:
        return &params.signal;
    case 1:
        return &params.periodSec;
    case 2:
        return &params.durationSec;
    case 3:
        return &params.freqHz;
    case 4:
        return &params.gainLin;
    case 5:
        return &params.variation;
    default:
        return nullptr;
    }
}

bool CModZumbelModule::registerKernels(CDCDAWContext* dcdawContext)
{
    return CDCDAWGeneratorKernels::registerKernels(dcdawContext, nullptr);
}

CError* CModZumbelModule::lookupKernels()
{
    if (!context)
        return KEL_ERROR("@kelstr_CModZumbelModule_lookupKernels_NoContext No kernel context.");
    for (int kernel = 0; kernel < kKernelCount; ++kernel)
    {
        kernelIds[kernel] = context->findKernel(kKernelNames[kernel]);
        if (kernelIds[kernel] < 0)
            return KEL_ERROR("@kelstr_CModZumbelModule_lookupKernels_Unknown Unknown kernel '%1'.",
                             kKernelNames[kernel]);
    }
    return nullptr;
}

CError* CModZumbelModule::setup(CDCDAWContext* dcdawContext, double sampleRateHz, int channels)
{
    ownNoiseSeeds = false;
    return setupSeeded(dcdawContext, sampleRateHz, channels, CSeedCounter::next());
}

CError* CModZumbelModule::setupWithSeed(CDCDAWContext* dcdawContext, double sampleRateHz,
                                        int channels, uint32_t seed)
{
    ownNoiseSeeds = true;
    nextNoiseSeed = seed + 1;
    return setupSeeded(dcdawContext, sampleRateHz, channels, seed);
}

CError* CModZumbelModule::setupSeeded(CDCDAWContext* dcdawContext, double sampleRateHz,
                                      int channels, uint32_t seed)
{
    if (!(sampleRateHz > 0.0))
        return KEL_ERROR("@kelstr_CModZumbelModule_setup_InvalidRate Invalid sample rate %1.",
                         static_cast<long long>(sampleRateHz));
    // Buffers of the old context cannot go back to a new one.
    releaseSignalState();
    releaseFadeStates();
    releaseOutputs();
    setContext(dcdawContext);
    KEL_CHECK(lookupKernels());
    KEL_CHECK(setChannelCount(channels));
    if (channels > fadeStateCapacity)
    {
        uint32_t* grown = allocArray<uint32_t>(static_cast<size_t>(channels));
        if (!grown)
            return KEL_ERROR("@kelstr_CModZumbelModule_setup_NoMemory Out of memory.");
        if (fadeStates != inlineFadeStates)
            CAllocator::free(fadeStates);
        fadeStates = grown;
        fadeStateCapacity = channels;
    }
    for (int channel = 0; channel < channels; ++channel)
        fadeStates[channel] = kNoBuffer;
    fadeStateCount = channels;

    sampleRate = sampleRateHz;
    // At least one sample, so that a cycle of the schedule always moves on.
    fadeLength = static_cast<int>(std::floor(sampleRate * kEventFadeSec + 0.5));
    if (fadeLength < 1)
        fadeLength = 1;

    random.seed(static_cast<int>(seed & 0x3FFFu), 0);
    eventGain = 0.0;
    phase = kFadeOut;
    countdown = 0;
    needsFullRead = true;
    return nullptr;
}

void CModZumbelModule::readParams()
{
    signalType = static_cast<int>(std::floor(params.signal + 0.5));
    if (signalType < kBeep || signalType > kMute)
        signalType = kBeep;
    needsFullRead = false;
    if (phase != kIdle)
    {
        phase = kIdle;
        countdown = drawSamples(params.periodSec);
    }
}

void CModZumbelModule::setParams(const Params& values)
{
    params = values;
    readParams();
}

void CModZumbelModule::clear()
{
    // Before the first read the values are not known yet: that read draws the countdown.
    if (!useClear || needsFullRead)
        return;
    phase = kIdle;
    countdown = drawSamples(params.periodSec);
}

double CModZumbelModule::vary(double value)
{
    // `variation` is the full width of the spread: 0.25 moves a value within +-12.5 %.
    return value * ((random.next() - 0.5) * params.variation + 1.0);
}

int CModZumbelModule::drawSamples(double seconds)
{
    const double count = std::floor(vary(seconds) * sampleRate + 0.5);
    if (!(count > 0.0))
        return 0;
    return count >= static_cast<double>(INT_MAX) ? INT_MAX : static_cast<int>(count);
}

void CModZumbelModule::onCountdownExpired()
{
    switch (phase)
    {
    case kIdle:
        startEvent();
        break;
    case kFadeIn:
        phase = kHold;
        countdown = drawSamples(params.durationSec);
        break;
    case kHold:
        beginFade(false);
        break;
    default:
        phase = kIdle;
        countdown = drawSamples(params.periodSec);
        break;
    }
}

// The order of the draws is part of the schedule's reproducibility: gain, then (after the fade
// set-up, which draws nothing) the pitch or corner.
void CModZumbelModule::startEvent()
{
    eventGain = vary(params.gainLin);
    beginFade(true);
    startSignal();
}

void CModZumbelModule::beginFade(bool fadeIn)
{
    phase = fadeIn ? kFadeIn : kFadeOut;
    countdown = fadeLength;
    // A fade state is reused across events: xfadei rewrites all of it.
    for (int channel = 0; channel < fadeStateCount; ++channel)
    {
        if (fadeStates[channel] == kNoBuffer)
            fadeStates[channel] = context->acquire(kFadeStateBytes);
        if (fadeStates[channel] != kNoBuffer)
            context->run(kernelIds[kKernelXfadei], fadeLength, fadeIn ? 0.0 : 0.5,
                         fadeStates[channel]);
    }
}

void CModZumbelModule::startSignal()
{
    switch (signalType)
    {
    case kBeep:
    {
        releaseSignalState();
        signalState = context->acquire(sizeof(SineState));
        const double freqHz = vary(params.freqHz);
        if (signalState == kNoBuffer)
            break;
        SineState* state = static_cast<SineState*>(context->pointer(signalState));
        state->freqHz = freqHz;
        state->amplitude = 1.0;
        context->run(kernelIds[kKernelSinei], 1, sampleRate, signalState);
        break;
    }
    case kNoise:
    {
        releaseSignalState();
        signalState = context->acquire(sizeof(NoiseState));
        const uint32_t seed = ownNoiseSeeds ? nextNoiseSeed++ : CSeedCounter::next();
        const double freqHz = vary(params.freqHz);
        if (signalState == kNoBuffer)
            break;
        NoiseState* state = static_cast<NoiseState*>(context->pointer(signalState));
        // The set-up kernel takes the seed as a signed 32-bit value.
        state->seed = static_cast<int32_t>(seed);
        state->amplitude = 1.0;
        state->freqHz = freqHz;
        context->run(kernelIds[kKernelFltnoisei], 1, sampleRate, signalState);
        break;
    }
    default:
        // A dip: the signal is silence, mixed in by the complement of the gain, so the audio
        // falls to the gain rather than to zero.
        eventGain = 1.0 - eventGain;
        break;
    }
}

void CModZumbelModule::process()
{
    releaseOutputs();
    if (!context || channelCount == 0)
        return;

    const bool idleThrough = phase == kIdle && countdown > frames;
    uint32_t signalBuffer = kNoBuffer;
    uint32_t tempBuffer = kNoBuffer;
    bool render = !idleThrough && frames > 0;
    if (render)
    {
        const size_t bytes = static_cast<size_t>(frames) * sizeof(double);
        signalBuffer = context->acquire(bytes);
        tempBuffer = context->acquire(bytes);
        for (int channel = 0; channel < channelCount; ++channel)
            setOutput(channel, context->acquire(bytes));
        for (int channel = 0; channel < channelCount && render; ++channel)
            render = getOutput(channel) != kNoBuffer;
        render = render && signalBuffer != kNoBuffer && tempBuffer != kNoBuffer;
        if (!render)
        {
            // The pool is exhausted: the audio passes untouched, the schedule still runs.
            releaseOutputs();
            context->release(signalBuffer);
            context->release(tempBuffer);
        }
    }
    if (!render)
    {
        for (int channel = 0; channel < channelCount; ++channel)
        {
            context->addRef(inputs[channel]);
            setOutput(channel, inputs[channel]);
        }
    }
    if (idleThrough)
    {
        countdown -= frames;
        return;
    }

    // Segments end where the countdown runs out, so transitions fall on their exact sample; a
    // countdown that runs out with the block's last frame is served here too, so the next event
    // starts at the end of this block rather than a block late.
    int done = 0;
    for (;;)
    {
        while (countdown <= 0)
            onCountdownExpired();
        if (done >= frames)
            break;
        const int count = countdown < frames - done ? countdown : frames - done;
        if (render)
            renderSegment(done, count, signalBuffer, tempBuffer);
        countdown -= count;
        done += count;
    }
    if (render)
    {
        context->release(signalBuffer);
        context->release(tempBuffer);
    }
}

void CModZumbelModule::renderSegment(int offset, int count, uint32_t signalBuffer,
                                     uint32_t tempBuffer)
{
    if (phase == kIdle)
    {
        for (int channel = 0; channel < channelCount; ++channel)
            context->run(kernelIds[kKernelCopy], count, 0.0,
                         CDCDAWContext::atFrame(getOutput(channel), offset),
                         CDCDAWContext::atFrame(inputs[channel], offset));
        return;
    }

    if (signalType == kBeep && signalState != kNoBuffer)
        context->run(kernelIds[kKernelSine], count, sampleRate, signalBuffer, signalState);
    else if (signalType == kNoise && signalState != kNoBuffer)
        context->run(kernelIds[kKernelFltnoise], count, sampleRate, signalBuffer, signalState);
    else
        context->run(kernelIds[kKernelFill0], count, 0.0, signalBuffer);

    for (int channel = 0; channel < channelCount; ++channel)
    {
        const uint32_t in = CDCDAWContext::atFrame(inputs[channel], offset);
        const uint32_t out = CDCDAWContext::atFrame(getOutput(channel), offset);
        if (phase == kHold || fadeStates[channel] == kNoBuffer)
        {
            context->run(kernelIds[kKernelMix], count, eventGain, out, signalBuffer, in);
        }
        else
        {
            context->run(kernelIds[kKernelMix], count, eventGain, tempBuffer, signalBuffer, in);
            context->run(kernelIds[kKernelXfade], count, 0.0, out, fadeStates[channel], tempBuffer,
                         in);
        }
    }
}

void CModZumbelModule::releaseSignalState()
{
    if (signalState != kNoBuffer && context)
        context->release(signalState);
    signalState = kNoBuffer;
}

void CModZumbelModule::releaseFadeStates()
{
    for (int channel = 0; channel < fadeStateCount; ++channel)
    {
        if (fadeStates[channel] != kNoBuffer && context)
            context->release(fadeStates[channel]);
        fadeStates[channel] = kNoBuffer;
    }
    fadeStateCount = 0;
}

} // namespace kel
