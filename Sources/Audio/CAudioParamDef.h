#pragma once

#include "Audio/CAudioParamInfo.h"
#include "Core/CObject.h"

namespace kel
{

// The definition of a parameter (tag audio:param): a node of the shared tree whose attributes
// say layout, flags, names, converters, limits and defaults. init reads them into the embedded
// CAudioParamInfo, which every CAudioParam bound to this definition copies. The tree owns the
// definition; the converters it refers to are siblings in the same tree and outlive it.
// Attributes, all expected: element-size, data-type, is-persistent, is-storable, is-global,
// is-discrete, is-single-group, visual-name, param-registry, converter, min-values, max-values,
// def-values. A persistent parameter is never storable; a persistent or storable one is always
// global. [set-up thread; read-only afterwards, read from any thread]
class CAudioParamDef : public CObject
{
public:
    CAudioParamDef() = default;

    [[nodiscard]] CError* init() override;

    const CAudioParamInfo& getInfo() const { return info; }

private:
    CAudioParamInfo info;
};

} // namespace kel
