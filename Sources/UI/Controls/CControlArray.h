#pragma once

#include "UI/Params/CUIParamUpdateHandler.h"
#include "UI/Views/CView.h"

namespace kel
{

class CUIParam;
class CValueList;

// A column of buttons, one per item of a value list, of which the one that stands for the value
// of a parameter is active (tag ui:control-array): the way to choose one state of an
// enumeration at a glance.
//
// The list is the value list at "text-source" (its values are normalised positions of the
// parameter, as an audio-enum-value list gives them); the value is that of the child CUIParam
// "ui-param". The buttons are made from the template "button-tag" (ui:control-array-buttons-item)
// as children "item", "button-height" (20) pixels high, stacked from the top, and made again
// when the list's items change.
//
// The array takes the mouse itself (the buttons are its picture): a press shows the button under
// it pushed, the release over the same button sets the parameter to that item's value as one
// change with its own undo step. A press outside the buttons and a cancelled press do nothing.
//
// Owned by its parent view; the CUIParam and the buttons are its children, the list is not
// owned. [ui thread]
class CControlArray : public CView, public CUIParamUpdateHandler
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // CUIParamUpdateHandler: the active button follows the value.
    [[nodiscard]] CError* onUIParamUpdate(CUIParam& uiParam) override;

    int getButtonCount() const { return buttons.getCount(); }
    CView* getButton(int index) const { return buttons[index]; }
    // The item whose value the parameter holds, -1 for none.
    int getActiveIndex() const { return activeIndex; }

protected:
    [[nodiscard]] CError* onMousePress(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseRelease(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseCancel(CAttrMap& params) override;

private:
    [[nodiscard]] CError* onValuesChanged(const CAttrMap& params);
    // Destroys the buttons and makes one per item of the list.
    [[nodiscard]] CError* makeButtons();
    [[nodiscard]] CError* showActive();
    // The button under a window point, -1 for none.
    int buttonAt(int x, int y) const;
    [[nodiscard]] CError* setPushed(int index);

    CUIParam* uiParam = nullptr;  // a child; cleared in detachLinks
    CValueList* list = nullptr;   // not owned; cleared in detachLinks
    CArray<CView*> buttons;       // children; cleared in detachLinks
    int activeIndex = -1;
    int pushedIndex = -1;
};

} // namespace kel
