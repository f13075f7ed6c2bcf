#include "UI/Lists/CDynListValueList.h"

#include "UI/Lists/CValueList.h"

namespace kel
{

void CDynListValueList::registerClass(CClassInfo& info)
{
    CDynListObject::registerClass(info);
    info.addEventProc<CDynListValueList>("values-changed", &CDynListValueList::onValuesChanged);
}

CError* CDynListValueList::init()
{
    KEL_CHECK(CDynListObject::init());
    const CString path = getAttrString(CString("value-list"), CString());
    if (path.isEmpty())
        return nullptr;
    KEL_CHECK(findObjectByAttr("value-list", valueList));
    KEL_CHECK(listenObject(path, CString("values-changed"), CString("values-changed")));
    return nullptr;
}

void CDynListValueList::detachLinks()
{
    valueList = nullptr;
    CDynListObject::detachLinks();
}

void CDynListValueList::fillItems(CArray<CItem>& outItems) const
{
    if (!valueList)
        return;
    for (int i = 0; i < valueList->getCount(); ++i)
    {
        CItem item;
        item.title = valueList->getTitle(i);
        item.index = i;
        outItems.add(item);
    }
}

CError* CDynListValueList::onValuesChanged()
{
    KEL_CHECK(rebuild());
    return nullptr;
}

} // namespace kel
