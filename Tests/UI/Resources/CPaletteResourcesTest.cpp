// The five embedded palettes, as the product ships them.

#include "UI/Resources/CPalette.h"
#include "UI/Resources/CPaletteObject.h"

#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CResourceReader.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

using kel::CPalette;

namespace
{

const char* const kSchemes[] = {"Default", "Military", "Red", "Blue", "Green"};

std::string resourceName(const char* scheme)
{
    return std::string("../../../Gfx/Palettes/") + scheme + ".pal";
}

// Every stored colour name, as the build lists it from the one role list.
std::vector<std::string> allNames()
{
    std::ifstream in(KEL_BINARY_DIR "/Resources/Palettes/names.txt");
    std::vector<std::string> names;
    for (std::string line; std::getline(in, line);)
        names.push_back(line);
    return names;
}

class CPaletteResourcesTest : public testing::Test
{
protected:
    void SetUp() override { kel::CResourceTable::install(kel::resources::kResourceTable); }

    // Reads one embedded palette; also hands out its bytes.
    void load(const char* scheme, CPalette& palette, const uint8_t** outData = nullptr,
              size_t* outSize = nullptr)
    {
        const uint8_t* data = nullptr;
        size_t size = 0;
        ASSERT_TRUE(kel::CResourceTable::find(resourceName(scheme).c_str(), data, size)) << scheme;
        kel::CMemoryReader in(data, size);
        kel::CError* error = palette.read(in);
        ASSERT_EQ(error, nullptr) << scheme;
        if (outData)
            *outData = data;
        if (outSize)
            *outSize = size;
    }
};

// The names as they lie in the file: the header's count, then each record's name, skipping its
// alpha and ramps. Fails the test when the bytes end early.
std::vector<std::string> storedNames(const uint8_t* data, size_t size, uint32_t& outCount)
{
    std::vector<std::string> names;
    kel::CMemoryReader in(data, size);
    uint32_t version = 0;
    outCount = 0;
    EXPECT_EQ(in.readUInt32(version), nullptr);
    EXPECT_EQ(in.readUInt32(outCount), nullptr);
    for (uint32_t i = 0; i < outCount; ++i)
    {
        uint32_t length = 0;
        std::string name;
        EXPECT_EQ(in.readUInt32(length), nullptr);
        name.resize(length);
        EXPECT_EQ(in.read(&name[0], length), nullptr);
        EXPECT_EQ(in.consume(8 + 3 * kel::CColor::kLevels), nullptr);
        if (testing::Test::HasFailure())
            break;
        names.push_back(name);
    }
    return names;
}

} // namespace

TEST_F(CPaletteResourcesTest, AllFivePalettesHoldTheSame581NamesInByteOrder)
{
    std::vector<std::string> defaultNames;
    for (const char* scheme : kSchemes)
    {
        CPalette palette;
        const uint8_t* data = nullptr;
        size_t size = 0;
        load(scheme, palette, &data, &size);
        uint32_t count = 0;
        const std::vector<std::string> names = storedNames(data, size, count);
        EXPECT_EQ(count, 581u) << scheme;
        ASSERT_EQ(names.size(), 581u) << scheme;
        EXPECT_EQ(palette.getColors().getCount(), 581) << scheme;
        // Strictly ascending bytes: sorted, and no name twice.
        for (size_t i = 1; i < names.size(); ++i)
            EXPECT_LT(names[i - 1], names[i]) << scheme << " at " << i;
        if (defaultNames.empty())
            defaultNames = names;
        else
            EXPECT_EQ(names, defaultNames) << scheme;
        // The six animated roles, 32 steps each.
        EXPECT_EQ(palette.getGradients().getCount(), 6) << scheme;
        for (const char* gradient : {"Alarm", "Alarm_Active", "Alarm_ActiveHover", "Alarm_Hover",
                                     "Bypass_Active", "Bypass_ActiveHover"})
            EXPECT_EQ(palette.getGradientSteps(gradient), 32) << scheme << ": " << gradient;
    }
    // The build's list of names (what the other tests walk) is the one the palettes hold.
    EXPECT_EQ(allNames(), defaultNames);
}

TEST_F(CPaletteResourcesTest, OnlyTheTranslucentRolesAndTheirHoverTwinsAreSeeThrough)
{
    const struct
    {
        const char* role;
        double alpha;
    } translucent[] = {
        {"WindowBlocker", 0.5},        {"PanelTexture", 0.5},     {"GraphWeightedLines", 0.5},
        {"CSSliderBarUnderlay", 0.7},  {"HoveredParagraph", 0.7}, {"PanelGradient", 0.7},
        {"LevelMeterWaveform2", 0.75}, {"CSSelectBG", 0.25},      {"ButtonABTextInactive", 0.5}};
    for (const char* scheme : kSchemes)
    {
        CPalette palette;
        load(scheme, palette);
        int seeThrough = 0;
        for (const auto& entry : palette.getColors())
            seeThrough += entry.second.alpha != 1.0 ? 1 : 0;
        EXPECT_EQ(seeThrough, 18) << scheme;
        for (const auto& expected : translucent)
        {
            for (const std::string& name :
                 {std::string(expected.role), std::string(expected.role) + "_Hover"})
            {
                const kel::CColor* color = palette.findColor(name.c_str());
                ASSERT_NE(color, nullptr) << scheme << ": " << name;
                EXPECT_DOUBLE_EQ(color->alpha, expected.alpha) << scheme << ": " << name;
            }
        }
    }
}

TEST_F(CPaletteResourcesTest, EmbeddedPalettesWriteBackByteForByte)
{
    for (const char* scheme : kSchemes)
    {
        CPalette palette;
        const uint8_t* data = nullptr;
        size_t size = 0;
        load(scheme, palette, &data, &size);
        kel::CMemoryWriteBuffer out(1 << 20);
        ASSERT_EQ(palette.write(out), nullptr);
        ASSERT_EQ(out.getSize(), size) << scheme;
        EXPECT_EQ(std::memcmp(out.getData(), data, size), 0) << scheme;
    }
}

TEST_F(CPaletteResourcesTest, GradientsFadeTheRoleOutOverTheirSteps)
{
    CPalette palette;
    load("Default", palette);
    const kel::CColor* first = palette.getColor("Alarm", 0.0);
    const kel::CColor* middle = palette.getColor("Alarm", 0.5);
    const kel::CColor* last = palette.getColor("Alarm", 1.0);
    EXPECT_EQ(first, palette.findColor("Alarm|0"));
    EXPECT_EQ(middle, palette.findColor("Alarm|16"));
    EXPECT_EQ(last, palette.findColor("Alarm|31"));
    // A strong red at the top of the ramp, dimmer half way, black at the end.
    EXPECT_GE(first->red[255], 240);
    EXPECT_LT(first->green[255], 80);
    EXPECT_LT(middle->red[255], first->red[255]);
    EXPECT_GT(middle->red[255], last->red[255]);
    EXPECT_EQ(last->getSolidRGB(), 0u);
}

TEST_F(CPaletteResourcesTest, SchemesDifferWhereTheyShouldAndAgreeOnTheSelectorIcons)
{
    CPalette defaults, military;
    load("Default", defaults);
    load("Military", military);
    EXPECT_NE(*defaults.findColor("Panel"), *military.findColor("Panel"));
    EXPECT_NE(*defaults.findColor("Button_Active"), *military.findColor("Button_Active"));
    // Each selector icon shows its own scheme whichever scheme is in force.
    EXPECT_EQ(*defaults.findColor("PalIconMilitaryInner"),
              *military.findColor("PalIconMilitaryInner"));
    // Failed lookups draw the grey pictures as they are.
    const kel::CColor* fallback = defaults.getDefaultColor();
    EXPECT_EQ(fallback->red[0], 0);
    EXPECT_EQ(fallback->blue[128], 128);
    EXPECT_EQ(fallback->green[255], 255);
}

TEST_F(CPaletteResourcesTest, PaletteObjectLoadsItsFileAtInit)
{
    auto* object = new kel::CPaletteObject();
    ASSERT_EQ(object->setAttr("file", kel::CAttrValue(resourceName("Blue").c_str()), false),
              nullptr);
    EXPECT_EQ(object->getPalette(), nullptr);
    ASSERT_EQ(object->init(), nullptr);
    ASSERT_NE(object->getPalette(), nullptr);
    EXPECT_NE(object->getPalette()->findColor("Button_ActiveHover"), nullptr);
    kel::CObject::destroyObject(object);

    // A missing resource fails the initialisation with the open error.
    auto* missing = new kel::CPaletteObject();
    ASSERT_EQ(missing->setAttr("file", kel::CAttrValue("../../../Gfx/Palettes/None.pal"), false),
              nullptr);
    kel::CError* error = missing->init();
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(missing->getPalette(), nullptr);
    delete error;
    kel::CObject::destroyObject(missing);
}
