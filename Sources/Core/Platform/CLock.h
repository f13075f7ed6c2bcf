#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

namespace kel
{

// A critical section: spins up to spinCount tries before it sleeps in the kernel. Not recursive.
// Owned by whoever declares it; never copied. [any thread]
class CLock
{
public:
    explicit CLock(int spins = 4000) : spinCount(spins) {}
    CLock(const CLock&) = delete;
    CLock& operator=(const CLock&) = delete;

    void lock();
    void unlock() { mutex.unlock(); }
    bool tryLock();

    // Test support: locks taken by one watched thread are counted, so a test can prove that
    // the audio thread takes none. A zero id clears the watch.
    static void watchThread(uint64_t threadId);
    static uint64_t watchedLocks();

private:
    std::mutex mutex;
    int spinCount;
};

// Holds a lock for a scope; a null lock is no lock.
class CLockGuard
{
public:
    explicit CLockGuard(CLock* lockToHold) : held(lockToHold)
    {
        if (held)
            held->lock();
    }
    explicit CLockGuard(CLock& lockToHold) : CLockGuard(&lockToHold) {}
    ~CLockGuard()
    {
        if (held)
            held->unlock();
    }
    CLockGuard(const CLockGuard&) = delete;
    CLockGuard& operator=(const CLockGuard&) = delete;

private:
    CLock* held;
};

} // namespace kel
