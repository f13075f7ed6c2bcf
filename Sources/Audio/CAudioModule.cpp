#include "Audio/CAudioModule.h"

#include "Audio/CDCDAWContext.h"

namespace kel
{

CAudioModule::~CAudioModule()
{
    releaseOutputs();
    freeChannelArrays();
}

CError* CAudioModule::setChannelCount(int count)
{
    if (count < 0)
        return KEL_ERROR("@kelstr_CAudioModule_setChannelCount_Invalid Invalid channel count %1.",
                         count);
    releaseOutputs();
    const int ports = getInputPortCount() < 1 ? 1 : getInputPortCount();
    if (count > kInlineChannels && count != channelCount)
    {
        uint32_t* newInputs = allocArray<uint32_t>(static_cast<size_t>(count * ports));
        uint32_t* newOutputs = allocArray<uint32_t>(static_cast<size_t>(count));
        if (!newInputs || !newOutputs)
        {
            CAllocator::free(newInputs);
            CAllocator::free(newOutputs);
            return KEL_ERROR("@kelstr_CAudioModule_setChannelCount_NoMemory Out of memory.");
        }
        freeChannelArrays();
        inputs = newInputs;
        outputs = newOutputs;
    }
    else if (count <= kInlineChannels)
    {
        freeChannelArrays();
    }
    channelCount = count;
    for (int channel = 0; channel < channelCount; ++channel)
    {
        for (int port = 0; port < ports; ++port)
            inputs[port * channelCount + channel] = kNoBuffer;
        outputs[channel] = kNoBuffer;
    }
    return nullptr;
}

CError* CAudioModule::setup(CDCDAWContext* dcdawContext, double /*sampleRateHz*/, int channels)
{
    setContext(dcdawContext);
    KEL_CHECK(setChannelCount(channels));
    KEL_CHECK(lookupKernels());
    needsFullRead = true;
    return nullptr;
}

void CAudioModule::releaseOutputs()
{
    for (int channel = 0; channel < channelCount; ++channel)
    {
        if (outputs[channel] != kNoBuffer && context)
            context->release(outputs[channel]);
        outputs[channel] = kNoBuffer;
    }
}

void CAudioModule::freeChannelArrays()
{
    if (inputs != inlineInputs)
        CAllocator::free(inputs);
    if (outputs != inlineOutputs)
        CAllocator::free(outputs);
    inputs = inlineInputs;
    outputs = inlineOutputs;
}

} // namespace kel
