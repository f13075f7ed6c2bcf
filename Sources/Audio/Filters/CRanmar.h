#pragma once

#include <cstdint>

namespace kel
{

// The lagged-Fibonacci/arithmetic-sequence uniform generator of Marsaglia, Zaman and Tsang
// (RANMAR), giving doubles in [0, 1) with 24-bit resolution. It is a plain value: trivially
// copyable, no constructor work, so it can live inside a kernel's state buffer in the pool and
// be copied with memcpy. Whoever embeds it owns it; it is not shared between threads.
// [audio thread, or any single thread that owns the value]
class CRanmar
{
public:
    static constexpr int kWords = 97;
    // The seeds' natural ranges; values outside are folded into them by seed().
    static constexpr int kMaxIj = 31328;
    static constexpr int kMaxKl = 30081;

    // Fills the 97 words from the two seed numbers and resets the carry and the lags.
    void seed(int ij, int kl);
    // One draw in [0, 1). Call seed() first.
    double next();

    double u[kWords]; // word i97 is u[i97 - 1]
    double c;
    double cd;
    double cm;
    int32_t i97; // 1-based lag indices
    int32_t j97;
};

} // namespace kel
