#pragma once

#include "Audio/CAudioInterfaceBase.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamListener.h"
#include "Audio/CAudioParamRegistry.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"
#include "Core/Platform/CLock.h"

#include <atomic>
#include <cstdint>

namespace kel
{

class CApplicationData;
class CByteBuffer;
class CAudioCCTable;
class CAudioEnv;
class CAudioExtParamList;
class CAudioParam;
class CAudioParamCollector;
class CAudioProcess;
class CAudioProcessDef;
class CAudioProcessDefBase;
class CAudioVizCollector;
class CMemoryWriteBuffer;
class CDCDAWContext;
class CDCDAWContextObject;
class CModBypass;
class CModOutput;
class CModZumbel;
class CModZumbelModule;
class CObject;

// The format-independent root of one plug-in instance. The format layer (a class deriving from
// this one and from the format's effect class) owns it through its own lifetime, feeds it the
// host's sample rate, block size, channel layout and audio, and is reached back through the
// virtual hooks at the end.
//
// The instance owns its object tree (made from the shared tree's template `plugin`: kernel
// context, audio environment, parameter collector and the rest) and the process graph built from
// the shared definitions audio.modMain and audio.modOutput. Its identity (name, vendor, plug-in
// code, version) and channel layout come from the shared tree's `project` and the `plugin` object;
// its state for the host is the master registry's bank or current preset, as a chunk. Each run of
// at most kRunFrames frames widens the host's inputs into pool buffers on modMain's input port,
// updates and processes modMain and lets modOutput write the host's outputs; the parameter changes
// queued since the last block are taken once, at block start. While the graph is idle (the
// insertion hands its input on and the bypass is off) the host's samples go straight across.
//
// Threads: init and the destructor run on the thread that creates the instance. start, stop and
// the set-up calls run on whatever thread the host uses for them (as a rule its audio thread);
// the running flag and the channel layout are guarded by the environment lock, which is held
// only for those tests and writes. The block calls are [audio thread] and take no lock and
// allocate nothing once start has run.
class CAudioWrapper : public CCheckedObject, public CAudioInterfaceBase::CInstanceHook
{
public:
    // The most channels an instance can offer (plugin-intchannel-count is at most this).
    static constexpr int kMaxChannels = 8;
    // Bytes in front of the compressed block of a chunk with a header: reserved, zero.
    static constexpr int kChunkHeaderBytes = 16;
    // The engine never runs more frames at once than this, whatever the host's block.
    static constexpr int kRunFrames = 512;
    static constexpr int kHostStringBytes = 65;

    CAudioWrapper();
    ~CAudioWrapper() override;
    CAudioWrapper(const CAudioWrapper&) = delete;
    CAudioWrapper& operator=(const CAudioWrapper&) = delete;

    // Builds the instance's tree and its graph. The application's shared tree must exist. A
    // format layer that overrides it runs this first.
    [[nodiscard]] virtual CError* init();
    bool isInitialised() const { return initialised; }

    // "ABCD" packed first character highest; anything but four characters is an error.
    [[nodiscard]] static CError* acquirePluginCode(const CString& text, uint32_t& outCode);
    // "major.minor[.micro]", decimal numbers; micro defaults to 0.
    [[nodiscard]] static CError* parseVersion(const CString& text, int& outMajor, int& outMinor,
                                              int& outMicro);

    // Identity, from the shared tree's `project`; empty or zero before init.
    const CString& getPluginName() const { return pluginName; }
    const CString& getVendorName() const { return vendorName; }
    uint32_t getPluginCode() const { return pluginCode; }
    int getVersionMajor() const { return versionMajor; }
    int getVersionMinor() const { return versionMinor; }
    int getVersionMicro() const { return versionMicro; }
    // Channels offered to a host that allows more than two, and routing groups.
    int getIntChannelCount() const { return intChannelCount; }
    int getGroupCount() const { return groupCount; }
    bool getUseHostBpm() const { return useHostBpm; }

    // --- Set-up ---
    void setSampleRate(double rateHz);
    double getSampleRate() const { return sampleRateHz; }
    // The largest block the host announced; a bigger block still works, in more runs.
    void setBlockSize(int frames);
    int getBlockSize() const { return blockFrames; }
    // The host's render mode and tempo. Cheap and lock-free for the audio thread: the values
    // reach the host-offline and host-bpm parameters at the next start; the render mode also
    // at publishOffline.
    void setOffline(bool offline) { isOffline.store(offline, std::memory_order_relaxed); }
    bool getOffline() const { return isOffline.load(std::memory_order_relaxed); }
    // Puts the render mode seen last on the host-offline parameter, so that an editor shows a
    // switch the host made while running. Not on the audio thread: the parameter takes its lock.
    void publishOffline();
    void setTempo(double bpm) { tempoBpm = bpm; }
    double getTempo() const { return tempoBpm; }
    // The sample formats the host's buffers will have.
    void setBufferShape(bool inputIsDouble, bool outputIsDouble);
    bool isInputDouble() const { return inputDouble; }
    bool isOutputDouble() const { return outputDouble; }

    // The most channels the instance offers (numInputs and numOutputs of the format), 1 to
    // kMaxChannels. init sets it to plugin-intchannel-count; the format layer may lower it.
    void setChannelCount(int count);
    int getChannelCount() const { return channelCount; }
    // The channels in use, at most getChannelCount(); a change marks the layout, which the next
    // start applies. [any thread; takes the environment lock]
    void setActiveChannels(int inputCount, int outputCount);
    int getInChannels() const;
    int getOutChannels() const;
    // The output channels the block calls write, as fixed by the last start. [audio thread]
    int getRunOutChannels() const { return runOutChannels; }

    // Start and stop alternate with the host's resume and suspend; each acts once in a row.
    // start applies the sample rate and a changed layout and readies the buffers, so that the
    // block calls afterwards neither allocate nor lock. [takes the environment lock]
    void start();
    void stop();
    bool isRunning() const;

    // The engine's latency in samples, as the output process last stored it.
    int getLatencyFrames() const;
    void markLatencyStable();
    void markLatencyChanged();
    // Answers and clears the pending I/O change.
    bool takeIoChangePending();

    // --- Audio [audio thread] ---
    // One host block: runs of at most kRunFrames frames from the host's channel pointers to
    // theirs, at the counts of the last start. A null input channel is silence; a null output
    // channel is skipped; inputs and outputs may be the same buffers.
    void processBlock(float** inputs, float** outputs, int frames);
    void processBlock(double** inputs, double** outputs, int frames);
    // Runs made since init and the length of the last one, for tests and meters.
    int64_t getRunCount() const { return runCount; }
    int getLastRunFrames() const { return lastRunFrames; }

    // --- State ---
    // The instance's state as a chunk: the master registry's session bank (or its current preset,
    // isPreset) as one compressed block tagged "abnk" ("aprs"), behind kChunkHeaderBytes zero
    // bytes with hasHeader. *data is owned here and valid until the next call.
    // [any thread but the audio thread; takes the registry lock]
    [[nodiscard]] CError* saveChunk(void** data, int32_t* byteCount, bool isPreset, bool hasHeader);
    // Reads such a chunk and activates it: the bank into the session bank (its current slot
    // applied), the preset onto the current slot. A chunk with a header and nothing behind it is
    // an empty state and changes nothing; a chunk that cannot be read changes nothing either.
    [[nodiscard]] CError* loadChunk(const void* data, int32_t byteCount, bool isPreset,
                                    bool hasHeader);

    // --- Programs: the master registry's session slots ---
    int getProgramCount() const;
    int getCurrentProgram() const;
    // Makes slot `program` the current one; origin is who asked (the host's effect), so that
    // the host is not told of its own change. Out of range: nothing.
    void selectProgram(int program, const void* origin);
    // The display name of a slot without the registry's id ("Default").
    CString getProgramName(int program) const;
    void renameCurrentProgram(const CString& name, const void* origin);

    // A MIDI event of the coming block, timeSec after its start. Nothing uses MIDI here.
    virtual void midiEvent(int /*status*/, int /*channel*/, int /*data1*/, int /*data2*/,
                           double /*timeSec*/)
    {
    }

    // A process-wide setting read as a bool: "1" and "true" are true, "0", "false" and anything
    // else false; fallback stands for a missing key.
    static bool readBoolSetting(const char* key, const char* fallback);
    static bool parseBool(const char* text);
    // Hosts that must get two channels whatever they offer ("force-2ch").
    bool getForce2ch() const { return force2ch; }

    const char* getHostProduct() const { return hostProduct; }
    const char* getHostVendor() const { return hostVendor; }
    CDCDAWContext* getContext() const;
    // The insertion module that gives the output now; null before init.
    CModZumbelModule* getModule() const;
    // Parts of the instance; null before init.
    CObject* getPluginObject() const { return pluginObject; }
    CAudioParamCollector* getParamCollector() const { return paramCollector; }
    CAudioParamRegistry* getParamRegistry() const { return paramRegistry; }
    CAudioExtParamList* getExtParamList() const { return extParamList; }
    CAudioInterfaceBase* getInterfaceBase() const { return interfaceBase; }
    CAudioVizCollector* getVizCollector() const { return vizCollector; }
    // The environment's clock: seconds of audio processed since init. [audio thread]
    double getClockSec() const { return clockSec; }
    CAudioEnv* getAudioEnv() const { return audioEnv; }
    CAudioProcess* getMainProcess() const { return modMain; }
    CModOutput* getOutputProcess() const { return modOutput; }

    // A user interface asks the instance to tell the host that its state changed.
    void onInterfaceCall() override { hostUpdateDisplay(); }

    // --- Hooks to the host, overridden by the format layer ---
    // A parameter changed by the user; valueNorm 0 to 1.
    virtual void hostAutomate(int /*index*/, float /*valueNorm*/) {}
    virtual void hostBeginEdit(int /*index*/) {}
    virtual void hostEndEdit(int /*index*/) {}
    // Program names or the like changed.
    virtual void hostUpdateDisplay() {}

    // Binds one parameter of the instance to a process-wide setting: the setting's value is put
    // in the parameter when the instance starts, and a change by anyone but the host and the
    // presets goes back to the setting, so that the value is common to every instance and lasts
    // between sessions. [any thread; the write runs after the parameter's lock is left]
    class CGlobalParam : public CCheckedObject,
                         public CAudioParamListener,
                         public CAudioParamContext::CDeferredTarget
    {
    public:
        CGlobalParam(CAudioParam& boundParam, CApplicationData& settingsStore,
                     const char* settingsKey);
        ~CGlobalParam() override;
        CGlobalParam(const CGlobalParam&) = delete;
        CGlobalParam& operator=(const CGlobalParam&) = delete;

        // The stored setting into the parameter; a missing or unreadable one leaves it.
        void applyStored();
        const char* getKey() const { return key; }

        void onParamChange(CAudioParam& param, const CAudioParamChange& change,
                           CAudioParamContext& context, const CAudioParam::CGuard& held) override;
        void onDeferredValue(double value) override;

    private:
        CAudioParam& param;
        CApplicationData& store;
        const char* key;
    };

protected:
    char hostProduct[kHostStringBytes] = {};
    char hostVendor[kHostStringBytes] = {};
    // Guards the running flag and the channel layout.
    mutable CLock envLock;

private:
    template <typename Sample> void processRuns(Sample** inputs, Sample** outputs, int frames);
    template <typename Sample>
    static void passThrough(Sample** inputs, int ins, Sample** outputs, int outs, int offset,
                            int count);
    // Tells the host when the current program changes by anything but the host itself.
    class CProgramChangeBridge : public CAudioParamRegistry::CListener
    {
    public:
        explicit CProgramChangeBridge(CAudioWrapper& owner) : wrapper(owner) {}
        void onRegistryChanged(CAudioParamRegistry& registry, const void* origin) override;

    private:
        CAudioWrapper& wrapper;
    };

    [[nodiscard]] CError* buildTree();
    [[nodiscard]] CError* readIdentity();
    [[nodiscard]] CError* findParts();
    [[nodiscard]] CError* buildGraph();
    [[nodiscard]] CError* bindGlobalParams();
    void resolveHostParams();
    void applyHostState();
    // Whether every value of a chunk's preset or bank payload decodes.
    [[nodiscard]] static CError* checkPayload(const CByteBuffer& payload, bool isPreset);
    void setHostParam(CAudioParam* param, double value);
    [[nodiscard]] CError* applyLayout();
    void warmUpPool();
    // Whether a run of `frames` frames may pass the host's samples straight across.
    bool isIdleRun(int frames) const;
    void teardown();

    // The tree's root, owned; the rest is owned by the tree or, for the processes, here.
    CObject* rootObject = nullptr;
    CObject* pluginObject = nullptr;
    CDCDAWContextObject* contextObject = nullptr;
    CAudioEnv* audioEnv = nullptr;
    CAudioParamCollector* paramCollector = nullptr;
    CAudioVizCollector* vizCollector = nullptr;
    CAudioInterfaceBase* interfaceBase = nullptr;
    CAudioExtParamList* extParamList = nullptr;
    CAudioCCTable* ccTable = nullptr;
    CAudioParamRegistry* paramRegistry = nullptr;
    CAudioProcessDef* modMainDef = nullptr;
    CAudioProcessDefBase* modOutputDef = nullptr;
    CAudioProcess* modMain = nullptr;
    CModOutput* modOutput = nullptr;
    CModZumbel* zumbel = nullptr;
    CModBypass* bypass = nullptr;
    uint32_t blockContext = 0;
    bool initialised = false;
    bool force2ch = false;

    CString pluginName;
    CString vendorName;
    uint32_t pluginCode = 0;
    int versionMajor = 0;
    int versionMinor = 0;
    int versionMicro = 0;
    int intChannelCount = kMaxChannels;
    int groupCount = 1;
    bool hasSidechain = false;
    bool useHostBpm = false;
    int oversamplingLevel = 1;

    // Parameters the host's state goes to; null where the graph has none.
    CAudioParam* hostOversamplingParam = nullptr;
    CAudioParam* hostOfflineParam = nullptr;
    CAudioParam* hostLatencyChangeParam = nullptr;
    CAudioParam* hostBpmParam = nullptr;
    CAudioParam* bypassParam = nullptr;
    static constexpr int kGlobalParamCount = 4;
    CGlobalParam* globalParams[kGlobalParamCount] = {};
    CProgramChangeBridge progChangeBridge{*this};
    bool progChangeBridgeAdded = false;
    // The last chunk handed out; owned.
    CMemoryWriteBuffer* chunkBuffer = nullptr;

    double sampleRateHz = 44100.0;
    double moduleRateHz = 0.0;
    int blockFrames = 1024;
    std::atomic<bool> isOffline{false}; // written by the audio thread
    double tempoBpm = 120.0;
    bool inputDouble = false;
    bool outputDouble = false;

    int channelCount = kMaxChannels;
    int inChannels = kMaxChannels;
    int outChannels = kMaxChannels;
    // Side-chain channels in use; this product has no side-chain input.
    int sideChannels = 0;
    bool layoutChanged = true;
    bool running = false;
    // The counts the audio thread works with, fixed at start.
    int runInChannels = kMaxChannels;
    int runOutChannels = kMaxChannels;
    // Channels the graph was set up for; 0: no graph to run.
    int graphChannels = 0;
    int64_t runCount = 0;
    int lastRunFrames = 0;
    double clockSec = 0.0;

    bool latencyStable = false;
    bool ioChangePending = false;
    // The latency the host knows, as of the last block. [audio thread]
    int toldLatencyFrames = 0;
};

} // namespace kel
