#include "Audio/Filters/CDCDAWArithmeticKernels.h"
#include "Audio/Filters/CDCDAWKernelFixture.h"

#include <cmath>
#include <functional>
#include <random>

using kel::CDCDAWArithmeticKernels;
using kel::CDCDAWContext;

namespace
{

constexpr double kPi = 3.14159265358979323846;

// out is the buffer's value before the run (for the in-place kernels), in[] the operands.
using Formula = std::function<double(double out, const double* in, double k)>;

struct Case
{
    const char* name;
    int operands; // buffers after out
    Formula formula;
};

std::vector<double> randomSamples(std::mt19937& random, int frames)
{
    std::uniform_real_distribution<double> spread(-2.0, 2.0);
    std::vector<double> values(frames);
    for (double& value : values)
        value = spread(random);
    return values;
}

class CDCDAWArithmeticKernelsTest : public CDCDAWKernelFixture
{
};

} // namespace

TEST_F(CDCDAWArithmeticKernelsTest, EachKernelComputesItsFormulaOnEveryFrame)
{
    const Case cases[] = {
        {"copy", 1, [](double, const double* in, double) { return in[0]; }},
        {"addc", 1, [](double, const double* in, double k) { return in[0] + k; }},
        {"addcid", 0, [](double out, const double*, double k) { return out + k; }},
        {"add2", 2, [](double, const double* in, double) { return in[0] + in[1]; }},
        {"add2i", 1, [](double out, const double* in, double) { return out + in[0]; }},
        {"add3", 3, [](double, const double* in, double) { return in[0] + in[1] + in[2]; }},
        {"add4", 4, [](double, const double* in, double) { return in[0] + in[1] + in[2] + in[3]; }},
        {"sub2", 2, [](double, const double* in, double) { return in[0] - in[1]; }},
        {"max2", 2, [](double, const double* in, double) { return std::max(in[0], in[1]); }},
        {"max2i", 1, [](double out, const double* in, double) { return std::max(out, in[0]); }},
        {"max3", 3,
         [](double, const double* in, double) {
             return std::max({in[0], in[1], in[2]});
         }},
        {"max4", 4,
         [](double, const double* in, double) {
             return std::max({in[0], in[1], in[2], in[3]});
         }},
        {"min2", 2, [](double, const double* in, double) { return std::min(in[0], in[1]); }},
        {"min3", 3,
         [](double, const double* in, double) {
             return std::min({in[0], in[1], in[2]});
         }},
        {"min4", 4,
         [](double, const double* in, double) {
             return std::min({in[0], in[1], in[2], in[3]});
         }},
        {"mix", 2, [](double, const double* in, double k) { return in[1] + (in[0] - in[1]) * k; }},
        {"mix2", 3,
         [](double, const double* in, double) { return in[1] + (in[0] - in[1]) * in[2]; }},
        {"mixb", 2, [](double, const double* in, double k) { return in[0] + in[1] * k; }},
        {"mixbc", 1, [](double out, const double* in, double k) { return out + in[0] * k; }},
        {"add2mul", 2, [](double, const double* in, double k) { return (in[0] + in[1]) * k; }},
        {"add3mul", 3,
         [](double, const double* in, double k) { return (in[0] + in[1] + in[2]) * k; }},
        {"mulc", 1, [](double, const double* in, double k) { return in[0] * k; }},
        {"mulci", 0, [](double out, const double*, double k) { return out * k; }},
        {"mul2", 2, [](double, const double* in, double) { return in[0] * in[1]; }},
        {"mul2i", 1, [](double out, const double* in, double) { return out * in[0]; }},
        {"mul2addi", 2, [](double out, const double* in, double) { return out + in[0] * in[1]; }},
        {"abs", 1, [](double, const double* in, double) { return std::fabs(in[0]); }},
        {"sqrt", 1,
         [](double, const double* in, double) { return in[0] > 0.0 ? std::sqrt(in[0]) : 0.0; }},
        {"fill0", 0, [](double, const double*, double) { return 0.0; }},
        {"fillc", 0, [](double, const double*, double k) { return k; }},
    };
    std::mt19937 random(1234);
    const double k = -0.3125;
    for (const Case& test : cases)
    {
        for (int frames : {1, 7, 513})
        {
            const std::vector<double> before = randomSamples(random, frames);
            std::vector<std::vector<double>> operands;
            uint32_t handles[5];
            handles[0] = filled(before);
            for (int n = 0; n < test.operands; ++n)
            {
                operands.push_back(randomSamples(random, frames));
                handles[n + 1] = filled(operands.back());
            }
            ASSERT_TRUE(context.run(id(test.name), frames, k, handles, 1 + test.operands))
                << test.name;
            const double* out = context.doubles(handles[0]);
            for (int i = 0; i < frames; ++i)
            {
                double in[4] = {};
                for (int n = 0; n < test.operands; ++n)
                    in[n] = operands[n][i];
                ASSERT_EQ(out[i], test.formula(before[i], in, k))
                    << test.name << " frame " << i << " of " << frames;
            }
        }
    }
}

TEST_F(CDCDAWArithmeticKernelsTest, FilldSpreadsTheHeldValueAndCopyAllowsOverlap)
{
    const uint32_t out = buffer(9);
    const uint32_t held = filled({0.75, 99.0});
    ASSERT_TRUE(context.run(id("filld"), 9, 0.0, out, held));
    for (double value : read(out, 9))
        EXPECT_EQ(value, 0.75);

    // Shifting a buffer by one frame within itself, through two views of one record.
    const uint32_t ramp = filled({0, 1, 2, 3, 4, 5});
    ASSERT_TRUE(context.run(id("copy"), 5, 0.0, CDCDAWContext::atFrame(ramp, 1), ramp));
    EXPECT_EQ(read(ramp, 6), (std::vector<double>{0, 0, 1, 2, 3, 4}));
}

TEST_F(CDCDAWArithmeticKernelsTest, CrossfadeFollowsTheRaisedCosineFromBToAAndBack)
{
    const int length = 1440;
    for (double k : {0.0, 0.5})
    {
        const uint32_t state = stateBuffer(sizeof(CDCDAWArithmeticKernels::XfadeState));
        ASSERT_TRUE(context.run(id("xfadei"), length, k, state));
        auto* s = this->state<CDCDAWArithmeticKernels::XfadeState>(state);
        const double w = kPi / length;
        const double t = kPi * (0.5 + 2.0 * k);
        EXPECT_EQ(s->s1, 0.5 * std::sin(t));
        EXPECT_EQ(s->s2, 0.5 * std::sin(t - w));
        EXPECT_EQ(s->m, 2.0 * std::cos(w));

        // a = 1 and b = 0 read off a's gain; a = 3 and b = 5 check that the gains sum to one.
        const uint32_t ones = filled(std::vector<double>(length + 1, 1.0));
        const uint32_t zeros = buffer(length + 1);
        const uint32_t threes = filled(std::vector<double>(length + 1, 3.0));
        const uint32_t fives = filled(std::vector<double>(length + 1, 5.0));
        const uint32_t gainOfA = buffer(length + 1);
        const uint32_t mixed = buffer(length + 1);
        const uint32_t stateCopy = stateBuffer(sizeof(CDCDAWArithmeticKernels::XfadeState));
        *this->state<CDCDAWArithmeticKernels::XfadeState>(stateCopy) = *s;
        ASSERT_TRUE(context.run(id("xfade"), length + 1, 0.0, gainOfA, state, ones, zeros));
        ASSERT_TRUE(context.run(id("xfade"), length + 1, 0.0, mixed, stateCopy, threes, fives));
        const double* gain = context.doubles(gainOfA);
        const double* sum = context.doubles(mixed);
        for (int n = 0; n <= length; ++n)
        {
            // k = 0 rises from b to a, k = 0.5 falls from a to b.
            const double rising = 0.5 - 0.5 * std::cos(kPi * n / length);
            const double expected = k == 0.0 ? rising : 1.0 - rising;
            ASSERT_NEAR(gain[n], expected, 1e-10) << "k " << k << " frame " << n;
            ASSERT_NEAR(sum[n], 3.0 * gain[n] + 5.0 * (1.0 - gain[n]), 1e-10);
        }
    }
}

TEST_F(CDCDAWArithmeticKernelsTest, CrossfadeInAwkwardBlocksEqualsOneRun)
{
    const int total = 4096;
    std::mt19937 random(99);
    const uint32_t a = filled(randomSamples(random, total));
    const uint32_t b = filled(randomSamples(random, total));
    const uint32_t whole = buffer(total);
    const uint32_t wholeState = stateBuffer(sizeof(CDCDAWArithmeticKernels::XfadeState));
    ASSERT_TRUE(context.run(id("xfadei"), 3000, 0.5, wholeState));
    ASSERT_TRUE(context.run(id("xfade"), total, 0.0, whole, wholeState, a, b));

    for (int block : {1, 7, 511, 512, 513})
    {
        const uint32_t pieces = buffer(total);
        const uint32_t state = stateBuffer(sizeof(CDCDAWArithmeticKernels::XfadeState));
        ASSERT_TRUE(context.run(id("xfadei"), 3000, 0.5, state));
        for (int done = 0; done < total; done += block)
        {
            const int n = std::min(block, total - done);
            ASSERT_TRUE(context.run(id("xfade"), n, 0.0, CDCDAWContext::atFrame(pieces, done),
                                    state, CDCDAWContext::atFrame(a, done),
                                    CDCDAWContext::atFrame(b, done)));
        }
        EXPECT_EQ(read(pieces, total), read(whole, total)) << "block " << block;
    }
}
