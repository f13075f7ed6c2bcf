// zumbel-render: renders an audio file (or a built-in test signal) through a VST 2 plug-in with
// the project's own host, lists the events the plug-in inserted and can draw them.

#include "CEventDetector.h"
#include "CHostedPlugin.h"
#include "CSoundFile.h"
#include "CTestSignal.h"
#include "CVstHost.h"
#include "CWaveformPicture.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

using namespace kel;

namespace
{

struct COptions
{
    std::string pluginPath;
    std::string inPath;
    std::string outPath = "out.wav";
    std::string pngPath;
    double rateHz = 48000.0;
    double seconds = 100.0;
    int blockFrames = 512;
    bool doublePrecision = false;
    bool inPlace = false;
    bool quiet = false;
    bool checkDefaults = false;
    std::string detectIn;
    std::string detectOut;
    std::vector<std::pair<int, float>> params;
};

const char* const kUsage =
    "usage: zumbel-render [options]\n"
    "  --demo              render the test signal with the project's plug-in to demo.wav and\n"
    "                      demo.png in the current folder and list the events\n"
    "  --plugin PATH       VST 2 plug-in (default: Zumbel.so next to this program)\n"
    "  --in FILE           input audio file (default: built-in test signal)\n"
    "  --out FILE          output, 32-bit float WAV (default: out.wav)\n"
    "  --rate HZ           sample rate of the test signal (default 48000)\n"
    "  --seconds S         length of the test signal (default 100)\n"
    "  --block N           frames per process call (default 512)\n"
    "  --double            process in doubles\n"
    "  --in-place          hand the plug-in the same buffers for input and output\n"
    "  --param I=VALUE     set parameter I to a normalised value before rendering (repeatable)\n"
    "  --png FILE          draw the output's waveform with the events marked\n"
    "  --quiet             print only the events and the summary\n"
    "  --detect IN OUT     render nothing: list the events that OUT carries against IN\n"
    "  --check-defaults    fail unless the events keep the timing, pitch and level rules of\n"
    "                      the plug-in's default settings\n";

// Prints the error's chain to stderr and takes ownership of it.
int fail(CError* error)
{
    std::unique_ptr<CError> owned(error);
    char text[2048];
    owned->formatChain(text, sizeof(text));
    std::fprintf(stderr, "zumbel-render: %s\n", text);
    return 1;
}

std::string programFolder()
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (length <= 0)
        return ".";
    path[length] = 0;
    char* slash = std::strrchr(path, '/');
    if (slash)
        *slash = 0;
    return path;
}

bool parseNumber(const char* text, double& value)
{
    char* end = nullptr;
    value = std::strtod(text, &end);
    return end != text && *end == 0 && std::isfinite(value);
}

// Answers 0 to go on, 1 for an error, 2 for a request that is done (help).
int parseArguments(int argc, char** argv, COptions& options)
{
    for (int i = 1; i < argc; ++i)
    {
        const std::string arg = argv[i];
        auto value = [&]() -> const char*
        {
            if (i + 1 >= argc)
            {
                std::fprintf(stderr, "zumbel-render: %s needs a value\n", arg.c_str());
                return nullptr;
            }
            return argv[++i];
        };
        double number = 0.0;
        if (arg == "--help" || arg == "-h")
        {
            std::fputs(kUsage, stdout);
            return 2;
        }
        else if (arg == "--demo")
        {
            options.inPath.clear();
            options.outPath = "demo.wav";
            options.pngPath = "demo.png";
        }
        else if (arg == "--double")
            options.doublePrecision = true;
        else if (arg == "--in-place")
            options.inPlace = true;
        else if (arg == "--quiet")
            options.quiet = true;
        else if (arg == "--check-defaults")
            options.checkDefaults = true;
        else if (arg == "--detect")
        {
            const char* in = value();
            const char* out = in ? value() : nullptr;
            if (!out)
                return 1;
            options.detectIn = in;
            options.detectOut = out;
        }
        else if (arg == "--plugin" || arg == "--in" || arg == "--out" || arg == "--png")
        {
            const char* text = value();
            if (!text)
                return 1;
            (arg == "--plugin" ? options.pluginPath
             : arg == "--in"   ? options.inPath
             : arg == "--out"  ? options.outPath
                               : options.pngPath) = text;
        }
        else if (arg == "--rate" || arg == "--seconds" || arg == "--block")
        {
            const char* text = value();
            if (!text || !parseNumber(text, number) || number <= 0.0)
            {
                std::fprintf(stderr, "zumbel-render: %s needs a positive number\n", arg.c_str());
                return 1;
            }
            if (arg == "--rate")
                options.rateHz = number;
            else if (arg == "--seconds")
                options.seconds = number;
            else
                options.blockFrames = static_cast<int>(number);
        }
        else if (arg == "--param")
        {
            const char* text = value();
            const char* equals = text ? std::strchr(text, '=') : nullptr;
            double normalised = 0.0;
            if (!equals || !parseNumber(equals + 1, normalised) || normalised < 0.0 ||
                normalised > 1.0)
            {
                std::fprintf(stderr, "zumbel-render: --param needs INDEX=VALUE, VALUE in 0..1\n");
                return 1;
            }
            options.params.emplace_back(std::atoi(text), static_cast<float>(normalised));
        }
        else
        {
            std::fprintf(stderr, "zumbel-render: unknown option %s\n%s", arg.c_str(), kUsage);
            return 1;
        }
    }
    if (options.pluginPath.empty())
        options.pluginPath = programFolder() + "/Zumbel.so";
    return 0;
}

// The rules an event obeys at the plug-in's defaults (period 30 s, duration 0.5 s, 440 Hz,
// -12 dB, variation 25 %: each drawn value within +-12.5 %). The measured length holds both
// 30 ms fades; the detector's estimates get a small allowance. Answers the number of breaches.
int checkDefaultRules(const std::vector<CEventDetector::CEvent>& events, double lengthSec)
{
    constexpr double kSpread = 0.125;
    constexpr double kFadesSec = 0.06;
    const double gapMin = 30.0 * (1.0 - kSpread), gapMax = 30.0 * (1.0 + kSpread);
    const double lengthMin = 0.5 * (1.0 - kSpread) + kFadesSec - 0.04;
    const double lengthMax = 0.5 * (1.0 + kSpread) + kFadesSec + 0.01;
    const double levelMinDb = -12.0 + 20.0 * std::log10(1.0 - kSpread) - 0.5;
    const double levelMaxDb = -12.0 + 20.0 * std::log10(1.0 + kSpread) + 0.5;
    int breaches = 0;
    auto breach = [&](int number, const char* what, double value)
    {
        std::printf("check: event %d: %s (%.4f)\n", number, what, value);
        ++breaches;
    };
    double previousEndSec = 0.0;
    for (size_t i = 0; i < events.size(); ++i)
    {
        const auto& event = events[i];
        const int number = static_cast<int>(i) + 1;
        const double gapSec = event.startSec - previousEndSec;
        if (gapSec < gapMin - 0.01 || gapSec > gapMax + 0.05)
            breach(number, "gap before the event outside 26.25..33.75 s", gapSec);
        if (event.kind != CEventDetector::EKind::Beep)
            breach(number, "not a beep", 0.0);
        else if (event.freqHz < 440.0 * (1.0 - kSpread) * 0.98 ||
                 event.freqHz > 440.0 * (1.0 + kSpread) * 1.02)
            breach(number, "pitch outside 385..495 Hz", event.freqHz);
        if (event.lengthSec < lengthMin || event.lengthSec > lengthMax)
            breach(number, "length outside 0.4975..0.6225 s", event.lengthSec);
        if (event.levelDb < levelMinDb || event.levelDb > levelMaxDb)
            breach(number, "level outside -13.2..-11.0 dB", event.levelDb);
        previousEndSec = event.startSec + event.lengthSec;
    }
    // Whatever the draws, two events fit in any 70 s from the start.
    const size_t expected = lengthSec >= 70.0 ? 2 : lengthSec >= 34.5 ? 1 : 0;
    if (events.size() < expected)
    {
        std::printf("check: %zu events in %.1f s, expected at least %zu\n", events.size(),
                    lengthSec, expected);
        ++breaches;
    }
    std::printf("check: %s\n", breaches == 0 ? "the events keep the default rules" : "FAILED");
    return breaches;
}

// Lists the events of output against input, checks them if asked, and draws the picture.
int reportEvents(const COptions& options, const std::vector<std::vector<float>>& input,
                 const std::vector<std::vector<float>>& output, double rateHz)
{
    const int channels = static_cast<int>(std::min(input.size(), output.size()));
    int64_t frames = 0;
    if (channels > 0)
        frames = static_cast<int64_t>(std::min(input[0].size(), output[0].size()));
    std::vector<const float*> inView(channels), outView(channels);
    for (int ch = 0; ch < channels; ++ch)
    {
        inView[ch] = input[ch].data();
        outView[ch] = output[ch].data();
    }
    CEventDetector detector;
    detector.detect(inView.data(), outView.data(), channels, frames, rateHz);
    const auto& events = detector.getEvents();
    for (size_t i = 0; i < events.size(); ++i)
        std::printf("%s\n",
                    CEventDetector::formatEvent(events[i], static_cast<int>(i) + 1).c_str());
    std::printf("events: %zu\n", events.size());
    int result = 0;
    if (options.checkDefaults && checkDefaultRules(events, frames / rateHz) != 0)
        result = 1;
    if (!options.pngPath.empty())
    {
        CWaveformPicture picture(1600, 400);
        picture.draw(outView.data(), channels, frames, rateHz, events);
        if (CError* error = picture.writePng(options.pngPath.c_str()))
            return fail(error);
        if (!options.quiet)
            std::printf("wrote %s\n", options.pngPath.c_str());
    }
    return result;
}

int detectOnly(const COptions& options)
{
    std::vector<std::vector<float>> input, output;
    double inRateHz = 0.0, outRateHz = 0.0;
    if (CError* error = CSoundFile::read(options.detectIn.c_str(), input, inRateHz))
        return fail(error);
    if (CError* error = CSoundFile::read(options.detectOut.c_str(), output, outRateHz))
        return fail(error);
    if (inRateHz != outRateHz)
    {
        std::fprintf(stderr, "zumbel-render: the two files have different rates\n");
        return 1;
    }
    return reportEvents(options, input, output, inRateHz);
}

} // namespace

int main(int argc, char** argv)
{
    COptions options;
    if (const int parsed = parseArguments(argc, argv, options))
        return parsed == 2 ? 0 : 1;
    if (!options.detectIn.empty())
        return detectOnly(options);

    std::vector<std::vector<float>> input;
    double rateHz = options.rateHz;
    if (options.inPath.empty())
        input = CTestSignal::generate(2, rateHz, options.seconds);
    else if (CError* error = CSoundFile::read(options.inPath.c_str(), input, rateHz))
        return fail(error);
    const int channels = static_cast<int>(input.size());
    const int64_t frames = channels > 0 ? static_cast<int64_t>(input[0].size()) : 0;

    CVstHost host;
    host.setProduct("zumbel-render");
    host.setProcessLevel(kProcessLevelOffline);
    CHostedPlugin plugin(host);
    if (CError* error = plugin.load(options.pluginPath.c_str()))
        return fail(error);
    plugin.open();
    if (!options.quiet)
        std::printf("plugin: %s (%s), %d in, %d out, %d parameters\n",
                    plugin.getEffectName().c_str(), plugin.getVendorString().c_str(),
                    plugin.getNumInputs(), plugin.getNumOutputs(), plugin.getNumParams());
    for (const auto& [index, valueNorm] : options.params)
    {
        if (index < 0 || index >= plugin.getNumParams())
        {
            std::fprintf(stderr, "zumbel-render: no parameter %d\n", index);
            return 1;
        }
        plugin.setParameter(index, valueNorm);
    }
    if (!options.quiet)
        for (int index = 0; index < plugin.getNumParams(); ++index)
        {
            const std::string name = plugin.getParameterName(index);
            const std::string display = plugin.getParameterDisplay(index);
            const std::string label = plugin.getParameterLabel(index);
            std::printf("  param %d %-8s %s %s\n", index, name.c_str(), display.c_str(),
                        label.c_str());
        }
    if (options.doublePrecision && !plugin.hasFlag(kEffectFlagCanDoubleReplacing))
    {
        std::fprintf(stderr, "zumbel-render: the plug-in cannot process doubles\n");
        return 1;
    }
    plugin.setProcessPrecision(options.doublePrecision);
    plugin.setProcessMode(options.doublePrecision, options.inPlace);
    plugin.start(rateHz, options.blockFrames);

    // Pins beyond the file's channels repeat them (a mono file feeds both sides of a stereo
    // plug-in); the output keeps the file's channel count.
    std::vector<std::vector<float>> output(channels, std::vector<float>(frames));
    std::vector<const float*> pins(std::max(plugin.getNumInputs(), 1), nullptr);
    for (int pin = 0; pin < plugin.getNumInputs() && channels > 0; ++pin)
        pins[pin] = input[pin % channels].data();
    std::vector<float*> outs(std::max(channels, 1), nullptr);
    for (int ch = 0; ch < channels; ++ch)
        outs[ch] = output[ch].data();

    const auto began = std::chrono::steady_clock::now();
    if (CError* error = plugin.process(pins.data(), plugin.getNumInputs(), outs.data(), channels,
                                       frames, {options.blockFrames}))
        return fail(error);
    const double tookSec =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - began).count();
    const int pinsOut = plugin.getNumOutputs();
    plugin.setActive(false);
    plugin.unload();

    const double lengthSec = frames / rateHz;
    if (!options.quiet)
        std::printf(
            "rendered %.1f s at %.0f Hz, %d-frame blocks, %s, in %.2f s (%.0fx real time)\n",
            lengthSec, rateHz, options.blockFrames, options.doublePrecision ? "double" : "float",
            tookSec, tookSec > 0.0 ? lengthSec / tookSec : 0.0);
    if (channels > pinsOut && !options.quiet)
        std::printf("note: the plug-in has %d outputs; the other channels are silent\n", pinsOut);

    if (CError* error = CSoundFile::write(options.outPath.c_str(), output, rateHz))
        return fail(error);
    if (!options.quiet)
        std::printf("wrote %s\n", options.outPath.c_str());
    return reportEvents(options, input, output, rateHz);
}
