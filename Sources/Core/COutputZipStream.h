#pragma once

#include "Core/COutputStream.h"

namespace kel
{

// Deflates into another output stream, which it does not own, as one zlib stream (zlib header,
// Adler-32). Full output buffers go on to the target as they fill; close finishes the stream.
// zlib's memory comes from CAllocator. One thread at a time. [any thread]
class COutputZipStream : public COutputStream
{
public:
    static constexpr int kDefaultLevel = -1;

    COutputZipStream();
    // Abandons an unfinished stream without writing to the target, which may be gone already.
    ~COutputZipStream() override;

    [[nodiscard]] CError* open(COutputStream* target, int level = kDefaultLevel,
                               size_t bufferBytes = kZipBufferBytes);
    // Finishes the stream and writes the rest to the target. Closing a closed stream does nothing.
    [[nodiscard]] CError* close();
    bool isOpen() const { return state != nullptr; }

    [[nodiscard]] CError* write(const void* buffer, size_t count) override;

private:
    struct State;

    void release();

    COutputStream* target = nullptr; // not owned
    State* state = nullptr;
};

} // namespace kel
