#pragma once

#include "Audio/CAudioProcessDefBase.h"

namespace kel
{

// The definition of the output process (tag audio:modOutput), which writes the graph's result to
// the host's buffers. Makes a CModOutput. [set-up thread; read-only afterwards]
class CModOutputDef : public CAudioProcessDefBase
{
public:
    CModOutputDef() = default;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* createProcess(CAudioProcessBase*& out) const override;
};

} // namespace kel
