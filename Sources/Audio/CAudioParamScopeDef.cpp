#include "Audio/CAudioParamScopeDef.h"

namespace kel
{

CError* CAudioParamScopeDef::init()
{
    KEL_CHECK(CObject::init());
    paramName = getAttrString("param-name");
    if (paramName.isEmpty())
        return KEL_ERROR(
            "@kelstr_CAudioParamScopeDef_init_InvalidParamName Invalid parameter name specified.");
    group0 = getAttrBool("is-group0", false);
    element0 = getAttrBool("is-element0", false);
    return nullptr;
}

} // namespace kel
