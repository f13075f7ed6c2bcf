#include "Core/Platform/CAutoResetEvent.h"

#include <chrono>

namespace kel
{

void CAutoResetEvent::signal()
{
    {
        std::lock_guard<std::mutex> guard(mutex);
        isSignalled = true;
    }
    changed.notify_one();
}

bool CAutoResetEvent::wait(int timeoutMs)
{
    std::unique_lock<std::mutex> guard(mutex);
    if (timeoutMs < 0)
        changed.wait(guard, [this] { return isSignalled; });
    else if (!changed.wait_for(guard, std::chrono::milliseconds(timeoutMs),
                               [this] { return isSignalled; }))
        return false;
    isSignalled = false;
    return true;
}

} // namespace kel
