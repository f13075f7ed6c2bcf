#pragma once

#include "Audio/CAudioInterfaceBaseConnector.h"
#include "Core/CIntMap.h"

namespace kel
{

class CAudioInterfaceClientConnector;

// The base connector of a plug-in instance (tag audio:interface-base-connector-vst): the clients
// are the editors' client connectors in the same process. Each connects with connectClient and
// is given a client id; sendToClient copies a message into that connector's queue, which wakes
// the UI thread, and getClientSink hands the base's parameter listeners the same queue to use
// without the table's lock. Client messages arrive synchronously from the client connector's
// sendToBase.
//
// The instance's tree owns it; the client connectors are not owned: they disconnect themselves,
// and whatever is connected when this object goes is told so. The client table has a short lock
// of its own, innermost: held for list work and the copy into a queue. [connect, disconnect: the
// UI thread; sendToClient: any thread]
class CAudioInterfaceBaseConnectorVST : public CAudioInterfaceBaseConnector
{
public:
    CAudioInterfaceBaseConnectorVST() = default;

    static void registerClass(CClassInfo& info);
    // Disconnects every client connector.
    void detachLinks() override;

    // Files the client connector under a new id (from 1) and makes it known to the base.
    // [takes the processing lock]
    void connectClient(CAudioInterfaceClientConnector* clientConnector, int32_t& outClientId);
    // The base drops the client's state; nothing is sent to it afterwards. Unknown ids do
    // nothing. [takes the processing lock]
    void disconnectClient(int32_t clientId);
    int getClientCount() const;

    // Copies the message into the client connector's queue; an unknown client drops it.
    void sendToClient(int32_t clientId, const void* data, size_t bytes) override;
    // The client connector itself. [takes the client table's lock]
    CAudioInterfaceClientSink* getClientSink(int32_t clientId) override;

private:
    mutable CLock clientsLock;
    CIntMap<CAudioInterfaceClientConnector*> clients;
    int32_t nextClientId = 1;
};

} // namespace kel
