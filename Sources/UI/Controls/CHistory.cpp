#include "UI/Controls/CHistory.h"

#include "Audio/CAudioInterfaceClient.h"
#include "UI/Lists/CValueList.h"

namespace kel
{

void CHistory::registerClass(CClassInfo& info)
{
    CView::registerClass(info);
    info.addEventProc<CHistory>("undo-history-changed", &CHistory::onHistoryChanged);
    info.addEventProc<CHistory>("history-undo", &CHistory::onUndo);
    info.addEventProc<CHistory>("history-redo", &CHistory::onRedo);
}

CError* CHistory::initChilds()
{
    KEL_CHECK(CView::initChilds());
    KEL_CHECK(findObjectByAttr("interface-client", client));
    list = dynamic_cast<CValueList*>(findObject(CString(".history-list")));
    undoButton = dynamic_cast<CViewBase*>(findObject(CString(".button-undo")));
    redoButton = dynamic_cast<CViewBase*>(findObject(CString(".button-redo")));
    if (client)
    {
        KEL_CHECK(listenObject(getAttrString(CString("interface-client")),
                               CString("undo-history-changed"), CString("undo-history-changed")));
        // What the client already knows; the audio side tells the rest once it is connected.
        client->watchUndoHistory();
        KEL_CHECK(showHistory());
    }
    return nullptr;
}

void CHistory::detachLinks()
{
    client = nullptr;
    list = nullptr;
    undoButton = nullptr;
    redoButton = nullptr;
    CView::detachLinks();
}

CError* CHistory::onHistoryChanged(const CAttrMap& /*params*/)
{
    return showHistory();
}

CError* CHistory::showHistory()
{
    if (!client)
        return nullptr;
    CArray<CString> labels;
    client->getUndoHistory(labels, position);
    count = labels.getCount();
    if (list)
    {
        CArray<double> values;
        for (int i = 0; i < count; ++i)
            values.add(static_cast<double>(i));
        KEL_CHECK(list->setItems(labels, values, false));
    }
    if (undoButton)
        KEL_CHECK(undoButton->setAttr(CString("is-disabled"), CAttrValue(position <= 0)));
    if (redoButton)
        KEL_CHECK(redoButton->setAttr(CString("is-disabled"), CAttrValue(position >= count - 1)));
    return nullptr;
}

CError* CHistory::moveTo(int entry)
{
    if (!client || entry < 0 || entry >= count || entry == position)
        return nullptr;
    KEL_CHECK(client->moveUndoHistory(entry));
    return nullptr;
}

CError* CHistory::onUndo(const CAttrMap& /*params*/)
{
    return moveTo(position - 1);
}

CError* CHistory::onRedo(const CAttrMap& /*params*/)
{
    return moveTo(position + 1);
}

CError* CHistory::onPopupResult(CAttrMap& params)
{
    KEL_CHECK(CView::onPopupResult(params));
    return moveTo(getParamInt(params, "index", -1));
}

} // namespace kel
