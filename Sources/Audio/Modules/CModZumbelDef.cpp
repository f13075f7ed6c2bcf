#include "Audio/Modules/CModZumbelDef.h"

#include "Audio/Modules/CModZumbel.h"

namespace kel
{

void CModZumbelDef::registerClass(CClassInfo& info)
{
    CAudioProcessDef::registerClass(info);
}

CError* CModZumbelDef::init()
{
    KEL_CHECK(CAudioProcessDef::init());
    useClear = getAttrBool("use-clear", true);
    return nullptr;
}

CError* CModZumbelDef::createProcess(CAudioProcessBase*& out) const
{
    out = new CModZumbel();
    return nullptr;
}

} // namespace kel
