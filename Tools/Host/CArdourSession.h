#pragma once

#include <cstdint>
#include <vector>

namespace kel
{

class CHostedPlugin;

// The call sequences of a headless Ardour 7 as observed, replayed on a CHostedPlugin, so that
// tests can meet the plug-in the way that host does without running it. Pair with
// CVstHost::poseAsArdour for the answers. Stateless. [the thread that drives the plug-in]
class CArdourSession
{
public:
    // What a saved session holds of a plug-in.
    struct CSavedState
    {
        std::vector<uint8_t> chunk; // the bank form
        int program = 0;
        std::vector<float> params;
    };

    // New insert on a loaded plug-in: open, version, rate, block size 1024, per parameter
    // canBeAutomated, properties and name, canDo("bypass"), and resume unless told not to.
    static void insert(CHostedPlugin& plugin, double rateHz, bool resume = true);
    // Before a bounce: suspend, block size 8192, resume (the host's block size answer stays).
    static void beginBounce(CHostedPlugin& plugin);
    // Saving: the bank chunk, then the program, then every parameter's value.
    static CSavedState save(CHostedPlugin& plugin);
    // Reload into a freshly loaded plug-in: insert without resuming, the stored values that differ
    // from the plug-in's defaults, resume, program, bank chunk, and resume again with no suspend
    // between. Answers the plug-in's answer to the chunk.
    static intptr_t restore(CHostedPlugin& plugin, double rateHz, const CSavedState& state);
};

} // namespace kel
