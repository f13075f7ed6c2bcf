#pragma once

#include <cstdint>
#include <vector>

namespace kel
{

// The soak's input, endless and known: on each channel a quiet sine of its own pitch plus white
// noise, together peaking at -20 dBFS (0.1). Generated block by block; the same seed and channel
// count give the same samples. Owned by the soak's audio loop. [audio thread; generate()
// allocates nothing]
class CSoakSignal
{
public:
    static constexpr double kSineLin = 0.06;
    static constexpr double kNoiseLin = 0.04;

    void reset(int channelCount, double rateHz, uint32_t seed);
    // Writes `frames` samples to each of the reset() channels.
    void generate(double* const* out, int frames);

private:
    struct CChannel
    {
        double re = 1.0, im = 0.0;
        double stepRe = 1.0, stepIm = 0.0;
    };

    std::vector<CChannel> channels;
    uint32_t noiseState = 1;
};

} // namespace kel
