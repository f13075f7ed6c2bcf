// Commands of a view: their order and conditions, the events they send, the states and attributes
// they change, and the objects of this family that refuse a parent that is no view.
#include "Core/CApplication.h"
#include "Core/CDebugChannel.h"
#include "Core/CGlobalData.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"
#include "Support/CTempFolder.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/CUiCreators.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CView.h"
#include "UI/Views/CViewCommand.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace kel;

namespace
{

// Notes the parameters of each "ping" it gets.
class CPingTarget : public CObject
{
public:
    static void registerClass(CClassInfo& info)
    {
        CObject::registerClass(info);
        info.addEventProc<CPingTarget>("ping", &CPingTarget::onPing);
    }

    std::vector<CAttrMap> pings;

private:
    CError* onPing(const CAttrMap& params)
    {
        pings.push_back(params);
        return nullptr;
    }
};

std::vector<std::string>& logLines()
{
    static std::vector<std::string> lines;
    return lines;
}

class CViewCommandTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        CApplication::addCreatorRegistration(&CUiCreators::registerAll);
        CApplication::addCreatorRegistration(
            []() -> CError*
            {
                static const CCreatorRow rows[] = {CCreatorRow::of<CPingTarget>("test:ping")};
                return CObject::registerCreators(rows, 1);
            });
        CApplication::init(resources::kResourceTable, "");
        CUiScale::set(1.0);
    }

    void SetUp() override
    {
        CGlobalData::get().useFolders(CString(temp.path().c_str()), CString());
    }
    void TearDown() override
    {
        CObject::destroyObject(root);
        CGlobalData::get().reset();
    }

    // Loads tree; answers the message of the error it gave, empty for none.
    std::string load(const CTreeBlobWriter::Node& tree)
    {
        blob = CTreeBlobWriter::write(tree);
        root = new CObject();
        return test::CErrorText::takeMessage(root->loadFromMemory(blob.data(), blob.size(), true));
    }
    // A window's root view "win" with a view "box" and a view "other" under it, a ping target,
    // a holder of a flag and a shared attribute beside it.
    CTreeBlobWriter::Node& makeBox(CTreeBlobWriter::Node& tree)
    {
        CTreeBlobWriter::Node& ui = tree.add("ui:ui-event-bridge", "ui");
        ui.add("test:ping", "target");
        ui.add("test:plain", "flags").attr("is-on", "false");
        ui.add("core:shared-attribute", "tablet")
            .attr("attribute", "tablet-mode")
            .attr("def-value", "false")
            .attr("data-name", "view-command-test-tablet-mode");
        CTreeBlobWriter::Node& win = ui.add("ui:view", "win");
        win.attr("is-root-view", "true").attr("width", "300").attr("height", "150");
        win.add("ui:view", "other")
            .add("ui:view-state", "active")
            .attr("state-name", "active")
            .attr("tick-opacity", "0.4");
        return win.add("ui:view", "box");
    }
    CView* view(const char* name) const
    {
        return dynamic_cast<CView*>(root->findObject(CString("ui.win.") + CString(name)));
    }
    void run(const char* eventName, const CAttrMap& params = CAttrMap())
    {
        ASSERT_EQ(
            test::CErrorText::takeMessage(view("box")->runCommands(CString(eventName), params)),
            "");
    }
    bool isActive(const char* viewName, const char* stateName) const
    {
        return view(viewName)->isStateActive(CString(stateName));
    }

    test::CTempFolder temp{"kel-view-command"};
    std::vector<uint8_t> blob;
    CObject* root = nullptr;
};

} // namespace

TEST_F(CViewCommandTest, CommandsOfOneEventRunInCreationOrderPastASkippedOne)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& box = makeBox(tree);
    box.add("ui:view-command", "first")
        .attr("on-event", "poke")
        .attr("condition-state-set", "armed")
        .attr("set-state", "by-first");
    box.add("ui:view-command", "arm").attr("on-event", "poke").attr("toggle-state", "armed");
    box.add("ui:view-command", "third")
        .attr("on-event", "poke")
        .attr("condition-state-set", "armed")
        .attr("set-state", "by-third");
    box.add("ui:view-command", "unarmed")
        .attr("on-event", "poke")
        .attr("condition-state-unset", "armed")
        .attr("toggle-attr", "is-on")
        .attr("toggle-attr-target", "ui.flags");
    // Without on-event a command is filed nowhere.
    box.add("ui:view-command", "idle").attr("set-state", "by-idle");
    ASSERT_EQ(load(tree), "");
    CObject* flags = root->findObject(CString("ui.flags"));

    run("poke");
    EXPECT_FALSE(isActive("box", "by-first"));
    EXPECT_TRUE(isActive("box", "armed"));
    EXPECT_TRUE(isActive("box", "by-third"));
    EXPECT_FALSE(flags->getAttrBool(CString("is-on")));

    run("poke");
    EXPECT_TRUE(isActive("box", "by-first"));
    EXPECT_FALSE(isActive("box", "armed"));
    EXPECT_TRUE(flags->getAttrBool(CString("is-on")));
    run("poke");
    run("poke");
    EXPECT_FALSE(flags->getAttrBool(CString("is-on")));
    EXPECT_FALSE(isActive("box", "by-idle"));

    // A destroyed command leaves its event's list; the others still run.
    ASSERT_EQ(
        test::CErrorText::takeMessage(view("box")->unsetState(CString("by-first by-third armed"))),
        "");
    CObject::destroyObject(root->findObject(CString("ui.win.box.arm")));
    run("poke");
    run("poke");
    EXPECT_FALSE(isActive("box", "armed"));
    EXPECT_FALSE(isActive("box", "by-first"));
    EXPECT_FALSE(isActive("box", "by-third"));
}

TEST_F(CViewCommandTest, RunEventCarriesForwardedAndListedParams)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& box = makeBox(tree);
    CTreeBlobWriter::Node& send = box.add("ui:view-command", "send");
    send.attr("on-event", "mouse-press")
        .attr("run-event", "ping")
        .attr("run-event-target", "ui.target")
        .attr("run-event-forward-params", "value  absent")
        .attr("run-event-params", "extra");
    send.add("test:plain", "extra").attr("mode", "fast");
    // An event the target has no procedure for reaches the commands of a view.
    CTreeBlobWriter::Node& remote = box.add("ui:view-command", "remote");
    remote.attr("on-event", "mouse-release")
        .attr("run-event", "set-state")
        .attr("run-event-target", "^other")
        .attr("run-event-forward-params", "state");
    box.add("ui:view-command", "relay")
        .attr("on-event", "mouse-wheel")
        .attr("run-event", "poke")
        .attr("run-event-target", "^other");
    ASSERT_EQ(load(tree), "");
    auto* target = dynamic_cast<CPingTarget*>(root->findObject(CString("ui.target")));
    ASSERT_NE(target, nullptr);

    CAttrMap params;
    params.set(CString("value"), CAttrValue(7));
    params.set(CString("other"), CAttrValue("no"));
    run("mouse-press", params);
    ASSERT_EQ(target->pings.size(), 1u);
    const CAttrMap& ping = target->pings[0];
    ASSERT_NE(ping.find(CString("value")), nullptr);
    EXPECT_EQ(ping.find(CString("value"))->getInt(), 7);
    EXPECT_EQ(ping.find(CString("absent")), nullptr);
    EXPECT_EQ(ping.find(CString("other")), nullptr);
    ASSERT_NE(ping.find(CString("mode")), nullptr);
    EXPECT_EQ(test::CUtf8::of(ping.find(CString("mode"))->getString()), "fast");
    EXPECT_EQ(test::CUtf8::of(ping.find(CString("sender"))->getString()), "ui.win.box");

    CAttrMap stateParams;
    stateParams.set(CString("state"), CAttrValue("active"));
    run("mouse-release", stateParams);
    EXPECT_TRUE(isActive("other", "active"));
    EXPECT_EQ(test::CUtf8::of(view("other")->getAttrString(CString("tick-opacity"))), "0.4");
    // "other" has no commands of "poke": nothing happens, nothing fails.
    run("mouse-wheel");
}

TEST_F(CViewCommandTest, MissingTargetIsLoggedAndTheCommandGoesOn)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& box = makeBox(tree);
    box.add("ui:view-command", "lost")
        .attr("on-event", "poke")
        .attr("run-event", "ping")
        .attr("run-event-target", "ui.nobody")
        .attr("set-state", "went-on")
        .attr("toggle-attr", "is-on")
        .attr("toggle-attr-target", "ui.nowhere");
    box.add("ui:view-command", "next").attr("on-event", "poke").attr("set-state", "next-ran");
    ASSERT_EQ(load(tree), "");

    logLines().clear();
    CDebugChannel::setEnabled(true);
    CDebugChannel::setSink([](const char* line, void*) { logLines().push_back(line); }, nullptr);
    run("poke");
    CDebugChannel::setSink(nullptr, nullptr);
    CDebugChannel::setEnabled(false);
    EXPECT_TRUE(isActive("box", "went-on"));
    EXPECT_TRUE(isActive("box", "next-ran"));
    if (CDebugChannel::isCompiledIn())
    {
        ASSERT_EQ(logLines().size(), 2u);
        EXPECT_EQ(logLines()[0], "Target not found: 'ui.nobody' // ui.win.box.lost");
        EXPECT_EQ(logLines()[1], "Target not found: 'ui.nowhere' // ui.win.box.lost");
    }
}

TEST_F(CViewCommandTest, StateTargetAndSharedAttributeReset)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& box = makeBox(tree);
    box.add("ui:view-command", "on")
        .attr("on-event", "poke")
        .attr("toggle-state", "active")
        .attr("state-target", "^other")
        .attr("reset-shared-attr", "ui.tablet");
    box.add("ui:view-command", "both")
        .attr("on-event", "both")
        .attr("set-state", "a b")
        .attr("unset-state", "a");
    ASSERT_EQ(load(tree), "");
    CObject* tablet = root->findObject(CString("ui.tablet"));
    ASSERT_EQ(
        test::CErrorText::takeMessage(tablet->setAttr(CString("tablet-mode"), CAttrValue("true"))),
        "");

    run("poke");
    EXPECT_TRUE(isActive("other", "active"));
    EXPECT_FALSE(isActive("box", "active"));
    EXPECT_FALSE(tablet->getAttrBool(CString("tablet-mode")));
    run("poke");
    EXPECT_FALSE(isActive("other", "active"));

    // set-state before unset-state within one command.
    run("both");
    EXPECT_FALSE(isActive("box", "a"));
    EXPECT_TRUE(isActive("box", "b"));
}

TEST_F(CViewCommandTest, EachFamilyMemberWantsAViewAsParent)
{
    struct Case
    {
        const char* tag;
        const char* attrName;
        const char* attrValue;
        const char* message;
    };
    const Case cases[] = {
        {"ui:view-state", "state-name", "hover", "Parent object is not a view."},
        {"ui:view-command", "on-event", "poke", "Parent object is not a view."},
        {"ui:view-color-slot", "slot-index", "1", "Parent object is not a view."},
    };
    for (const Case& one : cases)
    {
        CTreeBlobWriter::Node tree;
        tree.add("test:plain", "holder").add(one.tag, "child").attr(one.attrName, one.attrValue);
        EXPECT_EQ(load(tree), one.message) << one.tag;
        CObject::destroyObject(root);
        root = nullptr;
    }

    CTreeBlobWriter::Node tree;
    makeBox(tree).add("ui:view-state", "nameless").attr("opacity", "0");
    EXPECT_EQ(load(tree), "State name is empty.");
}

TEST_F(CViewCommandTest, ColorSlotRenamesOneSlotOfItsView)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& box = makeBox(tree);
    box.attr("color", "Button").attr("color-slots", ".|Outer|Inner");
    box.add("ui:view-color-slot", "slot").attr("slot-index", "2").attr("color", "Indicator");
    box.add("ui:view-color-slot", "far").attr("slot-index", "4").attr("color", "Far");
    ASSERT_EQ(load(tree), "");
    EXPECT_EQ(view("box")->getColors().getSlotCount(), 5);
}
