#pragma once

namespace kel
{

class CAudioParam;
class CAudioParamStorage;
struct CAudioParamChange;

// An undo record as a parameter's setter sees it: it is shown the parameter's values right
// before a change is applied and right after, and keeps what it needs of the touched group (the
// undo history implements it). Called under the parameter's lock. [any thread; under the
// parameter's lock]
class CAudioParamRecorder
{
public:
    virtual ~CAudioParamRecorder() = default;

    virtual void recordBefore(const CAudioParam& param, const CAudioParamChange& change,
                              const CAudioParamStorage& values) = 0;
    virtual void recordAfter(const CAudioParam& param, const CAudioParamChange& change,
                             const CAudioParamStorage& values) = 0;
};

} // namespace kel
