#include "Support/CFakeHost.h"

#include <algorithm>
#include <cstring>

namespace kel
{

namespace
{
std::atomic<CFakeHost*> gActiveHost{nullptr};

void copyHostText(void* ptr, const char* text)
{
    // A host writes at most 63 characters and the terminator into the plug-in's buffer.
    const size_t length = std::min<size_t>(std::strlen(text), 63);
    std::memcpy(ptr, text, length);
    static_cast<char*>(ptr)[length] = 0;
}
} // namespace

CFakeHost::CFakeHost() : previous(gActiveHost.exchange(this))
{
    calls.reserve(4096);
    timeInfo.sampleRate = 44100.0;
    timeInfo.tempo = 120.0;
    timeInfo.timeSigNumerator = 4;
    timeInfo.timeSigDenominator = 4;
    timeInfo.flags = kTimeTempoValid | kTimeTimeSigValid;
}

CFakeHost::~CFakeHost()
{
    gActiveHost.store(previous);
}

intptr_t CFakeHost::hostCallback(AEffect* effect, int32_t opcode, int32_t index, intptr_t value,
                                 void* ptr, float opt)
{
    CFakeHost* host = gActiveHost.load();
    return host ? host->answer(effect, opcode, index, value, ptr, opt) : 0;
}

intptr_t CFakeHost::answer(AEffect* /*effect*/, int32_t opcode, int32_t index, intptr_t value,
                           void* ptr, float opt)
{
    {
        std::lock_guard<std::mutex> guard(recordMutex);
        // Reserved room: recording never allocates on the plug-in's audio thread.
        if (calls.size() < calls.capacity())
            calls.push_back(Call{opcode, index, value, opt, std::this_thread::get_id()});
    }
    switch (opcode)
    {
    case kHostVersion:
        return version;
    case kHostGetVendorString:
        if (!ptr || !vendor[0])
            return 0;
        copyHostText(ptr, vendor);
        return 1;
    case kHostGetProductString:
        if (!ptr || !product[0])
            return 0;
        copyHostText(ptr, product);
        return 1;
    case kHostGetVendorVersion:
        return vendorVersion;
    case kHostGetCurrentProcessLevel:
        return processLevel.load();
    case kHostGetTime:
        return answerTimeInfo ? reinterpret_cast<intptr_t>(&timeInfo) : 0;
    case kHostGetSampleRate:
        return static_cast<intptr_t>(timeInfo.sampleRate);
    case kHostGetBlockSize:
        return 1024;
    case kHostCanDo:
        if (!ptr)
            return 0;
        for (const char* text : hostCanDo)
            if (std::strcmp(text, static_cast<const char*>(ptr)) == 0)
                return 1;
        return 0;
    case kHostAutomate:
    case kHostIOChanged:
    case kHostSizeWindow:
    case kHostUpdateDisplay:
    case kHostBeginEdit:
    case kHostEndEdit:
        return 1;
    default:
        return 0;
    }
}

int CFakeHost::countOf(int32_t opcode) const
{
    std::lock_guard<std::mutex> guard(recordMutex);
    int count = 0;
    for (const Call& call : calls)
        count += call.opcode == opcode ? 1 : 0;
    return count;
}

std::vector<CFakeHost::Call> CFakeHost::callsOf(int32_t opcode) const
{
    std::lock_guard<std::mutex> guard(recordMutex);
    std::vector<Call> found;
    for (const Call& call : calls)
        if (call.opcode == opcode)
            found.push_back(call);
    return found;
}

std::vector<CFakeHost::Call> CFakeHost::allCalls() const
{
    std::lock_guard<std::mutex> guard(recordMutex);
    return calls;
}

void CFakeHost::clearCalls()
{
    std::lock_guard<std::mutex> guard(recordMutex);
    calls.clear();
}

intptr_t CFakeHost::dispatch(AEffect* effect, int32_t opcode, int32_t index, intptr_t value,
                             void* ptr, float opt)
{
    return effect->dispatcher(effect, opcode, index, value, ptr, opt);
}

void CFakeHost::startUp(AEffect* effect, float sampleRateHz, int32_t blockFrames)
{
    dispatch(effect, kEffOpen);
    dispatch(effect, kEffSetSampleRate, 0, 0, nullptr, sampleRateHz);
    dispatch(effect, kEffSetBlockSize, 0, blockFrames);
    dispatch(effect, kEffMainsChanged, 0, 1);
}

intptr_t CFakeHost::close(AEffect* effect)
{
    return dispatch(effect, kEffClose);
}

} // namespace kel
