#include "Audio/Modules/CModOutputDef.h"

#include "Audio/Modules/CModOutput.h"

namespace kel
{

void CModOutputDef::registerClass(CClassInfo& info)
{
    CAudioProcessDefBase::registerClass(info);
}

CError* CModOutputDef::createProcess(CAudioProcessBase*& out) const
{
    out = new CModOutput();
    return nullptr;
}

} // namespace kel
