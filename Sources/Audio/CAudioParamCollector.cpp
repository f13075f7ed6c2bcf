#include "Audio/CAudioParamCollector.h"

#include "Audio/CAudioEnv.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamClaimer.h"

namespace kel
{

// ---- CPacket ----

uint32_t CAudioParamCollector::CPacket::getGroupMask(const CAudioParam* param) const
{
    uint32_t mask = 0;
    for (const CEntry& entry : entries)
    {
        if (entry.param == param)
            mask |= groupBit(entry.group);
    }
    return mask;
}

bool CAudioParamCollector::CPacket::addChange(CAudioParam& param, const CAudioParamChange& change,
                                              uint32_t sequence, int elementSize,
                                              bool dropSuperseded)
{
    CEntry entry;
    entry.param = &param;
    entry.sequence = sequence;
    entry.group = change.group;
    entry.firstItem = change.firstItem;
    entry.itemCount = change.itemCount;
    entry.isReplacing = change.isReplacing;
    entry.valueCount = change.values ? change.itemCount * (elementSize > 0 ? elementSize : 1) : 0;
    if (dropSuperseded)
        dropCovered(entry);
    return appendEntry(entry, change.values);
}

bool CAudioParamCollector::CPacket::merge(const CPacket& later, bool dropSuperseded)
{
    bool isComplete = true;
    for (const CEntry& entry : later.entries)
    {
        if (dropSuperseded)
            dropCovered(entry);
        isComplete = appendEntry(entry, later.getValues(entry)) && isComplete;
    }
    return isComplete;
}

void CAudioParamCollector::CPacket::clear()
{
    entries.clear();
    values.clear();
    deadValues = 0;
}

bool CAudioParamCollector::CPacket::appendEntry(const CEntry& entry, const double* entryValues)
{
    CEntry stored = entry;
    stored.valueOffset = values.getCount();
    const int needed = values.getCount() + stored.valueCount;
    if (needed > values.getCapacity())
    {
        values.reserve(needed);
        if (needed > values.getCapacity())
            return false;
    }
    for (int i = 0; i < stored.valueCount; ++i)
        values.add(entryValues[i]);
    entries.add(stored);
    return true;
}

void CAudioParamCollector::CPacket::dropCovered(const CEntry& later)
{
    const int laterEnd = later.firstItem + later.itemCount;
    for (int i = entries.getCount() - 1; i >= 0; --i)
    {
        const CEntry& earlier = entries[i];
        if (earlier.param != later.param || earlier.group != later.group)
            continue;
        // A replacing change ends the group behind its items, so it covers everything from its
        // first item on; any other covers only the items it names.
        const bool isCovered =
            later.firstItem <= earlier.firstItem &&
            (later.isReplacing || earlier.firstItem + earlier.itemCount <= laterEnd) &&
            (later.isReplacing || !earlier.isReplacing);
        if (!isCovered)
            continue;
        deadValues += earlier.valueCount;
        entries.removeAt(i);
    }
    // A knob dragged while the audio is stopped keeps superseding into the same packet.
    if (deadValues > 256 && deadValues * 2 > values.getCount())
        compactValues();
}

void CAudioParamCollector::CPacket::compactValues()
{
    int write = 0;
    for (CEntry& entry : entries)
    {
        for (int i = 0; i < entry.valueCount; ++i)
            values[write + i] = values[entry.valueOffset + i];
        entry.valueOffset = write;
        write += entry.valueCount;
    }
    while (values.getCount() > write)
        values.removeLast();
    deadValues = 0;
}

// ---- CBatch ----

CAudioParamCollector::CBatch::~CBatch()
{
    if (!packet.isEmpty())
        collector.commitChanges(*this);
}

void CAudioParamCollector::CBatch::pushChange(CAudioParam& param, const CAudioParamChange& change,
                                              uint32_t sequence)
{
    // Nothing in a batch is dropped: commitChanges decides what supersedes what.
    if (!packet.addChange(param, change, sequence, param.getQueuedElementSize(), false))
        CDebugChannel::log(collector.kelErrorContextName(), "param change lost: out of memory");
}

void CAudioParamCollector::CBatch::publishChange(CAudioParam& param,
                                                 const CAudioParamChange& change,
                                                 CAudioParamContext& context)
{
    collector.publishChange(param, change, context);
}

// ---- CAudioParamCollector ----

CAudioParamCollector::CAudioParamCollector() : groupLimit(CAudioParam::kDefaultGroupLimit)
{
    // Made before any audio runs; without them (out of memory) every change takes the packet
    // road, as it did before the lane existed.
    lane.init(kLaneCapacity);
    lanePacket.entries.reserve(kLaneCapacity);
    lanePacket.values.reserve(kLaneCapacity * kLaneValues);
}

CAudioParamCollector::~CAudioParamCollector()
{
    delete mailbox.exchange(nullptr);
    freePacketChain(returned.exchange(nullptr));
    freePacketChain(spare);
    spare = nullptr;
    for (auto& named : names)
        delete named.second.param;
    names.clear();
}

void CAudioParamCollector::freePacketChain(CPacket* chain)
{
    while (chain)
    {
        CPacket* next = chain->nextReturned;
        delete chain;
        chain = next;
    }
}

void CAudioParamCollector::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioParamCollector::init()
{
    KEL_CHECK(CObject::init());
    const CString envPath = getAttrString("env", CString());
    if (!envPath.isEmpty())
        KEL_CHECK(findObjectChecked(envPath, env));
    return nullptr;
}

void CAudioParamCollector::detachLinks()
{
    CObject::detachLinks();
    env = nullptr;
    CLockGuard guard(nameLock);
    claimers.clear();
}

// ---- parameters ----

CAudioParam* CAudioParamCollector::getParam(const CString& paramName)
{
    CLockGuard guard(nameLock);
    if (CNameEntry* found = names.find(paramName))
        return found->param;
    auto* param = new CAudioParam(paramName, this);
    if (!param)
        return nullptr;
    param->setGroupLimit(groupLimit);
    CNameEntry& entry = names[paramName];
    entry.param = param;
    offerLocked(entry, nullptr);
    return param;
}

CAudioParam* CAudioParamCollector::findParam(const CString& paramName) const
{
    CLockGuard guard(nameLock);
    const CNameEntry* found = names.find(paramName);
    return found ? found->param : nullptr;
}

int CAudioParamCollector::getParamCount() const
{
    CLockGuard guard(nameLock);
    return names.getCount();
}

void CAudioParamCollector::getParams(CArray<CAudioParam*>& out) const
{
    CLockGuard guard(nameLock);
    for (const auto& named : names)
        out.add(named.second.param);
}

void CAudioParamCollector::setGroupLimit(int count)
{
    CLockGuard guard(nameLock);
    groupLimit = count;
    for (auto& named : names)
        named.second.param->setGroupLimit(count);
}

void CAudioParamCollector::noteElementSize(CAudioParam& param, int elementSize)
{
    param.setQueuedElementSize(elementSize > 1 ? elementSize : 1);
}

// ---- claimers ----

void CAudioParamCollector::addClaimer(CAudioParamClaimer* claimer)
{
    if (!claimer)
        return;
    CLockGuard guard(nameLock);
    if (claimers.contains(claimer))
        return;
    claimers.add(claimer);
    for (auto& named : names)
        offerLocked(named.second, claimer);
}

void CAudioParamCollector::removeClaimer(CAudioParamClaimer* claimer)
{
    CLockGuard guard(nameLock);
    const int index = claimers.indexOf(claimer);
    if (index >= 0)
        claimers.removeAt(index);
}

void CAudioParamCollector::offerLocked(CNameEntry& entry, CAudioParamClaimer* onlyTo)
{
    if (onlyTo)
    {
        if (entry.claimedByEnumerated)
            return;
        if (onlyTo->claimParam(*entry.param) && onlyTo->isEnumeratedClaimer())
            entry.claimedByEnumerated = true;
        return;
    }
    for (CAudioParamClaimer* claimer : claimers)
    {
        if (claimer->isEnumeratedClaimer() && claimer->claimParam(*entry.param))
        {
            entry.claimedByEnumerated = true;
            return;
        }
    }
    for (CAudioParamClaimer* claimer : claimers)
    {
        if (!claimer->isEnumeratedClaimer())
            claimer->claimParam(*entry.param);
    }
}

// ---- changes, changing side ----

CAudioParamCollector::CPacket* CAudioParamCollector::openPendingLocked()
{
    // Taking the packet back from the mailbox makes it ours again: either the audio side had not
    // taken it, and it goes on collecting, or it had, and we start a fresh one.
    if (CPacket* untaken = mailbox.exchange(nullptr, std::memory_order_acq_rel))
        return untaken;
    if (!spare)
        spare = returned.exchange(nullptr, std::memory_order_acquire);
    CPacket* fresh = spare;
    if (fresh)
    {
        spare = fresh->nextReturned;
        fresh->nextReturned = nullptr;
        fresh->clear();
        return fresh;
    }
    return new CPacket();
}

void CAudioParamCollector::publishLocked(CPacket* pending)
{
    // Room for a full lane, so that the audio side can move the lane in behind the packet
    // without growing it. Short of memory, what finds no room waits for the next take.
    pending->entries.reserve(pending->entries.getCount() + kLaneCapacity);
    pending->values.reserve(pending->values.getCount() + kLaneCapacity * kLaneValues);
    // Only the changing side stores into the mailbox, under the packet lock, and it emptied it
    // in openPendingLocked: nothing can be lost here.
    mailbox.store(pending, std::memory_order_release);
}

namespace
{
// Sequence numbers wrap: a is older than b when it lies behind it on the circle.
bool isOlder(uint32_t a, uint32_t b)
{
    return static_cast<int32_t>(a - b) < 0;
}
} // namespace

void CAudioParamCollector::dropStale(CPacket& taken)
{
    for (int i = 0; i < taken.entries.getCount();)
    {
        CEntry& entry = taken.entries[i];
        if (isOlder(entry.sequence, entry.param->getTakenSequence()))
        {
            taken.deadValues += entry.valueCount;
            taken.entries.removeAt(i);
            continue;
        }
        entry.param->setTakenSequence(entry.sequence);
        ++i;
    }
}

void CAudioParamCollector::drainLane(CPacket& target)
{
    while (target.entries.getCount() < target.entries.getCapacity() &&
           target.values.getCount() + kLaneValues <= target.values.getCapacity())
    {
        // Neither dropping nor appending grows the packet: the room was checked above.
        if (!lane.pop(
                [&](const CLaneRecord& record)
                {
                    CAudioParam* param = record.entry.param;
                    if (isOlder(record.entry.sequence, param->getTakenSequence()))
                        return;
                    param->setTakenSequence(record.entry.sequence);
                    if (!record.isBulk)
                        target.dropCovered(record.entry);
                    (void)target.appendEntry(record.entry, record.values);
                }))
            return;
    }
}

void CAudioParamCollector::addChange(CAudioParam& param, const CAudioParamChange& change,
                                     uint32_t sequence)
{
    const int elementSize = param.getQueuedElementSize();
    const int valueCount = change.values ? change.itemCount * elementSize : 0;
    if (change.itemCount >= 0 && valueCount <= kLaneValues &&
        lane.push(
            [&](CLaneRecord& record)
            {
                record.entry = CEntry();
                record.entry.param = &param;
                record.entry.sequence = sequence;
                record.entry.group = change.group;
                record.entry.firstItem = change.firstItem;
                record.entry.itemCount = change.itemCount;
                record.entry.isReplacing = change.isReplacing;
                record.entry.valueCount = valueCount;
                record.isBulk = isBulkUpdate();
                for (int i = 0; i < valueCount; ++i)
                    record.values[i] = change.values[i];
            }))
        return;
    CLockGuard guard(packetLock);
    CPacket* pending = openPendingLocked();
    if (!pending)
    {
        KEL_LOG("param change lost: out of memory");
        return;
    }
    if (!pending->addChange(param, change, sequence, elementSize, !isBulkUpdate()))
        KEL_LOG("param change lost: out of memory");
    publishLocked(pending);
}

void CAudioParamCollector::commitChanges(CBatch& batch)
{
    if (batch.packet.isEmpty())
        return;
    {
        CLockGuard guard(packetLock);
        CPacket* pending = openPendingLocked();
        if (!pending)
        {
            KEL_LOG("param batch lost: out of memory");
            batch.packet.clear();
            return;
        }
        if (!pending->merge(batch.packet, !isBulkUpdate()))
            KEL_LOG("param batch cut short: out of memory");
        publishLocked(pending);
    }
    batch.packet.clear();
}

void CAudioParamCollector::pushChange(CAudioParam& param, const CAudioParamChange& change,
                                      uint32_t sequence)
{
    addChange(param, change, sequence);
}

void CAudioParamCollector::publishChange(CAudioParam& param, const CAudioParamChange&,
                                         CAudioParamContext&)
{
    if (getBridgeCount() == 0)
        return;
    notify(param.getFullName());
    notify(CString());
}

// ---- changes, audio side ----

const CAudioParamCollector::CPacket* CAudioParamCollector::takeChanges()
{
    CPacket* taken = mailbox.exchange(nullptr, std::memory_order_acq_rel);
    if (taken)
        dropStale(*taken);
    if (lane.isEmpty())
        return taken;
    if (taken)
    {
        drainLane(*taken);
        return taken;
    }
    if (isLanePacketOut)
        return nullptr;
    lanePacket.clear();
    drainLane(lanePacket);
    if (lanePacket.isEmpty())
        return nullptr;
    isLanePacketOut = true;
    return &lanePacket;
}

void CAudioParamCollector::releaseChanges(const CPacket* packet)
{
    if (!packet)
        return;
    if (packet == &lanePacket)
    {
        isLanePacketOut = false;
        return;
    }
    // A stack pushed here and emptied whole on the changing side: no ABA, no lock.
    auto* given = const_cast<CPacket*>(packet);
    CPacket* head = returned.load(std::memory_order_relaxed);
    do
    {
        given->nextReturned = head;
    } while (!returned.compare_exchange_weak(head, given, std::memory_order_release,
                                             std::memory_order_relaxed));
}

bool CAudioParamCollector::hasPendingChanges() const
{
    return mailbox.load(std::memory_order_acquire) != nullptr || !lane.isEmpty();
}

} // namespace kel
