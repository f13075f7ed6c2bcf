// Hosts load and unload a plug-in many times in one process (scanning, project switches,
// sandbox restarts). Each cycle here opens the library, runs a few instances through open,
// resume, audio and close, and lets the library go; after every cycle it must be gone from the
// address space, and after all of them the process must hold no more memory, threads or file
// descriptors than after the first few.
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace kel
{
namespace
{

#if defined(NDEBUG)
constexpr int kCycles = 1000;
#else
// Unoptimised builds start the shared tree several times slower.
constexpr int kCycles = 200;
#endif
constexpr int kWarmUpCycles = 20;
constexpr int kInstancesPerCycle = 3;
// Allocator caches and the loader's own bookkeeping settle during the warm-up. What is left per
// load is the statically linked C++ runtime's emergency exception arena (about 72 kB), which that
// runtime allocates when the library is loaded and never frees; everything of the plug-in's own
// is given back. A leak of one instance's tree per load would be many times this.
constexpr long kRuntimeArenaKb = 72;
constexpr long kGrowthPerLoadKb = kRuntimeArenaKb + 8;

int countEntries(const char* folder)
{
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder))
        ++count;
    return count;
}

long residentKb()
{
    // Memory the plug-in gave back is not resident once the host's heap is trimmed.
    malloc_trim(0);
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.compare(0, 6, "VmRSS:") == 0)
            return std::strtol(line.c_str() + 6, nullptr, 10);
    return -1;
}

// Whether any mapping of the process comes from `file` (an absolute, resolved path).
bool isMapped(const std::string& file)
{
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line))
    {
        const size_t at = line.find('/');
        if (at != std::string::npos && line.compare(at, std::string::npos, file) == 0)
            return true;
    }
    return false;
}

struct CUsage
{
    long rssKb;
    int threads;
    int fds;
};

CUsage measure()
{
    return {residentKb(), countEntries("/proc/self/task"), countEntries("/proc/self/fd")};
}

// One cycle: every instance holds its own reference to the library, which goes when the last
// of them is unloaded. Answers a description of the first fault, or "".
std::string runCycle(CVstHost& host)
{
    std::vector<std::unique_ptr<CHostedPlugin>> instances;
    for (int i = 0; i < kInstancesPerCycle; ++i)
    {
        instances.push_back(std::make_unique<CHostedPlugin>(host));
        if (CError* error = instances.back()->load(KEL_PLUGIN_PATH))
            return "load: " + test::CErrorText::takeKey(error);
    }
    const std::vector<float> floatSignal(1024, 0.25f);
    const std::vector<double> doubleSignal(1024, 0.25);
    const float* floatIn[] = {floatSignal.data(), floatSignal.data()};
    const double* doubleIn[] = {doubleSignal.data(), doubleSignal.data()};
    for (size_t i = 0; i < instances.size(); ++i)
    {
        CHostedPlugin& plugin = *instances[i];
        // Both precisions, so that both buffer shapes are made and freed.
        const bool doubles = i % 2 == 1;
        plugin.open();
        plugin.setProcessPrecision(doubles);
        plugin.start(44100.0, 256);
        plugin.setProcessMode(doubles, false);
        CError* error = doubles ? plugin.process(doubleIn, 2, nullptr, 0, 1024, {256})
                                : plugin.process(floatIn, 2, nullptr, 0, 1024, {256});
        if (error)
            return "process: " + test::CErrorText::takeKey(error);
        plugin.setActive(false);
        plugin.close();
    }
    instances.clear();
    return "";
}

TEST(LoadUnload, ThousandCyclesUnloadTheLibraryAndLeaveNothingBehind)
{
#if defined(KEL_SANITIZED)
    GTEST_SKIP() << "the sanitizer builds keep plug-ins mapped after dlclose";
#endif
    std::error_code failed;
    const std::string library = std::filesystem::canonical(KEL_PLUGIN_PATH, failed).string();
    ASSERT_FALSE(failed) << KEL_PLUGIN_PATH;
    ASSERT_FALSE(isMapped(library));

    CVstHost host;
    CUsage settled = {};
    for (int cycle = 0; cycle < kCycles; ++cycle)
    {
        const std::string fault = runCycle(host);
        ASSERT_EQ(fault, "") << "cycle " << cycle;
        ASSERT_FALSE(isMapped(library)) << "still mapped after the unload of cycle " << cycle;
        if (cycle + 1 == kWarmUpCycles)
            settled = measure();
        // A leak per load is caught long before it could take the machine's memory.
        if (cycle >= kWarmUpCycles && cycle % 50 == 0)
        {
            const long growthKb = residentKb() - settled.rssKb;
            ASSERT_LE(growthKb, kGrowthPerLoadKb * (cycle + 1 - kWarmUpCycles))
                << "resident memory grows by about " << growthKb / (cycle + 1 - kWarmUpCycles)
                << " kB per load (at cycle " << cycle << ")";
        }
    }
    const CUsage last = measure();
    RecordProperty("rss_growth_kb", static_cast<int>(last.rssKb - settled.rssKb));
    std::printf("after %d cycles: RSS %ld kB (%+ld kB since cycle %d), %d threads, %d fds\n",
                kCycles, last.rssKb, last.rssKb - settled.rssKb, kWarmUpCycles, last.threads,
                last.fds);
    EXPECT_LE(last.rssKb - settled.rssKb, kGrowthPerLoadKb * (kCycles - kWarmUpCycles));
    EXPECT_EQ(last.threads, settled.threads);
    EXPECT_EQ(last.fds, settled.fds);
}

} // namespace
} // namespace kel
