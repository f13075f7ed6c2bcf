#pragma once

#include "Core/CCheckedObject.h"

namespace kel
{

// The listening side of a CBridgeBase: told when the watched thing has changed. Owned by whoever
// made it, which also registers and unregisters it. Called on the thread that made the change,
// under no lock of the watched thing. [any thread; the setter's]
class CBridge : public CCheckedObject
{
public:
    ~CBridge() override = default;
    virtual void onBridgeNotify() = 0;
};

} // namespace kel
