#pragma once

#include "Core/CError.h"

#include <cstdarg>

namespace kel
{

// The plain debug channel: logs that do not stop the program ("attr not found: %s (string)").
// A line is formatted with printf into one static buffer, and when an object's full-name is
// given, " // " and the name follow, so the line reads "%s // %s". Lines go to the sink, by
// default the standard error stream.
//
// The channel is silent in production: KEL_LOG compiles to nothing unless the build defines
// KEL_DEBUG_CHANNEL=1, and the channel starts switched on only in such a build. Tests may switch
// it on at run time and capture lines with a sink of their own. Never used on the audio thread.
// [any thread; takes the channel lock]
class CDebugChannel
{
public:
    // Receives each finished line, without line end. Called under the channel lock: a sink must
    // not log.
    using Sink = void (*)(const char* line, void* context);

    static constexpr int kLineBytes = 2048;

    // Formats and passes on one line; the name (null or empty: none) follows after " // ".
    // Lines longer than kLineBytes - 1 are cut.
    static void log(const char* fullName, const char* pattern, ...)
        __attribute__((format(printf, 2, 3)));
    static void logV(const char* fullName, const char* pattern, va_list args)
        __attribute__((format(printf, 2, 0)));

    static void setEnabled(bool enabled);
    static bool isEnabled();
    // A null sink restores the standard error stream.
    static void setSink(Sink sink, void* context);

    // True when KEL_LOG reaches the channel in this build.
    static constexpr bool isCompiledIn()
    {
#if defined(KEL_DEBUG_CHANNEL) && KEL_DEBUG_CHANNEL
        return true;
#else
        return false;
#endif
    }

    // Does nothing; lets the silent KEL_LOG check its arguments against the pattern.
    static inline void checkFormat(const char*, const char*, ...)
        __attribute__((format(printf, 2, 3)))
    {
    }
};

} // namespace kel

// KEL_LOG("attr not found: %s (string)", name): one line on the debug channel, followed by the
// full-name of the current object (kelErrorContextName(), as for errors). Off the debug channel
// build it compiles to nothing, but its arguments are still checked.
#if defined(KEL_DEBUG_CHANNEL) && KEL_DEBUG_CHANNEL
#define KEL_LOG(...) ::kel::CDebugChannel::log(kelErrorContextName(), __VA_ARGS__)
#else
#define KEL_LOG(...)                                                                               \
    do                                                                                             \
    {                                                                                              \
        if (false)                                                                                 \
            ::kel::CDebugChannel::checkFormat(kelErrorContextName(), __VA_ARGS__);                 \
    } while (0)
#endif
