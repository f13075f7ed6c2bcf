#include "Audio/CAudioParam.h"

#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/CAudioParamListener.h"
#include "Audio/CAudioParamRecorder.h"
#include "Audio/CAudioParamRegistryLink.h"
#include "Audio/CAudioParamSink.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "Core/CInputStream.h"
#include "Core/COutputStream.h"

#include <algorithm>
#include <cassert>
#include <optional>

namespace kel
{

CAudioParam::CGuard::CGuard(const CAudioParam& param, CAudioParamContext* contextToRun)
    : held(param), context(contextToRun)
{
    held.lock.lock();
}

CAudioParam::CGuard::~CGuard()
{
    held.lock.unlock();
    if (context)
        context->runDeferred();
}

CAudioParam::CAudioParam(const CString& paramFullName, CAudioParamSink* ownerSink)
    : collector(ownerSink), fullName(paramFullName)
{
}

CAudioParam::~CAudioParam() = default;

void CAudioParam::checkGuard(const CGuard* guard) const
{
    assert(!guard || &guard->getParam() == this);
    (void)guard;
}

// ---- binding ----

bool CAudioParam::bind(const CAudioParamDef& definition, CAudioParamContext& context,
                       const CGuard* guard)
{
    return bind(definition.getInfo(), definition.getFullName(), context, guard);
}

bool CAudioParam::bind(const CAudioParamInfo& definitionInfo, const CString& path,
                       CAudioParamContext& context, const CGuard* guard)
{
    checkGuard(guard);
    std::optional<CGuard> own;
    const CGuard& held = guard ? *guard : own.emplace(*this, &context);
    return bindLocked(definitionInfo, path, context, held);
}

bool CAudioParam::bindLocked(const CAudioParamInfo& definitionInfo, const CString& path,
                             CAudioParamContext& context, const CGuard& held)
{
    // The first definition found wins: a remapped inner definition of the same name comes later
    // and must not replace the outer one.
    if (info.isValid())
        return false;
    info = definitionInfo;
    info.setValid(true);
    definitionPath = path;
    current = info.getDefaults();
    defaults = info.getDefaults();

    CAudioParamChange announce;
    announce.group = CAudioParamChange::kDefinitionGroup;
    distribute(announce, context, held);
    for (int g = 0; g < current.getGroupCount(); ++g)
        distribute(makeGroupChange(g), context, held);
    return true;
}

bool CAudioParam::isBound(const CGuard* guard) const
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    return info.isValid();
}

const CAudioParamInfo& CAudioParam::getInfo(const CGuard& guard) const
{
    checkGuard(&guard);
    return info;
}

CString CAudioParam::getDefinitionPath(const CGuard* guard) const
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    return definitionPath;
}

// ---- settings ----

void CAudioParam::setDisabled(bool isDisabled, const CGuard* guard)
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    disabled = isDisabled;
}

bool CAudioParam::isDisabled(const CGuard* guard) const
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    return disabled;
}

void CAudioParam::setGroupLimit(int count, const CGuard* guard)
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    groupLimit = count;
}

void CAudioParam::setRegistryLink(CAudioParamRegistryLink* link, const CGuard* guard)
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    registryLink = link;
}

// ---- the setter ----

int CAudioParam::effectiveGroup(int group) const
{
    return info.isSingleGroup() ? 0 : group;
}

void CAudioParam::setValues(const CAudioParamChange& change, CAudioParamContext& context,
                            const CGuard* guard)
{
    checkGuard(guard);
    std::optional<CGuard> own;
    const CGuard& held = guard ? *guard : own.emplace(*this, &context);
    applyChange(change, context, held);
}

void CAudioParam::setValue(int group, int item, double value, CAudioParamContext& context,
                           const CGuard* guard)
{
    CAudioParamChange change;
    change.group = group;
    change.firstItem = item;
    change.itemCount = 1;
    change.values = &value;
    setValues(change, context, guard);
}

void CAudioParam::setString(int group, int item, const CString& text, CAudioParamContext& context,
                            const CGuard* guard)
{
    CAudioParamData table;
    const double id = static_cast<double>(table.addString(text));
    CAudioParamChange change;
    change.group = group;
    change.firstItem = item;
    change.itemCount = 1;
    change.values = &id;
    change.strings = &table;
    setValues(change, context, guard);
}

void CAudioParam::applyChange(const CAudioParamChange& change, CAudioParamContext& context,
                              const CGuard& held)
{
    if (disabled || !info.isValid())
        return;
    CAudioParamChange target = change;
    target.group = effectiveGroup(change.group);
    const int limit = info.isSingleGroup() ? 1 : groupLimit;
    if (target.group < 0 || target.group >= limit || target.firstItem < 0 || target.itemCount < 0 ||
        (target.itemCount > 0 && !target.values))
        return;
    // Items may be appended to a stored group; a group not yet stored starts at item 0.
    if (target.group < current.getGroupCount())
    {
        if (target.firstItem > current.getItemCount(target.group))
            return;
    }
    else if (target.firstItem != 0)
    {
        return;
    }

    // A value equal to the one stored is no change: nothing reaches the audio side, no
    // listener hears of it (hosts resend the current value of a flat automation lane).
    if (!current.wouldChange(target))
        return;
    if (context.undoRecord)
        context.undoRecord->recordBefore(*this, target, current);
    if (!current.applyChange(target))
        return;
    if (context.undoRecord)
        context.undoRecord->recordAfter(*this, target, current);

    // Downstream sees the values as stored, with this storage's string table.
    CAudioParamChange applied = target;
    const double* stored = current.getGroupValues(target.group);
    applied.values = stored ? stored + target.firstItem * info.getElementSize() : nullptr;
    applied.strings = info.isString() ? &current.getStrings() : nullptr;
    distribute(applied, context, held);
}

void CAudioParam::distribute(const CAudioParamChange& applied, CAudioParamContext& context,
                             const CGuard& held)
{
    const bool isDefinition = applied.group == CAudioParamChange::kDefinitionGroup;
    if (!isDefinition)
    {
        CAudioParamSink* queue = context.queue ? context.queue : collector;
        if (queue)
            queue->pushChange(*this, applied, ++sequence);
        if (registryLink)
            registryLink->onLinkedParamChange(*this, applied, context);
    }
    if (!context.notify)
        return;
    if (collector)
        collector->publishChange(*this, applied, context);
    // A listener may remove itself (or another) while it is called: walk a copy.
    const CArray<CAudioParamListener*> due(listeners);
    for (CAudioParamListener* listener : due)
        listener->onParamChange(*this, applied, context, held);
}

CAudioParamChange CAudioParam::makeGroupChange(int group) const
{
    CAudioParamChange change;
    change.group = group;
    change.itemCount = current.getItemCount(group);
    change.values = current.getGroupValues(group);
    change.strings = info.isString() ? &current.getStrings() : nullptr;
    change.isReplacing = true;
    return change;
}

void CAudioParam::resetToDefaults(int group, int item, CAudioParamContext& context,
                                  const CGuard* guard)
{
    checkGuard(guard);
    std::optional<CGuard> own;
    const CGuard& held = guard ? *guard : own.emplace(*this, &context);
    resetLocked(group, item, context, held);
}

void CAudioParam::resetLocked(int group, int item, CAudioParamContext& context, const CGuard& held)
{
    if (group < 0)
    {
        const int stored = current.getGroupCount();
        const int count = stored > defaults.getGroupCount() ? stored : defaults.getGroupCount();
        for (int g = 0; g < count; ++g)
            resetLocked(g, -1, context, held);
        return;
    }
    const int source = group < defaults.getGroupCount() ? group : 0;
    CAudioParamChange change;
    change.group = group;
    change.strings = &defaults.getStrings();
    if (item < 0)
    {
        change.itemCount = defaults.getItemCount(source);
        change.values = defaults.getGroupValues(source);
        change.isReplacing = true;
        applyChange(change, context, held);
        return;
    }
    const int elementSize = info.getElementSize();
    CArray<double> values;
    for (int e = 0; e < elementSize; ++e)
    {
        // The defaults alone: a stored value of the group must not stand in for them.
        const int index = item * elementSize + e;
        double value = 0.0;
        if (index < defaults.getGroupLength(source))
            value = defaults.getGroupValues(source)[index];
        else if (defaults.getGroupLength(0) > 0)
            value = defaults.getGroupValues(0)[0];
        values.add(value);
    }
    change.firstItem = item;
    change.itemCount = 1;
    change.values = values.getData();
    applyChange(change, context, held);
}

// ---- reading ----

double CAudioParam::readValue(int group, int index, const CAudioParamStorage*& from) const
{
    from = nullptr;
    const int g = effectiveGroup(group);
    if (g >= 0 && index >= 0 && index < current.getGroupLength(g))
    {
        from = &current;
        return current.getGroupValues(g)[index];
    }
    const int source = g >= 0 && g < defaults.getGroupCount() ? g : 0;
    if (index >= 0 && index < defaults.getGroupLength(source))
    {
        from = &defaults;
        return defaults.getGroupValues(source)[index];
    }
    if (defaults.getGroupLength(0) > 0)
    {
        from = &defaults;
        return defaults.getGroupValues(0)[0];
    }
    return 0.0;
}

double CAudioParam::getValue(int group, int index, const CGuard* guard) const
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    const CAudioParamStorage* from = nullptr;
    return readValue(group, index, from);
}

void CAudioParam::getValueText(CString& out, int group, int item, int element, int mode,
                               const CGuard* guard) const
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    out.clear();
    if (!info.isValid() || element < 0 || element >= info.getElementSize())
        return;
    const CAudioParamStorage* from = nullptr;
    const double value = readValue(group, item * info.getElementSize() + element, from);
    if (!from)
        return;
    if (info.isString())
    {
        out = from->getStringOf(value);
        return;
    }
    if (const CAudioParamConverter* converter = info.getConverter(element))
        converter->format(out, info, element, value, effectiveGroup(group), mode);
}

void CAudioParam::copyValues(CAudioParamStorage& out, const CGuard* guard) const
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    out = current;
}

void CAudioParam::copyDefaults(CAudioParamStorage& out, const CGuard* guard) const
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    out = defaults;
}

// ---- stored form ----

CError* CAudioParam::save(COutputStream& stream, int group, const CGuard* guard) const
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    KEL_CHECK(stream.writeString(definitionPath));
    // A single-group parameter's stored form is its one group, also while nothing is stored
    // (an empty list is G = 1 with no items, not G = 0).
    KEL_CHECK(current.save(stream, group < 0 && info.isSingleGroup() ? 0 : group));
    return nullptr;
}

CError* CAudioParam::load(CInputStream& stream, bool toDefaults, CAudioParamContext& context,
                          int group, int item, const CGuard* guard)
{
    checkGuard(guard);
    std::optional<CGuard> own;
    const CGuard& held = guard ? *guard : own.emplace(*this, &context);

    CString path;
    KEL_CHECK(stream.readString(path));
    if (!info.isValid())
    {
        // A blob of another product version may name a definition that no longer exists: its
        // value is dropped without an error.
        CObject* root = CObject::getSharedRoot();
        const CAudioParamDef* definition =
            root ? dynamic_cast<const CAudioParamDef*>(root->findObject(path)) : nullptr;
        if (!definition)
            return nullptr;
        bindLocked(definition->getInfo(), path, context, held);
        if (!info.isStorable() && !info.isPersistent())
            return nullptr;
    }

    // Read into a separate storage first, so that a damaged blob leaves the values as they were.
    CAudioParamStorage loaded(info.getElementSize(), info.getDataType());
    KEL_CHECK(loaded.load(stream));
    if (toDefaults)
    {
        defaults = loaded;
        return nullptr;
    }
    CAudioParamChange change;
    change.strings = &loaded.getStrings();
    change.isReplacing = true;
    if (group >= 0)
    {
        const int source = item >= 0 ? item : 0;
        if (source >= loaded.getGroupCount())
            return nullptr;
        change.group = group;
        change.itemCount = loaded.getItemCount(source);
        change.values = loaded.getGroupValues(source);
        applyChange(change, context, held);
        return nullptr;
    }
    if (disabled)
        return nullptr;
    // The blob's groups replace the parameter's, as far as it takes them: one for a
    // single-group parameter, up to the group limit otherwise. Single-group blobs written
    // before their one group was always saved may hold no group at all (G = 0); they read as
    // that group, empty.
    const int newCount =
        info.isSingleGroup() ? 1 : std::max(0, std::min(loaded.getGroupCount(), groupLimit));
    const int oldCount = current.getGroupCount();
    for (int g = 0; g < newCount; ++g)
    {
        change.group = g;
        change.itemCount = loaded.getItemCount(g);
        change.values = loaded.getGroupValues(g);
        applyChange(change, context, held);
    }
    // Groups the blob lacks are emptied (so that undo and every listener see them go) and then
    // dropped: afterwards the parameter has exactly the blob's groups, as if set afresh.
    for (int g = newCount; g < oldCount; ++g)
    {
        change.group = g;
        change.itemCount = 0;
        change.values = nullptr;
        applyChange(change, context, held);
    }
    // Shrinking allocates nothing and cannot fail.
    if (current.getGroupCount() > newCount)
        (void)current.setGroupCount(newCount);
    return nullptr;
}

// ---- listeners ----

void CAudioParam::addListener(CAudioParamListener* listener, CAudioParamContext& context,
                              const CGuard* guard)
{
    checkGuard(guard);
    std::optional<CGuard> own;
    const CGuard& held = guard ? *guard : own.emplace(*this, &context);
    if (!listener || listeners.contains(listener))
        return;
    listeners.add(listener);
    for (int g = 0; g < current.getGroupCount(); ++g)
        listener->onParamChange(*this, makeGroupChange(g), context, held);
}

void CAudioParam::removeListener(CAudioParamListener* listener, const CGuard* guard)
{
    checkGuard(guard);
    std::optional<CGuard> own;
    if (!guard)
        own.emplace(*this);
    const int index = listeners.indexOf(listener);
    if (index >= 0)
        listeners.removeAt(index);
}

} // namespace kel
