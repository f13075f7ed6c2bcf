#pragma once

#include <cstddef>

namespace kel
{

// Where the audio side hands one client its messages when the sender may be the audio thread (a
// parameter's listener inside a host's setParameter): the bytes are copied and queued without a
// lock and without allocating. The client's connector implements it; the base connector hands it
// out for a connected client, and the base's listeners keep it no longer than their subscription.
// [any thread]
class CAudioInterfaceClientSink
{
public:
    // Messages up to this size are queued without allocating.
    static constexpr size_t kInPlaceBytes = 112;

    // False when the message could not be queued (the queue is full); the client then learns
    // that it missed messages and asks for its state again.
    virtual bool queueBaseData(const void* data, size_t bytes) = 0;

protected:
    ~CAudioInterfaceClientSink() = default;
};

} // namespace kel
