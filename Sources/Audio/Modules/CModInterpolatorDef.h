#pragma once

#include "Audio/CAudioProcessDefBase.h"

namespace kel
{

// The definition of the upsampling stage of an oversampled graph (tag audio:modInterpolator). The
// definition loads with its flags so that a tree that declares one reads; this build has no such
// process, and creating one fails. [set-up thread; read-only afterwards]
class CModInterpolatorDef : public CAudioProcessDefBase
{
public:
    CModInterpolatorDef() = default;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* createProcess(CAudioProcessBase*& out) const override;
};

} // namespace kel
