#include "Audio/Modules/CModMuteDef.h"

#include "Audio/Modules/CModMute.h"

namespace kel
{

void CModMuteDef::registerClass(CClassInfo& info)
{
    CAudioProcessDefBase::registerClass(info);
}

CError* CModMuteDef::createProcess(CAudioProcessBase*& out) const
{
    out = new CModMute();
    return nullptr;
}

} // namespace kel
