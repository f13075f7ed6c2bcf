#include "Audio/VST/AudioEffectX.h"

#include "Audio/VST/AEffEditor.h"

#include <cstring>

namespace kel
{

AudioEffectX::AudioEffectX(VstHostCallback hostCallback, int32_t programCount, int32_t paramCount)
    : AudioEffect(hostCallback, programCount, paramCount)
{
}

AudioEffectX::~AudioEffectX() = default;

intptr_t AudioEffectX::dispatcher(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                                  float opt)
{
    switch (opcode)
    {
    case kEffProcessEvents:
        return ptr ? processEvents(static_cast<VstEvents*>(ptr)) : 0;
    case kEffCanBeAutomated:
        return canParameterBeAutomated(index) ? 1 : 0;
    case kEffString2Parameter:
        return ptr && string2parameter(index, static_cast<char*>(ptr)) ? 1 : 0;
    case kEffGetProgramNameIndexed:
        if (!ptr)
            return 0;
        static_cast<char*>(ptr)[0] = 0;
        return getProgramNameIndexed(static_cast<int32_t>(value), index, static_cast<char*>(ptr))
                   ? 1
                   : 0;
    case kEffGetInputProperties:
        return ptr && getInputProperties(index, static_cast<VstPinProperties*>(ptr)) ? 1 : 0;
    case kEffGetOutputProperties:
        return ptr && getOutputProperties(index, static_cast<VstPinProperties*>(ptr)) ? 1 : 0;
    case kEffGetPlugCategory:
        return getPlugCategory();
    case kEffProcessVarIo:
        return ptr && processVariableIo(ptr) ? 1 : 0;
    case kEffSetSpeakerArrangement:
    {
        auto* input = reinterpret_cast<VstSpeakerArrangement*>(value);
        auto* output = static_cast<VstSpeakerArrangement*>(ptr);
        if (!input && !output)
            return 0;
        return setSpeakerArrangement(input, output) ? 1 : 0;
    }
    case kEffSetBypass:
        return setBypass(value != 0) ? 1 : 0;
    case kEffGetEffectName:
        if (!ptr)
            return 0;
        static_cast<char*>(ptr)[0] = 0;
        return getEffectName(static_cast<char*>(ptr)) ? 1 : 0;
    case kEffGetVendorString:
        if (!ptr)
            return 0;
        static_cast<char*>(ptr)[0] = 0;
        return getVendorString(static_cast<char*>(ptr)) ? 1 : 0;
    case kEffGetProductString:
        if (!ptr)
            return 0;
        static_cast<char*>(ptr)[0] = 0;
        return getProductString(static_cast<char*>(ptr)) ? 1 : 0;
    case kEffGetVendorVersion:
        return getVendorVersion();
    case kEffVendorSpecific:
        return vendorSpecific(index, value, ptr, opt);
    case kEffCanDo:
        return ptr ? canDo(static_cast<const char*>(ptr)) : 0;
    case kEffGetTailSize:
        return getTailSize();
    case kEffGetParameterProperties:
        return ptr && getParameterProperties(index, static_cast<VstParameterProperties*>(ptr)) ? 1
                                                                                               : 0;
    case kEffGetVstVersion:
        return getVstVersion();
    case kEffEditKeyDown:
    case kEffEditKeyUp:
    {
        if (!editor)
            return 0;
        const auto key = static_cast<int32_t>(value);
        const auto modifiers = static_cast<int32_t>(opt);
        const bool used = opcode == kEffEditKeyDown ? editor->onKeyDown(index, key, modifiers)
                                                    : editor->onKeyUp(index, key, modifiers);
        return used ? 1 : 0;
    }
    case kEffSetEditKnobMode:
        return editor && editor->setKnobMode(static_cast<int32_t>(value)) ? 1 : 0;
    case kEffGetCurrentMidiProgram:
        return getCurrentMidiProgram(index, ptr);
    case kEffBeginSetProgram:
        return beginSetProgram() ? 1 : 0;
    case kEffEndSetProgram:
        return endSetProgram() ? 1 : 0;
    case kEffGetSpeakerArrangement:
    {
        auto** input = reinterpret_cast<VstSpeakerArrangement**>(value);
        auto** output = static_cast<VstSpeakerArrangement**>(ptr);
        if (!input || !output)
            return 0;
        return getSpeakerArrangement(input, output) ? 1 : 0;
    }
    case kEffStartProcess:
        return startProcess();
    case kEffStopProcess:
        return stopProcess();
    case kEffSetTotalSampleToProcess:
        return setTotalSampleToProcess(static_cast<int32_t>(value)) ? 1 : 0;
    case kEffSetPanLaw:
        return setPanLaw(static_cast<int32_t>(value), opt) ? 1 : 0;
    case kEffBeginLoadBank:
        return ptr ? beginLoadBank(ptr) : 0;
    case kEffBeginLoadProgram:
        return ptr ? beginLoadProgram(ptr) : 0;
    case kEffSetProcessPrecision:
        return setProcessPrecision(static_cast<int32_t>(value)) ? 1 : 0;
    case kEffGetNumMidiInputChannels:
        return getNumMidiInputChannels();
    case kEffGetNumMidiOutputChannels:
        return getNumMidiOutputChannels();
    default:
        // Offline processing, MIDI program names and shell plug-ins are not supported.
        return AudioEffect::dispatcher(opcode, index, value, ptr, opt);
    }
}

VstTimeInfo* AudioEffectX::getTimeInfo(int32_t filter)
{
    return reinterpret_cast<VstTimeInfo*>(callHost(kHostGetTime, 0, filter));
}

int32_t AudioEffectX::getCurrentProcessLevel()
{
    return static_cast<int32_t>(callHost(kHostGetCurrentProcessLevel));
}

int32_t AudioEffectX::getAutomationState()
{
    return static_cast<int32_t>(callHost(kHostGetAutomationState));
}

bool AudioEffectX::ioChanged()
{
    return callHost(kHostIOChanged) != 0;
}

bool AudioEffectX::sizeWindow(int32_t width, int32_t height)
{
    return callHost(kHostSizeWindow, width, height) != 0;
}

bool AudioEffectX::updateDisplay()
{
    return callHost(kHostUpdateDisplay) != 0;
}

bool AudioEffectX::beginEdit(int32_t index)
{
    return callHost(kHostBeginEdit, index) != 0;
}

bool AudioEffectX::endEdit(int32_t index)
{
    return callHost(kHostEndEdit, index) != 0;
}

bool AudioEffectX::getHostVendorString(char* text)
{
    if (!text)
        return false;
    std::memset(text, 0, kVstHostStringBytes);
    if (callHost(kHostGetVendorString, 0, 0, text) == 0)
    {
        text[0] = 0;
        return false;
    }
    text[kVstHostStringBytes - 1] = 0;
    return true;
}

bool AudioEffectX::getHostProductString(char* text)
{
    if (!text)
        return false;
    std::memset(text, 0, kVstHostStringBytes);
    if (callHost(kHostGetProductString, 0, 0, text) == 0)
    {
        text[0] = 0;
        return false;
    }
    text[kVstHostStringBytes - 1] = 0;
    return true;
}

int32_t AudioEffectX::getHostVendorVersion()
{
    return static_cast<int32_t>(callHost(kHostGetVendorVersion));
}

int32_t AudioEffectX::canHostDo(const char* text)
{
    return text ? static_cast<int32_t>(callHost(kHostCanDo, 0, 0, const_cast<char*>(text))) : 0;
}

bool AudioEffectX::sendVstEventsToHost(VstEvents* events)
{
    return events && callHost(kHostProcessEvents, 0, 0, events) != 0;
}

} // namespace kel
