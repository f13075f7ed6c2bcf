// One plug-in instance as a host makes it: the product's library loaded the way hosts load it,
// its entry point called and effOpen sent. The goals: below 1 ms per instance after the first
// (the first in a process also builds the shared tree; it is the counter first_us), and below
// 300 KiB of resident memory for each further instance (counter rss_kib_per_instance, taken over
// a batch of instances alive at once).
#include "CHostedPlugin.h"
#include "CVstHost.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

namespace
{

constexpr int kRssBatch = 32;

long residentKib()
{
    // Anonymous memory only: the library's file pages come and go with the page cache (another
    // process reading the same file maps more of them at a fault), which says nothing of us.
    long kib = 0;
    FILE* status = std::fopen("/proc/self/status", "r");
    if (!status)
        return 0;
    char line[256];
    while (std::fgets(line, sizeof line, status))
    {
        if (std::sscanf(line, "RssAnon: %ld kB", &kib) == 1)
            break;
    }
    std::fclose(status);
    return kib;
}

// Loads and opens one instance; null with the reason in `state` on failure.
std::unique_ptr<kel::CHostedPlugin> openInstance(benchmark::State& state, kel::CVstHost& host)
{
    auto plugin = std::make_unique<kel::CHostedPlugin>(host);
    if (kel::CError* error = plugin->load(KEL_PLUGIN_PATH))
    {
        char chain[2048];
        error->formatChain(chain, static_cast<int>(sizeof(chain)));
        delete error;
        state.SkipWithError(chain);
        return nullptr;
    }
    plugin->open();
    return plugin;
}

void createInstance(benchmark::State& state)
{
    kel::CVstHost host;
    host.poseAsArdour();
    // The first instance of the process: the library's shared tree is built here.
    // The benchmark runs this function several times; the figures of the first stand.
    static double firstUs = -1.0;
    static double openedKib = -1.0;
    static double runningKib = -1.0;
    static double firstKib = -1.0;
    const long beforeFirst = residentKib();
    const auto firstStart = std::chrono::steady_clock::now();
    std::unique_ptr<kel::CHostedPlugin> first = openInstance(state, host);
    if (firstKib < 0.0)
    {
        // The library's pages are mostly not touched until something reads them; what the first
        // instance costs is what it adds beyond them, the shared tree included.
        firstKib = static_cast<double>(residentKib() - beforeFirst);
    }
    if (firstUs < 0.0)
        firstUs =
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - firstStart)
                .count();
    if (!first)
        return;

    // Memory of further instances, taken before the timed ones have filled the allocator's
    // pools: opened, then running (its buffers readied by resume).
    std::vector<std::unique_ptr<kel::CHostedPlugin>> batch;
    const bool measure = openedKib < 0.0;
    const long before = residentKib();
    for (int n = 0; n < kRssBatch; ++n)
    {
        batch.push_back(openInstance(state, host));
        if (!batch.back())
            return;
    }
    const long opened = residentKib();
    for (auto& plugin : batch)
        plugin->start(48000.0, 1024);
    const long running = residentKib();
    batch.clear();
    if (measure)
    {
        openedKib = static_cast<double>(opened - before) / kRssBatch;
        runningKib = static_cast<double>(running - before) / kRssBatch;
    }
    for (auto _ : state)
    {
        std::unique_ptr<kel::CHostedPlugin> plugin = openInstance(state, host);
        if (!plugin)
            break;
        state.PauseTiming();
        plugin.reset();
        state.ResumeTiming();
    }

    state.counters["first_us"] = firstUs;
    state.counters["first_rss_kib"] = firstKib;
    state.counters["rss_kib_per_instance"] = openedKib;
    state.counters["rss_kib_per_running"] = runningKib;
}
BENCHMARK(createInstance)->Name("instance/create")->Unit(benchmark::kMicrosecond);

} // namespace
