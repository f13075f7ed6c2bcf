#include "Audio/Modules/CModInterpolatorDef.h"

namespace kel
{

void CModInterpolatorDef::registerClass(CClassInfo& info)
{
    CAudioProcessDefBase::registerClass(info);
}

CError* CModInterpolatorDef::createProcess(CAudioProcessBase*& out) const
{
    out = nullptr;
    return KEL_ERROR(
        "@kelstr_CModInterpolatorDef_createProcess_NotAvailable Audio process '%1' is not "
        "available.",
        getFullName());
}

} // namespace kel
