#include "Audio/Modules/CModFilterDef.h"

namespace kel
{

void CModFilterDef::registerClass(CClassInfo& info)
{
    CAudioProcessDefBase::registerClass(info);
}

CError* CModFilterDef::createProcess(CAudioProcessBase*& out) const
{
    out = nullptr;
    return KEL_ERROR("@kelstr_CModFilterDef_createProcess_NotAvailable Audio process '%1' is not "
                     "available.",
                     getFullName());
}

} // namespace kel
