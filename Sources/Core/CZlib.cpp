#include "Core/CZlib.h"

#include "Core/CAllocator.h"

#include <zlib.h>

#include <cstdint>

namespace kel
{

namespace
{
voidpf zlibAlloc(voidpf, uInt items, uInt size)
{
    if (size != 0 && items > SIZE_MAX / size)
        return Z_NULL;
    return CAllocator::alloc(static_cast<size_t>(items) * size);
}

void zlibFree(voidpf, voidpf block)
{
    CAllocator::free(block);
}
} // namespace

void CZlib::useAllocator(z_stream_s& stream)
{
    stream.zalloc = zlibAlloc;
    stream.zfree = zlibFree;
    stream.opaque = Z_NULL;
}

const char* CZlib::message(const z_stream_s& stream, int code)
{
    return stream.msg ? stream.msg : zError(code);
}

} // namespace kel
