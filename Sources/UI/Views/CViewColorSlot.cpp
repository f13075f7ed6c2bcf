#include "UI/Views/CViewColorSlot.h"

#include "UI/Views/CViewBase.h"

namespace kel
{

void CViewColorSlot::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CViewColorSlot::init()
{
    KEL_CHECK(CObject::init());
    CViewBase* view = dynamic_cast<CViewBase*>(getParent());
    if (!view)
        return KEL_ERROR("@kelstr_CViewColorSlot_init_InvalidParent Parent object is not a view.");
    const int32_t slotIndex = getAttrInt(CString("slot-index"), 0);
    view->getColors().setSlotName(slotIndex, getAttrString(CString("color"), CString()));
    view->invalidate();
    return nullptr;
}

} // namespace kel
