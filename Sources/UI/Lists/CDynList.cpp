#include "UI/Lists/CDynList.h"

#include "Core/CObject.h"
#include "UI/Lists/CValueList.h"

namespace kel
{

CError* CDynList::findList(const CObject& from, const CString& path, CValueList*& outValueList,
                           CDynList*& outDynList)
{
    outValueList = nullptr;
    outDynList = nullptr;
    CObject* found = path.isEmpty() ? nullptr : from.findObject(path);
    outDynList = dynamic_cast<CDynList*>(found);
    if (!outDynList)
        outValueList = dynamic_cast<CValueList*>(found);
    if (!outValueList && !outDynList)
        return KEL_ERROR("@kelstr_CControlArray_init_NoTag Object '%1' is neither a value list nor "
                         "a dynamic list.",
                         path);
    return nullptr;
}

} // namespace kel
