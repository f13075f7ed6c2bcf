#include "Core/COutputZipStream.h"

#include "Core/CZlib.h"

#include <zlib.h>

#include <cstring>

namespace kel
{

struct COutputZipStream::State : CCheckedObject
{
    z_stream stream;
    uint8_t* output = nullptr;
    size_t outputBytes = 0;
};

COutputZipStream::COutputZipStream() = default;

COutputZipStream::~COutputZipStream()
{
    release();
}

void COutputZipStream::release()
{
    if (!state)
        return;
    deflateEnd(&state->stream);
    CAllocator::free(state->output);
    delete state;
    state = nullptr;
    target = nullptr;
}

CError* COutputZipStream::open(COutputStream* newTarget, int level, size_t bufferBytes)
{
    release();
    auto* fresh = new State();
    std::memset(&fresh->stream, 0, sizeof(fresh->stream));
    CZlib::useAllocator(fresh->stream);
    fresh->outputBytes = bufferBytes ? bufferBytes : kZipBufferBytes;
    fresh->output = static_cast<uint8_t*>(CAllocator::alloc(fresh->outputBytes));
    const int code = fresh->output ? deflateInit(&fresh->stream, level) : Z_MEM_ERROR;
    if (code != Z_OK)
    {
        CError* error = KEL_ERROR("@kelstr_COutputZipStream_open_deflateInit zlib deflateInit "
                                  "error %1 (%2).",
                                  code, CZlib::message(fresh->stream, code));
        CAllocator::free(fresh->output);
        delete fresh;
        return error;
    }
    fresh->stream.next_out = fresh->output;
    fresh->stream.avail_out = static_cast<uInt>(fresh->outputBytes);
    target = newTarget;
    state = fresh;
    return nullptr;
}

CError* COutputZipStream::write(const void* buffer, size_t count)
{
    if (!target || !state)
        return KEL_ERROR("@kelstr_COutputZipStream_write_NoStream Output stream not specified.");
    z_stream& stream = state->stream;
    auto* in = static_cast<const uint8_t*>(buffer);
    size_t taken = 0;
    while (taken < count)
    {
        const size_t piece = count - taken < CZlib::kMaxPiece ? count - taken : CZlib::kMaxPiece;
        stream.next_in = const_cast<Bytef*>(in + taken);
        stream.avail_in = static_cast<uInt>(piece);
        while (stream.avail_in > 0)
        {
            const int code = deflate(&stream, Z_NO_FLUSH);
            if (code != Z_OK && code != Z_BUF_ERROR)
                return KEL_ERROR("@kelstr_COutputZipStream_write_deflate zlib deflate error %1 "
                                 "(%2).",
                                 code, CZlib::message(stream, code));
            if (stream.avail_out == 0)
            {
                KEL_CHECK(target->write(state->output, state->outputBytes));
                stream.next_out = state->output;
                stream.avail_out = static_cast<uInt>(state->outputBytes);
            }
        }
        taken += piece;
    }
    return nullptr;
}

CError* COutputZipStream::close()
{
    if (!state)
        return nullptr;
    if (!target)
    {
        release();
        return KEL_ERROR("@kelstr_COutputZipStream_write_NoStream Output stream not specified.");
    }
    z_stream& stream = state->stream;
    stream.next_in = nullptr;
    stream.avail_in = 0;
    for (;;)
    {
        const int code = deflate(&stream, Z_FINISH);
        if (code != Z_OK && code != Z_STREAM_END && code != Z_BUF_ERROR)
        {
            CError* error = KEL_ERROR("@kelstr_COutputZipStream_close_deflate zlib deflate error "
                                      "%1 (%2).",
                                      code, CZlib::message(stream, code));
            release();
            return error;
        }
        const size_t pending = state->outputBytes - stream.avail_out;
        if (pending > 0 && (code == Z_STREAM_END || stream.avail_out == 0))
        {
            if (CError* error = target->write(state->output, pending))
            {
                release();
                KEL_CHECK(error);
            }
            stream.next_out = state->output;
            stream.avail_out = static_cast<uInt>(state->outputBytes);
        }
        if (code == Z_STREAM_END)
            break;
    }
    const int code = deflateEnd(&stream);
    CError* error = nullptr;
    if (code != Z_OK)
        error =
            KEL_ERROR("@kelstr_COutputZipStream_close_deflateEnd zlib deflateEnd error %1 (%2).",
                      code, CZlib::message(stream, code));
    CAllocator::free(state->output);
    delete state;
    state = nullptr;
    target = nullptr;
    return error;
}

} // namespace kel
