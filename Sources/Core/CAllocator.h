#pragma once

#include <cstddef>
#include <cstdint>

namespace kel
{

// The framework's pooled allocator. Requests up to 4080 bytes are served from 255 size classes
// of 16-byte steps with lock-free free lists; larger ones go to the C runtime. Every framework
// object (through CCheckedObject's class-level operators) and every buffer comes from here; the
// global operator new is never replaced, so the host's process is not touched.
// [any thread; the pools take a class lock only when a free list is empty]
class CAllocator
{
public:
    static void* alloc(size_t bytes);
    static void free(void* block);
    // Keeps the contents up to the smaller of the two sizes. A null block behaves as alloc.
    static void* realloc(void* block, size_t bytes);

    // Blocks handed out and not yet freed, all classes together and per size class
    // (classIndex 255 counts the runtime's large blocks). Tests use these to find leaks.
    static int64_t liveBlocks();
    static int64_t liveBlocksInClass(int classIndex);

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
