#include "Audio/Filters/CDCDAWGeneratorKernels.h"
#include "Audio/Filters/CRanmar.h"
#include "Audio/Filters/CDCDAWKernelFixture.h"

#include <cmath>

using kel::CDCDAWContext;
using kel::CDCDAWGeneratorKernels;

namespace
{

constexpr double kPi = 3.14159265358979323846;

using Sine = CDCDAWGeneratorKernels::SineState;
using Noise = CDCDAWGeneratorKernels::NoiseState;

class CDCDAWGeneratorKernelsTest : public CDCDAWKernelFixture
{
protected:
    void SetUp() override
    {
        CDCDAWKernelFixture::SetUp();
        ASSERT_TRUE(CDCDAWGeneratorKernels::registerKernels(&context, ids));
    }

    uint32_t sineState(double freqHz, double amplitude, double rateHz)
    {
        const uint32_t handle = stateBuffer(sizeof(Sine));
        state<Sine>(handle)->freqHz = freqHz;
        state<Sine>(handle)->amplitude = amplitude;
        EXPECT_TRUE(context.run(ids[CDCDAWGeneratorKernels::kSinei], 1, rateHz, handle));
        return handle;
    }
    uint32_t noiseState(int32_t seed, double freqHz, double rateHz)
    {
        const uint32_t handle = stateBuffer(sizeof(Noise));
        state<Noise>(handle)->seed = seed;
        state<Noise>(handle)->amplitude = 1.0;
        state<Noise>(handle)->freqHz = freqHz;
        EXPECT_TRUE(context.run(ids[CDCDAWGeneratorKernels::kFltnoisei], 1, rateHz, handle));
        return handle;
    }
    // Runs `kernel` with [out, state] over `total` frames in blocks of `block`.
    std::vector<double> generate(int kernel, uint32_t stateHandle, int total, int block)
    {
        const uint32_t out = buffer(total);
        for (int done = 0; done < total; done += block)
        {
            const int n = std::min(block, total - done);
            EXPECT_TRUE(
                context.run(ids[kernel], n, 0.0, CDCDAWContext::atFrame(out, done), stateHandle));
        }
        return read(out, total);
    }

    int ids[CDCDAWGeneratorKernels::kCount] = {};
};

} // namespace

TEST_F(CDCDAWGeneratorKernelsTest, SineFollowsTheTrueSineFromPhaseZero)
{
    const double rate = 48000.0;
    for (double freq : {60.0, 440.0, 1999.0})
    {
        const uint32_t handle = sineState(freq, 1.0, rate);
        const Sine* s = state<Sine>(handle);
        const double w = 2.0 * kPi * freq / rate;
        EXPECT_EQ(s->y1, 0.0);
        EXPECT_EQ(s->y2, std::sin(-w));
        EXPECT_EQ(s->c, 2.0 * std::cos(w));
        const std::vector<double> out = generate(CDCDAWGeneratorKernels::kSine, handle, 4096, 512);
        for (int n = 0; n < 4096; ++n)
            ASSERT_NEAR(out[n], std::sin(2.0 * kPi * freq * n / rate), 1e-9)
                << freq << " Hz, frame " << n;
    }
    // The amplitude scales the whole wave.
    const std::vector<double> half =
        generate(CDCDAWGeneratorKernels::kSine, sineState(1000.0, 0.5, 44100.0), 100, 100);
    EXPECT_NEAR(half[11], 0.5 * std::sin(2.0 * kPi * 1000.0 * 11 / 44100.0), 1e-12);
}

TEST_F(CDCDAWGeneratorKernelsTest, NoiseFollowsItsSeededGeneratorThroughTheOnePole)
{
    const double rate = 44100.0;
    const double freq = 700.0;
    // seed = 5 * 31329 + 7: ij = 7, kl = 5.
    const uint32_t handle = noiseState(5 * 31329 + 7, freq, rate);
    const Noise* s = state<Noise>(handle);
    const double w = 2.0 * kPi * freq / rate;
    const double b = 2.0 - std::cos(w);
    EXPECT_EQ(s->a, 1.0 + std::sqrt(b * b - 1.0) - b);
    EXPECT_EQ(s->amplitude, 2.0);
    EXPECT_EQ(s->y, 0.0);

    kel::CRanmar reference;
    reference.seed(7, 5);
    const std::vector<double> out = generate(CDCDAWGeneratorKernels::kFltnoise, handle, 3000, 7);
    double y = 0.0;
    for (int n = 0; n < 3000; ++n)
    {
        const double x = (reference.next() - 0.5) * 2.0;
        y += (x - y) * s->a;
        ASSERT_EQ(out[n], y) << "frame " << n;
    }
}

TEST_F(CDCDAWGeneratorKernelsTest, NoiseSeedOutsideTheRangesFallsBackToTheDefaultPair)
{
    kel::CRanmar fallback;
    fallback.seed(1802, 9373);
    for (int32_t seed : {-1, -123456789})
    {
        const uint32_t handle = noiseState(seed, 500.0, 48000.0);
        const kel::CRanmar& generator = state<Noise>(handle)->generator;
        for (int n = 0; n < kel::CRanmar::kWords; ++n)
            ASSERT_EQ(generator.u[n], fallback.u[n]) << "seed " << seed;
    }
    // The largest seed still lies inside: kl = 68549 mod 30082.
    const uint32_t top = noiseState(INT32_MAX, 500.0, 48000.0);
    kel::CRanmar expected;
    expected.seed(INT32_MAX % 31329, (INT32_MAX / 31329) % 30082);
    EXPECT_EQ(state<Noise>(top)->generator.u[0], expected.u[0]);
    EXPECT_EQ(state<Noise>(top)->generator.u[96], expected.u[96]);
}

TEST_F(CDCDAWGeneratorKernelsTest, NoiseStaysInRangeWithTheVarianceOfItsCorner)
{
    const double rate = 48000.0;
    for (double freq : {500.0, 2000.0})
    {
        const uint32_t handle = noiseState(4711, freq, rate);
        const double a = state<Noise>(handle)->a;
        // The coefficient puts the one-pole's -3 dB point at the corner.
        const double w = 2.0 * kPi * freq / rate;
        const double power = a * a / (1.0 - 2.0 * (1.0 - a) * std::cos(w) + (1.0 - a) * (1.0 - a));
        EXPECT_NEAR(power, 0.5, 1e-9);

        const int total = 100000;
        const std::vector<double> out =
            generate(CDCDAWGeneratorKernels::kFltnoise, handle, total, 512);
        double sum = 0.0;
        double squares = 0.0;
        for (double value : out)
        {
            ASSERT_LT(std::fabs(value), 1.0);
            sum += value;
            squares += value * value;
        }
        // White noise of variance 1/3 through y += a (x - y) has variance (1/3) a / (2 - a).
        const double mean = sum / total;
        const double variance = squares / total - mean * mean;
        EXPECT_NEAR(variance / ((1.0 / 3.0) * a / (2.0 - a)), 1.0, 0.06) << freq << " Hz";
        EXPECT_NEAR(mean, 0.0, 0.02);
    }
}

TEST_F(CDCDAWGeneratorKernelsTest, GeneratorsInAwkwardBlocksEqualOneRun)
{
    const int total = 4096;
    const std::vector<double> sine =
        generate(CDCDAWGeneratorKernels::kSine, sineState(440.0, 1.0, 48000.0), total, total);
    const std::vector<double> noise =
        generate(CDCDAWGeneratorKernels::kFltnoise, noiseState(99, 440.0, 48000.0), total, total);
    for (int block : {1, 7, 511, 512, 513})
    {
        EXPECT_EQ(
            generate(CDCDAWGeneratorKernels::kSine, sineState(440.0, 1.0, 48000.0), total, block),
            sine)
            << block;
        EXPECT_EQ(generate(CDCDAWGeneratorKernels::kFltnoise, noiseState(99, 440.0, 48000.0), total,
                           block),
                  noise)
            << block;
    }
}
