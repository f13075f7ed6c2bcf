#include "CProcessUsage.h"

#include <dirent.h>
#include <malloc.h>

#include <cstdio>

namespace kel
{

namespace
{
// Entries of a /proc folder, "." and ".." not counted; -1 where it cannot be read.
int countEntries(const char* folder)
{
    DIR* dir = opendir(folder);
    if (!dir)
        return -1;
    int count = 0;
    while (const dirent* entry = readdir(dir))
        if (entry->d_name[0] != '.')
            ++count;
    closedir(dir);
    return count;
}

long readRssKb()
{
    std::FILE* status = std::fopen("/proc/self/status", "r");
    if (!status)
        return 0;
    char line[256];
    long kb = 0;
    while (std::fgets(line, sizeof(line), status))
        if (std::sscanf(line, "VmRSS: %ld", &kb) == 1)
            break;
    std::fclose(status);
    return kb;
}
} // namespace

CProcessUsage CProcessUsage::measure(bool trimHeap)
{
    if (trimHeap)
        malloc_trim(0);
    CProcessUsage usage;
    usage.rssKb = readRssKb();
    usage.threads = countEntries("/proc/self/task");
    // Minus the descriptor the listing itself holds.
    const int fds = countEntries("/proc/self/fd");
    usage.fds = fds > 0 ? fds - 1 : fds;
    return usage;
}

} // namespace kel
