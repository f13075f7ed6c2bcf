#include "UI/Lists/CDynListObject.h"

namespace kel
{

CError* CDynListObject::initChilds()
{
    KEL_CHECK(CObject::initChilds());
    KEL_CHECK(rebuild());
    return nullptr;
}

int CDynListObject::getItemCount(int listId) const
{
    return listId >= 0 && listId < lists.getCount() ? lists[listId].getCount() : 0;
}

const CDynList::CItem& CDynListObject::getItem(int listId, int position) const
{
    return lists[listId][position];
}

CError* CDynListObject::rebuild()
{
    CArray<CArray<CItem>> built;
    built.add(CArray<CItem>());
    KEL_CHECK(buildInto(built, 0, 0));
    lists = std::move(built);
    CAttrMap params;
    params.set(CString("count"), CAttrValue(static_cast<int32_t>(lists.getCount())));
    KEL_CHECK(sendEvent(CString("dynamic-list-updated"), params));
    // A parent still being built reads this node when its own initChilds runs.
    auto* parentList = dynamic_cast<CDynListObject*>(getParent());
    if (parentList && parentList->getState() >= kStateChildsInitDone)
        KEL_CHECK(parentList->rebuild());
    return nullptr;
}

CError* CDynListObject::buildInto(CArray<CArray<CItem>>& into, int listId, int depth) const
{
    if (depth > kMaxDepth)
        return KEL_ERROR("Too many recursions");
    CArray<CItem> own;
    fillItems(own);
    for (CItem& item : own)
    {
        item.listId = listId;
        item.subListId = -1;
        into[listId].add(item);
    }
    for (int i = 0; i < getChildCount(); ++i)
    {
        const auto* child = dynamic_cast<const CDynListObject*>(getChild(i));
        if (!child)
            continue;
        CItem opener;
        opener.title = child->getAttrString(CString("title"), CString());
        opener.listId = listId;
        opener.subListId = into.getCount();
        into[listId].add(opener);
        into.add(CArray<CItem>());
        KEL_CHECK(child->buildInto(into, opener.subListId, depth + 1));
    }
    return nullptr;
}

} // namespace kel
