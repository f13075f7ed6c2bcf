#include "Audio/CAudioParamUndoRecord.h"

#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"

namespace kel
{

namespace
{

// A copy of one group of values, as group 0 of out. A group that does not exist yet is kept as
// an empty one: restoring it empties the group, which then reads as the defaults again.
bool snapshotGroup(const CAudioParamStorage& values, int group, CAudioParamStorage& out)
{
    out.setFormat(values.getElementSize(), values.getDataType());
    return out.takeGroup(values, group, 0);
}

// Sets group to the values held as group 0 of state, dropping the items behind them.
void restoreGroup(CAudioParam& param, int group, const CAudioParamStorage& state,
                  CAudioParamContext& context)
{
    CAudioParamChange change;
    change.group = group;
    change.itemCount = state.getItemCount(0);
    change.values = state.getGroupValues(0);
    change.strings = &state.getStrings();
    change.isReplacing = true;
    param.setValues(change, context);
}

bool sameChanges(const CAudioParamUndoRecord::CChangeList& earlier,
                 const CAudioParamUndoRecord::CChangeList& later)
{
    if (earlier.getCount() != later.getCount())
        return false;
    for (int i = 0; i < earlier.getCount(); ++i)
    {
        const CAudioParamUndoRecord::CChange& a = earlier[i];
        const CAudioParamUndoRecord::CChange& b = later[i];
        if (a.group != b.group || a.firstItem != b.firstItem || a.itemCount != b.itemCount ||
            a.changesGroupCount() != b.changesGroupCount())
            return false;
    }
    return true;
}

} // namespace

CAudioParamUndoRecord::CAudioParamUndoRecord(const CString& recordLabel, bool isMergeable,
                                             int32_t recordMergeId)
    : label(recordLabel), mergeable(isMergeable), mergeId(recordMergeId)
{
}

// A change still open in the original belongs to its operation, not to the copy.
CAudioParamUndoRecord::CAudioParamUndoRecord(const CAudioParamUndoRecord& other)
    : CCheckedObject(other), CAudioParamRecorder(other), label(other.label),
      mergeable(other.mergeable), mergeId(other.mergeId), params(other.params)
{
}

CAudioParamUndoRecord::~CAudioParamUndoRecord() = default;

const CAudioParamUndoRecord::CChangeList*
CAudioParamUndoRecord::findChanges(const CString& paramFullName) const
{
    return params.find(paramFullName);
}

bool CAudioParamUndoRecord::canMergeWith(const CAudioParamUndoRecord& later) const
{
    if (params.getCount() != later.params.getCount())
        return false;
    // Both maps run in name order: equal sets pair up entry by entry.
    auto mine = params.begin();
    auto theirs = later.params.begin();
    for (; mine != params.end(); ++mine, ++theirs)
    {
        if (!(mine->first == theirs->first) || !sameChanges(mine->second, theirs->second))
            return false;
    }
    return true;
}

void CAudioParamUndoRecord::mergeFrom(const CAudioParamUndoRecord& later)
{
    auto theirs = later.params.begin();
    for (auto mine = params.begin(); mine != params.end() && theirs != later.params.end();
         ++mine, ++theirs)
    {
        CChangeList& target = mine->second;
        const CChangeList& source = theirs->second;
        for (int i = 0; i < target.getCount() && i < source.getCount(); ++i)
        {
            // The copy re-enters the strings of later's ids into this record's own table.
            target[i].after = source[i].after;
            target[i].groupCountAfter = source[i].groupCountAfter;
        }
    }
}

void CAudioParamUndoRecord::apply(CAudioParamCollector& collector, bool forward,
                                  CAudioParamContext& context) const
{
    for (const auto& [name, changes] : params)
    {
        CAudioParam* param = collector.getParam(name);
        if (!param)
            continue;
        if (forward)
        {
            for (const CChange& change : changes)
                restoreGroup(*param, change.group, change.after, context);
            continue;
        }
        // The setter cannot remove groups. A group the change added gets its empty before
        // state, and the ones it added in front of it were empty already; both read as the
        // defaults again, as before the change.
        for (int i = changes.getCount() - 1; i >= 0; --i)
            restoreGroup(*param, changes[i].group, changes[i].before, context);
    }
}

void CAudioParamUndoRecord::recordBefore(const CAudioParam& param, const CAudioParamChange& change,
                                         const CAudioParamStorage& values)
{
    pendingParam = nullptr;
    pending.group = change.group;
    pending.firstItem = change.firstItem;
    pending.itemCount = change.itemCount;
    pending.groupCountBefore = values.getGroupCount();
    // Out of memory the change goes unrecorded.
    if (snapshotGroup(values, change.group, pending.before))
        pendingParam = &param;
}

void CAudioParamUndoRecord::recordAfter(const CAudioParam& param, const CAudioParamChange& change,
                                        const CAudioParamStorage& values)
{
    if (pendingParam != &param || pending.group != change.group)
        return;
    pendingParam = nullptr;
    pending.groupCountAfter = values.getGroupCount();
    if (!snapshotGroup(values, change.group, pending.after))
        return;
    params[param.getFullName()].add(pending);
}

} // namespace kel
