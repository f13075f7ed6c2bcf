#include "Audio/Modules/CModOutput.h"

#include "Audio/CAudioEnv.h"
#include "Audio/CAudioProcessPort.h"
#include "Audio/CDCDAWContext.h"

namespace kel
{

void CModOutput::portCounts(int& inputCount, int& outCount) const
{
    inputCount = 1;
    outCount = 0;
}

void CModOutput::setOutputShape(bool isDouble, bool isInterleaved, int count)
{
    outputDouble = isDouble;
    outputInterleaved = isInterleaved;
    outputCount = count < 0 ? 0 : count;
}

void CModOutput::update(const CAudioParamCollector::CPacket*)
{
    if (env && env->getLatencyFrames() != latencyFrames)
        env->setLatencyFrames(latencyFrames);
}

void CModOutput::write(float** outs, int offset, int frames)
{
    writeRun(outs, offset, frames);
}

void CModOutput::write(double** outs, int offset, int frames)
{
    writeRun(outs, offset, frames);
}

template <typename Sample> void CModOutput::writeRun(Sample** outs, int offset, int frames)
{
    CAudioProcessPort* port = inputs.isEmpty() ? nullptr : inputs[0];
    CDCDAWContext* context = conditions.context;
    const int channels = outputCount;
    const int stride = outputInterleaved ? channels : 1;
    for (int channel = 0; channel < channels; ++channel)
    {
        Sample* dest = nullptr;
        if (outs)
            dest = outputInterleaved ? (outs[0] ? outs[0] + channel : nullptr) : outs[channel];
        int written = 0;
        CAudioProcessPort::CPacket packet;
        while (port && context && port->pop(channel, packet))
        {
            const double* samples = context->doubles(packet.handle);
            const int room = frames - written;
            const int count = packet.frames < room ? packet.frames : room;
            if (dest && samples)
            {
                Sample* at = dest + static_cast<size_t>(offset + written) * stride;
                for (int frame = 0; frame < count; ++frame)
                    at[frame * stride] = static_cast<Sample>(samples[frame]);
            }
            written += count;
            context->release(packet.handle);
        }
        if (!dest)
            continue;
        Sample* rest = dest + static_cast<size_t>(offset + written) * stride;
        for (int frame = 0; frame < frames - written; ++frame)
            rest[frame * stride] = Sample(0);
    }
    // Channels beyond the host's outputs are dropped.
    CAudioProcessPort::CPacket dropped;
    for (int channel = channels; port && context && channel < port->getChannelCount(); ++channel)
    {
        while (port->pop(channel, dropped))
            context->release(dropped.handle);
    }
}

} // namespace kel
