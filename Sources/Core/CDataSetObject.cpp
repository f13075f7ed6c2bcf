#include "Core/CDataSetObject.h"

#include "Core/CDataSet.h"

namespace kel
{

void CDataSetObject::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CDataSetObject::init()
{
    KEL_CHECK(CObject::init());
    // Resources of the interface wait for the first editor: an instance that never shows one
    // does not pay for them.
    if (!getAttrBool("is-load-deferred", false))
        KEL_CHECK(loadNow());
    return nullptr;
}

CError* CDataSetObject::loadNow()
{
    loaded = false;
    KEL_CHECK(getDataSet().load(getAttrString("file")));
    loaded = true;
    return nullptr;
}

} // namespace kel
