#include "Audio/CAudioProcessDef.h"

#include "Audio/CAudioProcess.h"

namespace kel
{

void CAudioProcessDef::registerClass(CClassInfo& info)
{
    CAudioProcessDefBase::registerClass(info);
}

CError* CAudioProcessDef::init()
{
    KEL_CHECK(CAudioProcessDefBase::init());
    autoLinks = getAttrBool("is-auto-links", true);
    return nullptr;
}

CError* CAudioProcessDef::createProcess(CAudioProcessBase*& out) const
{
    out = new CAudioProcess();
    return nullptr;
}

} // namespace kel
