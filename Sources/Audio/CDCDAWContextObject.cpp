#include "Audio/CDCDAWContextObject.h"

namespace kel
{

CDCDAWContextObject::~CDCDAWContextObject()
{
    delete context;
}

void CDCDAWContextObject::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CDCDAWContextObject::init()
{
    if (context)
        return nullptr;
    KEL_CHECK(CObject::init());
    auto* created = new CDCDAWContext();
    KEL_CHECK(created->init(), delete created);
    context = created;
    return nullptr;
}

} // namespace kel
