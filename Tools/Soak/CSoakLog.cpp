#include "CSoakLog.h"

#include <cstdarg>
#include <cstdio>

namespace kel
{

void CSoakLog::violation(double audioSec, const char* format, ...)
{
    const int64_t number = ++violations;
    if (number > static_cast<int64_t>(kKeptMessages))
        return;
    char text[512];
    const int prefix = std::snprintf(text, sizeof(text), "%.6f s: ", audioSec);
    va_list args;
    va_start(args, format);
    std::vsnprintf(text + prefix, sizeof(text) - prefix, format, args);
    va_end(args);
    std::lock_guard<std::mutex> guard(mutex);
    messages.emplace_back(text);
}

std::vector<std::string> CSoakLog::getMessages() const
{
    std::lock_guard<std::mutex> guard(mutex);
    return messages;
}

} // namespace kel
