#include "UI/Resources/CFont.h"

#include "Audio/CAudioCreators.h"
#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/CUiCreators.h"
#include "UI/Resources/CFontObject.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CUiScale.h"
#include "CImageTestFiles.h"

#include <gtest/gtest.h>

#include <string>

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
    CFont font;
    ASSERT_EQ(readLength(font, bytes), static_cast<int64_t>(bytes.size()));
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
    CFont font;
    ASSERT_TRUE(reads(font, bytes));
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
    ASSERT_TRUE(reads(font, good));
    ASSERT_TRUE(reads(font, future));
    EXPECT_EQ(0, font.getImageCount());
    EXPECT_EQ(0, font.getStoredLineHeight());
}

TEST(CFontTest, WrittenFontReadsBack)
{
    const std::vector<uint8_t> bytes = twoGlyphFont();
    CFont font;
    ASSERT_TRUE(reads(font, bytes));
    std::vector<uint8_t> copyBytes; // outlives the copy, which points into it
    CFont copy;
    ASSERT_TRUE(copiesByWriting(font, copy, copyBytes));
    EXPECT_EQ(2, copy.getImageCount());
    EXPECT_EQ(3, copy.getStoredLineBelow());
    EXPECT_EQ(10, copy.getGlyph(966)->getLayer(0)->getWidth());
}

TEST(CFontTest, TruncatedMetricsFail)
{
    const std::vector<uint8_t> bytes = twoGlyphFont();
    CFont font;
    EXPECT_FALSE(reads(font, bytes, 2));
}

namespace
{

// The product's embedded resources with the creators of both sides, as the plug-in starts.
class CFontObjectTest : public testing::Test
{
protected:
    void SetUp() override
    {
        CApplication::shutdown();
        CApplication::addCreatorRegistration(&CAudioCreators::registerAll);
        CApplication::addCreatorRegistration(&CUiCreators::registerAll);
        previous = CResourceTable::getInstalled();
        CApplication::init(resources::kResourceTable, "");
        CUiScale::set(1.0);
    }
    void TearDown() override
    {
        CObject::destroyObject(root);
        CApplication::shutdown();
        CResourceTable::install(previous);
    }

    std::string load(const CTreeBlobWriter::Node& tree)
    {
        blob = CTreeBlobWriter::write(tree);
        root = new CObject();
        return test::CErrorText::takeChain(root->loadFromMemory(blob.data(), blob.size(), true));
    }

    CObject* root = nullptr;
    std::vector<uint8_t> blob;
    const CResourceEntry* previous = nullptr;
};

CTreeBlobWriter::Node& addStyle(CTreeBlobWriter::Node& family, const char* style, const char* file)
{
    return family.add("core:object", style)
        .attr("is-font-style", "true")
        .attr("file", std::string("../../../Gfx/Fonts/") + file);
}

} // namespace

TEST_F(CFontObjectTest, DeferredFamilyReadsNothingUntilLoadNowAndKeepsItsFacesOnAReload)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& family = tree.add("font", "micro").attr("is-load-deferred", "true");
    addStyle(family, "regular", "micro.fnt");
    addStyle(family, "bold", "micro_b.fnt");
    // A face whose resource is not there shows that nothing is read at initialisation.
    CTreeBlobWriter::Node& broken = tree.add("font", "broken").attr("is-load-deferred", "true");
    addStyle(broken, "regular", "nowhere.fnt");
    ASSERT_EQ(load(tree), "");

    auto* micro = dynamic_cast<CFontObject*>(root->findObject(CString("micro")));
    ASSERT_NE(micro, nullptr);
    EXPECT_FALSE(micro->isLoaded());
    EXPECT_EQ(micro->getFont(CFontObject::kRegular), nullptr);

    ASSERT_EQ(test::CErrorText::takeChain(micro->loadNow()), "");
    EXPECT_TRUE(micro->isLoaded());
    const CFont* regular = micro->getFont(CFontObject::kRegular);
    const CFont* bold = micro->getFont(CFontObject::kBold);
    ASSERT_NE(regular, nullptr);
    ASSERT_NE(bold, nullptr);
    EXPECT_NE(regular, bold);
    EXPECT_EQ(micro->getFont(CFontObject::kSuperscript), regular);
    const int advanceAtOne = static_cast<int>(regular->getGlyph('W')->getLayer(0)->getAdvance());

    // Read again at another scale: the same face objects, other glyphs.
    CUiScale::set(1.25);
    ASSERT_EQ(test::CErrorText::takeChain(micro->loadNow()), "");
    EXPECT_EQ(micro->getFont(CFontObject::kRegular), regular);
    EXPECT_GT(static_cast<int>(regular->getGlyph('W')->getLayer(0)->getAdvance()), advanceAtOne);

    auto* missing = dynamic_cast<CFontObject*>(root->findObject(CString("broken")));
    ASSERT_NE(missing, nullptr);
    const std::string chain = test::CErrorText::takeChain(missing->loadNow());
    EXPECT_NE(chain.find("nowhere.fnt"), std::string::npos) << chain;
    EXPECT_FALSE(missing->isLoaded());
    EXPECT_EQ(missing->getFont(CFontObject::kRegular), nullptr);
}

TEST_F(CFontObjectTest, UnknownStyleFailsTheInitialisationDeferredOrNot)
{
    for (const char* deferred : {"true", "false"})
    {
        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& family = tree.add("font", "base").attr("is-load-deferred", deferred);
        addStyle(family, "regular", "base.fnt");
        addStyle(family, "oblique", "base.fnt");
        const std::string chain = load(tree);
        EXPECT_NE(chain.find("Unknown font style 'oblique'."), std::string::npos)
            << deferred << ": " << chain;
        CObject::destroyObject(root);
        root = nullptr;
    }
}

TEST_F(CFontObjectTest, SharedTreeFamiliesWaitForTheirFirstUserThenAllLoad)
{
    CApplication::shutdown();
    ASSERT_EQ(
        test::CErrorText::takeChain(CApplication::initSharedObject(CString("SharedData.xml"))), "");
    CObject* shared = CApplication::getSharedObject();
    ASSERT_NE(shared, nullptr);
    const struct
    {
        const char* path;
        int lineHeight;       // of the regular face, as stored
        int superscriptLines; // of the superscript slot
    } families[] = {{"fnt.base", 14, 10},
                    {"fnt.micro", 14, 14},
                    {"fnt.micro-sm", 11, 11},
                    {"fnt.small", 10, 10},
                    {"fnt.title", 16, 16}};
    for (const auto& f : families)
    {
        auto* family = dynamic_cast<CFontObject*>(shared->findObject(CString(f.path)));
        ASSERT_NE(family, nullptr) << f.path;
        EXPECT_FALSE(family->isLoaded()) << f.path << " was read with the tree";
        ASSERT_EQ(test::CErrorText::takeChain(family->loadNow()), "") << f.path;
        const CFont* regular = family->getFont(CFontObject::kRegular);
        ASSERT_NE(regular, nullptr) << f.path;
        EXPECT_NE(regular->getGlyph('A'), nullptr) << f.path;
        EXPECT_EQ(regular->getStoredLineHeight(), f.lineHeight) << f.path;
        const CFont* bold = family->getFont(CFontObject::kBold);
        EXPECT_NE(bold, regular) << f.path;
        EXPECT_NE(bold->getGlyph('A'), nullptr) << f.path;
        EXPECT_EQ(family->getFont(CFontObject::kItalic), regular) << f.path;
        EXPECT_EQ(family->getFont(CFontObject::kSuperscript)->getStoredLineHeight(),
                  f.superscriptLines)
            << f.path;
    }
}
