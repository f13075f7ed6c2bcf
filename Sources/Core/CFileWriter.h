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
    // Writes a whole file in place of path: the bytes go to a temporary name beside it, and path
    // keeps its old contents (or stays missing) until commit renames the finished file over
    // it. A writer closed or destroyed without commit removes the temporary file, so a failed
    // write leaves nothing half-written under the name.
    [[nodiscard]] CError* openReplacing(const CString& path);
    // Flushes, closes and puts the file in place; the writer is closed after it either way.
    [[nodiscard]] CError* commit();
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
    char* name = nullptr;     // the file written, the temporary one while replacing
    char* replaced = nullptr; // the name a replacing writer commits to
};

} // namespace kel
