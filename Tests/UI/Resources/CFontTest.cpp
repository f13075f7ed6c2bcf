#include "UI/Resources/CFont.h"

#include "Core/CMemoryReader.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CUiScale.h"
#include "CImageTestFiles.h"

#include <gtest/gtest.h>

using namespace kel;
using namespace kel::test;

namespace
{

// Glyphs for 'A' and Greek small omega (966), line metrics 14, 3, 3.
std::vector<uint8_t> twoGlyphFont(uint32_t fontVersion = 1)
{
    CMemoryWriteBuffer out;
    EXPECT_EQ(nullptr, out.writeUInt32(fontVersion));
    EXPECT_EQ(nullptr, out.writeUInt32(1));
    EXPECT_EQ(nullptr, out.writeUInt32(0));
    EXPECT_EQ(nullptr, out.writeUInt32(2));
    for (int code : {65, 966})
    {
        EXPECT_EQ(nullptr, out.writeInt32(code));
        EXPECT_EQ(nullptr, out.writeUInt32(1));
        std::vector<LayerVariant> variants = sizedVariants(255);
        for (LayerVariant& v : variants)
            v.y = -v.width; // above the baseline
        writeLayer(out, 0, CImageLayer::kAlphaMask, variants);
    }
    EXPECT_EQ(nullptr, out.writeInt32(14));
    EXPECT_EQ(nullptr, out.writeInt32(3));
    EXPECT_EQ(nullptr, out.writeInt32(3));
    return bytesOf(out);
}

} // namespace

TEST(CFontTest, GlyphsAreFoundByCharacterCodeIncludingCodesAbove255)
{
    const std::vector<uint8_t> bytes = twoGlyphFont();
    CMemoryReader reader(bytes.data(), bytes.size());
    CFont font;
    ASSERT_EQ(nullptr, font.read(reader));
    EXPECT_EQ(static_cast<int64_t>(bytes.size()), reader.getPosition());
    ASSERT_NE(nullptr, font.getGlyph(966));
    EXPECT_EQ(-10, font.getGlyph(966)->getLayer(0)->getY());
    EXPECT_DOUBLE_EQ(10.5, font.getGlyph(65)->getLayer(0)->getAdvance());
    EXPECT_EQ(nullptr, font.getGlyph(66));
    EXPECT_EQ(nullptr, font.getGlyph(500));
    EXPECT_EQ(nullptr, font.getGlyph(5000));
}

TEST(CFontTest, LineMetricsScaleAtUseRoundingHalfAwayFromZero)
{
    const std::vector<uint8_t> bytes = twoGlyphFont();
    CMemoryReader reader(bytes.data(), bytes.size());
    CFont font;
    ASSERT_EQ(nullptr, font.read(reader));
    EXPECT_EQ(14, font.getLineHeight());
    CUiScale::set(1.25);
    EXPECT_EQ(18, font.getLineHeight()); // 17.5
    EXPECT_EQ(4, font.getLineAbove());   // 3.75
    CUiScale::set(0.8);
    EXPECT_EQ(11, font.getLineHeight()); // 11.2
    EXPECT_EQ(2, font.getLineBelow());   // 2.4
    CUiScale::set(0.5);
    EXPECT_EQ(2, font.getLineAbove()); // 1.5
    CUiScale::set(1.0);
    EXPECT_EQ(14, font.getStoredLineHeight());
}

TEST(CFontTest, OtherFontVersionLoadsEmpty)
{
    const std::vector<uint8_t> good = twoGlyphFont();
    const std::vector<uint8_t> future = twoGlyphFont(7);
    CFont font;
    CMemoryReader first(good.data(), good.size());
    ASSERT_EQ(nullptr, font.read(first));
    CMemoryReader second(future.data(), future.size());
    ASSERT_EQ(nullptr, font.read(second));
    EXPECT_EQ(0, font.getImageCount());
    EXPECT_EQ(0, font.getStoredLineHeight());
}

TEST(CFontTest, WrittenFontReadsBack)
{
    const std::vector<uint8_t> bytes = twoGlyphFont();
    CMemoryReader reader(bytes.data(), bytes.size());
    CFont font;
    ASSERT_EQ(nullptr, font.read(reader));
    CMemoryWriteBuffer written;
    ASSERT_EQ(nullptr, font.write(written));
    CMemoryReader again(written.getData(), written.getSize());
    CFont copy;
    ASSERT_EQ(nullptr, copy.read(again));
    EXPECT_EQ(2, copy.getImageCount());
    EXPECT_EQ(3, copy.getStoredLineBelow());
    EXPECT_EQ(10, copy.getGlyph(966)->getLayer(0)->getWidth());
}

TEST(CFontTest, TruncatedMetricsFail)
{
    const std::vector<uint8_t> bytes = twoGlyphFont();
    CMemoryReader reader(bytes.data(), bytes.size() - 2);
    CFont font;
    CError* error = font.read(reader);
    ASSERT_NE(nullptr, error);
    delete error;
}
