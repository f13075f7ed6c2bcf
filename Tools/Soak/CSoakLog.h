#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace kel
{

// The soak's record of rule breaches: a count of all of them and the text of the first few,
// each stamped with the audio time it was found at. Shared by the audio thread and the host
// threads of one CSoakRun, which owns it. Recording formats and may allocate; breaches are rare
// and this is the host's side, not the plug-in's. [any thread; takes its own lock]
class CSoakLog
{
public:
    static constexpr size_t kKeptMessages = 32;

    // printf-style text; `audioSec` is the audio time of the breach.
    void violation(double audioSec, const char* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 3, 4)))
#endif
        ;
    int64_t getViolationCount() const
    {
        return violations.load();
    }
    std::vector<std::string> getMessages() const;

private:
    std::atomic<int64_t> violations{0};
    mutable std::mutex mutex;
    std::vector<std::string> messages;
};

} // namespace kel
