#pragma once

#include "Core/CObject.h"
#include "Core/CObjectEventBridge.h"

namespace kel
{

class CUIEventBridge;

// The object side of a thread bridge. At init it binds itself and, by inheritance, its subtree
// to the creating thread: events sent to listeners below it from that thread are calls, events
// from other threads travel through its carrier (a CUIEventBridge on the thread's run loop, made
// on first use) and arrive in onQueuedEvent. Owns the carrier. Lives on the thread that made it,
// which also pumps that run loop. [set-up thread]
class CObjectEventBridgeHandler : public CObject
{
public:
    CObjectEventBridgeHandler() = default;
    ~CObjectEventBridgeHandler() override;

    static void registerClass(CClassInfo& info);

    [[nodiscard]] CError* init() override;

    // A queued event has arrived on this thread. An error goes to the error window.
    [[nodiscard]] virtual CError* onQueuedEvent(const CObjectEventBridge::CQueuedEvent& event) = 0;

private:
    CUIEventBridge* carrier = nullptr; // owned
};

} // namespace kel
