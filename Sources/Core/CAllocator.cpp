#include "Core/CAllocator.h"

#include "Core/Platform/CLock.h"
#include "Core/Platform/CThisThread.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace kel
{

namespace
{

// Layout of a block: a 16-byte head, then the caller's bytes. The head keeps the 16-byte
// alignment of the chunk for every block (the caller may put SSE vectors or long doubles in any
// block), and its last byte, right before the caller's pointer, tells free() where the block
// came from. A pooled block's head also carries its free-list link: callers never write into the
// head, so a thread that reads a stale link during a pop races with no one's data.
constexpr size_t kHeadBytes = 16;
constexpr uint8_t kRuntimeMarker = 255;
constexpr size_t kChunkHeadBytes = 16;
// How much of a chunk is carved into blocks at once.
constexpr size_t kCarvePageBytes = 4096;

struct alignas(16) PoolHead
{
    std::atomic<uintptr_t> next;
    uint8_t unused[7];
    uint8_t classIndex;
};

struct alignas(16) RuntimeHead
{
    size_t requestBytes;
    uint8_t unused[7];
    uint8_t marker;
};

static_assert(sizeof(PoolHead) == kHeadBytes && sizeof(RuntimeHead) == kHeadBytes,
              "the head must keep blocks 16-byte aligned");
static_assert(offsetof(PoolHead, classIndex) == kHeadBytes - 1, "class byte precedes the block");
static_assert(offsetof(RuntimeHead, marker) == kHeadBytes - 1, "marker precedes the block");

// The free list is a Treiber stack whose head word packs the top block's address and a tag that
// changes with every successful push and pop. A pop reads the top block's link and swaps the head
// only if the whole word is unchanged; without the tag, a block popped and pushed back by other
// threads in the meantime (A-B-A) would pass the check with a stale link and corrupt the list.
// Heads are 16-byte aligned and user-space addresses fit 48 bits (x86-64, AArch64), so the
// address takes 44 bits and the tag the other 20: a thread would have to sleep between its read
// and its swap while exactly a multiple of 2^20 operations hit the same class and the same block
// came back on top. Memory is never returned to the system, so reading a stale link is harmless.
constexpr int kAddressBits = 44;
constexpr uint64_t kAddressMask = (uint64_t(1) << kAddressBits) - 1;
static_assert(sizeof(void*) == 8, "the tagged free-list head assumes 64-bit addresses");

inline uint64_t pack(uintptr_t headAddress, uint64_t tag)
{
    return (static_cast<uint64_t>(headAddress) >> 4) | (tag << kAddressBits);
}

inline uintptr_t addressOf(uint64_t word)
{
    return static_cast<uintptr_t>((word & kAddressMask) << 4);
}

inline uint64_t nextTag(uint64_t word)
{
    return (word >> kAddressBits) + 1;
}

struct alignas(64) Pool
{
    std::atomic<uint64_t> top{0};
    std::atomic<int64_t> live{0};
    CLock carveLock{4000};
    // Every chunk of the class, linked through its first 16 bytes. Nothing walks the list; it
    // keeps the chunks reachable by plain pointers, which the packed free-list words are not, so
    // that leak checkers do not take the pools for leaks. Changed under carveLock only.
    void* chunks = nullptr;
    // The part of the newest chunk not handed out yet. Blocks are carved from it a page at a
    // time, so that memory nobody asked for is never touched and stays out of the resident set.
    // Changed under carveLock only.
    unsigned char* carveNext = nullptr;
    unsigned char* carveEnd = nullptr;
};

struct Pools
{
    Pool pools[CAllocator::kClassCount + 1]; // the last one only counts runtime blocks
    std::atomic<uint64_t> watchedThread{0};
    std::atomic<uint64_t> watchedCount{0};
};

// Built on first use and never destroyed: static objects of other modules may allocate before
// this file's statics are initialised and free after they would be destroyed.
Pools& pools()
{
    alignas(Pools) static unsigned char storage[sizeof(Pools)];
    static Pools* const instance = new (storage) Pools();
    return *instance;
}

inline size_t classBytes(int classIndex)
{
    return (static_cast<size_t>(classIndex) + 1) * CAllocator::kClassStepBytes;
}

inline void noteAllocation(Pools& all, int classIndex)
{
    all.pools[classIndex].live.fetch_add(1, std::memory_order_relaxed);
    const uint64_t watched = all.watchedThread.load(std::memory_order_relaxed);
    if (watched != 0 && watched == CThisThread::id())
        all.watchedCount.fetch_add(1, std::memory_order_relaxed);
}

PoolHead* pop(Pool& pool)
{
    uint64_t word = pool.top.load(std::memory_order_acquire);
    for (;;)
    {
        const uintptr_t address = addressOf(word);
        if (address == 0)
            return nullptr;
        auto* head = reinterpret_cast<PoolHead*>(address);
        const uintptr_t next = head->next.load(std::memory_order_relaxed);
        if (pool.top.compare_exchange_weak(word, pack(next, nextTag(word)),
                                           std::memory_order_acquire, std::memory_order_acquire))
            return head;
    }
}

// Pushes the chain first..last, already linked, in one swap.
void pushChain(Pool& pool, PoolHead* first, PoolHead* last)
{
    uint64_t word = pool.top.load(std::memory_order_relaxed);
    for (;;)
    {
        last->next.store(addressOf(word), std::memory_order_relaxed);
        if (pool.top.compare_exchange_weak(word,
                                           pack(reinterpret_cast<uintptr_t>(first), nextTag(word)),
                                           std::memory_order_release, std::memory_order_relaxed))
            return;
    }
}

// Called with an empty free list: under the class lock, check again (another thread may just
// have carved), else carve the next page's worth of blocks from the newest chunk (a fresh chunk
// when it is used up), keep the first and push the rest in one swap.
PoolHead* carve(Pool& pool, int classIndex)
{
    CLockGuard guard(pool.carveLock);
    if (PoolHead* head = pop(pool))
        return head;

    const size_t stride = classBytes(classIndex) + kHeadBytes;
    if (!pool.carveNext || pool.carveNext + stride > pool.carveEnd)
    {
        const size_t count = classBytes(classIndex) < 2048 ? 128 : 64;
        auto* memory =
            static_cast<unsigned char*>(std::aligned_alloc(16, kChunkHeadBytes + stride * count));
        if (!memory)
            return nullptr;
        if ((reinterpret_cast<uintptr_t>(memory) + kChunkHeadBytes + stride * count) >>
            (kAddressBits + 4))
            std::abort(); // an address beyond 48 bits cannot be tagged; no supported system has one
        std::memcpy(memory, &pool.chunks, sizeof(pool.chunks));
        pool.chunks = memory;
        pool.carveNext = memory + kChunkHeadBytes;
        pool.carveEnd = pool.carveNext + stride * count;
    }
    size_t batch = kCarvePageBytes / stride;
    const size_t left = static_cast<size_t>(pool.carveEnd - pool.carveNext) / stride;
    batch = batch < 1 ? 1 : (batch > left ? left : batch);
    unsigned char* const first = pool.carveNext;
    pool.carveNext += batch * stride;

    for (size_t i = 0; i < batch; ++i)
    {
        auto* head = new (first + i * stride) PoolHead;
        head->classIndex = static_cast<uint8_t>(classIndex);
        head->next.store(i + 1 < batch ? reinterpret_cast<uintptr_t>(first + (i + 1) * stride) : 0,
                         std::memory_order_relaxed);
    }
    if (batch > 1)
        pushChain(pool, reinterpret_cast<PoolHead*>(first + stride),
                  reinterpret_cast<PoolHead*>(first + (batch - 1) * stride));
    return reinterpret_cast<PoolHead*>(first);
}

inline uint8_t markerOf(const void* block)
{
    return static_cast<const uint8_t*>(block)[-1];
}

} // namespace

int CAllocator::classIndexFor(size_t bytes)
{
    if (bytes > kMaxPooledBytes)
        return kRuntimeClass;
    return bytes == 0 ? 0 : static_cast<int>((bytes - 1) / kClassStepBytes);
}

void* CAllocator::alloc(size_t bytes)
{
    Pools& all = pools();
    const int classIndex = classIndexFor(bytes);
    if (classIndex == kRuntimeClass)
    {
        if (bytes > SIZE_MAX - kHeadBytes)
            return nullptr;
        auto* base = static_cast<unsigned char*>(std::malloc(bytes + kHeadBytes));
        if (!base)
            return nullptr;
        auto* head = new (base) RuntimeHead;
        head->requestBytes = bytes;
        head->marker = kRuntimeMarker;
        noteAllocation(all, kRuntimeClass);
        return base + kHeadBytes;
    }

    Pool& pool = all.pools[classIndex];
    PoolHead* head = pop(pool);
    if (!head)
        head = carve(pool, classIndex);
    if (!head)
        return nullptr;
    noteAllocation(all, classIndex);
    return reinterpret_cast<unsigned char*>(head) + kHeadBytes;
}

void CAllocator::free(void* block)
{
    if (!block)
        return;
    Pools& all = pools();
    const uint8_t marker = markerOf(block);
    auto* base = static_cast<unsigned char*>(block) - kHeadBytes;
    if (marker == kRuntimeMarker)
    {
        all.pools[kRuntimeClass].live.fetch_sub(1, std::memory_order_relaxed);
        std::free(base);
        return;
    }
    Pool& pool = all.pools[marker];
    pool.live.fetch_sub(1, std::memory_order_relaxed);
    auto* head = reinterpret_cast<PoolHead*>(base);
    pushChain(pool, head, head);
}

size_t CAllocator::getCapacity(const void* block)
{
    if (!block)
        return 0;
    const uint8_t marker = markerOf(block);
    if (marker == kRuntimeMarker)
        return reinterpret_cast<const RuntimeHead*>(static_cast<const unsigned char*>(block) -
                                                    kHeadBytes)
            ->requestBytes;
    return classBytes(marker);
}

void* CAllocator::realloc(void* block, size_t bytes)
{
    if (!block)
        return alloc(bytes);
    const uint8_t marker = markerOf(block);
    const int wanted = classIndexFor(bytes);
    if (marker != kRuntimeMarker && wanted == marker)
        return block;
    if (marker == kRuntimeMarker && wanted == kRuntimeClass)
    {
        if (bytes > SIZE_MAX - kHeadBytes)
            return nullptr;
        auto* base = static_cast<unsigned char*>(
            std::realloc(static_cast<unsigned char*>(block) - kHeadBytes, bytes + kHeadBytes));
        if (!base)
            return nullptr;
        reinterpret_cast<RuntimeHead*>(base)->requestBytes = bytes;
        return base + kHeadBytes;
    }
    void* fresh = alloc(bytes);
    if (!fresh)
        return nullptr;
    const size_t kept = getCapacity(block);
    std::memcpy(fresh, block, kept < bytes ? kept : bytes);
    free(block);
    return fresh;
}

int64_t CAllocator::liveBlocks()
{
    int64_t sum = 0;
    for (const Pool& pool : pools().pools)
        sum += pool.live.load(std::memory_order_relaxed);
    return sum;
}

int64_t CAllocator::liveBlocksInClass(int classIndex)
{
    if (classIndex < 0 || classIndex > kRuntimeClass)
        return 0;
    return pools().pools[classIndex].live.load(std::memory_order_relaxed);
}

size_t CAllocator::releaseIdlePools()
{
    Pools& all = pools();
    size_t released = 0;
    for (int classIndex = 0; classIndex < kClassCount; ++classIndex)
    {
        Pool& pool = all.pools[classIndex];
        CLockGuard guard(pool.carveLock);
        if (pool.live.load(std::memory_order_acquire) != 0 || !pool.chunks)
            continue;
        const size_t stride = classBytes(classIndex) + kHeadBytes;
        const size_t count = classBytes(classIndex) < 2048 ? 128 : 64;
        // Every block of the class is on the free list: empty it, then free the chunks under it.
        pool.top.store(pack(0, nextTag(pool.top.load(std::memory_order_relaxed))),
                       std::memory_order_release);
        void* chunk = pool.chunks;
        while (chunk)
        {
            void* next = nullptr;
            std::memcpy(&next, chunk, sizeof(next));
            std::free(chunk);
            released += kChunkHeadBytes + stride * count;
            chunk = next;
        }
        pool.chunks = nullptr;
        pool.carveNext = nullptr;
        pool.carveEnd = nullptr;
    }
    return released;
}

void CAllocator::watchThread(uint64_t threadId)
{
    Pools& all = pools();
    all.watchedThread.store(threadId);
    all.watchedCount.store(0);
}

uint64_t CAllocator::watchedAllocations()
{
    return pools().watchedCount.load();
}

} // namespace kel
