#include "Audio/VST/AudioEffect.h"

#include "Audio/VST/AEffEditor.h"

#include <cstring>

namespace kel
{

AudioEffect::AudioEffect(VstHostCallback hostCallback, int32_t programCount, int32_t paramCount)
    : host(hostCallback), numPrograms(programCount), numParams(paramCount)
{
    std::memset(&effect, 0, sizeof(effect));
    effect.magic = kVstEffectMagic;
    effect.dispatcher = &AudioEffect::dispatchEntry;
    effect.process = &AudioEffect::processEntry;
    effect.setParameter = &AudioEffect::setParameterEntry;
    effect.getParameter = &AudioEffect::getParameterEntry;
    effect.numPrograms = programCount;
    effect.numParams = paramCount;
    effect.numInputs = 1;
    effect.numOutputs = 2;
    effect.flags = kEffectFlagCanReplacing;
    effect.ioRatio = 1.0f;
    effect.object = this;
    effect.version = 1;
    effect.processReplacing = &AudioEffect::processReplacingEntry;
    effect.processDoubleReplacing = &AudioEffect::processDoubleReplacingEntry;
}

AudioEffect::~AudioEffect()
{
    delete editor;
    editor = nullptr;
    // A host that keeps the record after close must not reach a dead object through it.
    effect.object = nullptr;
}

AudioEffect* AudioEffect::fromAeffect(AEffect* record)
{
    if (!record || record->magic != kVstEffectMagic)
        return nullptr;
    return static_cast<AudioEffect*>(record->object);
}

intptr_t AudioEffect::dispatchEntry(AEffect* record, int32_t opcode, int32_t index, intptr_t value,
                                    void* ptr, float opt)
{
    AudioEffect* self = fromAeffect(record);
    if (!self)
        return 0;
    if (opcode == kEffClose)
    {
        self->dispatcher(opcode, index, value, ptr, opt);
        delete self;
        return 1;
    }
    return self->dispatcher(opcode, index, value, ptr, opt);
}

void AudioEffect::processEntry(AEffect* record, float** inputs, float** outputs, int32_t frames)
{
    if (AudioEffect* self = fromAeffect(record))
        self->process(inputs, outputs, frames);
}

void AudioEffect::processReplacingEntry(AEffect* record, float** inputs, float** outputs,
                                        int32_t frames)
{
    if (AudioEffect* self = fromAeffect(record))
        self->processReplacing(inputs, outputs, frames);
}

void AudioEffect::processDoubleReplacingEntry(AEffect* record, double** inputs, double** outputs,
                                              int32_t frames)
{
    if (AudioEffect* self = fromAeffect(record))
        self->processDoubleReplacing(inputs, outputs, frames);
}

void AudioEffect::setParameterEntry(AEffect* record, int32_t index, float valueNorm)
{
    if (AudioEffect* self = fromAeffect(record))
        self->setParameter(index, valueNorm);
}

float AudioEffect::getParameterEntry(AEffect* record, int32_t index)
{
    AudioEffect* self = fromAeffect(record);
    return self ? self->getParameter(index) : 0.0f;
}

intptr_t AudioEffect::dispatcher(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                                 float opt)
{
    switch (opcode)
    {
    case kEffOpen:
        open();
        return 0;
    case kEffClose:
        close();
        return 0;
    case kEffSetProgram:
        if (value >= 0 && value < numPrograms)
            setProgram(static_cast<int32_t>(value));
        return 0;
    case kEffGetProgram:
        return getProgram();
    case kEffSetProgramName:
        if (!ptr)
            return 0;
        setProgramName(static_cast<const char*>(ptr));
        return 0;
    case kEffGetProgramName:
        if (!ptr)
            return 0;
        static_cast<char*>(ptr)[0] = 0;
        getProgramName(static_cast<char*>(ptr));
        return 0;
    case kEffGetParamLabel:
    case kEffGetParamDisplay:
    case kEffGetParamName:
    {
        if (!ptr)
            return 0;
        auto* text = static_cast<char*>(ptr);
        text[0] = 0;
        if (opcode == kEffGetParamLabel)
            getParameterLabel(index, text);
        else if (opcode == kEffGetParamDisplay)
            getParameterDisplay(index, text);
        else
            getParameterName(index, text);
        return 0;
    }
    case kEffSetSampleRate:
        setSampleRate(opt);
        return 0;
    case kEffSetBlockSize:
        setBlockSize(static_cast<int32_t>(value));
        return 0;
    case kEffMainsChanged:
        if (value)
            resume();
        else
            suspend();
        return 0;
    case kEffEditGetRect:
        if (!editor || !ptr)
            return 0;
        *static_cast<ERect**>(ptr) = nullptr;
        return editor->getRect(static_cast<ERect**>(ptr)) ? 1 : 0;
    case kEffEditOpen:
        if (!editor || !ptr)
            return 0;
        return editor->open(ptr) ? 1 : 0;
    case kEffEditClose:
        if (editor)
            editor->close();
        return 0;
    case kEffEditIdle:
        if (editor)
            editor->idle();
        return 0;
    case kEffGetChunk:
        if (!ptr)
            return 0;
        *static_cast<void**>(ptr) = nullptr;
        return getChunk(static_cast<void**>(ptr), index != 0);
    case kEffSetChunk:
        if (!ptr || value < 0 || value > INT32_MAX)
            return 0;
        return setChunk(ptr, static_cast<int32_t>(value), index != 0);
    default:
        return 0;
    }
}

void AudioEffect::setEditor(AEffEditor* newEditor)
{
    if (editor != newEditor)
        delete editor;
    editor = newEditor;
    setFlag(kEffectFlagHasEditor, editor != nullptr);
}

void AudioEffect::setFlag(int32_t flag, bool state)
{
    if (state)
        effect.flags |= flag;
    else
        effect.flags &= ~flag;
}

intptr_t AudioEffect::callHost(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt)
{
    return host ? host(&effect, opcode, index, value, ptr, opt) : 0;
}

int32_t AudioEffect::getMasterVersion()
{
    return static_cast<int32_t>(callHost(kHostVersion));
}

int32_t AudioEffect::getCurrentUniqueId()
{
    return static_cast<int32_t>(callHost(kHostCurrentId));
}

void AudioEffect::masterIdle()
{
    callHost(kHostIdle);
}

void AudioEffect::setParameterAutomated(int32_t index, float valueNorm)
{
    setParameter(index, valueNorm);
    callHost(kHostAutomate, index, 0, nullptr, valueNorm);
}

void AudioEffect::copyText(char* dest, const char* source, int bytes)
{
    if (!dest || bytes <= 0)
        return;
    size_t length = source ? std::strlen(source) : 0;
    if (length > static_cast<size_t>(bytes - 1))
        length = static_cast<size_t>(bytes - 1);
    if (length)
        std::memcpy(dest, source, length);
    dest[length] = 0;
}

} // namespace kel
