#include "Core/Platform/CRunLoop.h"

#include "Core/Platform/CThisThread.h"
#include "Core/Platform/CTickClock.h"

#include <cerrno>
#include <cstdint>
#include <new>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace kel
{

namespace
{
thread_local CRunLoop* tCurrentLoop = nullptr;

// The loop a thread got from forThisThread; it goes when the thread ends.
struct ThreadOwnedLoop
{
    CRunLoop* loop = nullptr;
    ~ThreadOwnedLoop() { delete loop; }
};
thread_local ThreadOwnedLoop tOwnedLoop;

// Tick counts wrap at 2^32: compare them by their signed distance.
inline bool isDue(uint32_t dueMs, uint32_t nowMs)
{
    return static_cast<int32_t>(dueMs - nowMs) <= 0;
}
} // namespace

CRunLoop::CRunLoop()
{
    ownerThreadId.store(CThisThread::id(), std::memory_order_relaxed);
    // One eventfd counts the wake-ups; a post writes it only when the queue was empty.
    wakeFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wakeFd < 0)
        initError = errno;
}

CRunLoop::~CRunLoop()
{
    if (tCurrentLoop == this)
        tCurrentLoop = nullptr;
    CInterlockedList::CNode* node = postedList.popAll();
    while (node)
    {
        CInterlockedList::CNode* next = node->next;
        CAllocator::free(static_cast<Posted*>(node));
        node = next;
    }
    if (wakeFd >= 0)
        ::close(wakeFd);
}

CRunLoop* CRunLoop::forThisThread()
{
    // A thread that bound a loop of its own never touches tOwnedLoop: a thread-local with a
    // destructor registers it with the loader, whose lock a thread must then not need while a
    // library's statics go (a join at unload would wait for it for ever).
    if (tCurrentLoop)
        return tCurrentLoop;
    if (!tOwnedLoop.loop)
    {
        auto* loop = new CRunLoop();
        if (loop->getInitError() != 0)
        {
            delete loop;
            return nullptr;
        }
        tOwnedLoop.loop = loop;
        if (!tCurrentLoop)
            tCurrentLoop = loop;
    }
    return tCurrentLoop ? tCurrentLoop : tOwnedLoop.loop;
}

CRunLoop* CRunLoop::getCurrent()
{
    return tCurrentLoop;
}

void CRunLoop::bindToThisThread()
{
    ownerThreadId.store(CThisThread::id(), std::memory_order_relaxed);
    tCurrentLoop = this;
}

CRunLoop::ClientId CRunLoop::addClient(CClient* client)
{
    CLockGuard guard(lock);
    const ClientId id = nextClientId++;
    clients.set(id, client);
    return id;
}

void CRunLoop::removeClient(ClientId client)
{
    CLockGuard guard(lock);
    clients.erase(client);
    for (int i = timers.getCount() - 1; i >= 0; --i)
    {
        if (timers[i].client == client)
            timers.removeAt(i);
    }
    for (int i = watches.getCount() - 1; i >= 0; --i)
    {
        if (watches[i].client == client)
            watches.removeAt(i);
    }
    for (Signal& signal : signals)
    {
        if (signal.client.load(std::memory_order_relaxed) == client)
            signal.client.store(0, std::memory_order_release);
    }
}

CRunLoop::CClient* CRunLoop::findClient(ClientId client)
{
    CLockGuard guard(lock);
    return clients.get(client, nullptr);
}

int CRunLoop::post(ClientId client, uint32_t message, intptr_t param)
{
    if (initError != 0)
        return initError;
    void* block = CAllocator::alloc(sizeof(Posted));
    if (!block)
        return ENOMEM;
    auto* posted = new (block) Posted();
    posted->client = client;
    posted->message = message;
    posted->param = param;
    if (postedList.push(posted))
        wake();
    return 0;
}

int CRunLoop::addSignal(ClientId client, uint32_t message)
{
    CLockGuard guard(lock);
    for (int i = 0; i < kMaxSignals; ++i)
    {
        if (signals[i].client.load(std::memory_order_relaxed) != 0)
            continue;
        signals[i].isRaised.store(false, std::memory_order_relaxed);
        signals[i].message.store(message, std::memory_order_relaxed);
        signals[i].client.store(client, std::memory_order_release);
        return i;
    }
    return -1;
}

void CRunLoop::removeSignal(int signal)
{
    if (signal < 0 || signal >= kMaxSignals)
        return;
    CLockGuard guard(lock);
    signals[signal].client.store(0, std::memory_order_release);
    signals[signal].isRaised.store(false, std::memory_order_relaxed);
}

void CRunLoop::raiseSignal(int signal)
{
    if (signal < 0 || signal >= kMaxSignals)
        return;
    if (signals[signal].isRaised.exchange(true, std::memory_order_acq_rel))
        return;
    isAnySignalRaised.store(true, std::memory_order_release);
    if (wakeFd >= 0)
        wake();
}

int CRunLoop::deliverSignals()
{
    if (!isAnySignalRaised.exchange(false, std::memory_order_acq_rel))
        return 0;
    int delivered = 0;
    for (Signal& signal : signals)
    {
        if (!signal.isRaised.exchange(false, std::memory_order_acq_rel))
            continue;
        const ClientId client = signal.client.load(std::memory_order_acquire);
        if (client == 0)
            continue;
        if (CClient* target = findClient(client))
        {
            target->onRunLoopMessage(signal.message.load(std::memory_order_relaxed), 0);
            ++delivered;
        }
    }
    return delivered;
}

void CRunLoop::wake()
{
    const uint64_t one = 1;
    // A full counter (EAGAIN) already means "awake"; nothing else can fail on a valid eventfd.
    while (::write(wakeFd, &one, sizeof(one)) < 0 && errno == EINTR)
    {
    }
}

void CRunLoop::drainWake()
{
    if (wakeFd < 0)
        return;
    uint64_t count;
    while (::read(wakeFd, &count, sizeof(count)) < 0 && errno == EINTR)
    {
    }
}

void CRunLoop::setTimer(ClientId client, int timerId, uint32_t intervalMs)
{
    if (intervalMs == 0)
    {
        killTimer(client, timerId);
        return;
    }
    const uint32_t dueMs = CTickClock::tickCountMs() + intervalMs;
    {
        CLockGuard guard(lock);
        bool isFound = false;
        for (Timer& timer : timers)
        {
            if (timer.client == client && timer.timerId == timerId)
            {
                timer.intervalMs = intervalMs;
                timer.dueMs = dueMs;
                isFound = true;
            }
        }
        if (!isFound)
            timers.add(Timer{client, timerId, intervalMs, dueMs});
    }
    // A loop asleep in another thread must learn of its new deadline.
    if (wakeFd >= 0 && pumpingThread.load(std::memory_order_relaxed) != CThisThread::id())
        wake();
}

void CRunLoop::killTimer(ClientId client, int timerId)
{
    CLockGuard guard(lock);
    for (int i = timers.getCount() - 1; i >= 0; --i)
    {
        if (timers[i].client == client && timers[i].timerId == timerId)
            timers.removeAt(i);
    }
}

void CRunLoop::watchFd(ClientId client, int fd, int flags)
{
    {
        CLockGuard guard(lock);
        bool isFound = false;
        for (Watch& watch : watches)
        {
            if (watch.fd == fd)
            {
                watch.client = client;
                watch.flags = flags;
                isFound = true;
            }
        }
        if (!isFound)
            watches.add(Watch{client, fd, flags});
    }
    if (wakeFd >= 0 && pumpingThread.load(std::memory_order_relaxed) != CThisThread::id())
        wake();
}

void CRunLoop::unwatchFd(int fd)
{
    CLockGuard guard(lock);
    for (int i = watches.getCount() - 1; i >= 0; --i)
    {
        if (watches[i].fd == fd)
            watches.removeAt(i);
    }
}

int CRunLoop::msUntilNextTimer()
{
    const uint32_t nowMs = CTickClock::tickCountMs();
    CLockGuard guard(lock);
    int64_t nearest = -1;
    for (const Timer& timer : timers)
    {
        const int64_t left =
            isDue(timer.dueMs, nowMs) ? 0 : static_cast<int32_t>(timer.dueMs - nowMs);
        if (nearest < 0 || left < nearest)
            nearest = left;
    }
    return static_cast<int>(nearest);
}

void CRunLoop::waitForWork(int timeoutMs, CArray<Watch>& watchesOut, CArray<int>& readyOut)
{
    {
        CLockGuard guard(lock);
        watchesOut = watches;
    }
    CArray<pollfd, 9> polled;
    if (wakeFd >= 0)
        polled.add(pollfd{wakeFd, POLLIN, 0});
    for (const Watch& watch : watchesOut)
    {
        short events = 0;
        if (watch.flags & kReadable)
            events |= POLLIN;
        if (watch.flags & kWritable)
            events |= POLLOUT;
        polled.add(pollfd{watch.fd, events, 0});
    }
    // A signal that cuts the wait short only makes this pump return early.
    const int result = ::poll(polled.getData(), static_cast<nfds_t>(polled.getCount()), timeoutMs);
    const int first = wakeFd >= 0 ? 1 : 0;
    for (int i = 0; i < watchesOut.getCount(); ++i)
    {
        int ready = 0;
        if (result > 0)
        {
            const short got = polled[first + i].revents;
            if (got & POLLIN)
                ready |= kReadable;
            if (got & POLLOUT)
                ready |= kWritable;
            if (got & (POLLHUP | POLLERR | POLLNVAL))
                ready |= kHangUp;
        }
        readyOut.add(ready);
    }
}

int CRunLoop::deliverTimers()
{
    const uint32_t nowMs = CTickClock::tickCountMs();
    int delivered = 0;
    // One timer at a time, the most overdue first, so that a client may kill or set timers
    // (its own or others') from its tick. Each timer fires at most once per pump.
    for (;;)
    {
        ClientId client = 0;
        int timerId = 0;
        {
            CLockGuard guard(lock);
            Timer* due = nullptr;
            for (Timer& timer : timers)
            {
                if (isDue(timer.dueMs, nowMs) &&
                    (!due || static_cast<int32_t>(timer.dueMs - due->dueMs) < 0))
                    due = &timer;
            }
            if (!due)
                break;
            due->dueMs += due->intervalMs;
            if (isDue(due->dueMs, nowMs))
                due->dueMs = nowMs + due->intervalMs;
            client = due->client;
            timerId = due->timerId;
        }
        if (CClient* target = findClient(client))
        {
            target->onRunLoopTimer(timerId);
            ++delivered;
        }
    }
    return delivered;
}

int CRunLoop::deliverPosted()
{
    int delivered = 0;
    // Only what was posted before this point: messages posted by the deliveries wait for the
    // next pump, so that a client that posts to itself cannot starve the loop.
    CInterlockedList::CNode* node = postedList.popAllInOrder();
    while (node)
    {
        auto* posted = static_cast<Posted*>(node);
        node = node->next;
        if (CClient* target = findClient(posted->client))
        {
            target->onRunLoopMessage(posted->message, posted->param);
            ++delivered;
        }
        CAllocator::free(posted);
    }
    return delivered;
}

CRunLoop::CHold::CHold(CRunLoop* heldLoop) : loop(heldLoop)
{
    const uint64_t self = CThisThread::id();
    if (!loop || loop->pumpingThread.load(std::memory_order_relaxed) == self)
    {
        loop = nullptr;
        return;
    }
    // A stand-in gives way: it takes no new turn while a hold waits, and one in its wait wakes.
    loop->holdsWaiting.fetch_add(1, std::memory_order_acq_rel);
    if (loop->wakeFd >= 0)
        loop->wake();
    loop->pumpLock.lock();
    loop->holdsWaiting.fetch_sub(1, std::memory_order_acq_rel);
    loop->pumpingThread.store(self, std::memory_order_relaxed);
}

CRunLoop::CHold::~CHold()
{
    if (!loop)
        return;
    loop->pumpingThread.store(0, std::memory_order_relaxed);
    loop->pumpLock.unlock();
}

int CRunLoop::runOnceIfFree(int timeoutMs)
{
    const uint64_t self = CThisThread::id();
    if (pumpingThread.load(std::memory_order_relaxed) == self)
        return runOnce(timeoutMs);
    if (holdsWaiting.load(std::memory_order_acquire) > 0 || !pumpLock.tryLock())
        return -1;
    pumpingThread.store(self, std::memory_order_relaxed);
    const int delivered = serve(timeoutMs);
    pumpingThread.store(0, std::memory_order_relaxed);
    pumpLock.unlock();
    return delivered;
}

int CRunLoop::runOnce(int timeoutMs)
{
    const uint64_t self = CThisThread::id();
    const bool isNested = pumpingThread.load(std::memory_order_relaxed) == self;
    if (!isNested)
    {
        pumpLock.lock();
        pumpingThread.store(self, std::memory_order_relaxed);
    }
    const int delivered = serve(timeoutMs);
    if (!isNested)
    {
        pumpingThread.store(0, std::memory_order_relaxed);
        pumpLock.unlock();
    }
    return delivered;
}

int CRunLoop::serve(int timeoutMs)
{
    CRunLoop* previousLoop = tCurrentLoop;
    if (!previousLoop)
        tCurrentLoop = this;

    int waitMs = timeoutMs;
    if (!postedList.isEmpty() || isAnySignalRaised.load(std::memory_order_relaxed) ||
        isQuitRequested.load(std::memory_order_relaxed))
        waitMs = 0;
    const int timerMs = msUntilNextTimer();
    if (timerMs >= 0 && (waitMs < 0 || timerMs < waitMs))
        waitMs = timerMs;
    CArray<Watch> polledWatches;
    CArray<int> readyFlags;
    waitForWork(waitMs, polledWatches, readyFlags);
    drainWake();

    int delivered = deliverTimers();
    delivered += deliverPosted();
    delivered += deliverSignals();
    for (int i = 0; i < polledWatches.getCount(); ++i)
    {
        if (readyFlags[i] == 0)
            continue;
        if (CClient* target = findClient(polledWatches[i].client))
        {
            target->onRunLoopFd(polledWatches[i].fd, readyFlags[i]);
            ++delivered;
        }
    }

    if (!previousLoop)
        tCurrentLoop = nullptr;
    return delivered;
}

void CRunLoop::run()
{
    while (!isQuitRequested.exchange(false, std::memory_order_acq_rel))
        (void)runOnce(-1);
}

void CRunLoop::quit()
{
    isQuitRequested.store(true, std::memory_order_release);
    if (wakeFd >= 0)
        wake();
}

} // namespace kel
