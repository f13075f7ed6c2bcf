// A host with a flat automation lane resends the current value before every block. That is no
// change: the inserted events must be exactly those of a run without it.
#include "Audio/VST/CAudioWrapperVST.h"
#include "Core/CGlobalData.h"
#include "Core/CSeedCounter.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "CWrapperEntry.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace kel
{

namespace
{

constexpr float kRateHz = 48000.0f;
constexpr int kBlock = 512;
constexpr int kSeconds = 100;
constexpr uint32_t kSeed = 424242;

// One instance rendering 100 s of noise; resend names the host parameter resent before every
// block (-1: none). Answers both channels of the output.
std::vector<float> render(int resend, std::vector<float>* inputOut = nullptr)
{
    CVstHost host;
    CHostedPlugin plugin(host);
    CGlobalData::get().useFolders(CString(), CString());
    // The same seeds for every run: the schedules can only differ by the resending.
    CSeedCounter::restartAt(kSeed);
    EXPECT_EQ(test::CErrorText::takeChain(plugin.attach(&CWrapperEntry::make<2>, "stereo")), "");
    AEffect* effect = plugin.getEffect();
    if (!effect)
        return {};
    // A shorter period than the default, so that 100 s hold a good number of events.
    effect->setParameter(effect, 1, 0.15f);
    plugin.open();
    plugin.start(kRateHz, kBlock);
    std::vector<float> in(2 * kBlock);
    std::vector<float> out(2 * kBlock);
    std::vector<float> all;
    all.reserve(static_cast<size_t>(kRateHz) * kSeconds * 2);
    uint32_t noise = 12345;
    float pink = 0.0f;
    const int blocks = static_cast<int>(kRateHz) * kSeconds / kBlock;
    for (int b = 0; b < blocks; ++b)
    {
        for (float& sample : in)
        {
            noise = noise * 1664525u + 1013904223u;
            const float white = static_cast<float>(noise >> 8) / 16777216.0f - 0.5f;
            pink = 0.97f * pink + 0.03f * white;
            sample = pink * 4.0f;
        }
        if (resend >= 0)
            effect->setParameter(effect, resend, effect->getParameter(effect, resend));
        float* ins[] = {in.data(), in.data() + kBlock};
        float* outs[] = {out.data(), out.data() + kBlock};
        effect->processReplacing(effect, ins, outs, kBlock);
        all.insert(all.end(), out.begin(), out.end());
        if (inputOut)
            inputOut->insert(inputOut->end(), in.begin(), in.end());
    }
    plugin.close();
    return all;
}

} // namespace

TEST(CAudioWrapperVSTResendTest, ResendingTheCurrentValueBeforeEveryBlockChangesNothing)
{
    std::vector<float> input;
    const std::vector<float> plain = render(-1, &input);
    ASSERT_FALSE(plain.empty());
    // The plain run has events to lose: its output leaves the input in a good many places.
    size_t altered = 0;
    for (size_t i = 0; i < plain.size(); ++i)
        altered += plain[i] != input[i] ? 1 : 0;
    EXPECT_GT(altered, plain.size() / 50);
    const std::vector<float> again = render(-1);
    ASSERT_EQ(plain, again) << "two runs with the same seeds must agree";

    // Period, duration, frequency, gain, variation: each resent alone.
    for (int index = 1; index <= 5; ++index)
    {
        const std::vector<float> resent = render(index);
        ASSERT_EQ(resent.size(), plain.size());
        size_t firstDifference = resent.size();
        for (size_t i = 0; i < resent.size(); ++i)
        {
            if (resent[i] != plain[i])
            {
                firstDifference = i;
                break;
            }
        }
        EXPECT_EQ(firstDifference, resent.size())
            << "parameter " << index << " resent: output differs from "
            << firstDifference / 2 / kBlock * kBlock / kRateHz << " s on";
    }
}

} // namespace kel
