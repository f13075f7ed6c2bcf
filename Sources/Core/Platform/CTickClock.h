#pragma once

#include <cstdint>

namespace kel
{

// Monotonic millisecond clock; wraps at 2^32 like the tick count it stands for. [any thread]
class CTickClock
{
public:
    static uint32_t tickCountMs();
};

} // namespace kel
