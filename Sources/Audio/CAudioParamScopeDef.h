#pragma once

#include "Core/CObject.h"

namespace kel
{

// Restricts a parameter to group 0 or element 0 inside a process (attributes `param-name`, not
// empty, `is-group0`, `is-element0`). Carried for other products: no tree of this one has it.
// Owned by the tree. [set-up thread]
class CAudioParamScopeDef : public CObject
{
public:
    CAudioParamScopeDef() = default;

    [[nodiscard]] CError* init() override;

    const CString& getParamName() const { return paramName; }
    bool isGroup0() const { return group0; }
    bool isElement0() const { return element0; }

private:
    CString paramName;
    bool group0 = false;
    bool element0 = false;
};

} // namespace kel
