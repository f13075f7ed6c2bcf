#include "CVstHost.h"

#include <cstring>
#include <string_view>

namespace kel
{

namespace
{
// What hosts commonly claim; a plug-in may only rely on what is asked and answered.
const char* const kDefaultCanDo[] = {"sendVstEvents",    "sendVstMidiEvent",    "sendVstTimeInfo",
                                     "receiveVstEvents", "receiveVstMidiEvent", "supplyIdle",
                                     "sizeWindow",       "startStopProcess"};
bool copyCut(const std::string& text, char* out, size_t bytes)
{
    if (!out || bytes == 0 || text.empty())
        return false;
    const size_t length = text.size() < bytes - 1 ? text.size() : bytes - 1;
    std::memcpy(out, text.data(), length);
    out[length] = 0;
    return true;
}
} // namespace

CVstHost::CVstHost()
{
    for (const char* text : kDefaultCanDo)
        canDoAnswers[text] = 1;
}

void CVstHost::setVendor(const char* text)
{
    std::lock_guard<std::mutex> guard(mutex);
    vendor = text ? text : "";
}

void CVstHost::setProduct(const char* text)
{
    std::lock_guard<std::mutex> guard(mutex);
    product = text ? text : "";
}

void CVstHost::setVendorVersion(int32_t version)
{
    std::lock_guard<std::mutex> guard(mutex);
    vendorVersion = version;
}

void CVstHost::setHostVersion(int32_t version)
{
    std::lock_guard<std::mutex> guard(mutex);
    hostVersion = version;
}

void CVstHost::setProcessLevel(int32_t level)
{
    std::lock_guard<std::mutex> guard(mutex);
    processLevel = level;
}

void CVstHost::setBlockSizeAnswer(int32_t frames)
{
    std::lock_guard<std::mutex> guard(mutex);
    blockSizeAnswer = frames;
}

void CVstHost::setCanDo(const char* text, int32_t answer)
{
    std::lock_guard<std::mutex> guard(mutex);
    canDoAnswers[text ? text : ""] = answer;
}

void CVstHost::setTempo(double bpm)
{
    std::lock_guard<std::mutex> guard(mutex);
    tempoBpm = bpm;
}

void CVstHost::setTimeInfoEnabled(bool enabled)
{
    std::lock_guard<std::mutex> guard(mutex);
    timeInfoEnabled = enabled;
}

void CVstHost::setIdleCallsEditIdle(bool enabled)
{
    std::lock_guard<std::mutex> guard(mutex);
    idleCallsEditIdle = enabled;
}

void CVstHost::poseAsArdour()
{
    std::lock_guard<std::mutex> guard(mutex);
    vendor = "Linux Audio Systems";
    product = "Ardour";
    vendorVersion = 900;
    hostVersion = 2400;
    processLevel = 0;
    // Ardour keeps answering its engine's period even while it bounces in 8192-frame blocks.
    blockSizeAnswer = 1024;
    canDoAnswers.clear();
    for (const char* text : {"sizeWindow", "supplyIdle", "sendVstTimeInfo", "sendVstEvents",
                             "sendVstMidiEvent", "receiveVstEvents", "receiveVstMidiEvent"})
        canDoAnswers[text] = 1;
    idleCallsEditIdle = true;
}

std::string CVstHost::getVendor() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return vendor;
}

std::string CVstHost::getProduct() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return product;
}

bool CVstHost::copyVendor(char* out, size_t bytes) const
{
    std::lock_guard<std::mutex> guard(mutex);
    return copyCut(vendor, out, bytes);
}

bool CVstHost::copyProduct(char* out, size_t bytes) const
{
    std::lock_guard<std::mutex> guard(mutex);
    return copyCut(product, out, bytes);
}

int32_t CVstHost::getVendorVersion() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return vendorVersion;
}

int32_t CVstHost::getHostVersion() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return hostVersion;
}

int32_t CVstHost::getProcessLevel() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return processLevel;
}

int32_t CVstHost::getBlockSizeAnswer() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return blockSizeAnswer;
}

int32_t CVstHost::getCanDo(const char* text) const
{
    std::lock_guard<std::mutex> guard(mutex);
    auto found = canDoAnswers.find(std::string_view(text ? text : ""));
    return found == canDoAnswers.end() ? 0 : found->second;
}

double CVstHost::getTempo() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return tempoBpm;
}

bool CVstHost::isTimeInfoEnabled() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return timeInfoEnabled;
}

bool CVstHost::doesIdleCallEditIdle() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return idleCallsEditIdle;
}

} // namespace kel
