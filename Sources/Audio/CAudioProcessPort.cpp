#include "Audio/CAudioProcessPort.h"

#include "Audio/CDCDAWContext.h"

#include <cstring>

namespace kel
{

CAudioProcessPort::~CAudioProcessPort()
{
    dropAll();
    CAllocator::free(ring);
    CAllocator::free(heads);
    CAllocator::free(counts);
}

CError* CAudioProcessPort::setup(CDCDAWContext* dcdawContext, int channels)
{
    dropAll();
    context = dcdawContext;
    if (channels == channelCount && ring)
        return nullptr;
    CAllocator::free(ring);
    CAllocator::free(heads);
    CAllocator::free(counts);
    ring = nullptr;
    heads = nullptr;
    counts = nullptr;
    channelCount = 0;
    if (channels <= 0)
        return nullptr;
    ring = allocArray<CPacket>(static_cast<size_t>(channels * kRingLength));
    heads = allocArray<int>(static_cast<size_t>(channels));
    counts = allocArray<int>(static_cast<size_t>(channels));
    if (!ring || !heads || !counts)
        return KEL_ERROR("@kelstr_CAudioProcessPort_setup_NoMemory Out of memory.");
    for (int channel = 0; channel < channels; ++channel)
    {
        heads[channel] = 0;
        counts[channel] = 0;
    }
    channelCount = channels;
    return nullptr;
}

void CAudioProcessPort::subscribe(CAudioProcessPort* input)
{
    if (!input || subscribers.contains(input))
        return;
    subscribers.add(input);
    input->setConnected(true);
}

void CAudioProcessPort::release(uint32_t handle)
{
    if (context)
        context->release(handle);
}

void CAudioProcessPort::push(int channel, uint32_t handle, int frames)
{
    if (channel < 0 || channel >= channelCount || handle == CDCDAWContext::kInvalidHandle)
    {
        release(handle);
        return;
    }
    if (counts[channel] == kRingLength)
    {
        CPacket dropped;
        if (pop(channel, dropped))
            release(dropped.handle);
    }
    at(channel, (heads[channel] + counts[channel]) % kRingLength) = CPacket{handle, frames};
    ++counts[channel];
}

int CAudioProcessPort::getQueuedFrames(int channel) const
{
    if (channel < 0 || channel >= channelCount)
        return 0;
    int frames = 0;
    for (int i = 0; i < counts[channel]; ++i)
        frames += ring[channel * kRingLength + (heads[channel] + i) % kRingLength].frames;
    return frames;
}

int CAudioProcessPort::getAvailableFrames() const
{
    int frames = kNothingQueued;
    for (int channel = 0; channel < channelCount; ++channel)
    {
        const int queued = getQueuedFrames(channel);
        if (queued < frames)
            frames = queued;
    }
    return frames;
}

bool CAudioProcessPort::pop(int channel, CPacket& out)
{
    if (channel < 0 || channel >= channelCount || counts[channel] == 0)
        return false;
    out = at(channel, heads[channel]);
    heads[channel] = (heads[channel] + 1) % kRingLength;
    --counts[channel];
    return true;
}

uint32_t CAudioProcessPort::take(int channel, int frames)
{
    if (frames <= 0 || getQueuedFrames(channel) < frames)
        return CDCDAWContext::kInvalidHandle;
    CPacket& front = at(channel, heads[channel]);
    if (front.frames == frames)
    {
        CPacket taken;
        pop(channel, taken);
        return taken.handle;
    }
    if (front.frames > frames)
    {
        // The rest of the packet stays queued, addressed from its next frame on.
        context->addRef(front.handle);
        const uint32_t taken = front.handle;
        front.handle = CDCDAWContext::atFrame(front.handle, frames);
        front.frames -= frames;
        return taken;
    }
    const uint32_t gathered = context->acquire(static_cast<size_t>(frames) * sizeof(double));
    if (gathered == CDCDAWContext::kInvalidHandle)
        return gathered;
    double* dest = context->doubles(gathered);
    int done = 0;
    while (done < frames)
    {
        CPacket& next = at(channel, heads[channel]);
        const int count = next.frames < frames - done ? next.frames : frames - done;
        std::memcpy(dest + done, context->doubles(next.handle),
                    static_cast<size_t>(count) * sizeof(double));
        done += count;
        if (count == next.frames)
        {
            CPacket used;
            pop(channel, used);
            release(used.handle);
        }
        else
        {
            next.handle = CDCDAWContext::atFrame(next.handle, count);
            next.frames -= count;
        }
    }
    return gathered;
}

void CAudioProcessPort::clear()
{
    for (int channel = 0; channel < channelCount; ++channel)
    {
        while (counts[channel] > 1)
        {
            CPacket dropped;
            pop(channel, dropped);
            release(dropped.handle);
        }
    }
}

void CAudioProcessPort::dropAll()
{
    for (int channel = 0; channel < channelCount; ++channel)
    {
        CPacket dropped;
        while (pop(channel, dropped))
            release(dropped.handle);
    }
}

void CAudioProcessPort::publish(int channel, uint32_t handle, int frames)
{
    if (handle == CDCDAWContext::kInvalidHandle)
        return;
    for (CAudioProcessPort* subscriber : subscribers)
    {
        context->addRef(handle);
        subscriber->push(channel, handle, frames);
    }
}

void CAudioProcessPort::forward()
{
    for (int channel = 0; channel < channelCount; ++channel)
    {
        CPacket packet;
        while (pop(channel, packet))
        {
            publish(channel, packet.handle, packet.frames);
            release(packet.handle);
        }
    }
}

} // namespace kel
