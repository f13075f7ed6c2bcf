#pragma once

#include "Core/CObject.h"

#include <atomic>
#include <cstdint>

namespace kel
{

class CAudioEnv;

// The pacing of visual data of one instance (tag audio:viz-collector, `plugin.viz-collector`):
// it is told the time stamp of every audio block and counts the visual frames that fall due at
// the environment's `viz-fps`. Nothing of this product publishes meter data yet; the count is
// what a meter would sample on. The instance's tree owns it; the environment (attribute `env`) is
// not owned and is cleared in detachLinks. [blockStart: audio thread; the rest: any thread]
class CAudioVizCollector : public CObject
{
public:
    CAudioVizCollector() = default;

    static void registerClass(CClassInfo& info);
    // Resolves `env` (may be absent: 30 frames a second) and reads its viz-fps.
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // A block starts at timeStampSec (the instance's clock). No lock, no allocation.
    // [audio thread]
    void blockStart(double timeStampSec);
    // Forgets the clock: the next block starts a frame. [any thread while no block runs]
    void reset();

    double getFramesPerSec() const { return framesPerSec; }
    // Time stamp of the last block, and visual frames due since the last reset. [any thread]
    double getLastTimeStamp() const { return lastTimeStampSec.load(std::memory_order_relaxed); }
    int64_t getFrameCount() const { return frameCount.load(std::memory_order_relaxed); }

private:
    // Not owned; cleared in detachLinks.
    CAudioEnv* env = nullptr;
    double framesPerSec = 30.0;
    std::atomic<double> lastTimeStampSec{0.0};
    std::atomic<int64_t> frameCount{0};
    // Time of the next frame; below zero: none due yet (after reset). Audio thread only, but
    // reset writes it too, hence atomic.
    std::atomic<double> nextFrameSec{-1.0};
};

} // namespace kel
