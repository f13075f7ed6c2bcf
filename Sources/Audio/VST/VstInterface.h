#pragma once

// The binary interface between a VST 2 host and a plug-in on x86-64: the records the two sides
// exchange, the opcodes of both call directions and the flag values. Written down from the
// published facts of the format; every layout is checked below, so a wrong field breaks the
// build, not a host. Plain C++ with no framework dependency: the plug-in's layer and our test
// hosts both include it.

#include <cstddef>
#include <cstdint>

struct AEffect;

// Plug-in -> host. Answers depend on the opcode; 0 means "not supported" almost everywhere.
using VstHostCallback = intptr_t (*)(AEffect* effect, int32_t opcode, int32_t index, intptr_t value,
                                     void* ptr, float opt);
// Host -> plug-in, the one entry for everything that is not audio or a parameter.
using VstDispatcherProc = intptr_t (*)(AEffect* effect, int32_t opcode, int32_t index,
                                       intptr_t value, void* ptr, float opt);
using VstProcessProc = void (*)(AEffect* effect, float** inputs, float** outputs, int32_t frames);
using VstProcessDoubleProc = void (*)(AEffect* effect, double** inputs, double** outputs,
                                      int32_t frames);
using VstSetParameterProc = void (*)(AEffect* effect, int32_t index, float valueNorm);
using VstGetParameterProc = float (*)(AEffect* effect, int32_t index);
// The exported entry point (both "VSTPluginMain" and "main" have this type).
using VstEntryProc = AEffect* (*)(VstHostCallback host);

// 'VstP', the first field of every effect record.
constexpr int32_t kVstEffectMagic = 0x56737450;
// What a plug-in of format version 2.4 answers to kEffGetVstVersion.
constexpr int32_t kVstFormatVersion = 2400;

// The record a plug-in hands to its host. The host reads the counts and flags and calls through
// the function pointers; 'object' belongs to the plug-in, 'user' to the host.
struct AEffect
{
    int32_t magic;
    VstDispatcherProc dispatcher;
    VstProcessProc process; // the old accumulating entry
    VstSetParameterProc setParameter;
    VstGetParameterProc getParameter;
    int32_t numPrograms;
    int32_t numParams;
    int32_t numInputs;
    int32_t numOutputs;
    int32_t flags;
    intptr_t reserved1;
    intptr_t reserved2;
    int32_t initialDelay; // latency in samples
    int32_t realQualities;
    int32_t offQualities;
    float ioRatio;
    void* object;
    void* user;
    int32_t uniqueID;
    int32_t version;
    VstProcessProc processReplacing;
    VstProcessDoubleProc processDoubleReplacing;
    char future[56];
};

// AEffect::flags
enum VstEffectFlags : int32_t
{
    kEffectFlagHasEditor = 1 << 0,
    kEffectFlagCanReplacing = 1 << 4,
    kEffectFlagProgramChunks = 1 << 5,
    kEffectFlagIsSynth = 1 << 8,
    kEffectFlagNoSoundInStop = 1 << 9,
    kEffectFlagCanDoubleReplacing = 1 << 12,
};

// Host -> plug-in, through AEffect::dispatcher. Comments name the arguments that carry data.
enum VstEffectOpcode : int32_t
{
    kEffOpen = 0,
    kEffClose = 1,
    kEffSetProgram = 2,             // value: program
    kEffGetProgram = 3,             // answers the program
    kEffSetProgramName = 4,         // ptr: text
    kEffGetProgramName = 5,         // ptr: char[24]
    kEffGetParamLabel = 6,          // index, ptr: char[8]
    kEffGetParamDisplay = 7,        // index, ptr: char[8]
    kEffGetParamName = 8,           // index, ptr: char[8]
    kEffSetSampleRate = 10,         // opt: rate in hertz
    kEffSetBlockSize = 11,          // value: frames
    kEffMainsChanged = 12,          // value: 0 suspend, 1 resume
    kEffEditGetRect = 13,           // ptr: ERect**
    kEffEditOpen = 14,              // ptr: the host's parent window
    kEffEditClose = 15,             //
    kEffEditIdle = 19,              //
    kEffGetChunk = 23,              // ptr: void**, index: 0 bank, 1 program; answers the size
    kEffSetChunk = 24,              // ptr: data, value: size, index: 0 bank, 1 program
    kEffProcessEvents = 25,         // ptr: VstEvents*
    kEffCanBeAutomated = 26,        // index
    kEffString2Parameter = 27,      // index, ptr: text
    kEffGetProgramNameIndexed = 29, // index, ptr: char[24]
    kEffGetInputProperties = 33,    // index, ptr: VstPinProperties*
    kEffGetOutputProperties = 34,   // index, ptr: VstPinProperties*
    kEffGetPlugCategory = 35,       // answers a VstPlugCategory
    kEffOfflineNotify = 38,
    kEffOfflinePrepare = 39,
    kEffOfflineRun = 40,
    kEffProcessVarIo = 41,
    kEffSetSpeakerArrangement = 42, // value: input VstSpeakerArrangement*, ptr: output one
    kEffSetBypass = 44,             // value: 0/1
    kEffGetEffectName = 45,         // ptr: char[32]
    kEffGetVendorString = 47,       // ptr: char[64]
    kEffGetProductString = 48,      // ptr: char[64]
    kEffGetVendorVersion = 49,
    kEffVendorSpecific = 50, // index, value, ptr, opt
    kEffCanDo = 51,          // ptr: text; answers 1 yes, -1 no, 0 don't know
    kEffGetTailSize = 52,
    kEffGetParameterProperties = 56, // index, ptr: VstParameterProperties*
    kEffGetVstVersion = 58,
    kEffEditKeyDown = 59, // index: character, value: virtual key, opt: modifiers
    kEffEditKeyUp = 60,
    kEffSetEditKnobMode = 61, // value: mode
    kEffGetMidiProgramName = 62,
    kEffGetCurrentMidiProgram = 63,
    kEffGetMidiProgramCategory = 64,
    kEffHasMidiProgramsChanged = 65,
    kEffGetMidiKeyName = 66,
    kEffBeginSetProgram = 67,
    kEffEndSetProgram = 68,
    kEffGetSpeakerArrangement = 69, // value: VstSpeakerArrangement** in, ptr: ...** out
    kEffShellGetNextPlugin = 70,
    kEffStartProcess = 71,
    kEffStopProcess = 72,
    kEffSetTotalSampleToProcess = 73,
    kEffSetPanLaw = 74,
    kEffBeginLoadBank = 75,
    kEffBeginLoadProgram = 76,
    kEffSetProcessPrecision = 77, // value: VstProcessPrecision
    kEffGetNumMidiInputChannels = 78,
    kEffGetNumMidiOutputChannels = 79,
};

// Plug-in -> host, through the VstHostCallback.
enum VstHostOpcode : int32_t
{
    kHostAutomate = 0, // index, opt: normalised value
    kHostVersion = 1,  // answers e.g. 2400; 0 from a host that predates it
    kHostCurrentId = 2,
    kHostIdle = 3,
    kHostWantMidi = 6,
    kHostGetTime = 7,       // value: VstTimeFlags wanted; answers VstTimeInfo* or 0
    kHostProcessEvents = 8, // ptr: VstEvents*
    kHostIOChanged = 13,
    kHostSizeWindow = 15, // index: width, value: height
    kHostGetSampleRate = 16,
    kHostGetBlockSize = 17,
    kHostGetInputLatency = 18,
    kHostGetOutputLatency = 19,
    kHostGetCurrentProcessLevel = 23, // answers a VstProcessLevel
    kHostGetAutomationState = 24,
    kHostGetVendorString = 32,  // ptr: char[64]
    kHostGetProductString = 33, // ptr: char[64]
    kHostGetVendorVersion = 34,
    kHostVendorSpecific = 35,
    kHostCanDo = 37, // ptr: text
    kHostGetLanguage = 38,
    kHostGetDirectory = 41,
    kHostUpdateDisplay = 42,
    kHostBeginEdit = 43, // index
    kHostEndEdit = 44,   // index
    kHostOpenFileSelector = 45,
    kHostCloseFileSelector = 46,
};

// Answers to kHostGetCurrentProcessLevel.
enum VstProcessLevel : int32_t
{
    kProcessLevelUnknown = 0,
    kProcessLevelUser = 1,
    kProcessLevelRealtime = 2,
    kProcessLevelPrefetch = 3,
    kProcessLevelOffline = 4,
};

// Value of kEffSetProcessPrecision.
enum VstProcessPrecision : int32_t
{
    kProcessPrecision32 = 0,
    kProcessPrecision64 = 1,
};

// Answers to kEffGetPlugCategory.
enum VstPlugCategory : int32_t
{
    kCategoryUnknown = 0,
    kCategoryEffect = 1,
    kCategorySynth = 2,
    kCategoryAnalysis = 3,
    kCategoryMastering = 4,
    kCategorySpatializer = 5,
    kCategoryRoomFx = 6,
    kCategorySurroundFx = 7,
    kCategoryRestoration = 8,
    kCategoryOfflineProcess = 9,
    kCategoryShell = 10,
    kCategoryGenerator = 11,
};

// String buffer sizes in bytes, terminator included.
constexpr int kVstProgramNameBytes = 24;
constexpr int kVstParamTextBytes = 8; // label, display and name of a parameter
constexpr int kVstEffectNameBytes = 32;
constexpr int kVstVendorStringBytes = 64;
constexpr int kVstProductStringBytes = 64;
// The plug-in side reads the host's vendor and product into buffers one byte longer than the
// format promises, for hosts that write a full 64 characters and then the terminator.
constexpr int kVstHostStringBytes = 65;

// The host's transport and clock, answered to kHostGetTime.
struct VstTimeInfo
{
    double samplePos;
    double sampleRate;
    double nanoSeconds;
    double ppqPos;
    double tempo; // beats per minute
    double barStartPos;
    double cycleStartPos;
    double cycleEndPos;
    int32_t timeSigNumerator;
    int32_t timeSigDenominator;
    int32_t smpteOffset;
    int32_t smpteFrameRate;
    int32_t samplesToNextClock;
    int32_t flags; // VstTimeFlags
};

enum VstTimeFlags : int32_t
{
    kTimeTransportChanged = 1,
    kTimeTransportPlaying = 1 << 1,
    kTimeTransportCycleActive = 1 << 2,
    kTimeTransportRecording = 1 << 3,
    kTimeAutomationWriting = 1 << 6,
    kTimeAutomationReading = 1 << 7,
    kTimeNanosValid = 1 << 8,
    kTimePpqPosValid = 1 << 9,
    kTimeTempoValid = 1 << 10,
    kTimeBarsValid = 1 << 11,
    kTimeCyclePosValid = 1 << 12,
    kTimeTimeSigValid = 1 << 13,
    kTimeSmpteValid = 1 << 14,
    kTimeClockValid = 1 << 15,
};

enum VstEventType : int32_t
{
    kEventTypeMidi = 1,
    kEventTypeSysEx = 6,
};

// Common head of every event; 'type' tells which record it really is.
struct VstEvent
{
    int32_t type;
    int32_t byteSize;
    int32_t deltaFrames; // offset in the current block
    int32_t flags;
    char data[16];
};

struct VstMidiEvent
{
    int32_t type; // kEventTypeMidi
    int32_t byteSize;
    int32_t deltaFrames;
    int32_t flags;
    int32_t noteLength;
    int32_t noteOffset;
    char midiData[4]; // status, data 1, data 2, unused
    char detune;
    char noteOffVelocity;
    char reserved1;
    char reserved2;
};

// A list of events; the host allocates it with room for numEvents pointers.
struct VstEvents
{
    int32_t numEvents;
    intptr_t reserved;
    VstEvent* events[2];
};

// The editor's rectangle in pixels.
struct ERect
{
    int16_t top;
    int16_t left;
    int16_t bottom;
    int16_t right;
};

struct VstSpeakerProperties
{
    float azimuth;
    float elevation;
    float radius;
    float reserved;
    char name[64];
    int32_t type;
    char future[28];
};

enum VstArrangementType : int32_t
{
    kArrangementUserDefined = -2,
    kArrangementEmpty = -1,
    kArrangementMono = 0,
    kArrangementStereo = 1,
};

// One side's channel layout. The host may allocate room for more than eight speakers; read
// numChannels entries, never sizeof.
struct VstSpeakerArrangement
{
    int32_t type; // VstArrangementType
    int32_t numChannels;
    VstSpeakerProperties speakers[8];
};

enum VstPinFlags : int32_t
{
    kPinIsActive = 1,
    kPinIsStereo = 2,
    kPinUseSpeaker = 4,
};

struct VstPinProperties
{
    char label[64];
    int32_t flags; // VstPinFlags
    int32_t arrangementType;
    char shortLabel[8];
    char future[48];
};

struct VstParameterProperties
{
    float stepFloat;
    float smallStepFloat;
    float largeStepFloat;
    char label[64];
    int32_t flags;
    int32_t minInteger;
    int32_t maxInteger;
    int32_t stepInteger;
    int32_t largeStepInteger;
    char shortLabel[8];
    int16_t displayIndex;
    int16_t category;
    int16_t numParametersInCategory;
    int16_t reserved;
    char categoryLabel[24];
    char future[16];
};

// The layouts as x86-64 Linux hosts expect them (natural alignment, no packing).
#if defined(__x86_64__) || defined(_M_X64)
static_assert(sizeof(AEffect) == 192, "AEffect layout");
static_assert(offsetof(AEffect, dispatcher) == 8, "AEffect layout");
static_assert(offsetof(AEffect, numPrograms) == 40, "AEffect layout");
static_assert(offsetof(AEffect, flags) == 56, "AEffect layout");
static_assert(offsetof(AEffect, reserved1) == 64, "AEffect layout");
static_assert(offsetof(AEffect, initialDelay) == 80, "AEffect layout");
static_assert(offsetof(AEffect, ioRatio) == 92, "AEffect layout");
static_assert(offsetof(AEffect, object) == 96, "AEffect layout");
static_assert(offsetof(AEffect, user) == 104, "AEffect layout");
static_assert(offsetof(AEffect, uniqueID) == 112, "AEffect layout");
static_assert(offsetof(AEffect, version) == 116, "AEffect layout");
static_assert(offsetof(AEffect, processReplacing) == 120, "AEffect layout");
static_assert(offsetof(AEffect, processDoubleReplacing) == 128, "AEffect layout");
static_assert(offsetof(AEffect, future) == 136, "AEffect layout");
static_assert(sizeof(VstTimeInfo) == 88, "VstTimeInfo layout");
static_assert(offsetof(VstTimeInfo, timeSigNumerator) == 64, "VstTimeInfo layout");
static_assert(offsetof(VstTimeInfo, flags) == 84, "VstTimeInfo layout");
static_assert(sizeof(VstEvent) == 32, "VstEvent layout");
static_assert(sizeof(VstMidiEvent) == 32, "VstMidiEvent layout");
static_assert(offsetof(VstMidiEvent, midiData) == 24, "VstMidiEvent layout");
static_assert(offsetof(VstMidiEvent, noteOffVelocity) == 29, "VstMidiEvent layout");
static_assert(sizeof(VstEvents) == 32, "VstEvents layout");
static_assert(offsetof(VstEvents, reserved) == 8, "VstEvents layout");
static_assert(offsetof(VstEvents, events) == 16, "VstEvents layout");
static_assert(sizeof(ERect) == 8, "ERect layout");
static_assert(sizeof(VstSpeakerProperties) == 112, "VstSpeakerProperties layout");
static_assert(offsetof(VstSpeakerProperties, name) == 16, "VstSpeakerProperties layout");
static_assert(offsetof(VstSpeakerProperties, type) == 80, "VstSpeakerProperties layout");
static_assert(sizeof(VstSpeakerArrangement) == 8 + 8 * 112, "VstSpeakerArrangement layout");
static_assert(offsetof(VstSpeakerArrangement, speakers) == 8, "VstSpeakerArrangement layout");
static_assert(sizeof(VstPinProperties) == 128, "VstPinProperties layout");
static_assert(offsetof(VstPinProperties, shortLabel) == 72, "VstPinProperties layout");
static_assert(sizeof(VstParameterProperties) == 152, "VstParameterProperties layout");
static_assert(offsetof(VstParameterProperties, flags) == 76, "VstParameterProperties layout");
static_assert(offsetof(VstParameterProperties, shortLabel) == 96, "VstParameterProperties layout");
static_assert(offsetof(VstParameterProperties, displayIndex) == 104,
              "VstParameterProperties layout");
static_assert(offsetof(VstParameterProperties, categoryLabel) == 112,
              "VstParameterProperties layout");
#endif
