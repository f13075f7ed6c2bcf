#pragma once

#include "Audio/CAudioParam.h"

namespace kel
{

class CAudioParamContext;
struct CAudioParamChange;

// Follows the changes of one parameter (the interface base's listener that informs the clients,
// a host parameter). Called in the order of addition, under the parameter's lock and on the
// thread of the setter: a listener reads the parameter through the guard it is given (the lock
// is not recursive), queues rather than touches the UI, and reaches the host only
// through the context's deferred list. A change of group CAudioParamChange::kDefinitionGroup
// says that the parameter was bound to its definition. [any thread; under the parameter's lock]
class CAudioParamListener
{
public:
    virtual ~CAudioParamListener() = default;

    virtual void onParamChange(CAudioParam& param, const CAudioParamChange& change,
                               CAudioParamContext& context, const CAudioParam::CGuard& held) = 0;
};

} // namespace kel
