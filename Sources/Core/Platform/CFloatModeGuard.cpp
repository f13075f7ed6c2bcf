#include "Core/Platform/CFloatModeGuard.h"

#if defined(__SSE__) || defined(__x86_64__)
#include <xmmintrin.h>
#define KEL_HAS_MXCSR 1
#endif

namespace kel
{

namespace
{
constexpr uint32_t kFlushToZero = 0x8000;
constexpr uint32_t kDenormalsAreZero = 0x0040;
} // namespace

CFloatModeGuard::CFloatModeGuard() : savedState(0)
{
#ifdef KEL_HAS_MXCSR
    savedState = _mm_getcsr();
    _mm_setcsr(savedState | kFlushToZero | kDenormalsAreZero);
#endif
}

CFloatModeGuard::~CFloatModeGuard()
{
#ifdef KEL_HAS_MXCSR
    _mm_setcsr(savedState);
#endif
}

} // namespace kel
