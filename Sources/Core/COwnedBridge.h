#pragma once

#include "Core/CBridge.h"

namespace kel
{

// A bridge that passes the notification to a member function of its owner, usually a member of
// that owner. [any thread; the setter's]
template <class TOwner> class COwnedBridge : public CBridge
{
public:
    using Handler = void (TOwner::*)();

    COwnedBridge(TOwner* bridgeOwner, Handler onChange) : owner(bridgeOwner), handler(onChange) {}

    void onBridgeNotify() override { (owner->*handler)(); }
    TOwner* getOwner() const { return owner; }

private:
    TOwner* owner; // not owned: the owner owns the bridge
    Handler handler;
};

} // namespace kel
