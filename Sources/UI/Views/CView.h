#pragma once

#include "UI/Views/CViewBase.h"

namespace kel
{

// The plain view (tag ui:view): a box in the layout that holds other views. With "is-filled" it
// paints its area in the solid colour of its role. Every control derives from it. Owned by its
// parent view. [ui thread]
class CView : public CViewBase
{
public:
    static void registerClass(CClassInfo& info);

protected:
    void draw(CDrawContext& dc) override;

private:
    [[nodiscard]] CError* attrFilled();

    bool filled = false;
};

} // namespace kel
