#include "CTestSignal.h"

#include <cmath>

namespace kel
{

namespace
{
constexpr double kTwoPi = 6.283185307179586;

// Tones placed away from the effect's default beep range, so that the events stay apart.
constexpr double kToneHz[] = {130.8, 587.3, 1661.2};
constexpr double kToneAmp[] = {0.08, 0.05, 0.025};
constexpr double kNoiseAmp = 0.05;

class CWhiteNoise
{
public:
    explicit CWhiteNoise(uint32_t seed) : state(seed ? seed : 0x9E3779B9u) {}
    // Uniform in [-1, 1).
    double next()
    {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return static_cast<double>(state) / 2147483648.0 - 1.0;
    }

private:
    uint32_t state;
};
} // namespace

std::vector<std::vector<float>> CTestSignal::generate(int channels, double rateHz, double seconds,
                                                      uint32_t seed)
{
    const int64_t frames = static_cast<int64_t>(std::llround(seconds * rateHz));
    std::vector<std::vector<float>> signal(channels, std::vector<float>(frames));
    for (int ch = 0; ch < channels; ++ch)
    {
        CWhiteNoise white(seed * 7919u + static_cast<uint32_t>(ch) * 104729u + 1u);
        // Three one-pole sections spread over the band: a cheap approximation of 1/f noise.
        double b0 = 0.0;
        double b1 = 0.0;
        double b2 = 0.0;
        const double swellHz = 0.05 + 0.02 * ch;
        for (int64_t i = 0; i < frames; ++i)
        {
            const double t = i / rateHz;
            const double w = white.next();
            b0 = 0.99765 * b0 + w * 0.0990460;
            b1 = 0.96300 * b1 + w * 0.2965164;
            b2 = 0.57000 * b2 + w * 1.0526913;
            const double pink = (b0 + b1 + b2 + w * 0.1848) * 0.25;
            double value = kNoiseAmp * pink;
            for (int k = 0; k < 3; ++k)
            {
                const double swell = 0.75 + 0.25 * std::sin(kTwoPi * swellHz * (k + 1) * t + ch);
                value += kToneAmp[k] * swell * std::sin(kTwoPi * kToneHz[k] * t + 0.7 * k * ch);
            }
            signal[ch][i] = static_cast<float>(value);
        }
    }
    return signal;
}

} // namespace kel
