// The main window's controls driven from the outside: the real plug-in in our host, input
// through XTest to where the controls stand on the screen, and what the host hears back
// (parameter values, gestures, who has the keyboard) or sees (the grabbed window).
#include "CEditorFixture.h"
#include "Core/CGlobalSettings.h"

#include <X11/keysym.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

namespace kel
{
namespace
{

// Where the controls stand at 100 %: the knobs are 70 by 74, side by side from (88, 113), each
// with its read-out (52 by 12) at the bottom; the signal buttons stack in the frame left of
// them; the row of buttons runs along y = 41.
constexpr int kKnobLeft = 88;
constexpr int kKnobTop = 113;
constexpr int kKnobWidth = 70;
constexpr int kReadOutY = kKnobTop + 74 - 6;
constexpr int kSignalX = 48;
constexpr int kSignalY[3] = {103, 123, 143}; // Beep, Noise, Mute
constexpr int kRowY = 41;
constexpr int kUndoX = 102;
constexpr int kRedoX = 146;
constexpr int kABX = 183;
constexpr int kCopyX = 231;
constexpr int kResetX = 282;
constexpr int kSettingsX = 350;
constexpr int kPresetsX = 36;
constexpr int kQuickListX = 79;

// The knobs in the order they stand, by the names the host sees.
const char* const kKnobParams[5] = {"Period", "Duratn", "Freq", "Gain", "Variatn"};

class EditorControlsTest : public CEditorFixture
{
protected:
    void SetUp() override
    {
        CEditorFixture::SetUp();
        const char* chosen = std::getenv("KEL_EDITOR_PLUGIN");
        if (chosen && *chosen)
            GTEST_SKIP() << "the stand-in editor has no controls";
        plugin = loadPlugin();
        ASSERT_NE(plugin, nullptr);
        for (int knob = 0; knob < 5; ++knob)
        {
            for (int index = 0; index < plugin->getNumParams(); ++index)
                if (plugin->getParameterName(index) == kKnobParams[knob])
                    knobParam[knob] = index;
            ASSERT_GE(knobParam[knob], 0) << kKnobParams[knob];
        }
        host.setIdleRate(30.0);
        KEL_OPEN_EDITOR_OR_SKIP(host, *plugin);
        ASSERT_GE(host.waitForFirstFrame(*plugin, kFirstFrameSec), 0.0);
    }

    void TearDown() override
    {
        if (plugin && host.isEditorOpen(*plugin))
            host.closeEditor(*plugin);
        CEditorFixture::TearDown();
    }

    std::vector<float> values()
    {
        std::vector<float> out;
        for (int index = 0; index < plugin->getNumParams(); ++index)
            out.push_back(plugin->getParameter(index));
        return out;
    }

    // Waits for the editor to act on what it was given, then for the pointer to rest outside.
    void rest()
    {
        host.movePointer(*plugin, host.getEditorWidth(*plugin) + 40, 20);
        host.runFor(0.25);
    }

    // The colour at (x, y) of the grabbed editor.
    uint32_t pixelAt(int x, int y)
    {
        CRgbImage image;
        if (!host.grabEditor(*plugin, image))
            return 0;
        return image.getPixel(x, y);
    }

    // The top-level windows shown now that were not there before.
    std::vector<CEditorHost::WindowId> opened(const std::vector<CEditorHost::WindowId>& before)
    {
        std::vector<CEditorHost::WindowId> found;
        for (CEditorHost::WindowId window : host.getTopLevelWindows())
            if (std::find(before.begin(), before.end(), window) == before.end() &&
                host.isViewable(window))
                found.push_back(window);
        return found;
    }

    CHostedPlugin* plugin = nullptr;
    int knobParam[5] = {-1, -1, -1, -1, -1};
};

TEST_F(EditorControlsTest, EachKnobDragsResetsAndStepsItsOwnParameterOnly)
{
    const double dragStep = CGlobalSettings::dragStepOf(0.8);
    const double wheelStep = CGlobalSettings::wheelStepOf(0.5);
    for (int knob = 0; knob < 5; ++knob)
    {
        SCOPED_TRACE(kKnobParams[knob]);
        const int index = knobParam[knob];
        const int x = kKnobLeft + kKnobWidth * knob + 35;
        const int y = kKnobTop + 33;
        const std::vector<float> start = values();
        // A knob at its top cannot go up: drag down then.
        const int dy = start[index] > 0.5f ? 20 : -20;
        plugin->clearRecords();
        host.drag(*plugin, x, y, x, y + dy, 5);
        rest();
        std::vector<float> expected = start;
        expected[index] = static_cast<float>(start[index] - dy * dragStep);
        std::vector<float> now = values();
        for (size_t other = 0; other < now.size(); ++other)
            EXPECT_NEAR(now[other], expected[other], 1e-6) << "parameter " << other;
        EXPECT_EQ(editsHeard(*plugin), (std::map<int32_t, std::vector<std::string>>{
                                           {index, {"begin", "automate", "end"}}}));

        // A double click puts it back to its default, where a fresh plug-in starts.
        plugin->clearRecords();
        host.click(*plugin, x, y);
        host.click(*plugin, x, y);
        rest();
        EXPECT_NEAR(plugin->getParameter(index), start[index], 1e-6);
        EXPECT_EQ(editsHeard(*plugin).count(index), 1u);

        // One wheel click moves it by one wheel step, towards the middle.
        const int steps = start[index] > 0.5f ? -1 : 1;
        host.scrollWheel(*plugin, x, y, steps);
        host.runFor(1.0); // a wheel gesture ends once the wheel rests
        rest();
        EXPECT_NEAR(plugin->getParameter(index), start[index] + steps * wheelStep, 1e-6);
        for (const auto& [param, heard] : editsHeard(*plugin))
        {
            EXPECT_EQ(param, index);
            EXPECT_EQ(heard.front(), "begin");
            EXPECT_EQ(heard.back(), "end");
        }
    }
}

TEST_F(EditorControlsTest, TypedValueIsOneGestureOneUndoStepAndTheKeyboardGoesBack)
{
    const int gain = knobParam[3];
    const int x = kKnobLeft + kKnobWidth * 3 + 35;
    host.focusParent(*plugin);
    const CEditorHost::WindowId hostWindow = host.getInputFocus();
    ASSERT_EQ(hostWindow, host.getParent(*plugin));
    const float start = plugin->getParameter(gain);

    // A click on the read-out starts editing: the editor takes the keyboard from the host.
    host.click(*plugin, x, kReadOutY);
    host.runFor(0.2);
    EXPECT_NE(host.getInputFocus(), hostWindow);
    plugin->clearRecords();
    for (unsigned long key : {XK_minus, XK_6, XK_Return})
        host.typeKey(key);
    rest();
    const float typed = plugin->getParameter(gain);
    EXPECT_NE(typed, start);
    EXPECT_EQ(plugin->getParameterDisplay(gain).find("-6"), 0u)
        << plugin->getParameterDisplay(gain);
    EXPECT_EQ(editsHeard(*plugin),
              (std::map<int32_t, std::vector<std::string>>{{gain, {"begin", "automate", "end"}}}));
    EXPECT_EQ(host.getInputFocus(), hostWindow);

    // Escape leaves everything as it was, and gives the keyboard back too.
    host.click(*plugin, x, kReadOutY);
    host.runFor(0.2);
    plugin->clearRecords();
    for (unsigned long key : {XK_1, XK_2, XK_Escape})
        host.typeKey(key);
    rest();
    EXPECT_EQ(plugin->getParameter(gain), typed);
    EXPECT_TRUE(editsHeard(*plugin).empty());
    EXPECT_EQ(host.getInputFocus(), hostWindow);

    // The typed value was one step of the history: undo brings the old value back, redo the new.
    host.click(*plugin, kUndoX, kRowY);
    rest();
    EXPECT_NEAR(plugin->getParameter(gain), start, 1e-6);
    host.click(*plugin, kRedoX, kRowY);
    rest();
    EXPECT_NEAR(plugin->getParameter(gain), typed, 1e-6);
}

TEST_F(EditorControlsTest, SignalButtonsHistoryAndStateButtonsDoWhatTheirHintsSay)
{
    // The signal is no host parameter: its buttons show which one is on.
    const uint32_t on = pixelAt(kSignalX - 20, kSignalY[0]);
    const uint32_t off = pixelAt(kSignalX - 20, kSignalY[1]);
    ASSERT_NE(on, off);
    auto signalShown = [&]()
    {
        int shown = -1;
        for (int button = 0; button < 3; ++button)
            if (pixelAt(kSignalX - 20, kSignalY[button]) == on)
            {
                EXPECT_EQ(shown, -1) << "two signals on";
                shown = button;
            }
        return shown;
    };
    host.click(*plugin, kSignalX, kSignalY[1]);
    rest();
    EXPECT_EQ(signalShown(), 1);
    host.click(*plugin, kSignalX, kSignalY[2]);
    rest();
    EXPECT_EQ(signalShown(), 2);
    host.click(*plugin, kUndoX, kRowY);
    rest();
    EXPECT_EQ(signalShown(), 1);
    host.click(*plugin, kUndoX, kRowY);
    rest();
    EXPECT_EQ(signalShown(), 0);
    host.click(*plugin, kRedoX, kRowY);
    rest();
    EXPECT_EQ(signalShown(), 1);

    // A/B: B starts as a copy of A and keeps its own values; copy makes the other side the
    // same; reset puts the current side's parameters back to their defaults.
    const int gain = knobParam[3];
    const int gainX = kKnobLeft + kKnobWidth * 3 + 35;
    const std::vector<float> defaults = values();
    host.click(*plugin, kABX, kRowY); // to B
    rest();
    host.drag(*plugin, gainX, kKnobTop + 33, gainX, kKnobTop + 13, 4);
    rest();
    const float onB = plugin->getParameter(gain);
    EXPECT_NE(onB, defaults[gain]);
    host.click(*plugin, kABX, kRowY); // back to A
    rest();
    EXPECT_NEAR(plugin->getParameter(gain), defaults[gain], 1e-6);
    EXPECT_EQ(signalShown(), 1);
    host.click(*plugin, kABX, kRowY); // B again
    rest();
    EXPECT_NEAR(plugin->getParameter(gain), onB, 1e-6);
    host.click(*plugin, kCopyX, kRowY); // B to A
    host.click(*plugin, kABX, kRowY);
    rest();
    EXPECT_NEAR(plugin->getParameter(gain), onB, 1e-6);
    host.click(*plugin, kResetX, kRowY);
    rest();
    EXPECT_EQ(signalShown(), 0);
    const std::vector<float> reset = values();
    for (size_t index = 1; index < reset.size(); ++index)
        EXPECT_NEAR(reset[index], defaults[index], 1e-6) << "parameter " << index;
}

TEST_F(EditorControlsTest, SettingsOpenAsATopLevelWindowTransientForTheHostsWindow)
{
    // Windows of the editor's own stand beside the host's, never inside it: a top-level window
    // that the window manager keeps above the host's top-level window.
    const std::vector<CEditorHost::WindowId> before = host.getTopLevelWindows();
    host.click(*plugin, kSettingsX, kRowY);
    rest();
    const std::vector<CEditorHost::WindowId> settings = opened(before);
    ASSERT_EQ(settings.size(), 1u);
    EXPECT_EQ(host.getTransientFor(settings[0]), host.getParent(*plugin));
    CRgbImage picture;
    ASSERT_TRUE(host.grabWindow(settings[0], picture));
    EXPECT_FALSE(picture.isBlank());
    delete picture.writePng("editor-settings-window.png");

    // Its colour schemes recolour the open editor at once (after a short fade): the fourth,
    // then the first (the default) again, which the next run starts from.
    CRgbImage first, blue, back;
    ASSERT_TRUE(host.grabEditor(*plugin, first));
    host.clickWindow(settings[0], 99, 64);
    host.runFor(1.0);
    ASSERT_TRUE(host.grabEditor(*plugin, blue));
    host.clickWindow(settings[0], 17, 64);
    host.runFor(1.0);
    ASSERT_TRUE(host.grabEditor(*plugin, back));
    int changed = 0;
    for (int y = 0; y < first.getHeight(); ++y)
        for (int x = 0; x < first.getWidth(); ++x)
            changed += first.getPixel(x, y) != blue.getPixel(x, y);
    EXPECT_GT(changed, first.getWidth() * first.getHeight() / 2);
    EXPECT_TRUE(back.equals(first));

    // The button closes it again.
    host.click(*plugin, kSettingsX, kRowY);
    rest();
    EXPECT_TRUE(opened(before).empty());
}

TEST_F(EditorControlsTest, APresetAddedInTheManagerShowsAtOnceInAnotherInstancesQuickList)
{
    // A second instance with its editor beside the first.
    CHostedPlugin* other = loadPlugin();
    ASSERT_NE(other, nullptr);
    KEL_OPEN_EDITOR_OR_SKIP(host, *other, 500, 0);
    ASSERT_GE(host.waitForFirstFrame(*other, kFirstFrameSec), 0.0);
    auto quickListHeight = [&]()
    {
        const std::vector<CEditorHost::WindowId> before = host.getTopLevelWindows();
        host.click(*other, kQuickListX, kRowY);
        host.runFor(0.3);
        const std::vector<CEditorHost::WindowId> list = opened(before);
        EXPECT_EQ(list.size(), 1u);
        CRgbImage picture;
        const bool grabbed = !list.empty() && host.grabWindow(list[0], picture);
        host.click(*other, kQuickListX, kRowY); // closes it
        host.runFor(0.3);
        return grabbed ? picture.getHeight() : 0;
    };
    const int heightBefore = quickListHeight();
    ASSERT_GT(heightBefore, 0);

    // The first instance's "Presets" opens the manager beside the host's window: a new bank
    // ("+" of the banks), and the current state stored in it ("+" of the presets).
    const std::vector<CEditorHost::WindowId> before = host.getTopLevelWindows();
    host.click(*plugin, kPresetsX, kRowY);
    rest();
    const std::vector<CEditorHost::WindowId> manager = opened(before);
    ASSERT_EQ(manager.size(), 1u);
    EXPECT_EQ(host.getTransientFor(manager[0]), host.getParent(*plugin));
    host.clickWindow(manager[0], 15, 47);
    host.clickWindow(manager[0], 170, 47);
    host.runFor(0.3);
    CRgbImage picture;
    ASSERT_TRUE(host.grabWindow(manager[0], picture));
    delete picture.writePng("editor-preset-manager.png");

    // The other instance lists the new bank and its preset: two more lines.
    EXPECT_GT(quickListHeight(), heightBefore);
    host.closeEditor(*other);
}

} // namespace
} // namespace kel
