#pragma once

#include "Core/CArray.h"
#include "Core/CObject.h"

namespace kel
{

class CAudioExtParam;
class CAudioExtParamHostBridge;

// The parameters the host sees, in host index order: the children of this object that are
// CAudioExtParam, in the order they were added (tag audio:ext-param-list). Complete once the tree
// has built it; the order never changes afterwards. The instance's tree owns it and its children.
// [built on the tree's thread; read by any thread afterwards]
class CAudioExtParamList : public CObject
{
public:
    CAudioExtParamList() = default;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* onChildAdded(CObject* child) override;
    void onChildRemoved(CObject* child) override;

    int getCount() const { return params.getCount(); }
    // The host parameter at index, or null outside the list.
    CAudioExtParam* getParam(int index) const;
    // Gives every parameter the road to the host and its index. [set-up thread]
    void attachHost(CAudioExtParamHostBridge* hostBridge);

private:
    // Not owned: children of this object, removed here before they go.
    CArray<CAudioExtParam*> params;
};

} // namespace kel
