#pragma once

#include <cstddef>

struct z_stream_s;

namespace kel
{

// What the compressing and the decompressing stream share of zlib: its memory comes from the
// framework's allocator, so that it is counted and sized like everything else, and its failures
// are told in its own words. [any thread]
class CZlib
{
public:
    // zlib counts in uInt; larger requests go through in pieces of this size.
    static constexpr size_t kMaxPiece = 0xFFFFFFFFu;

    // Gives the stream the framework's allocator; before inflateInit or deflateInit.
    static void useAllocator(z_stream_s& stream);
    // The text of a failure: the stream's own message, else the one of the code.
    static const char* message(const z_stream_s& stream, int code);
};

} // namespace kel
