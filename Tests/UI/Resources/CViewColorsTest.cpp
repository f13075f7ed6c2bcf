#include "UI/Resources/CViewColors.h"

#include "CPaletteTestSupport.h"

#include "UI/Resources/CColor.h"
#include "UI/Resources/CPalette.h"

#include <gtest/gtest.h>

#include <string>

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
    // A slot of its own palette name, whatever the row: the text of a selected paragraph.
    EXPECT_EQ(CViewColors::composeName("Panel", "/SelectionText", "Hover"), "SelectionText_Hover");
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

namespace
{

// The knob of the colour-change tests: a solid role that also fades in ("Knob" is transparent),
// a ramp slot "Ring" whose levels run against each other in its two rows, and a text slot.
void addKnobColours(CPalette& palette)
{
    using kel::test::flatColor;
    palette.setColor("Knob", flatColor(0x00, 0x00, 0x00, 0.0));
    palette.setColor("Knob_Hover", flatColor(0x64, 0x64, 0xC8, 1.0));
    palette.setColor("KnobText", flatColor(200, 100, 0));
    palette.setColor("KnobText_Hover", flatColor(100, 200, 50));
    CColor ring;
    CColor ringHover;
    for (int level = 0; level < CColor::kLevels; ++level)
    {
        const auto up = static_cast<uint8_t>(level);
        const auto down = static_cast<uint8_t>(255 - level);
        ring.setLevel(level, up, 0, down);
        ringHover.setLevel(level, down, 10, up);
    }
    palette.setColor("KnobRing", ring);
    palette.setColor("KnobRing_Hover", ringHover);
}

// Empty when every level of color is (r, g, b) and its alpha is alpha; else the first level that
// is not.
std::string differenceFromFlat(const CColor* color, int r, int g, int b, double alpha)
{
    if (color->alpha != alpha)
        return "alpha " + std::to_string(color->alpha);
    for (int level = 0; level < CColor::kLevels; ++level)
    {
        if (color->red[level] != r || color->green[level] != g || color->blue[level] != b)
            return "level " + std::to_string(level) + ": " + std::to_string(color->red[level]) +
                   "," + std::to_string(color->green[level]) + "," +
                   std::to_string(color->blue[level]);
    }
    return {};
}

} // namespace

TEST_F(CViewColorsTest, ColourChangeMixesEverySlotOfBothRowsChannelByChannel)
{
    addKnobColours(palette);
    view.setRootName("Knob");
    view.setSlotNames(".|Ring");
    view.setTextSlotName(0, "Text");
    view.setState("Hover");
    view.setBlend("", 0.5);
    ASSERT_TRUE(view.isBlending());

    // 0x00 -> 0x64 and 0xC8 half way: 0x32, 0x32, 0x64; alpha 0 -> 1 gives 0.5.
    EXPECT_EQ(differenceFromFlat(view.getImageColor(0), 0x32, 0x32, 0x64, 0.5), "");
    // Text (200, 100, 0) -> (100, 200, 50).
    EXPECT_EQ(differenceFromFlat(view.getTextColor(0), 150, 150, 25, 1.0), "");
    // The ramps mix level by level: red level -> 255 - level meets at 127.5 on every level,
    // which rounds up to 128; green 0 -> 10 gives 5.
    EXPECT_EQ(differenceFromFlat(view.getImageColor(1), 128, 5, 128, 1.0), "");
    // The rows themselves stay what the palette holds.
    EXPECT_EQ(view.getImageColorInRow(view.findRow(""), 0), palette.findColor("Knob"));
    EXPECT_EQ(view.getImageColorInRow(view.findRow("Hover"), 0), palette.findColor("Knob_Hover"));
    EXPECT_EQ(view.getTextColorInRow(view.findRow(""), 0), palette.findColor("KnobText"));

    // A quarter of the way back from "Hover" to "": 0x64 * 0.75 = 75, 0xC8 * 0.75 = 150.
    view.setState("");
    view.setBlend("Hover", 0.25);
    EXPECT_EQ(differenceFromFlat(view.getImageColor(0), 75, 75, 150, 0.75), "");
    // Text blue 50 -> 0 a quarter of the way: 37.5, which rounds up.
    EXPECT_EQ(differenceFromFlat(view.getTextColor(0), 125, 175, 38, 1.0), "");

    // At the end, or towards the row it is in, the cells are the palette's own entries again.
    view.setBlend("Hover", 1.0);
    EXPECT_FALSE(view.isBlending());
    EXPECT_EQ(view.getImageColor(0), palette.findColor("Knob"));
    view.setBlend("", 0.5);
    EXPECT_FALSE(view.isBlending());
    EXPECT_EQ(view.getTextColor(0), palette.findColor("KnobText"));
    // Both rows were there after the first change: no rebuild since the first.
    EXPECT_EQ(view.getRebuildCount(), 1);
}

TEST_F(CViewColorsTest, MixedColoursFollowThePositionRowsAndPaletteWithoutRebuilds)
{
    addKnobColours(palette);
    view.setRootName("Knob");
    view.setState("Hover");
    view.setBlend("", 0.5);
    const CColor* mixed = view.getImageColor(0);
    EXPECT_EQ(differenceFromFlat(mixed, 0x32, 0x32, 0x64, 0.5), "");
    // Reading again and setting the same change again costs nothing and answers the same.
    view.setBlend("", 0.5);
    EXPECT_EQ(view.getImageColor(0), mixed);
    EXPECT_EQ(view.getRebuildCount(), 1);

    // The position moves: worked out again without a rebuild.
    view.setBlend("", 0.25);
    EXPECT_EQ(differenceFromFlat(view.getImageColor(0), 25, 25, 50, 0.25), "");
    EXPECT_EQ(view.getRebuildCount(), 1);

    // A change that comes from a row not seen yet adds it ("Knob_Active" is missing: the
    // default colour (1, 2, 3), opaque).
    view.setBlend("Active", 0.5);
    EXPECT_EQ(differenceFromFlat(view.getImageColor(0), 51, 51, 102, 1.0), "");
    EXPECT_EQ(view.getRebuildCount(), 2);

    // The window's palette changes during the change: the mix is of the new entries.
    view.setBlend("", 0.5);
    EXPECT_EQ(differenceFromFlat(view.getImageColor(0), 0x32, 0x32, 0x64, 0.5), "");
    CPalette other;
    kel::test::fillSmallPalette(other);
    other.setColor("Knob", kel::test::flatColor(100, 0, 0, 1.0));
    other.setColor("Knob_Hover", kel::test::flatColor(200, 50, 0, 1.0));
    root.setPalette(&other);
    EXPECT_EQ(differenceFromFlat(view.getImageColor(0), 150, 25, 0, 1.0), "");
    view.setState("");
    EXPECT_FALSE(view.isBlending());
    EXPECT_EQ(view.getImageColor(0), other.findColor("Knob"));
}
