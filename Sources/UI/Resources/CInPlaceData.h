#pragma once

#include "Core/CByteBuffer.h"
#include "Core/CError.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

class CInputStream;

// Takes a run of bytes out of a stream for a resource that keeps it: a pointer into the stream's
// memory when the stream is a positioned reader over bytes in memory (embedded resources, which
// live as long as the module), otherwise a copy in the owner's buffer. [ui thread]
class CInPlaceData
{
public:
    // On success outData addresses size bytes and the stream stands behind them.
    [[nodiscard]] static CError* take(CInputStream& stream, size_t size, CByteBuffer& owned,
                                      const uint8_t*& outData);
};

} // namespace kel
