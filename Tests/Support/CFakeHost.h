#pragma once

#include "Audio/VST/VstInterface.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

namespace kel
{

// A scripted VST 2 host for tests. It answers the plug-in's callbacks from its public fields
// (version, vendor, product, process level, time info, canDo) and records what the plug-in
// asked of it. One fake host is active at a time: the last one constructed receives the calls
// of every effect, also the version query that comes before the effect exists.
//
// The callback may run on any thread; the records are guarded by a mutex and never allocated
// from the allocator that tests watch.
class CFakeHost
{
public:
    struct Call
    {
        int32_t opcode;
        int32_t index;
        intptr_t value;
        float opt;
        std::thread::id thread; // where the plug-in called from
    };

    CFakeHost();
    ~CFakeHost();
    CFakeHost(const CFakeHost&) = delete;
    CFakeHost& operator=(const CFakeHost&) = delete;

    VstHostCallback callback() const { return &CFakeHost::hostCallback; }

    // Answers.
    int32_t version = 2400;
    char vendor[64] = "Kelmont Test";
    char product[64] = "Fake Host";
    int32_t vendorVersion = 100;
    std::atomic<int32_t> processLevel{kProcessLevelRealtime};
    bool answerTimeInfo = true;
    VstTimeInfo timeInfo = {};
    std::vector<const char*> hostCanDo = {"sizeWindow", "sendVstTimeInfo"};

    // Records.
    int countOf(int32_t opcode) const;
    std::vector<Call> callsOf(int32_t opcode) const;
    // Every call in the order it came.
    std::vector<Call> allCalls() const;
    void clearCalls();

    // Driving an effect through its record, as a host does.
    static intptr_t dispatch(AEffect* effect, int32_t opcode, int32_t index = 0, intptr_t value = 0,
                             void* ptr = nullptr, float opt = 0.0f);
    // Open, sample rate, block size and resume, in the order hosts use.
    static void startUp(AEffect* effect, float sampleRateHz, int32_t blockFrames);
    // Sends kEffClose; the effect is gone afterwards.
    static intptr_t close(AEffect* effect);

private:
    static intptr_t hostCallback(AEffect* effect, int32_t opcode, int32_t index, intptr_t value,
                                 void* ptr, float opt);
    intptr_t answer(AEffect* effect, int32_t opcode, int32_t index, intptr_t value, void* ptr,
                    float opt);

    mutable std::mutex recordMutex;
    std::vector<Call> calls;
    CFakeHost* previous;
};

} // namespace kel
