#pragma once

#include <cstdint>

namespace kel
{

// Identity of the calling thread, as a non-zero number that stays the same for the thread's life.
// [any thread; never allocates]
class CThisThread
{
public:
    static uint64_t id();
};

} // namespace kel
