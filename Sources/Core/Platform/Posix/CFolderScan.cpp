#include "Core/Platform/CFolderScan.h"

#include "Core/CString.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>

namespace kel
{

CFolderScan::~CFolderScan()
{
    close();
}

int CFolderScan::open(const char* utf8Path)
{
    close();
    DIR* opened = ::opendir(utf8Path);
    if (!opened)
        return errno;
    listing = opened;
    return 0;
}

int CFolderScan::next(CString& outName, bool& outIsFolder, bool& outHasEntry)
{
    outHasEntry = false;
    outIsFolder = false;
    if (!listing)
        return EBADF;
    for (;;)
    {
        errno = 0;
        const dirent* entry = ::readdir(static_cast<DIR*>(listing));
        if (!entry)
            return errno;
        const char* name = entry->d_name;
        if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0)
            continue;
        outName = CString::fromUtf8(name);
        outHasEntry = true;
        if (entry->d_type == DT_DIR)
            outIsFolder = true;
        else if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK)
        {
            // Some file systems do not fill the type, and a link may lead to a folder.
            struct stat info;
            if (::fstatat(::dirfd(static_cast<DIR*>(listing)), name, &info, 0) == 0)
                outIsFolder = S_ISDIR(info.st_mode);
        }
        return 0;
    }
}

void CFolderScan::close()
{
    if (listing)
        ::closedir(static_cast<DIR*>(listing));
    listing = nullptr;
}

} // namespace kel
