#include "UI/Params/CParamBridge.h"

#include "UI/Params/CUIParam.h"

namespace kel
{

CParamBridge::~CParamBridge() = default;

void CParamBridge::detachLinks()
{
    // The CUIParams outlive their bridge only while a tree goes down.
    const CArray<CUIParam*> leaving(uiParams);
    uiParams.clear();
    for (CUIParam* uiParam : leaving)
        uiParam->onBridgeGone(this);
    CObject::detachLinks();
}

void CParamBridge::addUIParam(CUIParam* uiParam)
{
    if (!uiParams.contains(uiParam))
        uiParams.add(uiParam);
}

void CParamBridge::removeUIParam(CUIParam* uiParam)
{
    const int index = uiParams.indexOf(uiParam);
    if (index >= 0)
        uiParams.removeAt(index);
}

CError* CParamBridge::notifyUIParams(int elementOffset, int elementCount, int group,
                                     bool isReplacing)
{
    // A handler may make a CUIParam go: walk a copy and skip those that went.
    const CArray<CUIParam*> listeners(uiParams);
    for (CUIParam* uiParam : listeners)
    {
        if (!uiParams.contains(uiParam))
            continue;
        KEL_CHECK(uiParam->onBridgeChange(elementOffset, elementCount, group, isReplacing));
    }
    return nullptr;
}

} // namespace kel
