#pragma once

#include "Core/CArray.h"
#include "UI/Platform/CNativeDisplay.h"

#include <cstdint>

namespace kel
{

class CX11Window;

// The X11 screen of one editor: a Display connection of its own, opened at open and closed at
// close, never the host's and never shared with another editor. It makes the editor's windows and
// hands each incoming event to the window it belongs to.
//
// Xlib's default error handler ends the whole process, and an editor cannot avoid every error
// (the host may destroy its window between two of our requests). So every request that can
// reach the server runs inside a guard: a process-wide lock, our handler set for the length of one
// synchronous exchange, and the previous one put back at once. Errors on our connection are
// counted and mark the window they name as gone; the host keeps its own handler.
//
// Xlib types stay out of this header; the connection is held as an opaque pointer.
// [ui thread: one thread at a time, the editor's pump sees to it]
class CX11Display : public CNativeDisplay
{
public:
    CX11Display() = default;
    ~CX11Display() override;

    // A display whose top-level windows without an opener stay above the host's top-level
    // window of the newest editor open in the process, if any: the error window's.
    static CNativeDisplay* makeAboveEditors();
    bool isAboveEditors() const { return aboveEditors; }

    [[nodiscard]] CError* open() override;
    void close() override;
    CNativeWindow* createWindow() override;
    int getEventFd() const override { return eventFd; }
    void pump() override;

    // The connection (a Display*), for the windows of this display.
    void* getConnection() const { return connection; }
    bool hasSharedMemory() const { return sharedMemory; }
    // Errors that our guards took on this connection since it opened.
    int getErrorCount() const { return errorCount; }

    // Runs work with our error handler in place, then syncs with the server, so that every error
    // the work caused is taken here. Answers the number of errors taken. [one at a time, process
    // wide]
    int guarded(void (*work)(void* context), void* context);
    // The resource id of the last error taken, 0 if none.
    unsigned long getLastErrorResource() const { return lastErrorResource; }

private:
    friend class CX11Window;
    void forget(CX11Window* window);
    // Delivers one event (an XEvent*).
    void dispatch(void* event);

    void* connection = nullptr; // Display*, owned
    int eventFd = -1;
    bool sharedMemory = false;
    bool aboveEditors = false;
    int errorCount = 0;
    unsigned long lastErrorResource = 0;
    CArray<CX11Window*> windows; // not owned: each leaves when deleted
};

} // namespace kel
