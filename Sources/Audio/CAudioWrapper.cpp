#include "Audio/CAudioWrapper.h"

#include "Audio/CAudioCreators.h"
#include "Audio/CAudioCCTable.h"
#include "Audio/CAudioEnv.h"
#include "Audio/CAudioExtParamList.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamStorage.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBank.h"
#include "Audio/CAudioProcess.h"
#include "Audio/CAudioVizCollector.h"
#include "Audio/CAudioProcessDef.h"
#include "Audio/CAudioProcessPort.h"
#include "Audio/CDCDAWContext.h"
#include "Audio/CDCDAWContextObject.h"
#include "Audio/Modules/CModBypass.h"
#include "Audio/Modules/CModOutput.h"
#include "Audio/Modules/CModZumbel.h"
#include "Audio/Modules/CModZumbelModule.h"
#include "Core/CApplication.h"
#include "Core/CByteBuffer.h"
#include "Core/CGlobalData.h"
#include "Core/CLocalData.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CObject.h"
#include "Core/CSystem.h"
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

// Parameters whose value is a process-wide setting, and the store each lives in.
struct GlobalParamRow
{
    const char* paramName;
    const char* key;
    bool inGlobalStore;
};
constexpr GlobalParamRow kGlobalParamRows[] = {
    {"plugin.modMain.meter-rmstime", "integration-time", false},
    {"plugin.modMain.meter-releasetime", "release-time", false},
    {"plugin.modMain.meter-peaktime", "peak-level-hold-time", false},
    {"plugin.modMain.denorm-enable", "denorm-enable", true},
};

// A process-wide setting as text; empty when it is missing or cannot be read.
CString readSetting(CApplicationData& store, const char* key)
{
    CString text;
    if (CError* error = store.readString(CString(key), text))
    {
        delete error;
        return CString();
    }
    return text;
}

// Parses a decimal number made of digits only; false for anything else or too many digits.
bool parseDecimal(const char* text, size_t length, int& out)
{
    if (length == 0 || length > 6)
        return false;
    int value = 0;
    for (size_t n = 0; n < length; ++n)
    {
        if (text[n] < '0' || text[n] > '9')
            return false;
        value = value * 10 + (text[n] - '0');
    }
    out = value;
    return true;
}
} // namespace

// ---- CGlobalParam ----

CAudioWrapper::CGlobalParam::CGlobalParam(CAudioParam& boundParam, CApplicationData& settingsStore,
                                          const char* settingsKey)
    : param(boundParam), store(settingsStore), key(settingsKey)
{
    CAudioParamContext context(this);
    CAudioParam::CGuard guard(param, &context);
    param.addListener(this, context, &guard);
}

CAudioWrapper::CGlobalParam::~CGlobalParam()
{
    param.removeListener(this);
}

void CAudioWrapper::CGlobalParam::applyStored()
{
    const CString text = readSetting(store, key);
    if (text.isEmpty())
        return;
    double value = 0.0;
    if (!text.parseDouble(value))
        return;
    CAudioParamContext context(this);
    param.setValue(0, 0, value, context);
}

void CAudioWrapper::CGlobalParam::onParamChange(CAudioParam& changed,
                                                const CAudioParamChange& change,
                                                CAudioParamContext& context,
                                                const CAudioParam::CGuard& held)
{
    if (context.origin == this || change.group == CAudioParamChange::kDefinitionGroup)
        return;
    // The store does file I/O: it runs once the parameter's lock is left.
    context.addDeferred(this, changed.getValue(0, 0, &held));
}

void CAudioWrapper::CGlobalParam::onDeferredValue(double value)
{
    if (CError* error = store.writeString(CString(key), CString::fromDouble(value)))
        CSystem::showError(error);
}

// ---- CProgramChangeBridge ----

void CAudioWrapper::CProgramChangeBridge::onRegistryChanged(CAudioParamRegistry& /*registry*/,
                                                            const void* origin)
{
    // The host asked for this change itself; it knows.
    if (origin != static_cast<const void*>(&wrapper))
        wrapper.hostUpdateDisplay();
}

CAudioWrapper::CAudioWrapper()
{
    // Names the registrations of what the instance's tree holds, so that the library's hooks
    // come along with this object.
    CApplication::addCreatorRegistration(&CAudioCreators::registerAll);
}

CAudioWrapper::~CAudioWrapper()
{
    teardown();
}

void CAudioWrapper::teardown()
{
    // Deferred kernel work may name the processes' buffers: it runs before they go.
    if (CDCDAWContext* context = getContext())
        context->runDeferred();
    if (progChangeBridgeAdded && paramRegistry)
        paramRegistry->removeListener(&progChangeBridge);
    progChangeBridgeAdded = false;
    if (interfaceBase)
        interfaceBase->setInstanceHook(nullptr);
    for (CGlobalParam*& global : globalParams)
    {
        delete global;
        global = nullptr;
    }
    // The processes give their buffers back to the context, which the tree owns: they go first.
    delete modOutput;
    modOutput = nullptr;
    delete modMain;
    modMain = nullptr;
    zumbel = nullptr;
    bypass = nullptr;
    hostOversamplingParam = hostOfflineParam = hostLatencyChangeParam = nullptr;
    hostBpmParam = bypassParam = nullptr;
    if (rootObject)
        CApplication::destroyRootObject(rootObject);
    rootObject = nullptr;
    pluginObject = nullptr;
    contextObject = nullptr;
    audioEnv = nullptr;
    paramCollector = nullptr;
    vizCollector = nullptr;
    interfaceBase = nullptr;
    extParamList = nullptr;
    ccTable = nullptr;
    paramRegistry = nullptr;
    modMainDef = nullptr;
    modOutputDef = nullptr;
    graphChannels = 0;
    delete chunkBuffer;
    chunkBuffer = nullptr;
}

CError* CAudioWrapper::init()
{
    if (initialised)
        return nullptr;
    CError* error = buildTree();
    if (!error)
        error = readIdentity();
    if (!error)
        error = findParts();
    if (!error)
        error = buildGraph();
    if (!error)
        error = bindGlobalParams();
    if (error)
    {
        teardown();
        return error;
    }
    resolveHostParams();
    paramRegistry->addListener(&progChangeBridge);
    progChangeBridgeAdded = true;
    interfaceBase->setInstanceHook(this);
    interfaceBase->updateInternalChannelCount(intChannelCount);
    interfaceBase->updateGroupCount(groupCount);

    setChannelCount(intChannelCount);
    layoutChanged = true;
    latencyStable = false;
    ioChangePending = false;
    sideChannels = 0;
    CString level = readSetting(CGlobalData::get(), "oversampling-level");
    int32_t levelValue = 1;
    oversamplingLevel = !level.isEmpty() && level.parseInt(levelValue) ? levelValue : 1;
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
    hasSidechain = pluginObject->getAttrBool(CString("sidechain"));
    return nullptr;
}

CError* CAudioWrapper::readIdentity()
{
    CObject* project = nullptr;
    KEL_CHECK(pluginObject->findObjectChecked(CString("shared::project"), project));
    pluginName = project->getAttrString(CString("app-name"));
    if (pluginName.isEmpty())
        return KEL_ERROR("@kelstr_CAudioWrapper_init_PluginNameEmpty Plug-in name is empty.");
    vendorName = project->getAttrString(CString("app-vendor"));
    if (vendorName.isEmpty())
        return KEL_ERROR("@kelstr_CAudioWrapper_init_VendorNameEmpty Vendor name is empty.");
    useHostBpm = pluginObject->getAttrBool(CString("use-host-bpm"));

    const int32_t channels = pluginObject->getAttrInt(CString("plugin-intchannel-count"));
    if (channels < 1 || channels > kMaxChannels)
        return KEL_ERROR("@kelstr_CAudioWrapper_init_InvalidIntChannelCount Invalid "
                         "'plugin-intchannel-count' attribute value.");
    intChannelCount = channels;
    const int32_t groups = pluginObject->getAttrInt(CString("plugin-group-count"));
    if (groups < 1 || groups > CAudioProcessTerminal::kMaxGroups)
        return KEL_ERROR("@kelstr_CAudioWrapper_init_InvalidGroupCount Invalid "
                         "'plugin-group-count' attribute value.");
    groupCount = groups;

    KEL_CHECK(acquirePluginCode(project->getAttrString(CString("plugin-code")), pluginCode));
    KEL_CHECK(parseVersion(project->getAttrString(CString("app-version")), versionMajor,
                           versionMinor, versionMicro));
    return nullptr;
}

CError* CAudioWrapper::acquirePluginCode(const CString& text, uint32_t& outCode)
{
    char bytes[8] = {};
    if (text.getLength() != 4 || text.isWide())
        return KEL_ERROR("@kelstr_CAudioWrapper_acquirePluginCode_PluginCodeError Invalid plug-in "
                         "code in string '%1'.",
                         text);
    text.toUtf8(bytes, sizeof(bytes));
    uint32_t code = 0;
    for (int n = 0; n < 4; ++n)
        code = (code << 8) | static_cast<uint8_t>(bytes[n]);
    outCode = code;
    return nullptr;
}

CError* CAudioWrapper::parseVersion(const CString& text, int& outMajor, int& outMinor,
                                    int& outMicro)
{
    char buffer[64] = {};
    int numbers[3] = {0, 0, 0};
    int count = 0;
    bool ok = !text.isWide() && text.getLength() > 0 && text.getLength() < 32;
    if (ok)
    {
        text.toUtf8(buffer, sizeof(buffer));
        const char* piece = buffer;
        for (;;)
        {
            const char* dot = std::strchr(piece, '.');
            const size_t length = dot ? static_cast<size_t>(dot - piece) : std::strlen(piece);
            if (count == 3 || !parseDecimal(piece, length, numbers[count]))
            {
                ok = false;
                break;
            }
            ++count;
            if (!dot)
                break;
            piece = dot + 1;
        }
    }
    if (!ok || count < 2)
        return KEL_ERROR("@kelstr_CAudioWrapper_parseVersion_InvalidVersion Invalid version "
                         "specification in string '%1'.",
                         text);
    outMajor = numbers[0];
    outMinor = numbers[1];
    outMicro = numbers[2];
    return nullptr;
}

CError* CAudioWrapper::findParts()
{
    KEL_CHECK(pluginObject->findObjectChecked(CString("plugin.dcdaw-context"), contextObject));
    KEL_CHECK(pluginObject->findObjectChecked(CString("plugin.audio-env"), audioEnv));
    KEL_CHECK(pluginObject->findObjectChecked(CString("plugin.param-collector"), paramCollector));
    KEL_CHECK(pluginObject->findObjectChecked(CString("plugin.viz-collector"), vizCollector));
    KEL_CHECK(pluginObject->findObjectChecked(CString("plugin.interface-base"), interfaceBase));
    KEL_CHECK(pluginObject->findObjectChecked(CString("plugin.ext-param-list"), extParamList));
    KEL_CHECK(pluginObject->findObjectChecked(CString("plugin.cctable"), ccTable));
    KEL_CHECK(pluginObject->findObjectChecked(CString("plugin.param-registry"), paramRegistry));
    KEL_CHECK(pluginObject->findObjectChecked(CString("shared::audio.modMain"), modMainDef));
    KEL_CHECK(pluginObject->findObjectChecked(CString("shared::audio.modOutput"), modOutputDef));
    if (!contextObject->getContext())
        KEL_CHECK(contextObject->init());
    return nullptr;
}

CError* CAudioWrapper::buildGraph()
{
    paramCollector->setGroupLimit(CAudioProcessTerminal::kMaxGroups);

    CAudioProcessBase* made = nullptr;
    KEL_CHECK(modMainDef->createProcess(made));
    modMain = static_cast<CAudioProcess*>(made);
    CAudioProcessBase::CBuild mainBuild;
    mainBuild.collector = paramCollector;
    mainBuild.env = audioEnv;
    mainBuild.def = modMainDef;
    mainBuild.path = CString("plugin.modMain");
    KEL_CHECK(modMain->init(mainBuild));

    made = nullptr;
    KEL_CHECK(modOutputDef->createProcess(made));
    modOutput = dynamic_cast<CModOutput*>(made);
    if (!modOutput)
    {
        delete made;
        return KEL_ERROR("@kelstr_CAudioWrapper_init_InvalidOutProcessType Output process object "
                         "'shared::audio.modOutput' is not of required 'CModOutput' type.");
    }
    CAudioProcessBase::CBuild outputBuild = mainBuild;
    outputBuild.def = modOutputDef;
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

CError* CAudioWrapper::bindGlobalParams()
{
    int n = 0;
    for (const GlobalParamRow& row : kGlobalParamRows)
    {
        CAudioParam* param = paramCollector->findParam(CString(row.paramName));
        if (!param)
            return KEL_ERROR("@kelstr_CAudioWrapper_init_NoGlobalParam Parameter '%1' not found.",
                             row.paramName);
        CApplicationData& store = row.inGlobalStore
                                      ? static_cast<CApplicationData&>(CGlobalData::get())
                                      : static_cast<CApplicationData&>(CLocalData::get());
        globalParams[n++] = new CGlobalParam(*param, store, row.key);
    }
    return nullptr;
}

void CAudioWrapper::resolveHostParams()
{
    hostOversamplingParam =
        paramCollector->findParam(CString("plugin.modMain.host-oversampling-mode"));
    hostOfflineParam = paramCollector->findParam(CString("plugin.modMain.host-offline"));
    hostLatencyChangeParam =
        paramCollector->findParam(CString("plugin.modMain.host-latency-change"));
    hostBpmParam = paramCollector->findParam(CString("plugin.modMain.host-bpm"));
    bypassParam = paramCollector->findParam(CString("plugin.modMain.modBypass.enable"));
}

void CAudioWrapper::setHostParam(CAudioParam* param, double value)
{
    if (!param || param->getValue(0, 0) == value)
        return;
    CAudioParamContext context(this);
    param->setValue(0, 0, value, context);
}

void CAudioWrapper::applyHostState()
{
    const bool offline = getOffline();
    setHostParam(hostOfflineParam, offline ? 1.0 : 0.0);
    setHostParam(hostOversamplingParam, offline ? 1.0 : 0.0);
    if (useHostBpm)
        setHostParam(hostBpmParam, tempoBpm);
}

void CAudioWrapper::publishOffline()
{
    setHostParam(hostOfflineParam, getOffline() ? 1.0 : 0.0);
}

bool CAudioWrapper::parseBool(const char* text)
{
    return text && (std::strcmp(text, "1") == 0 || std::strcmp(text, "true") == 0);
}

bool CAudioWrapper::readBoolSetting(const char* key, const char* fallback)
{
    const CString text = readSetting(CGlobalData::get(), key);
    if (text.isEmpty())
        return parseBool(fallback);
    char value[8] = {};
    text.toUtf8(value, static_cast<int>(sizeof(value)));
    return parseBool(value);
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
    if (interfaceBase)
    {
        interfaceBase->updateSampleRate(sampleRateHz);
        interfaceBase->updateIOChannelCounts(runInChannels, runOutChannels, sideChannels);
    }
    // Settings shared by every instance, and what the host told us while running.
    for (CGlobalParam* global : globalParams)
        if (global)
            global->applyStored();
    applyHostState();
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
    if (vizCollector)
        vizCollector->reset();
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
    toldLatencyFrames = getLatencyFrames();
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
    // Meters and the interface learn where in time this block starts.
    if (vizCollector)
        vizCollector->blockStart(clockSec);
    if (interfaceBase)
        interfaceBase->setBlockTimeStamp(clockSec);
    if (sampleRateHz > 0.0)
        clockSec += frames / sampleRateHz;

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
    // A latency other than the one the host was last told (the graph's update moved it): the
    // host hears of it after this block.
    const int latency = getLatencyFrames();
    if (latency != toldLatencyFrames)
    {
        toldLatencyFrames = latency;
        markLatencyChanged();
    }
}

CError* CAudioWrapper::saveChunk(void** data, int32_t* byteCount, bool isPreset, bool hasHeader)
{
    if (!data || !byteCount)
        return KEL_ERROR("@kelstr_CAudioWrapper_saveChunk_NoResult No place for the chunk.");
    *data = nullptr;
    *byteCount = 0;
    if (!paramRegistry)
        return KEL_ERROR("@kelstr_CAudioWrapper_start_NotInitialised Instance is not initialised.");
    // The host keeps what it saves for every parameter that is not the user's own (persistent
    // values come back from the host too).
    CMemoryWriteBuffer payload(4096);
    if (isPreset)
        KEL_CHECK(paramRegistry->acquirePreset(false, -1, -1, payload, true));
    else
        KEL_CHECK(paramRegistry->acquirePreset(false, payload, true));

    if (!chunkBuffer)
        chunkBuffer = new CMemoryWriteBuffer(4096);
    chunkBuffer->clear();
    if (hasHeader)
    {
        const uint8_t reserved[kChunkHeaderBytes] = {};
        KEL_CHECK(chunkBuffer->write(reserved, sizeof(reserved)));
    }
    KEL_CHECK(chunkBuffer->writeCompressedData(payload.getData(), payload.getSize(),
                                               isPreset ? CAudioPreset::kBlockId
                                                        : CAudioPresetBank::kBlockId));
    if (chunkBuffer->getSize() > 0x7FFFFFFF)
        return KEL_ERROR("@kelstr_CAudioWrapper_saveChunk_TooLarge Chunk is too large.");
    *data = const_cast<uint8_t*>(chunkBuffer->getData());
    *byteCount = static_cast<int32_t>(chunkBuffer->getSize());
    return nullptr;
}

CError* CAudioWrapper::loadChunk(const void* data, int32_t byteCount, bool isPreset, bool hasHeader)
{
    const int32_t skip = hasHeader ? kChunkHeaderBytes : 0;
    // Reserved bytes and nothing after them: an empty state.
    if (hasHeader && byteCount <= kChunkHeaderBytes)
        return nullptr;
    if (!data || byteCount <= skip)
        return KEL_ERROR("@kelstr_CAudioWrapper_loadChunk_Empty Chunk holds no data.");
    if (!paramRegistry)
        return KEL_ERROR("@kelstr_CAudioWrapper_start_NotInitialised Instance is not initialised.");
    // The block is read whole before anything is applied: a damaged chunk changes nothing.
    CMemoryReader reader(static_cast<const uint8_t*>(data) + skip,
                         static_cast<size_t>(byteCount - skip));
    CByteBuffer payload;
    KEL_CHECK(reader.readCompressedData(payload, isPreset ? CAudioPreset::kBlockId
                                                          : CAudioPresetBank::kBlockId));
    // Every value of every preset must decode before anything is applied: a key the instance
    // does not know yet is kept with its value, so a half-applied payload would leave some.
    KEL_CHECK(checkPayload(payload, isPreset));
    // A payload that reads but cannot be applied in full (a value that does not decode) must
    // not leave half a state behind: the state before goes back in.
    CMemoryWriteBuffer before(4096);
    KEL_CHECK(paramRegistry->acquirePreset(false, before, true));
    CMemoryReader payloadReader(payload.getData(), payload.getSize());
    CError* failure = isPreset ? paramRegistry->activatePreset(payloadReader, true, -1)
                               : paramRegistry->activateBank(payloadReader, true);
    if (failure)
    {
        CMemoryReader restore(before.getData(), before.getSize());
        if (CError* restoreError = paramRegistry->activateBank(restore, true))
            delete restoreError;
        KEL_CHECK(failure);
    }
    return nullptr;
}

CError* CAudioWrapper::checkPayload(const CByteBuffer& payload, bool isPreset)
{
    CMemoryReader reader(payload.getData(), payload.getSize());
    CAudioPresetBank bank;
    if (isPreset)
    {
        bank.setCount(1);
        KEL_CHECK(bank.getPreset(0)->load(reader));
    }
    else
        KEL_CHECK(bank.load(reader));
    for (int index = 0; index < bank.getCount(); ++index)
    {
        const CAudioPreset& preset = *bank.getPreset(index);
        for (const auto& entry : preset.getEntries())
        {
            CString path;
            CAudioParamStorage values;
            KEL_CHECK(preset.readEntryValues(entry.first, path, values));
        }
    }
    return nullptr;
}

int CAudioWrapper::getProgramCount() const
{
    return paramRegistry ? paramRegistry->getSessionCount() : 0;
}

int CAudioWrapper::getCurrentProgram() const
{
    return paramRegistry ? paramRegistry->getCurrentIndex() : 0;
}

void CAudioWrapper::selectProgram(int program, const void* origin)
{
    if (!paramRegistry || program < 0 || program >= paramRegistry->getSessionCount())
        return;
    if (CError* error = paramRegistry->selectPreset(program, origin))
        CSystem::showError(error);
}

CString CAudioWrapper::getProgramName(int program) const
{
    return paramRegistry ? paramRegistry->getPresetName(program) : CString();
}

void CAudioWrapper::renameCurrentProgram(const CString& name, const void* origin)
{
    if (paramRegistry)
        paramRegistry->setPresetName(paramRegistry->getCurrentIndex(), name, origin);
}

} // namespace kel
