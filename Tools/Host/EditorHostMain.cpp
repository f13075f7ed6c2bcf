// zumbel-host: our own host with a screen. Opens a plug-in's editor the way Linux hosts do and
// prints what it measured; the editor tests use the same pieces (CEditorHost) directly.
#include "CEditorHost.h"
#include "CHostedPlugin.h"
#include "CProcessUsage.h"
#include "CVstHost.h"

#include "Core/Platform/CThisThread.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace kel;

namespace
{
// Exit codes besides 0 (all well).
constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitRefused = 3;

struct COptions
{
    const char* pluginPath = nullptr;
    bool getRect = false;
    bool editor = false;
    double idleHz = 25.0;
    double seconds = 1.0;
    const char* grabPath = nullptr;
    int cycles = 1;
    bool destroyParentFirst = false;
    int instances = 1;
    bool click = false;
    int clickX = 0;
    int clickY = 0;
    const char* hostDisplay = nullptr;
};

void printUsage()
{
    std::printf(
        "usage: zumbel-host PLUGIN.so --get-rect\n"
        "       zumbel-host PLUGIN.so --editor [--idle-hz N] [--seconds S] [--grab out.png]\n"
        "                   [--cycles N] [--destroy-parent-first] [--instances N] [--click X,Y]\n"
        "                   [--host-display NAME]\n"
        "--get-rect asks effEditGetRect without opening any display.\n"
        "--editor opens the editor in a window of the host's own and runs the host's GUI loop,\n"
        "calling effEditIdle N times a second (0: never) for S seconds per cycle.\n"
        "--host-display puts the host's window on NAME while the plug-in sees $DISPLAY.\n"
        "Exit codes: 0 well, 1 a fault (X error, no frame, load failure), 2 usage, 3 the\n"
        "plug-in refused effEditOpen.\n");
}

bool parseArguments(int argc, char** argv, COptions& options)
{
    for (int i = 1; i < argc; ++i)
    {
        const char* arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (!std::strcmp(arg, "--get-rect"))
            options.getRect = true;
        else if (!std::strcmp(arg, "--editor"))
            options.editor = true;
        else if (!std::strcmp(arg, "--destroy-parent-first"))
            options.destroyParentFirst = true;
        else if (!std::strcmp(arg, "--idle-hz") && hasValue)
            options.idleHz = std::atof(argv[++i]);
        else if (!std::strcmp(arg, "--seconds") && hasValue)
            options.seconds = std::atof(argv[++i]);
        else if (!std::strcmp(arg, "--grab") && hasValue)
            options.grabPath = argv[++i];
        else if (!std::strcmp(arg, "--cycles") && hasValue)
            options.cycles = std::max(1, std::atoi(argv[++i]));
        else if (!std::strcmp(arg, "--instances") && hasValue)
            options.instances = std::max(1, std::atoi(argv[++i]));
        else if (!std::strcmp(arg, "--host-display") && hasValue)
            options.hostDisplay = argv[++i];
        else if (!std::strcmp(arg, "--click") && hasValue)
        {
            options.click = std::sscanf(argv[++i], "%d,%d", &options.clickX, &options.clickY) == 2;
            if (!options.click)
                return false;
        }
        else if (arg[0] != '-' && !options.pluginPath)
            options.pluginPath = arg;
        else
            return false;
    }
    if (options.pluginPath && !std::strchr(options.pluginPath, '/'))
    {
        // A bare name would send the loader through the library path instead of this folder.
        static std::string local;
        local = std::string("./") + options.pluginPath;
        options.pluginPath = local.c_str();
    }
    return options.pluginPath && (options.getRect || options.editor);
}

void printError(CError* error)
{
    std::unique_ptr<CError> owned(error);
    char text[1024];
    owned->formatChain(text, sizeof(text));
    std::fprintf(stderr, "zumbel-host: %s\n", text);
}

const char* callbackName(int32_t opcode)
{
    switch (opcode)
    {
    case kHostAutomate:
        return "audioMasterAutomate";
    case kHostVersion:
        return "audioMasterVersion";
    case kHostIdle:
        return "audioMasterIdle";
    case kHostGetTime:
        return "audioMasterGetTime";
    case kHostIOChanged:
        return "audioMasterIOChanged";
    case kHostSizeWindow:
        return "audioMasterSizeWindow";
    case kHostGetSampleRate:
        return "audioMasterGetSampleRate";
    case kHostGetBlockSize:
        return "audioMasterGetBlockSize";
    case kHostGetCurrentProcessLevel:
        return "audioMasterGetCurrentProcessLevel";
    case kHostGetVendorString:
        return "audioMasterGetVendorString";
    case kHostGetProductString:
        return "audioMasterGetProductString";
    case kHostCanDo:
        return "audioMasterCanDo";
    case kHostUpdateDisplay:
        return "audioMasterUpdateDisplay";
    case kHostBeginEdit:
        return "audioMasterBeginEdit";
    case kHostEndEdit:
        return "audioMasterEndEdit";
    default:
        return "audioMaster";
    }
}

void printUsageLine(const char* when, const CProcessUsage& usage)
{
    std::printf("%s: rss %ld kB, threads %d, fds %d\n", when, usage.rssKb, usage.threads,
                usage.fds);
}

// Every callback, by opcode and calling thread; the GUI thread is named, others are numbered in
// the order they first called.
void printCallbacks(const std::vector<std::unique_ptr<CHostedPlugin>>& plugins)
{
    const uint64_t guiThread = CThisThread::id();
    std::map<std::pair<int32_t, uint64_t>, int64_t> counts;
    std::map<uint64_t, int> threadNumbers;
    for (const auto& plugin : plugins)
        for (const CHostedPlugin::CCallRecord& entry : plugin->getCallbackLog())
        {
            ++counts[{entry.opcode, entry.threadId}];
            if (entry.threadId != guiThread && !threadNumbers.count(entry.threadId))
            {
                const int next = static_cast<int>(threadNumbers.size()) + 1;
                threadNumbers[entry.threadId] = next;
            }
        }
    std::printf("callbacks:%s\n", counts.empty() ? " none" : "");
    for (const auto& [key, count] : counts)
    {
        char thread[32];
        if (key.second == guiThread)
            std::snprintf(thread, sizeof(thread), "gui thread");
        else
            std::snprintf(thread, sizeof(thread), "thread %d", threadNumbers[key.second]);
        std::printf("  %-34s (%2d) %-10s %lld\n", callbackName(key.first), key.first, thread,
                    static_cast<long long>(count));
    }
}

int runGetRect(const COptions& options)
{
    CVstHost vstHost;
    CHostedPlugin plugin(vstHost);
    if (CError* error = plugin.load(options.pluginPath))
    {
        printError(error);
        return kExitFailed;
    }
    plugin.open();
    int width = 0, height = 0;
    if (!plugin.getEditorRect(width, height))
    {
        std::printf("rect: none\n");
        return kExitFailed;
    }
    std::printf("rect: %d x %d\n", width, height);
    return 0;
}

int runEditor(const COptions& options)
{
    const CProcessUsage before = CProcessUsage::measure();
    CVstHost vstHost;
    std::vector<std::unique_ptr<CHostedPlugin>> plugins;
    for (int i = 0; i < options.instances; ++i)
    {
        plugins.push_back(std::make_unique<CHostedPlugin>(vstHost));
        if (CError* error = plugins.back()->load(options.pluginPath))
        {
            printError(error);
            return kExitFailed;
        }
        plugins.back()->open();
        plugins.back()->start(48000.0, 512);
    }
    const CProcessUsage loaded = CProcessUsage::measure();
    const int64_t errorsBefore = CEditorHost::getErrorCount();

    CEditorHost host;
    if (CError* error = host.open(options.hostDisplay))
    {
        printError(error);
        return kExitFailed;
    }
    host.setIdleRate(options.idleHz);
    std::printf("plug-in: %s\nidle: %g Hz, %g s a cycle, %d cycle(s), %d instance(s)\n",
                options.pluginPath, options.idleHz, options.seconds, options.cycles,
                options.instances);
    printUsageLine("before", before);
    printUsageLine("loaded", loaded);

    bool refused = false;
    bool undrawn = false;
    for (int cycle = 1; cycle <= options.cycles && !refused; ++cycle)
    {
        int x = 0;
        for (auto& plugin : plugins)
        {
            if (CError* error = host.openEditor(*plugin, x, 0))
            {
                printError(error);
                return kExitFailed;
            }
            if (!host.isEditorOpen(*plugin))
                refused = true;
            x += host.getEditorWidth(*plugin) + 10;
        }
        if (refused)
        {
            std::printf("cycle %d: effEditOpen answered 0: the plug-in has no editor to show\n",
                        cycle);
            break;
        }

        // First frames: each editor's time until its window shows a drawn picture.
        const auto start = std::chrono::steady_clock::now();
        std::vector<double> firstFrameMs(plugins.size(), -1.0);
        host.runUntil(
            [&]()
            {
                bool all = true;
                for (size_t i = 0; i < plugins.size(); ++i)
                {
                    CRgbImage picture;
                    if (firstFrameMs[i] < 0.0 && host.grabEditor(*plugins[i], picture) &&
                        !picture.isBlank())
                        firstFrameMs[i] = std::chrono::duration<double, std::milli>(
                                              std::chrono::steady_clock::now() - start)
                                              .count();
                    all = all && firstFrameMs[i] >= 0.0;
                }
                return all;
            },
            options.seconds);
        for (size_t i = 0; i < plugins.size(); ++i)
        {
            const CHostedPlugin& plugin = *plugins[i];
            const CEditorHost::WindowId editor = host.findEditorWindow(plugin);
            std::printf("cycle %d, instance %zu: open %.1f ms, editor window 0x%lx under 0x%lx, "
                        "first frame ",
                        cycle, i + 1, host.getOpenMs(plugin), editor, host.getParent(plugin));
            if (firstFrameMs[i] >= 0.0)
                std::printf("%.1f ms after open\n", firstFrameMs[i]);
            else
                std::printf("none in %g s\n", options.seconds);
            undrawn = undrawn || firstFrameMs[i] < 0.0;
        }

        if (options.click)
            host.click(*plugins.front(), options.clickX, options.clickY);
        const double elapsedSec =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        host.runFor(options.seconds - elapsedSec);

        if (options.grabPath && cycle == options.cycles)
        {
            CRgbImage picture;
            if (!host.grabEditor(*plugins.front(), picture))
                std::printf("grab: the editor's window is not viewable\n");
            else if (CError* error = picture.writePng(options.grabPath))
                printError(error);
            else
                std::printf("grab: %s (%d x %d, %d colours or more)\n", options.grabPath,
                            picture.getWidth(), picture.getHeight(), picture.countColours(256));
        }

        for (auto& plugin : plugins)
        {
            if (options.destroyParentFirst)
                host.destroyParent(*plugin);
            host.closeEditor(*plugin);
            if (host.getChildrenLeftAtClose(*plugin) > 0)
                std::printf("cycle %d: %d window(s) left under the parent after effEditClose\n",
                            cycle, host.getChildrenLeftAtClose(*plugin));
        }
        host.runFor(0.02);
    }
    host.close();

    const int64_t errors = CEditorHost::getErrorCount() - errorsBefore;
    const bool handlerKept = CEditorHost::isErrorHandlerInstalled();
    printCallbacks(plugins);
    std::printf("x errors: %lld", static_cast<long long>(errors));
    if (errors > 0)
    {
        const CEditorHost::CXError last = CEditorHost::getLastError();
        std::printf(" (last: error %d, request %d.%d, resource 0x%lx)", last.errorCode,
                    last.requestCode, last.minorCode, last.resourceId);
    }
    std::printf("\nx error handler: %s\n", handlerKept ? "still ours" : "replaced by the plug-in");
    printUsageLine("after", CProcessUsage::measure());
    plugins.clear();
    printUsageLine("unloaded", CProcessUsage::measure());

    if (refused)
        return kExitRefused;
    return errors > 0 || !handlerKept || undrawn ? kExitFailed : 0;
}
} // namespace

int main(int argc, char** argv)
{
    COptions options;
    if (!parseArguments(argc, argv, options))
    {
        printUsage();
        return kExitUsage;
    }
    return options.getRect ? runGetRect(options) : runEditor(options);
}
