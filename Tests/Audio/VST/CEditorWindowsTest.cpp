// The editor's other windows on the product's own tree, driven through the windows' input path:
// the settings window from its button (colour scheme, scale, close), the modal message boxes
// that block the window beneath them, and the curtain the main window shows while the host
// renders offline.
#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "CHeadlessEditorFixture.h"
#include "Support/CTempFolder.h"
#include "Core/CSharedAttribute.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"
#include "UI/Controls/CButton.h"
#include "UI/Controls/CSelectorPalette.h"
#include "UI/Controls/CSelectorScale.h"
#include "UI/Controls/CTextView.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Views/CViewBaseCtlEvents.h"
#include "UI/Windows/CWindow.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace kel;

namespace
{

using CPixels = std::vector<uint32_t>;

class CEditorWindowsTest : public CHeadlessEditorFixture
{
protected:
    void SetUp() override
    {
        // A data folder of its own: the colour scheme and scale picked here are kept, and must
        // not reach instances that other tests make meanwhile.
        static test::CTempFolder dataHome("kel-windows-data");
        setenv("XDG_DATA_HOME", dataHome.path().c_str(), 1);
        CHeadlessEditorFixture::SetUp();
        plugin.open();
        plugin.start(48000.0f, 512);
        ASSERT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 1);
        ui = editor->getUiRoot();
    }
    void TearDown() override
    {
        CHeadlessEditorFixture::TearDown();
        EXPECT_TRUE(shownErrors().empty()) << shownErrors().front();
    }

    CViewBaseCtlEvents* view(const char* path) const
    {
        return dynamic_cast<CViewBaseCtlEvents*>(ui->findObject(CString(path)));
    }
    static CHeadlessWindow* screenOf(const CViewBaseCtlEvents* inWindow)
    {
        CWindow* window = inWindow ? inWindow->findWindow() : nullptr;
        return window ? dynamic_cast<CHeadlessWindow*>(window->getNativeWindow()) : nullptr;
    }
    // A press and release at the middle of the view, through its window's input.
    void click(CViewBaseCtlEvents* target)
    {
        ASSERT_NE(target, nullptr);
        CHeadlessWindow* screen = screenOf(target);
        ASSERT_NE(screen, nullptr) << test::CUtf8::of(target->getFullName());
        const CLinearBitmap::Rect r = target->getViewRect();
        CNativeWindow::CInputEvent event;
        event.x = (r.left + r.right) / 2;
        event.y = (r.top + r.bottom) / 2;
        event.timeMs = clockMs += 1000;
        event.kind = CNativeWindow::CInputEvent::kMouseMove;
        screen->deliver(event);
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.button = 1;
        event.isDown = true;
        screen->deliver(event);
        // A press that ended the window leaves no release to deliver.
        if (target->findWindow() && target->findWindow()->getNativeWindow())
        {
            event.isDown = false;
            event.modifiers = CNativeWindow::kModButtonL;
            screen->deliver(event);
        }
        plugin.dispatch(kEffEditIdle);
    }
    // The window's picture once it has settled: a change of colours eases in over frames.
    static CPixels picture(const CViewBaseCtlEvents* inWindow)
    {
        CPixels last;
        for (int frame = 0; frame < 100; ++frame)
        {
            const CPixels now = frameOf(inWindow);
            if (frame > 0 && now == last)
                break;
            last = now;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return last;
    }
    static CPixels frameOf(const CViewBaseCtlEvents* inWindow)
    {
        CPixels pixels;
        CHeadlessWindow* screen = screenOf(inWindow);
        if (!screen)
            return pixels;
        inWindow->findWindow()->renderStep();
        const CLinearBitmap& shown = screen->getPicture();
        for (int y = 0; y < shown.getHeight(); ++y)
            for (int x = 0; x < shown.getWidth(); ++x)
                pixels.push_back(shown.getPixel(x, y) & 0x00ffffffu);
        return pixels;
    }
    static size_t colourCount(const CPixels& pixels)
    {
        return std::set<uint32_t>(pixels.begin(), pixels.end()).size();
    }
    // Share of pixels that differ, 0.0 to 1.0; 1.0 when the sizes differ.
    static double changed(const CPixels& before, const CPixels& after)
    {
        if (before.size() != after.size() || before.empty())
            return 1.0;
        size_t count = 0;
        for (size_t i = 0; i < before.size(); ++i)
            count += before[i] != after[i];
        return static_cast<double>(count) / static_cast<double>(before.size());
    }
    std::string shared(const char* path, const char* attr) const
    {
        const CObject* holder = ui->findObject(CString(path));
        return holder ? test::CUtf8::of(holder->getAttrString(CString(attr), CString())) : "";
    }
    // The opener's popup, opened as a button's popup-toggle opens it.
    CViewBaseCtlEvents* openPopup(CViewBaseCtlEvents* opener, const char* tag,
                                  std::vector<std::pair<const char*, const char*>> extra)
    {
        CAttrMap params;
        params.set(CString("popup-tag"), CAttrValue(tag));
        for (const auto& [name, value] : extra)
            params.set(CString(name), CAttrValue(value));
        if (CError* error = opener->callEventProc(CString("popup-toggle"), params))
        {
            ADD_FAILURE() << test::CErrorText::takeChain(error);
            return nullptr;
        }
        return opener->getOpenPopup();
    }
    // While the host renders at the given level, a block is processed and the editor idles.
    void renderAt(int32_t level)
    {
        host.setProcessLevel(level);
        float left[64] = {};
        float right[64] = {};
        float* channels[2] = {left, right};
        effect->processReplacing(effect, channels, channels, 64);
        for (int i = 0; i < 4; ++i)
            plugin.dispatch(kEffEditIdle);
    }

    CObject* ui = nullptr;
    uint32_t clockMs = 1000;
};

} // namespace

TEST_F(CEditorWindowsTest, TheTreeHoldsItsObjectsInOrderAndEveryTemplateAndItsWindowsOpen)
{
    // The objects of the root, in the order they are made: what a later one finds by path is
    // made before it.
    const std::vector<std::string> objects = {"interface-client-connector",
                                              "interface-client",
                                              "bypass-bridge",
                                              "instance-name-bridge",
                                              "host-quality-bridge",
                                              "host-offline-bridge",
                                              "host-latency-change-bridge",
                                              "globmeter-rmstime-bridge",
                                              "globmeter-releasetime-bridge",
                                              "globmeter-peaktime-bridge",
                                              "signal-bridge",
                                              "period-bridge",
                                              "duration-bridge",
                                              "freq-bridge",
                                              "gain-bridge",
                                              "variation-bridge",
                                              "viz-exchange",
                                              "global-data",
                                              "local-data",
                                              "window-shared-data",
                                              "global-settings",
                                              "plugin-control",
                                              "color-swatch",
                                              "color-swatch-spectrum",
                                              "groupsel",
                                              "main-window"};
    const CObject* root = ui->findObject(CString("ui"));
    ASSERT_NE(root, nullptr);
    std::vector<std::string> made;
    for (int i = 0; i < root->getChildCount(); ++i)
        if (!root->getChild(i)->isTemplateDefinition())
            made.push_back(test::CUtf8::of(root->getChild(i)->getName()));
    EXPECT_EQ(made, objects);

    const char* const templates[] = {"ui:value-list-manual",
                                     "ui:ui-param",
                                     "core:timer",
                                     "ui:view-command",
                                     "ui:run-event-params",
                                     "ui:button",
                                     "ui:ui-param-controller",
                                     "ui:virtual-keyboard",
                                     "ui:virtual-keyboard-digital",
                                     "ui:virtual-keyboard-freq",
                                     "ui:virtual-keyboard-ratio",
                                     "ui:win-preset-manager",
                                     "ui:win-message",
                                     "ui:window-blocker",
                                     "ui:editbox-popup",
                                     "ui:win-confirmation",
                                     "ui:window-app-popup-list",
                                     "ui:win-settings",
                                     "ui:label-copy-paste",
                                     "ui:selector-palette-button",
                                     "ui:win-global-settings",
                                     "ui:control-surface-hairlines",
                                     "ui:ruler-label",
                                     "ui:control-surface-point-num",
                                     "ui:dynlist-value-list",
                                     "ui:control-array-buttons-item",
                                     "ui:knob-labels-label"};
    for (const char* name : templates)
        EXPECT_NE(root->findNamedTemplate(CString(name)), nullptr) << name;

    // Every window of the tree opens from a button of the main window, draws something of its
    // own, and closes again by the same toggle.
    CViewBaseCtlEvents* opener = view("ui.main-window.c.buttons.settings");
    ASSERT_NE(opener, nullptr);
    for (const char* tag : {"ui:win-preset-manager", "ui:win-settings", "ui:win-global-settings",
                            "ui:win-message", "ui:win-confirmation", "ui:win-file-dialog"})
    {
        SCOPED_TRACE(tag);
        CViewBaseCtlEvents* window = openPopup(opener, tag, {{"mode", "load"}});
        ASSERT_NE(window, nullptr);
        EXPECT_GT(colourCount(picture(window)), 8u);
        ASSERT_EQ(openPopup(opener, tag, {}), nullptr);
    }
}

TEST_F(CEditorWindowsTest, SettingsWindowTogglesFromItsButtonRecoloursEveryWindowAndStoresTheScale)
{
    CViewBaseCtlEvents* opener = view("ui.main-window.c.buttons.settings");
    ASSERT_NE(opener, nullptr);
    click(opener);
    CViewBaseCtlEvents* settings = opener->getOpenPopup();
    ASSERT_NE(settings, nullptr);
    auto* schemes =
        dynamic_cast<CSelectorPalette*>(settings->findObject(CString(".body.color-scheme")));
    auto* scales = dynamic_cast<CSelectorScale*>(settings->findObject(CString(".body.scale")));
    ASSERT_NE(schemes, nullptr);
    ASSERT_NE(scales, nullptr);
    ASSERT_EQ(schemes->getButtonCount(), 5);
    ASSERT_EQ(scales->getButtonCount(), 3);

    // Both windows are drawn: panels, frames, text and the scheme icons.
    const CPixels mainBefore = picture(view("ui.main-window"));
    const CPixels settingsBefore = picture(settings);
    EXPECT_GT(colourCount(mainBefore), 20u);
    EXPECT_GT(colourCount(settingsBefore), 20u);

    // Another scheme (Blue and Default differ everywhere; the choice outlives the test run, so
    // whichever of them is not in use), chosen in the settings window, is stored and recolours
    // both windows at once.
    const int oldScheme = schemes->getActiveButton();
    const char* other =
        shared("ui.local-data.ui-color-scheme", "palette-name") == "Blue" ? "Default" : "Blue";
    int pick = -1;
    for (int i = 0; i < schemes->getPaletteNames().getCount(); ++i)
        if (schemes->getPaletteNames()[i] == other)
            pick = i;
    ASSERT_GE(pick, 0);
    click(schemes->getButton(pick));
    EXPECT_EQ(shared("ui.local-data.ui-color-scheme", "palette-name"), other);
    EXPECT_EQ(schemes->getActiveButton(), pick);
    EXPECT_GT(changed(mainBefore, picture(view("ui.main-window"))), 0.5);
    EXPECT_GT(changed(settingsBefore, picture(settings)), 0.5);

    // The scale is stored for the next open; the window keeps its size meanwhile.
    const int oldScale = scales->getActiveButton();
    const int scale = oldScale == 2 ? 0 : 2;
    click(scales->getButton(scale));
    EXPECT_EQ(shared("ui.local-data.ui-scale", "scale"), CSelectorScale::kScales[scale]);
    EXPECT_EQ(scales->getActiveButton(), scale);
    EXPECT_EQ(picture(settings).size(), settingsBefore.size());
    if (oldScheme >= 0)
        click(schemes->getButton(oldScheme));
    if (oldScale >= 0)
        click(scales->getButton(oldScale));

    // The settings button again closes it; a third press opens it, and its Close button ends it.
    click(opener);
    EXPECT_EQ(opener->getOpenPopup(), nullptr);
    click(opener);
    settings = opener->getOpenPopup();
    ASSERT_NE(settings, nullptr);
    click(dynamic_cast<CViewBaseCtlEvents*>(settings->findObject(CString(".body.row.close"))));
    EXPECT_EQ(opener->getOpenPopup(), nullptr);

    // The global settings: a switch writes its shared attribute.
    click(opener);
    settings = opener->getOpenPopup();
    ASSERT_NE(settings, nullptr);
    auto* more = dynamic_cast<CViewBaseCtlEvents*>(
        settings->findObject(CString(".body.row.global-settings")));
    click(more);
    CViewBaseCtlEvents* global = more->getOpenPopup();
    ASSERT_NE(global, nullptr);
    EXPECT_GT(colourCount(picture(global)), 20u);
    const std::string tablet = shared("ui.global-data.tablet-mode", "tablet-mode");
    click(dynamic_cast<CViewBaseCtlEvents*>(global->findObject(CString(".body.tablet-mode"))));
    EXPECT_NE(shared("ui.global-data.tablet-mode", "tablet-mode"), tablet);
}

TEST_F(CEditorWindowsTest, MessageBoxesBlockTheirOwnerAndOnlyYesRaisesTheEventOnce)
{
    CViewBaseCtlEvents* opener = view("ui.main-window.c.buttons.reset");
    CViewBaseCtlEvents* bypass = view("ui.main-window.window-title.bypass");
    CViewBaseCtlEvents* probe = view("ui.main-window.c.buttons.copy");
    ASSERT_NE(opener, nullptr);
    ASSERT_NE(bypass, nullptr);
    ASSERT_NE(probe, nullptr);
    CWindow* main = opener->findWindow();
    // The event the confirmation raises toggles the probe's is-active: once leaves it on.
    CAttrMap commandAttrs;
    commandAttrs.set(CString("on-event"), CAttrValue("test-confirmed"));
    commandAttrs.set(CString("toggle-attr"), CAttrValue("is-active"));
    CObject* command = nullptr;
    ASSERT_EQ(test::CErrorText::takeChain(probe->createChild(
                  CString("ui:view-command"), CString("probe"), command, &commandAttrs)),
              "");
    const std::vector<std::pair<const char*, const char*>> question{
        {"title", "Delete preset?"},
        {"message", "The preset goes for good."},
        {"confirm-event", "test-confirmed"},
        {"confirm-target", "ui.main-window.c.buttons.copy"}};

    // Up, the confirmation lays the blocker over the main window, which takes no click.
    const CPixels free = picture(view("ui.main-window"));
    CViewBaseCtlEvents* box = openPopup(opener, "ui:win-confirmation", question);
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(main->isBlocked());
    EXPECT_NE(opener->findObject(CString(".window-blocker")), nullptr);
    EXPECT_GT(changed(free, picture(view("ui.main-window"))), 0.9);
    EXPECT_GT(colourCount(picture(box)), 8u);
    auto* text = dynamic_cast<CTextView*>(box->findObject(CString(".message")));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(test::CUtf8::of(text->getAttrString(CString("title"))), "The preset goes for good.");
    click(bypass);
    EXPECT_FALSE(bypass->getAttrBool(CString("is-active"), false));

    // No: closed, unblocked, nothing raised.
    click(dynamic_cast<CViewBaseCtlEvents*>(box->findObject(CString(".buttons.no"))));
    EXPECT_EQ(opener->getOpenPopup(), nullptr);
    EXPECT_FALSE(main->isBlocked());
    EXPECT_EQ(opener->findObject(CString(".window-blocker")), nullptr);
    EXPECT_FALSE(probe->getAttrBool(CString("is-active"), false));

    // Yes: the event once, then closed and unblocked; the main window takes clicks again.
    box = openPopup(opener, "ui:win-confirmation", question);
    ASSERT_NE(box, nullptr);
    click(dynamic_cast<CViewBaseCtlEvents*>(box->findObject(CString(".buttons.yes"))));
    EXPECT_TRUE(probe->getAttrBool(CString("is-active"), false));
    EXPECT_EQ(opener->getOpenPopup(), nullptr);
    EXPECT_FALSE(main->isBlocked());
    EXPECT_LT(changed(free, picture(view("ui.main-window"))), 0.1);
    click(bypass);
    EXPECT_TRUE(bypass->getAttrBool(CString("is-active"), false));

    // The message: its OK closes it and lifts the block; a system close does too.
    box = openPopup(opener, "ui:win-message",
                    {{"title", "Bank file load"}, {"message", "Bad file."}});
    ASSERT_NE(box, nullptr);
    EXPECT_TRUE(main->isBlocked());
    click(dynamic_cast<CViewBaseCtlEvents*>(box->findObject(CString(".buttons.ok"))));
    EXPECT_EQ(opener->getOpenPopup(), nullptr);
    EXPECT_FALSE(main->isBlocked());
    box = openPopup(opener, "ui:win-message",
                    {{"title", "Bank file load"}, {"message", "Bad file."}});
    ASSERT_NE(box, nullptr);
    CNativeWindow::CInputEvent close;
    close.kind = CNativeWindow::CInputEvent::kClose;
    screenOf(box)->deliver(close);
    EXPECT_EQ(opener->getOpenPopup(), nullptr);
    EXPECT_FALSE(main->isBlocked());
}

TEST_F(CEditorWindowsTest, OfflineCurtainShowsWhileTheHostRendersOffline)
{
    CViewBaseCtlEvents* curtain = view("ui.main-window.c.offline-holder.frame");
    ASSERT_NE(curtain, nullptr);
    renderAt(kProcessLevelRealtime);
    EXPECT_TRUE(curtain->getAttrBool(CString("is-hidden"), false));
    const CPixels live = picture(view("ui.main-window"));

    renderAt(kProcessLevelOffline);
    EXPECT_FALSE(curtain->getAttrBool(CString("is-hidden"), true));
    const CPixels offline = picture(view("ui.main-window"));
    EXPECT_GT(changed(live, offline), 0.3);
    EXPECT_GT(colourCount(offline), 2u); // the words on the curtain

    renderAt(kProcessLevelRealtime);
    EXPECT_TRUE(curtain->getAttrBool(CString("is-hidden"), false));
    EXPECT_LT(changed(live, picture(view("ui.main-window"))), 0.05);
}
