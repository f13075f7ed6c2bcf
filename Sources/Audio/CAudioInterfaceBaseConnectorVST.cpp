#include "Audio/CAudioInterfaceBaseConnectorVST.h"

#include "Audio/CAudioInterfaceBase.h"
#include "Audio/CAudioInterfaceClientConnectorVST.h"
#include "Audio/CAudioInterfaceClientSink.h"

namespace kel
{

void CAudioInterfaceBaseConnectorVST::registerClass(CClassInfo& info)
{
    CAudioInterfaceBaseConnector::registerClass(info);
}

void CAudioInterfaceBaseConnectorVST::detachLinks()
{
    CIntMap<CAudioInterfaceClientConnector*> leaving;
    {
        CLockGuard guard(clientsLock);
        leaving = clients;
        clients.clear();
    }
    for (auto& [clientId, clientConnector] : leaving)
    {
        if (CAudioInterfaceBase* current = getBase())
            current->removeClient(clientId);
        if (auto* vst = dynamic_cast<CAudioInterfaceClientConnectorVST*>(clientConnector))
            vst->onBaseConnectorGone(this);
    }
    CAudioInterfaceBaseConnector::detachLinks();
}

void CAudioInterfaceBaseConnectorVST::connectClient(CAudioInterfaceClientConnector* clientConnector,
                                                    int32_t& outClientId)
{
    CLockGuard processing(getProcessingLock());
    {
        CLockGuard guard(clientsLock);
        outClientId = nextClientId++;
        clients.set(outClientId, clientConnector);
    }
    if (CAudioInterfaceBase* current = getBase())
        current->addClient(outClientId);
}

void CAudioInterfaceBaseConnectorVST::disconnectClient(int32_t clientId)
{
    CLockGuard processing(getProcessingLock());
    // The base first: once its listeners are gone nothing more is sent to the client.
    if (CAudioInterfaceBase* current = getBase())
        current->removeClient(clientId);
    CLockGuard guard(clientsLock);
    clients.erase(clientId);
}

int CAudioInterfaceBaseConnectorVST::getClientCount() const
{
    CLockGuard guard(clientsLock);
    return clients.getCount();
}

CAudioInterfaceClientSink* CAudioInterfaceBaseConnectorVST::getClientSink(int32_t clientId)
{
    CLockGuard guard(clientsLock);
    CAudioInterfaceClientConnector* const* found = clients.find(clientId);
    return found ? *found : nullptr;
}

void CAudioInterfaceBaseConnectorVST::sendToClient(int32_t clientId, const void* data, size_t bytes)
{
    // Held across the copy, so that a client connector cannot leave meanwhile.
    CLockGuard guard(clientsLock);
    CAudioInterfaceClientConnector* const* found = clients.find(clientId);
    if (found)
        (*found)->queueBaseData(data, bytes);
}

} // namespace kel
