#pragma once

namespace kel
{

class CAudioParamInfo;
struct CAudioParamChange;

// The UI side's view of one parameter of the audio side, as the interface client delivers it: the
// definition first (and again whenever it changes), then every change of the values. What the
// client passes lives for the call only; a listener copies what it keeps. Implemented by the UI's
// parameter bridges; registered with CAudioInterfaceClient::addParamListener, not owned by it.
// [ui thread; called from the client's processBaseData]
class CAudioInterfaceParamListener
{
public:
    virtual ~CAudioInterfaceParamListener() = default;

    // The definition as the audio side has it: layout, limits, converters (found by name in this
    // side's shared tree), so that text and normalised values need no round trip.
    virtual void onParamInfo(const CAudioParamInfo& info) = 0;
    // One change of the values, in converter units; string ids refer to change.strings.
    virtual void onParamChange(const CAudioParamChange& change) = 0;
};

} // namespace kel
