#pragma once

#include "Core/CAllocator.h"

#include <new>

namespace kel
{

// Root base of nearly every framework class. It has no behaviour of its own; it routes the
// class's new and delete to the pooled allocator.
class CCheckedObject
{
public:
    CCheckedObject() = default;
    virtual ~CCheckedObject() = default;

    static void* operator new(size_t bytes) { return CAllocator::alloc(bytes); }
    static void operator delete(void* block) { CAllocator::free(block); }
    static void* operator new[](size_t bytes) { return CAllocator::alloc(bytes); }
    static void operator delete[](void* block) { CAllocator::free(block); }
    static void* operator new(size_t, void* place) { return place; }
    static void operator delete(void*, void*) {}
};

} // namespace kel
