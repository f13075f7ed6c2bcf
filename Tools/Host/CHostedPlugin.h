#pragma once

#include "CGuardedChannels.h"
#include "CVstLibrary.h"

#include "Core/CError.h"

#include "Audio/VST/VstInterface.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace kel
{

class CVstHost;

// One VST 2 plug-in instance loaded by our host: its library (or its entry, for a plug-in linked
// into the program), its effect record and the host's side of the conversation. It answers the
// plug-in's callbacks from the CVstHost's settings, records every dispatcher call and every
// callback with the calling thread, and feeds audio through guard-fenced buffers in float or
// double, separate or in place, in any block sizes, reporting as errors a plug-in that writes past
// a buffer, writes into its inputs or leaves output words unwritten.
//
// Call order follows a real host: load (or attach), open, setSampleRate, setBlockSize,
// setActive(true), process..., setActive(false), close (or let the destructor do what is left). The
// plug-in is closed and its library unloaded when this object dies; the CVstHost must outlive it.
// [one driving thread for set-up and process calls; setParameter, getParameter, dispatch and
//  the records may be used from any thread, as hosts do]
class CHostedPlugin
{
public:
    // One dispatcher call made, or one callback received.
    struct CCallRecord
    {
        int32_t opcode;
        int32_t index;
        intptr_t value;
        float opt;
        uint64_t threadId;
    };

    explicit CHostedPlugin(CVstHost& owner);
    ~CHostedPlugin();
    CHostedPlugin(const CHostedPlugin&) = delete;
    CHostedPlugin& operator=(const CHostedPlugin&) = delete;

    // Opens the library, calls its entry and checks the record. Does not send effOpen.
    [[nodiscard]] CError* load(const char* path);
    // The same for a plug-in linked into this program: calls `entry` and checks the record;
    // `name` stands for the plug-in in errors. Its folder is answered as ".".
    [[nodiscard]] CError* attach(VstEntryProc entry, const char* name);
    // Stops, closes and unloads whatever of that has not happened yet (a library only if load
    // opened one).
    void unload();
    bool isLoaded() const { return effect != nullptr; }
    AEffect* getEffect() const { return effect; }
    CVstHost& getHost() const { return host; }

    // Any dispatcher call, recorded.
    intptr_t dispatch(int32_t opcode, int32_t index = 0, intptr_t value = 0, void* ptr = nullptr,
                      float opt = 0.0f);

    // Life cycle.
    void open();
    // effClose; the plug-in deletes its record, so nothing may be called afterwards. Answers the
    // plug-in's answer (0 when nothing is loaded).
    intptr_t close();
    void setSampleRate(double rateHz);
    void setBlockSize(int frames);
    // effMainsChanged: resume (true) or suspend (false).
    void setActive(bool active);
    void startProcess();
    void stopProcess();
    // The usual start: sample rate, block size, resume.
    void start(double rateHz, int blockFrames);
    bool isActive() const { return active; }
    double getSampleRate() const { return sampleRateHz; }
    int getBlockSize() const { return blockSize; }

    // The record's numbers.
    int getNumInputs() const;
    int getNumOutputs() const;
    int getNumParams() const;
    int getNumPrograms() const;
    int32_t getFlags() const;
    int32_t getUniqueId() const;
    int32_t getVersion() const;
    int32_t getInitialDelay() const;
    bool hasFlag(int32_t flag) const { return (getFlags() & flag) != 0; }

    // Plug-in information.
    std::string getEffectName();
    std::string getVendorString();
    std::string getProductString();
    int32_t getVendorVersion();
    int32_t getVstVersion();
    int32_t getCategory();
    intptr_t canDo(const char* text);
    // effEditGetRect: the editor's size; false if the plug-in gives no rectangle.
    bool getEditorRect(int& width, int& height);

    // Parameters by index, normalised 0..1. [any thread]
    void setParameter(int index, float valueNorm);
    float getParameter(int index);
    std::string getParameterName(int index);
    std::string getParameterLabel(int index);
    std::string getParameterDisplay(int index);
    bool canBeAutomated(int index);
    bool getParameterProperties(int index, VstParameterProperties& properties);

    // Programs.
    int getProgram();
    void setProgram(int program);
    std::string getProgramName();
    void setProgramName(const char* name);
    std::string getProgramNameIndexed(int program);

    // Bytes the last text query wrote into its (oversized) buffer, terminator included: a
    // plug-in that honours the format's sizes stays within them.
    int getLastTextBytes() const { return lastTextBytes; }

    // State. `preset` selects the program form (index 1), else the bank form (index 0).
    std::vector<uint8_t> getChunk(bool preset);
    intptr_t setChunk(const void* data, size_t bytes, bool preset);

    // Speaker arrangements of the given channel counts (mono, stereo or user-defined); the
    // records stay alive in this object. Answers the plug-in's answer.
    intptr_t setSpeakerArrangement(int inChannels, int outChannels);
    // Channel counts of the plug-in's current arrangements; false if it has none.
    bool getSpeakerArrangement(int& inChannels, int& outChannels);
    // effSetProcessPrecision; answers the plug-in's answer.
    intptr_t setProcessPrecision(bool doublePrecision);

    // Processing. Double mode uses processDoubleReplacing, else processReplacing; in-place
    // mode hands the same buffers as input and output (for as many channels as both have).
    // Caller channels map to pins by index; missing or null inputs are silence, outputs
    // beyond the plug-in's get zeros.
    void setProcessMode(bool doublePrecision, bool inPlace);
    bool isDoubleMode() const { return doubleMode; }
    bool isInPlaceMode() const { return inPlaceMode; }

    // One process call of `frames` frames.
    [[nodiscard]] CError* processBlock(const float* const* inputs, int inChannels,
                                       float* const* outputs, int outChannels, int frames);
    [[nodiscard]] CError* processBlock(const double* const* inputs, int inChannels,
                                       double* const* outputs, int outChannels, int frames);
    // A whole signal in blocks whose sizes cycle through `blockSizes` (the last block may be
    // shorter). Stops at the first fault.
    [[nodiscard]] CError* process(const float* const* inputs, int inChannels, float* const* outputs,
                                  int outChannels, int64_t frames,
                                  const std::vector<int>& blockSizes);
    [[nodiscard]] CError* process(const double* const* inputs, int inChannels,
                                  double* const* outputs, int outChannels, int64_t frames,
                                  const std::vector<int>& blockSizes);
    int64_t getFramesProcessed() const { return framesProcessed.load(); }
    int64_t getProcessCalls() const { return processCalls.load(); }
    // Thread of the last process call, 0 before the first.
    uint64_t getProcessThreadId() const { return processThreadId; }

    // Transport as answered to audioMasterGetTime; the position follows the frames processed.
    void setTransportPlaying(bool playing);
    void setSamplePosition(int64_t frames);

    // Records. The logs keep the first 65536 entries; the counts cover all calls.
    std::vector<CCallRecord> getDispatchLog() const;
    std::vector<CCallRecord> getCallbackLog() const;
    // Callbacks of one opcode, e.g. kHostAutomate with index and value in `opt`.
    std::vector<CCallRecord> getCallbacks(int32_t opcode) const;
    int64_t countDispatches(int32_t opcode) const;
    int64_t countCallbacks(int32_t opcode) const;
    void clearRecords();

private:
    static constexpr int kOpcodeSlots = 128;
    static constexpr size_t kLogLimit = 65536;
    static constexpr int kTextBufferBytes = 256;

    // Calls the entry and takes the record it gives; `name` for the errors.
    CError* takeEffect(VstEntryProc entry, const char* name);
    static intptr_t hostCallback(AEffect* fromEffect, int32_t opcode, int32_t index, intptr_t value,
                                 void* ptr, float opt);
    intptr_t answer(int32_t opcode, int32_t index, intptr_t value, void* ptr, float opt);
    void record(std::vector<CCallRecord>& log, std::atomic<int64_t>* counts, int32_t opcode,
                int32_t index, intptr_t value, float opt);
    std::string queryText(int32_t opcode, int32_t index);
    void fillTimeInfo(VstTimeInfo& info) const;
    // Guarded buffers and pointer arrays for the plug-in's pins, so that processing in blocks
    // up to `frames` allocates nothing on the processing thread.
    void reserveBuffers(int frames);

    template <typename S>
    CError* processBlockOf(const S* const* inputs, int inChannels, S* const* outputs,
                           int outChannels, int frames);
    template <typename T, typename S>
    CError* runCall(CGuardedChannels<T>& in, CGuardedChannels<T>& out, const S* const* inputs,
                    int inChannels, S* const* outputs, int outChannels, int frames);
    template <typename S>
    CError* processWhole(const S* const* inputs, int inChannels, S* const* outputs, int outChannels,
                         int64_t frames, const std::vector<int>& blockSizes);

    CVstHost& host;
    CVstLibrary library;
    AEffect* effect = nullptr;
    std::string pluginFolder;
    bool opened = false;
    bool active = false;
    double sampleRateHz = 44100.0;
    int blockSize = 1024;

    bool doubleMode = false;
    bool inPlaceMode = false;
    CGuardedChannels<float> floatIn, floatOut;
    CGuardedChannels<double> doubleIn, doubleOut;
    std::vector<float*> floatCallOut;
    std::vector<double*> doubleCallOut;
    std::atomic<int64_t> framesProcessed{0};
    std::atomic<int64_t> processCalls{0};
    std::atomic<uint64_t> processThreadId{0};
    std::atomic<uint64_t> threadInProcess{0};
    std::atomic<bool> transportPlaying{true};
    VstTimeInfo timeInfo = {};
    int lastTextBytes = 0;

    VstSpeakerArrangement inArrangement = {};
    VstSpeakerArrangement outArrangement = {};

    mutable std::mutex recordMutex;
    std::vector<CCallRecord> dispatchLog;
    std::vector<CCallRecord> callbackLog;
    std::atomic<int64_t> dispatchCounts[kOpcodeSlots] = {};
    std::atomic<int64_t> callbackCounts[kOpcodeSlots] = {};
};

} // namespace kel
