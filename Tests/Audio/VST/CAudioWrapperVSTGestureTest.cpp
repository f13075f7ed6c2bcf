// A user's edit on the editor as the host sees it, through the window's input path on the
// product's own tree: a knob dragged, wheeled, reset and left in the middle of a drag, a value
// typed into its read-out; the signal buttons, the history row and the state buttons. Each edit
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
#include "UI/Controls/CControlArray.h"
#include "UI/Controls/CKnob.h"
#include "UI/Controls/CReadOut.h"
#include "UI/Controls/CTextView.h"
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
        CGlobalSettings::values().showVirtualKeyboard.store(true);
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
              int button = 0, bool isDown = false, int wheel = 0, uint32_t keysym = 0)
    {
        CNativeWindow::CInputEvent event;
        event.kind = kind;
        event.x = x;
        event.y = y;
        event.modifiers = modifiers;
        event.button = button;
        event.isDown = isDown;
        event.wheelDelta = wheel;
        event.keysym = keysym;
        event.character = keysym < 0x100 ? keysym : 0;
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

TEST_F(CAudioWrapperVSTGestureTest,
       TypedValueInTheReadOutIsOneGestureAndAnUnreadableOneChangesNothing)
{
    // The bare edit box: the on-screen keyboard is switched off.
    CObject* settings = editor->getUiRoot()->findObject(CString("ui.global-settings"));
    ASSERT_NE(settings, nullptr);
    ASSERT_EQ(settings->setAttr(CString("show-virtual-keyboard"), CAttrValue(false)), nullptr);
    auto* readOut = dynamic_cast<CReadOut*>(knob->findObject(CString(".readout")));
    ASSERT_NE(readOut, nullptr);
    const CLinearBitmap::Rect area = readOut->getViewRect();
    const int x = (area.left + area.right) / 2;
    const int y = (area.top + area.bottom) / 2;
    // The knob's value as the converter writes it, and the frame the pointer over it shows.
    CString shown;
    uiParam->getText(shown);
    EXPECT_EQ(test::CUtf8::of(readOut->getContent()), test::CUtf8::of(shown));
    EXPECT_FALSE(shown.isEmpty());
    auto* hoverFrame = dynamic_cast<CViewBase*>(readOut->findObject(CString(".hover-frame")));
    ASSERT_NE(hoverFrame, nullptr);
    EXPECT_TRUE(hoverFrame->isHidden());
    send(CNativeWindow::CInputEvent::kMouseMove, x, y);
    EXPECT_FALSE(hoverFrame->isHidden());
    // The status line shows the hint of the knob the read-out stands in.
    CObject* status = editor->getUiRoot()->findObject(CString("ui.main-window.window-status.hint"));
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(test::CUtf8::of(status->getAttrString(CString("title"))),
              "Loudness of a signal (dB).");

    auto typeKeys = [&](const char* text, uint32_t finalKey)
    {
        press(x, y);
        release(x, y);
        ASSERT_TRUE(readOut->isEditing());
        // The edit box starts from the value's text, all of it selected: typing replaces it.
        EXPECT_EQ(test::CUtf8::of(readOut->getEditBox()->getEditText()), test::CUtf8::of(shown));
        for (const char* c = text; *c; ++c)
            send(CNativeWindow::CInputEvent::kKeyDown, x, y, 0, 0, false, 0,
                 static_cast<uint8_t>(*c));
        send(CNativeWindow::CInputEvent::kKeyDown, x, y, 0, 0, false, 0, finalKey);
        idle();
        EXPECT_FALSE(readOut->isEditing());
    };
    const size_t records = history().size();
    typeKeys("-6", 0xff0d); // Return
    CString minusSix;
    uiParam->getText(minusSix);
    EXPECT_NE(test::CUtf8::of(minusSix), test::CUtf8::of(shown));
    EXPECT_EQ(test::CUtf8::of(readOut->getContent()), test::CUtf8::of(minusSix));
    EXPECT_EQ(gainGestures(), gesture(1));
    ASSERT_EQ(history().size(), records + 1);
    EXPECT_EQ(history().back(), "Signal gain change");

    // Text the converter cannot read, and Escape: nothing changes, the value's text is back.
    shown = minusSix;
    const double before = uiParam->getNormalisedValue();
    plugin.clearRecords();
    typeKeys("abc", 0xff0d);
    typeKeys("12", 0xff1b); // Escape
    EXPECT_EQ(uiParam->getNormalisedValue(), before);
    EXPECT_EQ(test::CUtf8::of(readOut->getContent()), test::CUtf8::of(minusSix));
    EXPECT_TRUE(gainGestures().empty());
    EXPECT_EQ(history().size(), records + 1);
}

TEST_F(CAudioWrapperVSTGestureTest, ValueTypedOnTheOnScreenKeyboardIsOneGestureAndOneUndoStep)
{
    auto* readOut = dynamic_cast<CReadOut*>(knob->findObject(CString(".readout")));
    ASSERT_NE(readOut, nullptr);
    const CLinearBitmap::Rect area = readOut->getViewRect();
    const size_t records = history().size();
    CString before;
    uiParam->getText(before);
    auto typeOnKeys = [&](std::vector<const char*> keys)
    {
        press((area.left + area.right) / 2, (area.top + area.bottom) / 2);
        release((area.left + area.right) / 2, (area.top + area.bottom) / 2);
        EXPECT_FALSE(readOut->isEditing());
        // The gain's keyboard is the one of numbers.
        CViewBaseCtlEvents* keyboard = readOut->getOpenPopup();
        ASSERT_NE(keyboard, nullptr);
        EXPECT_NE(keyboard->findObject(CString(".field")), nullptr);
        auto* window = dynamic_cast<CHeadlessWindow*>(keyboard->findWindow()->getNativeWindow());
        ASSERT_NE(window, nullptr);
        for (const char* text : keys)
        {
            CViewBase* key = nullptr;
            for (int i = 0; i < keyboard->getChildCount() && !key; ++i)
            {
                if (keyboard->getChild(i)->getAttrString(CString("vk-key")) == CString(text))
                    key = dynamic_cast<CViewBase*>(keyboard->getChild(i));
            }
            ASSERT_NE(key, nullptr) << text;
            CNativeWindow::CInputEvent event;
            event.kind = CNativeWindow::CInputEvent::kMouseButton;
            event.x = (key->getViewRect().left + key->getViewRect().right) / 2;
            event.y = (key->getViewRect().top + key->getViewRect().bottom) / 2;
            event.button = 1;
            event.isDown = true;
            event.timeMs = clockMs += 1000;
            window->deliver(event);
            event.isDown = false;
            window->deliver(event);
        }
        idle();
    };
    // Cancel changes nothing; Enter commits as one gesture and one undo step.
    typeOnKeys({"9", "Cancel"});
    EXPECT_TRUE(gainGestures().empty());
    typeOnKeys({"-", "6", "Enter"});
    CString typed;
    uiParam->getText(typed);
    EXPECT_NE(test::CUtf8::of(typed), test::CUtf8::of(before));
    EXPECT_EQ(test::CUtf8::of(readOut->getContent()), test::CUtf8::of(typed));
    EXPECT_EQ(gainGestures(), gesture(1));
    ASSERT_EQ(history().size(), records + 1);
    EXPECT_EQ(history().back(), "Signal gain change");
}

TEST_F(CAudioWrapperVSTGestureTest, SignalButtonsHistoryRowAndStateButtonsActOnThePlugin)
{
    CObject* ui = editor->getUiRoot();
    auto* signal = dynamic_cast<CControlArray*>(
        ui->findObject(CString("ui.main-window.c.title-frame.param-value-frame.signal")));
    ASSERT_NE(signal, nullptr);
    ASSERT_EQ(signal->getButtonCount(), 3);
    EXPECT_EQ(signal->getActiveIndex(), 0);
    auto click = [&](CViewBase* view)
    {
        ASSERT_NE(view, nullptr);
        const CLinearBitmap::Rect r = view->getViewRect();
        press((r.left + r.right) / 2, (r.top + r.bottom) / 2);
        release((r.left + r.right) / 2, (r.top + r.bottom) / 2);
        idle();
    };
    auto button = [&](const char* name)
    {
        return dynamic_cast<CViewBase*>(
            ui->findObject(CString("ui.main-window.c.buttons.") + CString(name)));
    };
    const size_t records = history().size();
    auto* undo = button("history.button-undo");
    auto* redo = button("history.button-redo");
    ASSERT_NE(undo, nullptr);
    ASSERT_NE(redo, nullptr);

    // "Noise", then "Mute": two steps; the history row offers undo and no redo.
    click(signal->getButton(1));
    EXPECT_EQ(signal->getActiveIndex(), 1);
    click(signal->getButton(2));
    EXPECT_EQ(signal->getActiveIndex(), 2);
    ASSERT_EQ(history().size(), records + 2);
    EXPECT_FALSE(undo->getAttrBool(CString("is-disabled"), true));
    EXPECT_TRUE(redo->getAttrBool(CString("is-disabled"), false));

    // Undo twice goes back to "Beep"; redo once brings "Noise" back.
    click(undo);
    click(undo);
    EXPECT_EQ(signal->getActiveIndex(), 0);
    EXPECT_FALSE(redo->getAttrBool(CString("is-disabled"), true));
    click(redo);
    EXPECT_EQ(signal->getActiveIndex(), 1);

    // The change log: a popup list of the history; its first entry is where the history starts.
    click(button("history.button-select"));
    auto* log = dynamic_cast<CWindow*>(ui->findObject(CString("ui.popup.window-renderer")));
    ASSERT_NE(log, nullptr);
    auto* entries = dynamic_cast<CTextView*>(ui->findObject(CString("ui.popup.list")));
    ASSERT_NE(entries, nullptr);
    EXPECT_EQ(entries->getWrapper().getParagraphCount(), static_cast<int>(records) + 3);
    auto* logWindow = dynamic_cast<CHeadlessWindow*>(log->getNativeWindow());
    ASSERT_NE(logWindow, nullptr);
    const CLinearBitmap::Rect first = entries->getViewRect();
    CNativeWindow::CInputEvent pick;
    pick.kind = CNativeWindow::CInputEvent::kMouseMove;
    pick.x = first.left + 10;
    pick.y = first.top + 3;
    pick.timeMs = clockMs += 1000;
    logWindow->deliver(pick);
    pick.kind = CNativeWindow::CInputEvent::kMouseButton;
    pick.button = 1;
    pick.isDown = true;
    // The press chooses, and the list's window is gone with it: no release follows there.
    logWindow->deliver(pick);
    EXPECT_EQ(log->getNativeWindow(), nullptr);
    idle();
    EXPECT_EQ(signal->getActiveIndex(), 0);
    click(redo);
    EXPECT_EQ(signal->getActiveIndex(), 1);

    // A/B: the other state starts as a copy of this one; each side keeps its own choice. Copy
    // makes the other side the same; reset returns the current one to the defaults ("Beep").
    click(button("ab"));
    EXPECT_EQ(signal->getActiveIndex(), 1);
    click(signal->getButton(2));
    click(button("ab"));
    EXPECT_EQ(signal->getActiveIndex(), 1);
    click(button("ab"));
    EXPECT_EQ(signal->getActiveIndex(), 2);
    click(button("copy"));
    click(button("ab"));
    EXPECT_EQ(signal->getActiveIndex(), 2);
    click(button("reset"));
    EXPECT_EQ(signal->getActiveIndex(), 0);

    // The bypass button follows and sets the host's bypass parameter.
    click(dynamic_cast<CViewBase*>(ui->findObject(CString("ui.main-window.window-title.bypass"))));
    EXPECT_EQ(effect->getParameter(effect, 0), 1.0f);
}
