#pragma once

#include "Core/CInputStream.h"

namespace kel
{

// Inflates one zlib stream (zlib header, Adler-32) from another input stream, which it does not
// own. Between open and close it pulls the source through its own input buffer, so it may read
// the source beyond the end of the zlib stream; close hands those bytes back when the source can
// be positioned. zlib's memory comes from CAllocator. One thread at a time. [any thread]
class CInputZipStream : public CInputStream
{
public:
    CInputZipStream();
    // Closes silently; a close error goes to the debug channel.
    ~CInputZipStream() override;

    [[nodiscard]] CError* open(CInputStream* source, size_t bufferBytes = kZipBufferBytes);
    // Closing a closed stream does nothing.
    [[nodiscard]] CError* close();
    bool isOpen() const { return state != nullptr; }

    [[nodiscard]] CError* consume(size_t count) override;
    [[nodiscard]] CError* read(void* buffer, size_t count) override;
    [[nodiscard]] CError* readStreamed(void* buffer, size_t count, size_t& outRead) override;

    // Inflates and drops whatever is left up to the end of the zlib stream, so that its check
    // value is verified and the source stands behind it.
    [[nodiscard]] CError* skipToEnd();
    // Whether the source has nothing more to give and every byte taken from it was inflated.
    bool isSourceExhausted() const;
    // Compressed bytes taken from the source, and bytes inflated, since open.
    uint64_t getCompressedBytesRead() const;
    uint64_t getBytesInflated() const;

private:
    struct State;

    // Inflates into buffer until count bytes came (all) or at least one did (streamed).
    [[nodiscard]] CError* inflateInto(void* buffer, size_t count, bool all, size_t& outRead);

    CInputStream* source = nullptr; // not owned
    State* state = nullptr;
};

} // namespace kel
