#pragma once

namespace kel
{

// What this process holds right now: resident memory, threads and open file descriptors, read
// from /proc. The tools print it around a run; the tests compare it before and after cycles that
// must leave nothing behind. [any thread]
class CProcessUsage
{
public:
    // Measures; with trimHeap the C heap first gives back what it can, so that memory the
    // plug-in freed does not count as resident.
    static CProcessUsage measure(bool trimHeap = true);

    long rssKb = 0;
    int threads = 0;
    int fds = 0;
};

} // namespace kel
