#include "Audio/CAudioWrapper.h"

#include "Audio/CDCDAWContext.h"
#include "Audio/CDCDAWContextObject.h"
#include "Audio/Filters/CDCDAWGeneratorKernels.h"
#include "Audio/Modules/CModZumbelModule.h"
#include "Core/Platform/CFloatModeGuard.h"

#include <cstring>

namespace kel
{

namespace
{
// Pool buffers readied at start: the inputs, the module's outputs, its two work buffers and its
// states, with room to spare. Every block call then finds grown buffers on the free list.
constexpr int kWarmBuffersPerChannel = 4;
constexpr int kWarmBuffersExtra = 8;
constexpr int kMaxWarmBuffers =
    CAudioWrapper::kMaxChannels * kWarmBuffersPerChannel + kWarmBuffersExtra;

int clampChannels(int count)
{
    if (count < 1)
        return 1;
    return count > CAudioWrapper::kMaxChannels ? CAudioWrapper::kMaxChannels : count;
}

int clampUsed(int count, int limit)
{
    if (count < 0)
        return 0;
    return count > limit ? limit : count;
}
} // namespace

CAudioWrapper::CAudioWrapper() = default;

CAudioWrapper::~CAudioWrapper()
{
    // The module gives its buffers back to the context, so it goes first.
    delete module;
    module = nullptr;
    delete contextObject;
    contextObject = nullptr;
}

CError* CAudioWrapper::init()
{
    if (initialised)
        return nullptr;
    contextObject = new CDCDAWContextObject();
    KEL_CHECK(contextObject->init());
    // The module's signal kernels are registered by whoever owns the module.
    if (!CDCDAWGeneratorKernels::registerKernels(getContext(), nullptr))
        return KEL_ERROR("@kelstr_CAudioWrapper_init_KernelRegistration Signal kernels could "
                         "not be registered.");
    module = new CModZumbelModule();
    KEL_CHECK(module->setup(getContext(), sampleRateHz, channelCount));
    module->setParams(CModZumbelModule::Params());
    moduleRateHz = sampleRateHz;
    moduleChannels = channelCount;
    layoutChanged = true;
    latencyStable = false;
    ioChangePending = false;
    force2ch = readBoolSetting("force-2ch", "0");
    initialised = true;
    return nullptr;
}

bool CAudioWrapper::parseBool(const char* text)
{
    return text && (std::strcmp(text, "1") == 0 || std::strcmp(text, "true") == 0);
}

bool CAudioWrapper::readBoolSetting(const char* /*key*/, const char* fallback)
{
    // There is no settings store yet: every key reads as missing.
    return parseBool(fallback);
}

CDCDAWContext* CAudioWrapper::getContext() const
{
    return contextObject ? contextObject->getContext() : nullptr;
}

void CAudioWrapper::setSampleRate(double rateHz)
{
    if (rateHz > 0.0)
        sampleRateHz = rateHz;
}

void CAudioWrapper::setBlockSize(int frames)
{
    if (frames > 0)
        blockFrames = frames;
}

void CAudioWrapper::setBufferShape(bool inputIsDouble, bool outputIsDouble)
{
    inputDouble = inputIsDouble;
    outputDouble = outputIsDouble;
}

void CAudioWrapper::setChannelCount(int count)
{
    CLockGuard guard(envLock);
    channelCount = clampChannels(count);
    inChannels = channelCount;
    outChannels = channelCount;
    layoutChanged = true;
    // Until the next start the audio thread keeps the module it has, on no more channels than
    // the host now has.
    runInChannels = clampUsed(runInChannels, channelCount);
    runOutChannels = clampUsed(runOutChannels, channelCount);
}

void CAudioWrapper::setActiveChannels(int inputCount, int outputCount)
{
    CLockGuard guard(envLock);
    const int ins = clampUsed(inputCount, channelCount);
    const int outs = clampUsed(outputCount, channelCount);
    if (ins != inChannels || outs != outChannels)
    {
        inChannels = ins;
        outChannels = outs;
        layoutChanged = true;
    }
}

int CAudioWrapper::getInChannels() const
{
    CLockGuard guard(envLock);
    return inChannels;
}

int CAudioWrapper::getOutChannels() const
{
    CLockGuard guard(envLock);
    return outChannels;
}

bool CAudioWrapper::isRunning() const
{
    CLockGuard guard(envLock);
    return running;
}

void CAudioWrapper::start()
{
    bool applyNow = false;
    {
        CLockGuard guard(envLock);
        if (running)
            return;
        running = true;
        applyNow = layoutChanged;
        layoutChanged = false;
        runInChannels = inChannels;
        runOutChannels = outChannels;
    }
    if (applyNow || moduleRateHz != sampleRateHz)
    {
        if (CError* error = applyLayout())
        {
            // Without a module the audio passes through untouched; there is no one to tell here.
            delete error;
            moduleChannels = 0;
        }
    }
    warmUpPool();
}

void CAudioWrapper::stop()
{
    {
        CLockGuard guard(envLock);
        if (!running)
            return;
        running = false;
    }
    if (module)
        module->clear();
}

CError* CAudioWrapper::applyLayout()
{
    if (!module || !getContext())
        return KEL_ERROR("@kelstr_CAudioWrapper_start_NotInitialised Instance is not initialised.");
    // The module works on as many channels as either side has; inputs it has no host channel
    // for are silent, outputs the host has no channel for are dropped.
    int channels = runInChannels > runOutChannels ? runInChannels : runOutChannels;
    if (channels < 1)
        channels = 1;
    moduleChannels = 0;
    KEL_CHECK(module->setup(getContext(), sampleRateHz, channels));
    module->setParams(CModZumbelModule::Params());
    moduleRateHz = sampleRateHz;
    moduleChannels = channels;
    return nullptr;
}

void CAudioWrapper::warmUpPool()
{
    CDCDAWContext* context = getContext();
    if (!context)
        return;
    uint32_t handles[kMaxWarmBuffers];
    const int count = moduleChannels * kWarmBuffersPerChannel + kWarmBuffersExtra;
    const size_t bytes = static_cast<size_t>(kRunFrames) * sizeof(double);
    for (int n = 0; n < count; ++n)
        handles[n] = context->acquire(bytes);
    for (int n = count - 1; n >= 0; --n)
        context->release(handles[n]);
}

void CAudioWrapper::markLatencyStable()
{
    if (!latencyStable)
    {
        ioChangePending = false;
        latencyStable = true;
    }
}

void CAudioWrapper::markLatencyChanged()
{
    ioChangePending = true;
    latencyStable = false;
}

bool CAudioWrapper::takeIoChangePending()
{
    const bool pending = ioChangePending;
    ioChangePending = false;
    return pending;
}

void CAudioWrapper::processBlock(float** inputs, float** outputs, int frames)
{
    processRuns(inputs, outputs, frames);
}

void CAudioWrapper::processBlock(double** inputs, double** outputs, int frames)
{
    processRuns(inputs, outputs, frames);
}

// Output channel n is input channel n; outputs without an input are silent.
template <typename Sample>
void CAudioWrapper::passThrough(Sample** inputs, int ins, Sample** outputs, int outs, int offset,
                                int count)
{
    for (int channel = 0; channel < outs; ++channel)
    {
        Sample* dest = outputs[channel];
        if (!dest)
            continue;
        const Sample* source = channel < ins ? inputs[channel] : nullptr;
        if (!source)
            std::memset(dest + offset, 0, static_cast<size_t>(count) * sizeof(Sample));
        else if (source != dest)
            std::memmove(dest + offset, source + offset,
                         static_cast<size_t>(count) * sizeof(Sample));
    }
}

template <typename Sample>
void CAudioWrapper::processRuns(Sample** inputs, Sample** outputs, int frames)
{
    if (frames <= 0 || !outputs)
        return;
    CFloatModeGuard floatMode;
    CDCDAWContext* context = getContext();
    const int ins = inputs ? runInChannels : 0;
    const int outs = runOutChannels;
    const int channels = module && context ? moduleChannels : 0;
    const size_t runBytes = static_cast<size_t>(kRunFrames) * sizeof(double);

    for (int offset = 0; offset < frames; offset += kRunFrames)
    {
        const int count = frames - offset < kRunFrames ? frames - offset : kRunFrames;
        ++runCount;
        lastRunFrames = count;

        // An idle stretch: the module would hand each input on by reference, so the host's
        // samples go straight across, with no widening and no pool buffer.
        if (channels > 0 && module->passesThrough(count))
        {
            module->skipIdle(count);
            passThrough(inputs, ins, outputs, outs, offset, count);
            continue;
        }

        // Widen the host's inputs into pool buffers. Acquiring the full run size every time
        // keeps the records at one size, so none of them grows on this thread.
        bool haveInputs = channels > 0;
        for (int channel = 0; channel < channels; ++channel)
        {
            const uint32_t handle = context->acquire(runBytes);
            runInputs[channel] = handle;
            if (handle == CDCDAWContext::kInvalidHandle)
            {
                haveInputs = false;
                continue;
            }
            double* samples = context->doubles(handle);
            const Sample* source = channel < ins ? inputs[channel] : nullptr;
            if (source)
            {
                source += offset;
                for (int frame = 0; frame < count; ++frame)
                    samples[frame] = static_cast<double>(source[frame]);
            }
            else
                std::memset(samples, 0, static_cast<size_t>(count) * sizeof(double));
            module->setInput(channel, handle);
        }

        if (haveInputs)
        {
            module->setFrames(count);
            module->process();
            for (int channel = 0; channel < outs; ++channel)
            {
                Sample* dest = outputs[channel];
                if (!dest)
                    continue;
                dest += offset;
                const uint32_t handle =
                    channel < channels ? module->getOutput(channel) : CDCDAWContext::kInvalidHandle;
                const double* samples =
                    handle != CDCDAWContext::kInvalidHandle ? context->doubles(handle) : nullptr;
                if (samples)
                    for (int frame = 0; frame < count; ++frame)
                        dest[frame] = static_cast<Sample>(samples[frame]);
                else
                    std::memset(dest, 0, static_cast<size_t>(count) * sizeof(Sample));
            }
        }
        else
        {
            // No engine (or no pool buffer): the audio passes through.
            passThrough(inputs, ins, outputs, outs, offset, count);
        }

        for (int channel = 0; channel < channels; ++channel)
            context->release(runInputs[channel]);
    }
}

CError* CAudioWrapper::saveChunk(void** data, int32_t* byteCount, bool /*isPreset*/,
                                 bool /*hasHeader*/)
{
    if (data)
        *data = nullptr;
    if (byteCount)
        *byteCount = 0;
    return nullptr;
}

CError* CAudioWrapper::loadChunk(const void* /*data*/, int32_t /*byteCount*/, bool /*isPreset*/,
                                 bool /*hasHeader*/)
{
    return nullptr;
}

} // namespace kel
