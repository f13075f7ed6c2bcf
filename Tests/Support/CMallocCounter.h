#pragma once

#include <cstdint>

namespace kel::test
{

// Counts calls of the C runtime's allocation functions made by one watched thread, so a test can
// prove that a thread allocates nothing at all, not only nothing through the framework's pools.
// Works by defining malloc and friends in the test program; under the sanitizers, which own those
// functions, `isAvailable` is false and the count stays 0.
class CMallocCounter
{
public:
    static bool isAvailable();
    static void watchThisThread();
    static void stopWatching();
    static uint64_t count();
};

} // namespace kel::test
