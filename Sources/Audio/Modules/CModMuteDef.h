#pragma once

#include "Audio/CAudioProcessDefBase.h"

namespace kel
{

// The definition of the muting process (tag audio:modMute): parameter `mute`, `xfade-length`. Makes
// a CModMute. [set-up thread; read-only afterwards]
class CModMuteDef : public CAudioProcessDefBase
{
public:
    CModMuteDef() = default;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* createProcess(CAudioProcessBase*& out) const override;
};

} // namespace kel
