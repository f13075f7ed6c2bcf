#include "Core/CNotifyServer.h"

#include "Core/CEventRecord.h"
#include "Core/CObjectEventBridge.h"
#include "Core/Platform/CThisThread.h"

namespace kel
{

namespace
{
// The bridge thread the calling thread stands in for; 0 for none.
thread_local uint64_t tStandIn = 0;
} // namespace

CNotifyServer::CStandIn::CStandIn(uint64_t standIn) : previous(tStandIn)
{
    tStandIn = standIn;
}

CNotifyServer::CStandIn::~CStandIn()
{
    tStandIn = previous;
}

namespace
{
// Fills the reserved keys that name the receiving object and its procedure.
void addListenerKeys(CAttrMap& params, const CObject* listener, const CString& procName)
{
    params.set(CString("listener"), CAttrValue(listener->getFullName()));
    params.set(CString("listener-id"), CAttrValue(static_cast<int32_t>(listener->getObjectId())));
    params.set(CString("listener-proc"), CAttrValue(procName));
}
} // namespace

CNotifyServer::~CNotifyServer()
{
    if (CObject::getEventService() == this)
        CObject::setEventService(nullptr);
    for (auto& [name, record] : records)
    {
        (void)name;
        delete record;
    }
}

void CNotifyServer::install()
{
    CObject::setEventService(this);
}

CError* CNotifyServer::addListener(CObject* listener, const CClassInfo::EventEntry& proc,
                                   const CString& procName, const CString& eventName,
                                   const CString& senderPath)
{
    CEventRecord* record;
    {
        CLockGuard guard(lock);
        CEventRecord*& filed = records[eventName];
        if (!filed)
            filed = new CEventRecord();
        record = filed;
        record->getLock().lock();
    }
    record->add(listener, proc, procName, senderPath);
    record->getLock().unlock();
    return nullptr;
}

void CNotifyServer::removeListener(CObject* listener, const CString& senderPath,
                                   const CString& eventName)
{
    // The server's lock stays taken: an emptied record goes, and a sender can only reach a
    // record through that lock.
    CLockGuard guard(lock);
    CEventRecord* const* filed = records.find(eventName);
    if (!filed)
        return;
    CEventRecord* record = *filed;
    record->getLock().lock();
    record->remove(listener, senderPath);
    const bool isEmpty = record->isEmpty();
    record->getLock().unlock();
    if (isEmpty)
    {
        records.erase(eventName);
        delete record;
    }
}

bool CNotifyServer::hasListeners(const CObject* sender, const CString& eventName) const
{
    CLockGuard guard(lock);
    CEventRecord* const* filed = records.find(eventName);
    if (!filed)
        return false;
    CArray<CEventRecord::CListener, 16> listeners;
    (*filed)->getLock().lock();
    (*filed)->collect(sender, listeners);
    (*filed)->getLock().unlock();
    return !listeners.isEmpty();
}

CError* CNotifyServer::send(CObject* sender, const CString& eventName, CAttrMap& params,
                            bool forceQueued)
{
    CEventRecord* record;
    {
        CLockGuard guard(lock);
        CEventRecord* const* filed = records.find(eventName);
        if (!filed)
            return nullptr;
        record = *filed;
        record->getLock().lock();
    }
    const uint64_t thisThread = CThisThread::id();
    CArray<CEventRecord::CListener, 16> listeners;
    CArray<CEventRecord::CListener, 16> calls;
    record->collect(sender, listeners);
    CError* postError = nullptr;
    for (const CEventRecord::CListener& listener : listeners)
    {
        const CObject* owner = listener.object->findEventBridgeOwner();
        if (!owner)
            continue;
        const uint64_t bridgeThread = owner->getBridgeThreadId();
        if (!forceQueued && (bridgeThread == thisThread || bridgeThread == tStandIn))
        {
            calls.add(listener);
            continue;
        }
        CObjectEventBridge* bridge = owner->getEventBridge();
        if (!bridge)
            continue;
        // The bridge looks the procedure up by name when it delivers, on the object then found
        // under the listener's path.
        CObjectEventBridge::CQueuedEvent event;
        event.params = params;
        addListenerKeys(event.params, listener.object, listener.procName);
        event.proc = listener.proc;
        event.procClass = &listener.object->getClassInfo();
        postError = bridge->post(event);
        if (postError)
            break;
    }
    record->getLock().unlock();
    KEL_CHECK(postError);

    for (const CEventRecord::CListener& call : calls)
    {
        if (call.proc.hasParams())
            KEL_CHECK((call.object->*call.proc.procWithParams)(params));
        else if (call.proc.proc)
            KEL_CHECK((call.object->*call.proc.proc)());
    }
    return nullptr;
}

CError* CNotifyServer::postToObject(CObject* target, const CString& procName, CAttrMap& params,
                                    bool& outIsQueued)
{
    outIsQueued = false;
    const CObject* owner = target->findEventBridgeOwner();
    CObjectEventBridge* bridge = owner ? owner->getEventBridge() : nullptr;
    const CClassInfo::EventEntry* proc = target->getClassInfo().findEventProc(procName);
    if (!bridge || !proc)
        return nullptr;
    CObjectEventBridge::CQueuedEvent event;
    event.params = params;
    addListenerKeys(event.params, target, procName);
    event.proc = *proc;
    event.procClass = &target->getClassInfo();
    KEL_CHECK(bridge->post(event));
    outIsQueued = true;
    return nullptr;
}

int CNotifyServer::getRecordCount()
{
    CLockGuard guard(lock);
    return records.getCount();
}

} // namespace kel
