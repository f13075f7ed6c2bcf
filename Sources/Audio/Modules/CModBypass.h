#pragma once

#include "Audio/CAudioProcessTerminal.h"

namespace kel
{

// The bypass process: port 0 takes the processed signal, port 1 the untouched one, one module
// per channel. A change of `enable` crossfades between the two over `xfade-length`. A group is
// silenced while another group is soloed and it is not. [as the terminal process]
class CModBypass : public CAudioProcessTerminal
{
public:
    CModBypass() = default;

    // Adds denorm and denormn to the context. [set-up]
    [[nodiscard]] CError* registerKernels(CDCDAWContext* context) override;

    // True while every channel passes port 0 on untouched: not bypassed, not silenced, no
    // crossfade under way and no change held back. [audio thread]
    bool passesProcessed() const;

protected:
    CAudioModule* createModule() override;
    int getModuleInputPorts() const override { return 2; }
    void prepareRead(const CModuleSlot& slot, CAudioModule& module) override;
};

} // namespace kel
