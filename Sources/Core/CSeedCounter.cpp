#include "Core/CSeedCounter.h"

#include "Core/Platform/CTickClock.h"

#include <atomic>

namespace kel
{

namespace
{
// Initialised while the library loads. Anything that takes a seed from another static
// initialiser before this one ran starts from zero, which is still a valid seed.
std::atomic<uint32_t> seedCounter{CTickClock::tickCountMs()};
static_assert(std::atomic<uint32_t>::is_always_lock_free, "the audio thread takes seeds");
} // namespace

uint32_t CSeedCounter::next()
{
    return seedCounter.fetch_add(1, std::memory_order_relaxed);
}

uint32_t CSeedCounter::peek()
{
    return seedCounter.load(std::memory_order_relaxed);
}

void CSeedCounter::restartAt(uint32_t value)
{
    seedCounter.store(value, std::memory_order_relaxed);
}

} // namespace kel
