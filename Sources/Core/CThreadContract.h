#pragma once

#include <atomic>
#include <cstdint>

namespace kel
{

// A thread contract checked in debug builds: the part of the plug-in that runs on one thread at
// a time (the audio path from the first process call after resume, the editor from effEditOpen)
// claims the calling thread, and each boundary entry checks that it runs there. A mismatch goes
// to the mismatch handler: the tests make it a failure, a debug build logs it. Release builds
// compile the checks to nothing (NDEBUG).
//
// Owned by the object whose contract it is. [claim, release, check: any thread]
class CThreadContract
{
public:
    using CMismatchHandler = void (*)(const char* contract, const char* where);

    explicit CThreadContract(const char* contractName) : name(contractName) {}

    // The calling thread becomes the contract's thread, unless one holds it already.
    void claim()
    {
#ifndef NDEBUG
        claimThread();
#endif
    }
    // No thread holds the contract from now on (suspend, effEditClose).
    void release()
    {
#ifndef NDEBUG
        owner.store(0, std::memory_order_relaxed);
#endif
    }
    // Reports a call at where from another thread than the contract's; nothing while none holds
    // it.
    void check(const char* where) const
    {
#ifndef NDEBUG
        checkThread(where);
#else
        (void)where;
#endif
    }

    // Null restores the default, which logs on the debug channel; answers the handler before.
    // [set-up thread]
    static CMismatchHandler setMismatchHandler(CMismatchHandler handler);
    // Number of mismatches reported so far in the process.
    static int getMismatchCount();

private:
    void claimThread();
    void checkThread(const char* where) const;

    const char* name;
    std::atomic<uint64_t> owner{0};
};

} // namespace kel
