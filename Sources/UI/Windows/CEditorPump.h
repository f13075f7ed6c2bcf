#pragma once

#include "Core/CThread.h"
#include "Core/Platform/CRunLoop.h"

#include <atomic>
#include <cstdint>

namespace kel
{

class CNativeDisplay;

// Keeps an editor alive whatever the host does with its idle calls. The editor's timers, event
// bridge and screen connection are served by the run loop of the thread that opened it; the
// host's idle pumps that loop without blocking. Some hosts never call idle: then, once no idle
// has come for 100 ms, the pump's own thread pumps the same loop, and it hands back at the next
// idle. The loop's pump lock keeps the two from running at once, so the screen connection is
// never used from two threads together, and nothing here ever runs on the audio thread.
//
// The display's events are read inside the loop's deliveries (its descriptor is watched), never
// beside them. Owned by the editor; stop before the windows and the display go. [ui thread]
class CEditorPump : public CThread, public CRunLoop::CClient
{
public:
    // Without idle for this long, the pump's thread takes over.
    static constexpr uint32_t kFallbackAfterMs = 100;
    // Longest wait of the fallback thread inside the loop; it ends earlier at every timer,
    // screen event or post, and the host's next idle posts one so as not to wait for it.
    static constexpr int kFallbackSliceMs = 500;
    // How soon the stand-in looks again while the host's thread has the loop.
    static constexpr int kBusyRetryMs = 5;

    CEditorPump() = default;
    ~CEditorPump() override;

    // Joins loop (the opening thread's) and watches the display's descriptor; starts the
    // fallback thread.
    [[nodiscard]] CError* start(CRunLoop* loop, CNativeDisplay* display);
    // Ends the fallback thread and leaves the loop. Nothing of the editor runs after it returns.
    void stop();

    // The host's idle: one non-blocking pump.
    void idle();

    // How many times the fallback thread pumped, and whether it is pumping now (tests).
    uint64_t getFallbackPumps() const { return fallbackPumps.load(std::memory_order_relaxed); }
    bool isFallbackActive() const { return fallbackActive.load(std::memory_order_relaxed); }

    void onRunLoopMessage(uint32_t message, intptr_t param) override;
    void onRunLoopFd(int fd, int readyFlags) override;

protected:
    void execute() override;

private:
    CRunLoop* loop = nullptr;          // not owned: the opening thread's
    CNativeDisplay* display = nullptr; // not owned: the editor's
    CRunLoop::ClientId clientId = 0;
    int watchedFd = -1;
    std::atomic<uint32_t> lastIdleMs{0};
    std::atomic<uint64_t> fallbackPumps{0};
    std::atomic<bool> fallbackActive{false};
};

} // namespace kel
