#include "Audio/Filters/CDCDAWDenormKernels.h"
#include "Audio/Filters/CDCDAWKernelFixture.h"

#include <cmath>

using kel::CDCDAWContext;
using kel::CDCDAWDenormKernels;

namespace
{

class CDCDAWDenormKernelsTest : public CDCDAWKernelFixture
{
protected:
    void SetUp() override
    {
        CDCDAWKernelFixture::SetUp();
        ASSERT_TRUE(CDCDAWDenormKernels::registerKernels(&context, ids));
    }
    int ids[CDCDAWDenormKernels::kCount] = {};
};

} // namespace

TEST_F(CDCDAWDenormKernelsTest, NoiseFollowsTheCongruentialSequenceBitTwentyThree)
{
    const kel::CDCDAWKernel* entry = context.getKernel(ids[CDCDAWDenormKernels::kDenormn]);
    ASSERT_NE(entry, nullptr);
    EXPECT_STREQ(entry->name, "com.kelmont.dcdaw.denormn");
    EXPECT_EQ(entry->bufferCount, 2);
    EXPECT_EQ(entry->accessFlags, 3u);
    EXPECT_EQ(entry->costFixed, 0);
    EXPECT_EQ(entry->costPerFrame, 15);

    const uint32_t seed = 0x89ABCDEFu;
    const uint32_t stateHandle = stateBuffer(sizeof(uint32_t));
    *state<uint32_t>(stateHandle) = seed;
    const int total = 1000;
    const uint32_t out = buffer(total);
    // Two runs, so the state word carries over.
    ASSERT_TRUE(context.run(ids[CDCDAWDenormKernels::kDenormn], 300, 0.0, out, stateHandle));
    ASSERT_TRUE(context.run(ids[CDCDAWDenormKernels::kDenormn], total - 300, 0.0,
                            CDCDAWContext::atFrame(out, 300), stateHandle));

    uint64_t s = seed;
    int ones = 0;
    const double* samples = context.doubles(out);
    for (int n = 0; n < total; ++n)
    {
        s = (s * 30013 + 30011) % (uint64_t(1) << 32);
        const int bit = static_cast<int>((s >> 23) & 1);
        ones += bit;
        ASSERT_EQ(samples[n], bit * 2e-11 - 1e-11) << "frame " << n;
    }
    EXPECT_EQ(*state<uint32_t>(stateHandle), static_cast<uint32_t>(s));
    // Both signs occur in fair measure.
    EXPECT_GT(ones, 400);
    EXPECT_LT(ones, 600);
}

TEST_F(CDCDAWDenormKernelsTest, SteadyFillIsTinyAndNotSubnormal)
{
    const uint32_t out = buffer(513);
    ASSERT_TRUE(context.run(ids[CDCDAWDenormKernels::kDenorm], 513, 0.0, out));
    for (double value : read(out, 513))
    {
        EXPECT_EQ(value, 1e-11);
        EXPECT_TRUE(std::isnormal(value));
    }
    // Registering again, as a second process would, answers the same ids.
    int again[CDCDAWDenormKernels::kCount];
    ASSERT_TRUE(CDCDAWDenormKernels::registerKernels(&context, again));
    EXPECT_EQ(again[0], ids[0]);
    EXPECT_EQ(again[1], ids[1]);
}
