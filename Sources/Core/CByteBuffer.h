#pragma once

#include "Core/CCheckedObject.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

// An owned run of bytes, as a compressed block's payload or a value blob. Up to 32 bytes live
// inside the object; beyond that the bytes come from CAllocator. A value: copies copy the bytes.
// Not shared between threads without a lock. [any thread]
class CByteBuffer : public CCheckedObject
{
public:
    static constexpr size_t kInlineBytes = 32;

    CByteBuffer() = default;
    CByteBuffer(const CByteBuffer& other);
    CByteBuffer& operator=(const CByteBuffer& other);
    ~CByteBuffer() override;

    uint8_t* getData() { return data; }
    const uint8_t* getData() const { return data; }
    size_t getSize() const { return size; }
    bool isInline() const { return data == inlineBytes; }

    // Keeps the first min(old, new) bytes; new bytes are zero. False when the allocator has no
    // room; the buffer is then unchanged.
    [[nodiscard]] bool resize(size_t bytes);
    [[nodiscard]] bool assign(const void* source, size_t bytes);
    // Gives the heap block back; the buffer is empty and inline again.
    void clear();

private:
    uint8_t inlineBytes[kInlineBytes] = {};
    uint8_t* data = inlineBytes;
    size_t size = 0;
};

} // namespace kel
