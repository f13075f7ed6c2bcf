#pragma once

#include "UI/Params/CDragInfo.h"
#include "UI/Views/CView.h"

#include <cstdint>

namespace kel
{

class CTimer;
class CUIParam;

// The drag engine of a control (tag ui:ui-param-controller, found by the control as its child
// ".ui-param-controller"): it turns pointer motion and wheel steps into normalised values for a
// selection of elements of the control's CUIParam, and makes each gesture one undo step.
//
// Attributes: `ui-param` (path of the CUIParam, "^ui-param" when absent), `ui-param-count` (the
// elements of the control, 1), `is-axis-zero` (false: vertical motion drives, true: horizontal),
// `update-fps` (0: the control redraws on notification alone; else a timer "update-timer" asks
// the control to read its value again at that rate).
//
// A drag: startScale, any number of advanceScale, finishScale. Modes: 0 scale, where every
// element keeps its proportion to the centre (0.0: all values scale by one factor),
// v = (b - centre) * (1 - d * p) + centre; 1 offset, v = b - d * p; 2 radial, where the control
// computes the value and calls setValue. b is an element's value at the start, d the motion in
// pixels (upwards positive, negated when inverted) and p the drag step of CGlobalSettings. While
// Shift is held, motion counts times the Shift factor from that moment on. With the clip check,
// the motion stops where the first element reaches an end, so that the value leaves the end at
// the first pixel of reverse motion. A hidden pointer that goes more than 40 pixels from the
// start is put back there (unless `tablet-mode`): the drag is endless.
//
// Changes: startScale opens a change on each bridge of the selection; finishScale closes them,
// and a drag that changed nothing leaves no undo step. All changes of a gesture carry one merge
// id; a start with the link flag (the linked partner of another control's drag) takes the id of
// the drag started last, so the history folds both into one entry. A wheel step outside a drag
// opens its own change, which closes when the wheel has rested for kWheelRestSec (a timer
// "wheel-timer" watches, every kWheelCheckSec while a wheel change is open).
//
// Owned by its control; the CUIParams are not owned, and are looked up again at each gesture.
// [ui thread]
class CUIParamController : public CView
{
public:
    static constexpr int kModeScale = 0;
    static constexpr int kModeOffset = 1;
    static constexpr int kModeRadial = 2;
    // Beyond this distance from its start, a hidden pointer is put back.
    static constexpr double kEndlessDragRadius = 40.0;
    // A value this far beyond an end sets the drag limit.
    static constexpr double kClipMargin = 0.0001;
    static constexpr double kWheelRestSec = 0.3;
    static constexpr double kWheelCheckSec = 0.05;

    CUIParamController();
    ~CUIParamController() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // ---- a drag ----

    // Opens a drag at the pointer position (x, y) over count elements from element (-1 for
    // either: all elements of the control). A drag still open is finished first.
    [[nodiscard]] CError* startScale(int mode, int element, int count, bool link, int x, int y);
    // One pointer position of the drag; outValue is the first element's new value (0.0 with no
    // drag open, or in the radial mode).
    [[nodiscard]] CError* advanceScale(int x, int y, bool isPrecise, bool inverted, bool clipCheck,
                                       double& outValue);
    [[nodiscard]] CError* finishScale();
    // Radial mode: writes value to every selected element.
    [[nodiscard]] CError* setValue(double value);

    // ---- wheel and reset ----

    // value + delta * (Shift factor with shift) * wheel step, for count elements from element.
    [[nodiscard]] CError* addWheelDelta(double delta, int element, int count, bool shift);
    // Closes the change of the wheel (the wheel rested); nothing without one.
    [[nodiscard]] CError* finishWheel();
    // Each of count elements from element back to its default, each one undo step.
    [[nodiscard]] CError* resetToDefault(int element, int count);

    // ---- the pointer ----

    // Puts the pointer at window point (x, y) for the endless drag: noted (getWarpCount), then
    // handed to the native window of the control's window, if it has one.
    virtual void warpPointer(int x, int y);
    // Whether the control hides the pointer while it drags (true until told otherwise); only a
    // hidden pointer is put back.
    void setHidesPointer(bool isHidden) { hidesPointer = isHidden; }

    // ---- state ----

    bool isDragOpen() const { return dragOpen; }
    bool isWheelOpen() const { return wheelOpen; }
    int getMode() const { return mode; }
    double getPrecision() const { return precision; }
    double getCenter() const { return center; }
    const CDragInfo& getDragInfo() const { return dragInfo; }
    int getOpenChangeCount() const { return openChanges.getCount(); }
    int getWarpCount() const { return warpCount; }
    int getLastWarpX() const { return lastWarpX; }
    int getLastWarpY() const { return lastWarpY; }

private:
    struct CSelected
    {
        CUIParam* uiParam;
        int element; // relative to the CUIParam's own element
    };

    [[nodiscard]] CError* findUIParam(CUIParam*& out);
    // Fills selection for count elements from element (-1: all).
    [[nodiscard]] CError* select(int element, int count);
    // Opens a change on each bridge of the selection.
    [[nodiscard]] CError* openChangesOfSelection(int32_t mergeId);
    [[nodiscard]] CError* closeChanges();
    // The value of a selected element for the drag motion d.
    double valueAt(int index, double d) const;
    // The motion d at which element index reaches bound.
    double motionToReach(int index, double bound) const;
    [[nodiscard]] CError* onUpdateTick();
    [[nodiscard]] CError* onWheelTick();
    [[nodiscard]] CError* runWheelTimer(double intervalSec);
    static double nowSec();

    CDragInfo dragInfo;
    CArray<CSelected> selection;
    CArray<double> startValues;
    CArray<CUIParam*> openChanges;   // not owned: CUIParams that opened a change
    CUIParam* lastUIParam = nullptr; // not owned; cleared in detachLinks
    CTimer* updateTimer = nullptr;   // child: owned by the tree
    CTimer* wheelTimer = nullptr;    // child: owned by the tree
    int mode = kModeOffset;
    double precision = 0.0;
    double center = 0.0;
    bool dragOpen = false;
    bool wheelOpen = false;
    bool hidesPointer = true;
    bool axisZero = false;
    double lastWheelSec = 0.0;
    int warpCount = 0;
    int lastWarpX = 0;
    int lastWarpY = 0;
};

} // namespace kel
