#pragma once

#include "Core/CArray.h"
#include "Core/CBridge.h"
#include "Core/CString.h"

#include <mutex>

namespace kel
{

// The watched side of bridges: keeps a list of CBridges, each optionally filed under a topic (a
// data item's name), and calls them in the order they came. Used as a further base by the stores
// and registries that others follow. A bridge may be removed from any thread; removal waits for
// a notification under way, so that a bridge is never called after its removal returned. A
// bridge may change the watched thing again from its notification (the lock is recursive).
// [any thread; takes the bridge lock]
class CBridgeBase
{
public:
    CBridgeBase() = default;
    virtual ~CBridgeBase() = default;
    CBridgeBase(const CBridgeBase&) = delete;
    CBridgeBase& operator=(const CBridgeBase&) = delete;

    void addBridge(CBridge* bridge, const CString& topic = CString());
    void removeBridge(CBridge* bridge);
    // Every bridge.
    void notify();
    // The bridges filed under topic.
    void notify(const CString& topic);
    int getBridgeCount();

private:
    struct CEntry
    {
        CBridge* bridge;
        CString topic;
    };

    void notifyMatching(const CString* topic);

    std::recursive_mutex bridgeLock;
    CArray<CEntry, 4> bridges;
};

} // namespace kel
