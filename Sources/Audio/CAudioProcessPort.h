#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CDCDAWContext;

// One numbered port of a process, for all its channels. As an input it queues, per channel, a
// small ring of packets (a pool buffer handle and a frame count), each holding one reference to
// its buffer. As a source it has subscribers, input ports of other processes: publishing a packet
// links it at each subscriber with one reference each, so a packet that is only passed on moves
// no samples. A container's own ports are both: what arrives is forwarded to its subscribers.
//
// The process that has the port owns it; subscribers are not owned. Rings are sized at set-up and
// never grow on the audio thread: a full ring drops its oldest packet.
// [set-up thread for set-up and links; audio thread for the rest]
class CAudioProcessPort : public CCheckedObject
{
public:
    static constexpr int kRingLength = 4;
    static constexpr int kNothingQueued = 99999999;

    struct CPacket
    {
        uint32_t handle = 0xFFFFFFFFu;
        int frames = 0;
    };

    CAudioProcessPort() = default;
    ~CAudioProcessPort() override;
    CAudioProcessPort(const CAudioProcessPort&) = delete;
    CAudioProcessPort& operator=(const CAudioProcessPort&) = delete;

    // [set-up] Drops what is queued (the context releases it) and sizes the rings.
    [[nodiscard]] CError* setup(CDCDAWContext* dcdawContext, int channels);
    int getChannelCount() const { return channelCount; }

    // [set-up] Not owned; a port subscribes once.
    void subscribe(CAudioProcessPort* input);
    // Whether anything publishes into this port (set by subscribe on the input's side).
    bool isConnected() const { return connected; }
    void setConnected(bool isConnected) { connected = isConnected; }

    // ---- input side [audio thread] ----

    // Queues a packet, taking over the caller's reference.
    void push(int channel, uint32_t handle, int frames);
    int getQueuedFrames(int channel) const;
    int getPacketCount(int channel) const { return channel < channelCount ? counts[channel] : 0; }
    // The smallest queued frame count over the channels; kNothingQueued with no channels.
    int getAvailableFrames() const;
    // Takes `frames` frames of a channel as one handle that the caller owns a reference to: the
    // front packet itself when it holds them all, else a pool buffer gathered from several.
    // kInvalidHandle when the channel lacks the frames or the pool is exhausted.
    uint32_t take(int channel, int frames);
    // Takes the front packet of a channel whole; false when none is queued.
    bool pop(int channel, CPacket& out);
    // Drops every queued packet but the last of each channel.
    void clear();
    // Drops every queued packet.
    void dropAll();

    // ---- source side [audio thread] ----

    // Links the packet at each subscriber with a reference of its own; the caller keeps its own.
    void publish(int channel, uint32_t handle, int frames);
    // Publishes everything queued here, in order, and empties the rings.
    void forward();

private:
    CPacket& at(int channel, int index) { return ring[channel * kRingLength + index]; }
    void release(uint32_t handle);

    CDCDAWContext* context = nullptr;
    int channelCount = 0;
    CPacket* ring = nullptr;
    // Per channel: index of the front packet and number queued.
    int* heads = nullptr;
    int* counts = nullptr;
    bool connected = false;
    CArray<CAudioProcessPort*, 4> subscribers;
};

} // namespace kel
