#include "Audio/CAudioExtParamList.h"

#include "Audio/CAudioExtParam.h"

namespace kel
{

void CAudioExtParamList::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioExtParamList::onChildAdded(CObject* child)
{
    KEL_CHECK(CObject::onChildAdded(child));
    if (auto* param = dynamic_cast<CAudioExtParam*>(child))
        params.add(param);
    return nullptr;
}

void CAudioExtParamList::onChildRemoved(CObject* child)
{
    const int index = params.indexOf(dynamic_cast<CAudioExtParam*>(child));
    if (index >= 0)
        params.removeAt(index);
    CObject::onChildRemoved(child);
}

CAudioExtParam* CAudioExtParamList::getParam(int index) const
{
    return index >= 0 && index < params.getCount() ? params[index] : nullptr;
}

void CAudioExtParamList::attachHost(CAudioExtParamHostBridge* hostBridge)
{
    for (int index = 0; index < params.getCount(); ++index)
        params[index]->attachHost(hostBridge, index);
}

} // namespace kel
