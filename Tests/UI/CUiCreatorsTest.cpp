// The interface's resource nodes made through the registered creators from a compiled tree, each
// loading the embedded resource its "file" names, as the shared tree of the interface does.
#include "Core/CAllocator.h"
#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/CUiCreators.h"
#include "UI/Resources/CBrushSet.h"
#include "UI/Resources/CBrushSetObject.h"
#include "UI/Resources/CFont.h"
#include "UI/Resources/CFontObject.h"
#include "UI/Resources/CImageSet.h"
#include "UI/Resources/CImageSetObject.h"
#include "UI/Resources/CPalette.h"
#include "UI/Resources/CPaletteObject.h"
#include "UI/Resources/CUiScale.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace kel;

namespace
{

class CUiCreatorsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        // An empty shared tree and the product's resources, as the plug-in starts.
        CApplication::addCreatorRegistration(&CUiCreators::registerAll);
        CApplication::init(resources::kResourceTable, "");
        previous = CResourceTable::getInstalled();
        CResourceTable::install(resources::kResourceTable);
        CUiScale::set(1.0);
        liveBefore = CAllocator::liveBlocks();
    }
    void TearDown() override
    {
        CObject::destroyObject(root);
        root = nullptr;
        EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "framework blocks left behind";
        CResourceTable::install(previous);
    }

    // Reads tree into a new root; answers the error chain's text.
    std::string load(const CTreeBlobWriter::Node& tree)
    {
        blob = CTreeBlobWriter::write(tree);
        root = new CObject();
        return test::CErrorText::takeChain(root->loadFromMemory(blob.data(), blob.size(), true));
    }

    template <class T> T* find(const char* path)
    {
        return dynamic_cast<T*>(root->findObject(CString(path)));
    }

    CObject* root = nullptr;
    std::vector<uint8_t> blob;
    const CResourceEntry* previous = nullptr;
    int64_t liveBefore = 0;
};

TEST_F(CUiCreatorsTest, ResourceNodesLoadTheEmbeddedSetsTheirFileNames)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& pal = tree.add("core:object", "pal");
    pal.add("palette", "Default").attr("file", "../../../Gfx/Palettes/Default.pal");
    pal.add("palette", "Military").attr("file", "../../../Gfx/Palettes/Military.pal");
    tree.add("imageset", "knob").attr("file", "../../../Gfx/Imagesets/knob.is");
    CTreeBlobWriter::Node& base = tree.add("font", "base");
    base.add("core:object", "regular")
        .attr("is-font-style", "true")
        .attr("file", "../../../Gfx/Fonts/base.fnt");
    base.add("core:object", "bold")
        .attr("is-font-style", "true")
        .attr("file", "../../../Gfx/Fonts/base_b.fnt");
    tree.add("core:object", "bs")
        .add("brushset", "brushes")
        .attr("file", "../../../Gfx/Brushes/brushes.bs");
    ASSERT_EQ(load(tree), "");

    auto* defaults = find<CPaletteObject>("pal.Default");
    auto* military = find<CPaletteObject>("pal.Military");
    ASSERT_NE(defaults, nullptr);
    ASSERT_NE(military, nullptr);
    ASSERT_NE(defaults->getPalette(), nullptr);
    const CColor* panel = defaults->getPalette()->findColor(CString("Panel"));
    ASSERT_NE(panel, nullptr);
    EXPECT_NE(*panel, *military->getPalette()->findColor(CString("Panel")));

    auto* knob = find<CImageSetObject>("knob");
    ASSERT_NE(knob, nullptr);
    ASSERT_NE(knob->getImageSet(), nullptr);
    CImageSet::Range frames;
    ASSERT_TRUE(knob->getImageSet()->findRange(CString(""), frames));
    EXPECT_EQ(frames.first, 0);
    EXPECT_EQ(frames.last, 84);

    auto* font = find<CFontObject>("base");
    ASSERT_NE(font, nullptr);
    const CFont* regular = font->getFont(CFontObject::kRegular);
    const CFont* bold = font->getFont(CFontObject::kBold);
    ASSERT_NE(regular, nullptr);
    ASSERT_NE(bold, nullptr);
    EXPECT_NE(regular, bold);
    EXPECT_EQ(regular->getStoredLineHeight(), 14);
    EXPECT_NE(regular->getGlyph('A'), nullptr);
    // A style the family lacks falls back to the regular face.
    EXPECT_EQ(font->getFont(CFontObject::kItalic), regular);

    auto* brushes = find<CBrushSetObject>("bs.brushes");
    ASSERT_NE(brushes, nullptr);
    ASSERT_NE(brushes->getBrushSet(), nullptr);
    EXPECT_EQ(brushes->getBrushSet()->getBrushCount(), 3);
}

TEST_F(CUiCreatorsTest, MissingResourceFailsTheLoadNamingResourceAndObject)
{
    const struct
    {
        const char* tag;
        bool isFontStyle;
    } cases[] = {{"palette", false}, {"imageset", false}, {"brushset", false}, {"font", true}};
    for (const auto& c : cases)
    {
        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& holder = tree.add("core:object", "holder");
        CTreeBlobWriter::Node& node = holder.add(c.tag, "broken");
        CTreeBlobWriter::Node& named =
            c.isFontStyle ? node.add("core:object", "regular").attr("is-font-style", "true") : node;
        named.attr("file", "../../../Gfx/Nowhere/missing.bin");
        const std::string chain = load(tree);
        EXPECT_NE(chain.find("../../../Gfx/Nowhere/missing.bin"), std::string::npos)
            << c.tag << ": " << chain;
        EXPECT_NE(chain.find("holder.broken"), std::string::npos) << c.tag << ": " << chain;
        CObject::destroyObject(root);
        root = nullptr;
    }
}

TEST_F(CUiCreatorsTest, ASecondRegistrationChangesNothingButAnotherClassForATakenTagIsRefused)
{
    EXPECT_EQ(test::CErrorText::takeChain(CUiCreators::registerAll()), "");
    static const CCreatorRow clash[] = {CCreatorRow::of<CObject>("ui:frame")};
    EXPECT_NE(test::CErrorText::takeChain(CObject::registerCreators(clash))
                  .find("Creator for 'ui:frame' has already been registered."),
              std::string::npos);
}

} // namespace
