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
    CViewArea::Var start, end, size, innerStart, innerEnd, outerStart, outerEnd, content, compact;
};

const CAxis kHorizontal{CViewArea::kLeft,       CViewArea::kRight,        CViewArea::kWidth,
                        CViewArea::kInnerLeft,  CViewArea::kInnerRight,   CViewArea::kOuterLeft,
                        CViewArea::kOuterRight, CViewArea::kContentWidth, CViewArea::kCompactWidth};
const CAxis kVertical{
    CViewArea::kTop,         CViewArea::kBottom,        CViewArea::kHeight,
    CViewArea::kInnerTop,    CViewArea::kInnerBottom,   CViewArea::kOuterTop,
    CViewArea::kOuterBottom, CViewArea::kContentHeight, CViewArea::kCompactHeight};

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
    if (parent && !parent->closing)
    {
        parent->writeCompactPrograms();
        parent->layoutChildren();
    }
    if (ownsNetwork)
        delete network;
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

double CViewArea::getValue(Var var) const
{
    return network->getValue(vars[var]);
}

CLinearBitmap::Rect CViewArea::getRect() const
{
    auto whole = [this](Var var)
    {
        const double v = getValue(var);
        return static_cast<int>(v < 0.0 ? -std::floor(-v + 0.5) : std::floor(v + 0.5));
    };
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

void CViewArea::writeSizeProgram(bool horizontal)
{
    const CAxis& axis = horizontal ? kHorizontal : kVertical;
    const CSizeRule& rule = horizontal ? rules.width : rules.height;
    const CSizeRule& minimum = horizontal ? rules.minWidth : rules.minHeight;
    double ratio = horizontal ? rules.ratioX : rules.ratioY;
    const double minRatio = horizontal ? rules.minRatioX : rules.minRatioY;
    ratio = ratio < minRatio ? minRatio : ratio;
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
        // The parent's inner extent through the ratio, less the outer border, at least the
        // minimum.
        pushInnerExtent(p, horizontal);
        p.constant(ratio);
        pushInnerExtent(p, horizontal);
        p.op(Net::kGuardedDivide);
        p.var(this, axis.outerStart).op(Net::kSubtract);
        p.var(this, axis.outerEnd).op(Net::kSubtract);
        break;
    case CSizeRule::kSizeBalanced:
    {
        // An equal share among the inline siblings of the row, gaps taken off first.
        int count = 0;
        if (parent)
        {
            for (CViewArea* sibling : parent->children)
                count += sibling->rules.placement == kInline && !sibling->rules.isHidden ? 1 : 0;
        }
        count = count > 0 ? count : 1;
        const double gap = horizontal
                               ? parent ? (parent->rules.spread[0] + parent->rules.spread[2]) : 0.0
                           : parent ? (parent->rules.spread[1] + parent->rules.spread[3])
                                    : 0.0;
        pushInnerExtent(p, horizontal);
        p.constant(std::round(gap * scale) * (count - 1)).op(Net::kSubtract);
        p.constant(count).op(Net::kDivide).op(Net::kFloor);
        p.var(this, axis.outerStart).op(Net::kSubtract);
        p.var(this, axis.outerEnd).op(Net::kSubtract);
        break;
    }
    case CSizeRule::kSizeCompact:
    case CSizeRule::kSizeUnset:
        p.var(this, axis.compact).constant(ratio).op(Net::kMultiply).op(Net::kRound);
        break;
    }
    // Never below the minimum.
    switch (minimum.kind)
    {
    case CSizeRule::kSizePixels:
        p.constant(std::round(minimum.value * scale)).op(Net::kMax2);
        break;
    case CSizeRule::kSizeCompact:
    case CSizeRule::kSizeBalanced:
        p.var(this, axis.compact).op(Net::kMax2);
        break;
    default:
        p.constant(0.0).op(Net::kMax2);
        break;
    }
    if (rule.kind == CSizeRule::kSizeFull)
        p.op(Net::kRound);
    p.install(vars[axis.size]);
}

void CViewArea::writeCompactPrograms()
{
    const double scale = CUiScale::get();
    // Which children flow inline, and where each row or column begins.
    CArray<CViewArea*, 16> leaders;
    bool any = false;
    for (CViewArea* child : children)
    {
        if (child->rules.placement != kInline || child->rules.isHidden)
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
            p.constant(std::round(fixed * scale));
        else if (leaders.isEmpty())
        {
            p.var(this, axis.content);
            p.var(this, axis.innerStart).op(Net::kAdd).var(this, axis.innerEnd).op(Net::kAdd);
        }
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
            p.var(this, axis.innerStart).op(Net::kAdd).var(this, axis.innerEnd).op(Net::kAdd);
        }
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
    const double offset[2] = {std::round(child->rules.offsetX * CUiScale::get()),
                              std::round(child->rules.offsetY * CUiScale::get())};
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

    CProgram start(*network);
    pushRest(start, rest, acrossIndex);
    start.var(child, across.outerStart).op(Net::kAdd);
    start.install(child->vars[across.start]);
    if (acrossRule.kind == CSizeRule::kSizeUnset || acrossRule.kind == CSizeRule::kSizeFull)
    {
        CProgram end(*network);
        pushRest(end, rest, acrossIndex + 2);
        end.var(child, across.outerEnd).op(Net::kSubtract);
        end.install(child->vars[across.end]);
        CProgram size(*network);
        size.var(child, across.end).var(child, across.start).op(Net::kSubtract);
        size.install(child->vars[across.size]);
    }
    else
        setEdgesFromSize(child, horizontalDock ? false : true);

    if (!fromEnd)
    {
        CProgram p(*network);
        pushRest(p, rest, alongIndex);
        p.var(child, along.outerStart).op(Net::kAdd);
        p.install(child->vars[along.start]);
        setEdgesFromSize(child, horizontalDock);
    }
    else
    {
        CProgram p(*network);
        pushRest(p, rest, alongIndex + 2);
        p.var(child, along.outerEnd).op(Net::kSubtract);
        p.install(child->vars[along.end]);
        CProgram q(*network);
        q.var(child, along.end).var(child, along.size).op(Net::kSubtract);
        q.install(child->vars[along.start]);
    }
    // What it leaves to the next docked sibling.
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
        p.install(child->vars[restVars[side]]);
    }
}

void CViewArea::layoutRows(const CArray<CViewArea*, 16>& flow)
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
    auto pushAligned = [&](CProgram& p, Alignment alignment)
    {
        // Expects the free space on the stack; leaves the shift.
        if (alignment == kAlignCenter)
            p.op(Net::kHalve).op(Net::kFloor);
        else if (alignment == kAlignStart)
            p.constant(0.0).op(Net::kMultiply);
    };

    for (int r = 0; r < rowCount; ++r)
    {
        CViewArea* leader = flow[rowStarts[r]];
        const int count = rowStarts[r + 1] - rowStarts[r];
        // The row's extent along the flow and its depth across it.
        CProgram extent(*network);
        extent.constant(gap * (count - 1));
        for (int i = rowStarts[r]; i < rowStarts[r + 1]; ++i)
        {
            pushOuterSize(extent, flow[i], along);
            extent.op(Net::kAdd);
        }
        extent.install(leader->vars[kRowExtent]);
        CProgram depth(*network);
        for (int i = rowStarts[r]; i < rowStarts[r + 1]; ++i)
            pushOuterSize(depth, flow[i], across);
        depth.maxOf(count);
        depth.install(leader->vars[kRowDepth]);

        // Where the row begins across the flow: after the rows before it, or where the block
        // of rows stands in the inner box.
        CProgram rowStart(*network);
        if (r == 0)
            rowStart.var(this, across.start).var(this, across.innerStart).op(Net::kAdd);
        else
        {
            CViewArea* previous = flow[rowStarts[r - 1]];
            rowStart.var(previous, kRowStart).var(previous, kRowDepth).op(Net::kAdd);
            rowStart.constant(rowGap).op(Net::kAdd);
        }
        if (r == 0 && alignAcross != kAlignStart)
        {
            // start + (inner extent - block depth) aligned.
            CProgram block(*network);
            block.var(this, across.start).var(this, across.innerStart).op(Net::kAdd);
            block.var(this, across.size).var(this, across.innerStart).op(Net::kSubtract);
            block.var(this, across.innerEnd).op(Net::kSubtract);
            block.constant(rowGap * (rowCount - 1)).op(Net::kSubtract);
            for (int k = 0; k < rowCount; ++k)
                block.var(flow[rowStarts[k]], kRowDepth).op(Net::kSubtract);
            pushAligned(block, alignAcross);
            block.op(Net::kAdd);
            block.install(leader->vars[kRowStart]);
        }
        else
            rowStart.install(leader->vars[kRowStart]);

        for (int i = rowStarts[r]; i < rowStarts[r + 1]; ++i)
        {
            CViewArea* child = flow[i];
            // Along the flow: the row's own start for the first, the previous child's end after.
            CProgram start(*network);
            if (i == rowStarts[r])
            {
                start.var(this, along.start).var(this, along.innerStart).op(Net::kAdd);
                if (alignAlong != kAlignStart)
                {
                    start.var(this, along.size).var(this, along.innerStart).op(Net::kSubtract);
                    start.var(this, along.innerEnd).op(Net::kSubtract);
                    start.var(leader, kRowExtent).op(Net::kSubtract);
                    pushAligned(start, alignAlong);
                    start.op(Net::kAdd);
                }
            }
            else
            {
                CViewArea* before = flow[i - 1];
                start.var(before, along.end).var(before, along.outerEnd).op(Net::kAdd);
                start.constant(gap).op(Net::kAdd);
            }
            start.var(child, along.outerStart).op(Net::kAdd);
            const double offsetAlong = vertical ? child->rules.offsetY : child->rules.offsetX;
            if (offsetAlong != 0.0 && i == rowStarts[r])
                start.constant(std::round(offsetAlong * scale)).op(Net::kAdd);
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
            const double offsetAcross = vertical ? child->rules.offsetX : child->rules.offsetY;
            if (offsetAcross != 0.0)
                cross.constant(std::round(offsetAcross * scale)).op(Net::kAdd);
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
        // A balanced share depends on how many siblings there are.
        if (child->rules.width.kind == CSizeRule::kSizeBalanced)
            child->writeSizeProgram(true);
        if (child->rules.height.kind == CSizeRule::kSizeBalanced)
            child->writeSizeProgram(false);
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
        case kScrollerH:
        case kScrollerV:
        case kScrollerP:
        {
            layoutBox(child, nullptr, nullptr, true);
            // A scrolled child has its virtual extent along the scrolled axis.
            const double scale = CUiScale::get();
            if (child->rules.placement != kScrollerV && child->rules.scrollerWidth > 0.0)
            {
                CProgram(*network)
                    .constant(std::round(child->rules.scrollerWidth * scale))
                    .install(child->vars[kWidth]);
                setEdgesFromSize(child, true);
            }
            if (child->rules.placement != kScrollerH && child->rules.scrollerHeight > 0.0)
            {
                CProgram(*network)
                    .constant(std::round(child->rules.scrollerHeight * scale))
                    .install(child->vars[kHeight]);
                setEdgesFromSize(child, false);
            }
            break;
        }
        case kWindowOverlay:
            layoutBox(child, getRoot(), nullptr, true);
            break;
        case kMatch:
            layoutBox(child, child->rules.match ? child->rules.match : this, nullptr, false);
            break;
        }
    }
    if (!flow.isEmpty())
        layoutRows(flow);
}

} // namespace kel
