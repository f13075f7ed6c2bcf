#include "Core/CDebugChannel.h"

#include "Core/Platform/CLock.h"

#include <atomic>
#include <cstdio>
#include <cstring>

namespace kel
{

namespace
{
std::atomic<bool> gEnabled{CDebugChannel::isCompiledIn()};

// Guarded by the channel lock.
CDebugChannel::Sink gSink = nullptr;
void* gSinkContext = nullptr;
char gLine[CDebugChannel::kLineBytes];

CLock& channelLock()
{
    static CLock lock;
    return lock;
}

void writeToStandardError(const char* line, void*)
{
    std::fprintf(stderr, "%s\n", line);
}
} // namespace

void CDebugChannel::log(const char* fullName, const char* pattern, ...)
{
    va_list args;
    va_start(args, pattern);
    logV(fullName, pattern, args);
    va_end(args);
}

void CDebugChannel::logV(const char* fullName, const char* pattern, va_list args)
{
    if (!gEnabled.load(std::memory_order_relaxed) || !pattern)
        return;
    CLockGuard guard(channelLock());
    int used = std::vsnprintf(gLine, sizeof(gLine), pattern, args);
    if (used < 0)
        used = 0;
    if (used >= static_cast<int>(sizeof(gLine)))
        used = static_cast<int>(sizeof(gLine)) - 1;
    if (fullName && fullName[0])
        std::snprintf(gLine + used, sizeof(gLine) - static_cast<size_t>(used), " // %s", fullName);
    Sink sink = gSink ? gSink : writeToStandardError;
    sink(gLine, gSinkContext);
}

void CDebugChannel::setEnabled(bool enabled)
{
    gEnabled.store(enabled);
}

bool CDebugChannel::isEnabled()
{
    return gEnabled.load();
}

void CDebugChannel::setSink(Sink sink, void* context)
{
    CLockGuard guard(channelLock());
    gSink = sink;
    gSinkContext = context;
}

} // namespace kel
