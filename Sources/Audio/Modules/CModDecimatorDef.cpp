#include "Audio/Modules/CModDecimatorDef.h"

namespace kel
{

void CModDecimatorDef::registerClass(CClassInfo& info)
{
    CAudioProcessDefBase::registerClass(info);
}

CError* CModDecimatorDef::createProcess(CAudioProcessBase*& out) const
{
    out = nullptr;
    return KEL_ERROR(
        "@kelstr_CModDecimatorDef_createProcess_NotAvailable Audio process '%1' is not "
        "available.",
        getFullName());
}

} // namespace kel
