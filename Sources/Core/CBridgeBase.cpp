#include "Core/CBridgeBase.h"

namespace kel
{

void CBridgeBase::addBridge(CBridge* bridge, const CString& topic)
{
    std::lock_guard<std::recursive_mutex> guard(bridgeLock);
    bridges.add(CEntry{bridge, topic});
}

void CBridgeBase::removeBridge(CBridge* bridge)
{
    std::lock_guard<std::recursive_mutex> guard(bridgeLock);
    for (int i = bridges.getCount() - 1; i >= 0; --i)
    {
        if (bridges[i].bridge == bridge)
            bridges.removeAt(i);
    }
}

void CBridgeBase::notify()
{
    notifyMatching(nullptr);
}

void CBridgeBase::notify(const CString& topic)
{
    notifyMatching(&topic);
}

void CBridgeBase::notifyMatching(const CString* topic)
{
    std::lock_guard<std::recursive_mutex> guard(bridgeLock);
    // A bridge may add or remove bridges from its notification: walk a copy, and skip those
    // that left meanwhile.
    const CArray<CEntry, 4> snapshot(bridges);
    for (const CEntry& entry : snapshot)
    {
        if (topic && entry.topic != *topic)
            continue;
        bool isStillThere = false;
        for (const CEntry& current : bridges)
            isStillThere = isStillThere || current.bridge == entry.bridge;
        if (isStillThere)
            entry.bridge->onBridgeNotify();
    }
}

int CBridgeBase::getBridgeCount()
{
    std::lock_guard<std::recursive_mutex> guard(bridgeLock);
    return bridges.getCount();
}

} // namespace kel
