#pragma once

#include "Core/CObject.h"
#include "Core/Platform/CLock.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kel
{

class CAudioInterfaceBase;
class CAudioInterfaceClientSink;
class CAudioParamRegistry;
class CMemoryReader;

// Carries messages between the clients of an instance and its CAudioInterfaceBase, on the audio
// side. processClientData takes one client message, parses its fields and calls the base (or,
// for presets, the registry the message names); a faulty message is an error for that message
// only and the connector goes on. How messages reach a client is the derived class's
// (sendToClient); the VST form hands them to client connectors in the same process.
//
// The instance's tree owns it; the base is not owned and is set by the base itself (its
// `base-connector` attribute), cleared in detachLinks. The processing lock serialises client
// messages and is the outermost lock of the interface: base connector, undo lock, registry,
// parameter. [any thread; processClientData takes the processing lock]
class CAudioInterfaceBaseConnector : public CObject
{
public:
    CAudioInterfaceBaseConnector() = default;

    static void registerClass(CClassInfo& info);
    void detachLinks() override;

    CAudioInterfaceBase* getBase() const { return base.load(); }
    // Not owned; null leaves it. Waits for a message being processed. [takes the processing lock]
    void setBase(CAudioInterfaceBase* interfaceBase);

    // Delivers one message to one client. Called under parameter locks: it must copy the bytes
    // and return at once. [any thread]
    virtual void sendToClient(int32_t clientId, const void* data, size_t bytes) = 0;
    // The lock-free road to a connected client, for senders that may be on the audio thread;
    // null where the connector has none (sendToClient serves them then). Valid until the client
    // is removed from the base, which drops every listener that holds it first.
    // [ui thread: the client's calls]
    virtual CAudioInterfaceClientSink* getClientSink(int32_t clientId)
    {
        (void)clientId;
        return nullptr;
    }
    // Handles one message of a client: "No base object defined." without a base, "Invalid data
    // type %1." for a type that no client sends, else the handler's error, if any.
    // [any thread; takes the processing lock]
    [[nodiscard]] virtual CError* processClientData(int32_t clientId, const void* data,
                                                    size_t bytes);

protected:
    CLock& getProcessingLock() { return processingLock; }
    // processClientData's work, for a caller that holds the processing lock.
    [[nodiscard]] CError* processClientDataLocked(int32_t clientId, const void* data, size_t bytes);

private:
    [[nodiscard]] CError* dispatch(CAudioInterfaceBase& interfaceBase, int32_t clientId,
                                   int32_t type, CMemoryReader& in);
    [[nodiscard]] CError* dispatchRegistry(CAudioInterfaceBase& interfaceBase, int32_t clientId,
                                           int32_t type, CMemoryReader& in);
    // The registry of that object name beside the base.
    [[nodiscard]] CError* getRegistry(CAudioInterfaceBase& interfaceBase,
                                      const CString& registryName,
                                      CAudioParamRegistry*& outRegistry);
    // 15 and 16: the payload, or the error's text, as message 39.
    [[nodiscard]] CError* answerAcquire(CAudioInterfaceBase& interfaceBase, int32_t clientId,
                                        int32_t type, CMemoryReader& in);

    CLock processingLock;
    // Not owned; cleared in detachLinks.
    std::atomic<CAudioInterfaceBase*> base{nullptr};
};

} // namespace kel
