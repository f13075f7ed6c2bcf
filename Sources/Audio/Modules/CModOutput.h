#pragma once

#include "Audio/CAudioProcessBase.h"

namespace kel
{

// The last stage of an instance's graph: what arrives at its input port is written into the
// host's buffers at the run's offset, in the host's precision (narrowed to float, or copied as
// doubles). A channel that got fewer frames than the run has the rest of the run filled with
// zeros; a null output pointer is skipped. At its update it stores the graph's latency in the
// environment. The instance owns it. [audio thread, after set-up]
class CModOutput : public CAudioProcessBase
{
public:
    CModOutput() = default;

    void update(const CAudioParamCollector::CPacket* changes) override;

    // [set-up] The host's buffer shape; interleaved output has one buffer of `count` channels.
    void setOutputShape(bool isDouble, bool isInterleaved, int count);
    bool isOutputDouble() const { return outputDouble; }
    // The graph's latency in frames, as reported to the environment.
    void setLatencyFrames(int frames) { latencyFrames = frames; }

    // Writes one run of `frames` frames at `offset` into outs. [audio thread]
    void write(float** outs, int offset, int frames);
    void write(double** outs, int offset, int frames);

protected:
    void portCounts(int& inputCount, int& outputCount) const override;

private:
    template <typename Sample> void writeRun(Sample** outs, int offset, int frames);

    bool outputDouble = false;
    bool outputInterleaved = false;
    int outputCount = 0;
    int latencyFrames = 0;
};

} // namespace kel
