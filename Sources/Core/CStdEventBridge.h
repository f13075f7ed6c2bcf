#pragma once

#include "Core/CObjectEventBridgeHandler.h"

namespace kel
{

// The event bridge of a tree (tag ui:ui-event-bridge): delivers a queued event to its listener
// unless the listener has gone meanwhile, or another object with another objectId has taken its
// path; such events are dropped without a word. [set-up thread]
class CStdEventBridge : public CObjectEventBridgeHandler
{
public:
    static void registerClass(CClassInfo& info);

    [[nodiscard]] CError* onQueuedEvent(const CObjectEventBridge::CQueuedEvent& event) override;
};

} // namespace kel
