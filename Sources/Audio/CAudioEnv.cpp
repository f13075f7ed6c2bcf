#include "Audio/CAudioEnv.h"

namespace kel
{

void CAudioEnv::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioEnv::init()
{
    KEL_CHECK(CObject::init());
    vizFps = getAttrDouble("viz-fps", 30.0);
    return nullptr;
}

} // namespace kel
