#include "UI/Views/CViewBaseState.h"

namespace kel
{

void CViewBaseState::registerClass(CClassInfo& info)
{
    CViewBasePlacement::registerClass(info);
    info.addAttrHandler<CViewBaseState>("state", &CViewBaseState::attrState);
}

CError* CViewBaseState::attrState()
{
    // "state" names the states that are active from the start, separated by '|'.
    const CString list = getAttrString(CString("state"));
    activeStates.clear();
    int start = 0;
    for (int i = 0; i <= list.getLength(); ++i)
    {
        if (i == list.getLength() || list.getUnit(i) == '|')
        {
            if (i > start)
                activeStates.add(list.substring(start, i - start));
            start = i + 1;
        }
    }
    colorState.clear();
    for (const CString& active : activeStates)
        colorState.append(active);
    onStateChanged();
    return nullptr;
}

bool CViewBaseState::setStateActive(const CString& stateName, bool isActive)
{
    const int index = activeStates.indexOf(stateName);
    if ((index >= 0) == isActive)
        return false;
    if (isActive)
        activeStates.add(stateName);
    else
        activeStates.removeAt(index);
    colorState.clear();
    for (const CString& active : activeStates)
        colorState.append(active);
    onStateChanged();
    return true;
}

bool CViewBaseState::isStateActive(const CString& stateName) const
{
    return activeStates.contains(stateName);
}

} // namespace kel
