#include "Audio/VST/CAudioWrapperVST.h"

#include "Audio/CAudioCreators.h"
#include "Audio/CAudioExtParam.h"
#include "Audio/CAudioExtParamList.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "Core/CAllocator.h"
#include "Core/CApplication.h"
#include "Core/CLocalData.h"
#include "Core/CSystem.h"
#include "ProductResources.h"
#include "UI/CUiCreators.h"
#include "UI/Platform/X11/CX11Display.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Windows/CErrorWindowPresenter.h"

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <utility>
#include <iterator>

namespace kel
{

namespace
{
std::atomic<bool> gWindowsTakeFocus{true};

// The names plugin-category-vst may give, by their values.
constexpr const char* kCategoryNames[] = {
    "kPlugCategUnknown",     "kPlugCategEffect",         "kPlugCategSynth",  "kPlugCategAnalysis",
    "kPlugCategMastering",   "kPlugCategSpacializer",    "kPlugCategRoomFx", "kPlugSurroundFx",
    "kPlugCategRestoration", "kPlugCategOfflineProcess", "kPlugCategShell",  "kPlugCategGenerator",
};

char lowerAscii(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The host's fields for a parameter's name, unit and value hold 7 characters and a terminator.
void copyParamText(char* dest, const CString& text)
{
    if (dest)
        text.toUtf8(dest, kVstParamTextBytes);
}

size_t arrangementBytes(int32_t channels)
{
    // Hosts read the fixed eight speakers even of smaller records.
    const int32_t speakers = channels > 8 ? channels : 8;
    return offsetof(VstSpeakerArrangement, speakers) +
           static_cast<size_t>(speakers) * sizeof(VstSpeakerProperties);
}
} // namespace

CError* CAudioWrapperVST::create(VstHostCallback hostCallback, AEffect** effect,
                                 int offeredChannels)
{
    if (!effect)
        return KEL_ERROR("@kelstr_CAudioWrapperVST_create_NoResult No place for the effect.");
    *effect = nullptr;
    // A host that does not answer the version query predates the format; load nothing.
    if (!hostCallback || hostCallback(nullptr, kHostVersion, 0, 0, nullptr, 0.0f) == 0)
        return nullptr;
    startApplication();
    auto* wrapper = new CAudioWrapperVST(hostCallback, offeredChannels);
    KEL_CHECK(wrapper->init(), delete wrapper);
    *effect = wrapper->getAeffect();
    return nullptr;
}

void CAudioWrapperVST::startApplication()
{
    if (CApplication::isInitialised())
        return;
    // From here on errors show in a window of their own wherever there is a screen.
    CErrorWindowPresenter::install(&CX11Display::makeAboveEditors);
    // The rows go in library order: the core's (the application's own), the audio side's, the
    // interface's. A hook a library already added stays where it is.
    CApplication::addCreatorRegistration(&CAudioCreators::registerAll);
    CApplication::addCreatorRegistration(&CUiCreators::registerAll);
    // The interface scale the user picked in the settings window: pictures and fonts are made
    // at it when the shared tree loads, so a new pick shows once the plug-in loads again.
    CString scale;
    if (CError* error = CLocalData::get().readString(CString("ui-scale"), scale))
        CSystem::showError(error);
    char text[16];
    scale.toUtf8(text, sizeof text);
    CUiScale::offerSetting(text);
    CApplication::init(resources::kResourceTable, "SharedData.xml");
}

CAudioWrapperVST::CAudioWrapperVST(VstHostCallback hostCallback, int offeredChannels)
    : AudioEffectX(hostCallback, 1, 1), intChannels(offeredChannels)
{
}

CAudioWrapperVST::~CAudioWrapperVST()
{
    startupDone = false;
    if (extParams)
        extParams->attachHost(nullptr);
    extParams = nullptr;
    setEditor(nullptr);
    freeArrangement(inputArrangement);
    freeArrangement(outputArrangement);
    delete syncLock;
    syncLock = nullptr;
}

CError* CAudioWrapperVST::init()
{
    KEL_CHECK(CAudioWrapper::init());

    // Host identity and quirks.
    hostVersion = getMasterVersion();
    getHostProductString(hostProduct);
    getHostVendorString(hostVendor);
    if (readBoolSetting("vst-func-sync", "0") || matchWildcard(kSyncHostPattern, hostProduct))
        syncLock = new CLock(4000);
    gWindowsTakeFocus.store(std::strcmp(hostVendor, kNoFocusHostVendor) != 0);
    const bool multiChannel = hostVersion >= kMultiChannelHostVersion && !getForce2ch() &&
                              std::strcmp(hostProduct, kTwoChannelHostProduct) != 0;
    // A count the creator was given (tests pose as other products) stands for the tree's.
    if (intChannels <= 0)
        intChannels = getIntChannelCount();
    setChannelCount(multiChannel ? intChannels : 2);

    setUniqueID(static_cast<int32_t>(getPluginCode()));
    setNumPrograms(getProgramCount() > 0 ? getProgramCount() : 1);
    extParams = getExtParamList();
    setNumParams(extParams ? extParams->getCount() : 0);
    if (extParams)
        extParams->attachHost(this);
    setVersion(getVendorVersion());
    programsAreChunks(true);
    canProcessReplacing(true);
    canDoubleReplacing(true);
    setNumInputs(getChannelCount());
    setNumOutputs(getChannelCount());
    setEditor(new CAudioWrapperVSTEditor(this));

    {
        CLockGuard guard(effectLock);
        fillChannelNames();
    }
    publishChannelNames();
    startupDone = true;
    return nullptr;
}

void CAudioWrapperVST::publishChannelNames()
{
    CAudioParam* param = getParamCollector()
                             ? getParamCollector()->findParam(CString(kInChannelNamesParam))
                             : nullptr;
    if (!param)
        return;
    CString names[kMaxChannels];
    int count = 0;
    {
        CLockGuard guard(effectLock);
        count = inNameCount < kMaxChannels ? inNameCount : kMaxChannels;
        for (int channel = 0; channel < count; ++channel)
            names[channel] = CString::fromUtf8(inChannelName[channel]);
    }
    CAudioParamContext context(this);
    CAudioParam::CGuard guard(*param, &context);
    for (int channel = 0; channel < count; ++channel)
        param->setString(0, channel, names[channel], context, &guard);
}

bool CAudioWrapperVST::windowsTakeFocus()
{
    return gWindowsTakeFocus.load();
}

bool CAudioWrapperVST::matchWildcard(const char* pattern, const char* text)
{
    if (!pattern || !text)
        return false;
    // Greedy match with one back-tracking point: the last '*' seen.
    const char* star = nullptr;
    const char* resume = nullptr;
    while (*text)
    {
        if (*pattern == '*')
        {
            star = pattern++;
            resume = text;
        }
        else if (*pattern == '?' || (*pattern && lowerAscii(*pattern) == lowerAscii(*text)))
        {
            ++pattern;
            ++text;
        }
        else if (star)
        {
            pattern = star + 1;
            text = ++resume;
        }
        else
            return false;
    }
    while (*pattern == '*')
        ++pattern;
    return *pattern == 0;
}

void CAudioWrapperVST::suspend()
{
    CLockGuard guard(syncLock);
    CAudioWrapper::stop();
    // The next resume may bring another audio thread.
    audioContract.release();
}

void CAudioWrapperVST::resume()
{
    CLockGuard guard(syncLock);
    // The block size is the one the host set, never what it answers when asked: hosts render
    // offline in larger blocks than they report.
    CAudioWrapper::setBlockSize(AudioEffect::getBlockSize());
    CAudioWrapper::setSampleRate(AudioEffect::getSampleRate());
    refreshOffline();
    applyShapeAndCounts();
    CAudioWrapper::start();
    setInitialDelay(getLatencyFrames());
    markLatencyStable();
}

void CAudioWrapperVST::refreshOffline()
{
    const bool offline = getCurrentProcessLevel() == kProcessLevelOffline;
    if (offline != getOffline())
        setOffline(offline);
}

void CAudioWrapperVST::applyShapeAndCounts()
{
    const int32_t ins = inputArrangement ? inputArrangement->numChannels : getNumInputs();
    const int32_t outs = outputArrangement ? outputArrangement->numChannels : getNumOutputs();
    setBufferShape(doublePrecision, doublePrecision);
    setActiveChannels(ins, outs);
}

void CAudioWrapperVST::processReplacing(float** inputs, float** outputs, int32_t frames)
{
    processAudio(inputs, outputs, frames);
}

void CAudioWrapperVST::processDoubleReplacing(double** inputs, double** outputs, int32_t frames)
{
    processAudio(inputs, outputs, frames);
}

template <typename Sample>
void CAudioWrapperVST::processAudio(Sample** inputs, Sample** outputs, int32_t frames)
{
    // The slot decides the sample type: a host that calls the other slot than it announced must
    // not make us write doubles into its float buffers.
    if (frames <= 0 || !outputs)
        return;
    audioContract.claim();
    audioContract.check("process");
    CLockGuard guard(syncLock);
    refreshOffline();
    if (getUseHostBpm())
    {
        const VstTimeInfo* info = getTimeInfo(kTimeTempoValid);
        if (info && (info->flags & kTimeTempoValid))
            setTempo(info->tempo);
    }
    processBlock(inputs, outputs, frames);
    // The host hands over a buffer for every declared output; those the layout does not use
    // get silence rather than whatever they held.
    for (int32_t channel = getRunOutChannels(); channel < getNumOutputs(); ++channel)
        if (outputs[channel])
            std::memset(outputs[channel], 0, static_cast<size_t>(frames) * sizeof(Sample));
    // The host reads the new delay when it hears of the change.
    if (takeIoChangePending())
    {
        setInitialDelay(getLatencyFrames());
        ioChanged();
    }
}

CAudioExtParam* CAudioWrapperVST::extParamAt(int32_t index) const
{
    return extParams ? extParams->getParam(index) : nullptr;
}

void CAudioWrapperVST::setParameter(int32_t index, float valueNorm)
{
    // Hosts call this holding their own locks: the change goes to the instance and nothing of it
    // comes back to the host (the host parameter knows the value as its own).
    if (CAudioExtParam* param = extParamAt(index))
        param->setValue(valueNorm);
}

float CAudioWrapperVST::getParameter(int32_t index)
{
    const CAudioExtParam* param = extParamAt(index);
    return param ? static_cast<float>(param->getValue()) : 0.0f;
}

int32_t CAudioWrapperVST::getProgram()
{
    return getCurrentProgram();
}

void CAudioWrapperVST::setProgram(int32_t program)
{
    if (program < 0 || program >= getNumPrograms())
        return;
    curProgram = program;
    // The effect as origin: the host is not told of the change it made.
    selectProgram(program, static_cast<CAudioWrapper*>(this));
}

void CAudioWrapperVST::setProgramName(const char* name)
{
    if (name)
        renameCurrentProgram(CString::fromUtf8(name), static_cast<CAudioWrapper*>(this));
}

void CAudioWrapperVST::getProgramName(char* name)
{
    if (name)
        CAudioWrapper::getProgramName(getCurrentProgram()).toUtf8(name, kVstProgramNameBytes);
}

bool CAudioWrapperVST::getProgramNameIndexed(int32_t /*category*/, int32_t index, char* text)
{
    if (!text || index < 0 || index >= getProgramCount())
        return false;
    CAudioWrapper::getProgramName(index).toUtf8(text, kVstProgramNameBytes);
    return true;
}

void CAudioWrapperVST::getParameterLabel(int32_t index, char* label)
{
    const CAudioExtParam* param = extParamAt(index);
    copyParamText(label, param ? param->getLabel() : CString());
}

void CAudioWrapperVST::getParameterDisplay(int32_t index, char* text)
{
    const CAudioExtParam* param = extParamAt(index);
    copyParamText(text, param ? param->getDisplay() : CString());
}

void CAudioWrapperVST::getParameterName(int32_t index, char* text)
{
    const CAudioExtParam* param = extParamAt(index);
    copyParamText(text, param ? param->getExtName() : CString());
}

int32_t CAudioWrapperVST::getChunk(void** data, bool isPreset)
{
    int32_t byteCount = 0;
    if (CError* error = saveChunk(data, &byteCount, isPreset, true))
    {
        // The host learns of the failure by the answer alone.
        delete error;
        *data = nullptr;
        return 0;
    }
    return *data ? byteCount : 0;
}

int32_t CAudioWrapperVST::setChunk(void* data, int32_t byteSize, bool isPreset)
{
    // Sixteen reserved bytes and nothing after them: an empty state, accepted as it is.
    if (byteSize < 17)
        return 1;
    if (CError* error = loadChunk(data, byteSize, isPreset, true))
    {
        delete error;
        return 0;
    }
    return 1;
}

int32_t CAudioWrapperVST::processEvents(VstEvents* events)
{
    const double rateHz = CAudioWrapper::getSampleRate();
    for (int32_t n = 0; n < events->numEvents; ++n)
    {
        const VstEvent* event = events->events[n];
        if (!event || event->type != kEventTypeMidi)
            continue;
        const auto* midi = reinterpret_cast<const VstMidiEvent*>(event);
        const int status = static_cast<unsigned char>(midi->midiData[0]);
        const int data1 = static_cast<unsigned char>(midi->midiData[1]) & 127;
        const int data2 = static_cast<unsigned char>(midi->midiData[2]) & 127;
        const double timeSec = rateHz > 0.0 ? midi->deltaFrames / rateHz : 0.0;
        midiEvent(status & 0xF0, status & 0x0F, data1, data2, timeSec);
    }
    return 1;
}

bool CAudioWrapperVST::canParameterBeAutomated(int32_t /*index*/)
{
    return true;
}

int32_t CAudioWrapperVST::getPlugCategory()
{
    const CObject* plugin = getPluginObject();
    const CObject* project = plugin ? plugin->findObject(CString("shared::project")) : nullptr;
    if (!project)
        return kCategoryEffect;
    const CString name = project->getAttrString(CString("plugin-category-vst"));
    for (int32_t value = 0; value < static_cast<int32_t>(std::size(kCategoryNames)); ++value)
        if (name == CString(kCategoryNames[value]))
            return value;
    return 0;
}

VstSpeakerArrangement* CAudioWrapperVST::copyArrangement(const VstSpeakerArrangement* source)
{
    const size_t bytes = arrangementBytes(source->numChannels);
    auto* copy = static_cast<VstSpeakerArrangement*>(CAllocator::alloc(bytes));
    std::memset(copy, 0, bytes);
    copy->type = source->type;
    copy->numChannels = source->numChannels;
    std::memcpy(copy->speakers, source->speakers,
                static_cast<size_t>(source->numChannels) * sizeof(VstSpeakerProperties));
    return copy;
}

void CAudioWrapperVST::freeArrangement(VstSpeakerArrangement*& arrangement)
{
    CAllocator::free(arrangement);
    arrangement = nullptr;
}

bool CAudioWrapperVST::setSpeakerArrangement(VstSpeakerArrangement* input,
                                             VstSpeakerArrangement* output)
{
    if (input && (input->numChannels < 0 || input->numChannels > getNumInputs()))
        return false;
    if (output && (output->numChannels < 0 || output->numChannels > getNumOutputs()))
        return false;
    // Copied outside the lock, swapped under it (the name readers take it), freed after it.
    VstSpeakerArrangement* inputCopy = input ? copyArrangement(input) : nullptr;
    VstSpeakerArrangement* outputCopy = output ? copyArrangement(output) : nullptr;
    {
        CLockGuard guard(effectLock);
        if (input)
            std::swap(inputArrangement, inputCopy);
        if (output)
            std::swap(outputArrangement, outputCopy);
        fillChannelNames();
    }
    freeArrangement(inputCopy);
    freeArrangement(outputCopy);
    return true;
}

void CAudioWrapperVST::fillChannelNames()
{
    inNameCount = inputArrangement ? inputArrangement->numChannels : getNumInputs();
    outNameCount = outputArrangement ? outputArrangement->numChannels : getNumOutputs();
    for (int side = 0; side < 2; ++side)
    {
        const VstSpeakerArrangement* arrangement = side ? outputArrangement : inputArrangement;
        char(*names)[kChannelNameBytes] = side ? outChannelName : inChannelName;
        const int count = side ? outNameCount : inNameCount;
        for (int channel = 0; channel < count && channel < kMaxChannels; ++channel)
        {
            std::snprintf(names[channel], kChannelNameBytes, "%s %d", side ? "OUT" : "IN",
                          channel + 1);
            if (!arrangement)
                continue;
            const char* speakerName = arrangement->speakers[channel].name;
            // The host's field need not be terminated.
            const void* end = std::memchr(speakerName, 0, sizeof(arrangement->speakers[0].name));
            const size_t length =
                end ? static_cast<size_t>(static_cast<const char*>(end) - speakerName)
                    : sizeof(arrangement->speakers[0].name);
            if (length > 0)
            {
                const size_t cut = length < kChannelNameBytes ? length : kChannelNameBytes - 1;
                std::memcpy(names[channel], speakerName, cut);
                names[channel][cut] = 0;
            }
        }
    }
}

bool CAudioWrapperVST::getInChannelName(int channel, char* text, int bytes) const
{
    CLockGuard guard(effectLock);
    if (channel < 0 || channel >= inNameCount || channel >= kMaxChannels)
        return false;
    copyText(text, inChannelName[channel], bytes);
    return true;
}

bool CAudioWrapperVST::getOutChannelName(int channel, char* text, int bytes) const
{
    CLockGuard guard(effectLock);
    if (channel < 0 || channel >= outNameCount || channel >= kMaxChannels)
        return false;
    copyText(text, outChannelName[channel], bytes);
    return true;
}

bool CAudioWrapperVST::getSpeakerArrangement(VstSpeakerArrangement** input,
                                             VstSpeakerArrangement** output)
{
    CLockGuard guard(effectLock);
    if (!inputArrangement || !outputArrangement)
    {
        *input = nullptr;
        *output = nullptr;
        return false;
    }
    *input = inputArrangement;
    *output = outputArrangement;
    return true;
}

bool CAudioWrapperVST::setProcessPrecision(int32_t precision)
{
    if (precision != kProcessPrecision32 && precision != kProcessPrecision64)
        return false;
    CLockGuard guard(syncLock);
    doublePrecision = precision == kProcessPrecision64;
    applyShapeAndCounts();
    return true;
}

bool CAudioWrapperVST::getEffectName(char* name)
{
    getPluginName().toUtf8(name, kVstEffectNameBytes);
    return true;
}

bool CAudioWrapperVST::getVendorString(char* text)
{
    getVendorName().toUtf8(text, kVstVendorStringBytes);
    return true;
}

bool CAudioWrapperVST::getProductString(char* text)
{
    CString product = getVendorName();
    product.append(CString(" "));
    product.append(getPluginName());
    product.toUtf8(text, kVstProductStringBytes);
    return true;
}

int32_t CAudioWrapperVST::getVendorVersion()
{
    return (getVersionMajor() << 16) | (getVersionMinor() << 8) | getVersionMicro();
}

intptr_t CAudioWrapperVST::vendorSpecific(int32_t index, intptr_t value, void* ptr, float opt)
{
    if (index == kWheelIndex && value == kWheelValue)
        return editor && editor->onWheel(opt) ? 1 : 0;
    if (index == kFormatValueIndex && ptr && value >= 0 && value < getNumParams())
    {
        // The host's own read-out of any value (opt, 0..1) of a parameter.
        if (const CAudioExtParam* param = extParamAt(static_cast<int32_t>(value)))
        {
            copyParamText(static_cast<char*>(ptr), param->formatValue(opt));
            return 1;
        }
    }
    return 0;
}

intptr_t CAudioWrapperVST::canDo(const char* text)
{
    if (std::strcmp(text, "hasCockosExtensions") == 0)
        return static_cast<intptr_t>(kCockosExtensionsAnswer);
    if (std::strcmp(text, "receiveVstMidiEvent") == 0 ||
        std::strcmp(text, "receiveVstTimeInfo") == 0)
        return 1;
    return 0;
}

int32_t CAudioWrapperVST::getCurrentMidiProgram(int32_t /*channel*/, void* /*programName*/)
{
    return -1;
}

void CAudioWrapperVST::hostAutomate(int index, float valueNorm)
{
    if (startupDone)
        callHost(kHostAutomate, index, 0, nullptr, valueNorm);
}

void CAudioWrapperVST::onExtParamChange(int index, double valueNorm)
{
    hostAutomate(index, static_cast<float>(valueNorm));
}

void CAudioWrapperVST::onExtParamGesture(int index, bool isBegin)
{
    if (isBegin)
        hostBeginEdit(index);
    else
        hostEndEdit(index);
}

void CAudioWrapperVST::hostBeginEdit(int index)
{
    if (startupDone)
        beginEdit(index);
}

void CAudioWrapperVST::hostEndEdit(int index)
{
    if (startupDone)
        endEdit(index);
}

void CAudioWrapperVST::hostUpdateDisplay()
{
    if (startupDone)
        updateDisplay();
}

} // namespace kel
