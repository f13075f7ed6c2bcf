#include "UI/Views/CViewBasePlacement.h"

namespace kel
{

CViewBasePlacement::CViewBasePlacement() = default;

CViewBasePlacement::~CViewBasePlacement() = default;

void CViewBasePlacement::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CViewBasePlacement::init()
{
    KEL_CHECK(CObject::init());
    if (isRootByDefault() || getAttrBool(CString("is-root-view"), false))
    {
        rootView = this;
        return nullptr;
    }
    for (CObject* up = getParent(); up; up = up->getParent())
    {
        parentView = dynamic_cast<CViewBasePlacement*>(up);
        if (parentView)
            break;
    }
    if (!parentView)
        return KEL_ERROR("@kelstr_CViewBasePlacement_init_NoParentView Unable to locate parent "
                         "view.");
    rootView = parentView->rootView;
    if (!rootView)
        return KEL_ERROR("@kelstr_CViewBasePlacement_init_NoRootView Unable to locate root view.");
    return nullptr;
}

void CViewBasePlacement::detachLinks()
{
    parentView = nullptr;
    rootView = nullptr;
    CObject::detachLinks();
}

CLinearBitmap::Rect CViewBasePlacement::getViewRect() const
{
    // Provisional: absolute pixel attributes until the layout network is joined.
    const int left = getAttrInt(CString("x"), 0);
    const int top = getAttrInt(CString("y"), 0);
    return {left, top, left + getAttrInt(CString("width"), 0),
            top + getAttrInt(CString("height"), 0)};
}

void CViewBasePlacement::applyChangedAreas() {}

} // namespace kel
