// The view-state switch: attributes and states of its targets follow a parameter, its union
// hears it, and its init failures.
#include "UI/Params/CParamTestFixture.h"
#include "UI/Views/CViewStateSwitch.h"

namespace kel
{
namespace paramtest
{
namespace
{

class CViewStateSwitchTest : public CParamTest
{
protected:
    // A panel with two views and a switch on the offline parameter over both; attrs overrides
    // the switch's attributes.
    std::string makeSwitch(const std::vector<std::pair<const char*, const char*>>& attrs = {})
    {
        return makeWindow(
            [&](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
            {
                auto& panel = uiNode.add("test:param-control", "panel");
                panel.attr("is-root-view", "true").attr("width", "100").attr("height", "50");
                panel.add("ui:view", "frame").attr("width", "10").attr("height", "10");
                panel.add("ui:view", "meter").attr("width", "10").attr("height", "10");
                uiNode.add("test:switch-union", "union");
                auto& node = uiNode.add("ui:view-state-switch", "switch");
                node.attr("target", "^panel.frame ^panel.meter")
                    .attr("value", "1")
                    .attr("active-attrs", "is-hidden=true tip=offline")
                    .attr("inactive-attrs", "is-hidden=false")
                    .attr("tag1", "offline")
                    .attr("union", "^union")
                    .attr("union-id", "7");
                for (const auto& [name, value] : attrs)
                    node.attr(name, value);
                node.add("ui:ui-param", "ui-param").attr("bridge", "ui.offline-bridge");
            });
    }

    void setOffline(double value) { setLive("host-offline", value); }

    std::string attrOf(const char* path, const char* name)
    {
        return test::CUtf8::of(find<CObject>(path)->getAttrString(CString(name), CString("-")));
    }
};

TEST_F(CViewStateSwitchTest, TargetsFollowTheParameterAcrossTheValue)
{
    CTestSwitchUnion::log().clear();
    ASSERT_EQ(makeSwitch(), "");
    auto* frame = find<CViewBaseState>("ui.panel.frame");
    auto* stateSwitch = find<CViewStateSwitch>("ui.switch");
    EXPECT_EQ(stateSwitch->getTargetCount(), 2);
    EXPECT_FALSE(stateSwitch->isActive());
    EXPECT_EQ(attrOf("ui.panel.frame", "is-hidden"), "false");
    EXPECT_EQ(attrOf("ui.panel.meter", "is-hidden"), "false");
    EXPECT_FALSE(frame->isStateActive(CString("offline")));

    setOffline(1.0);
    EXPECT_EQ(pump(), "");
    EXPECT_TRUE(stateSwitch->isActive());
    EXPECT_EQ(attrOf("ui.panel.frame", "is-hidden"), "true");
    EXPECT_EQ(attrOf("ui.panel.meter", "is-hidden"), "true");
    EXPECT_EQ(attrOf("ui.panel.meter", "tip"), "offline");
    EXPECT_TRUE(frame->isStateActive(CString("offline")));

    setOffline(0.0);
    EXPECT_EQ(pump(), "");
    EXPECT_FALSE(stateSwitch->isActive());
    EXPECT_EQ(attrOf("ui.panel.frame", "is-hidden"), "false");
    EXPECT_FALSE(frame->isStateActive(CString("offline")));

    CObject::destroyObject(ui);
    ui = nullptr;
    EXPECT_EQ(CTestSwitchUnion::log(),
              (std::vector<std::string>{"register 7 off", "update 7 on", "update 7 off",
                                        "unregister 7 off"}));
}

TEST_F(CViewStateSwitchTest, InitFailuresAreReportedWithTheirMessages)
{
    const struct
    {
        std::vector<std::pair<const char*, const char*>> attrs;
        const char* message;
    } cases[] = {
        {{{"target", " "}}, "No target views specified."},
        {{{"target", "^panel.frame ^panel.nowhere"}}, "Unable to locate target view."},
        {{{"target", "^union"}}, "Unable to locate target view."},
        {{{"active-attrs", "is-hidden"}}, "Invalid active-attrs syntax."},
        {{{"inactive-attrs", "=false"}}, "Invalid inactive-attrs syntax."},
        {{{"union", "^no-union"}}, "View disabler union object not found."},
        {{{"union-id", "seven"}}, "Invalid ID of view disabler."},
    };
    for (const auto& c : cases)
    {
        EXPECT_EQ(makeSwitch(c.attrs), c.message);
        CObject::destroyObject(ui);
        ui = nullptr;
    }
}

} // namespace
} // namespace paramtest
} // namespace kel
