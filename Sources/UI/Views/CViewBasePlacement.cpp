#include "UI/Views/CViewBasePlacement.h"

#include "UI/Views/CViewArea.h"
#include "UI/Views/CViewBorder.h"

namespace kel
{

namespace
{

struct CNamedPlacement
{
    const char* name;
    CViewArea::Placement placement;
};

const CNamedPlacement kPlacements[] = {
    {"inline", CViewArea::kInline},
    {"match", CViewArea::kMatch},
    {"full", CViewArea::kFull},
    {"overlay", CViewArea::kOverlay},
    {"top", CViewArea::kDockTop},
    {"bottom", CViewArea::kDockBottom},
    {"left", CViewArea::kDockLeft},
    {"right", CViewArea::kDockRight},
    {"window-overlay", CViewArea::kWindowOverlay},
    {"scroller-h", CViewArea::kScrollerH},
    {"scroller-v", CViewArea::kScrollerV},
    {"scroller-p", CViewArea::kScrollerP},
};

// "left"/"top", "center", "right"/"bottom"; an empty text is the start. False otherwise.
bool parseAlignment(const CString& text, const char* startName, const char* endName,
                    CViewArea::Alignment& out)
{
    if (text.isEmpty() || text == startName)
        out = CViewArea::kAlignStart;
    else if (text == "center")
        out = CViewArea::kAlignCenter;
    else if (text == endName)
        out = CViewArea::kAlignEnd;
    else
        return false;
    return true;
}

} // namespace

CViewBasePlacement::CViewBasePlacement() = default;

CViewBasePlacement::~CViewBasePlacement()
{
    // Children are gone by now; their areas left this one as they went.
    delete viewArea;
}

void CViewBasePlacement::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addAttrHandler<CViewBasePlacement>("placement", &CViewBasePlacement::attrPlacement);
    info.addAttrHandler<CViewBasePlacement>("placement-match", &CViewBasePlacement::attrPlacement);
    info.addAttrHandler<CViewBasePlacement>("alignment-h", &CViewBasePlacement::attrAlignment);
    info.addAttrHandler<CViewBasePlacement>("alignment-v", &CViewBasePlacement::attrAlignment);
    info.addAttrHandler<CViewBasePlacement>("inline-alignment-h",
                                            &CViewBasePlacement::attrAlignment);
    info.addAttrHandler<CViewBasePlacement>("inline-alignment-v",
                                            &CViewBasePlacement::attrAlignment);
    const char* sizeAttrs[] = {
        "is-new-inline-row", "is-inline-vertical", "width",          "height",  "min-width",
        "min-height",        "compact-width",      "compact-height", "ratio-x", "ratio-y",
        "min-ratio-x",       "min-ratio-y",        "offset-x",       "offset-y"};
    for (const char* name : sizeAttrs)
        info.addAttrHandler<CViewBasePlacement>(name, &CViewBasePlacement::attrSize);
    info.addAttrHandler<CViewBasePlacement>("inner-border", &CViewBasePlacement::attrBorders);
    info.addAttrHandler<CViewBasePlacement>("outer-border", &CViewBasePlacement::attrBorders);
    info.addAttrHandler<CViewBasePlacement>("spread", &CViewBasePlacement::attrBorders);
    info.addAttrHandler<CViewBasePlacement>("is-visible", &CViewBasePlacement::attrVisibility);
    info.addAttrHandler<CViewBasePlacement>("is-hidden", &CViewBasePlacement::attrVisibility);
    info.addAttrHandler<CViewBasePlacement>("scroller-width", &CViewBasePlacement::attrScroller);
    info.addAttrHandler<CViewBasePlacement>("scroller-height", &CViewBasePlacement::attrScroller);
}

CError* CViewBasePlacement::init()
{
    KEL_CHECK(CObject::init());
    if (isRootByDefault() || getAttrBool(CString("is-root-view"), false))
        rootView = this;
    else
    {
        for (CObject* up = getParent(); up && !parentView; up = up->getParent())
            parentView = dynamic_cast<CViewBasePlacement*>(up);
        if (!parentView)
            return KEL_ERROR("@kelstr_CViewBasePlacement_init_NoParentView Unable to locate "
                             "parent view.");
        rootView = parentView->rootView;
        if (!rootView)
            return KEL_ERROR("@kelstr_CViewBasePlacement_init_NoRootView Unable to locate root "
                             "view.");
    }
    viewArea = new CViewArea(parentView ? parentView->viewArea : nullptr, this);
    return nullptr;
}

void CViewBasePlacement::detachLinks()
{
    // The area stays until the destructor: the children's areas still hang from it.
    if (viewArea)
        viewArea->beginTeardown();
    parentView = nullptr;
    rootView = nullptr;
    CObject::detachLinks();
}

CLinearBitmap::Rect CViewBasePlacement::getViewRect() const
{
    return viewArea ? viewArea->getRect() : CLinearBitmap::Rect{};
}

void CViewBasePlacement::applyChangedAreas()
{
    if (viewArea && isRootView())
        viewArea->applyChangedAreas();
}

CError* CViewBasePlacement::readRules(CViewArea::CRules& rules)
{
    rules = viewArea->getRules();
    const CString placement = getAttrString(CString("placement"), CString("inline"));
    bool known = false;
    for (const CNamedPlacement& named : kPlacements)
    {
        if (placement == named.name)
        {
            rules.placement = named.placement;
            known = true;
        }
    }
    if (!known)
        return KEL_ERROR("@kelstr_CViewBasePlacement_attrPlacement_InvalidPlacement Invalid "
                         "placement '%1'.",
                         placement);
    const bool scrolled = rules.placement == CViewArea::kScrollerH ||
                          rules.placement == CViewArea::kScrollerV ||
                          rules.placement == CViewArea::kScrollerP;
    if (scrolled && parentView && !parentView->getAttrBool(CString("is-scrollable"), false))
    {
        KEL_LOG("Invalid placement %i, parent view does not support scrolling",
                static_cast<int>(rules.placement));
        rules.placement = CViewArea::kOverlay;
    }
    rules.match = nullptr;
    const CString matchPath = getAttrString(CString("placement-match"));
    if (rules.placement == CViewArea::kMatch && !matchPath.isEmpty())
    {
        auto* matched = dynamic_cast<CViewBasePlacement*>(findObject(matchPath));
        if (!matched || !matched->viewArea || matched->viewArea->getRoot() != viewArea->getRoot())
            return KEL_ERROR("@kelstr_CViewBasePlacement_attrPlacement_InvalidMatch Invalid "
                             "match '%1'.",
                             matchPath);
        rules.match = matched->viewArea;
    }

    struct CAlign
    {
        const char* attr;
        const char* startName;
        const char* endName;
        CViewArea::Alignment* target;
        const char* message;
    };
    const CAlign aligns[] = {
        {"alignment-h", "left", "right", &rules.alignH,
         "@kelstr_CViewBasePlacement_attrAlignmentH_InvalidAlignmentH Invalid alignment-h '%1'."},
        {"alignment-v", "top", "bottom", &rules.alignV,
         "@kelstr_CViewBasePlacement_attrAlignmentV_InvalidAlignmentV Invalid alignment-v '%1'."},
        {"inline-alignment-h", "left", "right", &rules.inlineAlignH,
         "@kelstr_CViewBasePlacement_attrInlineAlignmentH_InvalidAlignment Invalid "
         "inline-alignment-h '%1'."},
        {"inline-alignment-v", "top", "bottom", &rules.inlineAlignV,
         "@kelstr_CViewBasePlacement_attrInlineAlignmentV_InvalidAlignment Invalid "
         "inline-alignment-v '%1'."},
    };
    for (const CAlign& align : aligns)
    {
        const CString text = getAttrString(CString(align.attr));
        if (!parseAlignment(text, align.startName, align.endName, *align.target))
            return KEL_ERROR(align.message, text);
    }

    rules.isNewRow = getAttrBool(CString("is-new-inline-row"), false);
    rules.isVertical = getAttrBool(CString("is-inline-vertical"), false);
    rules.isHidden =
        getAttrBool(CString("is-hidden"), false) || !getAttrBool(CString("is-visible"), true);
    struct CSize
    {
        const char* attr;
        CViewArea::CSizeRule* target;
    };
    const CSize sizes[] = {{"width", &rules.width},
                           {"height", &rules.height},
                           {"min-width", &rules.minWidth},
                           {"min-height", &rules.minHeight}};
    for (const CSize& size : sizes)
    {
        const CString text = getAttrString(CString(size.attr));
        if (!CViewArea::CSizeRule::parse(text, *size.target))
        {
            char utf8[128];
            text.toUtf8(utf8, sizeof utf8);
            KEL_LOG("Invalid size %s: '%s'", size.attr, utf8);
        }
    }
    auto compact = [this](const char* attr)
    {
        const CString text = getAttrString(CString(attr), CString("auto"));
        double value = -1.0;
        return text == "auto" || !text.parseDouble(value) ? -1.0 : value;
    };
    rules.compactWidth = compact("compact-width");
    rules.compactHeight = compact("compact-height");
    rules.ratioX = getAttrDouble(CString("ratio-x"), 1.0);
    rules.ratioY = getAttrDouble(CString("ratio-y"), 1.0);
    rules.minRatioX = getAttrDouble(CString("min-ratio-x"), 0.0);
    rules.minRatioY = getAttrDouble(CString("min-ratio-y"), 0.0);
    rules.offsetX = getAttrDouble(CString("offset-x"), 0.0);
    rules.offsetY = getAttrDouble(CString("offset-y"), 0.0);
    const CViewBorder inner = CViewBorder::parse(getAttrString(CString("inner-border")));
    const CViewBorder outer = CViewBorder::parse(getAttrString(CString("outer-border")));
    const CViewBorder spread = CViewBorder::parse(getAttrString(CString("spread")));
    const double innerSides[4] = {inner.left, inner.top, inner.right, inner.bottom};
    const double outerSides[4] = {outer.left, outer.top, outer.right, outer.bottom};
    const double spreadSides[4] = {spread.left, spread.top, spread.right, spread.bottom};
    for (int side = 0; side < 4; ++side)
    {
        rules.inner[side] = innerSides[side];
        rules.outer[side] = outerSides[side];
        rules.spread[side] = spreadSides[side];
    }
    rules.scrollerWidth = getAttrDouble(CString("scroller-width"), 0.0);
    rules.scrollerHeight = getAttrDouble(CString("scroller-height"), 0.0);
    return nullptr;
}

CError* CViewBasePlacement::applyRules()
{
    if (!viewArea)
        return nullptr;
    CViewArea::CRules rules;
    KEL_CHECK(readRules(rules));
    viewArea->setRules(rules);
    hidden = rules.isHidden;
    return nullptr;
}

CError* CViewBasePlacement::attrPlacement()
{
    return applyRules();
}

CError* CViewBasePlacement::attrAlignment()
{
    return applyRules();
}

CError* CViewBasePlacement::attrSize()
{
    return applyRules();
}

CError* CViewBasePlacement::attrBorders()
{
    return applyRules();
}

CError* CViewBasePlacement::attrVisibility()
{
    return applyRules();
}

CError* CViewBasePlacement::attrScroller()
{
    return applyRules();
}

} // namespace kel
