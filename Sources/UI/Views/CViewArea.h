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
// itself. Edges are in window pixels, right and bottom exclusive. The parent writes the programs
// of its children's places (their edges); each area writes those of its own size.
//
// Variables: the edges (left, top, right, bottom), the size (width, height), the inner border
// (space around the children, inside the view), the outer border (space around the view in its
// parent), the content size (what the view itself needs: a label's text), the compact size (what
// the children and the content need), the box a docked child leaves to the next ones, on the
// first child of an inline row the row's extent, depth and place, and on a scrollable area the
// scroll offset and the virtual extent its scrolled children are laid on.
//
// The programs, per placement. P is the parent's inner box (its edges moved in by its inner
// border), o the child's outer border, off its offset (offset-x/-y times scale and ratio, added
// to its edges; neighbours are placed as if it had none), W and H its size variables:
//   top       left = R.left + o.left, right = R.right - o.right (or left + W when the width rule
//             is neither unset nor "full"), top = R.top + o.top, bottom = top + H. R is what the
//             docked siblings before it left of P (P for the first); it leaves R with its top at
//             bottom + o.bottom. "bottom", "left", "right" likewise from their side.
//   full      the box R that the docked siblings before it left, less o.
//   overlay   P less o, outside every flow. "window-overlay": the root's edges less o.
//   match     the edges of the matched area (the parent's own edges when none is named, or when
//             the matched area goes away).
//   inline    rows (columns with is-inline-vertical, every "row" below then reads "column"). A
//             child starts a new row when it is the first, or says is-new-inline-row. The rows
//             fill F, the box all docked siblings leave of P (P when none docks). Along the
//             row: start = previous child's end + its o.end + gap + o.start, the first at F's
//             start; gap is the parent's spread left + right (top + bottom in columns). Rows
//             follow each other across with the parent's spread top + bottom as their gap.
//             RowExtent = sum of outer sizes + gaps; RowDepth = max (opcode 6) of 0 and the
//             outer sizes across. alignment-h/-v of the parent place each row along F (free
//             space halved and floored for "center") and the block of rows across F; a child's
//             inline-alignment-v (-h in columns) places it within its row's depth.
//   scroller-h, -v, -p   P less o, except along each scrolled axis (h: x, v: y, p: both):
//             start = P.start - scroll + o.start, end = P.start - scroll + virtual - o.end. The
//             parent's virtual extent is its scroller-width/-height, or its inner size without.
// Sizes: a pixel count (times the interface scale and the ratio); "N%" of P's extent (clamped to
// 0..1, rounded); "full": P's extent through the ratio (guarded divide), less o, not below the
// minimum, rounded; "compact": compact-width/-height, or with "auto" the largest row extent of
// the inline children (the row depths and their gaps on the other axis), or the content size
// when it has no inline child; around that the docked children from the last to the first (a
// strip adds its outer size along its side, and takes the maximum across, with its compact
// size when it spans), plus the inner border; "balanced" in a row: the balanced children
// share what the others and the gaps leave of F's extent equally (floored); across the row a
// balanced child takes the row's depth, which only the others make; elsewhere "balanced" is
// "full". Every size is at least its minimum. A hidden area has no size and no place in a row;
// it sits at its parent's top left corner.
//
// Owned by its view; destroying it frees its variables and takes it out of its parent's flow.
// The parent's children list does not own them. The root area owns the network. [ui thread]
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
        kRowExtent,     // on a row's first child: the row's length along the flow
        kRowDepth,      // on a row's first child: the row's thickness across the flow
        kRowStart,      // on a row's first child: where the row begins across the flow
        kScrollX,       // input: how far the scrolled children are moved left
        kScrollY,       // input: how far the scrolled children are moved up
        kVirtualWidth,  // the extent the scroller-h and -p children are laid on
        kVirtualHeight, // the extent the scroller-v and -p children are laid on
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
        // The virtual extent of the scrolled children of this area; 0: its inner size.
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
    // How far the scrolled children are moved (pixels, positive scrolls towards the end). The
    // caller keeps it within 0..virtual - inner extent.
    void setScrollOffset(double xPx, double yPx);

    double getValue(Var var) const;
    CViewAreaNetwork::VarId getVar(Var var) const { return vars[var]; }
    struct CEdges
    {
        double left, top, right, bottom;
    };
    // The edges as the network holds them, in window pixels.
    CEdges getEdges() const;
    // The edges rounded to whole pixels (halves away from zero), right and bottom exclusive.
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
    // rest: the last docked child, whose leftover box holds the flow; null for the inner box.
    void layoutRows(const CArray<CViewArea*, 16>& flow, const CViewArea* rest);
    void layoutScrolled(CViewArea* child);
    // The sizes of the balanced children of one row [first, end) of flow.
    void writeBalancedSizes(const CArray<CViewArea*, 16>& flow, int first, int end, double gap,
                            const CViewArea* rest);
    // Appends "maximum with this area's minimum" to a size program.
    void pushMinimum(CProgram& p, bool horizontal) const;
    // offset-x or -y in pixels: times the interface scale and the ratio, rounded.
    double offsetPx(bool horizontal) const;
    double effectiveRatio(bool horizontal) const;
    // Areas under root that match gone fall back to matching their parents.
    static void forgetMatch(CViewArea* root, const CViewArea* gone);
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
