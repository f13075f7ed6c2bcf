#pragma once

#include "CChunkDamage.h"
#include "CHostedPlugin.h"
#include "CSoakEventTracker.h"
#include "CSoakLog.h"
#include "CSoakSignal.h"
#include "CVstHost.h"

#include "Core/CError.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <random>
#include <shared_mutex>
#include <string>
#include <vector>

namespace kel
{

// One soak session: loads a plug-in in our own host and, for a stretch of wall time, drives it
// the way a busy host does. One thread is the host's audio thread: it processes a known signal
// in blocks of 1 to 4096 frames as fast as it can, suspends and resumes now and then, switching
// between float and double and between separate and in-place buffers, and checks every output
// sample and every inserted event it can attribute. Three more threads are host threads: one
// automates the host parameters in bursts, one saves and restores state chunks (also into the
// same instance, also empty and damaged ones), one changes programs, toggles bypass and asks for
// parameter and program texts. Host threads pace themselves in audio time, so a slow build
// (a sanitizer's) sees the same mix of events and changes as a fast one.
//
// Which bypass state holds during a block is known only when no call that might change it
// (bypass, program, chunk) ran during that block or since the value was read; otherwise the
// block is not checked against bypass. Refused chunks are checked to change nothing while the
// other host threads are held off. Owned by the caller, which must call run() once.
// [one thread calls run() and then the getters; run() makes and joins the others]
class CSoakRun
{
public:
    struct COptions
    {
        std::string pluginPath;
        double seconds = 60.0;
        double rateHz = 48000.0;
        int channels = 2;
        uint64_t seed = 1;
    };

    explicit CSoakRun(const COptions& runOptions);
    CSoakRun(const CSoakRun&) = delete;
    CSoakRun& operator=(const CSoakRun&) = delete;

    // Loads, runs for the wall time of the options and unloads. An error only for a plug-in that
    // cannot be run at all; what goes wrong while it runs is counted as violations.
    [[nodiscard]] CError* run();

    void printReport(std::FILE* out) const;
    int64_t getViolationCount() const { return log.getViolationCount(); }

private:
    static constexpr int kMaxBlockFrames = 4096;
    static constexpr size_t kChunkPoolSize = 8;
    // The plug-in's state as a host can see it: the bank chunk, the program and every host
    // parameter.
    struct CSnapshot
    {
        std::vector<uint8_t> bank;
        int program = 0;
        std::vector<float> params;
        bool operator==(const CSnapshot& other) const
        {
            return bank == other.bank && program == other.program && params == other.params;
        }
        bool operator!=(const CSnapshot& other) const { return !(*this == other); }
    };
    struct CSavedChunk
    {
        std::vector<uint8_t> bytes;
        bool preset = false;
    };

    void prepare();
    // Reports a hang (the text takes the seconds waited as %f) and ends the process at once.
    [[noreturn]] void giveUp(const char* format);
    void runAudio();
    void runAutomation();
    void runState();
    void runPrograms();

    // Audio thread.
    void resumeAudio(std::mt19937_64& random);
    // One block: fills the inputs from the signal, processes, checks the outputs and the events.
    template <typename S> void processAndCheck(S* const* in, S* const* out, int frames);
    int drawBlockFrames(std::mt19937_64& random) const;

    // Host threads.
    // Waits until the audio has advanced by `seconds`; false once the run is stopping.
    bool waitAudio(double seconds) const;
    double audioSec() const;
    // Wraps a call that may change bypass, so that the audio thread knows not to rely on it.
    template <typename F> auto bypassAffecting(F call);
    float drawParamValue(std::mt19937_64& random, int index) const;
    std::vector<uint8_t> saveChunk(bool preset);
    CSnapshot takeSnapshot();
    // Sets a chunk that must change nothing, with the other host threads held off; checks the
    // answer and, when the state reads back the same twice beforehand, that it still does.
    void setChunkChangingNothing(const std::vector<uint8_t>& bytes, bool preset,
                                 intptr_t expectedAnswer, const char* what);
    void checkText(const std::string& text, int limitBytes, const char* what, int index);
    void checkCallbacks();

    COptions options;
    CVstHost host;
    CHostedPlugin plugin;
    CSoakLog log;
    CSoakEventTracker tracker;
    CSoakSignal signal;

    // Known after prepare().
    std::string effectName, vendorName;
    int numParams = 0;
    int numPrograms = 0;
    int pinsIn = 0;
    int pinsOut = 0;
    int channels = 0;
    bool chunksAdvertised = false;
    bool hasDouble = false;
    int bypassIndex = -1;
    int periodIndex = -1;
    int durationIndex = -1;
    int variationIndex = -1;

    // Audio thread's buffers: the signal in doubles, then in each precision, and the outputs.
    std::vector<std::vector<double>> signalBuffers;
    std::vector<std::vector<float>> inFloat, outFloat;
    std::vector<std::vector<double>> inDouble, outDouble;
    std::vector<double*> signalPtrs;
    std::vector<float*> inFloatPtrs, outFloatPtrs;
    std::vector<double*> inDoublePtrs, outDoublePtrs;
    std::vector<double> diffLin;
    bool doublePrecision = false;
    bool inPlace = false;
    int64_t audioFrame = 0;
    // What the audio thread last read of bypass, and under which count of finished calls.
    uint64_t bypassKnownAt = UINT64_MAX;
    bool bypassKnownOn = false;
    int64_t bypassKnownSince = 0;
    int64_t bypassSettleFrames = 0;

    std::atomic<bool> stopping{false};
    std::atomic<int> threadsDone{0};
    std::atomic<int64_t> framesDone{0};
    // Calls that may change bypass, begun and ended; equal when none is under way.
    std::atomic<uint64_t> bypassCallsBegun{0};
    std::atomic<uint64_t> bypassCallsEnded{0};
    // Host threads hold it shared around calls that change state; held alone while a refused
    // chunk is checked to have changed nothing.
    std::shared_mutex stateGate;

    std::atomic<int64_t> blocks{0}, floatBlocks{0}, doubleBlocks{0}, inPlaceBlocks{0};
    std::atomic<int64_t> suspends{0};
    std::atomic<int64_t> chunksSaved{0}, chunksLoaded{0}, emptyChunks{0}, damagedRefused{0};
    std::atomic<int64_t> unverifiedChunks{0};
    std::atomic<int64_t> programChanges{0}, bypassToggles{0}, bypassCheckedBlocks{0};
    std::atomic<int64_t> automationCalls{0}, automationBursts{0}, textQueries{0};
    int64_t damageCounts[static_cast<int>(CChunkDamage::EKind::Count)] = {};
    double wallSec = 0.0;
    long earlyKb = 0;
    long lateKb = 0;
};

} // namespace kel
