#pragma once

#include "Core/CArray.h"
#include "Core/CCheckedObject.h"
#include "Core/CString.h"
#include "UI/CLinearBitmap.h"
#include "UI/Views/CViewAreaNetwork.h"

namespace kel
{

// The geometry of one view: a fixed set of variables in the network of its root view, each
// either an input or a program over other variables, so that a change climbs and spreads by
// itself. Edges are in window pixels. The parent writes the programs of its children's places
// (their edges); each area writes those of its own size.
//
// Variables: the edges (left, top, right, bottom), the size (width, height), the inner border
// (space around the children, inside the view), the outer border (space around the view in its
// parent), the content size (what the view itself needs: a label's text), the compact size (what
// the children and the content need), the box a docked child leaves to the next ones, and, on
// the first child of an inline row, the row's extent and its place.
//
// The programs, per placement (P is the parent's inner box: its edges moved in by its inner
// border; o the view's outer border; W and H its size rules):
//   top       left = R.left + o.left, top = R.top + o.top, right = left + W (or R.right - o.right
//             when the width rule is "full" or missing), bottom = top + H; R is what the docked
//             siblings before it left of P (P for the first), and this child leaves R with its
//             top at bottom + o.bottom. "bottom", "left", "right" likewise from their side.
//   full      the box R that the docked siblings before it left, less the outer border.
//   overlay   P less the outer border, outside every flow. "window-overlay": the root's box.
//   match     the edges of the matched view (the parent's own edges when none is named).
//   inline    rows (columns with is-inline-vertical): a child starts a new row when it is the
//             first, or says is-new-inline-row. A row's extent is the sum of its children's
//             outer sizes and the gaps between them (spread: left + right across, top + bottom
//             between rows); its height is the largest outer height (opcode 6). The row block
//             stands in P by alignment-h and alignment-v (centre: halved free space, floored); a
//             child stands in its row by inline-alignment-v (-h in columns).
//   scroller-h, -v, -p   like overlay, with the virtual extent (scroller-width, -height) as
//             size along the scrolled axis.
// Sizes: a pixel count (times the interface scale and the ratio); "N%" of P's extent (clamped to
// 0..1, rounded); "full": P's extent less the outer border, divided by the ratio through a
// guarded divide, not below the minimum, rounded; "compact": compact-width, or with "auto" the
// largest row extent of the inline children (their sum of heights for the other axis) plus the
// inner border, or the content size plus the inner border when there are none; "balanced": an
// equal share of P's extent among the inline children of the row. Every size is at least its
// minimum. offset-x/-y shift the finished place. A hidden area has no size and no place in a row.
//
// Owned by its view; destroying it frees its variables and takes it out of its parent's flow.
// The root area owns the network. [ui thread]
class CViewArea : public CCheckedObject
{
public:
    enum Var
    {
        kLeft,
        kTop,
        kRight,
        kBottom,
        kWidth,
        kHeight,
        kInnerLeft,
        kInnerTop,
        kInnerRight,
        kInnerBottom,
        kOuterLeft,
        kOuterTop,
        kOuterRight,
        kOuterBottom,
        kContentWidth,
        kContentHeight,
        kCompactWidth,
        kCompactHeight,
        kRestLeft,
        kRestTop,
        kRestRight,
        kRestBottom,
        kRowExtent, // on a row's first child: the row's length along the flow
        kRowDepth,  // on a row's first child: the row's thickness across the flow
        kRowStart,  // on a row's first child: where the row begins across the flow
        kVarCount
    };

    enum Placement
    {
        kInline,
        kMatch,
        kFull,
        kOverlay,
        kDockTop,
        kDockBottom,
        kDockLeft,
        kDockRight,
        kWindowOverlay,
        kScrollerH,
        kScrollerV,
        kScrollerP,
    };

    enum Alignment
    {
        kAlignStart, // left or top
        kAlignCenter,
        kAlignEnd, // right or bottom
    };

    struct CSizeRule
    {
        enum Kind
        {
            kSizeUnset,
            kSizePixels,
            kSizePercent,
            kSizeFull,
            kSizeCompact,
            kSizeBalanced,
        };
        Kind kind = kSizeUnset;
        double value = 0.0; // pixels, or the fraction of a percentage

        // "120", "50%", "full", "compact", "balanced"; false for anything else.
        static bool parse(const CString& text, CSizeRule& out);
    };

    // Everything the placement attributes of a view say.
    struct CRules
    {
        Placement placement = kInline;
        CViewArea* match = nullptr; // for kMatch; null: the parent
        Alignment alignH = kAlignStart;
        Alignment alignV = kAlignStart;
        Alignment inlineAlignH = kAlignStart;
        Alignment inlineAlignV = kAlignStart;
        bool isNewRow = false;
        bool isVertical = false; // the children run in columns
        bool isHidden = false;
        CSizeRule width;
        CSizeRule height;
        CSizeRule minWidth;
        CSizeRule minHeight;
        double compactWidth = -1.0; // -1: "auto"
        double compactHeight = -1.0;
        double ratioX = 1.0;
        double ratioY = 1.0;
        double minRatioX = 0.0;
        double minRatioY = 0.0;
        double offsetX = 0.0;
        double offsetY = 0.0;
        double inner[4] = {0.0, 0.0, 0.0, 0.0}; // left, top, right, bottom, in pixels
        double outer[4] = {0.0, 0.0, 0.0, 0.0};
        double spread[4] = {0.0, 0.0, 0.0, 0.0};
        double scrollerWidth = 0.0;
        double scrollerHeight = 0.0;
    };

    // Told when the root applies the changed areas. [ui thread]
    class COwner
    {
    public:
        virtual ~COwner() = default;
        virtual void onAreaChanged() = 0;
    };

    // A child area of parent, last in its list; without a parent a root with a network of its
    // own.
    CViewArea(CViewArea* parentArea, COwner* areaOwner);
    ~CViewArea() override;
    CViewArea(const CViewArea&) = delete;
    CViewArea& operator=(const CViewArea&) = delete;

    // Takes the rules and rewrites what they touch: the area's own size programs and its
    // parent's programs for the places of its children.
    void setRules(const CRules& newRules);
    const CRules& getRules() const { return rules; }
    // What the view itself needs (a label's text), in pixels.
    void setContentSize(double width, double height);

    double getValue(Var var) const;
    CViewAreaNetwork::VarId getVar(Var var) const { return vars[var]; }
    // The edges rounded to whole pixels, right and bottom exclusive.
    CLinearBitmap::Rect getRect() const;

    CViewArea* getParent() const { return parent; }
    CViewArea* getRoot() { return parent ? parent->getRoot() : this; }
    CViewAreaNetwork* getNetwork() const { return network; }
    int getChildCount() const { return children.getCount(); }
    CViewArea* getChild(int index) const { return children[index]; }
    COwner* getOwner() const { return owner; }

    // At a root: tells the owner of every area that changed since the last call.
    void applyChangedAreas();
    // The tree is going: children that leave from now on rewrite nothing.
    void beginTeardown();

private:
    // A program under construction.
    class CProgram
    {
    public:
        explicit CProgram(CViewAreaNetwork& target) : net(target) {}
        CProgram& var(const CViewArea* area, Var which);
        CProgram& constant(double value);
        CProgram& op(uint16_t code);
        CProgram& maxOf(int count);
        void install(CViewAreaNetwork::VarId id);

    private:
        CViewAreaNetwork& net;
        CArray<uint16_t, 32> words;
    };

    void writeOwnPrograms();
    void writeSizeProgram(bool horizontal);
    void writeCompactPrograms();
    void layoutChildren();
    // rest: the docked sibling whose leftover box comes next; null for the inner box.
    void pushRest(CProgram& p, const CViewArea* rest, int side) const;
    void layoutDocked(CViewArea* child, const CViewArea* rest);
    // The child's edges from a box's edges (box), or from the rest (box null).
    void layoutBox(CViewArea* child, const CViewArea* box, const CViewArea* rest, bool withOuter);
    void layoutRows(const CArray<CViewArea*, 16>& flow);
    void setEdgesFromSize(CViewArea* child, bool horizontal);
    void hide(CViewArea* child);
    bool takesSizeFromEdges() const;
    // Pushes P's extent (the inner size) along one axis.
    void pushInnerExtent(CProgram& p, bool horizontal) const;

    CViewAreaNetwork* network;
    bool ownsNetwork;
    CViewArea* parent;
    COwner* owner;
    CArray<CViewArea*, 16> children; // not owned: each child's view owns it
    CViewAreaNetwork::VarId vars[kVarCount];
    CRules rules;
    bool closing = false;
};

} // namespace kel
