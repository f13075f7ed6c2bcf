#pragma once

#include "Core/CCheckedObject.h"
#include "Core/Platform/CLock.h"

namespace kel
{

// The record of one root object of a plug-in instance's tree: its id among the roots and the
// counter that gives every object under the root its objectId. The application keeps one per root
// and owns it; the objects only point to it. The shared tree has none.
// [any thread; takeObjectId takes the owner's lock]
class CTreeOwner : public CCheckedObject
{
public:
    explicit CTreeOwner(int rootIdentifier = 0) : rootId(rootIdentifier) {}

    int getRootId() const { return rootId; }
    // The next serial number, starting at 0.
    int takeObjectId();

private:
    int rootId;
    CLock lock{4000};
    int nextObjectId = 0;
};

} // namespace kel
