#include "Audio/CAudioParamAllocDef.h"

namespace kel
{

CError* CAudioParamAllocDef::init()
{
    KEL_CHECK(CObject::init());
    paramName = getAttrString("param-name");
    if (paramName.isEmpty())
        return KEL_ERROR(
            "@kelstr_CAudioParamAllocDef_init_InvalidParamName Invalid parameter name specified.");
    const CAttrValue* indexAttr = findAttr("index");
    int32_t value = -1;
    if (!indexAttr || !indexAttr->tryGetInt(value) || value < 0)
        return KEL_ERROR("@kelstr_CAudioParamAllocDef_init_InvalidIndex Invalid index value '%1' "
                         "specified.",
                         indexAttr ? indexAttr->getString() : CString());
    index = value;
    return nullptr;
}

} // namespace kel
