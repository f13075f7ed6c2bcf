// What hosts ask of an editor before, without or instead of a window: its size while scanning
// with no display at all, idle and close with nothing open, and an open on a display that
// cannot be reached.
#include "CEditorFixture.h"

#include "CProcessUsage.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace kel
{
namespace
{

constexpr int kEditorWidth = 446;
constexpr int kEditorHeight = 215;

class EditorWithoutWindowTest : public CEditorFixture
{
};

// A display number nothing listens on. Not :99: that is where xvfb-run -a starts looking, so
// it may well be the display these tests run on.
std::string findUnusedDisplay()
{
    for (int number = 4321; number < 4400; ++number)
    {
        char socketPath[64], lockPath[64];
        std::snprintf(socketPath, sizeof(socketPath), "/tmp/.X11-unix/X%d", number);
        std::snprintf(lockPath, sizeof(lockPath), "/tmp/.X%d-lock", number);
        struct stat info;
        if (stat(socketPath, &info) != 0 && stat(lockPath, &info) != 0)
            return ":" + std::to_string(number);
    }
    return ":4399";
}

TEST_F(EditorWithoutWindowTest, GetRectAnswersInAProcessWithoutDisplay)
{
    const CChildResult child = runEditorHost("-u DISPLAY", "--get-rect");
    EXPECT_EQ(child.killedBy, 0) << child.output;
    EXPECT_EQ(child.exitCode, 0) << child.output;
    EXPECT_NE(child.output.find("rect: 446 x 215"), std::string::npos) << child.output;
}

// Hosts send effEditIdle during offline renders and effEditClose twice; an editor that was
// never opened (or is closed already) must take all of it and still open afterwards.
TEST_F(EditorWithoutWindowTest, IdleCloseAndGetRectWithoutAnOpenEditorAreHarmless)
{
    CHostedPlugin* plugin = loadPlugin();
    ASSERT_NE(plugin, nullptr);
    int width = 0, height = 0;
    ASSERT_TRUE(plugin->getEditorRect(width, height)) << "no rectangle before effEditOpen";
    EXPECT_EQ(width, kEditorWidth);
    EXPECT_EQ(height, kEditorHeight);

    const CProcessUsage before = CProcessUsage::measure();
    for (int i = 0; i < 20; ++i)
        plugin->dispatch(kEffEditIdle);
    plugin->dispatch(kEffEditClose);
    plugin->dispatch(kEffEditClose);
    for (int i = 0; i < 20; ++i)
        plugin->dispatch(kEffEditIdle);
    ASSERT_TRUE(plugin->getEditorRect(width, height));
    EXPECT_EQ(width, kEditorWidth);
    EXPECT_EQ(height, kEditorHeight);
    EXPECT_TRUE(processAudio(*plugin, 20));
    const CProcessUsage after = CProcessUsage::measure();
    EXPECT_EQ(after.threads, before.threads) << "an editor call without an editor made a thread";
    EXPECT_EQ(after.fds, before.fds) << "an editor call without an editor opened a descriptor";

    KEL_OPEN_EDITOR_OR_SKIP(host, *plugin);
    host.setIdleRate(25.0);
    EXPECT_GE(host.waitForFirstFrame(*plugin, kFirstFrameSec), 0.0);
    host.closeEditor(*plugin);
    // The same after a real close: nothing left to idle, nothing left to close.
    for (int i = 0; i < 20; ++i)
        plugin->dispatch(kEffEditIdle);
    plugin->dispatch(kEffEditClose);
    EXPECT_TRUE(processAudio(*plugin, 4));
}

// The plug-in's own connection fails while the host's stands (the host was given another
// display): effEditOpen answers 0, and the process neither crashes nor sees an X error.
TEST_F(EditorWithoutWindowTest, OpenOnAnUnreachableDisplayAnswersZero)
{
    const char* hostDisplay = std::getenv("DISPLAY");
    ASSERT_NE(hostDisplay, nullptr);
    const CChildResult child =
        runEditorHost("DISPLAY=" + findUnusedDisplay(),
                      std::string("--editor --seconds 0.2 --host-display ") + hostDisplay);
    EXPECT_EQ(child.killedBy, 0) << child.output;
    EXPECT_EQ(child.exitCode, 3) << "expected the refusal's exit code\n" << child.output;
    EXPECT_NE(child.output.find("effEditOpen answered 0"), std::string::npos) << child.output;
    EXPECT_NE(child.output.find("x errors: 0"), std::string::npos) << child.output;
}

} // namespace
} // namespace kel
