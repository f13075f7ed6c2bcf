#include "Audio/CAudioParamContext.h"

namespace kel
{

void CAudioParamContext::addDeferred(CDeferredTarget* target, double value)
{
    for (Deferred& entry : deferred)
    {
        if (entry.target == target)
        {
            entry.value = value;
            return;
        }
    }
    deferred.add(Deferred{target, value});
}

void CAudioParamContext::runDeferred()
{
    // A target may set further parameters with this context: take the list out first, so that
    // what they collect is delivered by the next run and this loop sees a stable list.
    CArray<Deferred, 8> due(static_cast<CArray<Deferred, 8>&&>(deferred));
    deferred.clear();
    for (const Deferred& entry : due)
        entry.target->onDeferredValue(entry.value);
}

} // namespace kel
