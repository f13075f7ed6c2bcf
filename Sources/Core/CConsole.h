#pragma once

#include "Core/CCheckedObject.h"

namespace kel
{

// A sink for the debug channel's lines. The base writes them to the standard error stream; a
// console window (with the user interface) shows them instead. attach routes the channel here
// until detach or the console's end. Not made in production, where the channel is silent.
// [writeLine: any thread, under the channel's lock; attach, detach: set-up thread]
class CConsole : public CCheckedObject
{
public:
    CConsole() = default;
    ~CConsole() override;
    CConsole(const CConsole&) = delete;
    CConsole& operator=(const CConsole&) = delete;

    void attach();
    void detach();
    bool isAttached() const { return attached; }

    // One finished line without line end. Must not log.
    virtual void writeLine(const char* line);

private:
    static void sink(const char* line, void* context);

    bool attached = false;
};

} // namespace kel
