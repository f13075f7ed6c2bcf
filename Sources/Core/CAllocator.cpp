#include "Core/CAllocator.h"

#include "Core/Platform/CThisThread.h"

#include <atomic>
#include <cstdlib>
#include <cstring>

// Provisional: a runtime-backed block with a size header. The pooled classes replace it.
namespace kel
{

namespace
{
std::atomic<int64_t> gLive{0};
std::atomic<uint64_t> gWatched{0};
std::atomic<uint64_t> gWatchedCount{0};

void noteAlloc()
{
    gLive.fetch_add(1, std::memory_order_relaxed);
    const uint64_t watched = gWatched.load(std::memory_order_relaxed);
    if (watched != 0 && watched == CThisThread::id())
        gWatchedCount.fetch_add(1, std::memory_order_relaxed);
}
} // namespace

void* CAllocator::alloc(size_t bytes)
{
    auto* base = static_cast<unsigned char*>(std::malloc(bytes + 16));
    if (!base)
        return nullptr;
    std::memcpy(base, &bytes, sizeof(bytes));
    noteAlloc();
    return base + 16;
}

void CAllocator::free(void* block)
{
    if (!block)
        return;
    gLive.fetch_sub(1, std::memory_order_relaxed);
    std::free(static_cast<unsigned char*>(block) - 16);
}

void* CAllocator::realloc(void* block, size_t bytes)
{
    if (!block)
        return alloc(bytes);
    size_t old = 0;
    std::memcpy(&old, static_cast<unsigned char*>(block) - 16, sizeof(old));
    void* fresh = alloc(bytes);
    if (!fresh)
        return nullptr;
    std::memcpy(fresh, block, old < bytes ? old : bytes);
    free(block);
    return fresh;
}

int64_t CAllocator::liveBlocks()
{
    return gLive.load();
}

int64_t CAllocator::liveBlocksInClass(int)
{
    return 0;
}

void CAllocator::watchThread(uint64_t threadId)
{
    gWatched.store(threadId);
    gWatchedCount.store(0);
}

uint64_t CAllocator::watchedAllocations()
{
    return gWatchedCount.load();
}

} // namespace kel
