#pragma once

#include "UI/Controls/CFrame.h"
#include "UI/Params/CUIParamUpdateHandler.h"

namespace kel
{

class CSharedAttribute;
class CTextView;
class CUIParam;
class CValueList;

// The push control (tag ui:button-base; the template ui:button gives it its look): a frame, or
// with "is-picture" the image "image-set-index" of its image set, with a text child "label".
// What a press does is data: the commands of the template and of the instance that listen to
// mouse-release (and mouse-release-r) run when a press ends inside the button; the class has no
// click action of its own.
//
// Press: mouse-press sets the state "pushed" and the window holds the pointer for the button;
// leaving the button while it is held drops "hover" and "pushed", coming back sets both again;
// a release clears "pushed" and, inside the button only, runs the release commands; a cancel
// clears "pushed" and runs nothing of the release. The right button does the same with
// "is-right-click-allowed", and nothing at all without it. "is-disabled" ignores every mouse
// event (a press under way ends) and draws in the colour role "Disabled" (the label in
// "DisabledText").
//
// States from attributes: "is-active" the state "active", "is-temp-pushed" the state
// "temp-pushed"; "active" always comes before "hover" so that the colour row reads
// "ActiveHover". The label shares the button's colour row.
//
// The active state may be bound: to a child ui:ui-param "ui-param-activity" (the value 1.0 is
// active), or to "shared-attribute", the path of a core:shared-attribute holding "true" or
// "false"; "is-inverse" turns the meaning round. The binding is read whenever it changes; a
// change of "is-active" (a toggle command) writes it, through the parameter as one undoable
// change (none with "is-undo-disabled").
//
// Text: "title" goes to the label, made from ui:textview when the template has none. With
// "item-list" (the path of a value list) the label shows the title of the item
// "selected-item" instead, "---" while the list is empty, the item is out of its range or
// "is-item-list-empty" is set; every change of the list raises item-list-updated ("count").
//
// Owned by its parent view; the label, the ui-param and the commands are its children, the
// shared attribute and the value list are not owned. [ui thread]
class CButton : public CFrame, public CUIParamUpdateHandler
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // CUIParamUpdateHandler: the bound parameter changed; "is-active" follows it.
    [[nodiscard]] CError* onUIParamUpdate(CUIParam& uiParam) override;
    // The followed shared attribute changed.
    [[nodiscard]] CError* onLinkedAttr(CObject* sender, const CString& attrName,
                                       const CAttrValue& value) override;

    bool isActive() const { return isStateActive(CString("active")); }
    bool isPushed() const { return isStateActive(CString("pushed")); }
    bool isDisabled() const { return disabled; }
    CTextView* getLabel() const { return label; }
    // The text the label shows (title, item title or "---").
    const CString& getShownTitle() const { return shownTitle; }

protected:
    void draw(CDrawContext& dc) override;
    void onStateChanged() override;
    [[nodiscard]] CError* onCtlEvent(const CString& eventName, CAttrMap& params) override;
    [[nodiscard]] CError* onMouseEnter(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseExit(CAttrMap& params) override;
    [[nodiscard]] CError* onMousePress(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseRelease(CAttrMap& params) override;
    [[nodiscard]] CError* onMousePressR(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseReleaseR(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseCancel(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseCancelR(CAttrMap& params) override;

    // The active state changed (from data or from the binding); derived buttons show it.
    [[nodiscard]] virtual CError* onActiveChanged(bool isNowActive);
    // Shows text in the label, making the label first when there is none.
    [[nodiscard]] CError* showTitle(const CString& text);

private:
    [[nodiscard]] CError* attrActive();
    [[nodiscard]] CError* attrTempPushed();
    [[nodiscard]] CError* attrDisabled();
    [[nodiscard]] CError* attrFlags();
    [[nodiscard]] CError* attrTitle();
    // Procedure of the value list's values-changed.
    [[nodiscard]] CError* onItemListChanged();

    // Sets or clears "active", keeping "hover" after it.
    [[nodiscard]] CError* applyActiveState(bool isOn);
    [[nodiscard]] CError* press();
    [[nodiscard]] CError* endPress();
    // The active state the binding holds; false without a binding.
    bool readBinding(bool& outActive) const;
    [[nodiscard]] CError* writeBinding(bool isOn);
    // Sets "is-active" from the binding without writing it back.
    [[nodiscard]] CError* syncFromBinding();
    [[nodiscard]] CError* updateTitle();
    // Role names while disabled; the own ones come back when enabled.
    [[nodiscard]] CError* applyDisabledLook();

    CTextView* label = nullptr;                  // not owned: a child; cleared in detachLinks
    CUIParam* activityParam = nullptr;           // not owned: a child; cleared in detachLinks
    CSharedAttribute* sharedAttribute = nullptr; // not owned; cleared in detachLinks
    CValueList* itemList = nullptr;              // not owned; cleared in detachLinks
    CString shownTitle;
    CString ownColor;      // "color" before the disabled look replaced it
    CString ownLabelColor; // the label's "color" likewise
    bool held = false;     // a press of the button is under way
    bool disabled = false;
    bool disabledLook = false;
    bool rightAllowed = false;
    bool inverse = false;
    bool picture = false;
    bool undoDisabled = false;
    bool syncing = false;
    int imageIndex = 0;
};

} // namespace kel
