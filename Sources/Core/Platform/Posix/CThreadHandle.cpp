#include "Core/Platform/CThreadHandle.h"

#include "Core/CAllocator.h"

#include <cerrno>
#include <pthread.h>
#include <sched.h>

namespace kel
{

namespace
{
struct StartRecord
{
    CThreadHandle::Entry entry;
    void* context;
};

void* threadMain(void* argument)
{
    const StartRecord start = *static_cast<StartRecord*>(argument);
    CAllocator::free(argument);
    start.entry(start.context);
    return nullptr;
}
} // namespace

CThreadHandle::~CThreadHandle()
{
    join();
}

int CThreadHandle::start(Entry entry, void* context, bool isTimeCritical)
{
    if (isAttached)
        return EBUSY;
    // The thread frees the record before it runs the entry.
    auto* record = static_cast<StartRecord*>(CAllocator::alloc(sizeof(StartRecord)));
    if (!record)
        return ENOMEM;
    *record = StartRecord{entry, context};
    pthread_t thread;
    const int error = pthread_create(&thread, nullptr, threadMain, record);
    if (error != 0)
    {
        CAllocator::free(record);
        return error;
    }
    if (isTimeCritical)
    {
        sched_param priority{};
        priority.sched_priority = sched_get_priority_max(SCHED_FIFO);
        // Without the privilege for real-time scheduling the thread keeps its normal priority.
        (void)pthread_setschedparam(thread, SCHED_FIFO, &priority);
    }
    static_assert(sizeof(pthread_t) <= sizeof(uint64_t), "thread handles must fit 64 bits");
    nativeHandle = static_cast<uint64_t>(thread);
    threadId = static_cast<uint64_t>(thread);
    isAttached = true;
    return 0;
}

int CThreadHandle::join()
{
    if (!isAttached)
        return 0;
    isAttached = false;
    return pthread_join(static_cast<pthread_t>(nativeHandle), nullptr);
}

} // namespace kel
