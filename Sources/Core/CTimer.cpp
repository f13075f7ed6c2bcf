#include "Core/CTimer.h"

#include <cmath>

namespace kel
{

namespace
{
constexpr double kTinyFps = 1e-9;
// Intervals closer than this are the same, and the running timer is left alone.
constexpr double kSameIntervalSec = 2.220446049250313e-16;
constexpr int kTimerId = 1;
} // namespace

CTimer::~CTimer()
{
    leaveLoop();
}

void CTimer::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addAttrHandler<CTimer>("fps", &CTimer::attrFps);
    info.addAttrHandler<CTimer>("interval", &CTimer::attrInterval);
}

CError* CTimer::init()
{
    KEL_CHECK(CObject::init());
    if (!loop)
    {
        loop = CRunLoop::forThisThread();
        if (!loop)
            return KEL_ERROR("@kelstr_CTimer_init_CreateWindow Timer window creation error %1.", 0);
        clientId = loop->addClient(this);
    }
    KEL_CHECK(initTimer());
    return nullptr;
}

void CTimer::detachLinks()
{
    CObject::detachLinks();
    leaveLoop();
}

void CTimer::leaveLoop()
{
    if (loop)
        loop->removeClient(clientId);
    loop = nullptr;
    runningIntervalMs = 0;
    runningIntervalSec = 0.0;
}

CError* CTimer::initTimer()
{
    applyInterval(intervalSec);
    return nullptr;
}

CError* CTimer::attrFps()
{
    const CString text = getAttrString(CString("fps"), CString());
    if (text.isEmpty())
    {
        // No rate at all: the timer stays (or becomes) stopped.
        applyInterval(0.0);
        return nullptr;
    }
    double fps = 0.0;
    text.parseDouble(fps);
    applyInterval(fps <= kTinyFps ? kDefaultIntervalSec : 1.0 / fps);
    return nullptr;
}

CError* CTimer::attrInterval()
{
    applyInterval(getAttrDouble(CString("interval"), 0.0));
    return nullptr;
}

void CTimer::applyInterval(double newIntervalSec)
{
    intervalSec = newIntervalSec > 0.0 ? newIntervalSec : 0.0;
    // Before init the timer has no loop yet; init starts it with the interval kept here.
    if (!loop)
        return;
    if (std::fabs(intervalSec - runningIntervalSec) <= kSameIntervalSec && runningIntervalMs != 0)
        return;
    loop->killTimer(clientId, kTimerId);
    runningIntervalMs = 0;
    runningIntervalSec = 0.0;
    if (intervalSec <= 0.0)
        return;
    const double ms = std::round(intervalSec * 1000.0);
    runningIntervalMs = ms < 1.0 ? 1u : (ms > 4.0e9 ? 4000000000u : static_cast<uint32_t>(ms));
    runningIntervalSec = intervalSec;
    loop->setTimer(clientId, kTimerId, runningIntervalMs);
}

void CTimer::onRunLoopMessage(uint32_t, intptr_t) {}

void CTimer::onRunLoopTimer(int)
{
    CAttrMap params;
    if (CError* error = sendEvent(CString("tick"), params))
    {
        const char* message = error->getMessage();
        KEL_LOG("tick listener failed: %s", message ? message : "");
        delete error;
    }
}

} // namespace kel
