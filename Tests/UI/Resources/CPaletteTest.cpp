#include "UI/Resources/CPalette.h"

#include "CPaletteTestSupport.h"

#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using kel::CColor;
using kel::CPalette;
using kel::test::flatColor;

namespace
{

std::vector<uint8_t> writePalette(const CPalette& palette)
{
    kel::CMemoryWriteBuffer out(4096);
    kel::CError* error = palette.write(out);
    EXPECT_EQ(error, nullptr);
    delete error;
    return std::vector<uint8_t>(out.getData(), out.getData() + out.getSize());
}

uint32_t u32At(const std::vector<uint8_t>& bytes, size_t at)
{
    return bytes[at] | (bytes[at + 1] << 8) | (bytes[at + 2] << 16) |
           (uint32_t(bytes[at + 3]) << 24);
}

} // namespace

TEST(CPalette, GradientPhaseZeroHalfAndOneSelectFirstMiddleAndLastStep)
{
    CPalette palette;
    kel::test::fillSmallPalette(palette);
    EXPECT_EQ(palette.getColor("Alarm", 0.0), palette.findColor("Alarm|0"));
    // 31 x 0.5 = 15.5, rounded half away from zero.
    EXPECT_EQ(palette.getColor("Alarm", 0.5), palette.findColor("Alarm|16"));
    EXPECT_EQ(palette.getColor("Alarm", 1.0), palette.findColor("Alarm|31"));
    EXPECT_EQ(palette.getColor("Alarm", 1.0)->red[255], 255 - 8 * 31);

    EXPECT_EQ(CPalette::gradientStep(32, 0.49), 15);
    EXPECT_EQ(CPalette::gradientStep(32, -0.5), -16);
    EXPECT_EQ(CPalette::gradientStep(1, 0.7), 0);
    // A phase beyond the steps names no colour: the default answers.
    EXPECT_EQ(palette.getColor("Alarm", 2.0), palette.getDefaultColor());
}

TEST(CPalette, UnknownNameAnswersTheCopyOfDefaultAndLogsIt)
{
    CPalette palette;
    kel::test::fillSmallPalette(palette);
    kel::test::CLogCapture log;
    const CColor* missing = palette.getColor("Button_Error");
    ASSERT_NE(missing, nullptr);
    EXPECT_EQ(missing, palette.getDefaultColor());
    EXPECT_EQ(*missing, *palette.findColor("Default"));
    EXPECT_EQ(palette.findColor("Button_Error"), nullptr);
    if (kel::CDebugChannel::isCompiledIn())
    {
        EXPECT_EQ(log.count("Color not found: 'Button_Error'"), 1);
    }
}

TEST(CPalette, WriteGivesSortedRecordsThenGradientsAndReadsBackByteForByte)
{
    CPalette palette;
    kel::test::fillSmallPalette(palette);
    palette.setColor("Aardvark", flatColor(7, 7, 7, 0.25)); // sorts first
    const std::vector<uint8_t> bytes = writePalette(palette);

    EXPECT_EQ(u32At(bytes, 0), 1u);
    EXPECT_EQ(u32At(bytes, 4), static_cast<uint32_t>(palette.getColors().getCount()));
    EXPECT_EQ(u32At(bytes, 8), 8u);
    EXPECT_EQ(std::memcmp(&bytes[12], "Aardvark", 8), 0);
    // The gradient table follows the records: u32 length, name, 776 bytes each.
    size_t at = 8;
    for (const auto& entry : palette.getColors())
        at += 4 + entry.first.getLength() + CColor::kStoredBytes;
    EXPECT_EQ(u32At(bytes, at), 1u);
    EXPECT_EQ(u32At(bytes, at + 4), 5u);
    EXPECT_EQ(std::memcmp(&bytes[at + 8], "Alarm", 5), 0);
    EXPECT_EQ(u32At(bytes, at + 13), 32u);
    EXPECT_EQ(bytes.size(), at + 17);

    kel::CMemoryReader in(bytes.data(), bytes.size());
    CPalette back;
    ASSERT_EQ(back.read(in), nullptr);
    EXPECT_EQ(writePalette(back), bytes);
    EXPECT_EQ(back.getGradientSteps("Alarm"), 32);
    EXPECT_EQ(back.findColor("Aardvark")->alpha, 0.25);
    EXPECT_EQ(*back.getDefaultColor(), flatColor(1, 2, 3));
}

TEST(CPalette, ReadingReplacesEverythingAndRepeatedNamesKeepTheLast)
{
    // Two records of one name, written by hand: the second wins.
    kel::CMemoryWriteBuffer out(4096);
    ASSERT_EQ(out.writeUInt32(1), nullptr);
    ASSERT_EQ(out.writeUInt32(2), nullptr);
    for (uint8_t red : {5, 6})
    {
        ASSERT_EQ(out.writeString("Default"), nullptr);
        ASSERT_EQ(flatColor(red, 0, 0).write(out), nullptr);
    }
    ASSERT_EQ(out.writeUInt32(0), nullptr);

    CPalette palette;
    kel::test::fillSmallPalette(palette);
    kel::CMemoryReader in(out.getData(), out.getSize());
    ASSERT_EQ(palette.read(in), nullptr);
    EXPECT_EQ(palette.getColors().getCount(), 1);
    EXPECT_EQ(palette.getGradients().getCount(), 0);
    EXPECT_EQ(palette.getDefaultColor()->red[0], 6);
}

TEST(CPalette, UnknownVersionIsNoErrorAndLeavesThePaletteEmpty)
{
    kel::CMemoryWriteBuffer out(128);
    ASSERT_EQ(out.writeUInt32(2), nullptr);
    ASSERT_EQ(out.writeUInt32(1), nullptr);
    CPalette palette;
    kel::test::fillSmallPalette(palette);
    kel::CMemoryReader in(out.getData(), out.getSize());
    ASSERT_EQ(palette.read(in), nullptr);
    EXPECT_EQ(palette.getColors().getCount(), 0);
    EXPECT_EQ(palette.getGradients().getCount(), 0);
    // Lookups still answer something drawable.
    EXPECT_EQ(palette.getColor("Button"), palette.getDefaultColor());
}

TEST(CPalette, TruncatedFileFailsAtEveryCutWithoutCrash)
{
    CPalette palette;
    kel::test::fillSmallPalette(palette);
    const std::vector<uint8_t> bytes = writePalette(palette);
    for (size_t cut : {size_t(0), size_t(3), size_t(8), size_t(14), size_t(100), size_t(800),
                       bytes.size() / 2, bytes.size() - 9, bytes.size() - 1})
    {
        kel::CMemoryReader in(bytes.data(), cut);
        CPalette back;
        kel::CError* error = back.read(in);
        EXPECT_NE(error, nullptr) << "cut at " << cut;
        delete error;
    }
}
