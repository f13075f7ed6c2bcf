#pragma once

#include "Audio/CAudioProcessDef.h"

namespace kel
{

// The definition of the signal insertion node (tag audio:modZumbel): its parameters and their
// slots, `xfade-length` and `use-clear`. Its children are not chained (`is-auto-links` is off
// unless the tree says otherwise). [set-up thread; read-only afterwards]
class CModZumbelDef : public CAudioProcessDef
{
public:
    CModZumbelDef() = default;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    [[nodiscard]] CError* createProcess(CAudioProcessBase*& out) const override;

    bool usesClear() const { return useClear; }

private:
    bool useClear = true;
};

} // namespace kel
