#pragma once

#include "Core/CObject.h"
#include "Core/Platform/CLock.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kel
{

class CAudioInterfaceClient;

// Carries messages between a CAudioInterfaceClient and the audio side, on the UI side. Messages
// from the audio side may arrive on any thread: queueBaseData copies each into the pending queue
// and, when the queue was empty, posts the event `process-base-data-proxy` to this object, which
// its event bridge delivers on the UI thread; there processBaseData hands the whole queue to the
// client. `process-base-data` is the direct form, for a sender already on the UI thread. How
// messages reach the audio side is the derived class's (sendToBase).
//
// The UI tree owns it; the client is not owned (it sets itself as the client) and is cleared in
// detachLinks. Locks: the processing lock around the client's handling, the queue lock inside
// everything, for list work only. [queueBaseData: any thread; the rest: the UI thread]
class CAudioInterfaceClientConnector : public CObject
{
public:
    CAudioInterfaceClientConnector() = default;
    // Frees messages still queued.
    ~CAudioInterfaceClientConnector() override;

    // The two event procedures.
    static void registerClass(CClassInfo& info);
    // Listens for its own two events on the application's notify server.
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    CAudioInterfaceClient* getClient() const { return client.load(); }
    // Not owned; null leaves it.
    void setClient(CAudioInterfaceClient* interfaceClient) { client.store(interfaceClient); }

    // Appends a copy of one message of the audio side. Never calls the client. [any thread;
    // takes the queue lock]
    void queueBaseData(const void* data, size_t bytes);
    int getQueuedCount() const;
    // Hands every queued message to the client, those queued meanwhile too. A message's error
    // does not stop the others: the first comes back, later ones go to the error report. Without
    // a client the queue is dropped: "No client object defined.". May be called again from a
    // handler (acquirePreset waiting for its answer). [ui thread; takes the processing lock]
    [[nodiscard]] virtual CError* processBaseData();
    // Delivers one message to the audio side. [ui thread]
    [[nodiscard]] virtual CError* sendToBase(const void* data, size_t bytes) = 0;

protected:
    [[nodiscard]] CError* onProcessBaseData(const CAttrMap& params);
    [[nodiscard]] CError* onProcessBaseDataProxy(const CAttrMap& params);

private:
    struct CBlock
    {
        CBlock* next;
        size_t bytes;
        uint8_t* data() { return reinterpret_cast<uint8_t*>(this + 1); }
    };

    // Takes the whole queue; null when empty.
    CBlock* takeQueue();
    static void freeChain(CBlock* chain);

    std::atomic<CAudioInterfaceClient*> client{nullptr};
    CLock processingLock;
    // The thread inside processBaseData, so that a nested call does not take the lock again.
    std::atomic<uint64_t> processingThread{0};

    mutable CLock queueLock;
    CBlock* head = nullptr;
    CBlock* tail = nullptr;
    int queuedCount = 0;
    // A proxy event is on its way; cleared when the queue is taken.
    bool isPosted = false;
};

} // namespace kel
