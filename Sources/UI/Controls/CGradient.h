#pragma once

#include "UI/Views/CView.h"

namespace kel
{

// A shade (tag ui:overlay-gradient) laid over what lies below it: the solid colour of its role
// ("color", slot 0) mixed into the pixels already drawn with an alpha that runs from
// "alpha-start" at its top to "alpha-end" at its bottom, or from its left to its right with
// "orientation" "horizontal". Alphas are 0 to 255 (defaults 0 and 255), times the colour's own
// alpha. Pixel i of the n along the run takes start + (end - start) * i / (n - 1), rounded to
// the nearest; each channel becomes (colour * a + below * (255 - a) + 127) / 255.
//
// It takes no pointer: a press over it goes to the view below ("is-click-through" is on unless
// the tree sets it). Owned by its parent view. [ui thread]
class CGradient : public CView
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;

protected:
    void draw(CDrawContext& dc) override;

private:
    [[nodiscard]] CError* attrGradient();

    int alphaStart = 0;
    int alphaEnd = 255;
    bool horizontal = false;
};

} // namespace kel
