#include "CSoakEventTracker.h"

#include "CSoakLog.h"

#include <cmath>

namespace kel
{

namespace
{
constexpr double kDurationMaxSec = 1.5;
constexpr double kPeriodMinSec = 1.0;
// Variation is the full width of the spread: at its 50 % maximum a value moves by +-25 %.
constexpr double kSpreadMax = 0.25;
constexpr double kFadeSec = 0.03;
} // namespace

CSoakEventTracker::CRules CSoakEventTracker::rulesFor(double rateHz)
{
    CRules made;
    made.rateHz = rateHz;
    const auto frames = [rateHz](double seconds)
    { return static_cast<int64_t>(std::floor(seconds * rateHz + 0.5)); };
    // Plus one frame for each count's rounding.
    made.maxEventFrames = 2 * frames(kFadeSec) + frames(kDurationMaxSec * (1.0 + kSpreadMax)) + 3;
    const double periodMinSec = kPeriodMinSec * (1.0 - kSpreadMax);
    made.quietAfterStartFrames = frames(periodMinSec - 0.05);
    // Distinct events are at least the shortest period apart (a parameter change restarts the
    // wait and cuts the old event within a crossfade); a third of it is far above the gaps
    // inside one event, where the inserted signal crosses the input.
    made.mergeGapFrames = frames(periodMinSec / 3.0);
    return made;
}

CSoakEventTracker::CSoakEventTracker(CSoakLog& target) : log(target) {}

void CSoakEventTracker::start(int64_t frame)
{
    stop();
    startFrame = frame;
}

void CSoakEventTracker::stop()
{
    if (!open)
        return;
    open = false;
    ++events;
    const int64_t length = lastFrame - firstFrame + 1;
    if (length > longestFrames)
        longestFrames = length;
}

void CSoakEventTracker::feed(const double* diffLin, int frames, int64_t frame, int64_t bypassedFrom)
{
    for (int i = 0; i < frames; ++i)
    {
        if (diffLin[i] <= rules.thresholdLin)
            continue;
        const int64_t at = frame + i;
        if (open && at - lastFrame > rules.mergeGapFrames)
            stop();
        if (!open)
        {
            open = true;
            firstFrame = at;
            reportedLength = reportedQuiet = reportedBypass = false;
        }
        lastFrame = at;
        if (!reportedQuiet && at < startFrame + rules.quietAfterStartFrames)
        {
            reportedQuiet = true;
            log.violation(secondsOf(at),
                          "output differs from input %.4f s after the audio started (no event "
                          "may start before %.4f s)",
                          secondsOf(at - startFrame), secondsOf(rules.quietAfterStartFrames));
        }
        if (!reportedBypass && at >= bypassedFrom)
        {
            reportedBypass = true;
            log.violation(secondsOf(at),
                          "output differs from input (by %g) while bypassed, %.4f s after bypass "
                          "had settled",
                          diffLin[i], secondsOf(at - bypassedFrom));
        }
        if (!reportedLength && lastFrame - firstFrame + 1 > rules.maxEventFrames)
        {
            reportedLength = true;
            log.violation(secondsOf(firstFrame),
                          "event longer than %.4f s, the longest the parameters allow",
                          secondsOf(rules.maxEventFrames));
        }
    }
}

} // namespace kel
