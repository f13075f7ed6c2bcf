#pragma once

#include "Core/CPosOutputStream.h"

namespace kel
{

// A growing buffer to write into. The buffer comes from CAllocator and belongs to this object;
// getData and getSize give the contents written so far, writeTo passes them on. It grows by at
// least its growth step (128 bytes suits small heads; large payloads also double it).
// One thread at a time. [any thread]
class CMemoryWriteBuffer : public CPosOutputStream
{
public:
    explicit CMemoryWriteBuffer(size_t growthStepBytes = 4096);
    ~CMemoryWriteBuffer() override;
    CMemoryWriteBuffer(const CMemoryWriteBuffer&) = delete;
    CMemoryWriteBuffer& operator=(const CMemoryWriteBuffer&) = delete;

    // Writes at the position; a position beyond the end fills the gap with zeros.
    [[nodiscard]] CError* write(const void* buffer, size_t count) override;
    [[nodiscard]] CError* getPosition(int64_t& outPosition) override;
    [[nodiscard]] CError* setPosition(int64_t position) override;
    [[nodiscard]] CError* getSize(int64_t& outSize) override;

    const uint8_t* getData() const { return bytes; }
    size_t getSize() const { return size; }
    [[nodiscard]] CError* writeTo(COutputStream& target) const;
    // Empties the buffer and gives its memory back.
    void clear();

private:
    [[nodiscard]] bool reserve(size_t needed);

    uint8_t* bytes = nullptr;
    size_t size = 0;
    size_t capacity = 0;
    size_t position = 0;
    size_t growthStep;
};

} // namespace kel
