#include "CSoakEventTracker.h"
#include "CSoakLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

using kel::CSoakEventTracker;
using kel::CSoakLog;

namespace
{

constexpr double kRate = 48000.0;
constexpr int64_t kNever = INT64_MAX;

// Differences of one whole stretch of audio, fed to a tracker in blocks of varying size.
class CDiffTrack
{
public:
    explicit CDiffTrack(int64_t frames) : diff(frames, 0.0) {}

    void mark(int64_t from, int64_t count, double value = 0.01)
    {
        std::fill(diff.begin() + from, diff.begin() + from + count, value);
    }

    void feed(CSoakEventTracker& tracker, int64_t bypassedFrom = kNever) const
    {
        static const int kBlocks[] = {1, 7, 511, 512, 513, 4096, 333};
        int64_t at = 0;
        for (size_t n = 0; at < static_cast<int64_t>(diff.size()); ++n)
        {
            const int64_t left = static_cast<int64_t>(diff.size()) - at;
            const int frames = static_cast<int>(std::min<int64_t>(kBlocks[n % 7], left));
            tracker.feed(diff.data() + at, frames, at, bypassedFrom);
            at += frames;
        }
    }

private:
    std::vector<double> diff;
};

} // namespace

TEST(CSoakEventTrackerTest, RulesFollowTheLimitsOfTheParameters)
{
    const CSoakEventTracker::CRules rules = CSoakEventTracker::rulesFor(kRate);
    // 1.5 s varied up by 25 % and two fades of 30 ms, plus rounding.
    EXPECT_NEAR(rules.maxEventFrames / kRate, 1.875 + 0.06, 0.001);
    // Nothing before the shortest period (1 s varied down by 25 %), with a margin.
    EXPECT_LT(rules.quietAfterStartFrames / kRate, 0.75);
    EXPECT_GT(rules.quietAfterStartFrames / kRate, 0.6);
    // Merging never joins two events, which are at least 0.75 s apart.
    EXPECT_LT(rules.mergeGapFrames / kRate, 0.75);
}

TEST(CSoakEventTrackerTest, TheLongestAllowedEventPassesAndOneFrameMoreIsABreach)
{
    const CSoakEventTracker::CRules rules = CSoakEventTracker::rulesFor(kRate);
    for (const int64_t extra : {0, 1})
    {
        CSoakLog log;
        CSoakEventTracker tracker(log);
        tracker.setRules(rules);
        tracker.start(0);
        CDiffTrack track(6 * 48000);
        track.mark(48000, rules.maxEventFrames + extra);
        track.feed(tracker);
        tracker.stop();
        EXPECT_EQ(tracker.getEventCount(), 1);
        EXPECT_EQ(tracker.getLongestEventFrames(), rules.maxEventFrames + extra);
        EXPECT_EQ(log.getViolationCount(), extra);
    }
}

TEST(CSoakEventTrackerTest, ShortGapsMergeAndDistantStretchesAreSeparateEvents)
{
    CSoakLog log;
    CSoakEventTracker tracker(log);
    tracker.setRules(CSoakEventTracker::rulesFor(kRate));
    tracker.start(0);
    CDiffTrack track(10 * 48000);
    // One event whose signal crosses the input now and then (a dip of tiny depth)...
    for (int64_t at = 48000; at < 48000 + 40000; at += 500)
        track.mark(at, 120);
    // ...then, a shortest period later, a second one; a NaN counts as a difference.
    track.mark(48000 + 40000 + 36000, 30000);
    track.mark(5 * 48000, 1, std::numeric_limits<double>::quiet_NaN());
    // Differences at the threshold are not events.
    track.mark(8 * 48000, 1000, 1e-5);
    track.feed(tracker);
    tracker.stop();
    EXPECT_EQ(tracker.getEventCount(), 3);
    EXPECT_EQ(tracker.getLongestEventFrames(), 39620);
    EXPECT_EQ(log.getViolationCount(), 0);
}

TEST(CSoakEventTrackerTest, AnEventSoonAfterTheStartIsABreachOncePerEvent)
{
    const CSoakEventTracker::CRules rules = CSoakEventTracker::rulesFor(kRate);
    CSoakLog log;
    CSoakEventTracker tracker(log);
    tracker.setRules(rules);
    // The audio restarts at frame 96000, after a suspend.
    tracker.start(96000);
    std::vector<double> diff(rules.quietAfterStartFrames + 20000, 0.0);
    diff[100] = diff[200] = 0.5;
    diff[rules.quietAfterStartFrames + 10000] = 0.5;
    tracker.feed(diff.data(), static_cast<int>(diff.size()), 96000, kNever);
    tracker.stop();
    EXPECT_EQ(log.getViolationCount(), 1);
    EXPECT_EQ(tracker.getEventCount(), 2);
}

TEST(CSoakEventTrackerTest, ADifferenceOnceBypassHasSettledIsABreach)
{
    for (const int64_t bypassedFrom : {int64_t(30000), int64_t(70000)})
    {
        CSoakLog log;
        CSoakEventTracker tracker(log);
        tracker.setRules(CSoakEventTracker::rulesFor(kRate));
        tracker.start(0);
        CDiffTrack track(3 * 48000);
        track.mark(48000, 20000);
        track.feed(tracker, bypassedFrom);
        tracker.stop();
        EXPECT_EQ(log.getViolationCount(), bypassedFrom < 68000 ? 1 : 0) << bypassedFrom;
    }
}
