#pragma once

#include "Audio/CAudioModule.h"

#include <cstdint>

namespace kel
{

// The module of the bypass process: per channel it hands on input port 0 (the processed signal)
// or, when bypassed, input port 1 (the untouched one), both by reference, so no samples move.
// A group silenced by a solo on another group gives a faint noise instead, which keeps filters
// behind it out of subnormal numbers. Parameter slots: enable (0), group-solo (1).
// [audio thread after set-up]
class CModBypassModule : public CAudioModule
{
public:
    static constexpr int kParamSlotCount = 2;

    CModBypassModule() = default;
    ~CModBypassModule() override;

    int getParamSlotCount() const override { return kParamSlotCount; }
    double* getParamSlot(int slot) override;
    int getInputPortCount() const override { return 2; }
    // Needs denormn.
    [[nodiscard]] CError* lookupKernels() override;
    // Also takes the noise state, seeded from the process-wide seed counter.
    [[nodiscard]] CError* setup(CDCDAWContext* dcdawContext, double sampleRateHz,
                                int channels) override;
    void readParams() override;
    void process() override;

    // Set by the process before a read: another group's solo silences this one.
    void setSilenced(bool isSilenced) { silenced = isSilenced; }
    bool isSilenced() const { return silenced; }
    bool isBypassed() const { return bypassed; }

private:
    double slotValues[kParamSlotCount] = {};
    bool bypassed = false;
    bool silenced = false;
    uint32_t noiseState = kNoBuffer;
    int denormnKernel = -1;
};

} // namespace kel
