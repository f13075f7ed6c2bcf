#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CObject.h"
#include "Core/CStringMap.h"
#include "Core/Platform/CLock.h"

namespace kel
{

class CEventRecord;

// Carries named events between objects: objects listen (CObject::listenObject) for an event of a
// sender, senders send (CObject::sendEvent). A listener is called on the thread of the bridge it
// lives under: from that same thread the call is made inside send, after the listeners were
// copied, so that a listener may add or remove listeners, and one removed during the send is
// still called for it; from another thread the event is queued to the listener's bridge.
// Listeners under no bridge are skipped.
//
// The server keeps one CEventRecord per event name while the name has listeners, and owns them. It
// is installed as the objects' event service (install); the application keeps the process's one.
// Lock order: the server's lock, then a record's; no listener runs under either.
// [any thread; takes the server lock, then a record lock]
class CNotifyServer : public CCheckedObject, public CObject::CEventService
{
public:
    CNotifyServer() = default;
    // Uninstalls itself if it is the installed service.
    ~CNotifyServer() override;

    // Makes this the service CObject uses. [start-up]
    void install();

    [[nodiscard]] CError* addListener(CObject* listener, const CClassInfo::EventEntry& proc,
                                      const CString& procName, const CString& eventName,
                                      const CString& senderPath) override;
    void removeListener(CObject* listener, const CString& senderPath,
                        const CString& eventName) override;
    // params already hold "sender" and "event-name". The first error of a synchronous listener
    // ends the calls and comes back; so does a failure to queue.
    [[nodiscard]] CError* send(CObject* sender, const CString& eventName, CAttrMap& params,
                               bool forceQueued) override;

    // Queues a call of target's procedure procName through target's bridge, whatever the
    // calling thread: the way for an object to have something done after its own procedure has
    // returned (release-child-bridged). Without a bridge above target nothing is queued and
    // false comes back. [the target's thread]
    // While it lives, the calling thread stands in for the bridge thread standIn: events for
    // listeners of that bridge are calls here instead of queued. For a thread that pumps the
    // bridge thread's run loop in its place (an editor whose host gives no idle), under the
    // loop's pump lock, so that the two never run the tree at once. [the standing-in thread]
    class CStandIn
    {
    public:
        explicit CStandIn(uint64_t standIn);
        ~CStandIn();
        CStandIn(const CStandIn&) = delete;
        CStandIn& operator=(const CStandIn&) = delete;

    private:
        uint64_t previous;
    };

    // Whether anything listens to eventName of sender. [any thread; takes the locks]
    bool hasListeners(const CObject* sender, const CString& eventName) const;

    [[nodiscard]] static CError* postToObject(CObject* target, const CString& procName,
                                              CAttrMap& params, bool& outIsQueued);

    // Number of event names that have a record (for tests).
    int getRecordCount();

private:
    mutable CLock lock{4000};
    CStringMap<CEventRecord*> records;
};

} // namespace kel
