// States of a view: how the active states make its attributes and colour row, the eased morphs of
// opacity and size on a clock the test drives, and when the view listens to its window's frames.
#include "Core/CApplication.h"
#include "Core/CNotifyServer.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/CUiCreators.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CView.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using namespace kel;

namespace
{

constexpr double kPi = 3.14159265358979323846;

double testNow = 0.0;
double testClock()
{
    return testNow;
}

class CViewBaseStateTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        CApplication::addCreatorRegistration(&CUiCreators::registerAll);
        CApplication::init(resources::kResourceTable, "");
        CUiScale::set(1.0);
    }

    void SetUp() override
    {
        CViewBaseState::setClockSource(&testClock);
        testNow = 100.0;
    }
    void TearDown() override
    {
        CObject::destroyObject(root);
        CViewBaseState::setClockSource(nullptr);
    }

    // A root view whose window is the plain object "frames" (the test sends its "render"), with
    // one child view "box" and what the test adds under it.
    CTreeBlobWriter::Node& makeBox(CTreeBlobWriter::Node& tree)
    {
        CTreeBlobWriter::Node& ui = tree.add("ui:ui-event-bridge", "ui");
        ui.add("test:frames", "frames");
        CTreeBlobWriter::Node& win = ui.add("ui:view", "win");
        win.attr("is-root-view", "true").attr("width", "300").attr("height", "150");
        win.attr("window", "ui.frames");
        return win.add("ui:view", "box").attr("width", "100").attr("height", "50");
    }
    void load(const CTreeBlobWriter::Node& tree)
    {
        blob = CTreeBlobWriter::write(tree);
        root = new CObject();
        ASSERT_EQ(
            test::CErrorText::takeMessage(root->loadFromMemory(blob.data(), blob.size(), true)),
            "");
        box = dynamic_cast<CView*>(root->findObject(CString("ui.win.box")));
        ASSERT_NE(box, nullptr);
    }
    bool isListening() const
    {
        return CApplication::getNotifyServer().hasListeners(root->findObject(CString("ui.frames")),
                                                            CString("render"));
    }
    // One frame of the window at the given time.
    void frameAt(double now)
    {
        testNow = now;
        CAttrMap params;
        ASSERT_EQ(test::CErrorText::takeMessage(
                      root->findObject(CString("ui.frames"))->sendEvent(CString("render"), params)),
                  "");
    }
    double attrDouble(const char* name) const { return box->getAttrDouble(CString(name)); }
    std::string attrText(const char* name) const
    {
        return test::CUtf8::of(box->getAttrString(CString(name), CString()));
    }
    void set(const char* names)
    {
        ASSERT_EQ(test::CErrorText::takeMessage(box->setState(CString(names))), "");
    }
    void unset(const char* names)
    {
        ASSERT_EQ(test::CErrorText::takeMessage(box->unsetState(CString(names))), "");
    }

    std::vector<uint8_t> blob;
    CObject* root = nullptr;
    CView* box = nullptr;
};

} // namespace

TEST_F(CViewBaseStateTest, FallingOpacityDropsAtOnceAndRisingOpacityEases)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& node = makeBox(tree);
    // The view's own morph-duration serves the way back, when "hide" no longer counts.
    node.attr("opacity", "1").attr("morph-duration", "1");
    node.add("ui:view-state", "hide").attr("state-name", "hide").attr("opacity", "0");
    node.add("ui:view-command", "ready")
        .attr("on-event", "state-ready")
        .attr("toggle-state", "was-ready");
    load(tree);
    EXPECT_FALSE(isListening());

    set("hide");
    EXPECT_DOUBLE_EQ(attrDouble("opacity"), 0.0);
    // Down at once, but the morph waits for its end time before it counts as over.
    EXPECT_TRUE(box->isAttrMorphRunning());
    EXPECT_TRUE(isListening());
    frameAt(100.5);
    EXPECT_DOUBLE_EQ(attrDouble("opacity"), 0.0);
    EXPECT_FALSE(box->isStateActive(CString("was-ready")));
    frameAt(101.0);
    EXPECT_FALSE(box->isAttrMorphRunning());
    EXPECT_FALSE(isListening());
    EXPECT_TRUE(box->isStateActive(CString("was-ready")));

    testNow = 200.0;
    unset("hide");
    EXPECT_DOUBLE_EQ(attrDouble("opacity"), 0.0);
    EXPECT_TRUE(isListening());
    frameAt(200.25);
    EXPECT_NEAR(attrDouble("opacity"), 0.5 * (1.0 + std::sin(-kPi / 4.0)), 1e-4);
    frameAt(200.5);
    EXPECT_NEAR(attrDouble("opacity"), 0.5, 1e-4);
    // A change that leaves the target alone doesn't restart the morph on its way.
    set("unrelated");
    frameAt(200.75);
    EXPECT_NEAR(attrDouble("opacity"), 0.5 * (1.0 + std::sin(kPi / 4.0)), 1e-4);
    EXPECT_TRUE(isListening());
    // Frames late past the end: the target exactly, and state-ready a second time.
    frameAt(203.0);
    EXPECT_DOUBLE_EQ(attrDouble("opacity"), 1.0);
    EXPECT_DOUBLE_EQ(box->getMorph(0).current, 1.0);
    EXPECT_TRUE(box->getMorph(0).isDone);
    EXPECT_FALSE(isListening());
    EXPECT_FALSE(box->isStateActive(CString("was-ready")));
}

TEST_F(CViewBaseStateTest, SizeMorphsKeepTheirFormOrEndAtOnce)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& node = makeBox(tree);
    node.attr("width", "50%");
    node.add("ui:view-state", "wide")
        .attr("state-name", "wide")
        .attr("width", "70%")
        .attr("morph-duration", "2");
    node.add("ui:view-state", "fixed")
        .attr("state-name", "fixed")
        .attr("width", "80")
        .attr("morph-duration", "2");
    load(tree);

    set("wide");
    EXPECT_EQ(attrText("width"), "50.0000%");
    frameAt(101.0);
    EXPECT_EQ(attrText("width"), "60.0000%");
    frameAt(102.0);
    EXPECT_EQ(attrText("width"), "70.0000%");
    EXPECT_FALSE(isListening());

    // "70%" and "80" can't be compared: the new width is in place within the call.
    set("fixed");
    EXPECT_DOUBLE_EQ(attrDouble("width"), 80.0);
    EXPECT_TRUE(box->getMorph(1).isDone);
    EXPECT_FALSE(box->getMorph(1).isPercent);
    EXPECT_FALSE(isListening());
    // And back to the view's own "50%" the same way.
    unset("fixed wide");
    EXPECT_EQ(attrText("width"), "50.0000%");
    EXPECT_FALSE(isListening());
}

TEST_F(CViewBaseStateTest, WithoutMorphDurationTheValueAndStateReadyComeInTheSameCall)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& node = makeBox(tree);
    node.attr("opacity", "0.2");
    node.add("ui:view-state", "show").attr("state-name", "show").attr("opacity", "1");
    node.add("ui:view-state", "slow").attr("state-name", "slow").attr("duration", "0.5");
    node.add("ui:view-command", "ready")
        .attr("on-event", "state-ready")
        .attr("condition-state-set", "show")
        .attr("set-state", "shown");
    load(tree);

    set("show");
    EXPECT_DOUBLE_EQ(attrDouble("opacity"), 1.0);
    EXPECT_TRUE(box->isStateActive(CString("shown")));
    EXPECT_FALSE(isListening());

    // With a duration and nothing to morph, state-ready waits for the duration.
    unset("shown show");
    set("slow show");
    EXPECT_FALSE(box->isStateActive(CString("shown")));
    EXPECT_TRUE(isListening());
    frameAt(100.4);
    EXPECT_FALSE(box->isStateActive(CString("shown")));
    frameAt(100.5);
    EXPECT_TRUE(box->isStateActive(CString("shown")));
    // Setting "shown" was a change that lasts "duration" again: one more state-ready, which
    // changes nothing, and the view lets the window sleep.
    EXPECT_TRUE(isListening());
    frameAt(101.0);
    EXPECT_FALSE(isListening());
}

TEST_F(CViewBaseStateTest, ColorStatesAddUpAndSlashReplaces)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& node = makeBox(tree);
    node.attr("tick-opacity", "0.9");
    node.add("ui:view-state", "active")
        .attr("state-name", "active")
        .attr("color-state", "Active")
        .attr("tick-opacity", "0.3");
    node.add("ui:view-state", "hover").attr("state-name", "hover").attr("color-state", "Hover");
    node.add("ui:view-state", "pushed").attr("state-name", "pushed").attr("color-state", "/Hover");
    node.add("ui:view-state", "range")
        .attr("state-name", "range")
        .attr("image-set-range", "pressed");
    load(tree);

    set("active hover");
    EXPECT_EQ(test::CUtf8::of(box->getColorState()), "ActiveHover");
    EXPECT_EQ(attrText("tick-opacity"), "0.3");
    // The order of activation decides: "/Hover" drops what came before it, not what follows.
    set("pushed");
    EXPECT_EQ(test::CUtf8::of(box->getColorState()), "Hover");
    unset("hover pushed");
    set("pushed hover");
    EXPECT_EQ(test::CUtf8::of(box->getColorState()), "HoverHover");
    unset("pushed hover");
    EXPECT_EQ(test::CUtf8::of(box->getColorState()), "Active");
    EXPECT_EQ(test::CUtf8::of(box->getPreviousColorState()), "HoverHover");
    EXPECT_DOUBLE_EQ(box->getColorMorphPosition(), 1.0);

    // Setting an active state again evaluates nothing: the value set from outside stays.
    ASSERT_EQ(
        test::CErrorText::takeMessage(box->setAttr(CString("tick-opacity"), CAttrValue("0.7"))),
        "");
    set("active");
    EXPECT_EQ(attrText("tick-opacity"), "0.7");
    // A state that isn't declared is listed but changes nothing; the evaluation it causes
    // applies the states again.
    set("ghost");
    EXPECT_TRUE(box->isStateActive(CString("ghost")));
    EXPECT_EQ(test::CUtf8::of(box->getColorState()), "Active");
    EXPECT_EQ(attrText("tick-opacity"), "0.3");
    // Unset, the view's own value returns.
    unset("active");
    EXPECT_EQ(attrText("tick-opacity"), "0.9");
    EXPECT_EQ(test::CUtf8::of(box->getColorState()), "");

    set("range");
    EXPECT_EQ(test::CUtf8::of(box->getImageSetRange()), "pressed");
    unset("range");
    EXPECT_EQ(test::CUtf8::of(box->getImageSetRange()), "");
}

TEST_F(CViewBaseStateTest, ColorChangeEasesOverTheMorphDuration)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& node = makeBox(tree);
    node.add("ui:view-state", "hover")
        .attr("state-name", "hover")
        .attr("color-state", "Hover")
        .attr("morph-duration", "1");
    load(tree);

    set("hover");
    EXPECT_EQ(test::CUtf8::of(box->getColorState()), "Hover");
    EXPECT_TRUE(box->isColorMorphRunning());
    EXPECT_DOUBLE_EQ(box->getColorMorphPosition(), 0.0);
    EXPECT_TRUE(isListening());
    frameAt(100.5);
    EXPECT_NEAR(box->getColorMorphPosition(), 0.5, 1e-9);
    // 0.95 and above counts as there.
    frameAt(100.86);
    EXPECT_DOUBLE_EQ(box->getColorMorphPosition(), 1.0);
    EXPECT_FALSE(box->isColorMorphRunning());
    EXPECT_FALSE(isListening());
}

TEST_F(CViewBaseStateTest, StatesSetBeforeInitAreAppliedByTheFirstEvaluation)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& node = makeBox(tree);
    // "state" is read while the view's children do not exist yet.
    node.attr("state", "active|other").attr("opacity", "1");
    node.add("ui:view-state", "active")
        .attr("state-name", "active")
        .attr("color-state", "Active")
        .attr("opacity", "0.5")
        .attr("morph-duration", "3");
    load(tree);

    EXPECT_EQ(test::CUtf8::of(box->getColorState()), "Active");
    EXPECT_DOUBLE_EQ(attrDouble("opacity"), 0.5);
    EXPECT_FALSE(box->isColorMorphRunning());
    EXPECT_FALSE(isListening());
    EXPECT_TRUE(box->isStateActive(CString("other")));
}

TEST_F(CViewBaseStateTest, DestroyedViewStopsListening)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& node = makeBox(tree);
    node.add("ui:view-state", "hide")
        .attr("state-name", "hide")
        .attr("opacity", "0.5")
        .attr("morph-duration", "1");
    node.attr("opacity", "0");
    load(tree);
    set("hide");
    EXPECT_TRUE(isListening());
    CObject::destroyObject(box);
    box = nullptr;
    EXPECT_FALSE(isListening());
    frameAt(100.5);
}
