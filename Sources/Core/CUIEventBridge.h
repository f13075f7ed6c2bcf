#pragma once

#include "Core/CIntMap.h"
#include "Core/CObjectEventBridge.h"
#include "Core/Platform/CLock.h"
#include "Core/Platform/CRunLoop.h"

namespace kel
{

class CObjectEventBridgeHandler;

// The carrier that runs on a thread's run loop. post files the event under a serial number and
// posts message 5120 with that number to the loop; the loop delivers it on its thread, where the
// event is taken out and handed to the receiver. Errors of the receiver go to the error window.
// Owned by its receiver; it must be destroyed on the loop's thread, and events still queued then
// are dropped. [post: any thread, takes the carrier's lock; the rest: the loop's thread]
class CUIEventBridge : public CObjectEventBridge, public CRunLoop::CClient
{
public:
    static constexpr uint32_t kEventMessage = 5120;

    CUIEventBridge(CObjectEventBridgeHandler* eventReceiver, CRunLoop* eventLoop);
    ~CUIEventBridge() override;

    [[nodiscard]] CError* post(CQueuedEvent& event) override;
    void onRunLoopMessage(uint32_t message, intptr_t param) override;

    int getQueuedCount();

private:
    CObjectEventBridgeHandler* receiver; // the owner
    CRunLoop* loop;                      // not owned; outlives the carrier
    CRunLoop::ClientId clientId;
    CLock lock{4000};
    int32_t nextId = 0;
    CIntMap<CQueuedEvent*> queued;
};

} // namespace kel
