#pragma once

#include "Audio/CAudioModule.h"
#include "Audio/CAudioProcessBase.h"

namespace kel
{

// A process that does its work through modules (CAudioModule) of one class. The definition
// assigns the channels: with `is-terminal-whole` one module takes them all; with `is-grouped`
// there is one module per channel group; else one per channel. The parameter slots of the
// modules are the definition's audio:param-alloc entries.
//
// The process keeps, per group, the values of its slots as the collector's change packets bring
// them. Before each process call the update hands a module the changes of its group (all groups
// with `use-all-param-groups`; group 0 changes reach every module with `is-group0`). With
// `is-smooth-update` a running module with a change is not touched: its spare, set up afresh,
// takes the values, and the two are crossfaded over `xfade-length`; a change that arrives while a
// crossfade runs is held back and served when it ends. Otherwise the module re-reads in place.
//
// Modules and their spares are made at set-up, so that a smooth update on the audio thread
// allocates nothing. The process owns its modules. [as the base]
class CAudioProcessTerminal : public CAudioProcessBase
{
public:
    static constexpr int kMaxGroups = 8;

    CAudioProcessTerminal() = default;
    ~CAudioProcessTerminal() override;

    [[nodiscard]] CError* init(const CBuild& build) override;
    void clear() override;
    void update(const CAudioParamCollector::CPacket* changes) override;
    void process() override;
    [[nodiscard]] CError* setup(const CSetup& setupConditions) override;

    // The group of each channel, as the channel routing says; all channels are in group 0 until
    // told otherwise. Applied at the next set-up. [set-up]
    void setChannelGroup(int channel, int group);

    int getModuleCount() const { return slots.getCount(); }
    // The module that gives the output (the new one during a crossfade).
    CAudioModule* getModule(int index) const { return slots[index].module; }
    // True while any module is being crossfaded.
    bool isFading() const;
    // True while a change waits for a crossfade to end.
    bool hasHeldBackChange() const;
    int getSlotCount() const { return slotParams.getCount(); }
    // The value the process holds for a slot and group.
    double getSlotValue(int group, int slot) const;

protected:
    // One module with its channels.
    struct CModuleSlot
    {
        CAudioModule* module = nullptr;
        // The module faded out during a crossfade; null otherwise.
        CAudioModule* fading = nullptr;
        // Made at set-up; becomes the new module of the next smooth update.
        CAudioModule* spare = nullptr;
        int firstChannel = 0;
        int channelCount = 0;
        int group = 0;
        int fadeFramesLeft = 0;
        bool heldBack = false;
        uint32_t fadeStates[CAudioModule::kInlineChannels] = {};
    };

    // Makes a module of the process's class. [set-up]
    virtual CAudioModule* createModule() = 0;
    // Before a module reads its slots: lets a process give it what the slots do not carry.
    virtual void prepareRead(const CModuleSlot& /*slot*/, CAudioModule& /*module*/) {}
    void portCounts(int& inputCount, int& outputCount) const override;
    // Input ports per channel of this process's modules.
    virtual int getModuleInputPorts() const { return 1; }
    // Writes the slot values of the module's group into its slots and reads them fully.
    void fullRead(CModuleSlot& slot, CAudioModule& module);
    const CArray<CModuleSlot, 8>& getSlots() const { return slots; }

private:
    void destroyModules();
    [[nodiscard]] CError* setupModule(CAudioModule& module, const CModuleSlot& slot);
    bool reaches(const CAudioParamCollector::CEntry& entry, int group) const;
    void applyChanges(const CAudioParamCollector::CPacket& changes, uint32_t& touchedGroups,
                      bool& touchedAll);
    void startCrossfade(CModuleSlot& slot);
    void endCrossfade(CModuleSlot& slot);
    uint32_t crossfade(CModuleSlot& slot, int channel, int frames);

    CArray<CAudioParam*, 8> slotParams;
    CArray<bool, 8> slotSingleGroup;
    // kMaxGroups rows of slot values.
    CArray<double, 64> slotValues;
    CArray<CModuleSlot, 8> slots;
    int channelGroups[CAudioModule::kInlineChannels] = {};
    int xfadeFrames = 1;
    int copyKernel = -1;
    int xfadeKernel = -1;
    int xfadeiKernel = -1;
    bool isSetUp = false;
};

} // namespace kel
