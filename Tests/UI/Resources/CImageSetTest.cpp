#include "UI/Resources/CImageSet.h"

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

// Restores the interface scale that a test changes.
struct ScaleGuard
{
    explicit ScaleGuard(double scale) { CUiScale::set(scale); }
    ~ScaleGuard() { CUiScale::set(1.0); }
};

// A set shaped like the buttons: ranges "" 1-2 and "Active" 1-1, images 1, 2 and 10 (3 to 9 are
// holes); image 2 has two layers.
std::vector<uint8_t> buttonLikeSet(uint32_t version = 1)
{
    CMemoryWriteBuffer out;
    EXPECT_EQ(nullptr, out.writeUInt32(version));
    EXPECT_EQ(nullptr, out.writeUInt32(2));
    EXPECT_EQ(nullptr, out.writeString(CString("")));
    EXPECT_EQ(nullptr, out.writeInt32(1));
    EXPECT_EQ(nullptr, out.writeInt32(2));
    EXPECT_EQ(nullptr, out.writeString(CString("Active")));
    EXPECT_EQ(nullptr, out.writeInt32(1));
    EXPECT_EQ(nullptr, out.writeInt32(1));
    EXPECT_EQ(nullptr, out.writeUInt32(3));
    for (int number : {1, 2, 10})
    {
        EXPECT_EQ(nullptr, out.writeInt32(number));
        const int layers = number == 2 ? 2 : 1;
        EXPECT_EQ(nullptr, out.writeUInt32(layers));
        for (int slot = 0; slot < layers; ++slot)
            writeLayer(out, slot, CImageLayer::kGreyAlpha, sizedVariants(number * 10 + slot));
    }
    return bytesOf(out);
}

// Forwards to a memory reader but hides its bytes, as a file does.
class CHiddenMemoryStream : public CInputStream
{
public:
    explicit CHiddenMemoryStream(const std::vector<uint8_t>& bytes)
        : inner(bytes.data(), bytes.size())
    {
    }
    CError* consume(size_t count) override { return inner.consume(count); }
    CError* read(void* buffer, size_t count) override { return inner.read(buffer, count); }
    CError* readStreamed(void* buffer, size_t count, size_t& outRead) override
    {
        return inner.readStreamed(buffer, count, outRead);
    }

private:
    CMemoryReader inner;
};

int keptWidth(const CImageSet& set)
{
    return set.getImage(1)->getLayer(0)->getWidth();
}

} // namespace

TEST(CImageSetTest, ReadsRangesAndImagesByNumberWithHoles)
{
    const std::vector<uint8_t> bytes = buttonLikeSet();
    CImageSet set;
    ASSERT_EQ(readLength(set, bytes), static_cast<int64_t>(bytes.size()));

    CImageSet::Range range;
    ASSERT_TRUE(set.findRange(CString(""), range));
    EXPECT_EQ(1, range.first);
    EXPECT_EQ(2, range.last);
    ASSERT_TRUE(set.findRange(CString("Active"), range));
    EXPECT_EQ(1, range.first); // shares its first image with the default range
    EXPECT_FALSE(set.findRange(CString("Pushed"), range));

    EXPECT_EQ(3, set.getImageCount());
    EXPECT_EQ(nullptr, set.getImage(0));
    EXPECT_EQ(nullptr, set.getImage(9));
    EXPECT_EQ(nullptr, set.getImage(11));
    EXPECT_EQ(nullptr, set.getImage(-1));
    ASSERT_NE(nullptr, set.getImage(10));
    ASSERT_EQ(2, set.getImage(2)->getLayerCount());
    EXPECT_EQ(1, set.getImage(2)->getLayer(1)->getColorSlot());
    EXPECT_EQ(21, set.getImage(2)->getLayer(1)->getRepresentativeGrey());
}

TEST(CImageSetTest, KeepsTheStoredSizeNearestToTheScaleAndTheEarlierOneAtATie)
{
    const std::vector<uint8_t> bytes = buttonLikeSet();
    const struct
    {
        double scale;
        int width;
    } cases[] = {{1.0, 10}, {0.8, 8},    {1.25, 12}, {0.9, 8},
                 {1.1, 10}, {1.125, 10}, {0.5, 8},   {2.0, 12}};
    for (const auto& c : cases)
    {
        ScaleGuard guard(c.scale);
        CImageSet set;
        ASSERT_TRUE(reads(set, bytes));
        EXPECT_EQ(c.width, keptWidth(set)) << "scale " << c.scale;
        EXPECT_DOUBLE_EQ(c.width + 0.5, set.getImage(1)->getLayer(0)->getAdvance());
    }
}

TEST(CImageSetTest, MemoryResourceIsUsedInPlaceAndOtherStreamsAreCopied)
{
    const std::vector<uint8_t> bytes = buttonLikeSet();
    CImageSet inPlace;
    ASSERT_TRUE(reads(inPlace, bytes));
    const CImageLayer* layer = inPlace.getImage(10)->getLayer(0);
    EXPECT_TRUE(layer->isInPlace());
    EXPECT_GE(layer->getData(), bytes.data());
    EXPECT_LT(layer->getData(), bytes.data() + bytes.size());

    CHiddenMemoryStream hidden(bytes);
    CImageSet copied;
    ASSERT_EQ(nullptr, copied.read(hidden));
    const CImageLayer* copy = copied.getImage(10)->getLayer(0);
    EXPECT_FALSE(copy->isInPlace());
    ASSERT_EQ(layer->getDataSize(), copy->getDataSize());
    EXPECT_EQ(0, std::memcmp(layer->getData(), copy->getData(), copy->getDataSize()));
}

TEST(CImageSetTest, OtherVersionLoadsEmptyAndReplacesOldContents)
{
    const std::vector<uint8_t> good = buttonLikeSet();
    const std::vector<uint8_t> future = buttonLikeSet(2);
    CImageSet set;
    ASSERT_TRUE(reads(set, good));
    ASSERT_TRUE(reads(set, future));
    EXPECT_EQ(0, set.getImageCount());
    EXPECT_TRUE(set.getRanges().isEmpty());
}

TEST(CImageSetTest, EveryTruncationFailsWithAnErrorAndNoCrash)
{
    const std::vector<uint8_t> bytes = buttonLikeSet();
    for (size_t length = 0; length < bytes.size(); ++length)
    {
        CMemoryReader reader(bytes.data(), length);
        CImageSet set;
        CError* error = set.read(reader);
        ASSERT_NE(nullptr, error) << "length " << length;
        EXPECT_GE(error->getFrameCount(), 2);
        delete error;
    }
}

TEST(CImageSetTest, ImpossibleNumbersAndCountsAreRefused)
{
    CMemoryWriteBuffer out;
    ASSERT_EQ(nullptr, out.writeUInt32(1));
    ASSERT_EQ(nullptr, out.writeUInt32(0));
    ASSERT_EQ(nullptr, out.writeUInt32(1));
    ASSERT_EQ(nullptr, out.writeInt32(-3));
    CMemoryReader reader(out.getData(), out.getSize());
    CImageSet set;
    CError* error = set.read(reader);
    ASSERT_NE(nullptr, error);
    EXPECT_STREQ("kelstr_CImageSet_read_ImageNumber", error->getKey());
    delete error;
}

TEST(CImageSetTest, WrittenSetReadsBackWithTheKeptSize)
{
    ScaleGuard guard(1.25);
    const std::vector<uint8_t> bytes = buttonLikeSet();
    CImageSet original;
    ASSERT_TRUE(reads(original, bytes));
    CMemoryWriteBuffer written;
    ASSERT_EQ(nullptr, original.write(written));

    CUiScale::set(0.8); // a file with one size keeps it whatever the scale
    CMemoryReader again(written.getData(), written.getSize());
    CImageSet copy;
    ASSERT_EQ(nullptr, copy.read(again));
    EXPECT_EQ(12, keptWidth(copy));
    EXPECT_DOUBLE_EQ(1.25, copy.getImage(1)->getLayer(0)->getScale());
    EXPECT_EQ(3, copy.getImageCount());
    CImageSet::Range range;
    EXPECT_TRUE(copy.findRange(CString("Active"), range));
    const CImageLayer* a = original.getImage(2)->getLayer(1);
    const CImageLayer* b = copy.getImage(2)->getLayer(1);
    ASSERT_EQ(a->getDataSize(), b->getDataSize());
    EXPECT_EQ(0, std::memcmp(a->getData(), b->getData(), a->getDataSize()));
}

TEST(CImageSetTest, LayerWithoutSizesKeepsNothing)
{
    CMemoryWriteBuffer out;
    writeLayer(out, 3, CImageLayer::kAlphaMask, {}, {});
    CMemoryReader reader(out.getData(), out.getSize());
    CImageLayer layer;
    ASSERT_EQ(nullptr, layer.read(reader));
    EXPECT_EQ(nullptr, layer.getData());
    EXPECT_EQ(0, layer.getDrawWidth());
    EXPECT_EQ(255, layer.getRepresentativeGrey());
}

TEST(CImageSetTest, RepresentativeGreyLooksAtTheFirstTenBytePairsOfRowZero)
{
    auto greyOf = [](const std::vector<uint8_t>& runs)
    {
        const std::vector<uint8_t> data = oneRow(runs);
        CImageLayer layer;
        layer.setFormat(0, CImageLayer::kGreyAlpha);
        EXPECT_EQ(nullptr, layer.setCodedData(data.data(), data.size(), 1.0));
        return layer.getRepresentativeGrey();
    };
    EXPECT_EQ(77, greyOf({(1 << 3) | 0, (1 << 3) | 0, (1 << 3) | 2, 77}));
    EXPECT_EQ(90, greyOf({(1 << 3) | 1, 90, 255}));
    EXPECT_EQ(128, greyOf(std::vector<uint8_t>(20, (1 << 3) | 0)));
    // Pairs, not runs: the eleventh pair is never looked at.
    std::vector<uint8_t> late(20, (1 << 3) | 0);
    late.push_back((1 << 3) | 2);
    late.push_back(5);
    EXPECT_EQ(128, greyOf(late));

    const uint8_t noRows[] = {0, 0};
    CImageLayer empty;
    ASSERT_EQ(nullptr, empty.setCodedData(noRows, sizeof(noRows), 1.0));
    EXPECT_EQ(255, empty.getRepresentativeGrey());
}
