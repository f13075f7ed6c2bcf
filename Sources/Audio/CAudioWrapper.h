#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/Platform/CLock.h"

#include <cstdint>

namespace kel
{

class CAudioEnv;
class CAudioParamCollector;
class CAudioProcess;
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
// the shared definitions audio.modMain and audio.modOutput. Each run of at most kRunFrames frames
// widens the host's inputs into pool buffers on modMain's input port, updates and processes
// modMain and lets modOutput write the host's outputs; the parameter changes queued since the
// last block are taken once, at block start. While the graph is idle (the insertion hands its
// input on and the bypass is off) the host's samples go straight across. The chunk calls carry
// no state yet.
//
// Threads: init and the destructor run on the thread that creates the instance. start, stop and
// the set-up calls run on whatever thread the host uses for them (as a rule its audio thread);
// the running flag and the channel layout are guarded by the environment lock, which is held
// only for those tests and writes. The block calls are [audio thread] and take no lock and
// allocate nothing once start has run.
class CAudioWrapper : public CCheckedObject
{
public:
    // Identity of the product.
    static constexpr const char* kPluginName = "Zumbel";
    static constexpr const char* kVendorName = "Kelmont";
    static constexpr uint32_t kPluginCode = 0x4B5A6D62; // 'KZmb'
    static constexpr int kVersionMajor = 1;
    static constexpr int kVersionMinor = 0;
    static constexpr int kVersionMicro = 0;
    // Channels the instance offers when the host allows more than two.
    static constexpr int kIntChannelCount = 8;
    static constexpr int kMaxChannels = 8;
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

    // --- Set-up ---
    void setSampleRate(double rateHz);
    double getSampleRate() const { return sampleRateHz; }
    // The largest block the host announced; a bigger block still works, in more runs.
    void setBlockSize(int frames);
    int getBlockSize() const { return blockFrames; }
    void setOffline(bool offline) { isOffline = offline; }
    bool getOffline() const { return isOffline; }
    void setTempo(double bpm) { tempoBpm = bpm; }
    // The sample formats the host's buffers will have.
    void setBufferShape(bool inputIsDouble, bool outputIsDouble);
    bool isInputDouble() const { return inputDouble; }
    bool isOutputDouble() const { return outputDouble; }

    // The most channels the instance offers (numInputs and numOutputs of the format), 1 to
    // kMaxChannels. Set before init; init sizes everything by it.
    void setChannelCount(int count);
    int getChannelCount() const { return channelCount; }
    // The channels in use, at most getChannelCount(); a change marks the layout, which the next
    // start applies. [any thread; takes the environment lock]
    void setActiveChannels(int inputCount, int outputCount);
    int getInChannels() const;
    int getOutChannels() const;

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
    // The instance's state as a chunk; *data is owned here and valid until the next call.
    [[nodiscard]] CError* saveChunk(void** data, int32_t* byteCount, bool isPreset, bool hasHeader);
    [[nodiscard]] CError* loadChunk(const void* data, int32_t byteCount, bool isPreset,
                                    bool hasHeader);

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
    CAudioEnv* getAudioEnv() const { return audioEnv; }
    CAudioProcess* getMainProcess() const { return modMain; }
    CModOutput* getOutputProcess() const { return modOutput; }

    // --- Hooks to the host, overridden by the format layer ---
    // A parameter changed by the user; valueNorm 0 to 1.
    virtual void hostAutomate(int /*index*/, float /*valueNorm*/) {}
    virtual void hostBeginEdit(int /*index*/) {}
    virtual void hostEndEdit(int /*index*/) {}
    // Program names or the like changed.
    virtual void hostUpdateDisplay() {}

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
    [[nodiscard]] CError* buildTree();
    [[nodiscard]] CError* buildGraph();
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
    CAudioProcess* modMain = nullptr;
    CModOutput* modOutput = nullptr;
    CModZumbel* zumbel = nullptr;
    CModBypass* bypass = nullptr;
    uint32_t blockContext = 0;
    bool initialised = false;
    bool force2ch = false;

    double sampleRateHz = 44100.0;
    double moduleRateHz = 0.0;
    int blockFrames = 1024;
    bool isOffline = false;
    double tempoBpm = 120.0;
    bool inputDouble = false;
    bool outputDouble = false;

    int channelCount = kIntChannelCount;
    int inChannels = kIntChannelCount;
    int outChannels = kIntChannelCount;
    bool layoutChanged = true;
    bool running = false;
    // The counts the audio thread works with, fixed at start.
    int runInChannels = kIntChannelCount;
    int runOutChannels = kIntChannelCount;
    // Channels the graph was set up for; 0: no graph to run.
    int graphChannels = 0;
    int64_t runCount = 0;
    int lastRunFrames = 0;

    bool latencyStable = false;
    bool ioChangePending = false;
};

} // namespace kel
