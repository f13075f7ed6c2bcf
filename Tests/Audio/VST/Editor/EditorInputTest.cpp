// Input as the server delivers it (XTest: pointer, buttons, wheel) to wherever the editor put
// its controls. Whatever a press, drag or wheel edits, the host must see it bracketed: every
// audioMasterAutomate inside audioMasterBeginEdit and audioMasterEndEdit of the same parameter,
// gestures neither nested nor left open, or touch automation snaps back.
#include "CEditorFixture.h"

#include <cstdio>
#include <map>

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

} // namespace
} // namespace kel
