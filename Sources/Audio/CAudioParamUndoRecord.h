#pragma once

#include "Audio/CAudioParamRecorder.h"
#include "Audio/CAudioParamStorage.h"
#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CString.h"
#include "Core/CStringMap.h"

#include <cstdint>

namespace kel
{

class CAudioParamCollector;
class CAudioParamContext;

// One entry of the undo history: the labelled before and after state of every parameter that one
// user action touched. A parameter's setter shows it each group right before and right after a
// change (CAudioParamRecorder); the record keeps, per parameter full name in name order, one entry
// per change with the whole group as it was and as it became, and the group count on both sides,
// so that replaying it restores items that a change appended or dropped and groups it added.
//
// Made by the undo history (createRecord) or for a registry action; whoever made it owns it until
// it is handed to the history. A knob drag makes a stream of mergeable records with one merge id;
// the history folds each into the previous one when both touch the same changes (canMergeWith).
// [any thread; one operation at a time: filled under the parameter locks of its operation, read
// under the undo lock once in the history]
class CAudioParamUndoRecord : public CCheckedObject, public CAudioParamRecorder
{
public:
    static constexpr int32_t kNoMergeId = -1;

    // One change of one parameter: the change's address and the touched group, whole, before and
    // after (group 0 of each storage, with its own string table for a string parameter).
    struct CChange
    {
        int group = 0;
        int firstItem = 0;
        int itemCount = 0;
        int groupCountBefore = 0;
        int groupCountAfter = 0;
        CAudioParamStorage before;
        CAudioParamStorage after;

        bool changesGroupCount() const { return groupCountBefore != groupCountAfter; }
    };
    using CChangeList = CArray<CChange, 1>;

    explicit CAudioParamUndoRecord(const CString& recordLabel, bool isMergeable = false,
                                   int32_t recordMergeId = kNoMergeId);
    CAudioParamUndoRecord(const CAudioParamUndoRecord& other);
    CAudioParamUndoRecord& operator=(const CAudioParamUndoRecord&) = delete;
    ~CAudioParamUndoRecord() override;

    const CString& getLabel() const { return label; }
    bool isMergeable() const { return mergeable; }
    int32_t getMergeId() const { return mergeId; }
    // A record that touched no parameter is dropped by the history.
    bool isEmpty() const { return params.isEmpty(); }
    int getParamCount() const { return params.getCount(); }
    // The changes of one parameter, or null.
    const CChangeList* findChanges(const CString& paramFullName) const;

    // True when later covers the same parameters with the same run of changes (group, first
    // item, item count, group-count change, entry by entry), so that it can be folded in.
    bool canMergeWith(const CAudioParamUndoRecord& later) const;
    // Takes the after states of later; the before states and the label stay. Only after a
    // passed canMergeWith.
    void mergeFrom(const CAudioParamUndoRecord& later);

    // Replays the record through each parameter's setter with context (which carries no undo
    // record): forward sets the after states in order, backward the before states from the last
    // change to the first. Parameters are found, or created unbound and so skipped, by name.
    // Takes the parameter locks one at a time. [any thread; no parameter lock held]
    void apply(CAudioParamCollector& collector, bool forward, CAudioParamContext& context) const;

    // CAudioParamRecorder. [under the parameter's lock]
    void recordBefore(const CAudioParam& param, const CAudioParamChange& change,
                      const CAudioParamStorage& values) override;
    void recordAfter(const CAudioParam& param, const CAudioParamChange& change,
                     const CAudioParamStorage& values) override;

private:
    CString label;
    bool mergeable;
    int32_t mergeId;
    CStringMap<CChangeList> params;
    // The change between recordBefore and recordAfter; null: none open.
    const CAudioParam* pendingParam = nullptr;
    CChange pending;
};

} // namespace kel
