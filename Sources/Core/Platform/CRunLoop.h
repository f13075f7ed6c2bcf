#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CTreeMap.h"
#include "Core/Platform/CInterlockedList.h"
#include "Core/Platform/CLock.h"

#include <atomic>
#include <cstdint>

namespace kel
{

// The event loop of one thread: it delivers messages posted from any thread, timers, and the
// readiness of watched file descriptors (an X connection, later) to registered clients.
//
// A client registers and gets a client id; messages, timers and watches name that id, so that
// a message still queued for a client that has gone is dropped instead of delivered. A loop is
// pumped either by a thread of its own (run until quit) or from outside in non-blocking steps
// (runOnce with a time limit, pump), as a host's interface thread that only gives idle calls
// does. Pumps are serialised by the loop's pump lock; a pump nested in a delivery (a modal loop)
// runs on.
//
// Every thread may have one loop made for it on first use (forThisThread), which lives until the
// thread ends; other loops belong to whoever creates them and must outlive their clients.
// Clients are called on the pumping thread, never under a lock of the loop.
// [post and quit: any thread, lock-free; the rest: any thread, takes the loop's lock]
class CRunLoop : public CCheckedObject
{
public:
    using ClientId = uint64_t;

    // Readiness flags of a watched descriptor.
    static constexpr int kReadable = 1;
    static constexpr int kWritable = 2;
    static constexpr int kHangUp = 4;

    // What a loop delivers to. [the pumping thread]
    class CClient
    {
    public:
        virtual ~CClient() = default;
        virtual void onRunLoopMessage(uint32_t message, intptr_t param) = 0;
        virtual void onRunLoopTimer(int timerId) { (void)timerId; }
        virtual void onRunLoopFd(int fd, int readyFlags)
        {
            (void)fd;
            (void)readyFlags;
        }
    };

    // The loop is bound to the creating thread until bindToThisThread moves it.
    CRunLoop();
    // Queued messages are dropped, unsent.
    ~CRunLoop() override;
    CRunLoop(const CRunLoop&) = delete;
    CRunLoop& operator=(const CRunLoop&) = delete;

    // The loop of the calling thread, made on first use; null only if the system refuses the
    // loop's wake-up channel.
    static CRunLoop* forThisThread();
    // The loop bound to the calling thread, or null; never makes one.
    static CRunLoop* getCurrent();
    // Makes this the calling thread's loop (the one getCurrent answers there).
    void bindToThisThread();
    uint64_t getOwnerThreadId() const { return ownerThreadId.load(std::memory_order_relaxed); }
    // 0, or the system's error number when the wake-up channel could not be made; such a loop
    // refuses posts and only serves timers.
    int getInitError() const { return initError; }

    ClientId addClient(CClient* client);
    // After this returns, nothing more reaches the client from this loop: its queued messages
    // are dropped and its timers and watches end. Call it on the pumping thread (or while nothing
    // pumps) so that no delivery to the client is under way.
    void removeClient(ClientId client);

    // Queues a message; never blocks. 0, or ENOMEM or the wake-up's error number.
    int post(ClientId client, uint32_t message, intptr_t param);

    // Signals: a standing message of one client that any thread raises without allocating and
    // without a lock, the audio thread too. A signal raised again before its delivery is
    // delivered once. addSignal answers the signal's number, or -1 when all kMaxSignals are
    // taken; removeSignal ends it, and a raise that comes later is lost harmlessly.
    static constexpr int kMaxSignals = 16;
    int addSignal(ClientId client, uint32_t message);
    void removeSignal(int signal);
    // Wakes the loop when the signal was not raised yet: one write to its wake-up channel.
    // [any thread; lock-free, allocates nothing]
    void raiseSignal(int signal);

    // Starts or restarts the client's timer timerId, first due one interval from now. Ticks that
    // a busy loop missed are not caught up. intervalMs 0 stops it.
    void setTimer(ClientId client, int timerId, uint32_t intervalMs);
    void killTimer(ClientId client, int timerId);

    // Delivers readiness of fd (kReadable, kWritable; kHangUp comes unasked) to the client.
    void watchFd(ClientId client, int fd, int flags);
    void unwatchFd(int fd);

    // Waits at most timeoutMs (0: not at all, negative: until something comes) for work, then
    // delivers what is due: timers, the messages posted so far, ready descriptors. Answers the
    // number of deliveries.
    int runOnce(int timeoutMs);
    int pump() { return runOnce(0); }
    // runOnce for a stand-in thread that serves the loop only while its own thread does not:
    // answers -1 at once, having waited for nothing, when another thread pumps or holds it.
    int runOnceIfFree(int timeoutMs);

    // Keeps other threads from pumping the loop for a scope: the loop's own thread holds it
    // while it works on what the loop's clients share (an editor it opens or closes), so that
    // a stand-in pumping meanwhile cannot deliver to them half made. A stand-in waiting in the
    // loop is woken first. Nests with runOnce on the same thread. [the loop's threads]
    class CHold
    {
    public:
        explicit CHold(CRunLoop* heldLoop);
        ~CHold();
        CHold(const CHold&) = delete;
        CHold& operator=(const CHold&) = delete;

    private:
        CRunLoop* loop; // null: nothing held (no loop, or a nested hold)
    };
    // Pumps until quit is called; a quit that came before run still ends the next run.
    void run();
    void quit();

private:
    struct Posted : CInterlockedList::CNode
    {
        ClientId client;
        uint32_t message;
        intptr_t param;
    };
    struct Timer
    {
        ClientId client;
        int timerId;
        uint32_t intervalMs;
        uint32_t dueMs;
    };
    struct Watch
    {
        ClientId client;
        int fd;
        int flags;
    };

    CClient* findClient(ClientId client);
    // One turn of the loop: the wait, then the deliveries. [the thread holding pumpLock]
    int serve(int timeoutMs);
    int deliverSignals();
    // Blocks in the system until a post, a descriptor or the time limit; fills readyFlags for
    // each watch (indexed like the copy passed in).
    void waitForWork(int timeoutMs, CArray<Watch>& watchesOut, CArray<int>& readyOut);
    void wake();
    void drainWake();
    int deliverTimers();
    int deliverPosted();
    // Milliseconds until the next timer is due; -1 when none runs.
    int msUntilNextTimer();

    CLock lock;
    CLock pumpLock;
    std::atomic<uint64_t> pumpingThread{0};
    std::atomic<int> holdsWaiting{0}; // CHolds waiting for pumpLock
    std::atomic<uint64_t> ownerThreadId{0};
    CInterlockedList postedList;
    CTreeMap<ClientId, CClient*> clients;
    CArray<Timer> timers;
    CArray<Watch> watches;
    ClientId nextClientId = 1;
    struct Signal
    {
        std::atomic<ClientId> client{0};
        std::atomic<uint32_t> message{0};
        std::atomic<bool> isRaised{false};
    };
    Signal signals[kMaxSignals];
    std::atomic<bool> isAnySignalRaised{false};
    std::atomic<bool> isQuitRequested{false};
    int wakeFd = -1;
    int initError = 0;
};

} // namespace kel
