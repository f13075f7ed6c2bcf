#pragma once

#include <cstdint>

namespace kel
{

class CAudioParam;
class CAudioParamContext;
struct CAudioParamChange;

// The collector's side of a parameter change: the queue that takes changes to the audio side, and
// the event bridge that publishes them. The collector implements it and owns its parameters; a
// change context may name another sink as its queue (a batch being built). Both operations are
// called under the parameter's lock: they copy what they keep (the change's values point into
// the parameter's storage) and never call the host. [any thread; under the parameter's lock]
class CAudioParamSink
{
public:
    virtual ~CAudioParamSink() = default;

    // Takes a change for the audio side. sequence grows by one with every change of this
    // parameter, so a later packet of the same parameter supersedes an earlier one.
    virtual void pushChange(CAudioParam& param, const CAudioParamChange& change,
                            uint32_t sequence) = 0;
    // Publishes the change on the collector's event bridge. The base publishes nothing.
    virtual void publishChange(CAudioParam& param, const CAudioParamChange& change,
                               CAudioParamContext& context);
};

} // namespace kel
