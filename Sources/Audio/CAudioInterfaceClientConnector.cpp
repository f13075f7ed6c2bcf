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
    freeChain(head);
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
    KEL_CHECK(listenObject(CString("."), CString(kEventDirect), CString(kEventDirect)));
    KEL_CHECK(listenObject(CString("."), CString(kEventProxy), CString(kEventProxy)));
    return nullptr;
}

void CAudioInterfaceClientConnector::detachLinks()
{
    client.store(nullptr);
    CObject::detachLinks();
}

void CAudioInterfaceClientConnector::queueBaseData(const void* data, size_t bytes)
{
    auto* block = static_cast<CBlock*>(CAllocator::alloc(sizeof(CBlock) + bytes));
    if (!block)
        return;
    block->next = nullptr;
    block->bytes = bytes;
    if (bytes > 0)
        std::memcpy(block->data(), data, bytes);
    bool mustPost = false;
    {
        CLockGuard guard(queueLock);
        if (tail)
            tail->next = block;
        else
            head = block;
        tail = block;
        ++queuedCount;
        mustPost = !isPosted;
        isPosted = true;
    }
    if (!mustPost)
        return;
    // Always queued, even from the UI thread: the sender may hold the audio side's locks, and
    // the client must not run inside them.
    CAttrMap params;
    if (CError* error = sendEvent(CString(kEventProxy), params, true))
        CSystem::showError(error);
}

int CAudioInterfaceClientConnector::getQueuedCount() const
{
    CLockGuard guard(queueLock);
    return queuedCount;
}

CAudioInterfaceClientConnector::CBlock* CAudioInterfaceClientConnector::takeQueue()
{
    CLockGuard guard(queueLock);
    CBlock* chain = head;
    head = nullptr;
    tail = nullptr;
    queuedCount = 0;
    isPosted = false;
    return chain;
}

void CAudioInterfaceClientConnector::freeChain(CBlock* chain)
{
    while (chain)
    {
        CBlock* next = chain->next;
        CAllocator::free(chain);
        chain = next;
    }
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
    CError* first = nullptr;
    while (CBlock* chain = takeQueue())
    {
        CAudioInterfaceClient* current = client.load();
        if (!current)
        {
            freeChain(chain);
            if (!first)
                first = KEL_ERROR("@kelstr_CAudioInterfaceClientConnector_onProcessBaseData_"
                                  "NoClientObject No client object defined.");
            continue;
        }
        while (chain)
        {
            CBlock* next = chain->next;
            CError* error = current->processBaseData(chain->data(), chain->bytes);
            CAllocator::free(chain);
            chain = next;
            if (!error)
                continue;
            error->addFrame(__FILE__, __LINE__, kelErrorContextName());
            if (first)
                CSystem::showError(error);
            else
                first = error;
        }
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
