#pragma once

#include "Core/CPosOutputStream.h"
#include "Core/Platform/CFile.h"

namespace kel
{

class CString;

// Writes a file through the system's handle, unbuffered. Messages name the file and the system's
// error number. Owns its handle; one thread at a time.
// [any thread; blocking I/O, never on the audio thread]
class CFileWriter : public CPosOutputStream
{
public:
    CFileWriter() = default;
    // Closes silently; a close error goes to the debug channel.
    ~CFileWriter() override;

    // Creates the file if it is missing; appending writes behind the old contents, otherwise
    // they are dropped. Flags as for CFileReader::open.
    [[nodiscard]] CError* open(const char* utf8Path, bool isAppending, int flags = 0);
    [[nodiscard]] CError* open(const CString& path, bool isAppending, int flags = 0);
    // Pushes what was written to the medium.
    [[nodiscard]] CError* flush();
    // Closing a closed writer does nothing.
    [[nodiscard]] CError* close();
    bool isOpen() const { return file.isOpen(); }
    const char* getName() const { return name ? name : ""; }

    [[nodiscard]] CError* write(const void* buffer, size_t count) override;
    [[nodiscard]] CError* getPosition(int64_t& outPosition) override;
    [[nodiscard]] CError* setPosition(int64_t position) override;
    [[nodiscard]] CError* getSize(int64_t& outSize) override;

private:
    void setName(const char* utf8Path);

    CFile file;
    char* name = nullptr;
};

} // namespace kel
