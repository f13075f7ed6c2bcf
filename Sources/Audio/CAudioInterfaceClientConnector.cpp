#include "Audio/CAudioInterfaceClientConnector.h"

#include "Audio/CAudioInterfaceClient.h"
#include "Core/CAllocator.h"
#include "Core/CSystem.h"
#include "Core/Platform/CThisThread.h"

#include <cstring>

namespace kel
{

namespace
{
const char* const kEventDirect = "process-base-data";
const char* const kEventProxy = "process-base-data-proxy";
} // namespace

CAudioInterfaceClientConnector::~CAudioInterfaceClientConnector()
{
    leaveRunLoop();
    dropQueue();
}

void CAudioInterfaceClientConnector::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addEventProc<CAudioInterfaceClientConnector>(
        kEventDirect, &CAudioInterfaceClientConnector::onProcessBaseData);
    info.addEventProc<CAudioInterfaceClientConnector>(
        kEventProxy, &CAudioInterfaceClientConnector::onProcessBaseDataProxy);
}

CError* CAudioInterfaceClientConnector::init()
{
    KEL_CHECK(CObject::init());
    if (queue.getCapacity() == 0 && !queue.init(kQueueCells))
        return KEL_ERROR("@kelstr_CAudioInterfaceClientConnector_init_NoMemory Out of memory.");
    if (!runLoop)
    {
        runLoop = CRunLoop::forThisThread();
        if (runLoop)
        {
            loopClientId = runLoop->addClient(&loopClient);
            signal = runLoop->addSignal(loopClientId, 0);
        }
    }
    KEL_CHECK(listenObject(CString("."), CString(kEventDirect), CString(kEventDirect)));
    KEL_CHECK(listenObject(CString("."), CString(kEventProxy), CString(kEventProxy)));
    return nullptr;
}

void CAudioInterfaceClientConnector::detachLinks()
{
    client.store(nullptr);
    leaveRunLoop();
    CObject::detachLinks();
}

void CAudioInterfaceClientConnector::leaveRunLoop()
{
    if (!runLoop)
        return;
    runLoop->removeSignal(signal);
    runLoop->removeClient(loopClientId);
    signal = -1;
    loopClientId = 0;
    runLoop = nullptr;
}

void CAudioInterfaceClientConnector::CLoopClient::onRunLoopMessage(uint32_t, intptr_t)
{
    if (CError* error = connector.processBaseData())
        CSystem::showError(error);
}

bool CAudioInterfaceClientConnector::queueBaseData(const void* data, size_t bytes)
{
    uint8_t* block = nullptr;
    if (bytes > kCellBytes)
    {
        // Only the large messages (definitions, preset lists) allocate; their senders are
        // never the audio thread.
        block = static_cast<uint8_t*>(CAllocator::alloc(bytes));
        if (block)
            std::memcpy(block, data, bytes);
    }
    const bool isQueued =
        (bytes <= kCellBytes || block) && queue.push(
                                              [&](CCell& cell)
                                              {
                                                  cell.bytes = static_cast<uint32_t>(bytes);
                                                  cell.block = block;
                                                  if (!block && bytes > 0)
                                                      std::memcpy(cell.inPlace, data, bytes);
                                              });
    if (isQueued)
    {
        queuedCount.fetch_add(1, std::memory_order_relaxed);
    }
    else
    {
        CAllocator::free(block);
        lostCount.fetch_add(1, std::memory_order_relaxed);
        hasLost.store(true, std::memory_order_release);
    }
    if (!isWakePending.exchange(true, std::memory_order_acq_rel))
        wakeUiThread();
    return isQueued;
}

void CAudioInterfaceClientConnector::wakeUiThread()
{
    if (signal >= 0)
    {
        runLoop->raiseSignal(signal);
        return;
    }
    // No run loop on the UI thread: the event road, which allocates and locks. Always queued,
    // even from the UI thread: the sender may hold the audio side's locks, and the client must
    // not run inside them.
    CAttrMap params;
    if (CError* error = sendEvent(CString(kEventProxy), params, true))
        CSystem::showError(error);
}

void CAudioInterfaceClientConnector::dropQueue()
{
    while (queue.pop(
        [&](CCell& cell)
        {
            CAllocator::free(cell.block);
            cell.block = nullptr;
        }))
        queuedCount.fetch_sub(1, std::memory_order_relaxed);
}

CError* CAudioInterfaceClientConnector::processBaseData()
{
    const uint64_t self = CThisThread::id();
    const bool isNested = processingThread.load() == self;
    if (!isNested)
    {
        processingLock.lock();
        processingThread.store(self);
    }
    // From here on a new message wakes the thread again.
    isWakePending.store(false, std::memory_order_release);
    CError* first = nullptr;
    const auto report = [&](CError* error)
    {
        if (!error)
            return;
        error = KEL_FRAME(error);
        if (first)
            CSystem::showError(error);
        else
            first = error;
    };
    bool isNoClientReported = false;
    for (;;)
    {
        CAudioInterfaceClient* current = client.load();
        CError* error = nullptr;
        const bool isTaken = queue.pop(
            [&](CCell& cell)
            {
                uint8_t* block = cell.block;
                cell.block = nullptr;
                // The message is read in its cell: pushers cannot reach it before the pop ends,
                // and a handler that pumps again (acquirePreset) pops the cells behind it.
                if (current)
                    error = current->processBaseData(block ? block : cell.inPlace, cell.bytes);
                CAllocator::free(block);
            });
        if (!isTaken)
            break;
        queuedCount.fetch_sub(1, std::memory_order_relaxed);
        if (!current && !isNoClientReported)
        {
            isNoClientReported = true;
            if (!first)
                first = KEL_ERROR("@kelstr_CAudioInterfaceClientConnector_onProcessBaseData_"
                                  "NoClientObject No client object defined.");
        }
        report(error);
    }
    // Messages were lost to a full queue: the audio side tells the client its state again.
    if (hasLost.exchange(false, std::memory_order_acq_rel))
    {
        if (CAudioInterfaceClient* current = client.load())
            report(current->subscribeAll());
    }
    if (!isNested)
    {
        processingThread.store(0);
        processingLock.unlock();
    }
    return first;
}

CError* CAudioInterfaceClientConnector::onProcessBaseData(const CAttrMap&)
{
    KEL_CHECK(processBaseData());
    return nullptr;
}

CError* CAudioInterfaceClientConnector::onProcessBaseDataProxy(const CAttrMap&)
{
    KEL_CHECK(processBaseData());
    return nullptr;
}

} // namespace kel
