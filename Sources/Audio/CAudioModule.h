#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CDCDAWContext;

// (A module with two input ports, the bypass, takes port 1 through the port argument.)

// The smallest runnable piece of the process graph: a module does the work of one terminal
// process on a set of channels, all of them at once. The terminal process that makes a module
// owns it and drives it: it gives the module its context and channels, places one input buffer
// handle per channel and the run's frame count, calls process(), and takes the output handles.
//
// Buffers are pool handles of the context. The module does not own its inputs; they must stay
// valid for the duration of process(). It owns one reference to each output handle, held until
// the next process() or its destruction; a caller that keeps an output longer takes its own
// reference. An output may be the very input handle (a module that passes audio untouched moves
// no samples). Channel arrays of up to kInlineChannels live inside the object.
// [audio thread, after set-up; set-up on the thread that sets the instance up]
class CAudioModule : public CCheckedObject
{
public:
    static constexpr int kInlineChannels = 8;
    static constexpr int kMaxInputPorts = 2;
    static constexpr uint32_t kNoBuffer = 0xFFFFFFFFu;

    CAudioModule() = default;
    ~CAudioModule() override;
    CAudioModule(const CAudioModule&) = delete;
    CAudioModule& operator=(const CAudioModule&) = delete;

    // Parameter allocation: the module's parameter slots, in the process's slot order, as the
    // addresses of its snapshot values. The process writes values (in converter units) there and
    // then asks the module for a full read.
    virtual int getParamSlotCount() const { return 0; }
    virtual double* getParamSlot(int /*slot*/) { return nullptr; }
    // Kernel lookup: fills the module's kernel ids from the context's registry.
    [[nodiscard]] virtual CError* lookupKernels() { return nullptr; }
    // Runs one block of getFrames() frames from the inputs to the outputs. [audio thread]
    virtual void process() = 0;

    // Set-up for a sample rate and channel count: context, channels, kernel lookup, and a mark
    // for a full read. The terminal process calls it whenever rate, channels or the block
    // context change. [set-up thread or audio thread after the pool is warm]
    [[nodiscard]] virtual CError* setup(CDCDAWContext* dcdawContext, double sampleRateHz,
                                        int channels);
    // Full read: takes the values in the parameter slots as the module's snapshot.
    virtual void readParams() {}
    // When the audio restarts. [audio thread]
    virtual void clear() {}
    // Input ports per channel (1, or 2 for the bypass). Set before setChannelCount.
    virtual int getInputPortCount() const { return 1; }

    // [set-up] The context must outlive the module.
    void setContext(CDCDAWContext* dcdawContext) { context = dcdawContext; }
    CDCDAWContext* getContext() const { return context; }

    // [set-up] Releases the outputs held so far; inputs become kNoBuffer. Channel counts above
    // kInlineChannels allocate once, here.
    [[nodiscard]] CError* setChannelCount(int count);
    int getChannelCount() const { return channelCount; }

    // [audio thread] The present run: frame count and one input handle per channel.
    void setFrames(int frameCount) { frames = frameCount; }
    int getFrames() const { return frames; }
    void setInput(int channel, uint32_t handle, int port = 0)
    {
        inputs[port * channelCount + channel] = handle;
    }
    uint32_t getInput(int channel, int port = 0) const
    {
        return inputs[port * channelCount + channel];
    }
    // Valid after process(), until the next process().
    uint32_t getOutput(int channel) const { return outputs[channel]; }

    // Graph bookkeeping the terminal process keeps on its modules.
    bool running = false;
    bool needsFullRead = true;
    bool paramChanged = false;
    int groupIndex = 0;
    int elementIndex = 0;

protected:
    // Drops the module's references to its outputs; they become kNoBuffer.
    void releaseOutputs();
    // Makes `handle` the channel's output, taking over the caller's reference.
    void setOutput(int channel, uint32_t handle) { outputs[channel] = handle; }

    CDCDAWContext* context = nullptr;
    int channelCount = 0;
    int frames = 0;
    uint32_t* inputs = inlineInputs;
    uint32_t* outputs = inlineOutputs;

private:
    void freeChannelArrays();

    uint32_t inlineInputs[kInlineChannels * kMaxInputPorts] = {};
    uint32_t inlineOutputs[kInlineChannels] = {};
};

} // namespace kel
