// Hosts open and close editors all session long, and many destroy their window before they
// send effEditClose. Neither may leave a thread, a descriptor (the editor's X connection is
// one), a window or memory behind, cause an X error, or harm the instance.
#include "CEditorFixture.h"

#include "CProcessUsage.h"

#include <cstdio>

namespace kel
{
namespace
{

constexpr int kCycles = 200;
// Caches of the plug-in, Xlib and the C heap fill during the first cycles.
constexpr int kWarmUpCycles = 10;
constexpr long kMaxGrowthKb = 1024;
// Every idle rate in turn, so that both the host's pump and the editor's own get closed.
constexpr double kCycleRatesHz[] = {0.0, 15.0, 25.0, 60.0};

class EditorTeardownTest : public CEditorFixture
{
protected:
    // One open and close; false (with a failure) if the editor refused or left something.
    bool runCycle(CHostedPlugin& plugin, double rateHz, bool destroyParentFirst)
    {
        host.setIdleRate(rateHz);
        if (!openEditor(host, plugin))
        {
            ADD_FAILURE() << "the editor opened once and then refused";
            return false;
        }
        // Long enough for a few frames from whichever pump runs.
        host.runFor(0.03);
        CEditorHost::WindowId editor = host.findEditorWindow(plugin);
        if (destroyParentFirst)
            host.destroyParent(plugin);
        host.closeEditor(plugin);
        bool clean = true;
        if (host.getChildrenLeftAtClose(plugin) != 0)
        {
            ADD_FAILURE() << "the editor's window was still under the parent after effEditClose";
            clean = false;
        }
        if (editor && host.windowExists(editor))
        {
            ADD_FAILURE() << "the editor's window 0x" << std::hex << editor
                          << " outlived effEditClose";
            clean = false;
        }
        return clean;
    }
};

TEST_F(EditorTeardownTest, TwoHundredOpenCloseCyclesLeaveNothingBehind)
{
    CHostedPlugin* plugin = loadPlugin();
    ASSERT_NE(plugin, nullptr);
    KEL_OPEN_EDITOR_OR_SKIP(host, *plugin);
    host.closeEditor(*plugin);

    CProcessUsage warm;
    for (int cycle = 0; cycle < kCycles; ++cycle)
    {
        if (cycle == kWarmUpCycles)
            warm = CProcessUsage::measure();
        const double rateHz = kCycleRatesHz[cycle % 4];
        ASSERT_TRUE(runCycle(*plugin, rateHz, false))
            << "cycle " << cycle << ", idle " << rateHz << " Hz";
    }
    const CProcessUsage end = CProcessUsage::measure();
    std::printf("after %d cycles: rss %ld -> %ld kB, threads %d -> %d, fds %d -> %d\n", kCycles,
                warm.rssKb, end.rssKb, warm.threads, end.threads, warm.fds, end.fds);
    EXPECT_EQ(end.threads, warm.threads);
    EXPECT_EQ(end.fds, warm.fds) << "descriptors (X connections among them) left behind";
#if !defined(KEL_SANITIZED)
    // A sanitizer keeps freed memory in quarantine: the bound holds only for the real thing.
    EXPECT_LT(end.rssKb - warm.rssKb, kMaxGrowthKb);
#endif
    EXPECT_TRUE(processAudio(*plugin, 4));
}

// Straight after the parent goes, after the editor has had time to see it go with the host's
// idle, and with only its own pump: no X error, no crash, and the instance goes on.
TEST_F(EditorTeardownTest, DestroyedParentBeforeCloseLeavesAWorkingInstance)
{
    CHostedPlugin* plugin = loadPlugin();
    ASSERT_NE(plugin, nullptr);
    KEL_OPEN_EDITOR_OR_SKIP(host, *plugin);
    host.closeEditor(*plugin);
    const CProcessUsage warm = CProcessUsage::measure();

    struct CVariant
    {
        const char* name;
        double rateHz;
        double waitSec; // between the parent's end and effEditClose
    };
    const CVariant variants[] = {{"close at once", 25.0, 0.0},
                                 {"idle meanwhile", 25.0, 0.2},
                                 {"no idle meanwhile", 0.0, 0.2}};
    for (const CVariant& variant : variants)
    {
        SCOPED_TRACE(variant.name);
        host.setIdleRate(variant.rateHz);
        ASSERT_TRUE(openEditor(host, *plugin)) << "the editor opened once and then refused";
        ASSERT_GE(host.waitForFirstFrame(*plugin, kFirstFrameSec), 0.0);
        const CEditorHost::WindowId editor = host.findEditorWindow(*plugin);
        host.destroyParent(*plugin);
        host.runFor(variant.waitSec);
        host.closeEditor(*plugin);
        host.runFor(0.05);
        EXPECT_EQ(CEditorHost::getErrorCount(), errorsAtStart);
        EXPECT_FALSE(editor && host.windowExists(editor));

        EXPECT_TRUE(processAudio(*plugin, 8));
        // A new editor opens and draws as the first did.
        ASSERT_TRUE(openEditor(host, *plugin)) << "no editor after the parent was destroyed";
        EXPECT_GE(host.waitForFirstFrame(*plugin, kFirstFrameSec), 0.0);
        host.closeEditor(*plugin);
    }
    const CProcessUsage end = CProcessUsage::measure();
    EXPECT_EQ(end.threads, warm.threads);
    EXPECT_EQ(end.fds, warm.fds);
}

} // namespace
} // namespace kel
