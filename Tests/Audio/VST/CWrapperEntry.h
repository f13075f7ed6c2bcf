#pragma once

#include "Audio/VST/CAudioWrapperVST.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

namespace kel
{

// Entry points for the VST layer linked into the test program, as a host's CHostedPlugin::attach
// calls them: one instance with the channel count of the test's choosing (0: the product's own).
// A failure to create is reported to the running test; the host then sees a refusal.
class CWrapperEntry
{
public:
    template <int Channels> static AEffect* make(VstHostCallback host)
    {
        AEffect* effect = nullptr;
        if (CError* error = CAudioWrapperVST::create(host, &effect, Channels))
            ADD_FAILURE() << test::CErrorText::takeChain(error);
        return effect;
    }
};

} // namespace kel
