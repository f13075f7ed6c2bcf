#pragma once

#include "Core/CObject.h"
#include "Core/Platform/CRunLoop.h"

namespace kel
{

// A timer object (tag core:timer): sends the event "tick" at its rate on the run loop of the
// thread that made it. Attributes: "interval" in seconds, or "fps", which sets the interval to
// 1 / fps (a value at or below a tiny number gives 1 / 30; an empty fps leaves the timer
// stopped). An interval of 0 stops it. A failing "tick" listener is logged and the timer runs
// on. Lives on the thread that made it. [the timer's thread]
class CTimer : public CObject, public CRunLoop::CClient
{
public:
    static constexpr double kDefaultIntervalSec = 1.0 / 30.0;

    CTimer() = default;
    ~CTimer() override;

    static void registerClass(CClassInfo& info);

    // Joins the thread's run loop and starts with the interval set so far.
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // (Re)starts the system timer at the interval; called by init.
    [[nodiscard]] CError* initTimer();
    double getIntervalSec() const { return intervalSec; }
    // The interval the run loop uses now, in milliseconds; 0 while stopped.
    uint32_t getRunningIntervalMs() const { return runningIntervalMs; }

    void onRunLoopMessage(uint32_t message, intptr_t param) override;
    void onRunLoopTimer(int timerId) override;

private:
    [[nodiscard]] CError* attrFps();
    [[nodiscard]] CError* attrInterval();
    void applyInterval(double newIntervalSec);
    void leaveLoop();

    double intervalSec = 0.0;
    double runningIntervalSec = 0.0;
    uint32_t runningIntervalMs = 0;
    CRunLoop* loop = nullptr; // not owned: the thread's loop outlives its timers
    CRunLoop::ClientId clientId = 0;
};

} // namespace kel
