#include "UI/Controls/CControlArray.h"

#include "UI/Lists/CDynList.h"
#include "UI/Lists/CValueList.h"
#include "UI/Params/CUIParam.h"

namespace kel
{

namespace
{
const char* const kDefaultButtonTag = "ui:control-array-buttons-item";
} // namespace

void CControlArray::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    info.addEventProc<CControlArray>("values-changed", &CControlArray::onValuesChanged);
}

CError* CControlArray::initChilds()
{
    KEL_CHECK(CView::initChilds());
    uiParam = dynamic_cast<CUIParam*>(findObject(CString(".ui-param")));
    const CString path = getAttrString(CString("text-source"), CString());
    CDynList* dynList = nullptr;
    KEL_CHECK(CDynList::findList(*this, path, list, dynList));
    if (list)
        KEL_CHECK(listenObject(path, CString("values-changed"), CString("values-changed")));
    KEL_CHECK(makeButtons());
    return nullptr;
}

void CControlArray::detachLinks()
{
    uiParam = nullptr;
    list = nullptr;
    buttons.clear();
    CView::detachLinks();
}

CError* CControlArray::onValuesChanged(const CAttrMap& /*params*/)
{
    return makeButtons();
}

CError* CControlArray::makeButtons()
{
    pushedIndex = -1;
    for (CView* button : buttons)
        destroyObject(button);
    buttons.clear();
    if (!list)
        return nullptr;
    const CString buttonTag = getAttrString(CString("button-tag"), CString(kDefaultButtonTag));
    const CString height = getAttrString(CString("button-height"), CString("20"));
    for (int i = 0; i < list->getCount(); ++i)
    {
        CAttrMap params;
        params.set(CString("title"), CAttrValue(list->getTitle(i)));
        params.set(CString("placement"), CAttrValue(CString("top")));
        params.set(CString("width"), CAttrValue(CString("100%")));
        params.set(CString("height"), CAttrValue(height));
        CView* button = nullptr;
        KEL_CHECK(createChild(buttonTag, CString("item"), button, &params));
        buttons.add(button);
    }
    activeIndex = -2; // shown anew below
    return showActive();
}

CError* CControlArray::onUIParamUpdate(CUIParam& /*changed*/)
{
    return showActive();
}

CError* CControlArray::showActive()
{
    int found = -1;
    if (list && uiParam && uiParam->isValid())
        found = list->findValue(uiParam->getNormalisedValue());
    if (found == activeIndex)
        return nullptr;
    activeIndex = found;
    for (int i = 0; i < buttons.getCount(); ++i)
        KEL_CHECK(buttons[i]->setAttr(CString("is-active"), CAttrValue(i == activeIndex)));
    return nullptr;
}

int CControlArray::buttonAt(int x, int y) const
{
    for (int i = 0; i < buttons.getCount(); ++i)
    {
        const CLinearBitmap::Rect r = buttons[i]->getViewRect();
        if (x >= r.left && x < r.right && y >= r.top && y < r.bottom)
            return i;
    }
    return -1;
}

CError* CControlArray::setPushed(int index)
{
    if (pushedIndex >= 0 && pushedIndex < buttons.getCount())
        KEL_CHECK(buttons[pushedIndex]->unsetState(CString("pushed")));
    pushedIndex = index;
    if (pushedIndex >= 0)
        KEL_CHECK(buttons[pushedIndex]->setState(CString("pushed")));
    return nullptr;
}

CError* CControlArray::onMousePress(CAttrMap& params)
{
    KEL_CHECK(CView::onMousePress(params));
    return setPushed(buttonAt(getParamInt(params, "x"), getParamInt(params, "y")));
}

CError* CControlArray::onMouseRelease(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseRelease(params));
    const int pressed = pushedIndex;
    KEL_CHECK(setPushed(-1));
    if (pressed < 0 || pressed != buttonAt(getParamInt(params, "x"), getParamInt(params, "y")) ||
        !list || !uiParam || !uiParam->isValid())
        return nullptr;
    KEL_CHECK(uiParam->beginChange());
    KEL_CHECK(uiParam->setNormalisedValue(list->getValue(pressed)), delete uiParam->endChange());
    KEL_CHECK(uiParam->endChange());
    return showActive();
}

CError* CControlArray::onMouseCancel(CAttrMap& params)
{
    KEL_CHECK(CView::onMouseCancel(params));
    return setPushed(-1);
}

} // namespace kel
