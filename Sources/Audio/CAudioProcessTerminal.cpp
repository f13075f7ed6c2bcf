#include "Audio/CAudioProcessTerminal.h"

#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamAllocDef.h"
#include "Audio/CAudioProcessDefBase.h"
#include "Audio/CAudioProcessPort.h"
#include "Audio/CDCDAWContext.h"

#include <cmath>

namespace kel
{

namespace
{
constexpr size_t kFadeStateBytes = 3 * sizeof(double);
constexpr uint32_t kNone = CDCDAWContext::kInvalidHandle;
} // namespace

CAudioProcessTerminal::~CAudioProcessTerminal()
{
    destroyModules();
}

void CAudioProcessTerminal::portCounts(int& inputCount, int& outputCount) const
{
    inputCount = getModuleInputPorts();
    outputCount = 1;
}

CError* CAudioProcessTerminal::init(const CBuild& build)
{
    KEL_CHECK(CAudioProcessBase::init(build));
    if (!def)
        return nullptr;
    for (int i = 0; i < def->getChildCount(); ++i)
    {
        const auto* alloc = dynamic_cast<const CAudioParamAllocDef*>(def->getChild(i));
        if (!alloc)
            continue;
        CAudioParam* param = findParam(alloc->getParamName());
        if (!param && collector)
            param = collector->getParam(build.resolveParamName(alloc->getParamName()));
        while (slotParams.getCount() <= alloc->getIndex())
        {
            slotParams.add(nullptr);
            slotSingleGroup.add(false);
        }
        slotParams[alloc->getIndex()] = param;
    }
    const int count = slotParams.getCount();
    slotValues.clear();
    for (int group = 0; group < kMaxGroups; ++group)
    {
        for (int slot = 0; slot < count; ++slot)
        {
            CAudioParam* param = slotParams[slot];
            slotValues.add(param ? param->getValue(group, 0) : 0.0);
        }
    }
    for (int slot = 0; slot < count; ++slot)
    {
        if (!slotParams[slot])
            continue;
        CAudioParam::CGuard guard(*slotParams[slot]);
        slotSingleGroup[slot] = slotParams[slot]->getInfo(guard).isSingleGroup();
    }
    return nullptr;
}

void CAudioProcessTerminal::setChannelGroup(int channel, int group)
{
    if (channel >= 0 && channel < CAudioModule::kInlineChannels && group >= 0 && group < kMaxGroups)
        channelGroups[channel] = group;
}

double CAudioProcessTerminal::getSlotValue(int group, int slot) const
{
    if (group < 0 || group >= kMaxGroups || slot < 0 || slot >= slotParams.getCount())
        return 0.0;
    return slotValues[group * slotParams.getCount() + slot];
}

bool CAudioProcessTerminal::isFading() const
{
    for (const CModuleSlot& slot : slots)
    {
        if (slot.fading)
            return true;
    }
    return false;
}

bool CAudioProcessTerminal::hasHeldBackChange() const
{
    for (const CModuleSlot& slot : slots)
    {
        if (slot.heldBack)
            return true;
    }
    return false;
}

void CAudioProcessTerminal::destroyModules()
{
    for (CModuleSlot& slot : slots)
    {
        delete slot.module;
        delete slot.fading;
        delete slot.spare;
        for (int channel = 0; channel < slot.channelCount; ++channel)
        {
            if (conditions.context)
                conditions.context->release(slot.fadeStates[channel]);
        }
    }
    slots.clear();
    isSetUp = false;
}

CError* CAudioProcessTerminal::setupModule(CAudioModule& module, const CModuleSlot& slot)
{
    module.groupIndex = slot.group;
    module.running = false;
    KEL_CHECK(module.setup(conditions.context, conditions.sampleRateHz, slot.channelCount));
    return nullptr;
}

CError* CAudioProcessTerminal::setup(const CSetup& setupConditions)
{
    const CSetup previous = conditions;
    KEL_CHECK(CAudioProcessBase::setup(setupConditions));
    if (isSetUp && previous.context == conditions.context &&
        previous.sampleRateHz == conditions.sampleRateHz &&
        previous.channels == conditions.channels &&
        previous.blockContext == conditions.blockContext)
        return nullptr;
    // Old modules give their buffers back to the context they came from.
    const CSetup next = conditions;
    conditions = previous;
    destroyModules();
    conditions = next;
    if (!conditions.context)
        return nullptr;
    if (conditions.channels > CAudioModule::kInlineChannels)
        return KEL_ERROR("@kelstr_CAudioProcessTerminal_setup_TooManyChannels Too many channels "
                         "(%1).",
                         conditions.channels);
    CDCDAWContext* context = conditions.context;
    copyKernel = context->standardId(CDCDAWContext::kCopy);
    xfadeKernel = context->standardId(CDCDAWContext::kXfade);
    xfadeiKernel = context->standardId(CDCDAWContext::kXfadei);
    const double lengthSec = def ? def->getXfadeLengthSec() : 0.015;
    xfadeFrames = static_cast<int>(std::floor(lengthSec * conditions.sampleRateHz + 0.5));
    if (xfadeFrames < 1)
        xfadeFrames = 1;

    // Channels to modules: all in one, one per run of channels of a group, or one per channel.
    const bool whole = def && def->isTerminalWhole();
    const bool grouped = def && def->isGrouped();
    for (int channel = 0; channel < conditions.channels;)
    {
        CModuleSlot slot;
        slot.firstChannel = channel;
        slot.group = whole ? 0 : channelGroups[channel];
        int end = channel + 1;
        if (whole)
            end = conditions.channels;
        else if (grouped)
            while (end < conditions.channels && channelGroups[end] == slot.group)
                ++end;
        slot.channelCount = end - channel;
        channel = end;
        for (int c = 0; c < slot.channelCount; ++c)
            slot.fadeStates[c] = kNone;
        slots.add(slot);
    }
    for (CModuleSlot& slot : slots)
    {
        slot.module = createModule();
        slot.spare = createModule();
        if (!slot.module || !slot.spare)
            return KEL_ERROR("@kelstr_CAudioProcessTerminal_setup_NoMemory Out of memory.");
        KEL_CHECK(setupModule(*slot.module, slot));
        KEL_CHECK(setupModule(*slot.spare, slot));
        for (int c = 0; c < slot.channelCount; ++c)
            slot.fadeStates[c] = context->acquire(kFadeStateBytes);
        // The first update reads the slots fully, with the values of its own block.
        slot.module->needsFullRead = true;
    }
    isSetUp = true;
    return nullptr;
}

void CAudioProcessTerminal::fullRead(CModuleSlot& slot, CAudioModule& module)
{
    const int count = slotParams.getCount();
    const int group = slot.group < kMaxGroups ? slot.group : 0;
    for (int s = 0; s < count && s < module.getParamSlotCount(); ++s)
    {
        if (double* target = module.getParamSlot(s))
            *target = slotValues[group * count + s];
    }
    prepareRead(slot, module);
    module.readParams();
    module.needsFullRead = false;
}

bool CAudioProcessTerminal::reaches(const CAudioParamCollector::CEntry& entry, int group) const
{
    if (def && def->usesAllParamGroups())
        return true;
    if (def && def->isGroup0() && entry.group == 0)
        return true;
    return entry.group == group;
}

void CAudioProcessTerminal::applyChanges(const CAudioParamCollector::CPacket& changes,
                                         uint32_t& touchedGroups, bool& touchedAll)
{
    const int count = slotParams.getCount();
    for (int e = 0; e < changes.getEntryCount(); ++e)
    {
        const CAudioParamCollector::CEntry& entry = changes.getEntry(e);
        for (int s = 0; s < count; ++s)
        {
            if (slotParams[s] != entry.param)
                continue;
            if (entry.group < 0 || entry.group >= kMaxGroups)
                continue;
            // The slots hold item 0, element 0 of each group.
            if (entry.firstItem == 0 && entry.valueCount > 0)
            {
                const double value = changes.getValues(entry)[0];
                if (slotSingleGroup[s])
                    for (int group = 0; group < kMaxGroups; ++group)
                        slotValues[group * count + s] = value;
                else
                    slotValues[entry.group * count + s] = value;
            }
            if (slotSingleGroup[s])
                touchedAll = true;
            for (const CModuleSlot& slot : slots)
            {
                if (reaches(entry, slot.group))
                    touchedGroups |= CAudioParamCollector::CPacket::groupBit(slot.group);
            }
        }
    }
}

void CAudioProcessTerminal::update(const CAudioParamCollector::CPacket* changes)
{
    uint32_t touchedGroups = 0;
    bool touchedAll = false;
    if (changes)
        applyChanges(*changes, touchedGroups, touchedAll);
    const bool smooth = def && def->isSmoothUpdate();
    for (CModuleSlot& slot : slots)
    {
        const bool changed =
            touchedAll || (touchedGroups & CAudioParamCollector::CPacket::groupBit(slot.group)) ||
            slot.heldBack;
        if (slot.module->needsFullRead && !slot.fading)
        {
            fullRead(slot, *slot.module);
            slot.heldBack = false;
            continue;
        }
        if (!changed)
            continue;
        if (!smooth || !slot.module->running)
        {
            fullRead(slot, *slot.module);
            slot.heldBack = false;
        }
        else if (slot.fading)
        {
            slot.heldBack = true;
        }
        else
        {
            slot.heldBack = false;
            startCrossfade(slot);
        }
    }
}

void CAudioProcessTerminal::startCrossfade(CModuleSlot& slot)
{
    CAudioModule* fresh = slot.spare;
    if (!fresh || setupModule(*fresh, slot) != nullptr)
    {
        // Without a spare the change is taken in place rather than lost.
        fullRead(slot, *slot.module);
        return;
    }
    slot.spare = nullptr;
    fullRead(slot, *fresh);
    fresh->running = true;
    slot.fading = slot.module;
    slot.module = fresh;
    slot.fadeFramesLeft = xfadeFrames;
    // k = 0 fades from the second operand (the old module) to the first (the new one).
    for (int c = 0; c < slot.channelCount; ++c)
    {
        if (slot.fadeStates[c] != kNone)
            conditions.context->run(xfadeiKernel, xfadeFrames, 0.0, slot.fadeStates[c]);
    }
}

void CAudioProcessTerminal::endCrossfade(CModuleSlot& slot)
{
    slot.spare = slot.fading;
    slot.fading = nullptr;
    slot.fadeFramesLeft = 0;
}

uint32_t CAudioProcessTerminal::crossfade(CModuleSlot& slot, int channel, int frames)
{
    CDCDAWContext* context = conditions.context;
    const uint32_t newOut = slot.module->getOutput(channel);
    const uint32_t oldOut = slot.fading->getOutput(channel);
    const uint32_t state = slot.fadeStates[channel];
    const uint32_t out = newOut == kNone || oldOut == kNone || state == kNone
                             ? kNone
                             : context->acquire(static_cast<size_t>(frames) * sizeof(double));
    if (out == kNone)
    {
        context->addRef(newOut);
        return newOut;
    }
    const int fadeFrames = frames < slot.fadeFramesLeft ? frames : slot.fadeFramesLeft;
    if (fadeFrames > 0)
        context->run(xfadeKernel, fadeFrames, 0.0, out, state, newOut, oldOut);
    // The fade ends inside this run: the rest is the new module's alone.
    if (fadeFrames < frames)
        context->run(copyKernel, frames - fadeFrames, 0.0, CDCDAWContext::atFrame(out, fadeFrames),
                     CDCDAWContext::atFrame(newOut, fadeFrames));
    return out;
}

void CAudioProcessTerminal::process()
{
    const int frames = availableFrames();
    if (frames == CAudioProcessPort::kNothingQueued || frames <= 0 || !conditions.context)
        return;
    CDCDAWContext* context = conditions.context;
    const int ports = inputs.getCount();
    for (CModuleSlot& slot : slots)
    {
        uint32_t taken[CAudioModule::kMaxInputPorts][CAudioModule::kInlineChannels];
        for (int c = 0; c < slot.channelCount; ++c)
        {
            for (int p = 0; p < CAudioModule::kMaxInputPorts; ++p)
            {
                const bool linked = p < ports && inputs[p]->isConnected();
                taken[p][c] = linked ? inputs[p]->take(slot.firstChannel + c, frames) : kNone;
                if (p >= slot.module->getInputPortCount())
                    continue;
                slot.module->setInput(c, taken[p][c], p);
                if (slot.fading)
                    slot.fading->setInput(c, taken[p][c], p);
            }
        }
        slot.module->setFrames(frames);
        slot.module->process();
        slot.module->running = true;
        if (slot.fading)
        {
            slot.fading->setFrames(frames);
            slot.fading->process();
        }
        for (int c = 0; c < slot.channelCount; ++c)
        {
            if (slot.fading)
            {
                const uint32_t out = crossfade(slot, c, frames);
                outputs[0]->publish(slot.firstChannel + c, out, frames);
                context->release(out);
            }
            else
            {
                outputs[0]->publish(slot.firstChannel + c, slot.module->getOutput(c), frames);
            }
            for (int p = 0; p < CAudioModule::kMaxInputPorts; ++p)
                context->release(taken[p][c]);
        }
        if (slot.fading)
        {
            slot.fadeFramesLeft -= frames;
            if (slot.fadeFramesLeft <= 0)
                endCrossfade(slot);
        }
    }
    advanceClock(frames);
}

void CAudioProcessTerminal::clear()
{
    CAudioProcessBase::clear();
    for (CModuleSlot& slot : slots)
    {
        if (slot.fading)
            endCrossfade(slot);
        slot.module->clear();
    }
}

} // namespace kel
