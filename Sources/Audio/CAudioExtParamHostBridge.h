#pragma once

namespace kel
{

// The road of a host parameter's change to the host: the instance implements it and turns each
// call into the host's automation call. Called after the parameter's lock has been released,
// once per burst of changes, on the thread that made the change; never for a change that came
// from the host itself. [any thread; no parameter lock held]
class CAudioExtParamHostBridge
{
public:
    virtual ~CAudioExtParamHostBridge() = default;

    virtual void onExtParamChange(int index, double valueNorm) = 0;
    // A user gesture opens (before its first change of the parameter) or ends.
    virtual void onExtParamGesture(int index, bool isBegin) = 0;
};

} // namespace kel
