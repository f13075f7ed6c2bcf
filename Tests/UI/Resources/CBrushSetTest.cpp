#include "UI/Resources/CBrushSet.h"

#include "UI/Resources/CBrush.h"
#include "UI/Resources/CUiScale.h"
#include "CImageTestFiles.h"

#include <gtest/gtest.h>

using namespace kel;
using namespace kel::test;

namespace
{

// Brush record whose coverage bytes hold the tile index, so a tile's start can be checked.
void writeBrush(COutputStream& out, double size, const std::vector<int>& tiles,
                const std::vector<double>& radii)
{
    ASSERT_EQ(nullptr, out.writeDouble(size));
    ASSERT_EQ(nullptr, out.writeInt32(4));
    ASSERT_EQ(nullptr, out.writeInt32(static_cast<int32_t>(tiles.size())));
    for (double scale : standardScales())
        ASSERT_EQ(nullptr, out.writeDouble(scale));
    for (size_t v = 0; v < tiles.size(); ++v)
    {
        const int tile = tiles[v];
        ASSERT_EQ(nullptr, out.writeInt32(tile));
        ASSERT_EQ(nullptr, out.writeDouble(radii[v]));
        ASSERT_EQ(nullptr, out.writeUInt32(static_cast<uint32_t>(tile * tile * 256)));
        for (int t = 0; t < 256; ++t)
            for (int i = 0; i < tile * tile; ++i)
                ASSERT_EQ(nullptr, out.writeUInt8(static_cast<uint8_t>(t)));
    }
}

std::vector<uint8_t> threeBrushes(uint32_t version = 1, uint32_t count = 3)
{
    CMemoryWriteBuffer out;
    EXPECT_EQ(nullptr, out.writeUInt32(version));
    EXPECT_EQ(nullptr, out.writeUInt32(count));
    if (count == 3)
    {
        writeBrush(out, 0.0, {1, 1, 1}, {0.0, 0.0, 0.0});
        writeBrush(out, 1.48, {4, 4, 4}, {1.092, 1.24, 1.425});
        writeBrush(out, 2.96, {5, 5, 6}, {1.684, 1.98, 2.35});
    }
    return bytesOf(out);
}

} // namespace

TEST(CBrushSetTest, KeepsBrushesInFileOrderWithTheSizeOfTheScale)
{
    const std::vector<uint8_t> bytes = threeBrushes();
    for (double scale : {0.8, 1.0, 1.25})
    {
        CUiScale::set(scale);
        CBrushSet set;
        ASSERT_EQ(readLength(set, bytes), static_cast<int64_t>(bytes.size()));
        ASSERT_EQ(3, set.getBrushCount());
        const CBrush* thick = set.getBrush(2);
        EXPECT_DOUBLE_EQ(2.96, thick->getSize());
        EXPECT_EQ(4, thick->getSubPixelBits());
        EXPECT_EQ(scale == 1.25 ? 6 : 5, thick->getTileSize());
        EXPECT_DOUBLE_EQ(scale == 0.8 ? 1.684 : (scale == 1.0 ? 1.98 : 2.35), thick->getRadius());
        EXPECT_EQ(static_cast<uint32_t>(thick->getTileSize() * thick->getTileSize() * 256),
                  thick->getCoverageSize());
        // Tile (sx, sy) is number sy * 16 + sx.
        EXPECT_EQ(16 * 3 + 5, thick->getTile(5, 3)[0]);
        EXPECT_EQ(nullptr, thick->getTile(16, 0));
        EXPECT_EQ(nullptr, set.getBrush(3));
    }
    CUiScale::set(1.0);
}

TEST(CBrushSetTest, OtherVersionClearsOldContentAndZeroCountStaysEmpty)
{
    const std::vector<uint8_t> good = threeBrushes();
    const std::vector<uint8_t> future = threeBrushes(2);
    const std::vector<uint8_t> none = threeBrushes(1, 0);
    CBrushSet set;
    ASSERT_TRUE(reads(set, good));
    ASSERT_TRUE(reads(set, future));
    EXPECT_EQ(0, set.getBrushCount());
    ASSERT_TRUE(reads(set, none));
    EXPECT_EQ(0, set.getBrushCount());
}

TEST(CBrushSetTest, TruncatedCoverageFailsAndWrittenSetReadsBack)
{
    const std::vector<uint8_t> bytes = threeBrushes();
    CBrushSet broken;
    EXPECT_FALSE(reads(broken, bytes, 1));

    CBrushSet set;
    ASSERT_TRUE(reads(set, bytes));
    std::vector<uint8_t> copyBytes; // outlives the copy, which points into it
    CBrushSet copy;
    ASSERT_TRUE(copiesByWriting(set, copy, copyBytes));
    ASSERT_EQ(3, copy.getBrushCount());
    EXPECT_DOUBLE_EQ(1.24, copy.getBrush(1)->getRadius());
    EXPECT_EQ(0, std::memcmp(set.getBrush(1)->getCoverage(), copy.getBrush(1)->getCoverage(),
                             set.getBrush(1)->getCoverageSize()));
}
