#include "Core/CConsole.h"

#include "Core/CDebugChannel.h"

#include <cstdio>

namespace kel
{

CConsole::~CConsole()
{
    detach();
}

void CConsole::attach()
{
    CDebugChannel::setSink(&CConsole::sink, this);
    attached = true;
}

void CConsole::detach()
{
    if (!attached)
        return;
    CDebugChannel::setSink(nullptr, nullptr);
    attached = false;
}

void CConsole::writeLine(const char* line)
{
    std::fprintf(stderr, "%s\n", line);
}

void CConsole::sink(const char* line, void* context)
{
    static_cast<CConsole*>(context)->writeLine(line);
}

} // namespace kel
