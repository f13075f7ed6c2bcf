// max-text-height: a text view shows and measures only its whole lines within the limit.
#include "Audio/CAudioCreators.h"
#include "Core/CApplication.h"
#include "ProductResources.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/CUiCreators.h"
#include "UI/Controls/CTextView.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Windows/CSharedTreeTest.h"

#include <gtest/gtest.h>

using namespace kel;

namespace
{

using CTextViewHeightTest = test::CSharedTreeTest;

} // namespace

TEST_F(CTextViewHeightTest, TheLimitCutsTheTextAtAWholeLine)
{
    // Three lines of W in a view 100 high and in a compact one.
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& win = addWindow(tree, 100, 100);
    for (const char* name : {"tall", "compact"})
    {
        win.add("ui:textview", name)
            .attr("placement", "left")
            .attr("width", "40")
            .attr("height", name == std::string("tall") ? "100" : "compact")
            .attr("color", "Panel")
            .attr("paragraph-spacing", "0")
            .attr("title", "WWW\nWWW\nWWW");
    }
    openTree(tree);
    auto* tall = dynamic_cast<CTextView*>(root->findObject(CString("ui.win.tall")));
    auto* compact = dynamic_cast<CTextView*>(root->findObject(CString("ui.win.compact")));
    ASSERT_NE(tall, nullptr);
    ASSERT_NE(compact, nullptr);
    const int line = tall->getWrapper().getLineHeight();
    ASSERT_GT(line, 0);
    window->renderStep();
    EXPECT_EQ(compact->getViewRect().bottom, 3 * line) << "no limit: all three lines";

    // Two and a half lines allow two.
    for (CTextView* view : {tall, compact})
        ASSERT_EQ(view->setAttr(CString("max-text-height"), CAttrValue(line * 5 / 2)), nullptr);
    window->renderStep();
    EXPECT_EQ(compact->getViewRect().bottom, 2 * line);
    const uint32_t background = screen->getPicture().getPixel(90, 90);
    auto inkedRows = [&](int top, int bottom)
    {
        int inked = 0;
        for (int y = top; y < bottom; ++y)
            for (int x = 0; x < 40; ++x)
                inked += screen->getPicture().getPixel(x, y) != background ? 1 : 0;
        return inked;
    };
    EXPECT_GT(inkedRows(line, 2 * line), 10) << "the second line is drawn";
    EXPECT_EQ(inkedRows(2 * line, 100), 0) << "the third is cut whole";

    // Empty: the limit is gone.
    for (CTextView* view : {tall, compact})
        ASSERT_EQ(view->setAttr(CString("max-text-height"), CAttrValue(CString())), nullptr);
    window->renderStep();
    EXPECT_EQ(compact->getViewRect().bottom, 3 * line);
    EXPECT_GT(inkedRows(2 * line, 3 * line), 10);
}
