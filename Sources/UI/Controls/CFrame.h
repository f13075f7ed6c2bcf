#pragma once

#include "UI/Views/CView.h"

namespace kel
{

// A panel (tag ui:frame): the eight pieces of a frame range of its image set ("image-range",
// default the unnamed range) around its area, edges repeated along the sides, and the inside
// filled with the face colour of the pieces (unless "is-face-filled" is false: an outline over
// what lies beneath). Without an image set it fills its area with the
// solid colour of its role. Owned by its parent view. [ui thread]
class CFrame : public CView
{
public:
    static void registerClass(CClassInfo& info);

protected:
    void draw(CDrawContext& dc) override;

private:
    [[nodiscard]] CError* attrImageRange();
    // The colour of the face, read from the corner piece's inner pixel.
    uint32_t probeFacePixel(CDrawContext& dc, int firstImage);

    CString imageRange;
    bool faceFilled = true;
};

} // namespace kel
