#pragma once

#include <cstdint>

namespace kel
{

// The process-wide source of random seeds. It starts at library load from the millisecond tick
// count and advances by one per seed handed out, so two instances in one process never begin
// alike (two processes started in the same tick would). Lock-free, so the audio thread may take
// seeds. [any thread]
class CSeedCounter
{
public:
    // Answers the present value and advances the counter, atomically.
    static uint32_t next();
    // Present value without advancing; for tests and diagnostics.
    static uint32_t peek();
    // Sets the next seed handed out: tests that compare two runs give both the same seeds.
    static void restartAt(uint32_t value);
};

} // namespace kel
