#pragma once

#include "Audio/CAudioProcessTerminal.h"

namespace kel
{

class CModZumbelModule;

// The graph node of the signal insertion: one CModZumbelModule for all channels (the tree sets
// is-terminal-whole), so every channel gets an event at the same sample. A change of any of its
// six parameters makes a fresh module (which reseeds and starts idle with a new gap) and
// crossfades to it over `xfade-length`, so that a running event is cut within that time; a
// further change during the crossfade is served when it ends. A change of channels, rate or
// block context sets the modules up again. Clear puts the module back to idle with a new gap,
// without fading the event it cuts. [as the terminal process]
class CModZumbel : public CAudioProcessTerminal
{
public:
    CModZumbel() = default;

    // Adds the four signal kernels (sinei, sine, fltnoisei, fltnoise) to the context. [set-up]
    [[nodiscard]] CError* registerKernels(CDCDAWContext* context) override;

    // The module that gives the output; null before set-up.
    CModZumbelModule* getZumbelModule() const;

protected:
    CAudioModule* createModule() override;
};

} // namespace kel
