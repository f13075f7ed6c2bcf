#pragma once

#include "UI/Views/CView.h"

namespace kel
{

// A picture (tag ui:picture): image "image-index" of the range "image-range" of its image set,
// placed by "pic-alignment-h" and "pic-alignment-v", or with "is-tiled" repeated over the whole
// area (a texture laid over a panel). Owned by its parent view. [ui thread]
class CPicture : public CView
{
public:
    static void registerClass(CClassInfo& info);

protected:
    void draw(CDrawContext& dc) override;

private:
    [[nodiscard]] CError* attrPicture();

    CString imageRange;
    int imageIndex = 0;
    bool tiled = false;
};

} // namespace kel
