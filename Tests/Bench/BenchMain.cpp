// Runs every benchmark, then prints each process timing as a ratio to the plain copy of the same
// buffers measured in the same run ("process/float/idle/2" against "copy/float/2").
#include <benchmark/benchmark.h>

#include <cstdio>
#include <sys/prctl.h>
#include <map>
#include <string>
#include <vector>

namespace
{
class CRatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (!run.error_occurred && run.iterations > 0)
                timesNs[run.benchmark_name()] = run.GetAdjustedRealTime();
    }

    void printRatios() const
    {
        bool header = false;
        for (const auto& [name, timeNs] : timesNs)
        {
            // "process/<type>/<state>/<channels>" against "copy/<type>/<channels>".
            if (name.rfind("process/", 0) != 0)
                continue;
            const size_t typeEnd = name.find('/', 8);
            const size_t stateEnd = name.find('/', typeEnd + 1);
            if (typeEnd == std::string::npos || stateEnd == std::string::npos)
                continue;
            const std::string copyName =
                "copy/" + name.substr(8, typeEnd - 8) + name.substr(stateEnd);
            const auto copy = timesNs.find(copyName);
            if (copy == timesNs.end() || copy->second <= 0.0)
                continue;
            if (!header)
            {
                std::printf("\n%-28s %12s %12s %8s\n", "ratio to a plain copy", "process ns",
                            "copy ns", "ratio");
                header = true;
            }
            std::printf("%-28s %12.1f %12.1f %7.2fx\n", name.c_str(), timeNs, copy->second,
                        timeNs / copy->second);
        }
    }

private:
    std::map<std::string, double> timesNs;
};
} // namespace

int main(int argc, char** argv)
{
    // Transparent huge pages would count memory in 2 MiB steps; the resident-memory figures
    // are meant per page.
    prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    CRatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    benchmark::Shutdown();
    return 0;
}
