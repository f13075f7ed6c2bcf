// Buttons made from the product's template on the headless screen, pressed through the window:
// when the release commands run and when they don't, the disabled and the right button, the
// bindings of the active state (shared attribute, parameter with its undo step), the label's
// move under the press, list titles and the A/B display.
#include "Core/CSharedAttribute.h"
#include "UI/Controls/CButton.h"
#include "UI/Controls/CButtonAB.h"
#include "UI/Controls/CButtonTreeTest.h"
#include "UI/Controls/CTextView.h"
#include "UI/Params/CParamTestFixture.h"
#include "Support/CUtf8.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

using namespace kel;

namespace
{

class CButtonTest : public test::CButtonTreeTest
{
protected:
    void SetUp() override
    {
        CTreeBlobWriter::Node tree;
        makeWindowTree(tree, 480, 60);
        CTreeBlobWriter::Node& ui = *tree.children.front();
        ui.add("core:object", "flags").attr("go", "false").attr("right", "false");
        ui.add("core:object", "local-data")
            .add("core:shared-attribute", "flag")
            .attr("attribute", "is-on")
            .attr("is-global", "false")
            .attr("def-value", "false")
            .attr("data-name", "button-test-flag");
        CTreeBlobWriter::Node& items = ui.add("ui:value-list-manual", "items");
        for (const char* text : {"Low", "High"})
            items.add("ui:textview-p").add("content").attr("value", text);
        ui.add("ui:value-list-manual", "no-items");

        openTree(tree);
        // The buttons are made from the run-time templates, as the selectors make theirs. A
        // release of "go" flips ui.flags go; "right" flips ui.flags right by either button.
        CButton* made = makeButton("go");
        addCommand(made, {{"on-event", "mouse-release"}, {"toggle-attr", "go"}});
        made = makeButton("off", {{"is-disabled", "true"}});
        addCommand(made, {{"on-event", "mouse-release"}, {"toggle-attr", "go"}});
        made = makeButton("right", {{"is-right-click-allowed", "true"}});
        addCommand(made, {{"on-event", "mouse-release"}, {"toggle-attr", "right"}});
        addCommand(made, {{"on-event", "mouse-release-r"}, {"toggle-attr", "right"}});
        made = makeButton("toggle", {{"shared-attribute", "ui.local-data.flag"}});
        addCommand(made, {{"on-event", "mouse-release"},
                          {"toggle-attr", "is-active"},
                          {"toggle-attr-target", "."}});
        made = makeButton(
            "ab", {{"image-set", "shared::is.buttonab"}, {"color", "ButtonAB"}, {"title", ""}},
            "ui:button-ab");
        addCommand(made, {{"on-event", "mouse-release"},
                          {"toggle-attr", "is-active"},
                          {"toggle-attr-target", "."}});
        makeButton("listed", {{"item-list", "ui.items"}, {"selected-item", "1"}});
        makeButton("unlisted", {{"item-list", "ui.no-items"}});
        window->renderStep();
    }

    using CAttrs = std::vector<std::pair<const char*, const char*>>;
    CButton* makeButton(const char* name, const CAttrs& attrs = {},
                        const char* templateName = "ui:button")
    {
        CAttrMap params;
        params.set(CString("width"), CAttrValue("60"));
        params.set(CString("height"), CAttrValue("22"));
        params.set(CString("title"), CAttrValue(name));
        for (const auto& [key, value] : attrs)
            params.set(CString(key), CAttrValue(value));
        CButton* made = nullptr;
        CError* error = find<CObject>("ui.win")->createChild(CString(templateName), CString(name),
                                                             made, &params);
        EXPECT_EQ(error, nullptr) << test::CErrorText::takeChain(error);
        return made;
    }
    void addCommand(CButton* owner, CAttrs attrs)
    {
        if (!owner)
            return;
        CAttrMap params;
        params.set(CString("toggle-attr-target"), CAttrValue("ui.flags"));
        for (const auto& [key, value] : attrs)
            params.set(CString(key), CAttrValue(value));
        CObject* command = nullptr;
        CError* error =
            owner->createChild(CString("ui:view-command"), CString("command"), command, &params);
        EXPECT_EQ(error, nullptr) << test::CErrorText::takeChain(error);
    }

    CButton* button(const char* name) const { return find<CButton>(std::string("ui.win.") + name); }
    bool flag(const char* name) const
    {
        return find<CObject>("ui.flags")->getAttrBool(CString(name), false);
    }
    std::string shared() const
    {
        return test::CUtf8::of(
            find<CObject>("ui.local-data.flag")->getAttrString(CString("is-on")));
    }
    void press(CButton* view, int which = 1)
    {
        moveTo(centerX(view), centerY(view));
        CButtonTreeTest::button(centerX(view), centerY(view), true, which);
    }
    void release(int x, int y, int which = 1) { CButtonTreeTest::button(x, y, false, which); }
};

TEST_F(CButtonTest, OnlyAPressReleasedOverTheButtonRunsItsCommands)
{
    CButton* go = button("go");
    const int x = centerX(go);
    const int y = centerY(go);
    const int outsideY = go->getViewRect().bottom + 10;

    press(go);
    EXPECT_TRUE(go->isPushed());
    EXPECT_FALSE(flag("go")) << "a press alone does nothing";
    release(x, y);
    EXPECT_FALSE(go->isPushed());
    EXPECT_TRUE(flag("go"));

    // Out with the press held: neither hover nor pushed; back in: both; released outside.
    press(go);
    moveTo(x, outsideY);
    EXPECT_FALSE(go->isPushed());
    EXPECT_FALSE(go->isStateActive(CString("hover")));
    moveTo(x, y);
    EXPECT_TRUE(go->isPushed());
    EXPECT_TRUE(go->isStateActive(CString("hover")));
    moveTo(x, outsideY);
    release(x, outsideY);
    EXPECT_FALSE(go->isPushed());
    EXPECT_TRUE(flag("go")) << "released outside: no command";

    // The window loses the pointer during a press: the press is cancelled.
    press(go);
    CNativeWindow::CInputEvent lost;
    lost.kind = CNativeWindow::CInputEvent::kCaptureLost;
    inject(lost);
    EXPECT_FALSE(go->isPushed());
    release(x, y);
    EXPECT_TRUE(flag("go")) << "a cancelled press runs nothing";
}

TEST_F(CButtonTest, DisabledButtonIgnoresTheMouseAndDrawsInTheDisabledRole)
{
    CButton* off = button("off");
    EXPECT_EQ(test::CUtf8::of(off->getColors().getRootName()), "/Disabled");
    EXPECT_EQ(test::CUtf8::of(off->getLabel()->getColors().getRootName()), "/DisabledText");
    click(off);
    EXPECT_FALSE(flag("go"));
    EXPECT_FALSE(off->isPushed());
    EXPECT_FALSE(off->isStateActive(CString("hover")));

    ASSERT_EQ(
        test::CErrorText::takeMessage(off->setAttr(CString("is-disabled"), CAttrValue(false))), "");
    EXPECT_EQ(test::CUtf8::of(off->getColors().getRootName()), "Button");
    EXPECT_EQ(test::CUtf8::of(off->getLabel()->getColors().getRootName()), "ButtonText");
    // Away and back, so that the window hands the pointer to it again.
    moveTo(0, 59);
    click(off);
    EXPECT_TRUE(flag("go"));
}

TEST_F(CButtonTest, RightButtonActsOnlyWhereItIsAllowed)
{
    CButton* go = button("go");
    press(go, 3);
    EXPECT_FALSE(go->isPushed());
    release(centerX(go), centerY(go), 3);
    EXPECT_FALSE(flag("go"));

    CButton* right = button("right");
    press(right, 3);
    EXPECT_TRUE(right->isPushed());
    release(centerX(right), centerY(right), 3);
    EXPECT_FALSE(right->isPushed());
    EXPECT_TRUE(flag("right"));
}

TEST_F(CButtonTest, ToggleWritesItsSharedAttributeAndFollowsIt)
{
    CButton* toggle = button("toggle");
    auto* attribute = find<CSharedAttribute>("ui.local-data.flag");
    // The store outlives the tree: start from a known value.
    ASSERT_EQ(
        test::CErrorText::takeMessage(attribute->setAttr(CString("is-on"), CAttrValue("false"))),
        "");
    EXPECT_FALSE(toggle->isActive());
    click(toggle);
    EXPECT_TRUE(toggle->isActive());
    EXPECT_EQ(shared(), "true");
    click(toggle);
    EXPECT_FALSE(toggle->isActive());
    EXPECT_EQ(shared(), "false");

    // Written elsewhere: the button shows it.
    ASSERT_EQ(
        test::CErrorText::takeMessage(attribute->setAttr(CString("is-on"), CAttrValue("true"))),
        "");
    EXPECT_TRUE(toggle->isActive());
    // Hovered and active: the colour row is the one the palettes name.
    EXPECT_EQ(test::CUtf8::of(toggle->getColorState()), "ActiveHover");
}

TEST_F(CButtonTest, PressedLabelIsDrawnOnePixelRightAndDown)
{
    CButton* go = button("go");
    const CLinearBitmap::Rect area = go->getViewRect();
    const CLinearBitmap::Rect labelArea = go->getLabel()->getViewRect();
    moveTo(0, 59);
    window->renderStep();
    // The released picture, kept by window coordinates before the press redraws it.
    std::vector<uint32_t> released;
    const int width = screen->getPicture().getWidth();
    for (int y = 0; y < area.bottom + 1; ++y)
        for (int x = 0; x < width; ++x)
            released.push_back(screen->getPicture().getPixel(x, y));
    auto releasedAt = [&](int x, int y) { return released[static_cast<size_t>(y * width + x)]; };
    CButtonTreeTest::button(centerX(go), centerY(go), true);
    window->renderStep();
    const CLinearBitmap& pressed = screen->getPicture();

    const CLinearBitmap::Rect movedArea = go->getLabel()->getViewRect();
    EXPECT_EQ(movedArea.left, labelArea.left + 1);
    EXPECT_EQ(movedArea.top, labelArea.top + 1);
    EXPECT_EQ(movedArea.right - movedArea.left, labelArea.right - labelArea.left);

    // Ink: a pixel that is not the face colour of its own picture (the label's top left
    // pixel). Every pixel of the text is where it was, one pixel on.
    const uint32_t releasedFace = releasedAt(labelArea.left, labelArea.top);
    const uint32_t pressedFace = pressed.getPixel(movedArea.left, movedArea.top);
    int inked = 0;
    int misplaced = 0;
    for (int y = labelArea.top + 1; y < labelArea.bottom - 1; ++y)
    {
        for (int x = labelArea.left + 1; x < labelArea.right - 1; ++x)
        {
            const bool wasInk = releasedAt(x, y) != releasedFace;
            const bool isInk = pressed.getPixel(x + 1, y + 1) != pressedFace;
            inked += wasInk ? 1 : 0;
            misplaced += wasInk != isInk ? 1 : 0;
        }
    }
    EXPECT_GT(inked, 10) << "the title is drawn";
    EXPECT_EQ(misplaced, 0);
    EXPECT_LE(labelArea.right, area.right);
    release(centerX(go), centerY(go));
}

TEST_F(CButtonTest, ListButtonsShowTheSelectedItemOrDashes)
{
    EXPECT_EQ(test::CUtf8::of(button("listed")->getShownTitle()), "High");
    EXPECT_EQ(test::CUtf8::of(button("unlisted")->getShownTitle()), "---");
    ASSERT_EQ(test::CErrorText::takeMessage(
                  button("listed")->setAttr(CString("selected-item"), CAttrValue(int32_t(0)))),
              "");
    EXPECT_EQ(test::CUtf8::of(button("listed")->getLabel()->getAttrString(CString("title"))),
              "Low");
}

TEST_F(CButtonTest, ABButtonBoldsTheCurrentState)
{
    auto* ab = find<CButtonAB>("ui.win.ab");
    auto titles = [&]
    {
        return test::CUtf8::of(ab->getLabelA()->getAttrString(CString("title"))) + " " +
               test::CUtf8::of(ab->getLabelB()->getAttrString(CString("title")));
    };
    ASSERT_NE(ab->findObject(CString(".labels.a")), nullptr);
    EXPECT_EQ(titles(), "[B]A[/B] B");
    click(ab);
    EXPECT_EQ(titles(), "A [B]B[/B]");
    click(ab);
    EXPECT_EQ(titles(), "[B]A[/B] B");
}

// ---- a toggle bound to a parameter ----

class CButtonParamTest : public paramtest::CParamTest
{
protected:
    // A button whose release toggles its active state, bound to the gain.
    std::string makeToggle(bool isUndoDisabled = false)
    {
        return makeWindow(
            [&](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
            {
                auto& panel = uiNode.add("ui:view", "panel");
                panel.attr("is-root-view", "true").attr("width", "100").attr("height", "30");
                auto& node = panel.add("ui:button-base", "toggle");
                node.attr("width", "60").attr("height", "22");
                if (isUndoDisabled)
                    node.attr("is-undo-disabled", "true");
                node.add("ui:ui-param", "ui-param-activity").attr("bridge", "ui.gain-bridge");
                node.add("ui:view-command")
                    .attr("on-event", "mouse-release")
                    .attr("toggle-attr", "is-active");
            });
    }
    std::string click(CButton* toggle)
    {
        CAttrMap params;
        std::string error =
            test::CErrorText::takeMessage(toggle->deliverCtlEvent(CString("mouse-press"), params));
        if (error.empty())
            error = test::CErrorText::takeMessage(
                toggle->deliverCtlEvent(CString("mouse-release"), params));
        return error.empty() ? pump() : error;
    }
    double gainValue() const
    {
        return find<CUIParam>("ui.panel.toggle.ui-param-activity")->getNormalisedValue();
    }
};

TEST_F(CButtonParamTest, ToggleWritesTheParameterAsOneUndoStepAndFollowsIt)
{
    ASSERT_EQ(makeToggle(), "");
    auto* toggle = find<CButton>("ui.panel.toggle");
    const bool wasActive = toggle->isActive();
    EXPECT_EQ(wasActive, gainValue() >= 0.5);
    const size_t steps = history().size();
    const int records = base->getHistoryCount();

    ASSERT_EQ(click(toggle), "");
    EXPECT_EQ(toggle->isActive(), !wasActive);
    EXPECT_EQ(gainValue(), wasActive ? 0.0 : 1.0);
    const std::vector<std::string> labels = history();
    ASSERT_GT(labels.size(), steps);
    EXPECT_EQ(labels.back(), "Signal gain change");
    EXPECT_EQ(std::count(labels.begin(), labels.end(), labels.back()), 1);
    EXPECT_EQ(base->getHistoryCount(), records + 1);

    // The value moved by another control: the button follows it.
    ASSERT_EQ(test::CErrorText::takeMessage(gain->setNormalisedValue(wasActive ? 1.0 : 0.0, 0, 0)),
              "");
    EXPECT_EQ(pump(), "");
    EXPECT_EQ(toggle->isActive(), wasActive);
}

TEST_F(CButtonParamTest, UndoDisabledToggleLeavesNoUndoStep)
{
    ASSERT_EQ(makeToggle(true), "");
    auto* toggle = find<CButton>("ui.panel.toggle");
    const bool wasActive = toggle->isActive();
    const size_t steps = history().size();
    const int records = base->getHistoryCount();
    ASSERT_EQ(click(toggle), "");
    EXPECT_EQ(toggle->isActive(), !wasActive);
    EXPECT_EQ(gainValue(), wasActive ? 0.0 : 1.0);
    EXPECT_EQ(history().size(), steps);
    EXPECT_EQ(base->getHistoryCount(), records);
}

} // namespace
