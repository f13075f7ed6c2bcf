#include "UI/Controls/CWindowDrag.h"

namespace kel
{

void CWindowDrag::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
}

} // namespace kel
