#pragma once

#include "Core/CAllocator.h"

#include <cstddef>
#include <cstdlib>

namespace kel
{

// Allocator type for standard containers inside the framework: every node and buffer they make
// comes from CAllocator, so they show in its live-block counts like everything else. Stateless;
// all instances are interchangeable. [any thread]
template <typename T> class CStdAllocator
{
public:
    using value_type = T;

    CStdAllocator() noexcept = default;
    template <typename U> CStdAllocator(const CStdAllocator<U>&) noexcept {}

    T* allocate(size_t count)
    {
        // A container has no way to report a missing node without an exception, and none may
        // cross a framework call: out of memory ends here.
        void* block = CAllocator::alloc(sizeof(T) * count);
        if (!block)
            std::abort();
        return static_cast<T*>(block);
    }
    void deallocate(T* block, size_t) noexcept { CAllocator::free(block); }

    template <typename U> bool operator==(const CStdAllocator<U>&) const noexcept { return true; }
    template <typename U> bool operator!=(const CStdAllocator<U>&) const noexcept { return false; }
};

} // namespace kel
