#include "UI/CLinearBitmap.h"

#include "Core/CMemoryWriteBuffer.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CImageCoder.h"
#include "UI/Resources/CImageLayer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

using namespace kel;

namespace
{

constexpr uint32_t kBackground = 0x102030; // red 16, green 32, blue 48

// Grey g gives red g, green 255 - g, blue g / 2: every channel tells which grey was looked up.
CColor testColor(double alpha = 1.0)
{
    CColor color;
    for (int g = 0; g < 256; ++g)
        color.setLevel(g, static_cast<uint8_t>(g), static_cast<uint8_t>(255 - g),
                       static_cast<uint8_t>(g / 2));
    color.alpha = alpha;
    return color;
}

uint8_t head(int type, int length)
{
    return static_cast<uint8_t>((length << 3) | type);
}

// A layer of the given rows (each a list of run bytes, empty for an offset of 0).
void makeLayer(CImageLayer& layer, int format, int drawWidth,
               const std::vector<std::vector<uint8_t>>& rows, int x = 0, int y = 0)
{
    std::vector<uint8_t> data = {static_cast<uint8_t>(rows.size()), 0};
    data.resize(2 + 4 * rows.size());
    for (size_t i = 0; i < rows.size(); ++i)
    {
        if (rows[i].empty())
            continue;
        const uint32_t offset = static_cast<uint32_t>(data.size());
        for (int b = 0; b < 4; ++b)
            data[2 + 4 * i + b] = static_cast<uint8_t>(offset >> (8 * b));
        data.insert(data.end(), rows[i].begin(), rows[i].end());
    }
    layer.setFormat(0, format);
    layer.setGeometry(drawWidth, static_cast<int>(rows.size()), 0.0, x, y, drawWidth,
                      static_cast<int>(rows.size()));
    ASSERT_EQ(nullptr, layer.setCodedData(data.data(), data.size(), 1.0));
}

struct BitmapFixture
{
    CLinearBitmap bitmap;
    CLinearBitmap::Rect all;

    BitmapFixture(int width, int height)
    {
        EXPECT_EQ(nullptr, bitmap.resize(width, height));
        bitmap.fill(kBackground);
        all = {0, 0, width, height};
    }
    std::vector<uint32_t> row(int y) const
    {
        return std::vector<uint32_t>(bitmap.getRow(y), bitmap.getRow(y) + bitmap.getWidth());
    }
};

// Grey and alpha: a transparent pixel, two opaque greys 10 and 200, grey 100 at alpha 128.
void makeGreyRow(CImageLayer& layer)
{
    makeLayer(layer, CImageLayer::kGreyAlpha, 4,
              {{head(0, 1), head(2, 2), 10, 200, head(1, 1), 100, 128}});
}

} // namespace

TEST(CLinearBitmapTest, GreyLayerOnTheSolidPathStoresRampColoursAndBlendsByPixelAlpha)
{
    CImageLayer layer;
    makeGreyRow(layer);
    BitmapFixture f(5, 1);
    const CColor color = testColor();
    f.bitmap.drawLayer(layer, 0, 0, f.all, &color, 1.0);
    EXPECT_EQ((std::vector<uint32_t>{kBackground, 0x0AF505, 0xC83764, 0x3A5D31, kBackground}),
              f.row(0));
}

TEST(CLinearBitmapTest, GreyLayerOnTheTranslucentPathMixesByOpacity)
{
    CImageLayer layer;
    makeGreyRow(layer);
    BitmapFixture f(4, 1);
    const CColor color = testColor();
    f.bitmap.drawLayer(layer, 0, 0, f.all, &color, 0.5);
    EXPECT_EQ((std::vector<uint32_t>{kBackground, 0x0D8A1A, 0x6C2B4A, 0x253E30}), f.row(0));
}

TEST(CLinearBitmapTest, MaskLayerTakesTheColourAtGrey255OnBothPaths)
{
    CImageLayer layer;
    makeLayer(layer, CImageLayer::kAlphaMask, 3, {{head(2, 2), head(1, 1), 64}});
    const CColor solid = testColor();
    BitmapFixture a(3, 1);
    a.bitmap.drawLayer(layer, 0, 0, a.all, &solid, 1.0);
    EXPECT_EQ((std::vector<uint32_t>{0xFF007F, 0xFF007F, 0x4B1843}), a.row(0));

    // The colour's own alpha and the opacity multiply: 0.8 * 0.5 gives 13107 / 32768.
    const CColor translucent = testColor(0.8);
    BitmapFixture b(3, 1);
    b.bitmap.drawLayer(layer, 0, 0, b.all, &translucent, 0.5);
    EXPECT_EQ((std::vector<uint32_t>{0x6F134F, 0x6F134F, 0x271C37}), b.row(0));
}

TEST(CLinearBitmapTest, ColourLayerKeepsItsOwnBlueGreenRedOnBothPaths)
{
    CImageLayer layer;
    makeLayer(layer, CImageLayer::kBgrAlpha, 2,
              {{head(2, 1), 1, 2, 3, head(1, 1), 200, 100, 50, 100}});
    const CColor color = testColor();
    BitmapFixture a(2, 1);
    a.bitmap.drawLayer(layer, 0, 0, a.all, &color, 1.0);
    EXPECT_EQ((std::vector<uint32_t>{0x030201, 0x1D3A6B}), a.row(0));

    BitmapFixture b(2, 1);
    b.bitmap.drawLayer(layer, 0, 0, b.all, &color, 0.25);
    EXPECT_EQ((std::vector<uint32_t>{0x0C1824, 0x13263E}), b.row(0));
}

TEST(CLinearBitmapTest, OpacityJustBelowFullStillTakesTheSolidPath)
{
    CImageLayer layer;
    makeGreyRow(layer);
    const CColor color = testColor();
    BitmapFixture solid(4, 1);
    solid.bitmap.drawLayer(layer, 0, 0, solid.all, &color, 0.9961); // 32640.2 / 32768
    EXPECT_EQ(0x0AF505u, solid.bitmap.getPixel(1, 0));
    EXPECT_EQ(0x3A5D31u, solid.bitmap.getPixel(3, 0));

    BitmapFixture translucent(4, 1);
    translucent.bitmap.drawLayer(layer, 0, 0, translucent.all, &color, 0.996); // 32636.9
    EXPECT_NE(0x0AF505u, translucent.bitmap.getPixel(1, 0));
}

TEST(CLinearBitmapTest, RowWithOffsetZeroIsSkippedAndTheWalkGoesOn)
{
    CImageLayer layer;
    makeLayer(layer, CImageLayer::kGreyAlpha, 2,
              {{head(2, 2), 10, 10}, {}, {head(2, 2), 200, 200}});
    BitmapFixture f(2, 3);
    const CColor color = testColor();
    f.bitmap.drawLayer(layer, 0, 0, f.all, &color, 1.0);
    EXPECT_EQ((std::vector<uint32_t>{0x0AF505, 0x0AF505}), f.row(0));
    EXPECT_EQ((std::vector<uint32_t>{kBackground, kBackground}), f.row(1));
    EXPECT_EQ((std::vector<uint32_t>{0xC83764, 0xC83764}), f.row(2));
}

TEST(CLinearBitmapTest, OpacityZeroWalksEverythingChangesNothingAndCountsTheLoad)
{
    CImageLayer layer;
    makeLayer(layer, CImageLayer::kGreyAlpha, 4,
              {{head(2, 2), 10, 200, head(1, 2), 1, 2, 3, 4}, {head(2, 4), 1, 2, 3, 4}});
    BitmapFixture f(4, 2);
    const CColor color = testColor();
    CLinearBitmap::resetDrawLoad();
    f.bitmap.drawLayer(layer, 0, 0, f.all, &color, 0.0);
    EXPECT_EQ(std::vector<uint32_t>(4, kBackground), f.row(0));
    EXPECT_EQ(std::vector<uint32_t>(4, kBackground), f.row(1));
    EXPECT_EQ(500 + 4 * 2, CLinearBitmap::getDrawLoad());

    // An empty clip returns before anything is counted.
    f.bitmap.drawLayer(layer, 0, 0, CLinearBitmap::Rect{2, 0, 2, 2}, &color, 1.0);
    EXPECT_EQ(500 + 4 * 2, CLinearBitmap::getDrawLoad());
}

TEST(CLinearBitmapTest, LayerOffsetPlacesPixelsRelativeToTheOrigin)
{
    // A glyph-like mask one pixel up and left of its origin, drawn partly off the bitmap.
    CImageLayer layer;
    makeLayer(layer, CImageLayer::kAlphaMask, 2, {{head(2, 2)}, {head(0, 1), head(2, 1)}}, -1, -1);
    BitmapFixture f(3, 3);
    const CColor color = testColor();
    f.bitmap.drawLayer(layer, 2, 2, f.all, &color, 1.0);
    EXPECT_EQ((std::vector<uint32_t>{kBackground, 0xFF007F, 0xFF007F}), f.row(1));
    EXPECT_EQ((std::vector<uint32_t>{kBackground, kBackground, 0xFF007F}), f.row(2));

    BitmapFixture edge(3, 3);
    edge.bitmap.drawLayer(layer, 0, 0, edge.all, &color, 1.0);
    EXPECT_EQ((std::vector<uint32_t>{0xFF007F, kBackground, kBackground}), edge.row(0));
    EXPECT_EQ((std::vector<uint32_t>{kBackground, kBackground, kBackground}), edge.row(1));
}

TEST(CLinearBitmapTest, ExtendedRunHeadCarriesLengthsAbove31)
{
    // Length 40, opaque mask: control value (40 << 3) | 4 | 2 = 0x146.
    CImageLayer layer;
    makeLayer(layer, CImageLayer::kAlphaMask, 41, {{0x46, 0x01, head(1, 1), 255}});
    BitmapFixture f(41, 1);
    const CColor color = testColor();
    f.bitmap.drawLayer(layer, 0, 0, f.all, &color, 1.0);
    std::vector<uint32_t> expected(40, 0xFF007F);
    expected.push_back(0xFE007E); // alpha 255 on a translucent run still mixes by 255 / 256
    EXPECT_EQ(expected, f.row(0));
}

// Runs of every type and of both head lengths, cut by clips that enter them in the middle: each
// clipped drawing must equal the full drawing inside the clip and leave the rest alone.
TEST(CLinearBitmapTest, ClipEntersCutRunsAtTheRightBytesInAllFormats)
{
    constexpr int kWide = 70;
    constexpr int kHigh = 6;
    std::mt19937 random(7);
    const CColor color = testColor();
    for (int format : {CImageLayer::kAlphaMask, CImageLayer::kGreyAlpha, CImageLayer::kBgrAlpha})
    {
        // Stretches of one alpha class with random lengths, so runs straddle every clip edge.
        std::vector<uint8_t> pixels(kWide * kHigh * format);
        for (int y = 0; y < kHigh; ++y)
        {
            int x = 0;
            while (x < kWide)
            {
                const int length = 1 + static_cast<int>(random() % 40);
                const int kind = static_cast<int>(random() % 3);
                for (int i = 0; i < length && x < kWide; ++i, ++x)
                {
                    uint8_t* p = &pixels[(y * kWide + x) * format];
                    for (int c = 0; c < format - 1; ++c)
                        p[c] = static_cast<uint8_t>(random());
                    p[format - 1] = kind == 0 ? 0 : (kind == 1 ? 255 : 1 + random() % 254);
                }
            }
        }
        CMemoryWriteBuffer coded;
        ASSERT_EQ(nullptr, CImageCoder::encode(pixels.data(), kWide, kHigh, format, coded));
        CImageLayer layer;
        layer.setFormat(0, format);
        layer.setGeometry(kWide, kHigh, 0.0, 0, 0, kWide, kHigh);
        ASSERT_EQ(nullptr, layer.setCodedData(coded.getData(), coded.getSize(), 1.0));

        for (double opacity : {1.0, 0.6})
        {
            BitmapFixture full(kWide, kHigh);
            full.bitmap.drawLayer(layer, 0, 0, full.all, &color, opacity);
            for (int left = 0; left < kWide; left += 3)
            {
                const CLinearBitmap::Rect clip{left, 1 + left % 3, left + 1 + left % 29, kHigh - 1};
                BitmapFixture cut(kWide, kHigh);
                cut.bitmap.drawLayer(layer, 0, 0, clip, &color, opacity);
                for (int y = 0; y < kHigh; ++y)
                {
                    for (int x = 0; x < kWide; ++x)
                    {
                        const bool inside =
                            x >= clip.left && x < clip.right && y >= clip.top && y < clip.bottom;
                        ASSERT_EQ(inside ? full.bitmap.getPixel(x, y) : kBackground,
                                  cut.bitmap.getPixel(x, y))
                            << "format " << format << " opacity " << opacity << " clip left "
                            << left << " at " << x << "," << y;
                    }
                }
            }
        }
    }
}

TEST(CLinearBitmapTest, CoderRoundTripsOpaqueAndTransparentPixels)
{
    // Identity ramps: an opaque grey pixel comes back as that grey in all three channels.
    CColor grey;
    for (int g = 0; g < 256; ++g)
        grey.setLevel(g, static_cast<uint8_t>(g), static_cast<uint8_t>(g), static_cast<uint8_t>(g));
    constexpr int kWide = 50;
    std::vector<uint8_t> pixels(kWide * 2 * 2, 0);
    for (int x = 5; x < 45; ++x)
    {
        pixels[x * 2] = static_cast<uint8_t>(x * 5);
        pixels[x * 2 + 1] = 255;
    }
    CMemoryWriteBuffer coded;
    ASSERT_EQ(nullptr,
              CImageCoder::encode(pixels.data(), kWide, 2, CImageLayer::kGreyAlpha, coded));
    // The second row is empty and gets offset 0; the first uses a two-byte run head.
    const uint8_t* data = coded.getData();
    EXPECT_EQ(2, data[0] | (data[1] << 8));
    EXPECT_EQ(0u, static_cast<uint32_t>(data[6] | data[7] | data[8] | data[9]));
    CImageLayer layer;
    layer.setFormat(0, CImageLayer::kGreyAlpha);
    layer.setGeometry(kWide, 2, 0.0, 0, 0, kWide, 2);
    ASSERT_EQ(nullptr, layer.setCodedData(coded.getData(), coded.getSize(), 1.0));
    BitmapFixture f(kWide, 2);
    f.bitmap.drawLayer(layer, 0, 0, f.all, &grey, 1.0);
    for (int x = 0; x < kWide; ++x)
    {
        const uint32_t expected =
            x >= 5 && x < 45 ? CLinearBitmap::makePixel(x * 5, x * 5, x * 5) : kBackground;
        EXPECT_EQ(expected, f.bitmap.getPixel(x, 0)) << x;
        EXPECT_EQ(kBackground, f.bitmap.getPixel(x, 1)) << x;
    }
}
