// Input as the server delivers it (XTest: pointer, buttons, wheel) to wherever the editor put
// its controls. Whatever a press, drag or wheel edits, the host must see it bracketed: every
// audioMasterAutomate inside audioMasterBeginEdit and audioMasterEndEdit of the same parameter,
// gestures neither nested nor left open, or touch automation snaps back.
#include "CEditorFixture.h"
#include "Core/CGlobalSettings.h"
#include "Core/Platform/CThisThread.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace kel
{
namespace
{

constexpr int kColumns = 6;
constexpr int kRows = 3;
// Long enough for a wheel gesture to count as resting, so that its end edit has come.
constexpr double kRestSec = 1.0;

class EditorInputTest : public CEditorFixture
{
};

TEST_F(EditorInputTest, MouseEditsAreBracketedByBeginAndEndEdit)
{
    CHostedPlugin* plugin = loadPlugin();
    ASSERT_NE(plugin, nullptr);
    host.setIdleRate(25.0);
    KEL_OPEN_EDITOR_OR_SKIP(host, *plugin);
    ASSERT_GE(host.waitForFirstFrame(*plugin, kFirstFrameSec), 0.0);
    plugin->clearRecords();

    // Everywhere on a grid over the editor: a drag upwards, then the wheel up and down.
    const int width = host.getEditorWidth(*plugin);
    const int height = host.getEditorHeight(*plugin);
    for (int row = 1; row <= kRows; ++row)
        for (int column = 1; column <= kColumns; ++column)
        {
            const int x = width * column / (kColumns + 1);
            const int y = height * row / (kRows + 1);
            host.drag(*plugin, x, y, x, y - 20, 4);
            host.scrollWheel(*plugin, x, y, 2);
            host.scrollWheel(*plugin, x, y, -2);
        }
    host.movePointer(*plugin, width + 50, height + 50);
    host.runFor(kRestSec);
    host.closeEditor(*plugin);

    std::map<int32_t, bool> inGesture;
    int gestures = 0, automates = 0;
    for (const CHostedPlugin::CCallRecord& entry : plugin->getCallbackLog())
    {
        const int32_t index = entry.index;
        if (entry.opcode == kHostBeginEdit)
        {
            EXPECT_FALSE(inGesture[index]) << "a second begin edit of parameter " << index;
            inGesture[index] = true;
            ++gestures;
        }
        else if (entry.opcode == kHostAutomate)
        {
            EXPECT_TRUE(inGesture[index])
                << "parameter " << index << " automated outside a gesture";
            EXPECT_GE(entry.opt, 0.0f);
            EXPECT_LE(entry.opt, 1.0f);
            ++automates;
        }
        else if (entry.opcode == kHostEndEdit)
        {
            EXPECT_TRUE(inGesture[index]) << "end edit of parameter " << index << " never begun";
            inGesture[index] = false;
        }
    }
    for (const auto& [index, open] : inGesture)
        EXPECT_FALSE(open) << "the gesture on parameter " << index << " never ended";
    std::printf("%d gestures, %d automations\n", gestures, automates);
}

TEST_F(EditorInputTest, DraggingTheGainKnobUpRaisesGainByTheDragStepInOneGesture)
{
    const char* chosen = std::getenv("KEL_EDITOR_PLUGIN");
    if (chosen && *chosen)
        GTEST_SKIP() << "the stand-in editor has no knobs";
    CHostedPlugin* plugin = loadPlugin();
    ASSERT_NE(plugin, nullptr);
    host.setIdleRate(30.0);
    KEL_OPEN_EDITOR_OR_SKIP(host, *plugin);
    ASSERT_GE(host.waitForFirstFrame(*plugin, kFirstFrameSec), 0.0);
    CRgbImage before;
    ASSERT_TRUE(host.grabEditor(*plugin, before));
    plugin->clearRecords();

    // The gain knob is the fourth of the parameters panel: 70 by 74 at (298, 113) in the
    // editor, its centre at 0.5 and 0.45 of its size.
    constexpr int kGain = 4;
    constexpr int kX = 298 + 35;
    constexpr int kY = 113 + 33;
    const float start = plugin->getParameter(kGain);
    host.drag(*plugin, kX, kY, kX, kY - 20, 5);
    host.runFor(0.2);
    const double expected = start + 20 * CGlobalSettings::dragStepOf(0.8);
    EXPECT_NEAR(plugin->getParameter(kGain), expected, 1e-6);

    for (const CHostedPlugin::CCallRecord& entry : plugin->getCallbackLog())
    {
        if (entry.opcode == kHostBeginEdit || entry.opcode == kHostAutomate ||
            entry.opcode == kHostEndEdit)
        {
            EXPECT_EQ(entry.threadId, CThisThread::id()) << "an edit off the editor's thread";
        }
    }
    EXPECT_EQ(editsHeard(*plugin),
              (std::map<int32_t, std::vector<std::string>>{{kGain, {"begin", "automate", "end"}}}));

    // The knob shows it (its scale labels, shown while the pointer is over it, stand a few
    // pixels beyond it), its hint in the status line, and the undo button of the history row (66 by
    // 22 at (91, 30)) lights up: nothing else changed.
    CRgbImage after;
    ASSERT_TRUE(host.grabEditor(*plugin, after));
    int changedInKnob = 0;
    int changedInHistory = 0;
    int changedInStatus = 0; // the knob's hint in the status line
    int changedElsewhere = 0;
    for (int y = 0; y < after.getHeight() && y < before.getHeight(); ++y)
        for (int x = 0; x < after.getWidth() && x < before.getWidth(); ++x)
        {
            if (after.getPixel(x, y) == before.getPixel(x, y))
                continue;
            if (x >= 294 && x < 372 && y >= 109 && y < 191) // with its scale labels
                ++changedInKnob;
            else if (x >= 91 && x < 157 && y >= 30 && y < 52)
                ++changedInHistory;
            else if (y >= 195)
                ++changedInStatus;
            else
                ++changedElsewhere;
        }
    EXPECT_GT(changedInKnob, 20);
    EXPECT_GT(changedInHistory, 10);
    EXPECT_GT(changedInStatus, 100);
    EXPECT_EQ(changedElsewhere, 0);
    delete after.writePng("editor-knob-dragged.png");
    host.closeEditor(*plugin);
}

} // namespace
} // namespace kel
