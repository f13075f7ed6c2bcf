#pragma once

#include <cstddef>
#include <cstdint>

namespace kel
{

// The framework's pooled allocator. Requests up to 4080 bytes are served from 255 size classes
// of 16-byte steps with lock-free free lists; larger ones go to the C runtime. Every framework
// object (through CCheckedObject's class-level operators) and every buffer comes from here; the
// global operator new is never replaced, so the host's process is not touched.
//
// Every block, pooled or not, is 16-byte aligned and has a 16-byte head in front of it whose last
// byte tells where it came from: the size class (0 to 254) or 255 for a runtime block. Pooled
// memory is reserved in chunks of 128 blocks (64 for blocks of 2048 bytes and more), carved into
// blocks a page at a time as they are needed (untouched memory stays out of the resident set),
// and never given back to the system; a freed block waits on its class's free list for the next
// request.
// [any thread; the pools take a class lock only when a free list is empty]
class CAllocator
{
public:
    static constexpr int kClassCount = 255;
    static constexpr size_t kClassStepBytes = 16;
    static constexpr size_t kMaxPooledBytes = kClassCount * kClassStepBytes; // 4080
    // The counter index of blocks that come from the C runtime.
    static constexpr int kRuntimeClass = 255;

    // Null when the system has no memory left. Size 0 takes the smallest class.
    static void* alloc(size_t bytes);
    // A null block is ignored.
    static void free(void* block);
    // Keeps the contents up to the smaller of the two sizes. A null block behaves as alloc. A
    // block that still fits its size class stays where it is. Null on failure, the old block
    // then untouched.
    static void* realloc(void* block, size_t bytes);
    // Bytes the block can hold: its class's size, or the request for a runtime block.
    static size_t getCapacity(const void* block);

    // Size class of a request, or kRuntimeClass above 4080 bytes.
    static int classIndexFor(size_t bytes);

    // Blocks handed out and not yet freed, all classes together and per size class
    // (classIndex 255 counts the runtime's large blocks). Tests use these to find leaks.
    static int64_t liveBlocks();
    static int64_t liveBlocksInClass(int classIndex);

    // Gives the chunks of every size class with no live block back to the system, for a library
    // about to be unloaded. Classes that still have blocks out keep everything. Returns the bytes
    // released. [one thread, while no other thread uses the allocator]
    static size_t releaseIdlePools();

    // Test support: allocations made by one watched thread are counted, so a test can prove
    // that the audio thread allocates nothing after resume. A zero id clears the watch.
    static void watchThread(uint64_t threadId);
    static uint64_t watchedAllocations();
};

// Typed helpers for arrays of plain values.
template <typename T> inline T* allocArray(size_t count)
{
    return static_cast<T*>(CAllocator::alloc(count * sizeof(T)));
}

} // namespace kel
