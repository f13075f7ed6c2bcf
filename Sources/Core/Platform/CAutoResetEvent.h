#pragma once

#include <condition_variable>
#include <mutex>

namespace kel
{

// An event that lets exactly one waiter through per signal and then closes again by itself.
// Signals do not add up: several signals before a wait release one wait. Owned by whoever
// declares it. [any thread]
class CAutoResetEvent
{
public:
    CAutoResetEvent() = default;
    CAutoResetEvent(const CAutoResetEvent&) = delete;
    CAutoResetEvent& operator=(const CAutoResetEvent&) = delete;

    void signal();
    // Waits until signalled or timeoutMs has passed (negative: no limit). True when signalled;
    // the event is closed again on return.
    bool wait(int timeoutMs = -1);

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool isSignalled = false;
};

} // namespace kel
