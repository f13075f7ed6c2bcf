#include "UI/Resources/CColor.h"

#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"

#include <gtest/gtest.h>

#include <cstring>

using kel::CColor;

TEST(CColor, StoredFormIsAlphaThenRedGreenBlueRampsAndReadsBack)
{
    CColor color;
    color.alpha = 0.7;
    for (int grey = 0; grey < CColor::kLevels; ++grey)
        color.setLevel(grey, static_cast<uint8_t>(grey), static_cast<uint8_t>(255 - grey),
                       static_cast<uint8_t>(grey / 2));
    kel::CMemoryWriteBuffer out(128);
    ASSERT_EQ(color.write(out), nullptr);
    ASSERT_EQ(out.getSize(), static_cast<size_t>(CColor::kStoredBytes));
    ASSERT_EQ(CColor::kStoredBytes, 776);

    const uint8_t* bytes = out.getData();
    double alpha = 0;
    std::memcpy(&alpha, bytes, 8); // little-endian host
    EXPECT_EQ(alpha, 0.7);
    EXPECT_EQ(bytes[8 + 200], 200);       // red ramp
    EXPECT_EQ(bytes[8 + 256 + 200], 55);  // green ramp
    EXPECT_EQ(bytes[8 + 512 + 200], 100); // blue ramp

    kel::CMemoryReader in(out.getData(), out.getSize());
    CColor back;
    ASSERT_EQ(back.read(in), nullptr);
    EXPECT_EQ(back, color);
    back.setLevel(17, 0, 0, 0);
    EXPECT_NE(back, color);
}

TEST(CColor, ShortStreamFailsWithoutCrash)
{
    CColor color;
    kel::CMemoryWriteBuffer out(128);
    ASSERT_EQ(color.write(out), nullptr);
    for (size_t cut : {0, 7, 8, 300, 775})
    {
        kel::CMemoryReader in(out.getData(), cut);
        CColor back;
        kel::CError* error = back.read(in);
        EXPECT_NE(error, nullptr) << "cut at " << cut;
        delete error;
    }
}

TEST(CColor, SolidColourIsTheValueAtGrey255AndFlatMeansOneColour)
{
    CColor color;
    color.setFlat(0x12, 0x34, 0x56);
    EXPECT_TRUE(color.isFlat());
    EXPECT_EQ(color.getSolidRGB(), 0x123456u);
    color.setLevel(0, 0, 0, 0);
    EXPECT_FALSE(color.isFlat());
    EXPECT_EQ(color.getSolidRGB(), 0x123456u);
    color.setLevel(255, 0xFF, 0, 0x80);
    EXPECT_EQ(color.getSolidRGB(), 0xFF0080u);
    color.setLevel(256, 1, 1, 1); // outside: ignored
    color.setLevel(-1, 1, 1, 1);
    EXPECT_EQ(color.red[0], 0);
}
