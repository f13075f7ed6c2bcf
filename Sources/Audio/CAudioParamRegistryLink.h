#pragma once

namespace kel
{

class CAudioParam;
class CAudioParamContext;
struct CAudioParamChange;

// What a parameter tells a non-master registry it feeds: a preset-name or group-names parameter
// calls its link on every change, before the bridge and the listeners. The registry implements
// it; the parameter does not own it. [any thread; under the parameter's lock]
class CAudioParamRegistryLink
{
public:
    virtual ~CAudioParamRegistryLink() = default;

    virtual void onLinkedParamChange(CAudioParam& param, const CAudioParamChange& change,
                                     CAudioParamContext& context) = 0;
};

} // namespace kel
