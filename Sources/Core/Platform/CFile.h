#pragma once

#include <cstddef>
#include <cstdint>

namespace kel
{

// A thin handle on an operating-system file, for the file readers and writers. Paths are UTF-8.
// Every operation answers 0 or the system's error number and does nothing else: the callers turn
// numbers into messages. The handle owns its file and closes it silently when destroyed.
// One thread at a time. [any thread; blocking I/O, never on the audio thread]
class CFile
{
public:
    CFile() = default;
    ~CFile();
    CFile(const CFile&) = delete;
    CFile& operator=(const CFile&) = delete;

    // An existing file, for reading from its start, with a hint that it is read in sequence.
    int openForReading(const char* utf8Path);
    // Created if missing; appending keeps the contents and starts at the end, otherwise the file
    // is emptied.
    int openForWriting(const char* utf8Path, bool isAppending);
    // Closing a closed handle does nothing.
    int close();
    bool isOpen() const { return handle >= 0; }

    // Up to count bytes; outRead 0 at the end of the file.
    int read(void* buffer, size_t count, size_t& outRead);
    // Up to count bytes; outWritten may be less when the medium is full.
    int write(const void* buffer, size_t count, size_t& outWritten);
    // Pushes written data to the medium.
    int flush();

    int getPosition(int64_t& outPosition);
    int setPosition(int64_t position);
    int movePosition(int64_t delta);
    int getSize(int64_t& outSize);

private:
    int handle = -1;
};

} // namespace kel
