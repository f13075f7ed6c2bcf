// The sector map draws only what changed: pending sectors, and inside a sector with a good
// static picture only the dirty rectangle, with static views copied and dynamic views drawn.
#include "UI/Rendering/CSectorMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

using namespace kel;

namespace
{

// A view that fills its rectangle with one colour and counts its drawings.
struct CFillView : CSectorMap::CDrawable
{
    CLinearBitmap::Rect rect;
    bool dynamic = false;
    int z = 0;
    uint32_t color = 0;
    int draws = 0;

    CFillView(CLinearBitmap::Rect r, uint32_t c, bool isDynamic = false, int zIndex = 0)
        : rect(r), dynamic(isDynamic), z(zIndex), color(c)
    {
    }
    CLinearBitmap::Rect getDrawRect() const override { return rect; }
    bool isDrawDynamic() const override { return dynamic; }
    int getDrawZIndex() const override { return z; }
    bool isDrawReady() const override { return true; }
    void drawSector(CLinearBitmap& target, int originX, int originY,
                    const CLinearBitmap::Rect& clip) override
    {
        ++draws;
        for (int y = clip.top; y < clip.bottom; ++y)
            for (int x = clip.left; x < clip.right; ++x)
            {
                const int wx = x + originX;
                const int wy = y + originY;
                if (wx >= rect.left && wx < rect.right && wy >= rect.top && wy < rect.bottom)
                    target.setPixel(x, y, color);
            }
    }
};

// The window as the sector pictures show it.
uint32_t windowPixel(const CSectorMap& map, int x, int y)
{
    const int sector = (y / 128) * map.getSectorsPerRow() + x / 128;
    return map.getPicture(sector).getPixel(x % 128, y % 128);
}

// First pixel where two windows differ, as "x,y: a != b", or empty when equal.
std::string firstDifference(const CSectorMap& a, const std::vector<uint32_t>& expected)
{
    for (int y = 0; y < a.getWindowHeight(); ++y)
        for (int x = 0; x < a.getWindowWidth(); ++x)
        {
            const uint32_t got = windowPixel(a, x, y);
            const uint32_t want = expected[static_cast<size_t>(y) * a.getWindowWidth() + x];
            if (got != want)
                return std::to_string(x) + "," + std::to_string(y) + ": " + std::to_string(got) +
                       " != " + std::to_string(want);
        }
    return {};
}

constexpr uint32_t kGrey = 0x00808080;
constexpr uint32_t kRed = 0x00ff0000;
constexpr uint32_t kGreen = 0x0000ff00;
constexpr uint32_t kBlue = 0x000000ff;

} // namespace

TEST(CSectorMapTest, SectorsCoverAWindowWhoseWidthIsNoMultipleOf128AndClipTo128)
{
    CSectorMap map;
    ASSERT_EQ(map.resize(300, 140), nullptr);
    // 300 / 128 -> 3 columns, 140 / 128 -> 2 rows.
    EXPECT_EQ(map.getSectorsPerRow(), 3);
    EXPECT_EQ(map.getSectorCount(), 6);
    EXPECT_EQ(map.getSectorRect(5).left, 256);
    EXPECT_EQ(map.getSectorRect(5).top, 128);
    EXPECT_EQ(map.getSectorRect(5).right, 384);

    // A view wider than the window is drawn up to the sector's edge (384), not the window's (300).
    CFillView wide({0, 0, 400, 140}, kGrey);
    map.addView(&wide);
    EXPECT_EQ(map.drawPending(), 6);
    EXPECT_EQ(map.getPicture(2).getPixel(127, 0), kGrey);  // window x 383
    EXPECT_EQ(map.getPicture(5).getPixel(127, 11), kGrey); // window 383, 139
    EXPECT_EQ(map.getPicture(5).getPixel(0, 12), 0u);      // below the view: untouched
    EXPECT_EQ(map.getChangedSectors().getCount(), 6);
}

TEST(CSectorMapTest, StaticSectorIsDrawnOnceThenOnlyCopied)
{
    CSectorMap map;
    ASSERT_EQ(map.resize(256, 128), nullptr);
    CFillView background({0, 0, 256, 128}, kGrey);
    CFillView meter({10, 10, 30, 60}, kRed, true);
    map.addView(&background);
    map.addView(&meter);
    map.drawPending();
    map.clearChanged();
    ASSERT_EQ(background.draws, 2); // once in each sector
    ASSERT_EQ(meter.draws, 1);
    EXPECT_TRUE(map.isStaticValid(0));
    EXPECT_TRUE(map.isStaticValid(1));

    // The meter changes: only its sector is drawn, the background is copied, not drawn again.
    meter.color = kBlue;
    map.resetCounters();
    map.invalidateView(&meter);
    EXPECT_EQ(map.getPendingSectors().getCount(), 1);
    map.drawPending();
    EXPECT_EQ(background.draws, 2);
    EXPECT_EQ(meter.draws, 2);
    EXPECT_EQ(map.getStaticCopyCount(), 1);
    // Only the dirty rectangle was copied and drawn: left and top rounded down, right and
    // bottom rounded down plus one.
    const CLinearBitmap::Rect drawn = map.getDrawnArea(0);
    EXPECT_EQ(drawn.left, 10);
    EXPECT_EQ(drawn.top, 10);
    EXPECT_EQ(drawn.right, 31);
    EXPECT_EQ(drawn.bottom, 61);
    EXPECT_EQ(windowPixel(map, 15, 15), kBlue);
    EXPECT_EQ(windowPixel(map, 5, 5), kGrey);

    // The static picture never holds the dynamic view: move it away and the grey comes back.
    map.clearChanged();
    CLinearBitmap::Rect old = meter.rect;
    meter.rect = {100, 10, 120, 60};
    map.updateView(&meter);
    map.drawPending();
    EXPECT_EQ(windowPixel(map, old.left, old.top), kGrey);
    EXPECT_EQ(windowPixel(map, 110, 20), kBlue);
}

TEST(CSectorMapTest, DirtyRectanglesOfOneSectorMergeBeforeTheFrame)
{
    CSectorMap map;
    ASSERT_EQ(map.resize(128, 128), nullptr);
    CFillView background({0, 0, 128, 128}, kGrey);
    CFillView left({4, 4, 20, 20}, kRed, true);
    CFillView right({90, 70, 110, 100}, kRed, true);
    map.addView(&background);
    map.addView(&left);
    map.addView(&right);
    map.drawPending();
    left.color = kBlue;
    right.color = kGreen;
    map.invalidateView(&right);
    map.invalidateView(&left);
    map.drawPending();
    // One drawing covers both: from the left meter's corner to the right meter's.
    const CLinearBitmap::Rect drawn = map.getDrawnArea(0);
    EXPECT_EQ(drawn.left, 4);
    EXPECT_EQ(drawn.top, 4);
    EXPECT_EQ(drawn.right, 111);
    EXPECT_EQ(drawn.bottom, 101);
    EXPECT_EQ(windowPixel(map, 5, 5), kBlue);
    EXPECT_EQ(windowPixel(map, 100, 80), kGreen);
    EXPECT_EQ(windowPixel(map, 50, 50), kGrey);
}

TEST(CSectorMapTest, StaticViewAboveADynamicViewIsDrawnAgain)
{
    CSectorMap map;
    ASSERT_EQ(map.resize(128, 128), nullptr);
    CFillView background({0, 0, 128, 128}, kGrey, false, 0);
    CFillView meter({0, 0, 64, 64}, kRed, true, 1);
    CFillView label({32, 32, 96, 96}, kGreen, false, 2);
    map.addView(&background);
    map.addView(&meter);
    map.addView(&label);
    map.drawPending();
    EXPECT_EQ(windowPixel(map, 40, 40), kGreen); // the label covers the meter
    EXPECT_EQ(windowPixel(map, 10, 10), kRed);

    map.invalidateView(&meter);
    const int labelDraws = label.draws;
    const int backgroundDraws = background.draws;
    map.drawPending();
    EXPECT_EQ(label.draws, labelDraws + 1);       // above the dynamic view: drawn
    EXPECT_EQ(background.draws, backgroundDraws); // below it: copied
    EXPECT_EQ(windowPixel(map, 40, 40), kGreen);
    EXPECT_EQ(windowPixel(map, 10, 10), kRed);
}

TEST(CSectorMapTest, ZIndexDecidesTheOrderAndEqualIndicesKeepTheOrderOfAdding)
{
    CSectorMap map;
    ASSERT_EQ(map.resize(128, 128), nullptr);
    CFillView top({0, 0, 50, 50}, kRed, false, 5);
    CFillView bottom({0, 0, 50, 50}, kBlue, false, 1);
    CFillView first({60, 0, 100, 50}, kGreen, false, 0);
    CFillView second({60, 0, 100, 50}, kGrey, false, 0);
    map.addView(&top);
    map.addView(&bottom);
    map.addView(&first);
    map.addView(&second);
    map.drawPending();
    EXPECT_EQ(windowPixel(map, 10, 10), kRed);
    EXPECT_EQ(windowPixel(map, 70, 10), kGrey);

    // Raising the blue view above the red one.
    bottom.z = 9;
    map.updateView(&bottom);
    map.drawPending();
    EXPECT_EQ(windowPixel(map, 10, 10), kBlue);

    // A removed view leaves its area to what lies below.
    map.removeView(&second);
    map.drawPending();
    EXPECT_EQ(windowPixel(map, 70, 10), kGreen);
}

TEST(CSectorMapTest, FiftyFramesOfSmallUpdatesEndInThePictureOfOneFullRedraw)
{
    std::mt19937 random(20261125);
    auto pick = [&](int limit) { return static_cast<int>(random() % limit); };
    std::vector<CFillView> views;
    views.reserve(12);
    for (int i = 0; i < 12; ++i)
    {
        const int x = pick(280);
        const int y = pick(180);
        views.emplace_back(CLinearBitmap::Rect{x, y, x + 8 + pick(90), y + 8 + pick(60)},
                           0x00010101u * static_cast<uint32_t>(20 * i + 3), i % 3 == 0, pick(4));
    }
    CSectorMap map;
    ASSERT_EQ(map.resize(300, 200), nullptr);
    CFillView background({0, 0, 300, 200}, kGrey, false, -1);
    map.addView(&background);
    for (CFillView& view : views)
        map.addView(&view);
    map.drawPending();
    for (int frame = 0; frame < 50; ++frame)
    {
        // One to four changes per frame, so that dirty rectangles in one sector merge.
        for (int change = pick(4); change >= 0; --change)
        {
            CFillView& view = views[static_cast<size_t>(pick(12))];
            switch (pick(3))
            {
            case 0:
                view.color ^= 0x00102030u;
                map.invalidateView(&view);
                break;
            case 1:
                view.rect.left += pick(9) - 4;
                view.rect.right = view.rect.left + 8 + pick(90);
                map.updateView(&view);
                break;
            default:
                view.z = pick(4);
                map.updateView(&view);
                break;
            }
        }
        map.drawPending();
        map.clearChanged();
    }

    // The same final state drawn from nothing.
    CSectorMap fresh;
    ASSERT_EQ(fresh.resize(300, 200), nullptr);
    fresh.addView(&background);
    for (CFillView& view : views)
        fresh.addView(&view);
    fresh.drawPending();
    std::vector<uint32_t> expected(300 * 200);
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 300; ++x)
            expected[static_cast<size_t>(y) * 300 + x] = windowPixel(fresh, x, y);
    EXPECT_EQ(firstDifference(map, expected), "");
    for (CFillView& view : views)
    {
        fresh.removeView(&view);
        map.removeView(&view);
    }
}
