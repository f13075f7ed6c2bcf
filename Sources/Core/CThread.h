#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/Platform/CAutoResetEvent.h"
#include "Core/Platform/CThreadHandle.h"

#include <atomic>

namespace kel
{

class CRunLoop;

// A worker thread of the framework. A derived class puts its work in execute, which runs on the
// new thread until it returns; it watches isStopRequested and may sleep in waitForSignal, which
// signal and stopThread cut short. A thread started with a run loop pumps that loop in the
// default execute until stopThread: timers and bridges made on it are served there, and any
// thread may post to it through getRunLoop.
// The owner starts and stops it from one controlling thread; the destructor stops a running
// thread. [runThread, stopThread: the controlling thread; signal, getRunLoop: any thread]
class CThread : public CCheckedObject
{
public:
    CThread() = default;
    // Stops the thread; a derived class stops it in its own destructor, before its members go.
    ~CThread() override;
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    // isTimeCritical asks for the highest priority the system grants.
    [[nodiscard]] CError* runThread(bool isTimeCritical = false, bool hasRunLoop = false);
    // Sets the stop flag, signals the thread, quits its run loop and waits for its end.
    void stopThread();
    bool isRunning() const { return handle.isStarted(); }
    void signal() { updateEvent.signal(); }
    // The thread's run loop, bound to it; null without one. Valid from runThread to stopThread.
    CRunLoop* getRunLoop() const { return runLoop; }
    uint64_t getThreadId() const { return handle.getThreadId(); }

protected:
    // [the thread] The default pumps the run loop, or waits for the stop without one.
    virtual void execute();
    bool isStopRequested() const { return isStopping.load(std::memory_order_acquire); }
    // [the thread] True when signalled, false after timeoutMs (negative: no limit).
    bool waitForSignal(int timeoutMs) { return updateEvent.wait(timeoutMs); }

private:
    static void threadEntry(void* context);

    CThreadHandle handle;
    CAutoResetEvent updateEvent;
    std::atomic<bool> isStopping{false};
    CRunLoop* runLoop = nullptr; // owned, made by runThread
};

} // namespace kel
