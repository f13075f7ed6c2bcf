#pragma once

#include "Core/CFileReader.h"
#include "Core/CMemoryReader.h"

namespace kel
{

class CString;

// Reads a resource by name: an embedded blob of CResourceTable when the table has that exact
// name, in place and without a copy (getData then hands out the blob), otherwise the file of that
// path. Every stream call is passed to the source chosen by open; before open they fail.
// Owned by whoever made it; one thread at a time. [any thread; a file source does blocking I/O]
class CResourceReader : public CPosInputStream
{
public:
    CResourceReader() = default;

    // A name found in the table is never looked for on disk. A name that is not there is opened
    // as a file, and the file's open error (which names it) comes back. Opening again starts over.
    [[nodiscard]] CError* open(const char* name);
    [[nodiscard]] CError* open(const CString& name);
    // True when the open source is an embedded blob.
    bool isEmbedded() const { return source == &memory; }

    const uint8_t* getData() override;
    [[nodiscard]] CError* consume(size_t count) override;
    [[nodiscard]] CError* read(void* buffer, size_t count) override;
    [[nodiscard]] CError* readStreamed(void* buffer, size_t count, size_t& outRead) override;
    [[nodiscard]] CError* getPosition(int64_t& outPosition) override;
    [[nodiscard]] CError* setPosition(int64_t position) override;
    [[nodiscard]] CError* getSize(int64_t& outSize) override;

private:
    [[nodiscard]] CError* notOpen() const;

    CMemoryReader memory;
    CFileReader file;
    CPosInputStream* source = nullptr; // memory or file, or null before open
};

} // namespace kel
