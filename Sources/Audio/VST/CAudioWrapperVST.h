#pragma once

#include "Audio/CAudioExtParamHostBridge.h"
#include "Audio/CAudioWrapper.h"
#include "Audio/VST/AudioEffectX.h"
#include "Core/CError.h"
#include "Core/CThreadContract.h"
#include "Core/Platform/CLock.h"

#include <cstdint>

namespace kel
{

class CAudioExtParam;
class CAudioExtParamList;

// The VST 2 face of one plug-in instance: the effect the host talks to (AudioEffectX) and the
// format-independent instance (CAudioWrapper) in one object. It learns the host's identity and
// quirks at start-up, turns the host's calls into the instance's operations and reaches the
// host for the instance through its hooks. The host's parameters are the instance's
// ext-param-list, by position; a change the user makes reaches the host as one automation call,
// after the parameter's lock is left, and a change from the host is never sent back to it.
//
// Created by create() from the entry points; deleted by the host's kEffClose, which deletes the
// editor first, then the VST layer's own records, then the instance. Threads: the host's audio
// thread runs process, resume and suspend (serialised by the sync lock for the hosts that need
// it); its interface thread runs the rest. The effect's own lock guards the channel names.
class CAudioWrapperVST : public AudioEffectX, public CAudioWrapper, public CAudioExtParamHostBridge
{
public:
    static constexpr int kChannelNameBytes = 64;
    // Hosts that need every call serialised, and the exact names of special hosts.
    static constexpr const char* kSyncHostPattern = "*WaveLab*";
    static constexpr const char* kTwoChannelHostProduct = "Sony ACID Pro";
    static constexpr const char* kNoFocusHostVendor = "Steinberg";
    // The first host version that may get more than two channels.
    static constexpr int32_t kMultiChannelHostVersion = 2300;
    // vendorSpecific forms.
    static constexpr int32_t kWheelIndex = 0x73744341;
    static constexpr intptr_t kWheelValue = 0x57686565;
    static constexpr int32_t kFormatValueIndex = 7;
    static constexpr uint32_t kCockosExtensionsAnswer = 0xBEEF0000u;
    // Where the input channels' names are published for the interface.
    static constexpr const char* kInChannelNamesParam = "plugin.modMain.io-params.in-channel-names";

    // The creator behind both entry points. Asks the host's version (no answer: *effect stays
    // null and no error), makes the effect and runs its start-up. On failure the effect is gone,
    // *effect is null and the error is the caller's to show. intChannelCount is the channel count
    // offered to hosts that allow more than two; 0 takes the tree's plugin-intchannel-count.
    // [set-up thread]
    [[nodiscard]] static CError* create(VstHostCallback hostCallback, AEffect** effect,
                                        int offeredChannels = 0);

    // The process-wide framework under every instance: the creators of the core, the audio side
    // and the interface, the product's embedded resources and the shared tree. Runs once per
    // process (create calls it for the first instance); later calls return at once. A failure
    // goes to the error window and the instances go on without a shared tree.
    // [any thread; takes the application lock]
    static void startApplication();

    CAudioWrapperVST(VstHostCallback hostCallback, int offeredChannels);
    ~CAudioWrapperVST() override;

    // Start-up after the instance's own init: host identity and quirks, counts and flags, the
    // editor and the channel names.
    [[nodiscard]] CError* init() override;

    // --- AudioEffect slots ---
    void suspend() override;
    void resume() override;
    // One function serves both replacing slots; the old accumulating entry stays empty.
    void processReplacing(float** inputs, float** outputs, int32_t frames) override;
    void processDoubleReplacing(double** inputs, double** outputs, int32_t frames) override;
    void setParameter(int32_t index, float valueNorm) override;
    float getParameter(int32_t index) override;
    int32_t getProgram() override;
    void setProgram(int32_t program) override;
    void setProgramName(const char* name) override;
    void getProgramName(char* name) override;
    void getParameterLabel(int32_t index, char* label) override;
    void getParameterDisplay(int32_t index, char* text) override;
    void getParameterName(int32_t index, char* text) override;
    int32_t getChunk(void** data, bool isPreset) override;
    int32_t setChunk(void* data, int32_t byteSize, bool isPreset) override;

    // --- AudioEffectX slots ---
    int32_t processEvents(VstEvents* events) override;
    bool canParameterBeAutomated(int32_t index) override;
    bool getProgramNameIndexed(int32_t category, int32_t index, char* text) override;
    int32_t getPlugCategory() override;
    bool setSpeakerArrangement(VstSpeakerArrangement* input,
                               VstSpeakerArrangement* output) override;
    bool getEffectName(char* name) override;
    bool getVendorString(char* text) override;
    bool getProductString(char* text) override;
    int32_t getVendorVersion() override;
    intptr_t vendorSpecific(int32_t index, intptr_t value, void* ptr, float opt) override;
    intptr_t canDo(const char* text) override;
    int32_t getCurrentMidiProgram(int32_t channel, void* programName) override;
    bool getSpeakerArrangement(VstSpeakerArrangement** input,
                               VstSpeakerArrangement** output) override;
    bool setProcessPrecision(int32_t precision) override;

    // --- Hooks of the instance; each does nothing until start-up has finished ---
    void hostAutomate(int index, float valueNorm) override;
    void hostBeginEdit(int index) override;
    void hostEndEdit(int index) override;
    void hostUpdateDisplay() override;
    // A host parameter changed by anything but the host: its automation call. [any thread; no
    // parameter lock held]
    void onExtParamChange(int index, double valueNorm) override;
    void onExtParamGesture(int index, bool isBegin) override;

    // What start-up learnt of the host.
    int32_t getHostVersion() const { return hostVersion; }
    bool hasSyncLock() const { return syncLock != nullptr; }
    bool isDoublePrecision() const { return doublePrecision; }
    // Copies a channel's display name; false if there is no such channel.
    // [any thread; takes the effect's lock]
    bool getInChannelName(int channel, char* text, int bytes) const;
    bool getOutChannelName(int channel, char* text, int bytes) const;

    // Whether windows should take the keyboard focus when they are created: process-wide, set
    // at every start-up from the host's vendor.
    static bool windowsTakeFocus();

    // Text patterns with '*' (any run of characters) and '?' (one character), ignoring ASCII
    // case, as used for host names.
    static bool matchWildcard(const char* pattern, const char* text);

private:
    template <typename Sample> void processAudio(Sample** inputs, Sample** outputs, int32_t frames);
    // The host's process level decides whether we render offline.
    void refreshOffline();
    // Buffer shape and channel counts for the instance, from the stored arrangements.
    void applyShapeAndCounts();
    // Names channels "IN n"/"OUT n", or by the arrangement's speaker names. Caller holds
    // effectLock.
    void fillChannelNames();
    // The host parameter at index, or null outside the list.
    CAudioExtParam* extParamAt(int32_t index) const;
    static VstSpeakerArrangement* copyArrangement(const VstSpeakerArrangement* source);
    static void freeArrangement(VstSpeakerArrangement*& arrangement);
    // The input channels' names to the instance's parameter, for the interface.
    void publishChannelNames();

    CLock* syncLock = nullptr;
    // The audio path runs on one thread between resume and suspend (checked in debug builds).
    CThreadContract audioContract{"audio"};
    // Not owned: part of the instance's tree, which outlives this layer's use of it.
    CAudioExtParamList* extParams = nullptr;
    mutable CLock effectLock;
    VstSpeakerArrangement* inputArrangement = nullptr;
    VstSpeakerArrangement* outputArrangement = nullptr;
    char inChannelName[kMaxChannels][kChannelNameBytes] = {};
    char outChannelName[kMaxChannels][kChannelNameBytes] = {};
    int inNameCount = 0;
    int outNameCount = 0;
    bool doublePrecision = false;
    bool startupDone = false;
    int32_t hostVersion = 0;
    int intChannels;
};

} // namespace kel
