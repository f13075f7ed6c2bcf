#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kel
{

// Finds what an inserting effect put into a signal by comparing its output with its input.
// An event is a stretch where the two differ by more than a threshold, with short gaps
// (the zero crossings of the difference) merged. Its middle, clear of the fades, is then
// explained as out = in + a * in + r: an event whose rest r is negligible is a level dip
// (Mute, out = (1 + a) * in); one whose rest is a steady tone is a Beep, with the tone's
// frequency from interpolated zero crossings and its tonality from the autocorrelation at one
// period and at half a period; anything else is Noise. Owned by whoever runs it. [any thread]
class CEventDetector
{
public:
    enum class EKind
    {
        Beep,
        Noise,
        Mute
    };

    struct CEvent
    {
        int64_t startFrame;
        int64_t frames;
        double startSec;
        double lengthSec;
        EKind kind;
        // Beep: the tone's frequency; else 0.
        double freqHz;
        // Beep: the tone's amplitude; Noise: the mix factor of the inserted signal (its rms
        // when the input is silent); Mute: the level the audio dips to. In dB.
        double levelDb;
        // 1 for a pure tone, 0 or less for noise.
        double tonality;
    };

    // Smallest difference that counts (default 1e-7).
    void setThreshold(double threshold);
    // Stretches closer than this are one event (default 0.05 s).
    void setMergeGapSec(double gapSec);

    // Channels are planar; both signals have `frames` frames per channel.
    void detect(const float* const* inputs, const float* const* outputs, int channels,
                int64_t frames, double rateHz);
    const std::vector<CEvent>& getEvents() const { return events; }

    static const char* kindName(EKind kind);
    // "event 1: 31.234 s  Beep 0.512 s  441 Hz  -12.1 dB" (number counts from 1).
    static std::string formatEvent(const CEvent& event, int number);

private:
    CEvent classify(const float* const* inputs, const float* const* outputs, int channels,
                    int64_t start, int64_t end, double rateHz) const;

    double threshold = 1e-7;
    double mergeGapSec = 0.05;
    std::vector<CEvent> events;
};

} // namespace kel
