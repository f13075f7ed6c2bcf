#include "Audio/CAudioInterfaceClientConnectorVST.h"

#include "Audio/CAudioInterfaceBaseConnectorVST.h"

namespace kel
{

void CAudioInterfaceClientConnectorVST::registerClass(CClassInfo& info)
{
    CAudioInterfaceClientConnector::registerClass(info);
}

void CAudioInterfaceClientConnectorVST::detachLinks()
{
    disconnect();
    CAudioInterfaceClientConnector::detachLinks();
}

void CAudioInterfaceClientConnectorVST::connect(CAudioInterfaceBaseConnectorVST& target)
{
    disconnect();
    int32_t id = 0;
    target.connectClient(this, id);
    clientId = id;
    baseConnector.store(&target);
}

void CAudioInterfaceClientConnectorVST::disconnect()
{
    CAudioInterfaceBaseConnectorVST* leaving = baseConnector.exchange(nullptr);
    if (leaving)
        leaving->disconnectClient(clientId);
    clientId = 0;
}

CError* CAudioInterfaceClientConnectorVST::sendToBase(const void* data, size_t bytes)
{
    CAudioInterfaceBaseConnectorVST* target = baseConnector.load();
    if (!target)
        return KEL_ERROR("@kelstr_CAudioInterfaceClientConnectorVST_sendToBase_NotConnected Not "
                         "connected to the audio side.");
    KEL_CHECK(target->processClientData(clientId, data, bytes));
    return nullptr;
}

void CAudioInterfaceClientConnectorVST::onBaseConnectorGone(
    const CAudioInterfaceBaseConnectorVST* leaving)
{
    CAudioInterfaceBaseConnectorVST* expected =
        const_cast<CAudioInterfaceBaseConnectorVST*>(leaving);
    baseConnector.compare_exchange_strong(expected, nullptr);
}

} // namespace kel
