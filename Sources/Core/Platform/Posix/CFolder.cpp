#include "Core/Platform/CFolder.h"

#include "Core/CAllocator.h"
#include "Core/CString.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kel
{

namespace
{
// XDG variables hold absolute paths only; anything else counts as unset.
bool isAbsolute(const char* path)
{
    return path && path[0] == '/';
}

void setWithoutTrailingSlash(CString& out, const char* path, size_t bytes)
{
    while (bytes > 1 && path[bytes - 1] == '/')
        --bytes;
    out = CString::fromUtf8(path, bytes);
}
} // namespace

int CFolder::create(const char* utf8Path)
{
    if (::mkdir(utf8Path, 0777) == 0)
        return 0;
    const int error = errno;
    if (error != EEXIST)
        return error;
    // Something of that name exists: fine if it is a folder, in the way otherwise.
    return isFolder(utf8Path) ? 0 : ENOTDIR;
}

int CFolder::createWithParents(const char* utf8Path)
{
    const size_t length = std::strlen(utf8Path);
    if (length == 0)
        return ENOENT;
    if (isFolder(utf8Path))
        return 0;
    char* partial = static_cast<char*>(CAllocator::alloc(length + 1));
    if (!partial)
        return ENOMEM;
    std::memcpy(partial, utf8Path, length + 1);
    int error = 0;
    // Each '/' after the first character ends one level; the whole path is the last.
    for (size_t i = 1; i <= length && error == 0; ++i)
    {
        if (i < length && partial[i] != '/')
            continue;
        const char kept = partial[i];
        partial[i] = '\0';
        if (partial[i - 1] != '/')
            error = create(partial);
        partial[i] = kept;
    }
    CAllocator::free(partial);
    return error;
}

int CFolder::removeFolder(const char* utf8Path)
{
    return ::rmdir(utf8Path) == 0 ? 0 : errno;
}

int CFolder::removeFile(const char* utf8Path)
{
    return ::unlink(utf8Path) == 0 ? 0 : errno;
}

int CFolder::rename(const char* fromUtf8Path, const char* toUtf8Path)
{
    return std::rename(fromUtf8Path, toUtf8Path) == 0 ? 0 : errno;
}

bool CFolder::exists(const char* utf8Path)
{
    struct stat info;
    return ::stat(utf8Path, &info) == 0;
}

void CFolder::makeTemporarySibling(const CString& path, CString& out)
{
    static std::atomic<uint32_t> counter{0};
    out = path;
    out.appendFormat(".~%ld-%u", static_cast<long>(::getpid()),
                     counter.fetch_add(1, std::memory_order_relaxed));
}

bool CFolder::isFolder(const char* utf8Path)
{
    struct stat info;
    return ::stat(utf8Path, &info) == 0 && S_ISDIR(info.st_mode);
}

int CFolder::getUserDataFolder(CString& out)
{
    out.clear();
    const char* dataHome = std::getenv("XDG_DATA_HOME");
    if (isAbsolute(dataHome))
    {
        setWithoutTrailingSlash(out, dataHome, std::strlen(dataHome));
        return 0;
    }
    const char* home = std::getenv("HOME");
    char record[1024];
    if (!isAbsolute(home))
    {
        // No HOME in the environment (a service, a stripped host): ask the user database.
        struct passwd entry;
        struct passwd* found = nullptr;
        if (::getpwuid_r(::getuid(), &entry, record, sizeof(record), &found) != 0 || !found ||
            !isAbsolute(found->pw_dir))
            return ENOENT;
        home = found->pw_dir;
    }
    setWithoutTrailingSlash(out, home, std::strlen(home));
    out.append("/.local/share");
    return 0;
}

int CFolder::getCommonDataFolder(CString& out)
{
    const char* dataDirs = std::getenv("XDG_DATA_DIRS");
    if (dataDirs)
    {
        // The first absolute entry of the colon-separated list.
        const char* entry = dataDirs;
        while (*entry)
        {
            const char* end = std::strchr(entry, ':');
            const size_t bytes = end ? static_cast<size_t>(end - entry) : std::strlen(entry);
            if (bytes > 0 && entry[0] == '/')
            {
                setWithoutTrailingSlash(out, entry, bytes);
                return 0;
            }
            if (!end)
                break;
            entry = end + 1;
        }
    }
    out = "/usr/local/share";
    return 0;
}

} // namespace kel
