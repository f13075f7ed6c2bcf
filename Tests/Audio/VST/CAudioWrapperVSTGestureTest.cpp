// A user's edit on the editor as the host sees it, through the window's input path on the
// product's own tree: a knob dragged, wheeled, reset and left in the middle of a drag. Each edit
// is one gesture on the editor's thread (begin edit, automation for every real change, end
// edit), one undo step under the parameter's name, and the value moves by the drag constants.
#include "Audio/CAudioParamUndo.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "Core/CGlobalSettings.h"
#include "Core/CSystem.h"
#include "Core/Platform/CThisThread.h"
#include "CHeadlessEditorFixture.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "Support/CUtf8.h"
#include "UI/Controls/CKnob.h"
#include "UI/Params/CUIParam.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Windows/CWindow.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

using namespace kel;

namespace
{

constexpr int kGainIndex = 4;
const char* const kGainKnob = "ui.main-window.c.title-frame.knob-gain.knob";

class CAudioWrapperVSTGestureTest : public CHeadlessEditorFixture
{
protected:
    void SetUp() override
    {
        CHeadlessEditorFixture::SetUp();
        plugin.open();
        plugin.start(48000.0f, 512);
        openEditor();
    }
    void TearDown() override
    {
        CHeadlessEditorFixture::TearDown();
        EXPECT_TRUE(shownErrors().empty()) << shownErrors().front();
    }

    void openEditor()
    {
        // No idle yet: the values are there from the first frame on.
        ASSERT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 1);
        knob = dynamic_cast<CKnob*>(editor->getUiRoot()->findObject(CString(kGainKnob)));
        ASSERT_NE(knob, nullptr);
        uiParam = dynamic_cast<CUIParam*>(knob->findObject(CString(".ui-param")));
        ASSERT_NE(uiParam, nullptr);
        ASSERT_TRUE(uiParam->isValid());
        const CLinearBitmap::Rect area = knob->getViewRect();
        centreX = area.left + (area.right - area.left) / 2;
        centreY = area.top + (area.bottom - area.top) * 45 / 100;
    }
    void idle() { plugin.dispatch(kEffEditIdle); }

    void send(CNativeWindow::CInputEvent::Kind kind, int x, int y, int modifiers = 0,
              int button = 0, bool isDown = false, int wheel = 0)
    {
        CNativeWindow::CInputEvent event;
        event.kind = kind;
        event.x = x;
        event.y = y;
        event.modifiers = modifiers;
        event.button = button;
        event.isDown = isDown;
        event.wheelDelta = wheel;
        event.timeMs = clockMs;
        clockMs += 20;
        auto* window = dynamic_cast<CHeadlessWindow*>(editor->getRenderer()->getNativeWindow());
        ASSERT_NE(window, nullptr);
        window->deliver(event);
    }
    // A press long after the last one: never the second click of a double click.
    void press(int x, int y, int modifiers = 0)
    {
        clockMs += 1000;
        pressAgain(x, y, modifiers);
    }
    void pressAgain(int x, int y, int modifiers = 0)
    {
        send(CNativeWindow::CInputEvent::kMouseMove, x, y, modifiers);
        send(CNativeWindow::CInputEvent::kMouseButton, x, y, modifiers, 1, true);
    }
    void dragTo(int x, int y, int modifiers = 0)
    {
        send(CNativeWindow::CInputEvent::kMouseMove, x, y, modifiers | CNativeWindow::kModButtonL);
    }
    void release(int x, int y)
    {
        send(CNativeWindow::CInputEvent::kMouseButton, x, y, CNativeWindow::kModButtonL, 1, false);
    }

    // What the host heard about the gain, "begin", "automate" and "end" in order; each must
    // have come on this thread, the editor's.
    std::vector<std::string> gainGestures() const
    {
        std::vector<std::string> heard;
        for (const CHostedPlugin::CCallRecord& call : plugin.getCallbackLog())
        {
            const char* name = call.opcode == kHostBeginEdit  ? "begin"
                               : call.opcode == kHostAutomate ? "automate"
                               : call.opcode == kHostEndEdit  ? "end"
                                                              : nullptr;
            if (!name || call.index != kGainIndex)
                continue;
            EXPECT_EQ(call.threadId, CThisThread::id()) << name << " off the editor's thread";
            heard.push_back(name);
        }
        return heard;
    }
    // The undo steps, oldest first.
    std::vector<std::string> history() const
    {
        auto* undo = dynamic_cast<CAudioParamUndo*>(
            wrapper->getPluginObject()->findObject(CString(".interface-base")));
        std::vector<std::string> names;
        if (!undo)
            return names;
        CArray<CString> found;
        int cursor = 0;
        undo->getHistoryNames(found, cursor);
        // The first entry is where the history starts, not a step.
        for (int i = 1; i < found.getCount(); ++i)
            names.push_back(test::CUtf8::of(found[i]));
        return names;
    }
    static std::vector<std::string> gesture(int automations)
    {
        std::vector<std::string> expected{"begin"};
        expected.insert(expected.end(), automations, "automate");
        expected.push_back("end");
        return expected;
    }

    CKnob* knob = nullptr;
    CUIParam* uiParam = nullptr;
    int centreX = 0;
    int centreY = 0;
    uint32_t clockMs = 1000;
};

} // namespace

TEST_F(CAudioWrapperVSTGestureTest, DragMovesByTheDragStepAsOneGestureAndOneUndoStep)
{
    const double p = CGlobalSettings::dragStepOf(0.8);
    const double s = CGlobalSettings::shiftFactorOf(0.5);
    const double start = uiParam->getNormalisedValue();
    const size_t records = history().size();

    // A press and release that moves nothing tells the host nothing and leaves no step.
    press(centreX, centreY);
    release(centreX, centreY);
    idle();
    EXPECT_TRUE(gainGestures().empty());
    EXPECT_EQ(history().size(), records);

    // Up 6 pixels, then Shift held for 6 more: only the motion after the press is finer.
    press(centreX, centreY);
    dragTo(centreX, centreY - 3);
    dragTo(centreX, centreY - 6);
    dragTo(centreX, centreY - 9, CNativeWindow::kModShift);
    dragTo(centreX, centreY - 12, CNativeWindow::kModShift);
    EXPECT_EQ(knob->getDragMode(), CKnob::kModeDrag);
    release(centreX, centreY - 12);
    idle();

    const double expected = start + 6 * p + 6 * s * p;
    EXPECT_NEAR(uiParam->getNormalisedValue(), expected, 1e-9);
    EXPECT_NEAR(effect->getParameter(effect, kGainIndex), expected, 1e-6);
    EXPECT_EQ(gainGestures(), gesture(4));
    ASSERT_EQ(history().size(), records + 1);
    EXPECT_EQ(history().back(), "Signal gain change");
}

TEST_F(CAudioWrapperVSTGestureTest, WheelIsOneGestureUntilItRestsAndDoubleClickResets)
{
    const double w = CGlobalSettings::wheelStepOf(0.5);
    const double start = uiParam->getNormalisedValue();
    const double defaultValue = uiParam->getDefaultValue();
    const size_t records = history().size();

    send(CNativeWindow::CInputEvent::kMouseMove, centreX, centreY);
    for (int notch = 0; notch < 3; ++notch)
        send(CNativeWindow::CInputEvent::kMouseWheel, centreX, centreY, 0, 0, false, -1);
    EXPECT_NEAR(uiParam->getNormalisedValue(), start - 3 * w, 1e-9);
    // Still turning: the gesture stays open.
    EXPECT_EQ(gainGestures(),
              std::vector<std::string>({"begin", "automate", "automate", "automate"}));
    // The wheel rests: the editor's idle closes the gesture within a few tenths of a second.
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (gainGestures().back() != "end" && std::chrono::steady_clock::now() < giveUp)
    {
        idle();
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_EQ(gainGestures(), gesture(3));
    ASSERT_EQ(history().size(), records + 1);
    EXPECT_EQ(history().back(), "Signal gain change");

    // A double click (the first press opens a drag that moves nothing) resets.
    plugin.clearRecords();
    press(centreX, centreY);
    release(centreX, centreY);
    pressAgain(centreX, centreY);
    release(centreX, centreY);
    idle();
    EXPECT_NEAR(uiParam->getNormalisedValue(), defaultValue, 1e-9);
    EXPECT_EQ(gainGestures(), gesture(1));
    ASSERT_EQ(history().size(), records + 2);
    EXPECT_EQ(history().back(), "Signal gain reset");
}

TEST_F(CAudioWrapperVSTGestureTest, ClosingTheEditorMidDragEndsTheGestureAndReopeningShowsTheValue)
{
    const double p = CGlobalSettings::dragStepOf(0.8);
    const double start = uiParam->getNormalisedValue();
    const size_t records = history().size();
    press(centreX, centreY);
    dragTo(centreX, centreY - 10);
    // The host moves the parameter meanwhile: the picture follows, the drag's start does not.
    effect->setParameter(effect, kGainIndex, 0.1f);
    idle();
    dragTo(centreX, centreY - 20);
    EXPECT_NEAR(uiParam->getNormalisedValue(), start + 20 * p, 1e-9);

    plugin.dispatch(kEffEditClose);
    EXPECT_EQ(gainGestures(), gesture(2));
    ASSERT_EQ(history().size(), records + 1);
    EXPECT_EQ(history().back(), "Signal gain change");

    effect->setParameter(effect, kGainIndex, 0.25f);
    openEditor();
    EXPECT_NEAR(uiParam->getNormalisedValue(), 0.25, 1e-6);
}
