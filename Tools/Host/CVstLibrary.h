#pragma once

#include "Core/CError.h"

#include "Audio/VST/VstInterface.h"

namespace kel
{

// A plug-in's shared library, opened for as long as this object lives. The only place of the
// tools that talks to the dynamic loader. Owned by the CHostedPlugin that uses it.
// [any thread; not shared between threads]
class CVstLibrary
{
public:
    CVstLibrary() = default;
    ~CVstLibrary();
    CVstLibrary(const CVstLibrary&) = delete;
    CVstLibrary& operator=(const CVstLibrary&) = delete;

    // Opens the library and finds its entry point: "VSTPluginMain", else the older "main".
    [[nodiscard]] CError* open(const char* path);
    void close();

    bool isOpen() const { return handle != nullptr; }
    VstEntryProc getEntry() const { return entry; }
    // Name of the symbol the entry was found under.
    const char* getEntryName() const { return entryName; }

private:
    void* handle = nullptr;
    VstEntryProc entry = nullptr;
    const char* entryName = "";
};

} // namespace kel
