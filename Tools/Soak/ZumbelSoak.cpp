// zumbel-soak: runs a VST 2 plug-in in the project's own host for a stretch of wall time, with
// audio, automation, state, program and bypass traffic from four threads at once, and reports
// what it did and every rule the plug-in broke. Exit status 0 only with no violation.

#include "CSoakRun.h"

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

using namespace kel;

namespace
{

const char* const kUsage =
    "usage: zumbel-soak PLUGIN.so [--seconds N] [--rate HZ] [--channels N] [--seed N]\n"
    "  --seconds N    wall time to run (default 60; 3600 for an hour)\n"
    "  --rate HZ      sample rate (default 48000)\n"
    "  --channels N   input and output channels, 1 to the plug-in's count (default 2)\n"
    "  --seed N       seed of the random choices (default: from the clock; printed)\n";

bool parseNumber(const char* text, double& value)
{
    char* end = nullptr;
    value = std::strtod(text, &end);
    return end != text && *end == 0 && std::isfinite(value);
}

// Answers 0 to go on, 1 for an error, 2 for a request that is done (help).
int parseArguments(int argc, char** argv, CSoakRun::COptions& options)
{
    options.seed = static_cast<uint64_t>(
        std::chrono::steady_clock::now().time_since_epoch().count() % 1000000007);
    for (int i = 1; i < argc; ++i)
    {
        const char* arg = argv[i];
        if (std::strcmp(arg, "--help") == 0 || std::strcmp(arg, "-h") == 0)
        {
            std::fputs(kUsage, stdout);
            return 2;
        }
        if (arg[0] != '-')
        {
            if (!options.pluginPath.empty())
            {
                std::fprintf(stderr, "zumbel-soak: one plug-in only\n%s", kUsage);
                return 1;
            }
            options.pluginPath = arg;
            continue;
        }
        double number = 0.0;
        if (i + 1 >= argc || !parseNumber(argv[i + 1], number) || number < 0.0)
        {
            std::fprintf(stderr, "zumbel-soak: %s needs a number\n%s", arg, kUsage);
            return 1;
        }
        ++i;
        if (std::strcmp(arg, "--seconds") == 0 && number > 0.0)
            options.seconds = number;
        else if (std::strcmp(arg, "--rate") == 0 && number >= 8000.0 && number <= 384000.0)
            options.rateHz = number;
        else if (std::strcmp(arg, "--channels") == 0 && number >= 1.0 && number <= 8.0)
            options.channels = static_cast<int>(number);
        else if (std::strcmp(arg, "--seed") == 0)
            options.seed = static_cast<uint64_t>(number);
        else
        {
            std::fprintf(stderr, "zumbel-soak: bad option or value: %s %s\n%s", arg, argv[i],
                         kUsage);
            return 1;
        }
    }
    if (options.pluginPath.empty())
    {
        std::fputs(kUsage, stderr);
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CSoakRun::COptions options;
    if (const int parsed = parseArguments(argc, argv, options))
        return parsed == 2 ? 0 : 2;
    std::printf("zumbel-soak: %s for %.0f s, seed %llu\n", options.pluginPath.c_str(),
                options.seconds, static_cast<unsigned long long>(options.seed));
    std::fflush(stdout);
    auto soak = std::make_unique<CSoakRun>(options);
    if (CError* error = soak->run())
    {
        std::unique_ptr<CError> owned(error);
        char text[2048];
        owned->formatChain(text, sizeof(text));
        std::fprintf(stderr, "zumbel-soak: %s\n", text);
        return 2;
    }
    soak->printReport(stdout);
    return soak->getViolationCount() == 0 ? 0 : 1;
}
