#include "CSoakSignal.h"

#include <cmath>

namespace kel
{

void CSoakSignal::reset(int channelCount, double rateHz, uint32_t seed)
{
    constexpr double kPi = 3.141592653589793;
    channels.assign(channelCount > 0 ? channelCount : 0, CChannel());
    for (int ch = 0; ch < channelCount; ++ch)
    {
        // Pitches that share no short period, so that the channels never line up.
        const double freqHz = 220.0 + 97.0 * ch;
        const double w = 2.0 * kPi * freqHz / rateHz;
        channels[ch].stepRe = std::cos(w);
        channels[ch].stepIm = std::sin(w);
    }
    // xorshift must not start from zero.
    noiseState = seed ? seed : 0x9E3779B9u;
}

void CSoakSignal::generate(double* const* out, int frames)
{
    for (size_t ch = 0; ch < channels.size(); ++ch)
    {
        CChannel& osc = channels[ch];
        double* to = out[ch];
        for (int i = 0; i < frames; ++i)
        {
            noiseState ^= noiseState << 13;
            noiseState ^= noiseState >> 17;
            noiseState ^= noiseState << 5;
            const double noise = noiseState * (2.0 / 4294967296.0) - 1.0;
            to[i] = kSineLin * osc.im + kNoiseLin * noise;
            const double re = osc.re * osc.stepRe - osc.im * osc.stepIm;
            osc.im = osc.re * osc.stepIm + osc.im * osc.stepRe;
            osc.re = re;
        }
        // The rotation drifts off the unit circle by rounding; pull it back once a block.
        const double norm = 1.0 / std::sqrt(osc.re * osc.re + osc.im * osc.im);
        osc.re *= norm;
        osc.im *= norm;
    }
}

} // namespace kel
