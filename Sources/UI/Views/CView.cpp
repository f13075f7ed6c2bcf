#include "UI/Views/CView.h"

namespace kel
{

void CView::registerClass(CClassInfo& info)
{
    CViewBase::registerClass(info);
    info.addAttrHandler<CView>("is-filled", &CView::attrFilled);
}

CError* CView::attrFilled()
{
    filled = getAttrBool(CString("is-filled"), false);
    invalidate();
    return nullptr;
}

void CView::draw(CDrawContext& dc)
{
    if (filled)
        drawFilledRect(dc, getViewRect(), getSolidPixel());
}

} // namespace kel
