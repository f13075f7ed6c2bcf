#pragma once

#include <cstdint>

namespace kel
{

// Sets flush-to-zero and denormals-are-zero for its scope and restores the caller's floating
// point state afterwards. Process calls run inside one, so no filter state ever turns subnormal.
// [the thread that made it]
class CFloatModeGuard
{
public:
    CFloatModeGuard();
    ~CFloatModeGuard();
    CFloatModeGuard(const CFloatModeGuard&) = delete;
    CFloatModeGuard& operator=(const CFloatModeGuard&) = delete;

private:
    uint32_t savedState;
};

} // namespace kel
