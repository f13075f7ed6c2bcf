#pragma once

#include "Core/CArray.h"

namespace kel
{

class CAudioExtParamHostBridge;

// One user gesture as the host sees it (a knob drag, a wheel until it rests, a reset): every
// host parameter that a change of the gesture really moves has its edit opened before its first
// value and closed when the gesture ends, so that the host writes touch automation in one piece
// and learns the parameter the user touched. A gesture that moved nothing tells the host nothing.
//
// A host parameter joins under its parameter's lock and delivers the opening through the change
// context's deferred list, ahead of its value; end runs with no lock held. Owned by the open
// undo record of the client that makes the gesture. [ui thread: the client's changes]
class CAudioParamGesture
{
public:
    CAudioParamGesture() = default;
    CAudioParamGesture(const CAudioParamGesture&) = delete;
    CAudioParamGesture& operator=(const CAudioParamGesture&) = delete;

    // Files the host parameter index of hostBridge; true when it is new to the gesture, so
    // that its opening is due.
    bool join(CAudioExtParamHostBridge* hostBridge, int index);
    // Closes the edit of every host parameter that joined, in the order they joined, and
    // empties the gesture. Nothing when none joined.
    void end();
    int getCount() const { return members.getCount(); }

private:
    struct CMember
    {
        CAudioExtParamHostBridge* hostBridge;
        int index;
    };
    CArray<CMember, 4> members;
};

} // namespace kel
