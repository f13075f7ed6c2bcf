#include "Audio/Filters/CDCDAWBiquadKernels.h"
#include "Audio/Filters/CDCDAWEqKernels.h"
#include "Audio/Filters/CDCDAWHalfBandKernels.h"
#include "Audio/Filters/CDCDAWOnePoleKernels.h"
#include "Audio/Filters/CDCDAWKernelFixture.h"

#include <cmath>
#include <random>
#include <string>

using kel::CDCDAWBiquadKernels;
using kel::CDCDAWContext;
using kel::CDCDAWEqKernels;
using kel::CDCDAWHalfBandKernels;
using kel::CDCDAWOnePoleKernels;

namespace
{

constexpr double kPi = 3.14159265358979323846;
constexpr double kRate = 48000.0;

std::vector<double> sineWave(double freqHz, int frames)
{
    std::vector<double> wave(frames);
    for (int n = 0; n < frames; ++n)
        wave[n] = std::sin(2.0 * kPi * freqHz * n / kRate);
    return wave;
}

std::vector<double> constant(double value, int frames)
{
    return std::vector<double>(frames, value);
}

std::vector<double> nyquist(int frames)
{
    std::vector<double> wave(frames);
    for (int n = 0; n < frames; ++n)
        wave[n] = (n & 1) ? -1.0 : 1.0;
    return wave;
}

std::vector<double> impulse(int frames)
{
    std::vector<double> wave(frames, 0.0);
    wave[0] = 1.0;
    return wave;
}

// Amplitude of the component at freqHz over the last `span` samples (whole periods).
double amplitudeAt(const std::vector<double>& signal, double freqHz, int span)
{
    double inPhase = 0.0;
    double quadrature = 0.0;
    const int start = static_cast<int>(signal.size()) - span;
    for (int n = start; n < static_cast<int>(signal.size()); ++n)
    {
        inPhase += signal[n] * std::sin(2.0 * kPi * freqHz * n / kRate);
        quadrature += signal[n] * std::cos(2.0 * kPi * freqHz * n / kRate);
    }
    return 2.0 * std::sqrt(inPhase * inPhase + quadrature * quadrature) / span;
}

double energy(const std::vector<double>& signal)
{
    double sum = 0.0;
    for (double value : signal)
        sum += value * value;
    return sum;
}

class CDCDAWFilterKernelsTest : public CDCDAWKernelFixture
{
protected:
    // Runs a filter kernel [out, state, a] over `input` in blocks of `block`.
    std::vector<double> filter(const char* kernel, uint32_t stateHandle,
                               const std::vector<double>& input, int block = 512)
    {
        const int total = static_cast<int>(input.size());
        const uint32_t in = filled(input);
        const uint32_t out = buffer(total);
        for (int done = 0; done < total; done += block)
        {
            const int n = std::min(block, total - done);
            EXPECT_TRUE(context.run(id(kernel), n, kRate, CDCDAWContext::atFrame(out, done),
                                    stateHandle, CDCDAWContext::atFrame(in, done)))
                << kernel;
        }
        return read(out, total);
    }

    uint32_t biquad(int type, double freqHz, double q, double gainLin = 1.0)
    {
        const uint32_t handle = stateBuffer(sizeof(CDCDAWBiquadKernels::BiquadState));
        auto* s = state<CDCDAWBiquadKernels::BiquadState>(handle);
        s->freqHz = freqHz;
        s->q = q;
        s->gainLin = gainLin;
        s->type = type;
        EXPECT_TRUE(context.run(id("fltbiqi"), 1, kRate, handle));
        return handle;
    }

    uint32_t onePole(double freqHz, double gainLin = 1.0)
    {
        const uint32_t handle = stateBuffer(sizeof(CDCDAWOnePoleKernels::OnePoleState));
        auto* s = state<CDCDAWOnePoleKernels::OnePoleState>(handle);
        s->freqHz = freqHz;
        s->gainLin = gainLin;
        EXPECT_TRUE(context.run(id("fltlphp1i"), 1, kRate, handle));
        return handle;
    }
};

} // namespace

TEST_F(CDCDAWFilterKernelsTest, BiquadResponsesPassAndStopWhereTheirNamesSay)
{
    const int n = 9600;
    const double q = 0.7071;
    // Low-pass: DC at unity, Nyquist gone; high-pass the reverse.
    EXPECT_NEAR(filter("fltbiqlp", biquad(0, 1000, q), constant(1, n)).back(), 1.0, 1e-9);
    EXPECT_NEAR(filter("fltbiqlp", biquad(0, 1000, q), nyquist(n)).back(), 0.0, 1e-9);
    EXPECT_NEAR(filter("fltbiqhp", biquad(0, 1000, q), constant(1, n)).back(), 0.0, 1e-9);
    EXPECT_NEAR(std::fabs(filter("fltbiqhp", biquad(0, 1000, q), nyquist(n)).back()), 1.0, 1e-9);
    // Band-pass: unity at the centre, little a decade away; the notch the reverse.
    EXPECT_NEAR(amplitudeAt(filter("fltbiqbp", biquad(0, 1000, 2), sineWave(1000, n)), 1000, 4800),
                1.0, 1e-3);
    EXPECT_LT(amplitudeAt(filter("fltbiqbp", biquad(0, 1000, 2), sineWave(100, n)), 100, 4800),
              0.1);
    EXPECT_LT(amplitudeAt(filter("fltbiqnotch", biquad(0, 1000, 2), sineWave(1000, n)), 1000, 4800),
              1e-3);
    EXPECT_NEAR(amplitudeAt(filter("fltbiqnotch", biquad(0, 1000, 2), sineWave(100, n)), 100, 4800),
                1.0, 0.01);
    // Low-pass at its corner with q = 1/sqrt(2): -3 dB.
    EXPECT_NEAR(amplitudeAt(filter("fltbiqlp", biquad(0, 1000, q), sineWave(1000, n)), 1000, 4800),
                std::sqrt(0.5), 1e-3);
}

TEST_F(CDCDAWFilterKernelsTest, BiquadCommonUpdateAndGainAgreeWithTheResponseKernels)
{
    std::mt19937 random(5);
    std::uniform_real_distribution<double> spread(-1.0, 1.0);
    std::vector<double> noise(3000);
    for (double& value : noise)
        value = spread(random);

    const std::vector<double> response = filter("fltbiqhp", biquad(0, 300, 0.9), noise);
    // The set-up designed the high-pass from the state's type; common runs it as stored.
    EXPECT_EQ(filter("fltbiqcommon", biquad(CDCDAWBiquadKernels::kHighPass, 300, 0.9), noise),
              response);
    const std::vector<double> louder =
        filter("fltbiqcommong", biquad(CDCDAWBiquadKernels::kHighPass, 300, 0.9, 0.25), noise);
    for (size_t n = 0; n < noise.size(); ++n)
        ASSERT_EQ(louder[n], response[n] * 0.25);

    // An update between blocks keeps the history: the output runs on as if uninterrupted.
    const uint32_t handle = biquad(CDCDAWBiquadKernels::kHighPass, 300, 0.9);
    std::vector<double> pieces =
        filter("fltbiqcommon", handle, std::vector<double>(noise.begin(), noise.begin() + 1000));
    ASSERT_TRUE(context.run(id("fltbiqu"), 1, kRate, handle));
    const std::vector<double> rest =
        filter("fltbiqcommon", handle, std::vector<double>(noise.begin() + 1000, noise.end()));
    pieces.insert(pieces.end(), rest.begin(), rest.end());
    EXPECT_EQ(pieces, response);
}

TEST_F(CDCDAWFilterKernelsTest, OnePoleDesignsAreComplementaryWithUnityAtTheirEnds)
{
    const int n = 9600;
    for (const char* letter : {"a", "b", "c", "d"})
    {
        const std::string lp = std::string("fltlp1") + letter;
        const std::string hp = std::string("flthp1") + letter;
        EXPECT_NEAR(filter(lp.c_str(), onePole(1000), constant(1, n)).back(), 1.0, 1e-9) << lp;
        EXPECT_NEAR(filter(hp.c_str(), onePole(1000), constant(1, n)).back(), 0.0, 1e-9) << hp;
        EXPECT_LT(std::fabs(filter(lp.c_str(), onePole(1000), nyquist(n)).back()), 0.1) << lp;
        EXPECT_GT(std::fabs(filter(hp.c_str(), onePole(1000), nyquist(n)).back()), 0.9) << hp;

        const std::vector<double> wave = sineWave(440, 2000);
        const std::vector<double> low = filter(lp.c_str(), onePole(800), wave, 7);
        const std::vector<double> high = filter(hp.c_str(), onePole(800), wave, 7);
        for (int i = 0; i < 2000; ++i)
            ASSERT_NEAR(low[i] + high[i], wave[i], 1e-15) << letter;

        const std::vector<double> scaled =
            filter((lp + "g").c_str(), onePole(800, -2.0), wave, 512);
        for (int i = 0; i < 2000; ++i)
            ASSERT_EQ(scaled[i], low[i] * -2.0) << letter;
    }
    // The cosine and bilinear designs put -3 dB exactly at the corner.
    for (const char* kernel : {"fltlp1b", "fltlp1c"})
        EXPECT_NEAR(amplitudeAt(filter(kernel, onePole(1000), sineWave(1000, n)), 1000, 4800),
                    std::sqrt(0.5), 1e-3)
            << kernel;
}

TEST_F(CDCDAWFilterKernelsTest, HalfBandChainsKeepMagnitudeOne)
{
    std::mt19937 random(17);
    std::uniform_real_distribution<double> spread(-0.9, 0.9);
    for (int order = 2; order <= 16; order += 2)
    {
        const uint32_t handle =
            stateBuffer(CDCDAWHalfBandKernels::stateDoubles(order) * sizeof(double));
        double* s = context.doubles(handle);
        s[CDCDAWHalfBandKernels::gainIndex()] = 0.5;
        for (int section = 0; section < order; ++section)
            s[CDCDAWHalfBandKernels::coefIndex(section)] = spread(random);
        const std::string name = "flthbf" + std::to_string(order);
        ASSERT_TRUE(context.run(id((name + "i").c_str()), 1, 0.0, handle));

        // An allpass keeps the energy of an impulse and the amplitude of a sine.
        const std::vector<double> response = filter(name.c_str(), handle, impulse(40000));
        EXPECT_NEAR(energy(response), 1.0, 1e-6) << name;
        EXPECT_NEAR(amplitudeAt(filter(name.c_str(), handle, sineWave(3000, 9600)), 3000, 4800),
                    1.0, 1e-6)
            << name;

        // The set-up clears the history; the gain variant scales.
        ASSERT_TRUE(context.run(id((name + "i").c_str()), 1, 0.0, handle));
        const std::vector<double> scaled = filter((name + "g").c_str(), handle, impulse(500), 7);
        for (int i = 0; i < 500; ++i)
            ASSERT_EQ(scaled[i], response[i] * 0.5) << name << " frame " << i;
    }
    // The update pulls coefficients back inside the stable range.
    const uint32_t handle = stateBuffer(CDCDAWHalfBandKernels::stateDoubles(2) * sizeof(double));
    double* s = context.doubles(handle);
    s[CDCDAWHalfBandKernels::coefIndex(0)] = 1.5;
    s[CDCDAWHalfBandKernels::coefIndex(1)] = -3.0;
    ASSERT_TRUE(context.run(id("flthbf2u"), 1, 0.0, handle));
    EXPECT_LT(s[CDCDAWHalfBandKernels::coefIndex(0)], 1.0);
    EXPECT_GT(s[CDCDAWHalfBandKernels::coefIndex(1)], -1.0);
}

TEST_F(CDCDAWFilterKernelsTest, ShelfAndAllpassEqualisersMeetTheirEndPoints)
{
    const int n = 9600;
    auto shelf = [&](double gainLin)
    {
        const uint32_t handle = stateBuffer(sizeof(CDCDAWEqKernels::ShelfState));
        state<CDCDAWEqKernels::ShelfState>(handle)->freqHz = 2000.0;
        state<CDCDAWEqKernels::ShelfState>(handle)->shelfGainLin = gainLin;
        EXPECT_TRUE(context.run(id("fltheqi"), 1, kRate, handle));
        return handle;
    };
    EXPECT_NEAR(filter("fltheq", shelf(4.0), constant(1, n)).back(), 1.0, 1e-9);
    EXPECT_NEAR(std::fabs(filter("fltheq", shelf(4.0), nyquist(n)).back()), 4.0, 1e-9);
    EXPECT_NEAR(std::fabs(filter("fltheq", shelf(0.25), nyquist(n)).back()), 0.25, 1e-9);

    const uint32_t phaser = stateBuffer(sizeof(CDCDAWEqKernels::AllpassState));
    state<CDCDAWEqKernels::AllpassState>(phaser)->freqHz = 1000.0;
    state<CDCDAWEqKernels::AllpassState>(phaser)->gainLin = 1.0;
    ASSERT_TRUE(context.run(id("fltapf1_6i"), 1, kRate, phaser));
    EXPECT_NEAR(energy(filter("fltapf1_6", phaser, impulse(40000))), 1.0, 1e-6);
    // Six quarter turns at the break frequency: the sine comes out inverted.
    ASSERT_TRUE(context.run(id("fltapf1_6i"), 1, kRate, phaser));
    const std::vector<double> wave = sineWave(1000, n);
    const std::vector<double> shifted = filter("fltapf1_6", phaser, wave);
    for (int i = n - 480; i < n; ++i)
        ASSERT_NEAR(shifted[i], -wave[i], 1e-6);
}
