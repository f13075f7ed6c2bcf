// The compiled interface graphics, as the build embeds them, read by the runtime classes.

#include "Core/CAllocator.h"
#include "Core/CFileReader.h"
#include "Core/Platform/CThisThread.h"
#include "Support/CMallocCounter.h"
#include "UI/CLinearBitmap.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CBrush.h"
#include "UI/Resources/CBrushSet.h"
#include "UI/Resources/CFont.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"
#include "UI/Resources/CUiScale.h"

#include <gtest/gtest.h>

#include <string>

using namespace kel;

namespace
{

const std::string kGfx = std::string(KEL_BINARY_DIR) + "/Resources/Gfx/";

template <typename Set> void load(const std::string& path, Set& set)
{
    CFileReader file;
    CError* error = file.open(path.c_str());
    if (!error)
        error = set.read(file);
    ASSERT_EQ(nullptr, error) << path;
}

} // namespace

TEST(CImageSetResourcesTest, KnobHas85FramesOfBodyIndicatorAndCapsAtEachScale)
{
    const struct
    {
        double scale;
        int size;
    } cases[] = {{0.8, 60}, {1.0, 74}, {1.25, 93}};
    for (const auto& c : cases)
    {
        CUiScale::set(c.scale);
        CImageSet knob;
        load(kGfx + "Imagesets/knob.is", knob);
        CImageSet::Range range;
        ASSERT_TRUE(knob.findRange(CString(""), range));
        EXPECT_EQ(0, range.first);
        EXPECT_EQ(84, range.last);
        for (int i = 0; i <= 84; ++i)
        {
            const CImage* frame = knob.getImage(i);
            ASSERT_NE(nullptr, frame);
            ASSERT_EQ(3, frame->getLayerCount());
            for (int slot = 0; slot < 3; ++slot)
            {
                EXPECT_EQ(slot, frame->getLayer(slot)->getColorSlot());
                EXPECT_EQ(c.size, frame->getLayer(slot)->getWidth());
            }
        }
        EXPECT_NE(nullptr, knob.getImage(100));
    }
    CUiScale::set(1.0);
}

TEST(CImageSetResourcesTest, ButtonSetHasItsRangesAndHoles)
{
    CImageSet buttons;
    load(kGfx + "Imagesets/button.is", buttons);
    EXPECT_EQ(42, buttons.getImageCount());
    EXPECT_EQ(nullptr, buttons.getImage(9));
    CImageSet::Range range;
    ASSERT_TRUE(buttons.findRange(CString("Pushed"), range));
    EXPECT_EQ(11, range.first);
    EXPECT_EQ(18, range.last);
    // Frame edges are 60 by 20 and corners 20 by 20 at scale 1.0.
    EXPECT_EQ(60, buttons.getImage(1)->getLayer(0)->getWidth());
    EXPECT_EQ(20, buttons.getImage(1)->getLayer(0)->getHeight());
    EXPECT_EQ(20, buttons.getImage(5)->getLayer(0)->getWidth());
}

TEST(CImageSetResourcesTest, FontsCarryTheirLineMetricsAndLatinAndGreekLetters)
{
    const struct
    {
        const char* name;
        int height, above, below;
    } faces[] = {{"base", 14, 3, 3},    {"base_b", 14, 3, 3},   {"micro", 14, 3, 2},
                 {"micro_b", 14, 3, 2}, {"micro-sm", 11, 3, 2}, {"micro-sm_b", 11, 3, 2},
                 {"small", 10, 3, 3},   {"small_b", 10, 3, 3},  {"title", 16, 5, 4},
                 {"title_b", 17, 5, 5}};
    for (const auto& face : faces)
    {
        CFont font;
        load(kGfx + "Fonts/" + face.name + ".fnt", font);
        EXPECT_EQ(face.height, font.getStoredLineHeight()) << face.name;
        EXPECT_EQ(face.above, font.getStoredLineAbove()) << face.name;
        EXPECT_EQ(face.below, font.getStoredLineBelow()) << face.name;
        for (int code : {32, 65, 126, 233, 966})
            ASSERT_NE(nullptr, font.getGlyph(code)) << face.name << " " << code;
        EXPECT_EQ(nullptr, font.getGlyph(127));
        const CImageLayer& a = *font.getGlyph('A')->getLayer(0);
        EXPECT_EQ(CImageLayer::kAlphaMask, a.getPixelFormat());
        EXPECT_LT(a.getY(), 0); // above the baseline
        EXPECT_GT(a.getAdvance(), 0.0);
    }
}

TEST(CImageSetResourcesTest, BrushSetHasAnEmptyBrushAndTwoDots)
{
    CUiScale::set(1.25);
    CBrushSet brushes;
    load(kGfx + "Brushes/brushes.bs", brushes);
    CUiScale::set(1.0);
    ASSERT_EQ(3, brushes.getBrushCount());
    EXPECT_EQ(0u, brushes.getBrush(0)->getCoverageSize());
    EXPECT_EQ(4, brushes.getBrush(1)->getTileSize());
    const CBrush& thick = *brushes.getBrush(2);
    EXPECT_EQ(6, thick.getTileSize());
    EXPECT_DOUBLE_EQ(2.35, thick.getRadius());
    // The dot at sub-pixel (0, 0) covers its centre fully and its far corner not at all.
    const uint8_t* tile = thick.getTile(0, 0);
    ASSERT_NE(nullptr, tile);
    EXPECT_EQ(255, tile[2 * 6 + 2]);
    EXPECT_EQ(0, tile[5 * 6 + 5]);
}

// The interface draws at 40 frames a second: drawing must not touch the allocator at all.
TEST(CImageSetResourcesTest, DrawingEveryKnobFrameAllocatesNothing)
{
    CUiScale::set(1.0);
    CImageSet knob;
    load(kGfx + "Imagesets/knob.is", knob);
    CLinearBitmap bitmap;
    ASSERT_EQ(nullptr, bitmap.resize(128, 128));
    CColor color;
    color.setFlat(200, 120, 40);
    const CLinearBitmap::Rect clip{0, 0, 100, 90};

    CAllocator::watchThread(CThisThread::id());
    kel::test::CMallocCounter::watchThisThread();
    for (int i = 0; i < knob.getImageCount(); ++i)
    {
        const CImage* frame = knob.getImage(i);
        if (!frame)
            continue;
        for (int slot = 0; slot < frame->getLayerCount(); ++slot)
            for (double opacity : {1.0, 0.5})
                bitmap.drawLayer(*frame->getLayer(slot), 10 - slot, 20 - 2 * slot, clip, &color,
                                 opacity);
    }
    kel::test::CMallocCounter::stopWatching();
    const uint64_t allocations = CAllocator::watchedAllocations();
    CAllocator::watchThread(0);
    EXPECT_EQ(0u, allocations);
    EXPECT_EQ(0u, kel::test::CMallocCounter::count());
    EXPECT_NE(0u, bitmap.getPixel(40, 50)); // something was drawn
}
