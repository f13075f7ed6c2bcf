#include "CEventDetector.h"
#include "CTestSignal.h"
#include "CWaveformPicture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

using kel::CEventDetector;
using Kind = CEventDetector::EKind;

namespace
{

constexpr double kRate = 48000.0;
constexpr double kPi = 3.141592653589793;

using Signal = std::vector<std::vector<float>>;

// Mixes a signal into the output the way the effect does: out = x + (s - x) * gain * w, with w
// rising over 30 ms, holding, and falling over 30 ms. A null generator dips the level (s = 0).
template <typename Generator>
void insertEvent(Signal& out, const Signal& in, double startSec, double holdSec, double gain,
                 Generator source)
{
    const int64_t start = static_cast<int64_t>(startSec * kRate);
    const int64_t fade = static_cast<int64_t>(0.03 * kRate);
    const int64_t hold = static_cast<int64_t>(holdSec * kRate);
    for (int64_t n = 0; n < 2 * fade + hold; ++n)
    {
        const double w = n < fade          ? double(n) / fade
                         : n < fade + hold ? 1.0
                                           : double(2 * fade + hold - n) / fade;
        const double s = source(n);
        for (size_t ch = 0; ch < in.size(); ++ch)
        {
            const double x = in[ch][start + n];
            out[ch][start + n] = static_cast<float>(x + (s - x) * gain * w);
        }
    }
}

auto tone(double freqHz)
{
    return [freqHz](int64_t n) { return std::sin(2.0 * kPi * freqHz * n / kRate); };
}

auto lowPassNoise(double cornerHz)
{
    const double b = 2.0 - std::cos(2.0 * kPi * cornerHz / kRate);
    const double a = 1.0 + std::sqrt(b * b - 1.0) - b;
    auto engine = std::make_shared<std::mt19937>(7);
    auto y = std::make_shared<double>(0.0);
    return [=](int64_t)
    {
        const double x = std::uniform_real_distribution<double>(-1.0, 1.0)(*engine);
        *y += a * (x - *y);
        return *y;
    };
}

double silence(int64_t)
{
    return 0.0;
}

std::vector<CEventDetector::CEvent> detect(const Signal& in, const Signal& out)
{
    const float* pin[] = {in[0].data(), in[1].data()};
    const float* pout[] = {out[0].data(), out[1].data()};
    CEventDetector detector;
    detector.detect(pin, pout, 2, static_cast<int64_t>(in[0].size()), kRate);
    return detector.getEvents();
}

TEST(CEventDetector, FindsAndClassifiesBeepNoiseAndMuteOverMusic)
{
    const Signal in = kel::CTestSignal::generate(2, kRate, 10.0);
    Signal out = in;
    insertEvent(out, in, 1.5, 0.5, 0.25, tone(523.0));
    insertEvent(out, in, 4.0, 0.8, 0.5, lowPassNoise(440.0));
    insertEvent(out, in, 7.25, 0.3, 0.75, silence);

    const auto events = detect(in, out);
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0].kind, Kind::Beep);
    EXPECT_NEAR(events[0].startSec, 1.5, 0.002);
    EXPECT_NEAR(events[0].lengthSec, 0.56, 0.002);
    EXPECT_NEAR(events[0].freqHz, 523.0, 0.5);
    EXPECT_NEAR(events[0].levelDb, -12.04, 0.2);
    EXPECT_GT(events[0].tonality, 0.95);

    EXPECT_EQ(events[1].kind, Kind::Noise);
    EXPECT_NEAR(events[1].startSec, 4.0, 0.002);
    EXPECT_NEAR(events[1].lengthSec, 0.86, 0.002);
    // The mix factor of noise is only estimated: the noise correlates with music by chance.
    EXPECT_NEAR(events[1].levelDb, -6.02, 1.0);
    EXPECT_LT(events[1].tonality, 0.5);

    EXPECT_EQ(events[2].kind, Kind::Mute);
    EXPECT_NEAR(events[2].startSec, 7.25, 0.002);
    EXPECT_NEAR(events[2].lengthSec, 0.36, 0.002);
    EXPECT_NEAR(events[2].levelDb, -12.04, 0.05);

    EXPECT_EQ(CEventDetector::formatEvent(events[0], 1).substr(0, 29),
              "event 1: 1.500 s  Beep 0.560 ");
}

TEST(CEventDetector, TonesAtTheEndsOfTheRangeOverSilenceAreBeeps)
{
    const Signal in(2, std::vector<float>(static_cast<size_t>(3 * kRate), 0.0f));
    for (double freqHz : {55.0, 440.0, 2250.0})
    {
        Signal out = in;
        insertEvent(out, in, 1.0, 0.1, 0.5, tone(freqHz));
        const auto events = detect(in, out);
        ASSERT_EQ(events.size(), 1u) << freqHz;
        EXPECT_EQ(events[0].kind, Kind::Beep) << freqHz;
        EXPECT_NEAR(events[0].freqHz, freqHz, freqHz * 0.002);
        EXPECT_NEAR(events[0].levelDb, -6.02, 0.1);
    }
    // Low-passed noise with a low corner is smooth, but still not a tone.
    for (double cornerHz : {52.0, 2250.0})
    {
        Signal out = in;
        insertEvent(out, in, 1.0, 0.5, 1.0, lowPassNoise(cornerHz));
        const auto events = detect(in, out);
        ASSERT_EQ(events.size(), 1u) << cornerHz;
        EXPECT_EQ(events[0].kind, Kind::Noise) << cornerHz;
    }
}

TEST(CEventDetector, MergesShortGapsIgnoresRoundingAndSeparatesDistantStretches)
{
    const Signal in = kel::CTestSignal::generate(2, kRate, 4.0);
    Signal out = in;
    EXPECT_TRUE(detect(in, out).empty());

    for (size_t i = 0; i < out[0].size(); i += 3)
        out[1][i] = static_cast<float>(in[1][i] + 5e-8);
    EXPECT_TRUE(detect(in, out).empty());

    auto bump = [&](double fromSec, double toSec)
    {
        for (auto i = static_cast<size_t>(fromSec * kRate); i < toSec * kRate; ++i)
            out[0][i] = in[0][i] * 0.5f;
    };
    bump(1.0, 1.01);
    bump(1.03, 1.2); // 20 ms apart, within the edge left out of the classification: one event
    bump(2.5, 2.6);
    const auto events = detect(in, out);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_NEAR(events[0].lengthSec, 0.2, 0.001);
    EXPECT_EQ(events[0].kind, Kind::Mute);
    EXPECT_NEAR(events[1].startSec, 2.5, 0.001);
}

TEST(CWaveformPicture, MarksEventsInTheirKindsColourAndWritesAPng)
{
    const Signal signal(2, std::vector<float>(48000, 0.0f));
    CEventDetector::CEvent event = {};
    event.startSec = 0.5;
    event.lengthSec = 0.25;
    event.kind = Kind::Noise;
    kel::CWaveformPicture picture(200, 100);
    const float* channels[] = {signal[0].data(), signal[1].data()};
    picture.draw(channels, 2, 48000, 48000.0, {event});

    const int y = 30; // inside the first lane, away from its centre line
    EXPECT_EQ(picture.getPixel(20, y), 0xFFFFFFu);
    const uint32_t inside = picture.getPixel(110, y);
    EXPECT_NE(inside, 0xFFFFFFu);
    EXPECT_GT(inside & 0xFF, (inside >> 16) & 0xFF); // bluish for noise
    EXPECT_EQ(picture.getPixel(160, y), 0xFFFFFFu);

    const std::string path = testing::TempDir() + "waveform.png";
    std::unique_ptr<kel::CError> error(picture.writePng(path.c_str()));
    ASSERT_FALSE(error);
    unsigned char head[8] = {};
    FILE* file = std::fopen(path.c_str(), "rb");
    ASSERT_TRUE(file);
    EXPECT_EQ(std::fread(head, 1, 8, file), 8u);
    std::fclose(file);
    EXPECT_EQ(head[1], 'P');
    EXPECT_EQ(head[2], 'N');
    EXPECT_EQ(head[3], 'G');
    std::remove(path.c_str());
}

} // namespace
