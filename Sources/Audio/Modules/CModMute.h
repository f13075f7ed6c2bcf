#pragma once

#include "Audio/CAudioProcessTerminal.h"

namespace kel
{

// The muting process: one module per channel; a change of `mute` crossfades over
// `xfade-length`. [as the terminal process]
class CModMute : public CAudioProcessTerminal
{
public:
    CModMute() = default;

    // Adds denorm and denormn to the context. [set-up]
    [[nodiscard]] CError* registerKernels(CDCDAWContext* context) override;

protected:
    CAudioModule* createModule() override;
};

} // namespace kel
