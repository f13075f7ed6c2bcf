#pragma once

#include "Audio/CAudioParamRegistry.h"
#include "Core/CArray.h"
#include "Core/CObject.h"
#include "Core/CString.h"
#include "Core/Platform/CLock.h"

#include <cstdint>

namespace kel
{

class CAudioParamCollector;
class CAudioParamUndoHistory;
class CAudioParamUndoRecord;

// The undo history of one instance's parameters: a linear list of labelled records, each the
// before and after state of everything one user action changed, with a cursor that undo, redo
// and moveTo move. Stepping replays a record through the parameters' setter as one batch of the
// collector, so the audio side sees each step whole; the replayed changes reach listeners, the
// host and the UI like any other but make no record. At most `undo-count-max` entries are kept
// (the oldest goes); below 1 there is no limit. A knob drag sends a stream of mergeable records
// with one merge id, which fold into a single entry.
//
// It is also the registries' undo sink (`param-undo`): registry actions hand it their records,
// and selectPreset and swapCompare move whole histories between their slots and this object.
// The interface base derives from it and overrides onHistoryChanged to tell its clients.
//
// The instance's tree owns it; it owns the current history and the records handed to it. The
// collector (attribute `param-collector`, or setCollector) is not owned and is cleared in
// detachLinks. One lock (the undo lock, the interface base's) guards the history; it is taken
// before any registry or parameter lock, and records are added with no parameter lock held.
// [ui thread or any host thread; takes the undo lock; never the audio thread]
class CAudioParamUndo : public CObject, public CAudioParamRegistry::CUndoSink
{
public:
    static constexpr int kDefaultCountMax = 32;
    // Position 0 of the label list: the state before the first entry.
    static constexpr const char* kHistoryStartLabel = "Undo history start";

    CAudioParamUndo();
    ~CAudioParamUndo() override;

    static void registerClass(CClassInfo& info);
    // Reads `undo-count-max` and resolves `param-collector` when the attribute is there.
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    CAudioParamCollector* getCollector() const { return collector; }
    // Not owned; for an object made outside a tree, or a derived class that resolves it itself.
    void setCollector(CAudioParamCollector* paramCollector) { collector = paramCollector; }
    int getCountMax() const { return countMax; }
    void setCountMax(int count) { countMax = count; }

    // A new, empty record, owned by the caller until addRecord. A control passes mergeable and
    // one merge id for all records of one gesture. Takes no lock.
    CAudioParamUndoRecord* createRecord(const CString& label, bool isMergeable = false,
                                        int32_t mergeId = -1) const;
    // Takes ownership of record. An empty one is deleted; one that merges into the entry before
    // the cursor is folded in and deleted (without onHistoryChanged); otherwise the redo tail is
    // dropped, the oldest entry too when the history is full, and the record appended behind
    // the cursor. isLocked: the caller holds the undo lock (onHistoryChanged then runs under it).
    void addRecord(CAudioParamUndoRecord* record, bool isLocked = false);
    // Replays entries until the cursor is at position (0 .. entry count); other positions, the
    // current one, or no history do nothing. withNotify: onHistoryChanged after the move.
    // [takes the undo lock, then the parameter locks]
    void moveTo(int position, bool withNotify = true);
    // One step back or forward; nothing at the ends.
    void undo();
    void redo();
    // The labels, led by "Undo history start", and the cursor; with no history an empty list
    // and 0.
    void getHistoryNames(CArray<CString>& outNames, int& outCursor) const;
    // Entries of the current history; 0 with none.
    int getHistoryCount() const;

    // ---- CAudioParamRegistry::CUndoSink ----

    CAudioParamRecorder* createUndoRecord(const CString& label) override;
    // A recorder that is not one of this object's records is deleted.
    void addUndoRecord(CAudioParamRecorder* record) override;
    CHistory* detachHistory() override;
    // Announces the change (onHistoryChanged).
    void attachHistory(CHistory* attached) override;
    CHistory* copyHistory() const override;
    // Drops the history; the next record starts a new one. Announces the change.
    void clearHistory() override;

protected:
    // Called after every change of the history, with the undo lock released unless the caller
    // of addRecord held it. [any thread; the setter's]
    virtual void onHistoryChanged() {}

private:
    // Answers whether the history changed in a way that must be announced.
    bool addRecordLocked(CAudioParamUndoRecord* record);
    bool moveToLocked(int position);

    mutable CLock undoLock;
    // Not owned; cleared in detachLinks.
    CAudioParamCollector* collector = nullptr;
    int countMax = kDefaultCountMax;
    CAudioParamUndoHistory* history = nullptr; // owned; null: none yet
};

} // namespace kel
