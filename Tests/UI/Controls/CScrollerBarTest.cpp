// A scroll bar beside a scrollable list of 1,000 paragraphs on the headless screen: the thumb's
// size and place, paging, dragging, the wheel, and a scrolled list drawn from its stored lines.
#include "Audio/CAudioCreators.h"
#include "Core/CApplication.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/CUiCreators.h"
#include "UI/Controls/CScrollerBar.h"
#include "UI/Controls/CTextView.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Windows/CSharedTreeTest.h"

#include <gtest/gtest.h>

#include <string>

using namespace kel;

namespace
{

class CScrollerBarTest : public test::CSharedTreeTest
{
protected:
    void SetUp() override
    {
        // A list 100 by 100 at the top left, its bar 10 wide beside it, 20 pixels of window
        // below both.
        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& win = addWindow(tree, 200, 120);
        CTreeBlobWriter::Node& list = win.add("ui:view", "list");
        list.attr("placement", "left").attr("width", "100").attr("outer-border", "B20");
        list.attr("is-scrollable", "true");
        std::string items;
        for (int i = 0; i < 1000; ++i)
            items += (i > 0 ? "\n" : "") + std::string("Item ") + std::to_string(i);
        list.add("ui:textview", "items")
            .attr("placement", "scroller-v")
            .attr("color", "Panel")
            .attr("paragraph-spacing", "0")
            .attr("title", items);
        win.add("ui:scroller-bar", "bar")
            .attr("placement", "left")
            .attr("width", "10")
            .attr("outer-border", "B20")
            .attr("target", "ui.win.list")
            .attr("color", "ScrollerBarEdge")
            .attr("is-filled", "true");
        openTree(tree);
        listView = dynamic_cast<CViewBase*>(root->findObject(CString("ui.win.list")));
        itemsView = dynamic_cast<CTextView*>(root->findObject(CString("ui.win.list.items")));
        bar = dynamic_cast<CScrollerBar*>(root->findObject(CString("ui.win.bar")));
        ASSERT_NE(listView, nullptr);
        ASSERT_NE(itemsView, nullptr);
        ASSERT_NE(bar, nullptr);
    }

    void setVirtualHeight(double pixels)
    {
        ASSERT_EQ(listView->setAttr(CString("scroller-height"), CAttrValue(pixels)), nullptr);
        window->renderStep();
    }
    double offset() const { return listView->getArea()->getValue(CViewArea::kScrollY); }
    void mouse(CNativeWindow::CInputEvent::Kind kind, int x, int y, bool down = false,
               int wheel = 0)
    {
        CNativeWindow::CInputEvent event;
        event.kind = kind;
        event.x = x;
        event.y = y;
        event.button = 1;
        event.isDown = down;
        event.wheelDelta = wheel;
        event.timeMs = ++clockMs * 1000;
        display.inject(screen, event);
        display.pump();
        window->renderStep();
    }
    void click(int x, int y)
    {
        mouse(CNativeWindow::CInputEvent::kMouseButton, x, y, true);
        mouse(CNativeWindow::CInputEvent::kMouseButton, x, y, false);
    }
    int thumbStart()
    {
        int start = -1;
        int length = 0;
        return bar->getThumb(start, length) ? start : -1;
    }

    CViewBase* listView = nullptr;
    CTextView* itemsView = nullptr;
    CScrollerBar* bar = nullptr;
    uint32_t clockMs = 0;
};

} // namespace

TEST_F(CScrollerBarTest, TheThumbShowsTheVisibleShareAndPressesPageOrDragIt)
{
    // 100 of 400 pixels visible: a thumb of 25 on the track of 100, 300 pixels to scroll.
    setVirtualHeight(400.0);
    int start = -1;
    int length = 0;
    ASSERT_TRUE(bar->getThumb(start, length));
    EXPECT_EQ(start, 0);
    EXPECT_EQ(length, 25);
    const uint32_t track = screen->getPicture().getPixel(105, 60);
    EXPECT_NE(screen->getPicture().getPixel(105, 10), track) << "the thumb is drawn";
    EXPECT_EQ(screen->getPicture().getPixel(105, 25), track) << "and ends where it should";

    // A press below the thumb pages down by the visible 100; the thumb goes 75 * 100 / 300.
    click(105, 50);
    EXPECT_EQ(offset(), 100.0);
    EXPECT_EQ(thumbStart(), 25);
    click(105, 90);
    click(105, 90);
    EXPECT_EQ(offset(), 300.0) << "paging stops at the end";
    EXPECT_EQ(thumbStart(), 75);
    click(105, 10);
    EXPECT_EQ(offset(), 200.0) << "a press above pages up";
    EXPECT_EQ(thumbStart(), 50);

    // Taken 5 pixels into the thumb and moved: the thumb follows the pointer, the offset with it.
    mouse(CNativeWindow::CInputEvent::kMouseButton, 105, 55, true);
    mouse(CNativeWindow::CInputEvent::kMouseMove, 105, 35);
    EXPECT_EQ(offset(), 120.0) << "thumb at 30 of 75";
    EXPECT_EQ(thumbStart(), 30);
    mouse(CNativeWindow::CInputEvent::kMouseMove, 180, -40);
    EXPECT_EQ(offset(), 0.0) << "the drag goes on off the bar and stops at the start";
    mouse(CNativeWindow::CInputEvent::kMouseButton, 180, -40, false);
    mouse(CNativeWindow::CInputEvent::kMouseMove, 105, 80);
    EXPECT_EQ(offset(), 0.0) << "released: moving does nothing";

    // Everything fits: no thumb, and a press moves nothing.
    setVirtualHeight(100.0);
    EXPECT_FALSE(bar->getThumb(start, length));
    click(105, 90);
    EXPECT_EQ(offset(), 0.0);
    EXPECT_EQ(screen->getPicture().getPixel(105, 10), track) << "only the track is drawn";
}

TEST_F(CScrollerBarTest, TheWheelScrollsByItsStepOverTheBarAndOverTheList)
{
    setVirtualHeight(400.0);
    mouse(CNativeWindow::CInputEvent::kMouseWheel, 105, 50, false, -1);
    EXPECT_EQ(offset(), 20.0) << "a notch down over the bar";
    mouse(CNativeWindow::CInputEvent::kMouseWheel, 50, 50, false, -1);
    mouse(CNativeWindow::CInputEvent::kMouseWheel, 50, 50, false, -1);
    EXPECT_EQ(offset(), 60.0) << "over the list's text, a child of the scrolled view";
    mouse(CNativeWindow::CInputEvent::kMouseWheel, 50, 50, false, 4);
    EXPECT_EQ(offset(), 0.0) << "notches up stop at the start";
    mouse(CNativeWindow::CInputEvent::kMouseWheel, 150, 50, false, -1);
    EXPECT_EQ(offset(), 0.0) << "the wheel elsewhere leaves the list alone";
}

TEST_F(CScrollerBarTest, AScrolledLongListDrawsItsVisibleLinesWithoutALayout)
{
    CTextWrapper& wrapper = itemsView->getWrapper();
    ASSERT_EQ(wrapper.getParagraphCount(), 1000);
    const int lineHeight = wrapper.getLineHeight();
    ASSERT_GT(lineHeight, 0);
    setVirtualHeight(wrapper.getTextHeight());
    ASSERT_EQ(wrapper.getTextHeight(), 1000 * lineHeight);
    const uint32_t background = screen->getPicture().getPixel(150, 110);
    const int layouts = wrapper.getLayoutCount();

    // What the window shows of the list is the whole stored text, drawn once unscrolled over
    // the window's background, at the scrolled place; nothing of it leaves the list's box.
    CLinearBitmap whole;
    ASSERT_EQ(whole.resize(100, wrapper.getTextHeight()), nullptr);
    whole.fill(background);
    wrapper.draw(whole, 0, 0, {0, 0, whole.getWidth(), whole.getHeight()},
                 itemsView->getColors().getTextColor(0), nullptr, nullptr);
    auto expectListShown = [&]()
    {
        const int scrolled = static_cast<int>(offset());
        int differing = 0;
        int inked = 0;
        for (int y = 0; y < 120; ++y)
        {
            for (int x = 0; x < 100; ++x)
            {
                const uint32_t expected = y < 100 ? whole.getPixel(x, y + scrolled) : background;
                differing += screen->getPicture().getPixel(x, y) != expected ? 1 : 0;
                inked += expected != background ? 1 : 0;
            }
        }
        EXPECT_GT(inked, 100) << "items are on the screen";
        EXPECT_EQ(differing, 0) << "at offset " << scrolled;
    };

    // Line by line down the list, then a page, then the thumb to the end.
    for (int notch = 0; notch < 5; ++notch)
        mouse(CNativeWindow::CInputEvent::kMouseWheel, 50, 50, false, -1);
    click(105, 95);
    EXPECT_EQ(offset(), 200.0);
    expectListShown();
    int start = 0;
    int length = 0;
    ASSERT_TRUE(bar->getThumb(start, length));
    mouse(CNativeWindow::CInputEvent::kMouseButton, 105, start + 1, true);
    mouse(CNativeWindow::CInputEvent::kMouseMove, 105, 99);
    mouse(CNativeWindow::CInputEvent::kMouseButton, 105, 99, false);
    EXPECT_EQ(offset(), 1000.0 * lineHeight - 100.0);
    expectListShown();
    EXPECT_EQ(wrapper.getLayoutCount(), layouts) << "scrolling laid the list out again";
    EXPECT_FALSE(wrapper.isDirty());

    // Drawing the end of the list reads only the lines in and around its box: a small share of
    // the cost of drawing all 1,000.
    CLinearBitmap box;
    ASSERT_EQ(box.resize(100, 100), nullptr);
    CLinearBitmap::resetDrawLoad();
    wrapper.draw(box, 0, 100 - wrapper.getTextHeight(), {0, 0, 100, 100},
                 itemsView->getColors().getTextColor(0), nullptr, nullptr);
    const int64_t boxLoad = CLinearBitmap::getDrawLoad();
    CLinearBitmap::resetDrawLoad();
    wrapper.draw(whole, 0, 0, {0, 0, whole.getWidth(), whole.getHeight()},
                 itemsView->getColors().getTextColor(0), nullptr, nullptr);
    const int64_t wholeLoad = CLinearBitmap::getDrawLoad();
    EXPECT_GT(boxLoad, 0);
    EXPECT_LT(boxLoad * 50, wholeLoad);
}

TEST_F(CScrollerBarTest, ABarWithoutATargetIsAnError)
{
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& win = tree.add("ui:view", "win");
    win.attr("is-root-view", "true").attr("width", "20").attr("height", "20");
    win.add("ui:scroller-bar", "bar");
    const std::vector<uint8_t> data = CTreeBlobWriter::write(tree);
    CObject* treeRoot = new CObject();
    const std::string text =
        test::CErrorText::takeChain(treeRoot->loadFromMemory(data.data(), data.size(), true));
    EXPECT_NE(text.find("No target view specified."), std::string::npos) << text;
    CObject::destroyObject(treeRoot);
}
