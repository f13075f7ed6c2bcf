#pragma once

#include "Audio/CAudioInterfaceClientSink.h"
#include "Core/CBoundedQueue.h"
#include "Core/CObject.h"
#include "Core/Platform/CLock.h"
#include "Core/Platform/CRunLoop.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kel
{

class CAudioInterfaceClient;

// Carries messages between a CAudioInterfaceClient and the audio side, on the UI side. Messages
// from the audio side may arrive on any thread, the audio thread among them: queueBaseData copies
// each into a queue of fixed cells made at init (a larger message brings a block of its own) and
// raises this connector's signal on the UI thread's run loop, all without a lock and, for a
// message that fits a cell, without allocating. The signal's delivery on the UI thread hands the
// whole queue to the client (processBaseData). `process-base-data` is the direct form, for a
// sender already on the UI thread; `process-base-data-proxy` is the road of a connector made where
// the thread has no run loop.
//
// A message that finds the queue full is dropped and the fact remembered: the next delivery
// asks the audio side for everything the client follows again (subscribeAll), so that the
// client ends in step.
//
// The UI tree owns it; the client is not owned (it sets itself as the client) and is cleared in
// detachLinks. The processing lock is held around the client's handling.
// [queueBaseData: any thread; the rest: the UI thread]
class CAudioInterfaceClientConnector : public CObject, public CAudioInterfaceClientSink
{
public:
    // Cells of the queue, and the bytes a cell holds in place.
    static constexpr int kQueueCells = 1024;
    static constexpr size_t kCellBytes = kInPlaceBytes;

    CAudioInterfaceClientConnector() = default;
    // Frees messages still queued.
    ~CAudioInterfaceClientConnector() override;

    // The two event procedures.
    static void registerClass(CClassInfo& info);
    // Makes the queue, takes a signal on this thread's run loop, and listens for its own two
    // events on the application's notify server.
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    CAudioInterfaceClient* getClient() const { return client.load(); }
    // Not owned; null leaves it.
    void setClient(CAudioInterfaceClient* interfaceClient) { client.store(interfaceClient); }

    // Appends a copy of one message of the audio side. Never calls the client.
    // [any thread; lock-free; allocates only for a message larger than a cell]
    bool queueBaseData(const void* data, size_t bytes) override;
    int getQueuedCount() const { return queuedCount.load(std::memory_order_relaxed); }
    // Messages dropped because the queue was full, since the start.
    uint64_t getLostCount() const { return lostCount.load(std::memory_order_relaxed); }
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
    struct CCell
    {
        uint32_t bytes = 0;
        // A message larger than kCellBytes, from CAllocator; null when it is in place.
        uint8_t* block = nullptr;
        uint8_t inPlace[kCellBytes];
    };

    // Receives the signal on the UI thread's run loop.
    class CLoopClient : public CRunLoop::CClient
    {
    public:
        explicit CLoopClient(CAudioInterfaceClientConnector& owner) : connector(owner) {}
        void onRunLoopMessage(uint32_t message, intptr_t param) override;

    private:
        CAudioInterfaceClientConnector& connector;
    };

    // Gets the UI thread to call processBaseData.
    void wakeUiThread();
    void leaveRunLoop();
    // Frees whatever is queued, unread.
    void dropQueue();

    std::atomic<CAudioInterfaceClient*> client{nullptr};
    CLock processingLock;
    // The thread inside processBaseData, so that a nested call does not take the lock again.
    std::atomic<uint64_t> processingThread{0};

    CBoundedQueue<CCell> queue;
    std::atomic<int> queuedCount{0};
    std::atomic<uint64_t> lostCount{0};
    std::atomic<bool> hasLost{false};
    // The UI thread has been woken and has not started to read yet.
    std::atomic<bool> isWakePending{false};

    CLoopClient loopClient{*this};
    CRunLoop* runLoop = nullptr;
    CRunLoop::ClientId loopClientId = 0;
    int signal = -1;
};

} // namespace kel
