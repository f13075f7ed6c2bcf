#include "Core/CAttrDoubler.h"

namespace kel
{

namespace
{
bool isSeparator(uint16_t unit)
{
    return unit == ' ' || unit == ',' || unit == ';' || unit == '\t';
}
} // namespace

void CAttrDoubler::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addAttrHandler<CAttrDoubler>("value", &CAttrDoubler::attrValue);
}

void CAttrDoubler::splitTargets(CArray<CString, 4>& outPaths) const
{
    const CString list = getAttrString(CString("target"), CString());
    int start = 0;
    for (int i = 0; i <= list.getLength(); ++i)
    {
        if (i < list.getLength() && !isSeparator(list.getUnit(i)))
            continue;
        if (i > start)
            outPaths.add(list.substring(start, i - start));
        start = i + 1;
    }
}

CError* CAttrDoubler::init()
{
    KEL_CHECK(CObject::init());
    CArray<CString, 4> paths;
    splitTargets(paths);
    if (paths.isEmpty())
        return KEL_ERROR("@kelstr_CAttrDoubler_init_NoTargets No target objects specified.");
    for (const CString& path : paths)
    {
        if (!findObject(path))
            return KEL_ERROR("@kelstr_CAttrDoubler_init_TargetNotFound Target object '%1' not "
                             "found.",
                             path);
    }
    return nullptr;
}

CError* CAttrDoubler::attrValue()
{
    const CString attrName = getAttrString(CString("attr"), CString());
    if (attrName.isEmpty())
        return nullptr;
    const CAttrValue value(getAttrString(CString("value"), CString()));
    // Targets are looked up on each change: they may come and go, and none is held.
    CArray<CString, 4> paths;
    splitTargets(paths);
    for (const CString& path : paths)
    {
        if (CObject* target = findObject(path))
            KEL_CHECK(target->setAttr(attrName, value, true));
    }
    return nullptr;
}

} // namespace kel
