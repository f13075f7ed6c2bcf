#pragma once

#include "Core/CObject.h"
#include "Core/Platform/CLock.h"

#include <atomic>

namespace kel
{

// The audio environment of one instance: sample rate, largest run length, the channel counts
// in use, the running flag, the graph's latency and the visual frame rate (`viz-fps`). The
// instance's tree owns it (tag audio:audio-env). Its lock guards the running flag and channel
// counts and is held only for their tests and writes, never while processes run; the audio thread
// reads the values it needs without it. [rate, counts and flag: the thread that starts and stops
// the instance; latency: written by the audio thread, read by any]
class CAudioEnv : public CObject
{
public:
    static constexpr int kMaxRunFrames = 512;

    CAudioEnv() = default;

    static void registerClass(CClassInfo& info);
    // Reads viz-fps.
    [[nodiscard]] CError* init() override;

    CLock& getLock() { return lock; }

    double getSampleRate() const { return sampleRateHz; }
    void setSampleRate(double rateHz) { sampleRateHz = rateHz; }
    // The host's largest block; runs are at most kMaxRunFrames whatever it is.
    int getBlockSize() const { return blockSize; }
    void setBlockSize(int frames) { blockSize = frames; }
    double getVizFps() const { return vizFps; }

    // Under the lock.
    bool isRunning() const { return running; }
    void setRunning(bool isRunning) { running = isRunning; }
    int getInChannels() const { return inChannels; }
    int getOutChannels() const { return outChannels; }
    void setChannels(int inCount, int outCount)
    {
        inChannels = inCount;
        outChannels = outCount;
    }

    // Latency of the graph in frames, as the output process last saw it. [any thread]
    int getLatencyFrames() const { return latencyFrames.load(std::memory_order_relaxed); }
    void setLatencyFrames(int frames) { latencyFrames.store(frames, std::memory_order_relaxed); }

private:
    CLock lock;
    double sampleRateHz = 44100.0;
    int blockSize = kMaxRunFrames;
    double vizFps = 30.0;
    bool running = false;
    int inChannels = 2;
    int outChannels = 2;
    std::atomic<int> latencyFrames{0};
};

} // namespace kel
