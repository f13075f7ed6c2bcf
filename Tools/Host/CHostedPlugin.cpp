#include "CHostedPlugin.h"

#include "CVstHost.h"

#include "Core/Platform/CThisThread.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace kel
{

namespace
{
// The plug-in calls back before its entry has returned, when its record (and so our 'user'
// pointer in it) is not yet known to us.
thread_local CHostedPlugin* tLoading = nullptr;

void fillArrangement(VstSpeakerArrangement& arrangement, int channels)
{
    std::memset(&arrangement, 0, sizeof(arrangement));
    if (channels < 0)
        channels = 0;
    if (channels > 8)
        channels = 8;
    arrangement.numChannels = channels;
    arrangement.type = channels == 0   ? kArrangementEmpty
                       : channels == 1 ? kArrangementMono
                       : channels == 2 ? kArrangementStereo
                                       : kArrangementUserDefined;
    for (int ch = 0; ch < channels; ++ch)
    {
        VstSpeakerProperties& speaker = arrangement.speakers[ch];
        std::snprintf(speaker.name, sizeof(speaker.name), "%d", ch + 1);
        speaker.azimuth = channels == 2 ? (ch == 0 ? -0.5f : 0.5f) : 0.0f;
    }
}
} // namespace

CHostedPlugin::CHostedPlugin(CVstHost& owner) : host(owner)
{
    // Reserved now so that recording a callback on the audio thread never allocates.
    dispatchLog.reserve(kLogLimit);
    callbackLog.reserve(kLogLimit);
}

CHostedPlugin::~CHostedPlugin()
{
    unload();
}

CError* CHostedPlugin::load(const char* path)
{
    unload();
    KEL_CHECK(library.open(path));
    const char* slash = std::strrchr(path, '/');
    pluginFolder = slash ? std::string(path, slash - path) : std::string(".");
    return takeEffect(library.getEntry(), path);
}

CError* CHostedPlugin::attach(VstEntryProc entry, const char* name)
{
    unload();
    pluginFolder = ".";
    return takeEffect(entry, name);
}

CError* CHostedPlugin::takeEffect(VstEntryProc entry, const char* name)
{
    tLoading = this;
    AEffect* made = entry ? entry(&CHostedPlugin::hostCallback) : nullptr;
    tLoading = nullptr;
    if (!made)
    {
        library.close();
        return KEL_ERROR("@kelstr_CHostedPlugin_load_Refused The plug-in '%1' refused to load.",
                         name);
    }
    if (made->magic != kVstEffectMagic)
    {
        // Not ours to delete: without a valid record there is no dispatcher to close it.
        library.close();
        return KEL_ERROR(
            "@kelstr_CHostedPlugin_load_BadMagic '%1' did not return an effect record.", name);
    }
    made->user = this;
    effect = made;
    opened = false;
    active = false;
    framesProcessed = 0;
    processCalls = 0;
    return nullptr;
}

void CHostedPlugin::unload()
{
    if (effect)
    {
        if (active)
            setActive(false);
        // Also a record that was never opened is deleted by effClose.
        close();
    }
    library.close();
}

intptr_t CHostedPlugin::dispatch(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                                 float opt)
{
    if (!effect || !effect->dispatcher)
        return 0;
    record(dispatchLog, dispatchCounts, opcode, index, value, opt);
    return effect->dispatcher(effect, opcode, index, value, ptr, opt);
}

void CHostedPlugin::open()
{
    dispatch(kEffOpen);
    opened = true;
}

intptr_t CHostedPlugin::close()
{
    if (!effect)
        return 0;
    const intptr_t answer = dispatch(kEffClose);
    effect = nullptr;
    opened = false;
    active = false;
    return answer;
}

void CHostedPlugin::setSampleRate(double rateHz)
{
    sampleRateHz = rateHz;
    dispatch(kEffSetSampleRate, 0, 0, nullptr, static_cast<float>(rateHz));
}

void CHostedPlugin::setBlockSize(int frames)
{
    blockSize = frames;
    dispatch(kEffSetBlockSize, 0, frames);
}

void CHostedPlugin::setActive(bool on)
{
    if (on)
        reserveBuffers(blockSize);
    dispatch(kEffMainsChanged, 0, on ? 1 : 0);
    active = on;
}

void CHostedPlugin::reserveBuffers(int frames)
{
    if (!effect)
        return;
    const int pinsIn = effect->numInputs;
    const int pinsOut = effect->numOutputs;
    floatIn.reserve(pinsIn, frames);
    floatOut.reserve(pinsOut, frames);
    doubleIn.reserve(pinsIn, frames);
    doubleOut.reserve(pinsOut, frames);
    if (static_cast<int>(floatCallOut.size()) < pinsOut + 1)
        floatCallOut.resize(pinsOut + 1);
    if (static_cast<int>(doubleCallOut.size()) < pinsOut + 1)
        doubleCallOut.resize(pinsOut + 1);
}

void CHostedPlugin::startProcess()
{
    dispatch(kEffStartProcess);
}

void CHostedPlugin::stopProcess()
{
    dispatch(kEffStopProcess);
}

void CHostedPlugin::start(double rateHz, int blockFrames)
{
    setSampleRate(rateHz);
    setBlockSize(blockFrames);
    setActive(true);
}

int CHostedPlugin::getNumInputs() const
{
    return effect ? effect->numInputs : 0;
}

int CHostedPlugin::getNumOutputs() const
{
    return effect ? effect->numOutputs : 0;
}

int CHostedPlugin::getNumParams() const
{
    return effect ? effect->numParams : 0;
}

int CHostedPlugin::getNumPrograms() const
{
    return effect ? effect->numPrograms : 0;
}

int32_t CHostedPlugin::getFlags() const
{
    return effect ? effect->flags : 0;
}

int32_t CHostedPlugin::getUniqueId() const
{
    return effect ? effect->uniqueID : 0;
}

int32_t CHostedPlugin::getVersion() const
{
    return effect ? effect->version : 0;
}

int32_t CHostedPlugin::getInitialDelay() const
{
    return effect ? effect->initialDelay : 0;
}

std::string CHostedPlugin::queryText(int32_t opcode, int32_t index)
{
    // Oversized and pre-filled, so that the bytes a plug-in really writes can be counted.
    char buffer[kTextBufferBytes];
    std::memset(buffer, 0xA5, sizeof(buffer));
    dispatch(opcode, index, 0, buffer);
    int written = kTextBufferBytes;
    while (written > 0 && static_cast<unsigned char>(buffer[written - 1]) == 0xA5)
        --written;
    lastTextBytes = written;
    buffer[kTextBufferBytes - 1] = 0;
    return written > 0 ? std::string(buffer) : std::string();
}

std::string CHostedPlugin::getEffectName()
{
    return queryText(kEffGetEffectName, 0);
}

std::string CHostedPlugin::getVendorString()
{
    return queryText(kEffGetVendorString, 0);
}

std::string CHostedPlugin::getProductString()
{
    return queryText(kEffGetProductString, 0);
}

int32_t CHostedPlugin::getVendorVersion()
{
    return static_cast<int32_t>(dispatch(kEffGetVendorVersion));
}

int32_t CHostedPlugin::getVstVersion()
{
    return static_cast<int32_t>(dispatch(kEffGetVstVersion));
}

int32_t CHostedPlugin::getCategory()
{
    return static_cast<int32_t>(dispatch(kEffGetPlugCategory));
}

intptr_t CHostedPlugin::canDo(const char* text)
{
    return dispatch(kEffCanDo, 0, 0, const_cast<char*>(text));
}

bool CHostedPlugin::getEditorRect(int& width, int& height)
{
    ERect* rect = nullptr;
    dispatch(kEffEditGetRect, 0, 0, &rect);
    if (!rect)
        return false;
    width = rect->right - rect->left;
    height = rect->bottom - rect->top;
    return true;
}

void CHostedPlugin::setParameter(int index, float valueNorm)
{
    if (effect && effect->setParameter)
        effect->setParameter(effect, index, valueNorm);
}

float CHostedPlugin::getParameter(int index)
{
    return effect && effect->getParameter ? effect->getParameter(effect, index) : 0.0f;
}

std::string CHostedPlugin::getParameterName(int index)
{
    return queryText(kEffGetParamName, index);
}

std::string CHostedPlugin::getParameterLabel(int index)
{
    return queryText(kEffGetParamLabel, index);
}

std::string CHostedPlugin::getParameterDisplay(int index)
{
    return queryText(kEffGetParamDisplay, index);
}

bool CHostedPlugin::canBeAutomated(int index)
{
    return dispatch(kEffCanBeAutomated, index) != 0;
}

bool CHostedPlugin::getParameterProperties(int index, VstParameterProperties& properties)
{
    std::memset(&properties, 0, sizeof(properties));
    return dispatch(kEffGetParameterProperties, index, 0, &properties) != 0;
}

int CHostedPlugin::getProgram()
{
    return static_cast<int>(dispatch(kEffGetProgram));
}

void CHostedPlugin::setProgram(int program)
{
    dispatch(kEffSetProgram, 0, program);
}

std::string CHostedPlugin::getProgramName()
{
    return queryText(kEffGetProgramName, 0);
}

void CHostedPlugin::setProgramName(const char* name)
{
    dispatch(kEffSetProgramName, 0, 0, const_cast<char*>(name));
}

std::string CHostedPlugin::getProgramNameIndexed(int program)
{
    return queryText(kEffGetProgramNameIndexed, program);
}

std::vector<uint8_t> CHostedPlugin::getChunk(bool preset)
{
    void* data = nullptr;
    const intptr_t bytes = dispatch(kEffGetChunk, preset ? 1 : 0, 0, &data);
    if (!data || bytes <= 0)
        return {};
    const auto* begin = static_cast<const uint8_t*>(data);
    return std::vector<uint8_t>(begin, begin + bytes);
}

intptr_t CHostedPlugin::setChunk(const void* data, size_t bytes, bool preset)
{
    return dispatch(kEffSetChunk, preset ? 1 : 0, static_cast<intptr_t>(bytes),
                    const_cast<void*>(data));
}

intptr_t CHostedPlugin::setSpeakerArrangement(int inChannels, int outChannels)
{
    fillArrangement(inArrangement, inChannels);
    fillArrangement(outArrangement, outChannels);
    return dispatch(kEffSetSpeakerArrangement, 0, reinterpret_cast<intptr_t>(&inArrangement),
                    &outArrangement);
}

bool CHostedPlugin::getSpeakerArrangement(int& inChannels, int& outChannels)
{
    VstSpeakerArrangement* in = nullptr;
    VstSpeakerArrangement* out = nullptr;
    const intptr_t answer =
        dispatch(kEffGetSpeakerArrangement, 0, reinterpret_cast<intptr_t>(&in), &out);
    if (!answer || !in || !out)
        return false;
    inChannels = in->numChannels;
    outChannels = out->numChannels;
    return true;
}

intptr_t CHostedPlugin::setProcessPrecision(bool doublePrecision)
{
    return dispatch(kEffSetProcessPrecision, 0,
                    doublePrecision ? kProcessPrecision64 : kProcessPrecision32);
}

void CHostedPlugin::setProcessMode(bool doublePrecision, bool inPlace)
{
    doubleMode = doublePrecision;
    inPlaceMode = inPlace;
}

void CHostedPlugin::setTransportPlaying(bool playing)
{
    transportPlaying = playing;
}

void CHostedPlugin::setSamplePosition(int64_t frames)
{
    framesProcessed = frames;
}

void CHostedPlugin::fillTimeInfo(VstTimeInfo& info) const
{
    const double tempo = host.getTempo();
    std::memset(&info, 0, sizeof(info));
    info.samplePos = static_cast<double>(framesProcessed.load());
    info.sampleRate = sampleRateHz;
    const double seconds = info.samplePos / sampleRateHz;
    info.nanoSeconds = seconds * 1e9;
    info.tempo = tempo;
    info.ppqPos = seconds * tempo / 60.0;
    info.barStartPos = std::floor(info.ppqPos / 4.0) * 4.0;
    info.timeSigNumerator = 4;
    info.timeSigDenominator = 4;
    info.flags = kTimeNanosValid | kTimePpqPosValid | kTimeTempoValid | kTimeBarsValid |
                 kTimeTimeSigValid | (transportPlaying ? kTimeTransportPlaying : 0);
}

CError* CHostedPlugin::processBlock(const float* const* inputs, int inChannels,
                                    float* const* outputs, int outChannels, int frames)
{
    return processBlockOf(inputs, inChannels, outputs, outChannels, frames);
}

CError* CHostedPlugin::processBlock(const double* const* inputs, int inChannels,
                                    double* const* outputs, int outChannels, int frames)
{
    return processBlockOf(inputs, inChannels, outputs, outChannels, frames);
}

CError* CHostedPlugin::process(const float* const* inputs, int inChannels, float* const* outputs,
                               int outChannels, int64_t frames, const std::vector<int>& blockSizes)
{
    return processWhole(inputs, inChannels, outputs, outChannels, frames, blockSizes);
}

CError* CHostedPlugin::process(const double* const* inputs, int inChannels, double* const* outputs,
                               int outChannels, int64_t frames, const std::vector<int>& blockSizes)
{
    return processWhole(inputs, inChannels, outputs, outChannels, frames, blockSizes);
}

template <typename S>
CError* CHostedPlugin::processBlockOf(const S* const* inputs, int inChannels, S* const* outputs,
                                      int outChannels, int frames)
{
    if (!effect)
        return KEL_ERROR("@kelstr_CHostedPlugin_process_NotLoaded No plug-in is loaded.");
    if (frames < 0)
        return KEL_ERROR("@kelstr_CHostedPlugin_process_BadFrames Invalid frame count %1.", frames);
    if (doubleMode)
    {
        if (!effect->processDoubleReplacing)
            return KEL_ERROR(
                "@kelstr_CHostedPlugin_process_NoDouble The plug-in cannot process doubles.");
        return runCall(doubleIn, doubleOut, inputs, inChannels, outputs, outChannels, frames);
    }
    if (!effect->processReplacing)
        return KEL_ERROR(
            "@kelstr_CHostedPlugin_process_NoReplacing The plug-in has no replacing process.");
    return runCall(floatIn, floatOut, inputs, inChannels, outputs, outChannels, frames);
}

template <typename T, typename S>
CError* CHostedPlugin::runCall(CGuardedChannels<T>& in, CGuardedChannels<T>& out,
                               const S* const* inputs, int inChannels, S* const* outputs,
                               int outChannels, int frames)
{
    const int pinsIn = effect->numInputs;
    const int pinsOut = effect->numOutputs;
    const int capacity = frames > blockSize ? frames : blockSize;
    in.reserve(pinsIn, capacity);
    out.reserve(pinsOut, capacity);
    T** inPtrs = in.arm(frames);
    T** outPtrs = out.arm(frames);

    for (int ch = 0; ch < pinsIn; ++ch)
    {
        const S* source = ch < inChannels && inputs ? inputs[ch] : nullptr;
        T* data = inPtrs[ch];
        for (int i = 0; i < frames; ++i)
            data[i] = source ? static_cast<T>(source[i]) : T(0);
    }

    // In place, the first channels share one buffer; only the rest have outputs of their own.
    const int shared = inPlaceMode ? (pinsIn < pinsOut ? pinsIn : pinsOut) : 0;
    std::vector<T*>& callOut = [this]() -> std::vector<T*>&
    {
        if constexpr (sizeof(T) == sizeof(float))
            return floatCallOut;
        else
            return doubleCallOut;
    }();
    if (static_cast<int>(callOut.size()) < pinsOut + 1)
        callOut.resize(pinsOut + 1);
    for (int ch = 0; ch < pinsOut; ++ch)
        callOut[ch] = ch < shared ? inPtrs[ch] : outPtrs[ch];

    const uint64_t thread = CThisThread::id();
    processThreadId = thread;
    threadInProcess = thread;
    fillTimeInfo(timeInfo);
    if constexpr (sizeof(T) == sizeof(float))
        effect->processReplacing(effect, inPtrs, callOut.data(), frames);
    else
        effect->processDoubleReplacing(effect, inPtrs, callOut.data(), frames);
    threadInProcess = 0;

    const int64_t position = framesProcessed;
    framesProcessed += frames;
    ++processCalls;

    if (int ch = in.findGuardDamage(); ch >= 0)
        return KEL_ERROR("@kelstr_CHostedPlugin_process_InputOverrun Input %1 was written outside "
                         "its %2 frames in the call at frame %3.",
                         ch, frames, position);
    if (int ch = out.findGuardDamage(); ch >= 0)
        return KEL_ERROR(
            "@kelstr_CHostedPlugin_process_OutputOverrun Output %1 was written outside "
            "its %2 frames in the call at frame %3.",
            ch, frames, position);
    if (!inPlaceMode)
    {
        for (int ch = 0; ch < pinsIn; ++ch)
        {
            const S* source = ch < inChannels && inputs ? inputs[ch] : nullptr;
            for (int i = 0; i < frames; ++i)
            {
                const T expected = source ? static_cast<T>(source[i]) : T(0);
                if (std::memcmp(&expected, &inPtrs[ch][i], sizeof(T)) != 0)
                    return KEL_ERROR("@kelstr_CHostedPlugin_process_InputChanged Input %1 was "
                                     "changed at frame %2 of the call at frame %3.",
                                     ch, i, position);
            }
        }
    }
    for (int ch = shared; ch < pinsOut; ++ch)
        for (int i = 0; i < frames; ++i)
            if (CGuardedChannels<T>::isPattern(callOut[ch][i]))
                return KEL_ERROR("@kelstr_CHostedPlugin_process_OutputUnwritten Output %1 was not "
                                 "written at frame %2 of the call at frame %3.",
                                 ch, i, position);

    for (int ch = 0; ch < outChannels; ++ch)
    {
        S* target = outputs ? outputs[ch] : nullptr;
        if (!target)
            continue;
        const T* data = ch < pinsOut ? callOut[ch] : nullptr;
        for (int i = 0; i < frames; ++i)
            target[i] = data ? static_cast<S>(data[i]) : S(0);
    }
    return nullptr;
}

template <typename S>
CError* CHostedPlugin::processWhole(const S* const* inputs, int inChannels, S* const* outputs,
                                    int outChannels, int64_t frames,
                                    const std::vector<int>& blockSizes)
{
    if (blockSizes.empty())
        return KEL_ERROR("@kelstr_CHostedPlugin_process_NoBlockSize No block size given.");
    // Pointer arrays on the stack for the usual channel counts: nothing allocated per call.
    constexpr int kInlineChannels = 64;
    const S* inInline[kInlineChannels] = {};
    S* outInline[kInlineChannels] = {};
    std::vector<const S*> inHeap(inChannels > kInlineChannels ? inChannels : 0);
    std::vector<S*> outHeap(outChannels > kInlineChannels ? outChannels : 0);
    const S** inAt = inHeap.empty() ? inInline : inHeap.data();
    S** outAt = outHeap.empty() ? outInline : outHeap.data();
    int64_t done = 0;
    size_t next = 0;
    while (done < frames)
    {
        int frameCount = blockSizes[next++ % blockSizes.size()];
        if (frameCount <= 0)
            return KEL_ERROR("@kelstr_CHostedPlugin_process_BadFrames Invalid frame count %1.",
                             frameCount);
        if (frameCount > frames - done)
            frameCount = static_cast<int>(frames - done);
        for (int ch = 0; ch < inChannels; ++ch)
            inAt[ch] = inputs && inputs[ch] ? inputs[ch] + done : nullptr;
        for (int ch = 0; ch < outChannels; ++ch)
            outAt[ch] = outputs && outputs[ch] ? outputs[ch] + done : nullptr;
        KEL_CHECK(processBlockOf(inAt, inChannels, outAt, outChannels, frameCount));
        done += frameCount;
    }
    return nullptr;
}

void CHostedPlugin::record(std::vector<CCallRecord>& log, std::atomic<int64_t>* counts,
                           int32_t opcode, int32_t index, intptr_t value, float opt)
{
    if (opcode >= 0 && opcode < kOpcodeSlots)
        counts[opcode].fetch_add(1, std::memory_order_relaxed);
    std::lock_guard<std::mutex> guard(recordMutex);
    if (log.size() < kLogLimit)
        log.push_back(CCallRecord{opcode, index, value, opt, CThisThread::id()});
}

std::vector<CHostedPlugin::CCallRecord> CHostedPlugin::getDispatchLog() const
{
    std::lock_guard<std::mutex> guard(recordMutex);
    return dispatchLog;
}

std::vector<CHostedPlugin::CCallRecord> CHostedPlugin::getCallbackLog() const
{
    std::lock_guard<std::mutex> guard(recordMutex);
    return callbackLog;
}

std::vector<CHostedPlugin::CCallRecord> CHostedPlugin::getCallbacks(int32_t opcode) const
{
    std::lock_guard<std::mutex> guard(recordMutex);
    std::vector<CCallRecord> found;
    for (const CCallRecord& entry : callbackLog)
        if (entry.opcode == opcode)
            found.push_back(entry);
    return found;
}

int64_t CHostedPlugin::countDispatches(int32_t opcode) const
{
    return opcode >= 0 && opcode < kOpcodeSlots ? dispatchCounts[opcode].load() : 0;
}

int64_t CHostedPlugin::countCallbacks(int32_t opcode) const
{
    return opcode >= 0 && opcode < kOpcodeSlots ? callbackCounts[opcode].load() : 0;
}

void CHostedPlugin::clearRecords()
{
    std::lock_guard<std::mutex> guard(recordMutex);
    dispatchLog.clear();
    callbackLog.clear();
    for (auto& count : dispatchCounts)
        count = 0;
    for (auto& count : callbackCounts)
        count = 0;
}

intptr_t CHostedPlugin::hostCallback(AEffect* fromEffect, int32_t opcode, int32_t index,
                                     intptr_t value, void* ptr, float opt)
{
    CHostedPlugin* self =
        fromEffect && fromEffect->user ? static_cast<CHostedPlugin*>(fromEffect->user) : tLoading;
    if (!self)
        return opcode == kHostVersion ? kVstFormatVersion : 0;
    return self->answer(opcode, index, value, ptr, opt);
}

intptr_t CHostedPlugin::answer(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt)
{
    record(callbackLog, callbackCounts, opcode, index, value, opt);
    switch (opcode)
    {
    case kHostVersion:
        return host.getHostVersion();
    case kHostIdle:
        if (host.doesIdleCallEditIdle() && effect)
            dispatch(kEffEditIdle);
        return 1;
    case kHostWantMidi:
        return 1;
    case kHostGetTime:
    {
        if (!host.isTimeInfoEnabled())
            return 0;
        if (threadInProcess.load() == CThisThread::id())
            return reinterpret_cast<intptr_t>(&timeInfo);
        // Other threads get their own record, so that they never race the audio thread's.
        thread_local VstTimeInfo other;
        fillTimeInfo(other);
        return reinterpret_cast<intptr_t>(&other);
    }
    case kHostIOChanged:
    case kHostSizeWindow:
    case kHostUpdateDisplay:
    case kHostBeginEdit:
    case kHostEndEdit:
        return 1;
    case kHostGetSampleRate:
        return static_cast<intptr_t>(sampleRateHz);
    case kHostGetBlockSize:
    {
        const int32_t answerFrames = host.getBlockSizeAnswer();
        return answerFrames == CVstHost::kBlockSizeAsSet ? blockSize : answerFrames;
    }
    case kHostGetCurrentProcessLevel:
    {
        const int32_t level = host.getProcessLevel();
        if (level != CVstHost::kProcessLevelByThread)
            return level;
        return threadInProcess.load() == CThisThread::id() ? kProcessLevelRealtime
                                                           : kProcessLevelUser;
    }
    case kHostGetAutomationState:
        return 1; // off
    case kHostGetVendorString:
        return host.copyVendor(static_cast<char*>(ptr), kVstVendorStringBytes) ? 1 : 0;
    case kHostGetProductString:
        return host.copyProduct(static_cast<char*>(ptr), kVstProductStringBytes) ? 1 : 0;
    case kHostGetVendorVersion:
        return host.getVendorVersion();
    case kHostCanDo:
        return ptr ? host.getCanDo(static_cast<const char*>(ptr)) : 0;
    case kHostGetLanguage:
        return 1; // English
    case kHostGetDirectory:
        return reinterpret_cast<intptr_t>(pluginFolder.c_str());
    default:
        return 0;
    }
}

} // namespace kel
