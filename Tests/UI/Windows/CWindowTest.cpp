// A window renderer over a small view tree on the headless screen: the pixels it sends, what it
// draws again when one view changes, and how input reaches views.
#include "Core/CApplication.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/Windows/CHeadlessTreeTest.h"
#include "UI/CUiCreators.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Rendering/CSectorMap.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CView.h"
#include "UI/Windows/CWindow.h"
#include "UI/Windows/CWindowSharedData.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace kel;

namespace
{

// A view that fills its area with the colour of its attribute "fill" and notes what reaches it.
class CTestView : public CView
{
public:
    static void registerClass(CClassInfo& info) { CView::registerClass(info); }

    std::vector<std::string> events;
    int draws = 0;

protected:
    CError* onCtlEvent(const CString& eventName, CAttrMap& params) override
    {
        char text[64];
        eventName.toUtf8(text, sizeof text);
        std::string line = text;
        if (const CAttrValue* isDouble = params.find(CString("is-double-click")))
            line += isDouble->getBool() ? " double" : "";
        events.push_back(line);
        return CView::onCtlEvent(eventName, params);
    }
    void draw(CDrawContext& dc) override
    {
        ++draws;
        int32_t fill = 0;
        if (getAttrString(CString("fill")).parseInt(fill))
            drawFilledRect(dc, getViewRect(), static_cast<uint32_t>(fill));
    }
};

constexpr uint32_t kGrey = 0x808080;
constexpr uint32_t kRed = 0xff0000;
constexpr uint32_t kBlue = 0x0000ff;
constexpr uint32_t kGreen = 0x00ff00;

class CWindowTest : public test::CHeadlessTreeTest
{
protected:
    static void SetUpTestSuite()
    {
        CApplication::addCreatorRegistration(&CUiCreators::registerAll);
        CApplication::addCreatorRegistration(
            []() -> CError*
            {
                static const CCreatorRow rows[] = {CCreatorRow::of<CTestView>("test:view")};
                return CObject::registerCreators(rows, 1);
            });
        CApplication::init(resources::kResourceTable, "");
        CUiScale::set(1.0);
    }

    void SetUp() override
    {
        // A 300 by 150 window (three sectors across, the last one partly used): a grey
        // background, a red panel in the first row, a blue dynamic meter beside it, a green view
        // that lets clicks through over the panel, and a holder that intercepts its child.
        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& ui = tree.add("ui:ui-event-bridge", "ui");
        ui.add("ui:window-shared-data", "window-shared-data");
        CTreeBlobWriter::Node& win = ui.add("test:view", "win");
        win.attr("is-root-view", "true").attr("width", "300").attr("height", "150");
        win.attr("fill", "0x808080").attr("inner-border", "10").attr("spread", "L5");
        win.add("ui:window-renderer", "window-renderer").attr("fps", "40");
        win.add("test:view", "panel")
            .attr("width", "100")
            .attr("height", "60")
            .attr("tab-group", "fields")
            .attr("fill", "0xff0000");
        win.add("test:view", "meter")
            .attr("tab-group", "fields")
            .attr("width", "20")
            .attr("height", "60")
            .attr("fill", "0x0000ff")
            .attr("is-dynamic", "true");
        win.add("test:view", "glass")
            .attr("placement", "match")
            .attr("placement-match", "^panel")
            .attr("is-click-through", "true")
            .attr("z-index", "5");
        CTreeBlobWriter::Node& holder = win.add("test:view", "holder");
        holder.attr("width", "40").attr("height", "40").attr("is-intercepting", "true");
        holder.attr("fill", "0x00ff00");
        holder.add("test:view", "inner").attr("placement", "overlay").attr("tab-group", "fields");
        // A view whose commands note what they saw: on entering, whether "hover" was set yet;
        // on leaving, whether it was still set; on a press, two commands, the first of which
        // skips.
        CTreeBlobWriter::Node& sensor = win.add("test:view", "sensor");
        sensor.attr("width", "30").attr("height", "30");
        sensor.add("ui:view-command", "enter")
            .attr("on-event", "mouse-enter")
            .attr("condition-state-unset", "hover")
            .attr("set-state", "entered-before-hover");
        sensor.add("ui:view-command", "exit")
            .attr("on-event", "mouse-exit")
            .attr("condition-state-set", "hover")
            .attr("set-state", "left-while-hover");
        sensor.add("ui:view-command", "skipped")
            .attr("on-event", "mouse-press")
            .attr("condition-state-set", "never")
            .attr("set-state", "first");
        sensor.add("ui:view-command", "taken")
            .attr("on-event", "mouse-press")
            .attr("set-state", "second");
        // ... and eases its opacity back over a second when the state "dim" goes.
        sensor.attr("opacity", "1").attr("morph-duration", "1");
        sensor.add("ui:view-state", "dim").attr("state-name", "dim").attr("opacity", "0");
        ui.addTemplate("ui:window-blocker", "test:view")
            .attr("placement", "window-overlay")
            .attr("fill", "0x000000");
        // A drop-down that opens below the panel.
        CTreeBlobWriter::Node& pop = ui.add("test:view", "pop");
        pop.attr("is-root-view", "true").attr("width", "50").attr("height", "30");
        pop.add("ui:window-renderer", "window-renderer")
            .attr("is-popup-window", "true")
            .attr("opener", "ui.win.panel")
            .attr("window-alignment", "bottom");
        openTree(tree);
    }

    CTestView* view(const char* name) const
    {
        CString path("ui.win");
        if (*name)
        {
            path.append(".");
            path.append(name);
        }
        return dynamic_cast<CTestView*>(root->findObject(path));
    }
    void send(CNativeWindow::CInputEvent::Kind kind, int x, int y, int button = 0,
              bool down = false, uint32_t timeMs = 0)
    {
        CNativeWindow::CInputEvent event;
        event.kind = kind;
        event.x = x;
        event.y = y;
        event.button = button;
        event.isDown = down;
        event.timeMs = timeMs;
        display.inject(screen, event);
        display.pump();
    }
    void click(int x, int y, uint32_t timeMs, int releaseX = -1)
    {
        send(CNativeWindow::CInputEvent::kMouseButton, x, y, 1, true, timeMs);
        send(CNativeWindow::CInputEvent::kMouseButton, releaseX < 0 ? x : releaseX, y, 1, false,
             timeMs + 50);
    }
};

} // namespace

TEST_F(CWindowTest, FirstFrameIsTheTreeDrawnPixelForPixel)
{
    // Worked out by hand: inner border 10, row gap 5. panel 10..110 x 10..70 red; meter
    // 115..135 blue; holder 140..180 x 10..50 green; everything else grey. The window is 300
    // wide: its third sector is cut at 300.
    const CLinearBitmap& picture = screen->getPicture();
    ASSERT_EQ(picture.getWidth(), 300);
    ASSERT_EQ(picture.getHeight(), 150);
    for (int y = 0; y < 150; ++y)
        for (int x = 0; x < 300; ++x)
        {
            uint32_t expected = kGrey;
            if (y >= 10 && y < 70 && x >= 10 && x < 110)
                expected = kRed;
            else if (y >= 10 && y < 70 && x >= 115 && x < 135)
                expected = kBlue;
            else if (y >= 10 && y < 50 && x >= 140 && x < 180)
                expected = kGreen;
            ASSERT_EQ(picture.getPixel(x, y), expected) << "first difference at " << x << "," << y;
        }
    EXPECT_EQ(screen->getOpenParams().parent, &parent);
    EXPECT_EQ(screen->getFlushCount(), 1);
}

TEST_F(CWindowTest, AChangedDynamicViewIsDrawnAloneOverTheRememberedPicture)
{
    CSectorMap* map = window->getSectorMap();
    const int panelDraws = view("panel")->draws;
    const int backgroundDraws = view("")->draws;
    map->resetCounters();
    ASSERT_EQ(view("meter")->setAttr(CString("fill"), CAttrValue("0x00ff00")), nullptr);
    view("meter")->invalidate();
    window->renderStep();
    // The meter (115..135) crosses the sector edge at 128: two sectors, each drawing only its
    // part of the meter's rectangle; nothing static is drawn again.
    EXPECT_EQ(view("meter")->draws, 4);
    EXPECT_EQ(view("panel")->draws, panelDraws);
    EXPECT_EQ(view("")->draws, backgroundDraws);
    EXPECT_EQ(map->getStaticCopyCount(), 2);
    const CLinearBitmap::Rect sent = screen->getLastFlushArea();
    EXPECT_EQ(sent.left, 115);
    EXPECT_EQ(sent.top, 10);
    EXPECT_EQ(sent.right, 136); // right and bottom rounded down plus one
    EXPECT_EQ(sent.bottom, 71);
    EXPECT_EQ(screen->getPicture().getPixel(120, 20), kGreen);

    // Nothing changed: a frame draws and sends nothing.
    const int flushes = screen->getFlushCount();
    window->renderStep();
    EXPECT_EQ(screen->getFlushCount(), flushes);
}

TEST_F(CWindowTest, ASuspendedMapStillRendersTheFrameButDrawsNothing)
{
    window->getSectorMap()->setSuspended(true);
    view("panel")->invalidate();
    const uint64_t frames = window->getFrameCount();
    const int flushes = screen->getFlushCount();
    window->renderStep();
    EXPECT_EQ(window->getFrameCount(), frames + 1);
    EXPECT_EQ(screen->getFlushCount(), flushes);
    window->getSectorMap()->setSuspended(false);
    window->renderStep();
    EXPECT_EQ(screen->getFlushCount(), flushes + 1);
}

TEST_F(CWindowTest, PressesGoToTheViewUnderThePointerAndAReleaseElsewhereCancels)
{
    click(20, 20, 1000);
    EXPECT_EQ(view("panel")->events, (std::vector<std::string>{"mouse-press", "mouse-release"}));
    EXPECT_TRUE(view("glass")->events.empty()) << "the glass lets clicks through";
    EXPECT_TRUE(screen->isCaptured() == false);

    view("panel")->events.clear();
    click(20, 20, 5000, 120); // released over the meter
    EXPECT_EQ(view("panel")->events, (std::vector<std::string>{"mouse-press", "mouse-cancel"}));
    EXPECT_TRUE(view("meter")->events.empty());

    // An intercepting view takes the presses of its children.
    click(150, 20, 9000);
    EXPECT_EQ(view("holder")->events, (std::vector<std::string>{"mouse-press", "mouse-release"}));
    EXPECT_TRUE(view("holder.inner")->events.empty());
}

TEST_F(CWindowTest, DoubleClicksNeedTimeAndDistanceAndAThirdPressStartsOver)
{
    click(20, 20, 1000);
    click(22, 21, 1200); // 200 ms later, 2 pixels away
    click(22, 21, 1400); // a third press is no second double click
    click(40, 21, 1600); // 18 pixels away
    click(40, 21, 2500); // 900 ms later
    const std::vector<std::string> expected = {
        "mouse-press",   "mouse-release", "mouse-press double", "mouse-release", "mouse-press",
        "mouse-release", "mouse-press",   "mouse-release",      "mouse-press",   "mouse-release"};
    EXPECT_EQ(view("panel")->events, expected);
}

TEST_F(CWindowTest, HoverMovesWithThePointer)
{
    send(CNativeWindow::CInputEvent::kMouseMove, 20, 20);
    send(CNativeWindow::CInputEvent::kMouseMove, 120, 20);
    send(CNativeWindow::CInputEvent::kMouseLeave, 120, 20);
    EXPECT_EQ(view("panel")->events,
              (std::vector<std::string>{"mouse-enter", "mouse-move", "mouse-exit"}));
    EXPECT_EQ(view("meter")->events,
              (std::vector<std::string>{"mouse-enter", "mouse-move", "mouse-exit"}));
    EXPECT_FALSE(view("panel")->isHover());
}

TEST_F(CWindowTest, CommandsOfEnterAndExitRunBeforeHoverChangesAndASkippedCommandLetsTheNextRun)
{
    CTestView* sensor = view("sensor");
    ASSERT_NE(sensor, nullptr);
    const CLinearBitmap::Rect area = sensor->getViewRect();
    send(CNativeWindow::CInputEvent::kMouseMove, area.left + 5, area.top + 5);
    EXPECT_EQ(sensor->getActiveStates().getCount(), 2);
    EXPECT_TRUE(sensor->isStateActive(CString("entered-before-hover")));
    EXPECT_TRUE(sensor->isStateActive(CString("hover")));
    EXPECT_TRUE(sensor->getActiveStates()[1] == "hover") << "hover comes after the commands";

    click(area.left + 5, area.top + 5, 1000);
    EXPECT_FALSE(sensor->isStateActive(CString("first")));
    EXPECT_TRUE(sensor->isStateActive(CString("second")));

    send(CNativeWindow::CInputEvent::kMouseMove, 5, 140);
    EXPECT_TRUE(sensor->isStateActive(CString("left-while-hover")));
    EXPECT_FALSE(sensor->isStateActive(CString("hover")));
    EXPECT_FALSE(sensor->isHover());
}

TEST_F(CWindowTest, APressEndsWithACancelWhenTheWindowLosesThePointer)
{
    send(CNativeWindow::CInputEvent::kMouseButton, 20, 20, 1, true, 1000);
    EXPECT_TRUE(screen->isCaptured());
    send(CNativeWindow::CInputEvent::kCaptureLost, 20, 20);
    EXPECT_FALSE(screen->isCaptured());
    // The release that follows belongs to nobody.
    send(CNativeWindow::CInputEvent::kMouseButton, 20, 20, 1, false, 1100);
    EXPECT_EQ(view("panel")->events, (std::vector<std::string>{"mouse-press", "mouse-cancel"}));
}

TEST_F(CWindowTest, ABlockedWindowTakesNoInputUntilItsBlockerGoes)
{
    send(CNativeWindow::CInputEvent::kMouseMove, 20, 20);
    ASSERT_TRUE(view("panel")->isHover());
    // As a command of a view that opens a modal window sends it.
    CAttrMap params;
    ASSERT_EQ(
        test::CErrorText::takeChain(view("panel")->callEventProc(CString("block-window"), params)),
        "");
    EXPECT_TRUE(window->isBlocked());
    EXPECT_NE(view("panel.window-blocker"), nullptr);
    EXPECT_FALSE(view("panel")->isHover()) << "no view stays in hover under a modal window";

    view("panel")->events.clear();
    click(20, 20, 1000);
    send(CNativeWindow::CInputEvent::kMouseMove, 22, 22);
    EXPECT_TRUE(view("panel")->events.empty());

    ASSERT_EQ(test::CErrorText::takeChain(
                  view("panel")->callEventProc(CString("unblock-window"), params)),
              "");
    EXPECT_FALSE(window->isBlocked());
    EXPECT_EQ(view("panel.window-blocker"), nullptr);
    click(20, 20, 5000);
    EXPECT_EQ(view("panel")->events, (std::vector<std::string>{"mouse-press", "mouse-release"}));
}

TEST_F(CWindowTest, AMorphRedrawsTheSectorsOfItsViewAndNothingElse)
{
    static double now = 100.0;
    CViewBaseState::setClockSource([] { return now; });
    CTestView* sensor = view("sensor");
    ASSERT_NE(sensor, nullptr);
    const CLinearBitmap::Rect area = sensor->getViewRect();
    const int size = CSectorMap::kSectorSize;
    const int sectors = ((area.right - 1) / size - area.left / size + 1) *
                        ((area.bottom - 1) / size - area.top / size + 1);
    window->renderStep();
    uint64_t sent = window->getSectorsSent();
    const auto sentByFrame = [&](double at)
    {
        now = at;
        window->renderStep();
        const uint64_t before = sent;
        sent = window->getSectorsSent();
        return static_cast<int>(sent - before);
    };
    EXPECT_EQ(sentByFrame(100.1), 0) << "nothing changed";

    ASSERT_EQ(test::CErrorText::takeMessage(sensor->setState(CString("dim"))), "");
    EXPECT_EQ(sentByFrame(100.2), sectors);
    // The drop counts as running until its end time: its last frame may draw the view once more,
    // never anything else.
    const int atEnd = sentByFrame(101.5);
    EXPECT_TRUE(atEnd == 0 || atEnd == sectors) << atEnd;
    EXPECT_EQ(sentByFrame(101.6), 0) << "the drop is over";

    ASSERT_EQ(test::CErrorText::takeMessage(sensor->unsetState(CString("dim"))), "");
    for (const double at : {101.85, 102.1, 102.35})
    {
        EXPECT_EQ(sentByFrame(at), sectors) << at;
        EXPECT_GT(sensor->getAttrDouble(CString("opacity")), 0.0);
    }
    EXPECT_EQ(sentByFrame(103.0), sectors) << "the last step of the morph";
    EXPECT_DOUBLE_EQ(sensor->getAttrDouble(CString("opacity")), 1.0);
    EXPECT_EQ(sentByFrame(104.0), 0);
    EXPECT_EQ(sectors, 1) << "the sensor lies in one sector: the counts above are that sector";
    CViewBaseState::setClockSource(nullptr);
}

TEST_F(CWindowTest, AnExposedAreaIsSentAgainFromTheSectorsThatMeetIt)
{
    const long long before = screen->getPixelsPresented();
    CNativeWindow::CInputEvent expose;
    expose.kind = CNativeWindow::CInputEvent::kExpose;
    expose.area = {100, 100, 120, 130};
    display.inject(screen, expose);
    display.pump();
    // Two sectors meet it (rows 0 and 1 of column 0): 20 by 28 and 20 by 2 pixels.
    EXPECT_EQ(screen->getPixelsPresented() - before, 20 * 28 + 20 * 2);
    EXPECT_EQ(screen->getLastFlushArea().top, 100);
    EXPECT_EQ(screen->getLastFlushArea().bottom, 130);
}

TEST_F(CWindowTest, APopupOpensBelowItsOpenerAboveItsWindowAndClosesOnAPressElsewhere)
{
    auto* popup = dynamic_cast<CWindow*>(root->findObject(CString("ui.pop.window-renderer")));
    ASSERT_NE(popup, nullptr);
    ASSERT_EQ(test::CErrorText::takeChain(popup->createWindow()), "");
    auto* shown = dynamic_cast<CHeadlessWindow*>(popup->getNativeWindow());
    ASSERT_NE(shown, nullptr);
    // The panel is 10..110 x 10..70 in a window at the screen's origin.
    EXPECT_EQ(shown->getX(), 10);
    EXPECT_EQ(shown->getY(), 70);
    EXPECT_EQ(shown->getOpenParams().transientFor, screen);
    EXPECT_EQ(shown->getOpenParams().parent, nullptr);
    EXPECT_TRUE(shown->getOpenParams().isPopup);

    // A press in the main window closes it.
    click(200, 100, 1000);
    EXPECT_EQ(popup->getNativeWindow(), nullptr);

    // An alignment the window does not know is an error.
    ASSERT_EQ(popup->setAttr(CString("window-alignment"), CAttrValue("sideways")), nullptr);
    EXPECT_NE(test::CErrorText::takeChain(popup->createWindow())
                  .find("Invalid window alignment 'sideways'"),
              std::string::npos);
}

TEST_F(CWindowTest, AnIdleWindowSleepsAndAnyChangeOrInputWakesIt)
{
    // The first frame drew everything; the next one finds nothing and stops the render timer.
    window->renderStep();
    EXPECT_TRUE(window->isRenderSleeping());
    view("panel")->invalidate();
    EXPECT_FALSE(window->isRenderSleeping());
    const int flushes = screen->getFlushCount();
    window->renderStep();
    EXPECT_EQ(screen->getFlushCount(), flushes + 1);
    window->renderStep();
    EXPECT_TRUE(window->isRenderSleeping());
    // A change of the layout wakes it too, before any sector is pending.
    ASSERT_EQ(view("meter")->setAttr(CString("width"), CAttrValue("30")), nullptr);
    EXPECT_FALSE(window->isRenderSleeping());
    window->renderStep();
    EXPECT_EQ(screen->getPicture().getPixel(140, 20), kBlue); // the meter grew to 145
    window->renderStep();
    EXPECT_TRUE(window->isRenderSleeping());
    send(CNativeWindow::CInputEvent::kMouseMove, 5, 5);
    EXPECT_FALSE(window->isRenderSleeping());
}

TEST_F(CWindowTest, KeyFocusTakesTheKeyboardTabsRoundItsGroupAndEndsOnAPressElsewhere)
{
    auto focus = [&](CTestView* target, bool byTab, bool shift = false)
    {
        CAttrMap params;
        params.set(CString("key-focus-view"), CAttrValue(static_cast<void*>(target)));
        params.set(CString("is-tab"), CAttrValue(byTab));
        params.set(CString("is-shift"), CAttrValue(shift));
        return test::CErrorText::takeChain(
            window->callEventProc(CString("change-key-focus"), params));
    };
    ASSERT_FALSE(screen->hasKeyFocus()) << "the host keeps the keyboard until a view asks";
    ASSERT_EQ(focus(view("panel"), false), "");
    EXPECT_EQ(window->getKeyFocusView(), view("panel"));
    EXPECT_TRUE(screen->hasKeyFocus());
    EXPECT_EQ(view("panel")->events, (std::vector<std::string>{"focus"}));
    CNativeWindow::CInputEvent key;
    key.kind = CNativeWindow::CInputEvent::kKeyDown;
    key.keysym = 'a';
    key.character = 'a';
    display.inject(screen, key);
    display.pump();
    EXPECT_EQ(view("panel")->events.back(), "key-press");

    // The group in the order of the tree: panel, meter, holder.inner; Tab goes round it and
    // Shift+Tab goes back.
    ASSERT_EQ(focus(view("panel"), true), "");
    EXPECT_EQ(window->getKeyFocusView(), view("meter"));
    EXPECT_EQ(view("panel")->events.back(), "blur");
    ASSERT_EQ(focus(view("meter"), true), "");
    EXPECT_EQ(window->getKeyFocusView(), view("holder.inner"));
    ASSERT_EQ(focus(view("holder.inner"), true), "");
    EXPECT_EQ(window->getKeyFocusView(), view("panel"));
    ASSERT_EQ(focus(view("panel"), true, true), "");
    EXPECT_EQ(window->getKeyFocusView(), view("holder.inner"));
    EXPECT_TRUE(screen->hasKeyFocus()) << "moving the focus along keeps the keyboard";

    // A press elsewhere ends the focus before the press arrives, and the keyboard goes back.
    view("holder.inner")->events.clear();
    view("sensor")->events.clear();
    const CLinearBitmap::Rect sensor = view("sensor")->getViewRect();
    click(sensor.left + 2, sensor.top + 2, 1000);
    EXPECT_EQ(window->getKeyFocusView(), nullptr);
    EXPECT_FALSE(screen->hasKeyFocus());
    EXPECT_EQ(view("holder.inner")->events, (std::vector<std::string>{"blur"}));
    EXPECT_EQ(view("sensor")->events.front(), "mouse-press") << "the press itself still lands";

    // A view that goes while it holds the keys gives the keyboard back.
    ASSERT_EQ(focus(view("holder.inner"), false), "");
    ASSERT_TRUE(screen->hasKeyFocus());
    CObject::destroyObject(view("holder.inner"));
    EXPECT_EQ(window->getKeyFocusView(), nullptr);
    EXPECT_FALSE(screen->hasKeyFocus());
}
