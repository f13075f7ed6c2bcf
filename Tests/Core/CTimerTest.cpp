#include "CEventTestFixture.h"

#include "Core/CTimer.h"
#include "Support/CErrorText.h"

using kel::test::CErrorText;

namespace kel
{
namespace eventtest
{
namespace
{

class CTimerTest : public CEventTest
{
protected:
    // A timer with a listener for its ticks, both under the bridge.
    CTimer* makeTimer(std::vector<std::pair<const char*, const char*>> attrs)
    {
        auto* timer = makeChild<CTimer>(bridge, "core:timer", "timer", attrs);
        ticks = makeChild<CTestListener>(bridge, "test:listener", "ticks");
        EXPECT_EQ(CErrorText::takeMessage(
                      ticks->listenObject(CString("^.timer"), CString("tick"), CString("ping"))),
                  "");
        return timer;
    }
    // Pumps this thread's loop for about durationMs.
    static void pumpFor(int durationMs)
    {
        const uint32_t start = CTickClock::tickCountMs();
        while (static_cast<int>(CTickClock::tickCountMs() - start) < durationMs)
            CRunLoop::forThisThread()->runOnce(20);
    }

    CTestListener* ticks = nullptr;
};

TEST_F(CTimerTest, TimerTicksAtItsRateOnTheCreatingThread)
{
    CTimer* timer = makeTimer({{"fps", "50"}});
    EXPECT_EQ(timer->getRunningIntervalMs(), 20u);
    pumpFor(300);
    // About 15 ticks; a loaded machine loses some, none are added.
    EXPECT_GE(ticks->calls, 4);
    EXPECT_LE(ticks->calls, 16);
    EXPECT_EQ(ticks->lastThread, CThisThread::id());

    // A new interval restarts it; 0 stops it.
    ASSERT_EQ(CErrorText::takeMessage(timer->setAttr(CString("interval"), CAttrValue(0.1))), "");
    EXPECT_EQ(timer->getRunningIntervalMs(), 100u);
    ASSERT_EQ(CErrorText::takeMessage(timer->setAttr(CString("interval"), CAttrValue(0.0))), "");
    const int stoppedAt = ticks->calls;
    pumpFor(100);
    EXPECT_EQ(ticks->calls, stoppedAt);
}

TEST_F(CTimerTest, EmptyFpsLeavesTheTimerStoppedAndTinyFpsTakesTheDefaultRate)
{
    CTimer* timer = makeTimer({{"fps", ""}});
    EXPECT_EQ(timer->getRunningIntervalMs(), 0u);
    pumpFor(60);
    EXPECT_EQ(ticks->calls, 0);
    ASSERT_EQ(CErrorText::takeMessage(timer->setAttr(CString("fps"), CAttrValue("0"))), "");
    EXPECT_EQ(timer->getRunningIntervalMs(), 33u);
    EXPECT_DOUBLE_EQ(timer->getIntervalSec(), CTimer::kDefaultIntervalSec);
}

TEST_F(CTimerTest, FailingTickListenerDoesNotStopTheTimer)
{
    makeTimer({{"interval", "0.01"}});
    ticks->action = [](CTestListener*) { return KEL_ERROR("@kelstr_Test_tick Tick refused."); };
    pumpFor(150);
    EXPECT_GE(ticks->calls, 2);
}

TEST_F(CTimerTest, DestroyedTimerNeverTicksAgain)
{
    CTimer* timer = makeTimer({{"interval", "0.005"}});
    pumpFor(30);
    CObject::destroyObject(timer);
    const int before = ticks->calls;
    pumpFor(40);
    EXPECT_EQ(ticks->calls, before);
}

} // namespace
} // namespace eventtest
} // namespace kel
