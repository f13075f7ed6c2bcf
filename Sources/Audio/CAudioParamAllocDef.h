#pragma once

#include "Core/CObject.h"

namespace kel
{

// Binds a parameter name to a slot of the owning process's parameter array (tag
// audio:param-alloc; attributes `param-name`, not empty, and `index`, 0 or more). Processes list
// their allocations before their parameters; the process graph resolves them. Owned by the tree.
// [set-up thread]
class CAudioParamAllocDef : public CObject
{
public:
    CAudioParamAllocDef() = default;

    [[nodiscard]] CError* init() override;

    const CString& getParamName() const { return paramName; }
    int getIndex() const { return index; }

private:
    CString paramName;
    int index = 0;
};

} // namespace kel
