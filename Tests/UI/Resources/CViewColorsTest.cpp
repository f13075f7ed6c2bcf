#include "UI/Resources/CViewColors.h"

#include "CPaletteTestSupport.h"

#include "UI/Resources/CColor.h"
#include "UI/Resources/CPalette.h"

#include <gtest/gtest.h>

using kel::CColor;
using kel::CPalette;
using kel::CViewColors;

namespace
{

// A window root's table on a small palette, and a view's table that follows it.
class CViewColorsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        kel::test::fillSmallPalette(palette);
        root.setRootColors(&root);
        root.setPalette(&palette);
        view.setRootColors(&root);
    }

    CPalette palette;
    CViewColors root;
    CViewColors view;
};

} // namespace

TEST_F(CViewColorsTest, ButtonInStatesActiveAndHoverDrawsButtonActiveHover)
{
    view.setRootName("Button");
    view.setTextSlotName(0, "Text");
    view.setState("ActiveHover");
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Button_ActiveHover"));
    EXPECT_EQ(view.getTextColor(0), palette.findColor("ButtonText_ActiveHover"));
    view.setState("Hover");
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Button_Hover"));
    view.setState("");
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Button"));
    EXPECT_EQ(view.getRowCount(), 3);
}

TEST_F(CViewColorsTest, TextSlotAndAbsoluteNamesComposeAsTheRuleSays)
{
    view.setRootName("Panel");
    view.setTextSlotName(0, "Text");
    view.setState("Hover");
    EXPECT_EQ(view.getTextColor(0), palette.findColor("PanelText_Hover"));

    view.setRootName("/SelectionText");
    EXPECT_EQ(view.getTextColor(0), palette.findColor("SelectionText_Hover"));
    EXPECT_EQ(view.getImageColor(0), palette.findColor("SelectionText_Hover"));

    EXPECT_EQ(CViewColors::composeName("Button", "Text", "ActiveHover"), "ButtonText_ActiveHover");
    EXPECT_EQ(CViewColors::composeName("Button", "", ""), "Button");
    EXPECT_EQ(CViewColors::composeName("/Selection", "Text", ""), "Selection");
}

TEST_F(CViewColorsTest, ColorSlotsSplitAtBarsWithDotAsTheRootColour)
{
    view.setRootName("PalIconRed");
    view.setSlotNames(".|Outer|Inner|Text");
    ASSERT_EQ(view.getSlotCount(), 4);
    EXPECT_EQ(view.getImageColor(0), palette.findColor("PalIconRed"));
    EXPECT_EQ(view.getImageColor(1), palette.findColor("PalIconRedOuter"));
    EXPECT_EQ(view.getImageColor(2), palette.findColor("PalIconRedInner"));
    EXPECT_EQ(view.getImageColor(2)->alpha, 0.5);
    // "PalIconRedText" is not in the small palette.
    EXPECT_EQ(view.getImageColor(3), palette.getDefaultColor());
}

TEST_F(CViewColorsTest, TablesAreRebuiltOnlyWhenSomethingChanged)
{
    view.setRootName("Button");
    view.getImageColor(0);
    EXPECT_EQ(view.getRebuildCount(), 1);
    EXPECT_FALSE(view.isDirty());

    // Drawing calls and repeating what is set cost nothing.
    view.getImageColor(0);
    view.setRootName("Button");
    view.setSlotName(0, "");
    view.setSlotNames(".");
    view.setPhase(0.0);
    view.setState("");
    root.setPalette(&palette);
    EXPECT_FALSE(view.isDirty());
    view.getImageColor(0);
    EXPECT_EQ(view.getRebuildCount(), 1);

    // Another row makes the table grow; going back to a known row does not.
    view.setState("Active");
    EXPECT_TRUE(view.isDirty());
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Button_Active"));
    view.setState("");
    EXPECT_FALSE(view.isDirty());
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Button"));
    EXPECT_EQ(view.getRebuildCount(), 2);
}

TEST_F(CViewColorsTest, ViewsFollowTheRootsPaletteAtTheirNextUpdate)
{
    CPalette other;
    kel::test::fillSmallPalette(other);
    view.setRootName("Button");
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Button"));

    root.setPalette(&other);
    EXPECT_FALSE(view.isDirty()); // the view learns it by comparing palettes
    EXPECT_EQ(view.getImageColor(0), other.findColor("Button"));
    EXPECT_EQ(view.getDisabledColor(), other.findColor("Disabled"));
    EXPECT_EQ(view.getDisabledTextColor(), other.findColor("DisabledText"));
    EXPECT_EQ(view.getRebuildCount(), 2);
}

TEST_F(CViewColorsTest, PhaseMovesGradientCellsOnly)
{
    view.setRootName("Alarm");
    view.setTextSlotName(0, "Text");
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Alarm|0"));
    view.setPhase(0.5);
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Alarm|16"));
    view.setPhase(1.0);
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Alarm|31"));
    // "AlarmText" is no gradient (and not in this palette): the default, at any phase.
    EXPECT_EQ(view.getTextColor(0), palette.getDefaultColor());
}

TEST_F(CViewColorsTest, WrongIndexLogsAndDrawsInTheDefaultColour)
{
    kel::test::CLogCapture log;
    view.setRootName("Button");
    EXPECT_EQ(view.getImageColor(1), palette.getDefaultColor());
    EXPECT_EQ(view.getImageColor(-1), palette.getDefaultColor());
    EXPECT_EQ(view.getTextColor(0), palette.getDefaultColor()); // no text slots
    if (kel::CDebugChannel::isCompiledIn())
    {
        EXPECT_EQ(log.count("WRONG COLOR INDEX 1"), 1);
        EXPECT_EQ(log.count("WRONG COLOR INDEX -1"), 1);
        EXPECT_EQ(log.count("WRONG COLOR INDEX 0"), 1);
    }
}

TEST_F(CViewColorsTest, MissingTwinIsLoggedOncePerRebuild)
{
    kel::test::CLogCapture log;
    view.setRootName("Panel");
    view.setState("Hover"); // "Panel_Hover" is missing
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(view.getImageColor(0), palette.getDefaultColor());
    if (kel::CDebugChannel::isCompiledIn())
    {
        EXPECT_EQ(log.count("Color not found: 'Panel_Hover'"), 1);
    }
}

TEST(CViewColors, WithoutRootOrPaletteLogsAndStillAnswersAColour)
{
    kel::test::CLogCapture log;
    CViewColors orphan;
    orphan.setRootName("Button");
    const CColor* color = orphan.getImageColor(0);
    ASSERT_NE(color, nullptr);

    CViewColors root;
    root.setRootColors(&root);
    orphan.setRootColors(&root);
    ASSERT_NE(orphan.getImageColor(0), nullptr);
    ASSERT_NE(orphan.getDisabledTextColor(), nullptr);
    if (kel::CDebugChannel::isCompiledIn())
    {
        EXPECT_GE(log.count("RootColors IS NULL"), 1);
        EXPECT_GE(log.count("PALETTE IS NULL"), 1);
    }
}
