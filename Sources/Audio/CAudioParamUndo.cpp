#include "Audio/CAudioParamUndo.h"

#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamUndoHistory.h"
#include "Audio/CAudioParamUndoRecord.h"

namespace kel
{

CAudioParamUndo::CAudioParamUndo() = default;

CAudioParamUndo::~CAudioParamUndo()
{
    delete history;
}

void CAudioParamUndo::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioParamUndo::init()
{
    KEL_CHECK(CObject::init());
    // Below 1 is not an error: the history is then never trimmed.
    countMax = getAttrInt("undo-count-max", kDefaultCountMax);
    const CString collectorPath = getAttrString("param-collector", CString());
    if (!collectorPath.isEmpty() && !collector)
        KEL_CHECK(findObjectChecked(collectorPath, collector));
    return nullptr;
}

void CAudioParamUndo::detachLinks()
{
    collector = nullptr;
    CObject::detachLinks();
}

CAudioParamUndoRecord* CAudioParamUndo::createRecord(const CString& label, bool isMergeable,
                                                     int32_t mergeId) const
{
    return new CAudioParamUndoRecord(label, isMergeable, mergeId);
}

void CAudioParamUndo::addRecord(CAudioParamUndoRecord* record, bool isLocked)
{
    bool changed = false;
    {
        CLockGuard guard(isLocked ? nullptr : &undoLock);
        changed = addRecordLocked(record);
    }
    if (changed)
        onHistoryChanged();
}

bool CAudioParamUndo::addRecordLocked(CAudioParamUndoRecord* record)
{
    if (!record)
        return false;
    if (record->isEmpty())
    {
        delete record;
        return false;
    }
    if (!history)
        history = new CAudioParamUndoHistory();
    const int cursor = history->getCursor();
    if (cursor > 0 && record->isMergeable())
    {
        CAudioParamUndoRecord* previous = history->getEntry(cursor - 1);
        if (previous->isMergeable() && previous->getMergeId() == record->getMergeId() &&
            previous->canMergeWith(*record))
        {
            previous->mergeFrom(*record);
            delete record;
            return false;
        }
    }
    history->dropFrom(cursor);
    if (countMax > 0 && history->getCount() >= countMax)
        history->dropOldest();
    history->append(record);
    return true;
}

void CAudioParamUndo::moveTo(int position, bool withNotify)
{
    bool moved = false;
    {
        CLockGuard guard(undoLock);
        moved = moveToLocked(position);
    }
    if (moved && withNotify)
        onHistoryChanged();
}

bool CAudioParamUndo::moveToLocked(int position)
{
    if (!history || !collector || position < 0 || position > history->getCount() ||
        position == history->getCursor())
        return false;
    // Origin is this object; no undo record, so replaying records nothing.
    CAudioParamContext context(this);
    int cursor = history->getCursor();
    while (cursor != position)
    {
        const bool forward = cursor < position;
        const CAudioParamUndoRecord* entry = history->getEntry(forward ? cursor : cursor - 1);
        // One batch per entry: the audio side takes each step whole.
        CAudioParamCollector::CBatch batch(*collector);
        context.queue = &batch;
        entry->apply(*collector, forward, context);
        collector->commitChanges(batch);
        context.queue = nullptr;
        cursor += forward ? 1 : -1;
        history->setCursor(cursor);
    }
    return true;
}

void CAudioParamUndo::undo()
{
    int target = -1;
    {
        CLockGuard guard(undoLock);
        if (history && history->getCursor() > 0)
            target = history->getCursor() - 1;
    }
    if (target >= 0)
        moveTo(target, true);
}

void CAudioParamUndo::redo()
{
    int target = -1;
    {
        CLockGuard guard(undoLock);
        if (history && history->getCursor() < history->getCount())
            target = history->getCursor() + 1;
    }
    if (target >= 0)
        moveTo(target, true);
}

void CAudioParamUndo::getHistoryNames(CArray<CString>& outNames, int& outCursor) const
{
    CLockGuard guard(undoLock);
    outNames.clear();
    outCursor = 0;
    if (!history)
        return;
    outNames.add(CString(kHistoryStartLabel));
    for (int i = 0; i < history->getCount(); ++i)
        outNames.add(history->getEntry(i)->getLabel());
    outCursor = history->getCursor();
}

int CAudioParamUndo::getHistoryCount() const
{
    CLockGuard guard(undoLock);
    return history ? history->getCount() : 0;
}

// ---- CAudioParamRegistry::CUndoSink ----

CAudioParamRecorder* CAudioParamUndo::createUndoRecord(const CString& label)
{
    return createRecord(label);
}

void CAudioParamUndo::addUndoRecord(CAudioParamRecorder* record)
{
    CAudioParamUndoRecord* own = dynamic_cast<CAudioParamUndoRecord*>(record);
    if (!own)
    {
        delete record;
        return;
    }
    addRecord(own, false);
}

CAudioParamRegistry::CUndoSink::CHistory* CAudioParamUndo::detachHistory()
{
    CLockGuard guard(undoLock);
    CHistory* leaving = history;
    history = nullptr;
    return leaving;
}

void CAudioParamUndo::attachHistory(CHistory* attached)
{
    {
        CLockGuard guard(undoLock);
        delete history;
        // Histories only ever come from an object of this class; another kind is dropped.
        history = dynamic_cast<CAudioParamUndoHistory*>(attached);
        if (!history)
            delete attached;
    }
    onHistoryChanged();
}

CAudioParamRegistry::CUndoSink::CHistory* CAudioParamUndo::copyHistory() const
{
    CLockGuard guard(undoLock);
    return history ? history->clone() : nullptr;
}

void CAudioParamUndo::clearHistory()
{
    {
        CLockGuard guard(undoLock);
        delete history;
        history = nullptr;
    }
    onHistoryChanged();
}

} // namespace kel
