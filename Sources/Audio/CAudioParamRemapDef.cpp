#include "Audio/CAudioParamRemapDef.h"

namespace kel
{

CError* CAudioParamRemapDef::init()
{
    KEL_CHECK(CObject::init());
    origName = getAttrString("orig");
    if (origName.isEmpty())
        return KEL_ERROR("@kelstr_CAudioParamRemapDef_init_InvalidOrigName Invalid orignal "
                         "parameter name specified.");
    newName = getAttrString("new");
    if (newName.isEmpty())
        return KEL_ERROR("@kelstr_CAudioParamRemapDef_init_InvalidNewName Invalid new parameter "
                         "name specified.");
    return nullptr;
}

CString CAudioParamRemapDef::resolveNewName(const CString& processPath) const
{
    CString base = processPath;
    int start = 0;
    while (newName.getUnit(start) == '^')
    {
        const int dot = base.findLastUnit('.');
        base = dot < 0 ? CString() : base.substring(0, dot);
        ++start;
    }
    const CString rest = newName.substring(start);
    if (base.isEmpty())
        return rest;
    return base + CString(".") + rest;
}

} // namespace kel
