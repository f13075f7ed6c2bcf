#include "Support/CMallocCounter.h"

#include <atomic>
#include <cstddef>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KEL_MALLOC_COUNTER 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define KEL_MALLOC_COUNTER 0
#endif
#endif
#ifndef KEL_MALLOC_COUNTER
#define KEL_MALLOC_COUNTER 1
#endif

namespace
{
thread_local bool tWatched = false;
std::atomic<uint64_t> gCount{0};
} // namespace

#if KEL_MALLOC_COUNTER
extern "C"
{
    void* __libc_malloc(size_t);
    void* __libc_calloc(size_t, size_t);
    void* __libc_realloc(void*, size_t);
    void* __libc_memalign(size_t, size_t);

    void* malloc(size_t bytes)
    {
        if (tWatched)
            gCount.fetch_add(1, std::memory_order_relaxed);
        return __libc_malloc(bytes);
    }

    void* calloc(size_t count, size_t bytes)
    {
        if (tWatched)
            gCount.fetch_add(1, std::memory_order_relaxed);
        return __libc_calloc(count, bytes);
    }

    void* realloc(void* block, size_t bytes)
    {
        if (tWatched)
            gCount.fetch_add(1, std::memory_order_relaxed);
        return __libc_realloc(block, bytes);
    }

    void* memalign(size_t alignment, size_t bytes)
    {
        if (tWatched)
            gCount.fetch_add(1, std::memory_order_relaxed);
        return __libc_memalign(alignment, bytes);
    }

    void* aligned_alloc(size_t alignment, size_t bytes)
    {
        return memalign(alignment, bytes);
    }

    int posix_memalign(void** out, size_t alignment, size_t bytes)
    {
        *out = memalign(alignment, bytes);
        return *out ? 0 : 12;
    }
}
#endif

namespace kel::test
{

bool CMallocCounter::isAvailable()
{
    return KEL_MALLOC_COUNTER != 0;
}

void CMallocCounter::watchThisThread()
{
    gCount.store(0);
    tWatched = true;
}

void CMallocCounter::stopWatching()
{
    tWatched = false;
}

uint64_t CMallocCounter::count()
{
    return gCount.load();
}

} // namespace kel::test
