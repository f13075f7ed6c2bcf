#include "Core/CThread.h"
#include "Core/Platform/CAutoResetEvent.h"
#include "Core/Platform/CThisThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

using namespace kel;

namespace
{
// Counts its wake-ups until stopped.
class CCountingThread : public CThread
{
public:
    ~CCountingThread() override { stopThread(); }
    std::atomic<int> wakeUps{0};
    std::atomic<uint64_t> ranOn{0};

protected:
    void execute() override
    {
        ranOn = CThisThread::id();
        while (!isStopRequested())
        {
            if (waitForSignal(-1))
                ++wakeUps;
        }
    }
};
} // namespace

TEST(CThreadTest, SignalWakesTheThreadAndStopEndsIt)
{
    CCountingThread thread;
    ASSERT_EQ(thread.runThread(), nullptr);
    EXPECT_TRUE(thread.isRunning());
    thread.signal();
    while (thread.wakeUps.load() == 0)
        std::this_thread::yield();
    thread.stopThread();
    EXPECT_FALSE(thread.isRunning());
    EXPECT_NE(thread.ranOn.load(), CThisThread::id());
    EXPECT_EQ(thread.ranOn.load(), thread.getThreadId());
}

TEST(CThreadTest, SecondStartFailsWhileRunningAndARestartWorks)
{
    CCountingThread thread;
    ASSERT_EQ(thread.runThread(true), nullptr);
    CError* error = thread.runThread();
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->getMessage(), "Thread is already running.");
    delete error;
    thread.stopThread();
    ASSERT_EQ(thread.runThread(), nullptr);
    thread.stopThread();
}

TEST(CAutoResetEventTest, OneSignalReleasesOneWaitAndSignalsDoNotAddUp)
{
    CAutoResetEvent event;
    EXPECT_FALSE(event.wait(0));
    event.signal();
    event.signal();
    EXPECT_TRUE(event.wait(0));
    EXPECT_FALSE(event.wait(0));
    std::thread signaller([&] { event.signal(); });
    EXPECT_TRUE(event.wait(5000));
    signaller.join();
}
