#pragma once

#include "Audio/CAudioInterfaceClientConnector.h"

#include <atomic>

namespace kel
{

class CAudioInterfaceBaseConnectorVST;

// The client connector of a plug-in editor (tag audio:interface-client-connector-vst): it joins
// the instance's base connector in the same process (connect) and hands each message to it
// synchronously, so that an answer is queued here by the time sendToBase returns.
//
// The editor's UI tree owns it; the base connector is not owned: disconnect (also at detachLinks)
// leaves it, and a base connector that goes first tells this one (onBaseConnectorGone).
// [ui thread; onBaseConnectorGone: the instance's thread]
class CAudioInterfaceClientConnectorVST : public CAudioInterfaceClientConnector
{
public:
    CAudioInterfaceClientConnectorVST() = default;

    static void registerClass(CClassInfo& info);
    void detachLinks() override;

    // Joins baseConnector, leaving any earlier one, and takes the client id it hands out.
    void connect(CAudioInterfaceBaseConnectorVST& baseConnector);
    void disconnect();
    bool isConnected() const { return baseConnector.load() != nullptr; }

    // "Not connected to the audio side." without a base connector; else the base connector's
    // answer to the message.
    [[nodiscard]] CError* sendToBase(const void* data, size_t bytes) override;

    // The base connector is ending; it has already dropped this client.
    void onBaseConnectorGone(const CAudioInterfaceBaseConnectorVST* leaving);

private:
    // Not owned; cleared by disconnect and onBaseConnectorGone.
    std::atomic<CAudioInterfaceBaseConnectorVST*> baseConnector{nullptr};
    int32_t clientId = 0;
};

} // namespace kel
