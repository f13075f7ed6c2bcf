#pragma once

#include <cstdint>

namespace kel
{

// One operating-system thread: started with an entry function, joined once. Every operation
// answers 0 or the system's error number, as CFile does. The handle must be joined before it is
// destroyed (the destructor joins a thread still attached, and waits for it).
// Start and join from one controlling thread. [any thread]
class CThreadHandle
{
public:
    using Entry = void (*)(void* context);

    CThreadHandle() = default;
    ~CThreadHandle();
    CThreadHandle(const CThreadHandle&) = delete;
    CThreadHandle& operator=(const CThreadHandle&) = delete;

    // isTimeCritical asks for the highest real-time priority; a system that refuses it (no
    // privilege) leaves the thread at normal priority, which is no failure.
    int start(Entry entry, void* context, bool isTimeCritical);
    // Waits for the thread's end. Joining a handle that has no thread does nothing.
    int join();
    bool isStarted() const { return isAttached; }
    // The started thread's CThisThread::id(), 0 before start.
    uint64_t getThreadId() const { return threadId; }

private:
    // The system's handle, kept as a number so this header includes no system header.
    uint64_t nativeHandle = 0;
    uint64_t threadId = 0;
    bool isAttached = false;
};

} // namespace kel
