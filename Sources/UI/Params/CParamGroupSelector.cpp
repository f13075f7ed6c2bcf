#include "UI/Params/CParamGroupSelector.h"

#include "Audio/CAudioInterfaceClient.h"

namespace kel
{

void CParamGroupSelector::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addAttrHandler<CParamGroupSelector>("group-index", &CParamGroupSelector::attrGroupIndex);
    info.addAttrHandler<CParamGroupSelector>("active-groups-list",
                                             &CParamGroupSelector::attrActiveGroupsList);
}

CError* CParamGroupSelector::init()
{
    KEL_CHECK(CObject::init());
    if (!getAttrString(CString("interface-client"), CString()).isEmpty())
        KEL_CHECK(findObjectByAttr("interface-client", client));
    return nullptr;
}

void CParamGroupSelector::detachLinks()
{
    client = nullptr;
    CObject::detachLinks();
}

CError* CParamGroupSelector::attrActiveGroupsList()
{
    activeGroups.clear();
    const CString text = getAttrString(CString("active-groups-list"), CString());
    int start = 0;
    while (start < text.getLength())
    {
        int end = start;
        while (end < text.getLength() && text.getUnit(end) != ' ' && text.getUnit(end) != '\t')
            ++end;
        int32_t value = 0;
        if (end > start && text.substring(start, end - start).parseInt(value))
            activeGroups.add(value);
        start = end + 1;
    }
    return nullptr;
}

bool CParamGroupSelector::isGroupActive(int candidate) const
{
    if (candidate < 0)
        return false;
    if (client && candidate >= client->getGroupCount())
        return false;
    return activeGroups.isEmpty() || activeGroups.contains(candidate);
}

CError* CParamGroupSelector::selectGroup(int newGroup)
{
    if (newGroup == group || !isGroupActive(newGroup))
        return nullptr;
    KEL_CHECK(setAttr(CString("group-index"), CAttrValue(static_cast<int32_t>(newGroup))));
    return nullptr;
}

CError* CParamGroupSelector::attrGroupIndex()
{
    const int32_t value = getAttrInt(CString("group-index"), 0);
    if (value == group || value < 0)
        return nullptr;
    group = value;
    CAttrMap params;
    params.set(CString("group"), CAttrValue(static_cast<int32_t>(group)));
    KEL_CHECK(sendEvent(CString("group-change"), params));
    return nullptr;
}

} // namespace kel
