#pragma once

#include "UI/Params/CUIParamUpdateHandler.h"
#include "UI/Views/CView.h"

namespace kel
{

class CColor;
class CColorSwatch;
class CUIParam;
class CUIParamController;

// A knob (tag ui:knob): one frame of its image set per value, chosen from the value of its
// CUIParam (child "ui-param"), and a drag delegated to its controller (child
// ".ui-param-controller", "Unable to locate UI parameter controller." without one).
//
// Geometry in fractions of the knob's own size: the centre ("center-x" 0.5 of the width,
// "center-y" 0.45 of the height), the middle zone up to "inner-radius" (0.27 of the width) and
// the ring up to "outer-radius" (0.44); a press beyond the ring is not the knob's. The value
// travels from the angle "zone-start" (0.89 turns) to "zone-end" (0.60 turns), clockwise.
//
// Press: a double click resets the value to its default; with the global setting
// radial-knob-mode, a press in the ring sets the value from the angle and the drag follows the
// angle; any other press starts a vertical drag (upwards raises the value), Shift making it
// finer from the moment it is held. Release ends the drag; so does a press that is cancelled.
// Wheel: one step per notch (finer with Shift), one change until the wheel rests.
//
// A second knob, "linked-knob" (a path, looked up in initChilds: the partner must be built by
// then, earlier in the tree; the knob itself or a path that leads nowhere fails init), follows
// this one while Ctrl is held: a double click resets both, a press opens a
// vertical drag on both (the partner's change joins this one's undo step), and the wheel steps
// both; with "is-link-inversed" the partner moves the other way. Whether the link takes part is
// decided at the press: it stays open until the drag ends, Ctrl held or not. A radial drag
// follows the angle under the pointer, which means nothing to the partner: it is not linked.
//
// Colours: the role "color" with the layer slots of "color-slots" (body, "Indicator", cap).
// With "color-swatch" (the path of a CColorSwatch) and "color-index", the indicator layer takes
// that colour of the swatch instead, in the knob's present state row where the palette has one.
//
// Scale labels: the child view ".knob-labels" (a CKnobLabels) is given the state "show" while
// the pointer is over the knob, if the global setting show-knob-labels is on.
//
// The frame: first + round((last - first) * v) of the range "image-set-range" (or the one the
// active states ask for), v being the value the parameter holds, never the one the mouse asked
// for. A knob whose CUIParam is not valid (a parameter that does not exist, a client not
// connected) draws no frame. Owned by its parent view; the CUIParam and the controller are its
// children. [ui thread]
class CKnob : public CView, public CUIParamUpdateHandler
{
public:
    static constexpr int kModeNone = 0;
    static constexpr int kModeDrag = 1;
    static constexpr int kModeRadial = 2;
    // The layer slot that the swatch colour replaces.
    static constexpr int kIndicatorSlot = 1;

    // The centre and radii in window pixels, from the knob's present rectangle.
    struct CGeometry
    {
        double centerX = 0.0;
        double centerY = 0.0;
        double innerRadius = 0.0;
        double outerRadius = 0.0;
    };

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // CUIParamUpdateHandler: the value may have changed; the knob redraws.
    [[nodiscard]] CError* onUIParamUpdate(CUIParam& uiParam) override;

    // The value, 0.0 to 1.0, of the point (x, y) of the window by its angle around the centre;
    // the gap between the ends snaps to the nearer end.
    double getRadialValue(int x, int y) const;
    // The frame of the range for value v: first + round((last - first) * v), -1 for none.
    static int frameOf(int first, int last, double v);
    int getDragMode() const { return dragMode; }
    CUIParamController* getController() const { return controller; }
    CGeometry getGeometry() const;
    // Angles of the values 0.0 and 1.0, in turns.
    double getZoneStart() const { return zoneStart; }
    double getZoneEnd() const { return zoneEnd; }
    CKnob* getLinkedKnob() const { return linkedKnob; }
    bool isLinkOpen() const { return linkOpen; }
    // The colour the swatch gives the indicator layer now; null: the slot's own.
    const CColor* getSwatchColor();

protected:
    void draw(CDrawContext& dc) override;
    void onAreaChanged() override;
    [[nodiscard]] CError* onMousePress(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseMove(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseRelease(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseCancel(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseWheel(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseEnter(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseExit(CAttrMap& params) override;

private:
    [[nodiscard]] CError* attrGeometry();
    [[nodiscard]] CError* attrSwatch();
    [[nodiscard]] CError* attrLink();
    // The centre and radii in window pixels, from the view's rectangle.
    void computeGeometry();
    [[nodiscard]] CError* endDrag();
    static int intParam(const CAttrMap& params, const char* name);
    static bool boolParam(const CAttrMap& params, const char* name);

    CUIParam* uiParam = nullptr;              // not owned: a child; cleared in detachLinks
    CUIParamController* controller = nullptr; // not owned: a child; cleared in detachLinks
    CView* labels = nullptr;                  // not owned: a child; cleared in detachLinks
    CColorSwatch* swatch = nullptr;           // not owned; cleared in detachLinks
    CKnob* linkedKnob = nullptr;              // not owned; cleared in detachLinks
    double centerXRatio = 0.5;
    double centerYRatio = 0.45;
    double innerRatio = 0.27;
    double outerRatio = 0.44;
    double zoneStart = 0.89;
    double zoneEnd = 0.60;
    double centerX = 0.0;
    double centerY = 0.0;
    double innerRadius = 0.0;
    double outerRadius = 0.0;
    int element = 0;
    int dragMode = kModeNone;
    int colorIndex = -1;
    bool linkInversed = false;
    bool linkOpen = false; // the partner's drag runs with this one's
};

} // namespace kel
