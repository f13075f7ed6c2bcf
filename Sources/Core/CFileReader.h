#pragma once

#include "Core/CPosInputStream.h"
#include "Core/Platform/CFile.h"

namespace kel
{

class CString;

// Reads a file through the system's handle, unbuffered: callers read in large pieces or put a
// zip stream in front. Messages name the file and the system's error number.
// Owns its handle; one thread at a time. [any thread; blocking I/O, never on the audio thread]
class CFileReader : public CPosInputStream
{
public:
    CFileReader() = default;
    // Closes silently; a close error goes to the debug channel.
    ~CFileReader() override;

    // Opens an existing file by its UTF-8 path. The flags ask for sharing modes of systems that
    // lock files; this system does not, and only reports them.
    [[nodiscard]] CError* open(const char* utf8Path, int flags = 0);
    [[nodiscard]] CError* open(const CString& path, int flags = 0);
    // Closing a closed reader does nothing.
    [[nodiscard]] CError* close();
    bool isOpen() const { return file.isOpen(); }
    // The UTF-8 path given to open; empty before.
    const char* getName() const { return name ? name : ""; }

    [[nodiscard]] CError* consume(size_t count) override;
    [[nodiscard]] CError* read(void* buffer, size_t count) override;
    [[nodiscard]] CError* readStreamed(void* buffer, size_t count, size_t& outRead) override;
    [[nodiscard]] CError* getPosition(int64_t& outPosition) override;
    [[nodiscard]] CError* setPosition(int64_t position) override;
    [[nodiscard]] CError* getSize(int64_t& outSize) override;

private:
    void setName(const char* utf8Path);

    CFile file;
    char* name = nullptr;
};

} // namespace kel
