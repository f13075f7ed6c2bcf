#include "Core/Platform/CFile.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kel
{

namespace
{
// One system call moves at most this much; larger requests go through in pieces.
constexpr size_t kMaxPiece = 1u << 30;
} // namespace

CFile::~CFile()
{
    close();
}

int CFile::openForReading(const char* utf8Path)
{
    close();
    do
        handle = ::open(utf8Path, O_RDONLY | O_CLOEXEC);
    while (handle < 0 && errno == EINTR);
    if (handle < 0)
        return errno;
#if defined(POSIX_FADV_SEQUENTIAL)
    ::posix_fadvise(handle, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
    return 0;
}

int CFile::openForWriting(const char* utf8Path, bool isAppending)
{
    close();
    const int mode = O_WRONLY | O_CREAT | O_CLOEXEC | (isAppending ? 0 : O_TRUNC);
    do
        handle = ::open(utf8Path, mode, 0666);
    while (handle < 0 && errno == EINTR);
    if (handle < 0)
        return errno;
    // Not O_APPEND: the writer may still set its position, as on other systems.
    if (isAppending && ::lseek(handle, 0, SEEK_END) < 0)
    {
        const int error = errno;
        close();
        return error;
    }
    return 0;
}

int CFile::close()
{
    if (handle < 0)
        return 0;
    const int closing = handle;
    handle = -1;
    // The descriptor is gone even when close reports EINTR; never retry it.
    return ::close(closing) == 0 ? 0 : errno;
}

int CFile::read(void* buffer, size_t count, size_t& outRead)
{
    outRead = 0;
    if (handle < 0)
        return EBADF;
    ssize_t got;
    do
        got = ::read(handle, buffer, count < kMaxPiece ? count : kMaxPiece);
    while (got < 0 && errno == EINTR);
    if (got < 0)
        return errno;
    outRead = static_cast<size_t>(got);
    return 0;
}

int CFile::write(const void* buffer, size_t count, size_t& outWritten)
{
    outWritten = 0;
    if (handle < 0)
        return EBADF;
    const auto* bytes = static_cast<const unsigned char*>(buffer);
    while (outWritten < count)
    {
        const size_t left = count - outWritten;
        const ssize_t put =
            ::write(handle, bytes + outWritten, left < kMaxPiece ? left : kMaxPiece);
        if (put < 0)
        {
            if (errno == EINTR)
                continue;
            return errno;
        }
        if (put == 0)
            break;
        outWritten += static_cast<size_t>(put);
    }
    return 0;
}

int CFile::flush()
{
    if (handle < 0)
        return EBADF;
    return ::fsync(handle) == 0 ? 0 : errno;
}

int CFile::getPosition(int64_t& outPosition)
{
    const off_t position = handle < 0 ? -1 : ::lseek(handle, 0, SEEK_CUR);
    if (position < 0)
        return handle < 0 ? EBADF : errno;
    outPosition = position;
    return 0;
}

int CFile::setPosition(int64_t position)
{
    if (handle < 0)
        return EBADF;
    return ::lseek(handle, static_cast<off_t>(position), SEEK_SET) < 0 ? errno : 0;
}

int CFile::movePosition(int64_t delta)
{
    if (handle < 0)
        return EBADF;
    return ::lseek(handle, static_cast<off_t>(delta), SEEK_CUR) < 0 ? errno : 0;
}

int CFile::getSize(int64_t& outSize)
{
    if (handle < 0)
        return EBADF;
    struct stat info;
    if (::fstat(handle, &info) != 0)
        return errno;
    outSize = info.st_size;
    return 0;
}

} // namespace kel
