#include "Audio/CAudioParamUndoHistory.h"

#include "Audio/CAudioParamUndoRecord.h"

namespace kel
{

CAudioParamUndoHistory::CAudioParamUndoHistory(const CAudioParamUndoHistory& other)
    : CCheckedObject(other), CAudioParamRegistry::CUndoSink::CHistory(other), cursor(other.cursor)
{
    entries.reserve(other.entries.getCount());
    for (const CAudioParamUndoRecord* record : other.entries)
        entries.add(new CAudioParamUndoRecord(*record));
}

CAudioParamUndoHistory::~CAudioParamUndoHistory()
{
    dropFrom(0);
}

CAudioParamRegistry::CUndoSink::CHistory* CAudioParamUndoHistory::clone() const
{
    return new CAudioParamUndoHistory(*this);
}

void CAudioParamUndoHistory::setCursor(int position)
{
    cursor = position < 0 ? 0 : (position > entries.getCount() ? entries.getCount() : position);
}

void CAudioParamUndoHistory::append(CAudioParamUndoRecord* record)
{
    entries.add(record);
    cursor = entries.getCount();
}

void CAudioParamUndoHistory::dropFrom(int index)
{
    if (index < 0)
        index = 0;
    for (int i = index; i < entries.getCount(); ++i)
        delete entries[i];
    entries.removeAt(index, entries.getCount() - index);
    if (cursor > entries.getCount())
        cursor = entries.getCount();
}

void CAudioParamUndoHistory::dropOldest()
{
    if (entries.isEmpty())
        return;
    delete entries[0];
    entries.removeAt(0);
    if (cursor > 0)
        --cursor;
}

} // namespace kel
