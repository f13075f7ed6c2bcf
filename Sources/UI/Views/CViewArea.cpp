#include "UI/Views/CViewArea.h"

#include "UI/Resources/CUiScale.h"

#include <cmath>

namespace kel
{

namespace
{

using Net = CViewAreaNetwork;

// Variables along one axis, so that rows and columns share one piece of code.
struct CAxis
{
    CViewArea::Var start, end, size, innerStart, innerEnd, outerStart, outerEnd, content, compact,
        scroll, virtualExtent;
};

const CAxis kHorizontal{CViewArea::kLeft,       CViewArea::kRight,        CViewArea::kWidth,
                        CViewArea::kInnerLeft,  CViewArea::kInnerRight,   CViewArea::kOuterLeft,
                        CViewArea::kOuterRight, CViewArea::kContentWidth, CViewArea::kCompactWidth,
                        CViewArea::kScrollX,    CViewArea::kVirtualWidth};
const CAxis kVertical{CViewArea::kTop,         CViewArea::kBottom,        CViewArea::kHeight,
                      CViewArea::kInnerTop,    CViewArea::kInnerBottom,   CViewArea::kOuterTop,
                      CViewArea::kOuterBottom, CViewArea::kContentHeight, CViewArea::kCompactHeight,
                      CViewArea::kScrollY,     CViewArea::kVirtualHeight};

} // namespace

// ---- programs ----

CViewArea::CProgram& CViewArea::CProgram::var(const CViewArea* area, Var which)
{
    words.add(Net::kPushVar);
    words.add(area->vars[which]);
    return *this;
}

CViewArea::CProgram& CViewArea::CProgram::constant(double value)
{
    words.add(Net::kPushConst);
    words.add(net.addConstant(value));
    return *this;
}

CViewArea::CProgram& CViewArea::CProgram::op(uint16_t code)
{
    words.add(code);
    return *this;
}

CViewArea::CProgram& CViewArea::CProgram::maxOf(int count)
{
    words.add(Net::kMaxN);
    words.add(static_cast<uint16_t>(count));
    return *this;
}

void CViewArea::CProgram::install(Net::VarId id)
{
    net.setProgram(id, words.getData(), words.getCount());
}

// ---- size rules ----

bool CViewArea::CSizeRule::parse(const CString& text, CSizeRule& out)
{
    out = CSizeRule();
    if (text.isEmpty())
        return true;
    if (text == "full")
        out.kind = kSizeFull;
    else if (text == "compact")
        out.kind = kSizeCompact;
    else if (text == "balanced")
        out.kind = kSizeBalanced;
    else if (text.getUnit(text.getLength() - 1) == '%')
    {
        double percent = 0.0;
        if (!text.substring(0, text.getLength() - 1).parseDouble(percent))
            return false;
        out.kind = kSizePercent;
        out.value = percent / 100.0;
    }
    else
    {
        if (!text.parseDouble(out.value))
            return false;
        out.kind = kSizePixels;
    }
    return true;
}

// ---- life ----

CViewArea::CViewArea(CViewArea* parentArea, COwner* areaOwner)
    : network(parentArea ? parentArea->network : new CViewAreaNetwork()),
      ownsNetwork(parentArea == nullptr), parent(parentArea), owner(areaOwner)
{
    for (auto& id : vars)
        id = network->allocate(this);
    if (parent)
        parent->children.add(this);
    writeOwnPrograms();
    if (parent)
    {
        parent->writeCompactPrograms();
        parent->layoutChildren();
    }
}

CViewArea::~CViewArea()
{
    if (parent)
    {
        const int at = parent->children.indexOf(this);
        if (at >= 0)
            parent->children.removeAt(at);
    }
    // Children outliving their parent area (a view torn down out of order) lose it.
    for (CViewArea* child : children)
        child->parent = nullptr;
    for (auto id : vars)
        network->release(id);
    network->forgetArea(this);
    // A whole tree going needs no repair; a subtree going must not leave matches into it.
    CViewArea* root = parent ? parent->getRoot() : nullptr;
    if (root && !root->closing)
        forgetMatch(root, this);
    if (parent && !parent->closing)
    {
        parent->writeCompactPrograms();
        parent->layoutChildren();
    }
    if (ownsNetwork)
        delete network;
}

void CViewArea::forgetMatch(CViewArea* root, const CViewArea* gone)
{
    for (CViewArea* child : root->children)
    {
        if (child->rules.match == gone)
        {
            child->rules.match = nullptr;
            root->layoutChildren();
        }
        forgetMatch(child, gone);
    }
}

void CViewArea::beginTeardown()
{
    closing = true;
    for (CViewArea* child : children)
        child->beginTeardown();
}

void CViewArea::setRules(const CRules& newRules)
{
    rules = newRules;
    writeOwnPrograms();
    if (parent)
    {
        // The parent's compact size and its children's places may depend on this one.
        parent->writeCompactPrograms();
        parent->layoutChildren();
    }
    layoutChildren();
}

void CViewArea::setContentSize(double width, double height)
{
    network->setValue(vars[kContentWidth], width);
    network->setValue(vars[kContentHeight], height);
}

void CViewArea::setScrollOffset(double xPx, double yPx)
{
    network->setValue(vars[kScrollX], xPx);
    network->setValue(vars[kScrollY], yPx);
}

double CViewArea::getValue(Var var) const
{
    return network->getValue(vars[var]);
}

CViewArea::CEdges CViewArea::getEdges() const
{
    return {getValue(kLeft), getValue(kTop), getValue(kRight), getValue(kBottom)};
}

CLinearBitmap::Rect CViewArea::getRect() const
{
    auto whole = [this](Var var) { return static_cast<int>(Net::roundHalfAway(getValue(var))); };
    return {whole(kLeft), whole(kTop), whole(kRight), whole(kBottom)};
}

void CViewArea::applyChangedAreas()
{
    CArray<CViewArea*, 16> changed;
    network->takeChangedAreas(changed);
    for (CViewArea* area : changed)
    {
        if (area->owner)
            area->owner->onAreaChanged();
    }
}

// ---- the area's own programs ----

bool CViewArea::takesSizeFromEdges() const
{
    switch (rules.placement)
    {
    case kMatch:
    case kFull:
    case kOverlay:
    case kWindowOverlay:
    case kScrollerH:
    case kScrollerV:
    case kScrollerP:
        return true;
    default:
        return false;
    }
}

void CViewArea::pushInnerExtent(CProgram& p, bool horizontal) const
{
    const CAxis& axis = horizontal ? kHorizontal : kVertical;
    if (!parent)
    {
        p.constant(0.0);
        return;
    }
    p.var(parent, axis.size).var(parent, axis.innerStart).op(Net::kSubtract);
    p.var(parent, axis.innerEnd).op(Net::kSubtract);
}

void CViewArea::writeOwnPrograms()
{
    const double scale = CUiScale::get();
    auto constantVar = [this](Var var, double value)
    {
        CProgram p(*network);
        p.constant(value);
        p.install(vars[var]);
    };
    for (int side = 0; side < 4; ++side)
    {
        constantVar(static_cast<Var>(kInnerLeft + side), std::round(rules.inner[side] * scale));
        constantVar(static_cast<Var>(kOuterLeft + side), std::round(rules.outer[side] * scale));
    }
    writeCompactPrograms();
    writeSizeProgram(true);
    writeSizeProgram(false);
    for (int pass = 0; pass < 2; ++pass)
    {
        const CAxis& axis = pass == 0 ? kHorizontal : kVertical;
        const double extent = pass == 0 ? rules.scrollerWidth : rules.scrollerHeight;
        CProgram p(*network);
        if (extent > 0.0)
            p.constant(std::round(extent * scale));
        else
        {
            p.var(this, axis.size).var(this, axis.innerStart).op(Net::kSubtract);
            p.var(this, axis.innerEnd).op(Net::kSubtract);
        }
        p.install(vars[axis.virtualExtent]);
    }
    if (!parent)
    {
        // A root stands at the window's origin.
        constantVar(kLeft, 0.0);
        constantVar(kTop, 0.0);
        CProgram right(*network);
        right.var(this, kLeft).var(this, kWidth).op(Net::kAdd).install(vars[kRight]);
        CProgram bottom(*network);
        bottom.var(this, kTop).var(this, kHeight).op(Net::kAdd).install(vars[kBottom]);
    }
}

double CViewArea::effectiveRatio(bool horizontal) const
{
    const double ratio = horizontal ? rules.ratioX : rules.ratioY;
    const double minRatio = horizontal ? rules.minRatioX : rules.minRatioY;
    return ratio < minRatio ? minRatio : ratio;
}

double CViewArea::offsetPx(bool horizontal) const
{
    const double offset = horizontal ? rules.offsetX : rules.offsetY;
    return std::round(offset * CUiScale::get() * effectiveRatio(horizontal));
}

void CViewArea::pushMinimum(CProgram& p, bool horizontal) const
{
    const CAxis& axis = horizontal ? kHorizontal : kVertical;
    const CSizeRule& minimum = horizontal ? rules.minWidth : rules.minHeight;
    switch (minimum.kind)
    {
    case CSizeRule::kSizePixels:
        p.constant(std::round(minimum.value * CUiScale::get())).op(Net::kMax2);
        break;
    case CSizeRule::kSizeCompact:
    case CSizeRule::kSizeBalanced:
        p.var(this, axis.compact).op(Net::kMax2);
        break;
    default:
        // A share or a difference can go negative; a size cannot.
        p.constant(0.0).op(Net::kMax2);
        break;
    }
}

void CViewArea::writeSizeProgram(bool horizontal)
{
    const CAxis& axis = horizontal ? kHorizontal : kVertical;
    const CSizeRule& rule = horizontal ? rules.width : rules.height;
    const double ratio = effectiveRatio(horizontal);
    const double scale = CUiScale::get();
    CProgram p(*network);
    if (rules.isHidden)
    {
        p.constant(0.0).install(vars[axis.size]);
        return;
    }
    if (takesSizeFromEdges() && parent)
    {
        p.var(this, axis.end).var(this, axis.start).op(Net::kSubtract).install(vars[axis.size]);
        return;
    }
    switch (rule.kind)
    {
    case CSizeRule::kSizePixels:
        p.constant(std::round(rule.value * scale * ratio));
        break;
    case CSizeRule::kSizePercent:
    {
        // Above 100 % counts as all of it, at or below 0 as nothing.
        const double fraction = rule.value > 1.0 ? 1.0 : (rule.value <= 0.0 ? 0.0 : rule.value);
        pushInnerExtent(p, horizontal);
        p.constant(fraction).op(Net::kMultiply).op(Net::kRound);
        break;
    }
    case CSizeRule::kSizeFull:
    case CSizeRule::kSizeBalanced:
        // The parent's inner extent through the ratio, less the outer border, at least the
        // minimum, rounded. An inline parent rewrites a balanced size as a share of its row.
        pushInnerExtent(p, horizontal);
        p.constant(ratio);
        pushInnerExtent(p, horizontal);
        p.op(Net::kGuardedDivide);
        p.var(this, axis.outerStart).op(Net::kSubtract);
        p.var(this, axis.outerEnd).op(Net::kSubtract);
        pushMinimum(p, horizontal);
        p.op(Net::kRound);
        p.install(vars[axis.size]);
        return;
    case CSizeRule::kSizeCompact:
    case CSizeRule::kSizeUnset:
        p.var(this, axis.compact).constant(ratio).op(Net::kMultiply).op(Net::kRound);
        break;
    }
    pushMinimum(p, horizontal);
    p.install(vars[axis.size]);
}

void CViewArea::writeCompactPrograms()
{
    const double scale = CUiScale::get();
    // Which children flow inline, and where each row or column begins; which ones dock.
    CArray<CViewArea*, 16> leaders;
    CArray<CViewArea*, 16> docked;
    bool any = false;
    for (CViewArea* child : children)
    {
        if (child->rules.isHidden)
            continue;
        const Placement placement = child->rules.placement;
        if (placement == kDockTop || placement == kDockBottom || placement == kDockLeft ||
            placement == kDockRight)
            docked.add(child);
        if (placement != kInline)
            continue;
        if (!any || child->rules.isNewRow)
            leaders.add(child);
        any = true;
    }
    for (int pass = 0; pass < 2; ++pass)
    {
        const bool horizontal = pass == 0;
        const CAxis& axis = horizontal ? kHorizontal : kVertical;
        const double fixed = horizontal ? rules.compactWidth : rules.compactHeight;
        CProgram p(*network);
        if (fixed >= 0.0)
        {
            p.constant(std::round(fixed * scale));
            p.install(vars[axis.compact]);
            continue;
        }
        if (leaders.isEmpty())
            p.var(this, axis.content);
        else
        {
            // Along the flow: the longest row; across it: the rows one after the other.
            const bool alongFlow = horizontal != rules.isVertical;
            const double rowGap =
                std::round((rules.isVertical ? rules.spread[0] + rules.spread[2]
                                             : rules.spread[1] + rules.spread[3]) *
                           scale);
            if (alongFlow)
            {
                for (CViewArea* leader : leaders)
                    p.var(leader, kRowExtent);
                p.maxOf(leaders.getCount());
            }
            else
            {
                p.constant(rowGap * (leaders.getCount() - 1));
                for (CViewArea* leader : leaders)
                    p.var(leader, kRowDepth).op(Net::kAdd);
            }
        }
        // The docked children wrap around the flow, the last docked innermost: a strip adds its
        // size along its side and is at least as wide as what it holds across. Across, a strip
        // that spans the rest counts with its own compact size, not the span it is given.
        for (int i = docked.getCount() - 1; i >= 0; --i)
        {
            CViewArea* child = docked[i];
            const Placement placement = child->rules.placement;
            const bool stacks = horizontal == (placement == kDockLeft || placement == kDockRight);
            const CSizeRule& rule = horizontal ? child->rules.width : child->rules.height;
            const bool spans = !stacks && (rule.kind == CSizeRule::kSizeUnset ||
                                           rule.kind == CSizeRule::kSizeFull);
            p.var(child, spans ? axis.compact : axis.size);
            p.var(child, axis.outerStart).op(Net::kAdd);
            p.var(child, axis.outerEnd).op(Net::kAdd);
            p.op(stacks ? Net::kAdd : Net::kMax2);
        }
        p.var(this, axis.innerStart).op(Net::kAdd).var(this, axis.innerEnd).op(Net::kAdd);
        p.install(vars[axis.compact]);
    }
}

// ---- the places of the children ----

void CViewArea::hide(CViewArea* child)
{
    // No size, and a place at the parent's top left corner that takes nothing from anyone.
    CProgram(*network).var(this, kLeft).install(child->vars[kLeft]);
    CProgram(*network).var(this, kTop).install(child->vars[kTop]);
    CProgram(*network).var(this, kLeft).install(child->vars[kRight]);
    CProgram(*network).var(this, kTop).install(child->vars[kBottom]);
}

void CViewArea::setEdgesFromSize(CViewArea* child, bool horizontal)
{
    const CAxis& axis = horizontal ? kHorizontal : kVertical;
    CProgram(*network)
        .var(child, axis.start)
        .var(child, axis.size)
        .op(Net::kAdd)
        .install(child->vars[axis.end]);
}

void CViewArea::layoutBox(CViewArea* child, const CViewArea* box, const CViewArea* rest,
                          bool withOuter)
{
    const double offset[2] = {child->offsetPx(true), child->offsetPx(false)};
    const Var outer[4] = {kOuterLeft, kOuterTop, kOuterRight, kOuterBottom};
    const Var edge[4] = {kLeft, kTop, kRight, kBottom};
    for (int side = 0; side < 4; ++side)
    {
        CProgram p(*network);
        // A box's own edges (match, window-overlay), or this area's rest (full, overlay).
        if (box)
            p.var(box, edge[side]);
        else
            pushRest(p, rest, side);
        if (withOuter)
            p.var(child, outer[side]).op(side < 2 ? Net::kAdd : Net::kSubtract);
        if (offset[side % 2] != 0.0)
            p.constant(offset[side % 2]).op(Net::kAdd);
        p.install(child->vars[edge[side]]);
    }
}

void CViewArea::pushRest(CProgram& p, const CViewArea* rest, int side) const
{
    // The box before any docked child is the inner box; after one, what that child left.
    static const Var restVars[4] = {kRestLeft, kRestTop, kRestRight, kRestBottom};
    static const Var edges[4] = {kLeft, kTop, kRight, kBottom};
    static const Var inner[4] = {kInnerLeft, kInnerTop, kInnerRight, kInnerBottom};
    if (rest)
    {
        p.var(rest, restVars[side]);
        return;
    }
    p.var(this, edges[side]).var(this, inner[side]).op(side < 2 ? Net::kAdd : Net::kSubtract);
}

void CViewArea::layoutDocked(CViewArea* child, const CViewArea* rest)
{
    const Placement placement = child->rules.placement;
    const bool horizontalDock = placement == kDockLeft || placement == kDockRight;
    const bool fromEnd = placement == kDockBottom || placement == kDockRight;
    // Across the dock the child spans the rest (or its own size when it has a rule).
    const CAxis& across = horizontalDock ? kVertical : kHorizontal;
    const CAxis& along = horizontalDock ? kHorizontal : kVertical;
    const CSizeRule& acrossRule = horizontalDock ? child->rules.height : child->rules.width;
    const int acrossIndex = horizontalDock ? 1 : 0;
    const int alongIndex = horizontalDock ? 0 : 1;
    const double offAcross = child->offsetPx(!horizontalDock);
    const double offAlong = child->offsetPx(horizontalDock);
    auto addOffset = [](CProgram& p, double offset)
    {
        if (offset != 0.0)
            p.constant(offset).op(Net::kAdd);
    };

    CProgram start(*network);
    pushRest(start, rest, acrossIndex);
    start.var(child, across.outerStart).op(Net::kAdd);
    addOffset(start, offAcross);
    start.install(child->vars[across.start]);
    if (acrossRule.kind == CSizeRule::kSizeUnset || acrossRule.kind == CSizeRule::kSizeFull)
    {
        CProgram end(*network);
        pushRest(end, rest, acrossIndex + 2);
        end.var(child, across.outerEnd).op(Net::kSubtract);
        addOffset(end, offAcross);
        end.install(child->vars[across.end]);
        CProgram size(*network);
        size.var(child, across.end).var(child, across.start).op(Net::kSubtract);
        size.install(child->vars[across.size]);
    }
    else
        setEdgesFromSize(child, !horizontalDock);

    if (!fromEnd)
    {
        CProgram p(*network);
        pushRest(p, rest, alongIndex);
        p.var(child, along.outerStart).op(Net::kAdd);
        addOffset(p, offAlong);
        p.install(child->vars[along.start]);
        setEdgesFromSize(child, horizontalDock);
    }
    else
    {
        CProgram p(*network);
        pushRest(p, rest, alongIndex + 2);
        p.var(child, along.outerEnd).op(Net::kSubtract);
        addOffset(p, offAlong);
        p.install(child->vars[along.end]);
        CProgram q(*network);
        q.var(child, along.end).var(child, along.size).op(Net::kSubtract);
        q.install(child->vars[along.start]);
    }
    // What it leaves to the next docked sibling: measured from where it would stand without its
    // offset, so that an offset moves the child alone.
    const Var restVars[4] = {kRestLeft, kRestTop, kRestRight, kRestBottom};
    for (int side = 0; side < 4; ++side)
    {
        CProgram p(*network);
        const bool taken = (side == alongIndex && !fromEnd) || (side == alongIndex + 2 && fromEnd);
        if (!taken)
            pushRest(p, rest, side);
        else if (!fromEnd)
            p.var(child, along.end).var(child, along.outerEnd).op(Net::kAdd);
        else
            p.var(child, along.start).var(child, along.outerStart).op(Net::kSubtract);
        if (taken)
            addOffset(p, -offAlong);
        p.install(child->vars[restVars[side]]);
    }
}

void CViewArea::layoutScrolled(CViewArea* child)
{
    const Placement placement = child->rules.placement;
    for (int pass = 0; pass < 2; ++pass)
    {
        const bool horizontal = pass == 0;
        const CAxis& axis = horizontal ? kHorizontal : kVertical;
        const bool scrolled =
            placement == kScrollerP || placement == (horizontal ? kScrollerH : kScrollerV);
        const double offset = child->offsetPx(horizontal);
        CProgram start(*network);
        CProgram end(*network);
        // The virtual box begins at the inner start, moved back by the scroll offset.
        start.var(this, axis.start).var(this, axis.innerStart).op(Net::kAdd);
        if (scrolled)
        {
            start.var(this, axis.scroll).op(Net::kSubtract);
            end.var(this, axis.start).var(this, axis.innerStart).op(Net::kAdd);
            end.var(this, axis.scroll).op(Net::kSubtract);
            end.var(this, axis.virtualExtent).op(Net::kAdd);
        }
        else
            end.var(this, axis.end).var(this, axis.innerEnd).op(Net::kSubtract);
        start.var(child, axis.outerStart).op(Net::kAdd);
        end.var(child, axis.outerEnd).op(Net::kSubtract);
        if (offset != 0.0)
        {
            start.constant(offset).op(Net::kAdd);
            end.constant(offset).op(Net::kAdd);
        }
        start.install(child->vars[axis.start]);
        end.install(child->vars[axis.end]);
    }
}

void CViewArea::writeBalancedSizes(const CArray<CViewArea*, 16>& flow, int first, int end,
                                   double gap, const CViewArea* rest)
{
    const bool vertical = rules.isVertical;
    const CAxis& along = vertical ? kVertical : kHorizontal;
    const CAxis& across = vertical ? kHorizontal : kVertical;
    auto isBalanced = [vertical](const CViewArea* child, bool alongFlow)
    {
        const bool horizontal = alongFlow != vertical;
        const CSizeRule& rule = horizontal ? child->rules.width : child->rules.height;
        return rule.kind == CSizeRule::kSizeBalanced;
    };
    int shares = 0;
    for (int i = first; i < end; ++i)
        shares += isBalanced(flow[i], true) ? 1 : 0;
    CViewArea* leader = flow[first];
    for (int i = first; i < end; ++i)
    {
        CViewArea* child = flow[i];
        if (isBalanced(child, true))
        {
            // (P's extent - gaps - the others' outer sizes - the balanced ones' outer borders)
            // / shares, floored, so that the row never grows past P by a rounding.
            CProgram p(*network);
            const int side = vertical ? 1 : 0;
            pushRest(p, rest, side + 2);
            pushRest(p, rest, side);
            p.op(Net::kSubtract);
            p.constant(gap * (end - first - 1)).op(Net::kSubtract);
            for (int k = first; k < end; ++k)
            {
                CViewArea* other = flow[k];
                if (!isBalanced(other, true))
                    p.var(other, along.size).op(Net::kSubtract);
                p.var(other, along.outerStart).op(Net::kSubtract);
                p.var(other, along.outerEnd).op(Net::kSubtract);
            }
            p.constant(shares).op(Net::kDivide).op(Net::kFloor);
            child->pushMinimum(p, !vertical);
            p.install(child->vars[along.size]);
        }
        if (isBalanced(child, false))
        {
            CProgram p(*network);
            p.var(leader, kRowDepth);
            p.var(child, across.outerStart).op(Net::kSubtract);
            p.var(child, across.outerEnd).op(Net::kSubtract);
            child->pushMinimum(p, vertical);
            p.install(child->vars[across.size]);
        }
    }
}

void CViewArea::layoutRows(const CArray<CViewArea*, 16>& flow, const CViewArea* rest)
{
    const double scale = CUiScale::get();
    const bool vertical = rules.isVertical;
    // Along: the direction of the flow; across: from one row to the next.
    const CAxis& along = vertical ? kVertical : kHorizontal;
    const CAxis& across = vertical ? kHorizontal : kVertical;
    const double gap = std::round(
        (vertical ? rules.spread[1] + rules.spread[3] : rules.spread[0] + rules.spread[2]) * scale);
    const double rowGap = std::round(
        (vertical ? rules.spread[0] + rules.spread[2] : rules.spread[1] + rules.spread[3]) * scale);
    const Alignment alignAlong = vertical ? rules.alignV : rules.alignH;
    const Alignment alignAcross = vertical ? rules.alignH : rules.alignV;

    // Rows: [first, end) ranges of flow.
    CArray<int, 16> rowStarts;
    for (int i = 0; i < flow.getCount(); ++i)
    {
        if (i == 0 || flow[i]->rules.isNewRow)
            rowStarts.add(i);
    }
    rowStarts.add(flow.getCount());
    const int rowCount = rowStarts.getCount() - 1;

    auto pushOuterSize = [](CProgram& p, CViewArea* child, const CAxis& axis)
    {
        p.var(child, axis.size).var(child, axis.outerStart).op(Net::kAdd);
        p.var(child, axis.outerEnd).op(Net::kAdd);
    };
    // The box of the flow: what the docked children leave of the inner box.
    const int alongSide = vertical ? 1 : 0;
    const int acrossSide = vertical ? 0 : 1;
    auto pushBoxExtent = [&](CProgram& p, int side)
    {
        pushRest(p, rest, side + 2);
        pushRest(p, rest, side);
        p.op(Net::kSubtract);
    };
    auto pushAligned = [&](CProgram& p, Alignment alignment)
    {
        // Expects the free space on the stack and leaves the shift: all of it at the end, half
        // (floored) in the centre. Callers skip the start, which has none.
        if (alignment == kAlignCenter)
            p.op(Net::kHalve).op(Net::kFloor);
    };

    for (int r = 0; r < rowCount; ++r)
    {
        CViewArea* leader = flow[rowStarts[r]];
        const int count = rowStarts[r + 1] - rowStarts[r];
        writeBalancedSizes(flow, rowStarts[r], rowStarts[r + 1], gap, rest);
        // The row's extent along the flow and its depth across it. A child balanced across
        // takes the depth, so it does not make it (0 when nobody else does).
        CProgram extent(*network);
        extent.constant(gap * (count - 1));
        for (int i = rowStarts[r]; i < rowStarts[r + 1]; ++i)
        {
            pushOuterSize(extent, flow[i], along);
            extent.op(Net::kAdd);
        }
        extent.install(leader->vars[kRowExtent]);
        CProgram depth(*network);
        int depthCount = 1;
        depth.constant(0.0);
        for (int i = rowStarts[r]; i < rowStarts[r + 1]; ++i)
        {
            const CSizeRule& acrossRule = vertical ? flow[i]->rules.width : flow[i]->rules.height;
            if (acrossRule.kind == CSizeRule::kSizeBalanced)
                continue;
            pushOuterSize(depth, flow[i], across);
            ++depthCount;
        }
        depth.maxOf(depthCount);
        depth.install(leader->vars[kRowDepth]);

        // Where the row begins across the flow: after the rows before it, or where the block
        // of rows stands in the inner box.
        CProgram rowStart(*network);
        if (r == 0)
        {
            pushRest(rowStart, rest, acrossSide);
            if (alignAcross != kAlignStart)
            {
                // start + (box extent - block depth) aligned.
                pushBoxExtent(rowStart, acrossSide);
                rowStart.constant(rowGap * (rowCount - 1)).op(Net::kSubtract);
                for (int k = 0; k < rowCount; ++k)
                    rowStart.var(flow[rowStarts[k]], kRowDepth).op(Net::kSubtract);
                pushAligned(rowStart, alignAcross);
                rowStart.op(Net::kAdd);
            }
        }
        else
        {
            CViewArea* previous = flow[rowStarts[r - 1]];
            rowStart.var(previous, kRowStart).var(previous, kRowDepth).op(Net::kAdd);
            rowStart.constant(rowGap).op(Net::kAdd);
        }
        rowStart.install(leader->vars[kRowStart]);

        for (int i = rowStarts[r]; i < rowStarts[r + 1]; ++i)
        {
            CViewArea* child = flow[i];
            // Along the flow: the row's own start for the first, the previous child's end after,
            // without the previous child's offset, which moves that child alone.
            CProgram start(*network);
            if (i == rowStarts[r])
            {
                pushRest(start, rest, alongSide);
                if (alignAlong != kAlignStart)
                {
                    pushBoxExtent(start, alongSide);
                    start.var(leader, kRowExtent).op(Net::kSubtract);
                    pushAligned(start, alignAlong);
                    start.op(Net::kAdd);
                }
            }
            else
            {
                CViewArea* before = flow[i - 1];
                start.var(before, along.end).var(before, along.outerEnd).op(Net::kAdd);
                start.constant(gap - before->offsetPx(!vertical)).op(Net::kAdd);
            }
            start.var(child, along.outerStart).op(Net::kAdd);
            const double offsetAlong = child->offsetPx(!vertical);
            if (offsetAlong != 0.0)
                start.constant(offsetAlong).op(Net::kAdd);
            start.install(child->vars[along.start]);
            setEdgesFromSize(child, !vertical);

            // Across: the row's start, moved within the row by the child's alignment.
            const Alignment inRow =
                vertical ? child->rules.inlineAlignH : child->rules.inlineAlignV;
            CProgram cross(*network);
            cross.var(leader, kRowStart);
            if (inRow != kAlignStart)
            {
                cross.var(leader, kRowDepth);
                pushOuterSize(cross, child, across);
                cross.op(Net::kSubtract);
                pushAligned(cross, inRow);
                cross.op(Net::kAdd);
            }
            cross.var(child, across.outerStart).op(Net::kAdd);
            const double offsetAcross = child->offsetPx(vertical);
            if (offsetAcross != 0.0)
                cross.constant(offsetAcross).op(Net::kAdd);
            cross.install(child->vars[across.start]);
            setEdgesFromSize(child, vertical);
        }
    }
}

void CViewArea::layoutChildren()
{
    if (closing)
        return;
    const CViewArea* rest = nullptr; // the inner box until a child docks
    CArray<CViewArea*, 16> flow;
    for (CViewArea* child : children)
    {
        if (child->rules.isHidden)
        {
            hide(child);
            continue;
        }
        switch (child->rules.placement)
        {
        case kInline:
            flow.add(child);
            break;
        case kDockTop:
        case kDockBottom:
        case kDockLeft:
        case kDockRight:
            layoutDocked(child, rest);
            rest = child;
            break;
        case kFull:
            layoutBox(child, nullptr, rest, true);
            break;
        case kOverlay:
            layoutBox(child, nullptr, nullptr, true);
            break;
        case kScrollerH:
        case kScrollerV:
        case kScrollerP:
            layoutScrolled(child);
            break;
        case kWindowOverlay:
            layoutBox(child, getRoot(), nullptr, true);
            break;
        case kMatch:
            layoutBox(child, child->rules.match ? child->rules.match : this, nullptr, false);
            break;
        }
    }
    if (!flow.isEmpty())
        layoutRows(flow, rest);
}

} // namespace kel
