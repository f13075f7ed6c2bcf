#pragma once

#include "Core/CPosInputStream.h"

namespace kel
{

// Reads from bytes in memory that it does not own (an embedded resource, a host's chunk, a
// buffer of the caller's); they must outlive the reader. getData hands out the bytes, so readers
// of large structures can use them in place. A read is all or nothing.
// One thread at a time. [any thread; never allocates]
class CMemoryReader : public CPosInputStream
{
public:
    CMemoryReader() = default;
    CMemoryReader(const void* data, size_t size);

    // Starts over on other bytes, at position 0.
    void setData(const void* data, size_t size);

    const uint8_t* getData() override { return bytes; }
    [[nodiscard]] CError* consume(size_t count) override;
    [[nodiscard]] CError* read(void* buffer, size_t count) override;
    [[nodiscard]] CError* readStreamed(void* buffer, size_t count, size_t& outRead) override;

    [[nodiscard]] CError* getPosition(int64_t& outPosition) override;
    // Any position is taken; reads beyond the end fail.
    [[nodiscard]] CError* setPosition(int64_t position) override;
    [[nodiscard]] CError* getSize(int64_t& outSize) override;

    int64_t getPosition() const { return position; }
    size_t getSize() const { return byteCount; }

private:
    bool hasRoom(size_t count) const;

    const uint8_t* bytes = nullptr; // not owned
    size_t byteCount = 0;
    int64_t position = 0;
};

} // namespace kel
