// The drawing layer of a view: a filled view rendered offscreen while its colour eases from one
// state row to the next, every pixel compared with the colour worked out by hand.
#include "Core/CApplication.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/CUiCreators.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CPalette.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CView.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace kel;

namespace
{

constexpr int kWidth = 300;
constexpr int kHeight = 150;
// Drawn nowhere by the views: what is left of it lies outside the box.
constexpr uint32_t kBackground = 0xabcdef;

double testNow = 0.0;
double testClock()
{
    return testNow;
}

CColor flat(uint32_t rgb)
{
    CColor color;
    color.setFlat(static_cast<uint8_t>(rgb >> 16), static_cast<uint8_t>(rgb >> 8),
                  static_cast<uint8_t>(rgb));
    return color;
}

class CViewBaseTest : public ::testing::Test
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
        // The role of the box: black in the plain row, 0x6464C8 when hovered.
        palette.setColor("Default", flat(0x010203));
        palette.setColor("Knob", flat(0x000000));
        palette.setColor("Knob_Hover", flat(0x6464c8));
        palette.refreshDefaultColor();
    }
    void TearDown() override
    {
        CObject::destroyObject(root);
        CViewBaseState::setClockSource(nullptr);
    }

    // A root view in the window "frames" (the test sends its "render"), with a filled child
    // "box" in the role "Knob" whose state "hover" makes the row "Hover", eased over a second.
    CTreeBlobWriter::Node& makeBox(CTreeBlobWriter::Node& tree)
    {
        CTreeBlobWriter::Node& ui = tree.add("ui:ui-event-bridge", "ui");
        ui.add("test:frames", "frames");
        CTreeBlobWriter::Node& win = ui.add("ui:view", "win");
        win.attr("is-root-view", "true").attr("width", "300").attr("height", "150");
        win.attr("window", "ui.frames");
        CTreeBlobWriter::Node& node = win.add("ui:view", "box");
        node.attr("width", "100").attr("height", "50").attr("is-filled", "true");
        // The box's own "morph-duration" also serves the way back, when "hover" is not active.
        node.attr("color", "Knob").attr("morph-duration", "1");
        node.add("ui:view-state", "hover").attr("state-name", "hover").attr("color-state", "Hover");
        return node;
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
        auto* win = dynamic_cast<CView*>(root->findObject(CString("ui.win")));
        ASSERT_NE(win, nullptr);
        win->getColors().setPalette(&palette);
        ASSERT_EQ(test::CErrorText::takeMessage(picture.resize(kWidth, kHeight)), "");
    }
    void frameAt(double now)
    {
        testNow = now;
        CAttrMap params;
        ASSERT_EQ(test::CErrorText::takeMessage(
                      root->findObject(CString("ui.frames"))->sendEvent(CString("render"), params)),
                  "");
    }
    // Draws the box over the background as the window does, in one sector that covers the
    // window; empty when the box's rectangle is inside everywhere and the rest is background,
    // else the first pixel that is not.
    std::string renderDiffers(uint32_t inside)
    {
        picture.fill(kBackground);
        box->drawSector(picture, 0, 0, {0, 0, kWidth, kHeight});
        const CLinearBitmap::Rect area = box->getViewRect();
        if (area.isEmpty())
            return "empty box";
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
            {
                const bool isInside =
                    x >= area.left && x < area.right && y >= area.top && y < area.bottom;
                const uint32_t expected = isInside ? inside : kBackground;
                if (picture.getPixel(x, y) != expected)
                {
                    char text[96];
                    std::snprintf(text, sizeof text, "at %d,%d: %06x, not %06x", x, y,
                                  picture.getPixel(x, y), expected);
                    return text;
                }
            }
        return {};
    }

    CPalette palette;
    CLinearBitmap picture;
    std::vector<uint8_t> blob;
    CObject* root = nullptr;
    CView* box = nullptr;
};

} // namespace

TEST_F(CViewBaseTest, FilledViewEasesFromOneStateRowToTheNextAndBack)
{
    CTreeBlobWriter::Node tree;
    makeBox(tree);
    load(tree);
    EXPECT_EQ(renderDiffers(0x000000), "");

    ASSERT_EQ(test::CErrorText::takeMessage(box->setState(CString("hover"))), "");
    // Position 0.0: still the row it comes from.
    ASSERT_TRUE(box->isColorMorphRunning());
    EXPECT_EQ(renderDiffers(0x000000), "");
    // Half the time is half the curve: 0x00 -> 0x64 and 0x00 -> 0xC8 half way.
    frameAt(100.5);
    ASSERT_TRUE(box->isColorMorphRunning());
    EXPECT_EQ(renderDiffers(0x323264), "");
    // At the end the new row exactly, drawn from the palette's entry itself.
    frameAt(101.0);
    EXPECT_FALSE(box->isColorMorphRunning());
    EXPECT_FALSE(box->getColors().isBlending());
    EXPECT_EQ(renderDiffers(0x6464c8), "");
    EXPECT_EQ(box->getColors().getImageColor(0), palette.findColor("Knob_Hover"));

    // And back: a quarter of the time is 0.5 * (1 + sin(-pi / 4)) = 0.146447 of the way, so
    // 0x64 = 100 falls to 85.4 (0x55) and 0xC8 = 200 to 170.7 (0xAB).
    testNow = 102.0;
    ASSERT_EQ(test::CErrorText::takeMessage(box->unsetState(CString("hover"))), "");
    frameAt(102.25);
    EXPECT_EQ(renderDiffers(0x5555ab), "");
    // Past 0.95 of the curve (0.856 of the time) the change is over.
    frameAt(102.86);
    EXPECT_FALSE(box->isColorMorphRunning());
    EXPECT_EQ(renderDiffers(0x000000), "");
    EXPECT_EQ(box->getColors().getImageColor(0), palette.findColor("Knob"));
}

TEST_F(CViewBaseTest, ViewCreatedInAStateDrawsItsRowWithoutEasing)
{
    CTreeBlobWriter::Node tree;
    makeBox(tree).attr("state", "hover");
    load(tree);
    EXPECT_FALSE(box->isColorMorphRunning());
    EXPECT_EQ(renderDiffers(0x6464c8), "");
    frameAt(100.5);
    EXPECT_EQ(renderDiffers(0x6464c8), "");
}
