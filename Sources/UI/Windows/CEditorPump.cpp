#include "UI/Windows/CEditorPump.h"

#include "Core/CNotifyServer.h"
#include "Core/Platform/CTickClock.h"
#include "UI/Platform/CNativeDisplay.h"

namespace kel
{

CEditorPump::~CEditorPump()
{
    stop();
}

CError* CEditorPump::start(CRunLoop* hostLoop, CNativeDisplay* nativeDisplay)
{
    loop = hostLoop;
    display = nativeDisplay;
    clientId = loop->addClient(this);
    watchedFd = display ? display->getEventFd() : -1;
    if (watchedFd >= 0)
        loop->watchFd(clientId, watchedFd, CRunLoop::kReadable);
    lastIdleMs.store(CTickClock::tickCountMs(), std::memory_order_relaxed);
    KEL_CHECK(runThread());
    return nullptr;
}

void CEditorPump::stop()
{
    stopThread();
    if (loop)
    {
        if (watchedFd >= 0)
            loop->unwatchFd(watchedFd);
        loop->removeClient(clientId);
    }
    watchedFd = -1;
    loop = nullptr;
    display = nullptr;
    fallbackActive.store(false, std::memory_order_relaxed);
}

void CEditorPump::idle()
{
    lastIdleMs.store(CTickClock::tickCountMs(), std::memory_order_relaxed);
    if (!loop)
        return;
    // The fallback thread may be waiting inside the loop: wake it, so that it leaves at once.
    if (fallbackActive.load(std::memory_order_relaxed))
        loop->post(clientId, 0, 0);
    loop->runOnce(0);
}

void CEditorPump::onRunLoopMessage(uint32_t /*message*/, intptr_t /*param*/) {}

void CEditorPump::onRunLoopFd(int /*fd*/, int /*readyFlags*/)
{
    if (display)
        display->pump();
}

void CEditorPump::execute()
{
    while (!isStopRequested())
    {
        const uint32_t sinceIdle =
            CTickClock::tickCountMs() - lastIdleMs.load(std::memory_order_relaxed);
        if (sinceIdle < kFallbackAfterMs)
        {
            fallbackActive.store(false, std::memory_order_relaxed);
            waitForSignal(static_cast<int>(kFallbackAfterMs - sinceIdle));
            continue;
        }
        // The host has gone quiet: serve the loop until it speaks again. The wait inside the
        // loop ends at the next timer or screen event, so this costs nothing between frames.
        fallbackActive.store(true, std::memory_order_relaxed);
        // While it pumps, this thread is the editor's thread: the tree's events are calls, not
        // posts that would wake the loop a second time.
        CNotifyServer::CStandIn standIn(loop->getOwnerThreadId());
        // The host's thread may be in the plug-in meanwhile (opening another editor on this
        // loop): it has the loop then, and this thread waits for its next turn.
        if (loop->runOnceIfFree(kFallbackSliceMs) < 0)
        {
            waitForSignal(kBusyRetryMs);
            continue;
        }
        fallbackPumps.fetch_add(1, std::memory_order_relaxed);
    }
}

} // namespace kel
