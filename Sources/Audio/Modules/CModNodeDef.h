#pragma once

#include "Audio/CAudioProcessDefBase.h"

namespace kel
{

// The definition of a node process (tag audio:modNode), the fan-out point of a graph; it has no
// parameters. Makes a CModNode. [set-up thread; read-only afterwards]
class CModNodeDef : public CAudioProcessDefBase
{
public:
    CModNodeDef() = default;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* createProcess(CAudioProcessBase*& out) const override;
};

} // namespace kel
