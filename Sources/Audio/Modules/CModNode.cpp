#include "Audio/Modules/CModNode.h"

#include "Audio/CAudioProcessPort.h"
#include "Audio/CDCDAWContext.h"

namespace kel
{

void CModNode::process()
{
    const int frames = availableFrames();
    for (int p = 0; p < inputs.getCount() && p < outputs.getCount(); ++p)
    {
        CAudioProcessPort::CPacket packet;
        for (int channel = 0; channel < inputs[p]->getChannelCount(); ++channel)
        {
            while (inputs[p]->pop(channel, packet))
            {
                outputs[p]->publish(channel, packet.handle, packet.frames);
                conditions.context->release(packet.handle);
            }
        }
    }
    if (frames != CAudioProcessPort::kNothingQueued)
        advanceClock(frames);
}

} // namespace kel
