#include "Audio/Modules/CModNodeDef.h"

#include "Audio/Modules/CModNode.h"

namespace kel
{

void CModNodeDef::registerClass(CClassInfo& info)
{
    CAudioProcessDefBase::registerClass(info);
}

CError* CModNodeDef::createProcess(CAudioProcessBase*& out) const
{
    out = new CModNode();
    return nullptr;
}

} // namespace kel
