#include "Core/CInputZipStream.h"

#include "Core/CDebugChannel.h"
#include "Core/CPosInputStream.h"

#include "Core/CZlib.h"

#include <zlib.h>

#include <cstring>

namespace kel
{

struct CInputZipStream::State : CCheckedObject
{
    z_stream stream;
    uint8_t* input = nullptr;
    size_t inputBytes = 0;
    bool sourceEnded = false;
    bool streamEnded = false;
};

CInputZipStream::CInputZipStream() = default;

CInputZipStream::~CInputZipStream()
{
    if (CError* error = close())
    {
        KEL_LOG("%s", error->getMessage());
        delete error;
    }
}

CError* CInputZipStream::open(CInputStream* newSource, size_t bufferBytes)
{
    KEL_CHECK(close());
    auto* fresh = new State();
    std::memset(&fresh->stream, 0, sizeof(fresh->stream));
    CZlib::useAllocator(fresh->stream);
    fresh->inputBytes = bufferBytes ? bufferBytes : kZipBufferBytes;
    fresh->input = static_cast<uint8_t*>(CAllocator::alloc(fresh->inputBytes));
    const int code = fresh->input ? inflateInit(&fresh->stream) : Z_MEM_ERROR;
    if (code != Z_OK)
    {
        CError* error = KEL_ERROR("@kelstr_CInputZipStream_open_inflateInit zlib inflateInit "
                                  "error %1 (%2).",
                                  code, CZlib::message(fresh->stream, code));
        CAllocator::free(fresh->input);
        delete fresh;
        return error;
    }
    source = newSource;
    state = fresh;
    return nullptr;
}

CError* CInputZipStream::close()
{
    if (!state)
        return nullptr;
    State* closing = state;
    state = nullptr;
    // Input pulled beyond the end of the zlib stream belongs to whatever follows it.
    CError* rewindError = nullptr;
    if (closing->stream.avail_in > 0)
    {
        if (auto* positioned = dynamic_cast<CPosInputStream*>(source))
        {
            int64_t position = 0;
            rewindError = positioned->getPosition(position);
            if (!rewindError)
                rewindError = positioned->setPosition(
                    position - static_cast<int64_t>(closing->stream.avail_in));
        }
    }
    const int code = inflateEnd(&closing->stream);
    CError* error = nullptr;
    if (code != Z_OK)
        error = KEL_ERROR("@kelstr_CInputZipStream_close_inflateEnd zlib inflateEnd error %1 (%2).",
                          code, CZlib::message(closing->stream, code));
    CAllocator::free(closing->input);
    delete closing;
    source = nullptr;
    if (error)
    {
        delete rewindError;
        return error;
    }
    KEL_CHECK(rewindError);
    return nullptr;
}

CError* CInputZipStream::consume(size_t)
{
    return KEL_ERROR("@kelstr_CInputZipStream_consume_Unsupported Consuming is not supported in "
                     "zip streams.");
}

CError* CInputZipStream::read(void* buffer, size_t count)
{
    size_t got = 0;
    KEL_CHECK(inflateInto(buffer, count, true, got));
    return nullptr;
}

CError* CInputZipStream::readStreamed(void* buffer, size_t count, size_t& outRead)
{
    outRead = 0;
    KEL_CHECK(inflateInto(buffer, count, false, outRead));
    return nullptr;
}

CError* CInputZipStream::inflateInto(void* buffer, size_t count, bool all, size_t& outRead)
{
    if (!source || !state)
        return KEL_ERROR("@kelstr_CInputZipStream_read_NoStream Input stream not specified.");
    z_stream& stream = state->stream;
    auto* out = static_cast<uint8_t*>(buffer);
    outRead = 0;
    while (outRead < count)
    {
        if (state->streamEnded)
        {
            if (!all)
                return nullptr;
            return KEL_ERROR("@kelstr_CInputZipStream_read_EOF Premature end of file.");
        }
        if (stream.avail_in == 0 && !state->sourceEnded)
        {
            size_t pulled = 0;
            KEL_CHECK(source->readStreamed(state->input, state->inputBytes, pulled));
            state->sourceEnded = pulled == 0;
            stream.next_in = state->input;
            stream.avail_in = static_cast<uInt>(pulled);
        }
        const size_t piece =
            count - outRead < CZlib::kMaxPiece ? count - outRead : CZlib::kMaxPiece;
        stream.next_out = out + outRead;
        stream.avail_out = static_cast<uInt>(piece);
        const int code = inflate(&stream, Z_NO_FLUSH);
        const size_t produced = piece - stream.avail_out;
        outRead += produced;
        if (code == Z_STREAM_END)
            state->streamEnded = true;
        else if (code == Z_BUF_ERROR && state->sourceEnded && stream.avail_in == 0)
            return KEL_ERROR("@kelstr_CInputZipStream_read_EOF Premature end of file.");
        else if (code != Z_OK && code != Z_BUF_ERROR)
            return KEL_ERROR("@kelstr_CInputZipStream_read_inflate zlib inflate error %1 (%2).",
                             code, CZlib::message(stream, code));
        if (!all && outRead > 0)
            return nullptr;
    }
    return nullptr;
}

CError* CInputZipStream::skipToEnd()
{
    uint8_t scratch[512];
    while (state && !state->streamEnded)
    {
        size_t got = 0;
        KEL_CHECK(inflateInto(scratch, sizeof(scratch), false, got));
        if (got == 0 && !state->streamEnded)
            return KEL_ERROR("@kelstr_CInputZipStream_read_EOF Premature end of file.");
    }
    return nullptr;
}

bool CInputZipStream::isSourceExhausted() const
{
    return state && state->sourceEnded && state->stream.avail_in == 0;
}

uint64_t CInputZipStream::getCompressedBytesRead() const
{
    return state ? state->stream.total_in : 0;
}

uint64_t CInputZipStream::getBytesInflated() const
{
    return state ? state->stream.total_out : 0;
}

} // namespace kel
