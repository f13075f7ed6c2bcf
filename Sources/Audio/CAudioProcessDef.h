#pragma once

#include "Audio/CAudioProcessDefBase.h"

namespace kel
{

// The definition of a container process: its children are the definitions of the processes it
// holds (in run order unless links say otherwise), the links between them (audio:process-link)
// and the parameters it declares. With `is-auto-links` the children are chained in their order.
// Tag audio:process-def. [set-up thread; read-only afterwards]
class CAudioProcessDef : public CAudioProcessDefBase
{
public:
    CAudioProcessDef() = default;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    [[nodiscard]] CError* createProcess(CAudioProcessBase*& out) const override;

    bool isAutoLinks() const { return autoLinks; }

private:
    bool autoLinks = true;
};

} // namespace kel
