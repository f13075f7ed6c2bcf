// The overlay gradient on the headless screen: its pixels worked out by hand over a known
// background, and presses that go through it.
#include "Audio/CAudioCreators.h"
#include "Core/CApplication.h"
#include "ProductResources.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/CUiCreators.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CViewBase.h"
#include "UI/Windows/CSharedTreeTest.h"

#include <gtest/gtest.h>

using namespace kel;

namespace
{

using CGradientTest = test::CSharedTreeTest;

} // namespace

TEST_F(CGradientTest, ItMixesItsColourOverWhatLiesBelowAlongItsRun)
{
    // Panel (#545a62) over the Background (#363a40) of the default palette: down a 1 by 4
    // strip from alpha 0 to 255, and back along a 4 by 1 strip from 255 to 0.
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& win = addWindow(tree, 20, 20);
    win.add("ui:overlay-gradient", "down")
        .attr("placement", "top")
        .attr("width", "1")
        .attr("height", "4")
        .attr("color", "Panel");
    win.add("ui:overlay-gradient", "across")
        .attr("placement", "top")
        .attr("width", "4")
        .attr("height", "1")
        .attr("color", "Panel")
        .attr("orientation", "horizontal")
        .attr("alpha-start", "255")
        .attr("alpha-end", "0");
    openTree(tree);
    window->renderStep();
    const CLinearBitmap& picture = screen->getPicture();
    ASSERT_EQ(picture.getPixel(10, 10), 0x363a40u) << "the background as the palette says";

    // Alphas 0, 85, 170, 255; each channel (panel * a + background * (255 - a) + 127) / 255:
    // red (84 * 85 + 54 * 170 + 127) / 255 = 64, green 69, blue 75, and at 170: 74, 79, 87.
    const uint32_t run[4] = {0x363a40u, 0x40454bu, 0x4a4f57u, 0x545a62u};
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_EQ(picture.getPixel(0, i), run[i]) << "down, pixel " << i;
        EXPECT_EQ(picture.getPixel(i, 4), run[3 - i]) << "across, pixel " << i;
    }
    EXPECT_EQ(picture.getPixel(1, 0), 0x363a40u) << "nothing beside the strip";

    // The pointer finds the view below it.
    EXPECT_EQ(static_cast<CObject*>(window->getViewAt(0, 2)), root->findObject(CString("ui.win")));
}
