#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

namespace kel
{

class CNativeWindow;

// One connection to the screen: the X11 backend's own Display of one editor, or the headless
// backend's memory. It makes the windows of that editor (the main window and its popups) and
// delivers their events when pumped. The editor owns its display, opens it before its first
// window and closes it after its last; every window it made must be deleted before. Never shared
// between editors, never touched from the audio thread. [ui thread]
class CNativeDisplay : public CCheckedObject
{
public:
    ~CNativeDisplay() override = default;

    // Connects; an error (not a crash) when there is no screen to connect to.
    [[nodiscard]] virtual CError* open() = 0;
    virtual void close() = 0;

    // A new window, not yet open; the caller owns it.
    virtual CNativeWindow* createWindow() = 0;

    // The descriptor to watch for incoming events, or -1 if there is none.
    virtual int getEventFd() const = 0;
    // Delivers every event that is waiting to its window's listener, without blocking.
    virtual void pump() = 0;
};

} // namespace kel
