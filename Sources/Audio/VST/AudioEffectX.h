#pragma once

#include "Audio/VST/AudioEffect.h"

#include <cstdint>

namespace kel
{

// The format's second generation on top of AudioEffect: events, speaker arrangements, process
// precision, names, canDo, vendor-specific calls, and the host calls that came with them (time
// info, process level, I/O change, window size, edit gestures). As in the base, every slot
// answers "not implemented" (0) until a derived class says more. Threads as in AudioEffect.
class AudioEffectX : public AudioEffect
{
public:
    AudioEffectX(VstHostCallback hostCallback, int32_t programCount, int32_t paramCount);
    ~AudioEffectX() override;

    // Handles the second generation's opcodes and passes the rest to AudioEffect.
    intptr_t dispatcher(int32_t opcode, int32_t index, intptr_t value, void* ptr,
                        float opt) override;

    // --- Slots, in opcode order ---
    // [audio thread] Events of the coming block.
    virtual int32_t processEvents(VstEvents* /*events*/) { return 0; }
    virtual bool canParameterBeAutomated(int32_t /*index*/) { return false; }
    virtual bool string2parameter(int32_t /*index*/, char* /*text*/) { return false; }
    // `text` has room for kVstProgramNameBytes.
    virtual bool getProgramNameIndexed(int32_t /*category*/, int32_t /*index*/, char* /*text*/)
    {
        return false;
    }
    virtual bool getInputProperties(int32_t /*index*/, VstPinProperties* /*properties*/)
    {
        return false;
    }
    virtual bool getOutputProperties(int32_t /*index*/, VstPinProperties* /*properties*/)
    {
        return false;
    }
    virtual int32_t getPlugCategory() { return kCategoryUnknown; }
    virtual bool processVariableIo(void* /*ioRecord*/) { return false; }
    // Either record may be null: the host tells only one side. The records stay the host's.
    virtual bool setSpeakerArrangement(VstSpeakerArrangement* /*input*/,
                                       VstSpeakerArrangement* /*output*/)
    {
        return false;
    }
    virtual bool setBypass(bool /*onOff*/) { return false; }
    // Buffers: kVstEffectNameBytes, kVstVendorStringBytes, kVstProductStringBytes.
    virtual bool getEffectName(char* /*name*/) { return false; }
    virtual bool getVendorString(char* /*text*/) { return false; }
    virtual bool getProductString(char* /*text*/) { return false; }
    virtual int32_t getVendorVersion() { return 0; }
    virtual intptr_t vendorSpecific(int32_t /*index*/, intptr_t /*value*/, void* /*ptr*/,
                                    float /*opt*/)
    {
        return 0;
    }
    // 1 yes, -1 no, 0 don't know.
    virtual intptr_t canDo(const char* /*text*/) { return 0; }
    virtual int32_t getTailSize() { return 0; }
    virtual bool getParameterProperties(int32_t /*index*/, VstParameterProperties* /*properties*/)
    {
        return false;
    }
    virtual int32_t getVstVersion() { return kVstFormatVersion; }
    virtual int32_t getCurrentMidiProgram(int32_t /*channel*/, void* /*programName*/) { return -1; }
    virtual bool beginSetProgram() { return false; }
    virtual bool endSetProgram() { return false; }
    // Points *input and *output at records the effect keeps.
    virtual bool getSpeakerArrangement(VstSpeakerArrangement** input,
                                       VstSpeakerArrangement** output)
    {
        *input = nullptr;
        *output = nullptr;
        return false;
    }
    virtual int32_t startProcess() { return 0; }
    virtual int32_t stopProcess() { return 0; }
    virtual bool setTotalSampleToProcess(int32_t /*frames*/) { return false; }
    virtual bool setPanLaw(int32_t /*type*/, float /*gain*/) { return false; }
    virtual int32_t beginLoadBank(void* /*info*/) { return 0; }
    virtual int32_t beginLoadProgram(void* /*info*/) { return 0; }
    // precision: a VstProcessPrecision. Answer true if taken.
    virtual bool setProcessPrecision(int32_t /*precision*/) { return false; }
    virtual int32_t getNumMidiInputChannels() { return 0; }
    virtual int32_t getNumMidiOutputChannels() { return 0; }

    // --- Calls to the host; each answers 0/false/null when the host does not support it ---
    // The host's transport, or null. `filter` holds the VstTimeFlags the caller needs.
    VstTimeInfo* getTimeInfo(int32_t filter);
    // A VstProcessLevel.
    int32_t getCurrentProcessLevel();
    int32_t getAutomationState();
    // Tells the host that counts, latency or the like changed; it reads the record again.
    bool ioChanged();
    bool sizeWindow(int32_t width, int32_t height);
    // For changes of program names and the like.
    bool updateDisplay();
    // Frame a user gesture on one parameter (kHostBeginEdit, kHostEndEdit).
    bool beginEdit(int32_t index);
    bool endEdit(int32_t index);
    // Each buffer has room for kVstHostStringBytes; it is left empty if the host does not answer.
    bool getHostVendorString(char* text);
    bool getHostProductString(char* text);
    int32_t getHostVendorVersion();
    // 1 yes, -1 no, 0 don't know.
    int32_t canHostDo(const char* text);
    bool sendVstEventsToHost(VstEvents* events);
};

} // namespace kel
