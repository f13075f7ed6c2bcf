#pragma once

#include "Core/CAttrValue.h"
#include "Core/CCheckedObject.h"
#include "Core/CClassInfo.h"
#include "Core/CError.h"

namespace kel
{

// The carrier of a thread bridge: it takes an event for a listener that lives on another thread
// and has it delivered there, in the order of posting. The event names its listener by the
// reserved parameters "listener" (path), "listener-id" (objectId) and "listener-proc" (procedure
// name); it also carries the procedure found when the listener registered, with the class it
// belongs to, for receivers that were not given the name. Owned by the bridge object
// (CObjectEventBridgeHandler) that made it. [post: any thread]
class CObjectEventBridge : public CCheckedObject
{
public:
    struct CQueuedEvent : public CCheckedObject
    {
        CAttrMap params;
        CClassInfo::EventEntry proc;
        // The class proc belongs to; the receiver calls proc only on an object of this class.
        const CClassInfo* procClass = nullptr;
    };

    ~CObjectEventBridge() override = default;

    // Takes the event; a failure of the system's queue comes back as an error.
    [[nodiscard]] virtual CError* post(CQueuedEvent& event) = 0;
};

} // namespace kel
