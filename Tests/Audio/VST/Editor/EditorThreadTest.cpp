// Hosts run their GUI (effEditOpen, effEditIdle, effEditClose, and program and state changes
// made from the editor's surroundings) on a thread that did not load the plug-in, while the
// audio thread processes.
#include "CEditorFixture.h"

#include <atomic>
#include <thread>
#include <vector>

namespace kel
{
namespace
{

class EditorThreadTest : public CEditorFixture
{
};

TEST_F(EditorThreadTest, EditorWorksFromAThreadThatDidNotLoadThePlugin)
{
    CHostedPlugin* plugin = loadPlugin();
    ASSERT_NE(plugin, nullptr);
    const std::vector<uint8_t> bank = plugin->getChunk(false);
    std::atomic<bool> guiDone{false};
    bool refused = false;

    std::thread gui(
        [&]()
        {
            CEditorHost guiHost;
            if (CError* error = guiHost.open())
                ADD_FAILURE() << describe(error);
            else if (!openEditor(guiHost, *plugin))
                refused = true;
            else
            {
                guiHost.setIdleRate(25.0);
                EXPECT_GE(guiHost.waitForFirstFrame(*plugin, kFirstFrameSec), 0.0);
                plugin->setProgram(0);
                if (!bank.empty())
                    plugin->setChunk(bank.data(), bank.size(), false);
                guiHost.runFor(0.3);
                CRgbImage picture;
                EXPECT_TRUE(guiHost.grabEditor(*plugin, picture) && !picture.isBlank());
                guiHost.closeEditor(*plugin);
                EXPECT_EQ(guiHost.getChildrenLeftAtClose(*plugin), 0);
            }
            guiDone = true;
        });
    // This thread loaded the plug-in; from now on it is only the audio thread.
    int blocks = 0;
    while (!guiDone && processAudio(*plugin, 1))
        ++blocks;
    gui.join();
    if (refused)
        GTEST_SKIP() << kNoEditorYet;
    EXPECT_GT(blocks, 0);
}

} // namespace
} // namespace kel
