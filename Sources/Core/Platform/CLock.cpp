#include "Core/Platform/CLock.h"

#include "Core/Platform/CThisThread.h"

namespace kel
{

namespace
{
std::atomic<uint64_t> gWatched{0};
std::atomic<uint64_t> gWatchedCount{0};

inline void cpuRelax()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}
} // namespace

void CLock::lock()
{
    const uint64_t watched = gWatched.load(std::memory_order_relaxed);
    if (watched != 0 && watched == CThisThread::id())
        gWatchedCount.fetch_add(1, std::memory_order_relaxed);
    for (int spin = 0; spin < spinCount; ++spin)
    {
        if (mutex.try_lock())
            return;
        cpuRelax();
    }
    mutex.lock();
}

bool CLock::tryLock()
{
    const uint64_t watched = gWatched.load(std::memory_order_relaxed);
    if (watched != 0 && watched == CThisThread::id())
        gWatchedCount.fetch_add(1, std::memory_order_relaxed);
    return mutex.try_lock();
}

void CLock::watchThread(uint64_t threadId)
{
    gWatched.store(threadId);
    gWatchedCount.store(0);
}

uint64_t CLock::watchedLocks()
{
    return gWatchedCount.load();
}

} // namespace kel
