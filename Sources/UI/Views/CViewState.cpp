#include "UI/Views/CViewState.h"

#include "UI/Views/CViewBaseState.h"

namespace kel
{

CViewState::~CViewState()
{
    if (ownerView)
        ownerView->removeDeclaredState(this);
}

void CViewState::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CViewState::initChilds()
{
    KEL_CHECK(CObject::initChilds());
    stateName = getAttrString(CString("state-name"), CString());
    if (stateName.isEmpty())
        return KEL_ERROR("@kelstr_CViewState_initChilds_NoStateName State name is empty.");
    CViewBaseState* view = dynamic_cast<CViewBaseState*>(getParent());
    if (!view)
        return KEL_ERROR(
            "@kelstr_CViewState_initChilds_InvalidParent Parent object is not a view.");
    ownerView = view;
    ownerView->addDeclaredState(this);
    return nullptr;
}

void CViewState::detachLinks()
{
    if (ownerView)
        ownerView->removeDeclaredState(this);
    ownerView = nullptr;
    CObject::detachLinks();
}

bool CViewState::isOwnAttr(const CString& attrName)
{
    return attrName == "name" || attrName == "full-name" || attrName == "state-name" ||
           attrName == "scheme";
}

} // namespace kel
