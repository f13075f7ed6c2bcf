#include "CEventDetector.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kel
{

namespace
{
// The inserted events fade in and out over 30 ms; the middle is judged from a little further in.
constexpr double kEdgeSec = 0.035;
// Below this share of the difference's energy the rest counts as rounding: a pure level change.
constexpr double kMuteRestShare = 1e-4;

double toDb(double linear)
{
    return 20.0 * std::log10(std::max(linear, 1e-12));
}

// Normalised autocorrelation of r at `lag` (1 for a perfect repeat, -1 for a perfect inversion).
double correlation(const std::vector<double>& r, size_t lag)
{
    if (lag == 0 || lag >= r.size())
        return 0.0;
    double cross = 0.0;
    double head = 0.0;
    double tail = 0.0;
    for (size_t i = 0; i + lag < r.size(); ++i)
    {
        cross += r[i] * r[i + lag];
        head += r[i] * r[i];
        tail += r[i + lag] * r[i + lag];
    }
    return head > 0.0 && tail > 0.0 ? cross / std::sqrt(head * tail) : 0.0;
}
} // namespace

void CEventDetector::setThreshold(double value)
{
    threshold = value;
}

void CEventDetector::setMergeGapSec(double gapSec)
{
    mergeGapSec = gapSec;
}

void CEventDetector::detect(const float* const* inputs, const float* const* outputs, int channels,
                            int64_t frames, double rateHz)
{
    events.clear();
    const int64_t mergeGap = static_cast<int64_t>(std::llround(mergeGapSec * rateHz));
    int64_t start = -1;
    int64_t lastDiffering = -1;
    auto finish = [&]()
    {
        events.push_back(classify(inputs, outputs, channels, start, lastDiffering + 1, rateHz));
        start = -1;
    };
    for (int64_t i = 0; i < frames; ++i)
    {
        bool differs = false;
        for (int ch = 0; ch < channels && !differs; ++ch)
        {
            const double difference = std::fabs(double(outputs[ch][i]) - double(inputs[ch][i]));
            // A NaN is as different as it gets.
            differs = !(difference <= threshold);
        }
        if (!differs)
        {
            if (start >= 0 && i - lastDiffering > mergeGap)
                finish();
            continue;
        }
        if (start < 0)
            start = i;
        lastDiffering = i;
    }
    if (start >= 0)
        finish();
}

CEventDetector::CEvent CEventDetector::classify(const float* const* inputs,
                                                const float* const* outputs, int channels,
                                                int64_t start, int64_t end, double rateHz) const
{
    CEvent event = {};
    event.startFrame = start;
    event.frames = end - start;
    event.startSec = start / rateHz;
    event.lengthSec = event.frames / rateHz;

    const int64_t edge = static_cast<int64_t>(std::llround(kEdgeSec * rateHz));
    int64_t from = start;
    int64_t to = end;
    if (event.frames > 2 * edge + edge / 2)
    {
        from = start + edge;
        to = end - edge;
    }
    else if (event.frames >= 4)
    {
        from = start + event.frames / 4;
        to = end - event.frames / 4;
    }

    // Least squares of the difference d on the input x, channel by channel.
    const int64_t count = to - from;
    std::vector<double> alpha(channels, 0.0);
    std::vector<double> rest(channels, 0.0);
    std::vector<bool> hasInput(channels, false);
    double restSum = 0.0;
    double differenceSum = 0.0;
    int loudest = 0;
    double loudestEnergy = -1.0;
    for (int ch = 0; ch < channels; ++ch)
    {
        double xx = 0.0;
        double xd = 0.0;
        double dd = 0.0;
        for (int64_t i = from; i < to; ++i)
        {
            const double x = inputs[ch][i];
            const double d = double(outputs[ch][i]) - x;
            xx += x * x;
            xd += x * d;
            dd += d * d;
        }
        hasInput[ch] = xx > 1e-12 * static_cast<double>(count);
        alpha[ch] = hasInput[ch] ? xd / xx : 0.0;
        rest[ch] = std::max(0.0, dd - alpha[ch] * xd);
        restSum += rest[ch];
        differenceSum += dd;
        if (dd > loudestEnergy)
        {
            loudestEnergy = dd;
            loudest = ch;
        }
    }
    if (restSum <= kMuteRestShare * differenceSum)
    {
        event.kind = EKind::Mute;
        event.levelDb = toDb(std::fabs(1.0 + alpha[loudest]));
        return event;
    }

    // The rest of the channel that carries most of it is the inserted signal.
    int best = 0;
    for (int ch = 1; ch < channels; ++ch)
        if (rest[ch] > rest[best])
            best = ch;
    std::vector<double> r(static_cast<size_t>(count));
    double energy = 0.0;
    for (int64_t i = from; i < to; ++i)
    {
        const double x = inputs[best][i];
        const double value = double(outputs[best][i]) - x - alpha[best] * x;
        r[i - from] = value;
        energy += value * value;
    }
    const double meanSquare = count > 0 ? energy / count : 0.0;

    // Zero crossings, placed between samples by linear interpolation.
    int crossings = 0;
    double first = 0.0;
    double last = 0.0;
    for (size_t i = 1; i < r.size(); ++i)
    {
        if ((r[i - 1] < 0.0) == (r[i] < 0.0) || r[i - 1] == r[i])
            continue;
        const double at = double(i - 1) + r[i - 1] / (r[i - 1] - r[i]);
        if (crossings == 0)
            first = at;
        last = at;
        ++crossings;
    }
    double freqHz = 0.0;
    if (crossings >= 3 && last > first)
        freqHz = (crossings - 1) / (2.0 * (last - first)) * rateHz;

    double atPeriod = 0.0;
    double atHalf = 0.0;
    if (freqHz > 0.0)
    {
        const double period = rateHz / freqHz;
        atPeriod = correlation(r, static_cast<size_t>(std::lround(period)));
        atHalf = correlation(r, static_cast<size_t>(std::lround(period / 2.0)));
    }
    event.tonality = (atPeriod - atHalf) / 2.0;
    if (atPeriod > 0.9 && atHalf < -0.8)
    {
        event.kind = EKind::Beep;
        event.freqHz = freqHz;
        event.levelDb = 10.0 * std::log10(std::max(2.0 * meanSquare, 1e-24));
        return event;
    }
    event.kind = EKind::Noise;
    event.levelDb = hasInput[best] && alpha[best] < 0.0
                        ? toDb(-alpha[best])
                        : 10.0 * std::log10(std::max(meanSquare, 1e-24));
    return event;
}

const char* CEventDetector::kindName(EKind kind)
{
    switch (kind)
    {
    case EKind::Beep:
        return "Beep";
    case EKind::Noise:
        return "Noise";
    case EKind::Mute:
        return "Mute";
    }
    return "?";
}

std::string CEventDetector::formatEvent(const CEvent& event, int number)
{
    char line[160];
    if (event.kind == EKind::Beep)
        std::snprintf(line, sizeof(line), "event %d: %.3f s  %s %.3f s  %.0f Hz  %.1f dB", number,
                      event.startSec, kindName(event.kind), event.lengthSec, event.freqHz,
                      event.levelDb);
    else
        std::snprintf(line, sizeof(line), "event %d: %.3f s  %s %.3f s  %.1f dB", number,
                      event.startSec, kindName(event.kind), event.lengthSec, event.levelDb);
    return line;
}

} // namespace kel
