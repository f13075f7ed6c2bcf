#pragma once

#include "Audio/VST/VstInterface.h"
#include "Core/CCheckedObject.h"

#include <cstdint>

namespace kel
{

class AEffEditor;

// Base of a VST 2 effect: owns the AEffect record the host holds, routes the record's function
// pointers to virtual slots and offers the host calls a plug-in needs. This class covers the
// format's first generation (programs, parameters, chunks, editor, audio); AudioEffectX adds the
// rest. Every slot answers "not implemented" (0) until a derived class says more.
//
// The host owns the lifetime: the effect is created by the entry point and deletes itself when
// the host sends kEffClose. The effect owns its editor. The dispatcher may be called from the
// host's interface thread and, for a few opcodes, its audio thread; the process entries run on
// the audio thread.
class AudioEffect : public CCheckedObject
{
public:
    static constexpr float kDefaultSampleRateHz = 44100.0f;
    static constexpr int32_t kDefaultBlockFrames = 1024;

    AudioEffect(VstHostCallback hostCallback, int32_t programCount, int32_t paramCount);
    // Deletes the editor.
    ~AudioEffect() override;
    AudioEffect(const AudioEffect&) = delete;
    AudioEffect& operator=(const AudioEffect&) = delete;

    AEffect* getAeffect() { return &effect; }
    // The effect behind a record, or null for a record that is not ours.
    static AudioEffect* fromAeffect(AEffect* record);

    // Maps one opcode to its slot. Pointers the host passes are checked here: a null pointer
    // where data is expected answers 0 without calling the slot. [any host thread]
    virtual intptr_t dispatcher(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                                float opt);

    // --- Slots, in the order of the format's first generation ---
    virtual void open() {}
    virtual void close() {}
    virtual void setProgram(int32_t program) { curProgram = program; }
    virtual int32_t getProgram() { return curProgram; }
    virtual void setProgramName(const char* /*name*/) {}
    // `name` has room for kVstProgramNameBytes.
    virtual void getProgramName(char* name) { name[0] = 0; }
    // Each text buffer has room for kVstParamTextBytes.
    virtual void getParameterLabel(int32_t /*index*/, char* label) { label[0] = 0; }
    virtual void getParameterDisplay(int32_t /*index*/, char* text) { text[0] = 0; }
    virtual void getParameterName(int32_t /*index*/, char* text) { text[0] = 0; }
    virtual void setSampleRate(float rateHz) { sampleRate = rateHz; }
    virtual void setBlockSize(int32_t frames) { blockSize = frames; }
    // Mains off and on: the host stops and restarts the audio.
    virtual void suspend() {}
    virtual void resume() {}
    // Answers the byte count; *data stays valid until the next call. [ui thread]
    virtual int32_t getChunk(void** /*data*/, bool /*isPreset*/) { return 0; }
    virtual int32_t setChunk(void* /*data*/, int32_t /*byteSize*/, bool /*isPreset*/) { return 0; }
    // [audio thread] Never call the host from here: hosts call it while holding their own locks.
    virtual void setParameter(int32_t /*index*/, float /*valueNorm*/) {}
    virtual float getParameter(int32_t /*index*/) { return 0.0f; }
    // [audio thread] The old accumulating entry adds to the outputs; it does nothing here.
    virtual void process(float** /*inputs*/, float** /*outputs*/, int32_t /*frames*/) {}
    virtual void processReplacing(float** /*inputs*/, float** /*outputs*/, int32_t /*frames*/) {}
    virtual void processDoubleReplacing(double** /*inputs*/, double** /*outputs*/,
                                        int32_t /*frames*/)
    {
    }

    // --- Set-up of the record ---
    // The effect takes ownership; a previous editor is deleted. Null clears the editor flag.
    void setEditor(AEffEditor* newEditor);
    AEffEditor* getEditor() const { return editor; }
    void setUniqueID(int32_t id) { effect.uniqueID = id; }
    void setNumInputs(int32_t count) { effect.numInputs = count; }
    void setNumOutputs(int32_t count) { effect.numOutputs = count; }
    void setNumPrograms(int32_t count) { effect.numPrograms = numPrograms = count; }
    void setNumParams(int32_t count) { effect.numParams = numParams = count; }
    void setVersion(int32_t version) { effect.version = version; }
    void canProcessReplacing(bool state) { setFlag(kEffectFlagCanReplacing, state); }
    void canDoubleReplacing(bool state) { setFlag(kEffectFlagCanDoubleReplacing, state); }
    void programsAreChunks(bool state) { setFlag(kEffectFlagProgramChunks, state); }
    void isSynth(bool state) { setFlag(kEffectFlagIsSynth, state); }
    void noTail(bool state) { setFlag(kEffectFlagNoSoundInStop, state); }
    // The host reads it again after ioChanged().
    void setInitialDelay(int32_t delayFrames) { effect.initialDelay = delayFrames; }

    float getSampleRate() const { return sampleRate; }
    int32_t getBlockSize() const { return blockSize; }
    int32_t getNumInputs() const { return effect.numInputs; }
    int32_t getNumOutputs() const { return effect.numOutputs; }
    int32_t getNumParams() const { return numParams; }
    int32_t getNumPrograms() const { return numPrograms; }

    // --- Calls to the host; each answers 0 when there is no host ---
    intptr_t callHost(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr,
                      float opt = 0.0f);
    // The host's format version (e.g. 2400), 0 if it does not say.
    int32_t getMasterVersion();
    int32_t getCurrentUniqueId();
    void masterIdle();
    // Tells the host about a value the user changed. [ui thread]
    virtual void setParameterAutomated(int32_t index, float valueNorm);

    // Copies text into a buffer of `bytes` bytes, cutting it so that the terminator fits.
    static void copyText(char* dest, const char* source, int bytes);

protected:
    void setFlag(int32_t flag, bool state);

    AEffect effect;
    VstHostCallback host;
    AEffEditor* editor = nullptr;
    float sampleRate = kDefaultSampleRateHz;
    int32_t blockSize = kDefaultBlockFrames;
    int32_t numPrograms;
    int32_t numParams;
    int32_t curProgram = 0;

private:
    static intptr_t dispatchEntry(AEffect* record, int32_t opcode, int32_t index, intptr_t value,
                                  void* ptr, float opt);
    static void processEntry(AEffect* record, float** inputs, float** outputs, int32_t frames);
    static void processReplacingEntry(AEffect* record, float** inputs, float** outputs,
                                      int32_t frames);
    static void processDoubleReplacingEntry(AEffect* record, double** inputs, double** outputs,
                                            int32_t frames);
    static void setParameterEntry(AEffect* record, int32_t index, float valueNorm);
    static float getParameterEntry(AEffect* record, int32_t index);
};

} // namespace kel
