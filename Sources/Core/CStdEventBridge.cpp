#include "Core/CStdEventBridge.h"

namespace kel
{

void CStdEventBridge::registerClass(CClassInfo& info)
{
    CObjectEventBridgeHandler::registerClass(info);
}

CError* CStdEventBridge::onQueuedEvent(const CObjectEventBridge::CQueuedEvent& event)
{
    const CAttrValue* path = event.params.find(CString("listener"));
    if (!path)
        return nullptr;
    CObject* listener = findObject(path->getString());
    if (!listener)
        return nullptr;
    const CAttrValue* id = event.params.find(CString("listener-id"));
    if (!id || id->getInt() != listener->getObjectId())
        return nullptr;
    // By name when the sender gave one; otherwise the registered procedure, but only on an
    // object of the class it was taken from.
    CClassInfo::EventEntry proc;
    const CAttrValue* procName = event.params.find(CString("listener-proc"));
    if (procName && !procName->getString().isEmpty())
    {
        const CClassInfo::EventEntry* found =
            listener->getClassInfo().findEventProc(procName->getString());
        if (!found)
            return nullptr;
        proc = *found;
    }
    else if (event.procClass == &listener->getClassInfo())
        proc = event.proc;
    else
        return nullptr;
    if (proc.hasParams())
        KEL_CHECK((listener->*proc.procWithParams)(event.params));
    else if (proc.proc)
        KEL_CHECK((listener->*proc.proc)());
    return nullptr;
}

} // namespace kel
