#include "UI/Resources/CColorSwatch.h"

#include "UI/Resources/CPalette.h"
#include "UI/Resources/CViewColors.h"

namespace kel
{

void CColorSwatch::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addAttrHandler<CColorSwatch>("colors", &CColorSwatch::attrColors);
}

CError* CColorSwatch::initChilds()
{
    KEL_CHECK(CObject::initChilds());
    rebuild();
    return nullptr;
}

CError* CColorSwatch::attrColors()
{
    rebuild();
    return nullptr;
}

void CColorSwatch::rebuild()
{
    roles.clear();
    const CString list = getAttrString(CString("colors"), CString());
    int start = 0;
    while (!list.isEmpty())
    {
        const int bar = list.findUnit('|', start);
        roles.add(list.substring(start, bar < 0 ? -1 : bar - start));
        if (bar < 0)
            break;
        start = bar + 1;
    }
    for (int i = 0; i < getChildCount(); ++i)
    {
        const CAttrValue* role = getChild(i)->findAttr(CString("color"));
        if (role)
            roles.add(role->getString());
    }
}

CString CColorSwatch::getRole(int index) const
{
    return index >= 0 && index < roles.getCount() ? roles[index] : CString();
}

const CColor* CColorSwatch::findColor(int index, const CPalette& palette,
                                      const CString& stateSuffix) const
{
    const CString role = getRole(index);
    if (role.isEmpty())
        return nullptr;
    if (!stateSuffix.isEmpty())
    {
        if (const CColor* color =
                palette.findColor(CViewColors::composeName(role, CString(), stateSuffix)))
            return color;
    }
    return palette.findColor(CViewColors::composeName(role, CString(), CString()));
}

} // namespace kel
