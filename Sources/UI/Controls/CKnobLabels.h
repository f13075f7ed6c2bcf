#pragma once

#include "UI/Controls/CPicture.h"

namespace kel
{

class CTextView;
class CValueList;

// The ring of scale labels around a knob (tag ui:knob-labels), a child of the knob laid over it.
//
// Its own picture is the image "LabelBG" of its image set ("image-range" and "image-set"
// default to that range and to the knob's image set); a set without that range draws no
// background and the labels stand alone.
//
// The values come from the child value list ".scale" ("Unable to locate scale values." without
// one). For each item a label is made from the template ui:knob-labels-label (a text view):
// placement "overlay", text centred both ways, compact size, the item's title as its text
// ("Unable to create scale labels." when the template gives no text view). The label's box is
// its text's size, centred on a point of the circle around the knob's centre, at the angle the
// knob shows for the item's value: zone-start + v * (zone-end + 1 - zone-start) turns, clockwise
// from the left. v is the item's value when the list is a "knob-circle" list (its values are the
// normalised positions); otherwise the items are spread evenly, i / (count - 1).
//
// The circle's radius: half the width of the LabelBG picture, which is drawn centred on the
// knob and spans the ring of labels; without that picture, the knob's outer radius (that of a
// parent that is no knob: 0.44 of this view's width, its centre at 0.5 and 0.45 of the size).
//
// The list's "values-changed" (procedure scale-values-change) makes the labels anew: a range
// that changes changes the scale. Shown and hidden by the data: the knob sets the state "show"
// while it is hovered, and the state's attributes hide or show this view; the labels follow
// this view's "is-hidden", and are placed again whenever the view's area changes.
//
// Owned by its knob; the list and the labels are its children. [ui thread]
class CKnobLabels : public CPicture
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    int getLabelCount() const { return labels.getCount(); }
    CTextView* getLabel(int index) const { return labels[index]; }
    // The value (0.0 to 1.0 along the knob's travel) at which label index stands.
    double getLabelValue(int index) const;
    // Centre and radius of the circle, in window pixels.
    void getCircle(double& centerX, double& centerY, double& radius) const;

protected:
    void onAreaChanged() override;

private:
    // Procedure of the list's "values-changed".
    [[nodiscard]] CError* onScaleValuesChange();
    [[nodiscard]] CError* rebuildLabels();
    // Sets each label's box around its point of the circle, and its visibility.
    [[nodiscard]] CError* placeLabels();
    void getZone(double& zoneStart, double& zoneEnd) const;

    CValueList* scale = nullptr;   // not owned: a child; cleared in detachLinks
    CArray<CTextView*> labels;     // not owned: children; cleared in detachLinks
    CLinearBitmap::Rect placedFor; // the area the labels were last placed in
    bool placedHidden = false;
};

} // namespace kel
