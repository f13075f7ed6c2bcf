#include "Core/Platform/CTickClock.h"

#include <chrono>

namespace kel
{

uint32_t CTickClock::tickCountMs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

} // namespace kel
