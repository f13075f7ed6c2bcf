#pragma once

#include <cstdint>

namespace kel
{

class CSoakLog;

// Follows, block by block, where an inserting effect's output differs from its input, and holds
// each stretch of difference (an inserted event, its short gaps merged) to the rules that stay
// true whatever a host does to the parameters meanwhile: an event is never longer than the
// longest duration the parameters allow plus both fades; nothing is inserted during the shortest
// period after the audio (re)starts; nothing is inserted once bypass has settled. Parameter
// changes, bypass and suspends only ever cut events short, so a measured event is never longer
// than the one the plug-in made, and the checks raise no false alarms. Merging gaps shorter
// than the shortest period keeps distinct events apart. Breaches go to the log.
// Owned by the soak's audio loop. [audio thread; allocates nothing]
class CSoakEventTracker
{
public:
    struct CRules
    {
        double rateHz = 48000.0;
        // Smallest |out - in| that counts as inserted.
        double thresholdLin = 1e-5;
        // Stretches closer than this are one event.
        int64_t mergeGapFrames = 0;
        // Longest event that the parameters allow, both fades included.
        int64_t maxEventFrames = 0;
        // No difference may appear this soon after start().
        int64_t quietAfterStartFrames = 0;
    };

    // The plug-in's limits at a rate: duration at most 1.5 s, varied by up to +-25 %, a 30 ms
    // fade on each side; a period of at least 1 s, likewise varied.
    static CRules rulesFor(double rateHz);

    explicit CSoakEventTracker(CSoakLog& target);

    void setRules(const CRules& newRules) { rules = newRules; }
    const CRules& getRules() const { return rules; }

    // The audio (re)starts at absolute frame `frame`.
    void start(int64_t frame);
    // Ends the open event where it was last seen: at a suspend, after a block whose output is
    // unknown, at the end.
    void stop();
    // One block at absolute frame `frame`: diffLin[i] is the largest |out - in| over the compared
    // channels at frame + i (NaN counts as a difference). From absolute frame `bypassedFrom` on,
    // any difference is a breach.
    void feed(const double* diffLin, int frames, int64_t frame, int64_t bypassedFrom);

    int64_t getEventCount() const { return events; }
    int64_t getLongestEventFrames() const { return longestFrames; }

private:
    double secondsOf(int64_t frame) const { return static_cast<double>(frame) / rules.rateHz; }

    CSoakLog& log;
    CRules rules;
    int64_t startFrame = 0;
    bool open = false;
    int64_t firstFrame = 0;
    int64_t lastFrame = 0;
    bool reportedLength = false;
    bool reportedQuiet = false;
    bool reportedBypass = false;
    int64_t events = 0;
    int64_t longestFrames = 0;
};

} // namespace kel
