#pragma once

#include "UI/Views/CView.h"

namespace kel
{

class CAudioInterfaceClient;
class CValueList;
class CViewBase;

// The undo row of an editor (tag ui:history): steps back and forth through the undo history of
// the instance, which lives on the audio side and is reached through the CAudioInterfaceClient
// at "interface-client".
//
// Its children are data: buttons ".button-undo" and ".button-redo" whose commands raise
// history-undo and history-redo at the row, a button ".button-select" that opens the change log
// as a popup list of ".history-list", a manual value list the row fills with the labels of the
// history, newest last. The popup's popup-result (with "index") moves the history to that
// entry. The client's undo-history-changed keeps the list and the buttons current: undo is
// disabled at the start of the history, redo at its end.
//
// The first entry of the history is where it starts, not a step: at position 0 there is nothing
// to undo. Owned by its parent view; the client is not owned, the children are. [ui thread]
class CHistory : public CView
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    int getPosition() const { return position; }
    int getCount() const { return count; }

protected:
    // The change log's choice: the history moves to that entry.
    [[nodiscard]] CError* onPopupResult(CAttrMap& params) override;

private:
    [[nodiscard]] CError* onHistoryChanged(const CAttrMap& params);
    [[nodiscard]] CError* onUndo(const CAttrMap& params);
    [[nodiscard]] CError* onRedo(const CAttrMap& params);
    // Moves the history to the entry, when it is one and not the present one.
    [[nodiscard]] CError* moveTo(int entry);
    // The list and the buttons after the history changed.
    [[nodiscard]] CError* showHistory();

    CAudioInterfaceClient* client = nullptr; // not owned; cleared in detachLinks
    CValueList* list = nullptr;              // a child; cleared in detachLinks
    CViewBase* undoButton = nullptr;         // a child; cleared in detachLinks
    CViewBase* redoButton = nullptr;         // a child; cleared in detachLinks
    int position = 0;
    int count = 0;
};

} // namespace kel
