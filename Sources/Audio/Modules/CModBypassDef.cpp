#include "Audio/Modules/CModBypassDef.h"

#include "Audio/Modules/CModBypass.h"

namespace kel
{

void CModBypassDef::registerClass(CClassInfo& info)
{
    CAudioProcessDefBase::registerClass(info);
}

CError* CModBypassDef::createProcess(CAudioProcessBase*& out) const
{
    out = new CModBypass();
    return nullptr;
}

} // namespace kel
