#pragma once

#include "Audio/CAudioParamRegistry.h"
#include "Core/CArray.h"
#include "Core/CCheckedObject.h"

namespace kel
{

class CAudioParamUndoRecord;

// A linear undo history: the entries in order, each owning its record, and the cursor, the
// number of entries in effect. The entry before the cursor is the latest applied one; the
// entries from the cursor on are the redo tail. The undo object (CAudioParamUndo) holds the
// current one; a registry keeps those of its other session slots and of the compare slot while
// they are not in front, and copies them with clone. Copies are deep.
// [any thread; guarded by the lock of whoever holds it (the undo lock for the current one)]
class CAudioParamUndoHistory : public CCheckedObject,
                               public CAudioParamRegistry::CUndoSink::CHistory
{
public:
    CAudioParamUndoHistory() = default;
    CAudioParamUndoHistory(const CAudioParamUndoHistory& other);
    CAudioParamUndoHistory& operator=(const CAudioParamUndoHistory&) = delete;
    ~CAudioParamUndoHistory() override;

    CAudioParamRegistry::CUndoSink::CHistory* clone() const override;

    int getCount() const { return entries.getCount(); }
    // 0 .. getCount(): position n is the state after the n-th entry.
    int getCursor() const { return cursor; }
    void setCursor(int position);
    // Entry at index (0 .. getCount() - 1); stays owned here.
    CAudioParamUndoRecord* getEntry(int index) const { return entries[index]; }

    // Takes ownership and places the record behind the last entry, the cursor behind it.
    void append(CAudioParamUndoRecord* record);
    // Deletes the entries from index on; the cursor is kept within the rest.
    void dropFrom(int index);
    // Deletes the first entry; the cursor moves down with the rest.
    void dropOldest();

private:
    CArray<CAudioParamUndoRecord*> entries;
    int cursor = 0;
};

} // namespace kel
