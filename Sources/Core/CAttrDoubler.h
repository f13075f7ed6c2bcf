#pragma once

#include "Core/CObject.h"

namespace kel
{

// Copies one value to an attribute of several objects (tag core:attr-doubler). Attributes:
// "value" (usually a live link, "{*/^ width}"), "target" (object paths separated by blanks,
// commas or semicolons, mandatory) and "attr" (the attribute set on each target). Every change of
// value is set, as text, on each target in order. [set-up thread]
class CAttrDoubler : public CObject
{
public:
    static void registerClass(CClassInfo& info);

    // Checks that every target exists.
    [[nodiscard]] CError* init() override;

private:
    [[nodiscard]] CError* attrValue();
    // The target paths, in order.
    void splitTargets(CArray<CString, 4>& outPaths) const;
};

} // namespace kel
