#pragma once

#include "Audio/CAudioProcessDefBase.h"

namespace kel
{

// The definition of the bypass process (tag audio:modBypass): two inputs, parameters `enable` and
// `group-solo`, `xfade-length`. Makes a CModBypass. [set-up thread; read-only afterwards]
class CModBypassDef : public CAudioProcessDefBase
{
public:
    CModBypassDef() = default;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* createProcess(CAudioProcessBase*& out) const override;
};

} // namespace kel
