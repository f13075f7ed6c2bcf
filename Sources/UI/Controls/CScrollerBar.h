#pragma once

#include "UI/Views/CView.h"

namespace kel
{

// A scroll bar (tag ui:scroller-bar) for the scrollable view at "target" (a path; the bar is
// an error without one). It moves the children that the target places with scroller-v, or with
// "orientation" "horizontal" those placed with scroller-h, by setting the target's scroll
// offset, which it keeps within 0 and the virtual extent less the visible one (the target's
// inner size). The bar runs along its whole length (the track).
//
// The thumb stands for the visible part: its length is track * visible / virtual, at least
// "min-thumb-length" (12 by default) and at most the track; it lies at (track - thumb) *
// offset / (virtual - visible) from the track's start; both rounded to whole pixels, and
// lengths are scaled like every metric. Dragging the thumb moves the offset with it; a press
// on the track before or after the thumb moves by one visible extent; one notch of the wheel
// over the bar, over the target or over one of the target's child views moves by "scroll-step"
// (20 by default, scaled). When everything fits there is no thumb and the bar takes no input.
//
// The track is the view's own fill ("is-filled" with its role); the thumb is the palette role
// "thumb-color" ("ScrollerBar"), in its "_Hover" colour under the pointer and "_Active" while
// dragged. The target is looked up at each use and never held, so that it may follow the bar in
// the tree; one that is not there (or is no view) fails the input that needs it and is logged
// once by drawing. Owned by its parent view. [ui thread]
class CScrollerBar : public CView
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // The thumb on the track, in window pixels along the bar; false when nothing scrolls.
    bool getThumb(int& start, int& length);

protected:
    void draw(CDrawContext& dc) override;
    [[nodiscard]] CError* onMousePress(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseMove(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseRelease(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseCancel(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseWheel(CAttrMap& params) override;

private:
    // What the bar needs of its target along its axis, in pixels.
    struct CTrack
    {
        CViewArea* area = nullptr;
        double offset = 0.0;
        double maxOffset = 0.0;
        double visible = 0.0;
        int start = 0; // the track in window pixels along the axis
        int length = 0;
        int thumbStart = 0;
        int thumbLength = 0;
    };

    [[nodiscard]] CError* attrSettings();
    // Procedure of the wheel heard from the target and its children.
    [[nodiscard]] CError* onTargetWheel(const CAttrMap& params);
    // The target's area (findObjectChecked's errors when it is not there); starts listening to
    // its wheel the first time it is found.
    [[nodiscard]] CError* findTargetArea(CViewArea*& outArea);
    // scrolls: false when everything fits.
    [[nodiscard]] CError* measure(CTrack& out, bool& scrolls);
    // measure for drawing: an error is logged once and nothing scrolls.
    bool measureLogged(CTrack& out);
    void scrollTo(const CTrack& track, double offset);
    [[nodiscard]] CError* scrollByWheel(const CAttrMap& params);
    // The pointer's place along the bar's axis.
    int along(const CAttrMap& params) const;

    CString targetPath;
    bool horizontal = false;
    int minThumbLength = 12;
    int scrollStep = 20;
    CString thumbColor;
    bool listening = false;       // the wheel of the target and its children is heard
    bool reportedMissing = false; // the drawing logged the target's error
    bool dragging = false;
    int dragGrip = 0; // where the thumb was taken, from its start
};

} // namespace kel
