#include "Audio/CAudioWrapper.h"

#include "Audio/CAudioEnv.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioProcess.h"
#include "Audio/CAudioProcessCreators.h"
#include "Audio/CAudioProcessDef.h"
#include "Audio/CAudioProcessPort.h"
#include "Audio/CDCDAWContext.h"
#include "Audio/CDCDAWContextObject.h"
#include "Audio/Modules/CModBypass.h"
#include "Audio/Modules/CModOutput.h"
#include "Audio/Modules/CModZumbel.h"
#include "Audio/Modules/CModZumbelModule.h"
#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "Core/Platform/CFloatModeGuard.h"

#include <cstring>

namespace kel
{

namespace
{
// Pool buffers readied at start: per channel the input, the insertion's outputs, work buffers
// and states of two modules during a crossfade, the bypass's and the crossfades' outputs; with
// room to spare. Every block call then finds grown buffers on the free list.
constexpr int kWarmBuffersPerChannel = 12;
constexpr int kWarmBuffersExtra = 16;
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

CAudioWrapper::CAudioWrapper()
{
    // Names the graph's registration, so that the library's hook comes along with this object.
    CApplication::addCreatorRegistration(&registerAudioProcessCreators);
}

CAudioWrapper::~CAudioWrapper()
{
    teardown();
}

void CAudioWrapper::teardown()
{
    // The processes give their buffers back to the context, which the tree owns: they go first.
    delete modOutput;
    modOutput = nullptr;
    delete modMain;
    modMain = nullptr;
    zumbel = nullptr;
    bypass = nullptr;
    if (rootObject)
        CApplication::destroyRootObject(rootObject);
    rootObject = nullptr;
    pluginObject = nullptr;
    contextObject = nullptr;
    audioEnv = nullptr;
    paramCollector = nullptr;
    graphChannels = 0;
}

CError* CAudioWrapper::init()
{
    if (initialised)
        return nullptr;
    if (CError* error = buildTree())
    {
        teardown();
        return error;
    }
    if (CError* error = buildGraph())
    {
        teardown();
        return error;
    }
    layoutChanged = true;
    latencyStable = false;
    ioChangePending = false;
    force2ch = readBoolSetting("force-2ch", "0");
    initialised = true;
    return nullptr;
}

CError* CAudioWrapper::buildTree()
{
    KEL_CHECK(CApplication::initRootObject(rootObject, CString()));
    CObject* made = nullptr;
    KEL_CHECK(rootObject->createChild(CString("plugin"), CString("plugin"), made));
    KEL_CHECK(rootObject->findObjectChecked(CString("plugin"), pluginObject));
    KEL_CHECK(pluginObject->findObjectChecked(CString(".dcdaw-context"), contextObject));
    KEL_CHECK(pluginObject->findObjectChecked(CString(".audio-env"), audioEnv));
    KEL_CHECK(pluginObject->findObjectChecked(CString(".param-collector"), paramCollector));
    if (!contextObject->getContext())
        KEL_CHECK(contextObject->init());
    return nullptr;
}

CError* CAudioWrapper::buildGraph()
{
    CAudioProcessDef* mainDef = nullptr;
    CAudioProcessDefBase* outputDef = nullptr;
    KEL_CHECK(pluginObject->findObjectChecked(CString("shared::audio.modMain"), mainDef));
    KEL_CHECK(pluginObject->findObjectChecked(CString("shared::audio.modOutput"), outputDef));
    paramCollector->setGroupLimit(CAudioProcessTerminal::kMaxGroups);

    CAudioProcessBase* made = nullptr;
    KEL_CHECK(mainDef->createProcess(made));
    modMain = static_cast<CAudioProcess*>(made);
    CAudioProcessBase::CBuild mainBuild;
    mainBuild.collector = paramCollector;
    mainBuild.env = audioEnv;
    mainBuild.def = mainDef;
    mainBuild.path = CString("plugin.modMain");
    KEL_CHECK(modMain->init(mainBuild));

    made = nullptr;
    KEL_CHECK(outputDef->createProcess(made));
    modOutput = dynamic_cast<CModOutput*>(made);
    if (!modOutput)
    {
        delete made;
        return KEL_ERROR("@kelstr_CAudioWrapper_init_InvalidOutProcessType Output process object "
                         "'shared::audio.modOutput' is not of required 'CModOutput' type.");
    }
    CAudioProcessBase::CBuild outputBuild = mainBuild;
    outputBuild.def = outputDef;
    outputBuild.path = CString("plugin.modOutput");
    KEL_CHECK(modOutput->init(outputBuild));
    KEL_CHECK(modMain->connect(0, modOutput->getInputPort(0)));

    KEL_CHECK(modMain->prepare());
    KEL_CHECK(modOutput->prepare());
    KEL_CHECK(modMain->registerKernels(getContext()));
    KEL_CHECK(modOutput->registerKernels(getContext()));
    zumbel = dynamic_cast<CModZumbel*>(modMain->findProcess(CString("modZumbelModule.modZumbel")));
    bypass = dynamic_cast<CModBypass*>(modMain->findProcess(CString("modBypass")));
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

CModZumbelModule* CAudioWrapper::getModule() const
{
    return zumbel ? zumbel->getZumbelModule() : nullptr;
}

int CAudioWrapper::getLatencyFrames() const
{
    return audioEnv ? audioEnv->getLatencyFrames() : 0;
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
    if (audioEnv)
    {
        CLockGuard guard(audioEnv->getLock());
        audioEnv->setRunning(true);
        audioEnv->setChannels(runInChannels, runOutChannels);
        audioEnv->setSampleRate(sampleRateHz);
        audioEnv->setBlockSize(blockFrames);
    }
    if (applyNow || moduleRateHz != sampleRateHz || graphChannels == 0)
    {
        if (CError* error = applyLayout())
        {
            // Without a graph the audio passes through untouched; there is no one to tell here.
            delete error;
            graphChannels = 0;
        }
    }
    if (modOutput)
        modOutput->setOutputShape(outputDouble, false, runOutChannels);
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
    if (audioEnv)
    {
        CLockGuard guard(audioEnv->getLock());
        audioEnv->setRunning(false);
    }
    if (modMain)
        modMain->clear();
    if (modOutput)
        modOutput->clear();
}

CError* CAudioWrapper::applyLayout()
{
    if (!modMain || !modOutput || !getContext())
        return KEL_ERROR("@kelstr_CAudioWrapper_start_NotInitialised Instance is not initialised.");
    // The graph works on as many channels as either side has; inputs it has no host channel
    // for are silent, outputs the host has no channel for are dropped.
    int channels = runInChannels > runOutChannels ? runInChannels : runOutChannels;
    if (channels < 1)
        channels = 1;
    graphChannels = 0;
    CAudioProcessBase::CSetup conditions;
    conditions.context = getContext();
    conditions.sampleRateHz = sampleRateHz;
    conditions.channels = channels;
    conditions.maxFrames = kRunFrames;
    conditions.blockContext = ++blockContext;
    KEL_CHECK(modMain->setup(conditions));
    KEL_CHECK(modOutput->setup(conditions));
    moduleRateHz = sampleRateHz;
    graphChannels = channels;
    return nullptr;
}

void CAudioWrapper::warmUpPool()
{
    CDCDAWContext* context = getContext();
    if (!context)
        return;
    uint32_t handles[kMaxWarmBuffers];
    const int count = graphChannels * kWarmBuffersPerChannel + kWarmBuffersExtra;
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

bool CAudioWrapper::isIdleRun(int frames) const
{
    if (!zumbel || !bypass || zumbel->getModuleCount() != 1 || zumbel->isFading() ||
        zumbel->hasHeldBackChange() || !bypass->passesProcessed())
        return false;
    const CModZumbelModule* module = zumbel->getZumbelModule();
    return !module->needsFullRead && module->passesThrough(frames);
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
    const int channels = modMain && context ? graphChannels : 0;
    const size_t runBytes = static_cast<size_t>(kRunFrames) * sizeof(double);
    // The changes queued since the last block: one consistent set, taken once.
    const CAudioParamCollector::CPacket* changes =
        channels > 0 && paramCollector ? paramCollector->takeChanges() : nullptr;
    CAudioProcessPort* mainInput = channels > 0 ? modMain->getInputPort(0) : nullptr;

    for (int offset = 0; offset < frames; offset += kRunFrames)
    {
        const int count = frames - offset < kRunFrames ? frames - offset : kRunFrames;
        ++runCount;
        lastRunFrames = count;

        // An idle stretch: the insertion would hand each input on by reference and the bypass
        // would pass it, so the host's samples go straight across, with no widening.
        if (channels > 0 && !changes && isIdleRun(count))
        {
            zumbel->getZumbelModule()->skipIdle(count);
            passThrough(inputs, ins, outputs, outs, offset, count);
            continue;
        }
        if (channels == 0)
        {
            passThrough(inputs, ins, outputs, outs, offset, count);
            continue;
        }

        // Widen the host's inputs into pool buffers. Acquiring the full run size every time
        // keeps the records at one size, so none of them grows on this thread.
        for (int channel = 0; channel < channels; ++channel)
        {
            const uint32_t handle = context->acquire(runBytes);
            if (handle == CDCDAWContext::kInvalidHandle)
                continue;
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
            mainInput->push(channel, handle, count);
        }
        modMain->update(changes);
        modOutput->update(nullptr);
        modMain->process();
        modOutput->write(outputs, offset, count);
        if (changes)
        {
            paramCollector->releaseChanges(changes);
            changes = nullptr;
        }
    }
    if (changes)
        paramCollector->releaseChanges(changes);
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
