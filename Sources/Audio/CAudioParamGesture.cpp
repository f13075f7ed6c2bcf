#include "Audio/CAudioParamGesture.h"

#include "Audio/CAudioExtParamHostBridge.h"

namespace kel
{

bool CAudioParamGesture::join(CAudioExtParamHostBridge* hostBridge, int index)
{
    for (const CMember& member : members)
    {
        if (member.hostBridge == hostBridge && member.index == index)
            return false;
    }
    members.add(CMember{hostBridge, index});
    return true;
}

void CAudioParamGesture::end()
{
    for (const CMember& member : members)
        member.hostBridge->onExtParamGesture(member.index, false);
    members.clear();
}

} // namespace kel
