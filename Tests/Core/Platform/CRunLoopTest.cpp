#include "Core/CThread.h"
#include "Core/Platform/CRunLoop.h"
#include "Core/Platform/CThisThread.h"
#include "Core/Platform/CTickClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace kel;

namespace
{
// Records what reaches it, with the thread it arrived on.
class CRecordingClient : public CRunLoop::CClient
{
public:
    void onRunLoopMessage(uint32_t message, intptr_t param) override
    {
        messages.push_back({message, param});
        lastThread = CThisThread::id();
    }
    void onRunLoopTimer(int timerId) override
    {
        if (timerId == 1)
            ++ticksA;
        else
            ++ticksB;
    }
    void onRunLoopFd(int fd, int readyFlags) override
    {
        readyFd = fd;
        readyWith = readyFlags;
    }

    std::vector<std::pair<uint32_t, intptr_t>> messages;
    uint64_t lastThread = 0;
    int ticksA = 0;
    int ticksB = 0;
    int readyFd = -1;
    int readyWith = 0;
};

// Pumps until the condition holds or timeoutMs passes.
template <typename Condition> bool pumpUntil(CRunLoop& loop, int timeoutMs, Condition done)
{
    const uint32_t start = CTickClock::tickCountMs();
    while (!done())
    {
        if (static_cast<int>(CTickClock::tickCountMs() - start) > timeoutMs)
            return false;
        loop.runOnce(10);
    }
    return true;
}
} // namespace

TEST(CRunLoopTest, MessagesFromAThreadWithoutLoopArriveInOrderOnThePumpingThread)
{
    CRunLoop loop;
    ASSERT_EQ(loop.getInitError(), 0);
    CRecordingClient client;
    const CRunLoop::ClientId id = loop.addClient(&client);
    std::thread poster(
        [&]
        {
            for (int i = 0; i < 100; ++i)
                EXPECT_EQ(loop.post(id, 5120, i), 0);
        });
    poster.join();
    ASSERT_TRUE(pumpUntil(loop, 2000, [&] { return client.messages.size() == 100; }));
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(client.messages[i].second, i);
    EXPECT_EQ(client.lastThread, CThisThread::id());
    loop.removeClient(id);
}

TEST(CRunLoopTest, QueuedMessagesOfARemovedClientAreDropped)
{
    CRunLoop loop;
    CRecordingClient kept;
    CRecordingClient removed;
    const CRunLoop::ClientId keptId = loop.addClient(&kept);
    const CRunLoop::ClientId removedId = loop.addClient(&removed);
    ASSERT_EQ(loop.post(removedId, 1, 1), 0);
    ASSERT_EQ(loop.post(keptId, 2, 2), 0);
    loop.removeClient(removedId);
    EXPECT_EQ(loop.pump(), 1);
    EXPECT_TRUE(removed.messages.empty());
    ASSERT_EQ(kept.messages.size(), 1u);
    // A later client never gets the id of a removed one.
    CRecordingClient later;
    EXPECT_NE(loop.addClient(&later), removedId);
}

TEST(CRunLoopTest, PumpTakesWhatIsThereAndNeverWaitsForMore)
{
    // A pump that waited would hang here: nothing else ever posts to this loop.
    CRunLoop loop;
    CRecordingClient client;
    const CRunLoop::ClientId id = loop.addClient(&client);
    EXPECT_EQ(loop.pump(), 0);
    ASSERT_EQ(loop.post(id, 7, 70), 0);
    ASSERT_EQ(loop.post(id, 8, 80), 0);
    EXPECT_EQ(loop.pump(), 2);
    EXPECT_EQ(loop.pump(), 0);
    ASSERT_EQ(client.messages.size(), 2u);
}

TEST(CRunLoopTest, TimersFireAtTheirRatesAndStopWhenKilled)
{
    CRunLoop loop;
    CRecordingClient client;
    const CRunLoop::ClientId id = loop.addClient(&client);
    loop.setTimer(id, 1, 20);
    loop.setTimer(id, 2, 100);
    const uint32_t start = CTickClock::tickCountMs();
    while (CTickClock::tickCountMs() - start < 400)
        loop.runOnce(50);
    // 20 and 4 ideal ticks; a loaded machine may lose ticks but never gains them.
    EXPECT_GE(client.ticksA, 5);
    EXPECT_LE(client.ticksA, 21);
    EXPECT_GE(client.ticksB, 1);
    EXPECT_LE(client.ticksB, 4);

    loop.killTimer(id, 1);
    loop.setTimer(id, 2, 0);
    const int ticksA = client.ticksA;
    const int ticksB = client.ticksB;
    for (int i = 0; i < 5; ++i)
        loop.runOnce(30);
    EXPECT_EQ(client.ticksA, ticksA);
    EXPECT_EQ(client.ticksB, ticksB);
}

TEST(CRunLoopTest, WatchedDescriptorReportsReadiness)
{
    CRunLoop loop;
    CRecordingClient client;
    const CRunLoop::ClientId id = loop.addClient(&client);
    int pipeEnds[2];
    ASSERT_EQ(pipe(pipeEnds), 0);
    loop.watchFd(id, pipeEnds[0], CRunLoop::kReadable);
    EXPECT_EQ(loop.pump(), 0);
    ASSERT_EQ(write(pipeEnds[1], "x", 1), 1);
    ASSERT_TRUE(pumpUntil(loop, 2000, [&] { return client.readyFd == pipeEnds[0]; }));
    EXPECT_TRUE(client.readyWith & CRunLoop::kReadable);
    loop.unwatchFd(pipeEnds[0]);
    client.readyFd = -1;
    EXPECT_EQ(loop.pump(), 0);
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

TEST(CRunLoopTest, QuitFromAnotherThreadEndsRun)
{
    CRunLoop loop;
    std::thread stopper(
        [&]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            loop.quit();
        });
    loop.run();
    stopper.join();
    // A quit before run ends the next run at once.
    loop.quit();
    loop.run();
}

TEST(CRunLoopTest, EachThreadHasItsOwnLoopMadeOnFirstUse)
{
    CRunLoop* mine = CRunLoop::forThisThread();
    ASSERT_NE(mine, nullptr);
    EXPECT_EQ(CRunLoop::forThisThread(), mine);
    EXPECT_EQ(CRunLoop::getCurrent(), mine);
    CRunLoop* other = nullptr;
    std::thread(
        [&]
        {
            EXPECT_EQ(CRunLoop::getCurrent(), nullptr);
            other = CRunLoop::forThisThread();
        })
        .join();
    EXPECT_NE(other, mine);
}

TEST(CRunLoopConcurrency, PostsFromManyThreadsReachOneLoopCompleteAndInOrder)
{
    constexpr int kThreads = 6;
    constexpr int kPerThread = 2000;
    CThread pumpThread;
    ASSERT_EQ(pumpThread.runThread(false, true), nullptr);
    CRunLoop* loop = pumpThread.getRunLoop();
    ASSERT_NE(loop, nullptr);

    struct CCounting : CRunLoop::CClient
    {
        std::atomic<int> received{0};
        int lastIndex[kThreads];
        bool isOrdered = true;
        uint64_t pumpThreadId = 0;
        bool isOnPumpThread = true;
        void onRunLoopMessage(uint32_t message, intptr_t param) override
        {
            if (static_cast<int>(param) <= lastIndex[message])
                isOrdered = false;
            lastIndex[message] = static_cast<int>(param);
            if (CThisThread::id() != pumpThreadId)
                isOnPumpThread = false;
            received.fetch_add(1, std::memory_order_release);
        }
    } client;
    for (int& index : client.lastIndex)
        index = -1;
    client.pumpThreadId = pumpThread.getThreadId();
    const CRunLoop::ClientId id = loop->addClient(&client);

    std::vector<std::thread> posters;
    for (int t = 0; t < kThreads; ++t)
        posters.emplace_back(
            [&, t]
            {
                for (int i = 0; i < kPerThread; ++i)
                    EXPECT_EQ(loop->post(id, static_cast<uint32_t>(t), i), 0);
            });
    for (std::thread& poster : posters)
        poster.join();
    const uint32_t start = CTickClock::tickCountMs();
    while (client.received.load(std::memory_order_acquire) < kThreads * kPerThread &&
           CTickClock::tickCountMs() - start < 10000)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    pumpThread.stopThread();
    EXPECT_EQ(client.received.load(), kThreads * kPerThread);
    EXPECT_TRUE(client.isOrdered);
    EXPECT_TRUE(client.isOnPumpThread);
}

TEST(CRunLoopConcurrency, SignalsWakeABlockedLoopOnceAndEndWithTheirClient)
{
    CRunLoop loop;
    CRecordingClient client;
    CRecordingClient other;
    const CRunLoop::ClientId id = loop.addClient(&client);
    const CRunLoop::ClientId otherId = loop.addClient(&other);
    const int signal = loop.addSignal(id, 77);
    const int otherSignal = loop.addSignal(otherId, 78);
    ASSERT_GE(signal, 0);
    ASSERT_NE(signal, otherSignal);

    // Raised many times before a pump: delivered once.
    for (int i = 0; i < 5; ++i)
        loop.raiseSignal(signal);
    EXPECT_EQ(loop.pump(), 1);
    ASSERT_EQ(client.messages.size(), 1u);
    EXPECT_EQ(client.messages[0].first, 77u);
    EXPECT_EQ(loop.pump(), 0);

    // A raise from another thread ends a wait that would otherwise last ten seconds.
    std::thread raiser([&] { loop.raiseSignal(signal); });
    const uint32_t start = CTickClock::tickCountMs();
    while (client.messages.size() < 2 && CTickClock::tickCountMs() - start < 10000)
        loop.runOnce(10000);
    raiser.join();
    EXPECT_EQ(client.messages.size(), 2u);
    EXPECT_LT(CTickClock::tickCountMs() - start, 5000u);

    // A removed signal, or one of a removed client, delivers nothing; its slot is free again.
    loop.removeSignal(signal);
    loop.raiseSignal(signal);
    loop.removeClient(otherId);
    loop.raiseSignal(otherSignal);
    EXPECT_EQ(loop.pump(), 0);
    EXPECT_TRUE(other.messages.empty());
    EXPECT_GE(loop.addSignal(id, 79), 0);
    loop.removeClient(id);
}

TEST(CRunLoopConcurrency, AHoldKeepsAStandInFromPumpingAndWakesOneWaitingInTheLoop)
{
    CRunLoop loop;
    std::atomic<int> standInAnswer{0};
    std::atomic<bool> standInInLoop{false};
    // A stand-in waits in the loop for a long slice; the owner's hold must not wait that long.
    std::thread standIn(
        [&]()
        {
            standInInLoop = true;
            standInAnswer = loop.runOnceIfFree(5000);
        });
    while (!standInInLoop)
        std::this_thread::yield();
    usleep(20 * 1000);
    const uint32_t startMs = CTickClock::tickCountMs();
    {
        CRunLoop::CHold hold(&loop);
        EXPECT_LT(CTickClock::tickCountMs() - startMs, 1000u);
        standIn.join();
        EXPECT_GE(standInAnswer.load(), 0);
        // While held, a stand-in takes no turn, and the holder's own pumps nest.
        std::thread refused([&]() { standInAnswer = loop.runOnceIfFree(0); });
        refused.join();
        EXPECT_EQ(standInAnswer.load(), -1);
        EXPECT_GE(loop.pump(), 0);
    }
    std::thread after([&]() { standInAnswer = loop.runOnceIfFree(0); });
    after.join();
    EXPECT_GE(standInAnswer.load(), 0);
}
