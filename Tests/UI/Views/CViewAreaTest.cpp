// Placement programs on small trees of areas, each rectangle worked out by hand in a comment.
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CViewArea.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

using namespace kel;

namespace
{

using Rules = CViewArea::CRules;
using Size = CViewArea::CSizeRule;

Size px(double value)
{
    return {Size::kSizePixels, value};
}

Size percent(double fraction)
{
    return {Size::kSizePercent, fraction};
}

// Rules of one placement and, where given (not -1), a width and height in pixels.
Rules place(CViewArea::Placement placement, double width = -1, double height = -1)
{
    Rules rules;
    rules.placement = placement;
    if (width >= 0)
        rules.width = px(width);
    if (height >= 0)
        rules.height = px(height);
    return rules;
}

std::string text(const CLinearBitmap::Rect& r)
{
    return std::to_string(r.left) + "," + std::to_string(r.top) + "," + std::to_string(r.right) +
           "," + std::to_string(r.bottom);
}

// A tree of areas that deletes children before parents, as views go.
class CAreaTree
{
public:
    explicit CAreaTree(double width, double height, double innerBorder = 0.0)
    {
        Rules rules = place(CViewArea::kInline, width, height);
        for (double& side : rules.inner)
            side = innerBorder;
        root = add(nullptr, rules);
    }
    ~CAreaTree()
    {
        for (auto it = areas.rbegin(); it != areas.rend(); ++it)
            delete *it;
    }
    CViewArea* add(CViewArea* parent, const Rules& rules)
    {
        auto* area = new CViewArea(parent, nullptr);
        area->setRules(rules);
        areas.push_back(area);
        return area;
    }
    CViewArea* root = nullptr;

private:
    std::vector<CViewArea*> areas;
};

class CViewAreaTest : public ::testing::Test
{
protected:
    void SetUp() override { CUiScale::set(1.0); }
    void TearDown() override { CUiScale::set(1.0); }
};

} // namespace

TEST_F(CViewAreaTest, DockedSidesTakeFromWhatIsLeftAndFullTakesTheRest)
{
    // A 300 by 200 root with an inner border of 10: the inner box is 10,10 to 290,190.
    CAreaTree tree(300, 200, 10);
    Rules top = place(CViewArea::kDockTop, -1, 20);
    Rules bottom = place(CViewArea::kDockBottom, -1, 30);
    Rules left = place(CViewArea::kDockLeft, 40);
    Rules rest;
    rest.placement = CViewArea::kFull;
    rest.outer[0] = rest.outer[1] = rest.outer[2] = rest.outer[3] = 2;
    CViewArea* a = tree.add(tree.root, top);
    CViewArea* b = tree.add(tree.root, bottom);
    CViewArea* c = tree.add(tree.root, left);
    CViewArea* d = tree.add(tree.root, rest);
    EXPECT_EQ(text(a->getRect()), "10,10,290,30");   // top 20 across the inner width
    EXPECT_EQ(text(b->getRect()), "10,160,290,190"); // bottom 30: 190 - 30
    EXPECT_EQ(text(c->getRect()), "10,30,50,160");   // left 40 between the two
    EXPECT_EQ(text(d->getRect()), "52,32,288,158");  // the rest, less its outer border of 2
    EXPECT_EQ(d->getValue(CViewArea::kWidth), 236.0);

    // One variable changes and the places follow: the top bar grows by 5.
    top.height = px(25);
    a->setRules(top);
    EXPECT_EQ(text(c->getRect()), "10,35,50,160");
    EXPECT_EQ(text(d->getRect()), "52,37,288,158");
}

TEST_F(CViewAreaTest, OverlayMatchAndWindowOverlayStandOutsideTheFlow)
{
    CAreaTree tree(300, 200, 10);
    Rules top = place(CViewArea::kDockTop, -1, 20);
    CViewArea* bar = tree.add(tree.root, top);
    Rules overlay;
    overlay.placement = CViewArea::kOverlay;
    overlay.outer[0] = 1;
    CViewArea* over = tree.add(tree.root, overlay);
    // The whole inner box, not what the bar left: 10+1, 10, 290, 190.
    EXPECT_EQ(text(over->getRect()), "11,10,290,190");

    Rules match;
    match.placement = CViewArea::kMatch;
    match.match = bar;
    CViewArea* twin = tree.add(over, match);
    EXPECT_EQ(text(twin->getRect()), "10,10,290,30");
    Rules matchParent;
    matchParent.placement = CViewArea::kMatch;
    CViewArea* same = tree.add(over, matchParent);
    EXPECT_EQ(text(same->getRect()), "11,10,290,190");
    Rules window;
    window.placement = CViewArea::kWindowOverlay;
    CViewArea* cover = tree.add(twin, window);
    EXPECT_EQ(text(cover->getRect()), "0,0,300,200");
}

TEST_F(CViewAreaTest, InlineChildrenFormRowsWithGapsAndAlignment)
{
    // Root 200 by 100, inner border 5; gaps: 4 across (spread L4), 6 between rows (B6).
    Rules rootRules = place(CViewArea::kInline, 200, 100);
    for (double& side : rootRules.inner)
        side = 5;
    rootRules.spread[0] = 4;
    rootRules.spread[3] = 6;
    CAreaTree tree(0, 0);
    tree.root->setRules(rootRules);
    Rules first = place(CViewArea::kInline, 50, 20);
    Rules second = place(CViewArea::kInline, 30, 10);
    second.inlineAlignV = CViewArea::kAlignCenter;
    second.outer[0] = 1;
    Rules third = place(CViewArea::kInline, 40, 15);
    third.isNewRow = true;
    CViewArea* a = tree.add(tree.root, first);
    CViewArea* b = tree.add(tree.root, second);
    CViewArea* c = tree.add(tree.root, third);
    // Row 1 starts at 5,5: a 50x20; b after a gap of 4 and its outer 1: x 60..90, centred in
    // the row's depth of 20: (20 - 10) / 2 = 5 below the row's top.
    EXPECT_EQ(text(a->getRect()), "5,5,55,25");
    EXPECT_EQ(text(b->getRect()), "60,10,90,20");
    // Row 2 starts at 5 + 20 + 6 = 31.
    EXPECT_EQ(text(c->getRect()), "5,31,45,46");
    EXPECT_EQ(a->getValue(CViewArea::kRowExtent), 85.0); // 50 + 4 + (1 + 30)

    // Centred block: row 1 of 85 in an inner width of 190 starts at 5 + floor(105 / 2) = 57;
    // the two rows (20 + 6 + 15 = 41) in 90 start at 5 + floor(49 / 2) = 29.
    rootRules.alignH = CViewArea::kAlignCenter;
    rootRules.alignV = CViewArea::kAlignCenter;
    tree.root->setRules(rootRules);
    EXPECT_EQ(text(a->getRect()), "57,29,107,49");
    EXPECT_EQ(text(c->getRect()), "80,55,120,70"); // 5 + floor(150 / 2); 29 + 20 + 6

    // A hidden child has no size and no place in its row: c moves up beside a.
    Rules hidden = second;
    hidden.isHidden = true;
    b->setRules(hidden);
    rootRules.alignH = rootRules.alignV = CViewArea::kAlignStart;
    tree.root->setRules(rootRules);
    EXPECT_EQ(b->getValue(CViewArea::kWidth), 0.0);
    EXPECT_EQ(text(c->getRect()), "5,31,45,46");
    third.isNewRow = false;
    c->setRules(third);
    EXPECT_EQ(text(c->getRect()), "59,5,99,20"); // 55 + 4
}

TEST_F(CViewAreaTest, ColumnsRunDownwardsWithTheSameRules)
{
    Rules rootRules = place(CViewArea::kInline, 100, 100);
    rootRules.isVertical = true;
    rootRules.spread[1] = 3; // gap of 3 between children of a column
    CAreaTree tree(0, 0);
    tree.root->setRules(rootRules);
    Rules item = place(CViewArea::kInline, 20, 10);
    CViewArea* a = tree.add(tree.root, item);
    CViewArea* b = tree.add(tree.root, item);
    item.isNewRow = true;
    CViewArea* c = tree.add(tree.root, item);
    EXPECT_EQ(text(a->getRect()), "0,0,20,10");
    EXPECT_EQ(text(b->getRect()), "0,13,20,23");
    EXPECT_EQ(text(c->getRect()), "20,0,40,10"); // a new column beside the first
}

TEST_F(CViewAreaTest, SizeRulesPercentFullMinimumOffsetRatioAndScale)
{
    CAreaTree tree(300, 200, 10); // inner extent 280 by 180
    Rules half;
    half.width = percent(0.5);
    half.height = percent(2.0); // clamped to all of it
    CViewArea* a = tree.add(tree.root, half);
    EXPECT_EQ(text(a->getRect()), "10,10,150,190");

    Rules full;
    full.width = {Size::kSizeFull, 0};
    full.height = px(5);
    full.minHeight = px(12);
    full.outer[0] = 3;
    full.outer[2] = 7;
    full.isNewRow = true;
    full.offsetX = 2;
    CViewArea* b = tree.add(tree.root, full);
    // Full: 280 - 3 - 7 = 270 wide from 10 + 3 + offset 2; the minimum lifts 5 to 12.
    EXPECT_EQ(text(b->getRect()), "15,190,285,202");

    Rules ratio = place(CViewArea::kInline, 40, 10);
    ratio.ratioX = 0.5;
    ratio.minRatioY = 2.0;
    ratio.ratioY = 1.0;
    ratio.isNewRow = true;
    CViewArea* c = tree.add(tree.root, ratio);
    EXPECT_EQ(c->getValue(CViewArea::kWidth), 20.0);
    EXPECT_EQ(c->getValue(CViewArea::kHeight), 20.0); // the ratio is held at its minimum

    // At the interface scale of 1.25 pixel sizes and borders grow with it: 300 -> 375.
    CUiScale::set(1.25);
    CAreaTree scaled(300, 200, 10);
    EXPECT_EQ(text(scaled.root->getRect()), "0,0,375,250");
    EXPECT_EQ(scaled.root->getValue(CViewArea::kInnerLeft), 13.0); // 12.5 rounded
}

TEST_F(CViewAreaTest, CompactSizesClimbFromAChangedContentToTheRoot)
{
    // A compact root holding a compact row of two compact labels, inner border 2 each level.
    Rules compact;
    compact.width = {Size::kSizeCompact, 0};
    compact.height = {Size::kSizeCompact, 0};
    for (double& side : compact.inner)
        side = 2;
    compact.spread[0] = 5;
    CAreaTree tree(0, 0);
    tree.root->setRules(compact);
    CViewArea* row = tree.add(tree.root, compact);
    Rules label;
    label.width = {Size::kSizeCompact, 0};
    label.height = {Size::kSizeCompact, 0};
    CViewArea* a = tree.add(row, label);
    CViewArea* b = tree.add(row, label);
    // A second row of the root: a fixed box under the compact row.
    Rules box = place(CViewArea::kInline, 8, 8);
    box.isNewRow = true;
    CViewArea* below = tree.add(tree.root, box);
    a->setContentSize(30, 10);
    b->setContentSize(20, 12);
    // Row: 2 + 30 + 5 + 20 + 2 = 59 by 2 + 12 + 2 = 16; root: 2 + 59 + 2 = 63 wide, and
    // 2 + 16 + 8 + 2 = 28 high (its two rows, no row gap).
    EXPECT_EQ(row->getValue(CViewArea::kWidth), 59.0);
    EXPECT_EQ(tree.root->getValue(CViewArea::kWidth), 63.0);
    EXPECT_EQ(tree.root->getValue(CViewArea::kHeight), 28.0);
    EXPECT_EQ(text(b->getRect()), "39,4,59,16"); // 2 + 2 + 30 + 5
    EXPECT_EQ(text(below->getRect()), "2,18,10,26");

    // One label's text grows by 11: the change climbs, and the other label stays where it was
    // vertically while moving right by 0.
    CArray<CViewArea*, 16> changed;
    tree.root->getNetwork()->takeChangedAreas(changed);
    a->setContentSize(41, 10);
    EXPECT_EQ(tree.root->getValue(CViewArea::kWidth), 74.0);
    EXPECT_EQ(text(b->getRect()), "50,4,70,16");
    tree.root->getNetwork()->takeChangedAreas(changed);
    EXPECT_EQ(changed.getCount(), 4); // a, row, root (sizes) and b (moved)
    EXPECT_FALSE(changed.contains(below));
    EXPECT_EQ(text(below->getRect()), "2,18,10,26");
    // A taller label pushes the second row down, and only then does it move.
    b->setContentSize(20, 15);
    EXPECT_EQ(text(below->getRect()), "2,21,10,29");
    EXPECT_EQ(tree.root->getValue(CViewArea::kHeight), 31.0);
    // A compact size with a fixed number ignores the children.
    compact.compactWidth = 100;
    row->setRules(compact);
    EXPECT_EQ(row->getValue(CViewArea::kWidth), 100.0);
}

TEST_F(CViewAreaTest, AFlowFillsWhatTheDocksLeaveAndACompactSizeWrapsBoth)
{
    CAreaTree tree(200, 100);
    Rules compact;
    compact.width = {Size::kSizeCompact, 0};
    compact.height = {Size::kSizeCompact, 0};
    CViewArea* box = tree.add(tree.root, compact);
    Rules top; // spans across: its compact width counts, from its content
    top.placement = CViewArea::kDockTop;
    top.height = px(10);
    Rules left = place(CViewArea::kDockLeft, 15);
    CViewArea* bar = tree.add(box, top);
    CViewArea* strip = tree.add(box, left);
    bar->setContentSize(40, 0);
    strip->setContentSize(0, 5);
    Rules item = place(CViewArea::kInline, 30, 20);
    CViewArea* a = tree.add(box, item);
    item.width = px(20);
    item.height = px(10);
    CViewArea* b = tree.add(box, item);
    // Width: the row 30 + 20 = 50, the left strip beside it 50 + 15 = 65, the bar over both
    // max(65, 40) = 65. Height: the row 20, the strip max(20, 5) = 20, the bar on top 20 + 10.
    EXPECT_EQ(text(box->getRect()), "0,0,65,30");
    EXPECT_EQ(text(bar->getRect()), "0,0,65,10");
    EXPECT_EQ(text(strip->getRect()), "0,10,15,30");
    // The row starts where the docks end: right of the strip, under the bar.
    EXPECT_EQ(text(a->getRect()), "15,10,45,30");
    EXPECT_EQ(text(b->getRect()), "45,10,65,20");

    // The bar's content outgrows the rest: the box is 80 wide, and a centred row stands in
    // the 65 the strip leaves at 15 + floor((65 - 50) / 2) = 22.
    bar->setContentSize(80, 0);
    EXPECT_EQ(text(box->getRect()), "0,0,80,30");
    compact.alignH = CViewArea::kAlignCenter;
    box->setRules(compact);
    EXPECT_EQ(text(a->getRect()), "22,10,52,30");
    EXPECT_EQ(text(b->getRect()), "52,10,72,20");
}

TEST_F(CViewAreaTest, BalancedChildrenShareWhatTheirRowLeaves)
{
    CAreaTree tree(200, 50); // no border
    Rules rootRules = tree.root->getRules();
    rootRules.spread[0] = 2; // gap 2
    tree.root->setRules(rootRules);
    Rules label = place(CViewArea::kInline, 50, 30);
    Rules shareWidth;
    shareWidth.width = {Size::kSizeBalanced, 0};
    shareWidth.height = px(20);
    Rules shareBoth;
    shareBoth.width = {Size::kSizeBalanced, 0};
    shareBoth.height = {Size::kSizeBalanced, 0};
    shareBoth.outer[0] = shareBoth.outer[1] = shareBoth.outer[2] = shareBoth.outer[3] = 1;
    CViewArea* fixed = tree.add(tree.root, label);
    CViewArea* a = tree.add(tree.root, shareWidth);
    CViewArea* b = tree.add(tree.root, shareBoth);
    // Free: 200 - 2 gaps of 2 - 50 - b's outer 1 + 1 = 144, two shares of 72. a at 50 + 2;
    // b at 124 + 2 + 1. Across, b takes the row's depth (30, from the label) less its outer 2.
    EXPECT_EQ(text(fixed->getRect()), "0,0,50,30");
    EXPECT_EQ(text(a->getRect()), "52,0,124,20");
    EXPECT_EQ(text(b->getRect()), "127,1,199,29");
    EXPECT_EQ(fixed->getValue(CViewArea::kRowExtent), 200.0);

    // The label grows by 10: (134 - 0) / 2 = 67 each; the depth follows the label too.
    label.width = px(60);
    label.height = px(40);
    fixed->setRules(label);
    EXPECT_EQ(text(a->getRect()), "62,0,129,20");
    EXPECT_EQ(text(b->getRect()), "132,1,199,39");

    // Alone in a row of its own a balanced child takes the whole inner width; an odd share is
    // floored so the row never overflows: (200 - 2) / 3 would be 66.67.
    Rules alone = shareWidth;
    alone.isNewRow = true;
    alone.height = px(10);
    CViewArea* c = tree.add(tree.root, alone);
    EXPECT_EQ(text(c->getRect()), "0,40,200,50");
    Rules second = shareWidth;
    second.height = px(10);
    tree.add(tree.root, second);
    tree.add(tree.root, second);
    EXPECT_EQ(c->getValue(CViewArea::kWidth), 65.0); // (200 - 2 * 2) / 3 = 65.33
}

TEST_F(CViewAreaTest, ScrolledChildrenLieOnTheVirtualExtentMovedByTheScrollOffset)
{
    // A 200 by 100 scrollable root, inner border 10 (inner box 10,10 to 190,90), whose scrolled
    // children are 500 high and 300 wide.
    CAreaTree tree(200, 100, 10);
    Rules rootRules = tree.root->getRules();
    rootRules.scrollerHeight = 500;
    rootRules.scrollerWidth = 300;
    tree.root->setRules(rootRules);
    Rules list;
    list.placement = CViewArea::kScrollerV;
    list.outer[0] = list.outer[1] = list.outer[2] = list.outer[3] = 2;
    CViewArea* v = tree.add(tree.root, list);
    // Across: the inner box less the outer 2; along: 10 + 2 to 10 + 500 - 2.
    EXPECT_EQ(text(v->getRect()), "12,12,188,508");
    Rules wide;
    wide.placement = CViewArea::kScrollerP;
    CViewArea* p = tree.add(tree.root, wide);
    EXPECT_EQ(text(p->getRect()), "10,10,310,510");
    Rules flowing = place(CViewArea::kInline, 20, 20);
    CViewArea* still = tree.add(tree.root, flowing);

    // Scrolling moves the scrolled children back by the offset, and nothing else.
    CArray<CViewArea*, 16> changed;
    tree.root->getNetwork()->takeChangedAreas(changed);
    tree.root->setScrollOffset(30, 120);
    EXPECT_EQ(text(v->getRect()), "12,-108,188,388");
    EXPECT_EQ(text(p->getRect()), "-20,-110,280,390");
    tree.root->getNetwork()->takeChangedAreas(changed);
    EXPECT_EQ(changed.getCount(), 3); // the root (its offsets), v and p
    EXPECT_FALSE(changed.contains(still));

    // Without a virtual extent of its own the parent lends its inner size: 180 wide.
    rootRules.scrollerWidth = 0;
    tree.root->setRules(rootRules);
    Rules across;
    across.placement = CViewArea::kScrollerH;
    CViewArea* h = tree.add(tree.root, across);
    EXPECT_EQ(text(h->getRect()), "-20,10,160,90"); // 10 - 30 to 10 - 30 + 180
}

TEST_F(CViewAreaTest, AnOffsetMovesItsViewAloneScaledByTheRatio)
{
    CAreaTree tree(200, 100);
    Rules item = place(CViewArea::kInline, 10, 10);
    Rules moved = item;
    moved.offsetX = 5;
    moved.offsetY = 3;
    moved.ratioX = 2.0; // 20 wide, offset 10
    CViewArea* a = tree.add(tree.root, item);
    CViewArea* b = tree.add(tree.root, moved);
    CViewArea* c = tree.add(tree.root, item);
    // b stands at 10 + 10 and 0 + 3; c follows where b would be without it: 10 + 20.
    EXPECT_EQ(text(a->getRect()), "0,0,10,10");
    EXPECT_EQ(text(b->getRect()), "20,3,40,13");
    EXPECT_EQ(text(c->getRect()), "30,0,40,10");

    // A docked bar moved down by 5 leaves the next one where it would have been.
    CAreaTree docks(100, 100);
    Rules bar = place(CViewArea::kDockTop, -1, 20);
    bar.offsetY = 5;
    CViewArea* first = docks.add(docks.root, bar);
    bar.offsetY = 0;
    CViewArea* second = docks.add(docks.root, bar);
    EXPECT_EQ(text(first->getRect()), "0,5,100,25");
    EXPECT_EQ(text(second->getRect()), "0,20,100,40");
}

TEST_F(CViewAreaTest, AMatchIntoAViewThatGoesFallsBackToTheParent)
{
    CAreaTree tree(300, 200, 10);
    Rules bar = place(CViewArea::kDockTop, -1, 20);
    auto* target = new CViewArea(tree.root, nullptr);
    target->setRules(bar);
    Rules overlay;
    overlay.placement = CViewArea::kOverlay;
    CViewArea* holder = tree.add(tree.root, overlay);
    Rules match;
    match.placement = CViewArea::kMatch;
    match.match = target;
    CViewArea* twin = tree.add(holder, match);
    EXPECT_EQ(text(twin->getRect()), "10,10,290,30");
    delete target;
    EXPECT_EQ(twin->getRules().match, nullptr);
    EXPECT_EQ(text(twin->getRect()), "10,10,290,190"); // the holder's edges
    // Later layouts of the holder's children do not reach for the area that went.
    Rules wider = overlay;
    wider.outer[0] = 5;
    holder->setRules(wider);
    EXPECT_EQ(text(twin->getRect()), "15,10,290,190");
}

TEST_F(CViewAreaTest, AreasThatGoLeaveNoVariableBehind)
{
    CAreaTree tree(100, 100);
    const int live = tree.root->getNetwork()->getLiveCount();
    Rules item = place(CViewArea::kInline, 10, 10);
    auto* a = new CViewArea(tree.root, nullptr);
    a->setRules(item);
    auto* b = new CViewArea(tree.root, nullptr);
    b->setRules(item);
    EXPECT_EQ(text(b->getRect()), "10,0,20,10");
    delete a; // b moves to the front of the row
    EXPECT_EQ(text(b->getRect()), "0,0,10,10");
    delete b;
    EXPECT_EQ(tree.root->getNetwork()->getLiveCount(), live);
    EXPECT_EQ(tree.root->getChildCount(), 0);
}
