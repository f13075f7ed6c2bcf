#pragma once

#include "Core/CObject.h"
#include "UI/CLinearBitmap.h"
#include "UI/Views/CViewArea.h"

namespace kel
{

// The first layer of every view: where it stands. The placement attributes of the design data
// (placement, alignment, sizes, borders, spread, ratios, offsets, visibility, z-order) are turned
// into the programs of the view's CViewArea, whose variables depend on those of other views; a
// change of one attribute re-evaluates only what depends on it.
//
// init finds the parent view (or, with "is-root-view", starts a network of its own) and makes the
// area; the attribute handlers, which run after it, write the programs. After the outermost
// change the root view applies the changed areas: each view hears onAreaChanged.
//
// Owns its area; the parent view and the root view are not owned. [ui thread]
class CViewBasePlacement : public CObject, public CViewArea::COwner
{
public:
    CViewBasePlacement();
    ~CViewBasePlacement() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    CViewBasePlacement* getParentView() const { return parentView; }
    CViewBasePlacement* getRootView() const { return rootView; }
    bool isRootView() const { return rootView == this; }
    CViewArea* getArea() const { return viewArea; }
    bool isHidden() const { return hidden; }

    // The view's rectangle in window pixels, edges rounded to the nearest pixel.
    CLinearBitmap::Rect getViewRect() const;

    // Tells every view whose area changed since the last call (root views only).
    void applyChangedAreas();

protected:
    // Views that start a window (its root view) answer true; "is-root-view" says it for others.
    virtual bool isRootByDefault() const { return false; }
    // The area's rectangle changed.
    void onAreaChanged() override {}

private:
    // Reads every placement attribute; an invalid enumeration or match is an error.
    [[nodiscard]] CError* readRules(CViewArea::CRules& rules);
    [[nodiscard]] CError* applyRules();

    [[nodiscard]] CError* attrPlacement();
    [[nodiscard]] CError* attrAlignment();
    [[nodiscard]] CError* attrSize();
    [[nodiscard]] CError* attrBorders();
    [[nodiscard]] CError* attrVisibility();
    [[nodiscard]] CError* attrScroller();

    CViewArea* viewArea = nullptr;            // owned
    CViewBasePlacement* parentView = nullptr; // not owned; cleared in detachLinks
    CViewBasePlacement* rootView = nullptr;   // not owned; cleared in detachLinks
    bool hidden = false;
};

} // namespace kel
