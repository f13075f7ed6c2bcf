#include "Audio/CAudioVizCollector.h"

#include "Audio/CAudioEnv.h"

namespace kel
{

void CAudioVizCollector::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioVizCollector::init()
{
    KEL_CHECK(CObject::init());
    const CString envPath = getAttrString("env", CString());
    if (!envPath.isEmpty() && !env)
        KEL_CHECK(findObjectChecked(envPath, env));
    // A rate of zero or less would make every block a frame; keep the environment's default.
    if (env && env->getVizFps() > 0.0)
        framesPerSec = env->getVizFps();
    return nullptr;
}

void CAudioVizCollector::detachLinks()
{
    env = nullptr;
    CObject::detachLinks();
}

void CAudioVizCollector::blockStart(double timeStampSec)
{
    lastTimeStampSec.store(timeStampSec, std::memory_order_relaxed);
    const double next = nextFrameSec.load(std::memory_order_relaxed);
    // The clock is a sum of block lengths: a frame due within a microsecond is due now, or
    // rounding would push it a whole block late.
    constexpr double kToleranceSec = 1e-6;
    if (next >= 0.0 && timeStampSec < next - kToleranceSec)
        return;
    frameCount.fetch_add(1, std::memory_order_relaxed);
    // Frames are paced from the block that made one, so a host that jumps in time (a loop, a
    // new play position) starts a fresh frame rather than a burst of missed ones.
    nextFrameSec.store(timeStampSec + 1.0 / framesPerSec, std::memory_order_relaxed);
}

void CAudioVizCollector::reset()
{
    nextFrameSec.store(-1.0, std::memory_order_relaxed);
    frameCount.store(0, std::memory_order_relaxed);
    lastTimeStampSec.store(0.0, std::memory_order_relaxed);
}

} // namespace kel
