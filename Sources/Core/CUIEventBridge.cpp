#include "Core/CUIEventBridge.h"

#include "Core/CObjectEventBridgeHandler.h"
#include "Core/CSystem.h"

namespace kel
{

CUIEventBridge::CUIEventBridge(CObjectEventBridgeHandler* eventReceiver, CRunLoop* eventLoop)
    : receiver(eventReceiver), loop(eventLoop), clientId(eventLoop->addClient(this))
{
}

CUIEventBridge::~CUIEventBridge()
{
    loop->removeClient(clientId);
    CLockGuard guard(lock);
    for (auto& [id, event] : queued)
    {
        (void)id;
        delete event;
    }
}

CError* CUIEventBridge::post(CQueuedEvent& event)
{
    auto* copy = new CQueuedEvent(event);
    int32_t id;
    {
        CLockGuard guard(lock);
        id = nextId++;
        queued.set(id, copy);
    }
    if (CError* error = CSystem::sendEvent(loop, clientId, kEventMessage, id))
    {
        CLockGuard guard(lock);
        queued.erase(id);
        delete copy;
        KEL_CHECK(error);
    }
    return nullptr;
}

void CUIEventBridge::onRunLoopMessage(uint32_t message, intptr_t param)
{
    if (message != kEventMessage)
        return;
    CQueuedEvent* event = nullptr;
    {
        CLockGuard guard(lock);
        const int32_t id = static_cast<int32_t>(param);
        CQueuedEvent** found = queued.find(id);
        if (!found)
            return;
        event = *found;
        queued.erase(id);
    }
    // The receiver may destroy objects, even bridges; nothing of this carrier is used after it.
    CError* error = receiver->onQueuedEvent(*event);
    delete event;
    if (error)
        CSystem::showError(error);
}

int CUIEventBridge::getQueuedCount()
{
    CLockGuard guard(lock);
    return queued.getCount();
}

} // namespace kel
