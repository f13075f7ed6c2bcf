#pragma once

#include "Core/CArray.h"
#include "Core/CObject.h"

namespace kel
{

// Derives destination parameters from source parameters through a filter (attributes `src` and
// `dst`, comma-separated names, neither empty). Carried for other products: no tree of this one
// has it, and only its definition is read. Owned by the tree. [set-up thread]
class CAudioParamFilterDef : public CObject
{
public:
    CAudioParamFilterDef() = default;

    [[nodiscard]] CError* init() override;

    const CArray<CString>& getSourceNames() const { return sourceNames; }

private:
    CArray<CString> sourceNames;
    CArray<CString> destinationNames;
};

} // namespace kel
