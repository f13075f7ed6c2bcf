#pragma once

#include "Audio/CAudioProcessBase.h"

namespace kel
{

// A fan-out point: each packet that arrives at the input port goes to the output port's
// subscribers by reference. [as the base]
class CModNode : public CAudioProcessBase
{
public:
    CModNode() = default;

    void process() override;
};

} // namespace kel
