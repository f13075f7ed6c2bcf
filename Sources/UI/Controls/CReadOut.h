#pragma once

#include "UI/Controls/CTextView.h"
#include "UI/Params/CUIParamUpdateHandler.h"

#include <initializer_list>

namespace kel
{

class CUIParam;
class CUIParamController;

// The value of a parameter as text that can be typed over (tag ui:readout).
//
// It shows the text of its CUIParam's value, as the value's converter writes it, and shows it
// again whenever the value may have changed. The CUIParam is its child "ui-param"; when the
// tree gives none, one is made at init from the template ui:ui-param with the read-out's own
// "bridge", "group-selector", "element", "shared-attribute" and "shared-attribute-value". A
// controller ("ui-param-controller", from the template ui:ui-param-controller) is made the same
// way when "needs-ui-param-controller" asks for one: the wheel over the read-out then steps the
// value as it does over a knob.
//
// Typing: the edit box of the text view (on a click with "is-editbox-on-click") starts from the
// value's text; a commit applies the typed text through the converter as one change with its
// own undo step and host gesture. A text the converter cannot read changes nothing, and the
// value's text is shown again.
//
// Virtual keyboard: while the shared setting show-virtual-keyboard is on, a read-out with
// "is-virtual-keyboard-allowed" opens, in place of the bare edit box, the popup window of the
// template "virtual-keyboard-tag" ("ui:virtual-keyboard" by default), below it. The keyboard's
// text field is a read-out named "field" at the top of the popup with
// "is-virtual-keyboard-field"; it edits the read-out's text in an edit box of its own, which
// holds the popup's keys, so the physical keyboard types into it as well. Its key buttons send
// it key-press with "key" (the key's text), "keycode", "is-shift" and "is-ctrl". The field
// takes "CAPS" (the letter keys' titles and output turn upper case, and back), Return (the
// text goes to the read-out as a typed one, and the popup closes), Tab (the same, then the
// keys move along the read-out's "tab-group") and Escape (nothing changes, the popup closes);
// the rest goes to its edit box. The keyboard keeps the keys with the field while its own keys
// are pressed ("is-keeping-key-focus" on its root); if its window loses them otherwise, what was
// typed is taken as a typed value. A press outside the popup closes it, and the text is
// committed (the read-out hears popup-closed through a
// ui:view-command child "virtual-keyboard-closed" that it makes when it first opens one).
//
// Copy and paste: with "is-copy-paste", a right click opens the menu ui:label-copy-paste (a
// popup list, "Copy" and "Paste"). Copy puts the shown text on the clipboard; Paste asks for
// the clipboard's text, holding the keys until it comes, and commits its first line as a typed
// value.
//
// The look of an edit box waiting for a click is data: the tree gives the read-out a child
// "hover-frame" and view-commands that show it on mouse-enter and hide it on mouse-exit.
//
// Owned by its parent view; the CUIParam and the controller are its children.
// [ui thread]
class CReadOut : public CTextView, public CUIParamUpdateHandler
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // CUIParamUpdateHandler: shows the value's text again.
    [[nodiscard]] CError* onUIParamUpdate(CUIParam& uiParam) override;

    CUIParam* getUIParam() const { return uiParam; }

protected:
    [[nodiscard]] CError* onEditCommitted(const CString& text) override;
    CString getEditStartText() override;
    [[nodiscard]] CError* onEditBoxKey(const CAttrMap& params, bool& outTaken) override;
    [[nodiscard]] CError* onCtlEvent(const CString& eventName, CAttrMap& params) override;
    [[nodiscard]] CError* onMousePress(CAttrMap& params) override;
    [[nodiscard]] CError* onMousePressR(CAttrMap& params) override;
    [[nodiscard]] CError* onMouseWheel(CAttrMap& params) override;
    [[nodiscard]] CError* onPopupResult(CAttrMap& params) override;

private:
    void showValue();
    // A text typed for this read-out, wherever it was typed: the value takes it and the
    // listeners hear editbox-text-changed, as from the read-out's own edit box.
    [[nodiscard]] CError* commitTypedText(const CString& text, bool cancelled);

    // ---- the read-out whose keyboard is open ----
    bool isVirtualKeyboardOn() const;
    [[nodiscard]] CError* openVirtualKeyboard();
    // Procedure of the command that hears popup-closed: a keyboard still editing commits.
    [[nodiscard]] CError* onVirtualKeyboardClosed(const CAttrMap& params);
    [[nodiscard]] CError* requestPaste();

    // ---- the keyboard's field ----
    // Procedure of key-press: the keys of the keyboard's buttons.
    [[nodiscard]] CError* onKeyPressEvent(const CAttrMap& params);
    // Return, Tab, Escape and CAPS, which the field handles itself; false for the others.
    [[nodiscard]] CError* takeKeyboardKey(const CAttrMap& params, bool& outTaken);
    [[nodiscard]] CError* startFieldEdit();
    // Ends the edit: the opener gets the text unless cancelled; the popup closes; with tab, the
    // opener's window moves the keys along its tab group.
    [[nodiscard]] CError* endFieldEdit(bool cancelled, bool tab, bool backwards);
    [[nodiscard]] CError* toggleCaps(const CString& senderPath);
    CReadOut* findOpener() const;
    // Makes the child name from its template with the read-out's attributes names, unless the
    // tree gave it.
    [[nodiscard]] CError* makeChild(const char* templateName, const char* childName,
                                    std::initializer_list<const char*> attrNames);

    CUIParam* uiParam = nullptr;              // not owned: a child; cleared in detachLinks
    CUIParamController* controller = nullptr; // not owned: a child; cleared in detachLinks
    CString keyboardFieldPath;                // the open keyboard's field
    CString fieldText;                        // the text the field's edit box starts from
    bool keyboardField = false;               // this is a keyboard's text field
    bool capsOn = false;
    bool copyPasteMenuOpen = false; // the open popup is the copy/paste menu
    bool pasteAwaited = false;      // the keys are held until the clipboard's text comes
};

} // namespace kel
