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
    if (CError* error = created->init())
    {
        delete created;
        error->addFrame(__FILE__, __LINE__, kelErrorContextName());
        return error;
    }
    context = created;
    return nullptr;
}

} // namespace kel
