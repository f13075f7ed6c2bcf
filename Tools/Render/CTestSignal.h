#pragma once

#include <cstdint>
#include <vector>

namespace kel
{

// The renderer's built-in programme material: three steady tones that swell slowly, and
// pink-ish noise, different on each channel, peaking near -10 dBFS. The same seed gives the
// same samples. Planar, one vector per channel.
class CTestSignal
{
public:
    static std::vector<std::vector<float>> generate(int channels, double rateHz, double seconds,
                                                    uint32_t seed = 1);
};

} // namespace kel
