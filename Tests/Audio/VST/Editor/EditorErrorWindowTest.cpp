// An error while an editor is open shows in a window of its own: a top-level window titled as
// the error window is, kept above the host's window of that editor, drawn, and gone after
// "OK". The host's call that raised the error does not wait for it.
#include "CEditorFixture.h"

#include "CProcessUsage.h"
#include "Core/CSystem.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace kel
{
namespace
{

constexpr int kWindowWidth = 600;
// The OK button: right of "Copy", the two centred in the 34 pixels high row at the bottom.
constexpr int kOkX = 334;
constexpr int kOkFromBottom = 17;
// A window id that no client was given (ids are 29 bits and handed out from the bottom of each
// client's range).
constexpr uintptr_t kNoSuchWindow = 0x1ffffff0;

class EditorErrorWindowTest : public CEditorFixture
{
protected:
    // The top-level windows titled as the error window that were not there before.
    std::vector<CEditorHost::WindowId>
    newErrorWindows(const std::vector<CEditorHost::WindowId>& before)
    {
        std::vector<CEditorHost::WindowId> found;
        for (CEditorHost::WindowId window : host.getTopLevelWindows())
        {
            if (std::find(before.begin(), before.end(), window) == before.end() &&
                host.getWindowTitle(window) == CSystem::kErrorTitle && host.isViewable(window))
                found.push_back(window);
        }
        return found;
    }

    // The second instance's editor cannot stand in a window that does not exist: its open
    // fails on the host's thread and the error goes to the error window. Answers the window,
    // 0 (with a failure) when none or more than one appeared; callMs is how long the host's
    // call took.
    CEditorHost::WindowId raiseErrorWindow(CHostedPlugin& failing, double& callMs)
    {
        const std::vector<CEditorHost::WindowId> before = host.getTopLevelWindows();
        const auto start = std::chrono::steady_clock::now();
        const intptr_t opened =
            failing.dispatch(kEffEditOpen, 0, 0, reinterpret_cast<void*>(kNoSuchWindow));
        callMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                     .count();
        EXPECT_EQ(opened, 0);
        std::vector<CEditorHost::WindowId> windows;
        const bool appeared = host.runUntil(
            [&]()
            {
                windows = newErrorWindows(before);
                return !windows.empty();
            },
            5.0);
        if (!appeared || windows.size() != 1)
        {
            ADD_FAILURE() << windows.size() << " windows titled \"" << CSystem::kErrorTitle
                          << "\" appeared";
            return 0;
        }
        return windows[0];
    }
};

TEST_F(EditorErrorWindowTest, AnErrorWithAnEditorOpenShowsAWindowAboveItUntilOk)
{
    if (std::getenv("KEL_EDITOR_PLUGIN"))
        GTEST_SKIP() << "the error window is the plug-in's own";
    CHostedPlugin* shown = loadPlugin();
    ASSERT_NE(shown, nullptr);
    CHostedPlugin* failing = loadPlugin();
    ASSERT_NE(failing, nullptr);
    host.setIdleRate(30.0);
    KEL_OPEN_EDITOR_OR_SKIP(host, *shown);
    ASSERT_GE(host.waitForFirstFrame(*shown, kFirstFrameSec), 0.0);
    const CProcessUsage atStart = CProcessUsage::measure();

    double callMs = 0.0;
    const CEditorHost::WindowId window = raiseErrorWindow(*failing, callMs);
    ASSERT_NE(window, 0u);
    // Nothing waits for the window: not its opening, and not the user's "OK".
    EXPECT_LT(callMs, 1000.0);
    std::printf("the failing effEditOpen took %.1f ms\n", callMs);
    EXPECT_EQ(host.getTransientFor(window), host.getParent(*shown))
        << "not kept above the host's window of the open editor";

    CRgbImage picture;
    ASSERT_TRUE(host.runUntil(
        [&]() { return host.grabWindow(window, picture) && !picture.isBlank(); }, 2.0))
        << "the error window shows nothing";
    EXPECT_EQ(picture.getWidth(), kWindowWidth);
    delete picture.writePng("editor-error-window.png");

    // The editor goes on meanwhile, and the window stays until it is answered.
    host.runFor(0.3);
    EXPECT_TRUE(host.isViewable(window));
    EXPECT_TRUE(host.isViewable(host.findEditorWindow(*shown)));

    host.clickWindow(window, kOkX, picture.getHeight() - kOkFromBottom);
    EXPECT_TRUE(host.runUntil([&]() { return !host.windowExists(window); }, 3.0))
        << "OK left the error window open";
    // Its thread and its connection go with it.
    EXPECT_TRUE(host.runUntil(
        [&]()
        {
            const CProcessUsage now = CProcessUsage::measure(false);
            return now.threads == atStart.threads && now.fds == atStart.fds;
        },
        2.0))
        << "the error window left a thread or a descriptor behind";
    EXPECT_EQ(CEditorHost::getErrorCount(), errorsAtStart);
    host.closeEditor(*shown);
}

TEST_F(EditorErrorWindowTest, TheWindowGoesWithTheLastInstance)
{
    if (std::getenv("KEL_EDITOR_PLUGIN"))
        GTEST_SKIP() << "the error window is the plug-in's own";
    CHostedPlugin* shown = loadPlugin();
    ASSERT_NE(shown, nullptr);
    CHostedPlugin* failing = loadPlugin();
    ASSERT_NE(failing, nullptr);
    host.setIdleRate(30.0);
    KEL_OPEN_EDITOR_OR_SKIP(host, *shown);
    double callMs = 0.0;
    const CEditorHost::WindowId window = raiseErrorWindow(*failing, callMs);
    ASSERT_NE(window, 0u);

    host.closeEditor(*shown);
    host.runFor(0.3);
    EXPECT_TRUE(host.windowExists(window)) << "the window went with the editor, unanswered";
    shown->close();
    failing->close();
    EXPECT_TRUE(host.runUntil([&]() { return !host.windowExists(window); }, 3.0))
        << "the error window outlived the last instance";
}

} // namespace
} // namespace kel
