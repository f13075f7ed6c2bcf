#include "UI/Controls/CButtonAB.h"

#include "UI/Controls/CTextView.h"
#include "UI/Views/CView.h"

#include <utility>

namespace kel
{

void CButtonAB::registerClass(CClassInfo& info)
{
    CButton::registerClass(info);
}

CError* CButtonAB::initChilds()
{
    KEL_CHECK(CButton::initChilds());
    KEL_CHECK(makeLabels());
    KEL_CHECK(showState(isActive()));
    return nullptr;
}

void CButtonAB::detachLinks()
{
    labelA = nullptr;
    labelB = nullptr;
    CButton::detachLinks();
}

CError* CButtonAB::makeLabels()
{
    CObject* labels = findObject(CString(".labels"));
    if (!labels)
    {
        CView* made = nullptr;
        CAttrMap params;
        params.set(CString("placement"), CAttrValue("full"));
        params.set(CString("is-click-through"), CAttrValue(true));
        KEL_CHECK(createChild(CString("ui:view"), CString("labels"), made, &params));
        labels = made;
    }
    labelA = dynamic_cast<CTextView*>(findObject(CString(".labels.a")));
    labelB = dynamic_cast<CTextView*>(findObject(CString(".labels.b")));
    for (auto [childName, out] :
         {std::pair<const char*, CTextView**>{"a", &labelA}, {"b", &labelB}})
    {
        if (*out)
            continue;
        CAttrMap params;
        params.set(CString("width"), CAttrValue("50%"));
        params.set(CString("height"), CAttrValue("100%"));
        params.set(CString("text-alignment"), CAttrValue("center"));
        params.set(CString("text-alignment-v"), CAttrValue("center"));
        params.set(CString("color"), CAttrValue("ButtonABText"));
        params.set(CString("is-click-through"), CAttrValue(true));
        KEL_CHECK(labels->createChild(CString("ui:textview"), CString(childName), *out, &params));
    }
    return nullptr;
}

CError* CButtonAB::showState(bool isB)
{
    if (labelA)
        KEL_CHECK(labelA->setAttr(CString("title"), CAttrValue(isB ? "A" : "[B]A[/B]")));
    if (labelB)
        KEL_CHECK(labelB->setAttr(CString("title"), CAttrValue(isB ? "[B]B[/B]" : "B")));
    return nullptr;
}

CError* CButtonAB::onActiveChanged(bool isNowActive)
{
    KEL_CHECK(CButton::onActiveChanged(isNowActive));
    KEL_CHECK(showState(isNowActive));
    return nullptr;
}

} // namespace kel
