#pragma once

#include "Audio/CAudioModule.h"

namespace kel
{

// The module of the muting process: per channel it hands its input on by reference, or, when
// muted, a constant far below hearing (the denorm kernel) that keeps filters behind it out of
// subnormal numbers. Parameter slot: mute (0). [audio thread after set-up]
class CModMuteModule : public CAudioModule
{
public:
    CModMuteModule() = default;

    int getParamSlotCount() const override { return 1; }
    double* getParamSlot(int slot) override { return slot == 0 ? &muteValue : nullptr; }
    // Needs denorm.
    [[nodiscard]] CError* lookupKernels() override;
    void readParams() override { muted = muteValue > 0.5; }
    void process() override;

private:
    double muteValue = 0.0;
    bool muted = false;
    int denormKernel = -1;
};

} // namespace kel
