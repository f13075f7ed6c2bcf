#pragma once

#include "Core/CBoundedQueue.h"
#include "Core/CError.h"
#include "Core/CThread.h"
#include "Core/Platform/CRunLoop.h"

#include <atomic>
#include <cstdint>
#include <cstdio>

namespace kel
{

class CNativeDisplay;
class CObject;
class CWindow;

// Shows the error reports of CSystem::showError in a window of the toolkit: 600 pixels wide, the
// title on top, the fixed explanation, the error chain wrapped below it and an "OK" button that
// closes it, as does the window's own close. One window at a time; reports that come while it is
// up wait in the queue and show one after another.
//
// present never blocks and never allocates: the report is copied into a queue of kQueueSize
// cells (the oldest one dropped when it is full), and a thread of the presenter's own opens the
// screen connection and the window. That thread runs only while there is something to show: it
// ends, with its connection, once the window is closed and nothing is queued, once the last
// instance of the plug-in has gone (when instances were there as the window opened), or at
// shutdown (library unload). Without a screen (no $DISPLAY for the X11 display, or a connection
// that fails) the reports go to the standard error stream as CSystem writes them.
//
// The window's tree is built in code on the presenter's thread: the run-time templates of the
// interface live in the editors' trees, which belong to their own threads and may not exist.
// [present: any thread; the rest: the controlling thread]
class CErrorWindowPresenter : public CThread, public CRunLoop::CClient
{
public:
    static constexpr int kQueueSize = 16;
    static constexpr int kTitleBytes = 128;
    static constexpr int kExplanationBytes = 1024;
    // Longer chains are cut; the window could not show more anyway.
    static constexpr int kDetailsBytes = 8192;
    static constexpr int kWindowWidth = 600;
    // How often the thread looks whether the instances have gone while the window is up.
    static constexpr int kInstanceCheckMs = 200;

    // Makes the screen connection of the window; null means no screen at all.
    using DisplayMaker = CNativeDisplay* (*)();

    // needsDisplayVariable: present writes to the standard error stream at once when $DISPLAY
    // is unset or empty (the X11 display); otherwise maker alone decides.
    CErrorWindowPresenter(DisplayMaker maker, bool needsDisplayVariable);
    ~CErrorWindowPresenter() override;

    // Installs the process's presenter as CSystem's fallback (where reports go while no other
    // presenter is set), with the display it opens; made on the first report, gone at library
    // unload. [start-up]
    static void install(DisplayMaker maker);

    // Queues one report. [any thread; lock-free, allocates nothing unless the thread must start]
    void present(const char* title, const char* explanation, const char* details);
    // Closes the window and ends the thread and the connection; reports still queued go to the
    // fallback stream. The presenter takes reports again afterwards.
    void shutdown();

    // Where reports go without a screen; the standard error stream unless a test says.
    void setFallbackStream(std::FILE* stream) { fallbackStream = stream; }

    // Builds the window's tree: a root with "ui.window-shared-data" and the root view "ui.win"
    // with its "window-renderer", the title, the explanation and the details (the views
    // "ui.win.title-bar.title", "ui.win.explanation", "ui.win.details") and the button
    // "ui.win.buttons.ok". The window is not created. [the thread that will serve the window]
    [[nodiscard]] static CError* buildTree(const char* title, const char* explanation,
                                           const char* details, CObject*& outRoot);

    // Counters for tests.
    int getDroppedCount() const { return droppedCount.load(std::memory_order_relaxed); }
    int getShownCount() const { return shownCount.load(std::memory_order_relaxed); }
    bool isWindowOpen() const { return windowOpen.load(std::memory_order_acquire); }
    bool isThreadActive() const { return threadActive.load(std::memory_order_acquire); }

    void onRunLoopMessage(uint32_t message, intptr_t param) override;
    void onRunLoopFd(int fd, int readyFlags) override;

protected:
    void execute() override;

private:
    struct CReport
    {
        char title[kTitleBytes];
        char explanation[kExplanationBytes];
        char details[kDetailsBytes];
    };

    static void presentFromSystem(const char* title, const char* explanation, const char* details,
                                  void* context);
    // A new report with no window up: the window opens, or the report goes to the stream.
    void showNext(const CReport& report);
    void closeWindow();
    // Writes everything queued to the fallback stream.
    void drainToStream();
    // The thread's last look at the queue, under the busy flag: true when it may end.
    bool mayEnd();
    void lockBusy();
    bool isStopping() const
    {
        return isStopRequested() || stopping.load(std::memory_order_acquire);
    }

    DisplayMaker displayMaker;
    bool needsDisplayVariable;
    std::FILE* fallbackStream = nullptr;
    CBoundedQueue<CReport> queue;
    CReport taken{}; // the report being opened [the thread]
    // Held while a caller starts the thread or wakes it, and while the thread decides to end.
    std::atomic_flag busy = ATOMIC_FLAG_INIT;
    std::atomic<bool> threadActive{false};
    std::atomic<int> wakeSignal{-1};
    std::atomic<CRunLoop*> wakeLoop{nullptr}; // the thread's, while it takes reports
    std::atomic<bool> stopping{false};
    std::atomic<int> droppedCount{0};
    std::atomic<int> shownCount{0};
    std::atomic<bool> windowOpen{false};

    // The thread's own.
    CNativeDisplay* display = nullptr; // owned while the thread runs
    CObject* tree = nullptr;           // owned while a window is up
    CWindow* window = nullptr;         // not owned: inside the tree
    CRunLoop::ClientId clientId = 0;
    bool instancesSeen = false;
};

} // namespace kel
