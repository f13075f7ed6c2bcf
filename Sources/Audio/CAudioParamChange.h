#pragma once

#include <cstdint>

namespace kel
{

class CAudioParamData;

// One change of a parameter's values: a run of items of one group. The values are
// itemCount * element size reals, element fastest, in converter units; for a string parameter
// they are ids into `strings`. The record does not own what it points to: it lives for one call
// of the setter and its listeners, who copy what they keep. [any thread]
struct CAudioParamChange
{
    // A change of this group announces that the parameter's definition changed (it was bound).
    static constexpr int kDefinitionGroup = 9999;

    int group = 0;
    int firstItem = 0;
    int itemCount = 0;
    const double* values = nullptr;
    // Table of the ids in values; null for a real parameter.
    const CAudioParamData* strings = nullptr;
    // The group ends after these items: items behind them are dropped (a reset or a load).
    bool isReplacing = false;
};

} // namespace kel
