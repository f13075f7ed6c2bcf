#pragma once

#include "UI/Views/CView.h"

namespace kel
{

class CButton;
class CSharedAttribute;

// A row of buttons of which one is active (tag ui:selector). The buttons are children
// "button0", "button1", ... made at initChilds from the template "button-tag" ("ui:button"):
// "button-count" of them (without it, one per title), titled from "button-title-list" (the
// path of a value list, or titles separated by the first character of "separator-char", '|'
// by default), each with "button-width", "button-height", "button-inner-border" and
// "button-color" where given and the selector's "is-right-click-allowed".
//
// Layout: each button is placed inline, so the row runs left to right in the order of the
// indexes, wrapping as inline views do, spaced by the selector's own "spread".
//
// The buttons' input comes back to the selector as the procedures cmd-press-r, cmd-release,
// cmd-release-r, cmd-cancel, cmd-enter and cmd-exit, and the selector raises button-pressed-r,
// button-released, button-released-r, button-cancelled-r, button-enter and button-exit with the
// button's "index". The events of the right button go only with "is-right-click-allowed"; a
// disabled button raises nothing. A release makes its button the active one: "active-button" is
// the index of the active button, -1 for none.
//
// With "shared-attribute" (the path of a core:shared-attribute) the selector shows the value it
// holds and writes it when a button is chosen; the concrete selectors say how a value maps to a
// button. Owned by its parent view; the buttons are its children, the shared attribute is not
// owned. [ui thread]
class CSelector : public CView
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;
    [[nodiscard]] CError* onLinkedAttr(CObject* sender, const CString& attrName,
                                       const CAttrValue& value) override;

    int getButtonCount() const { return buttons.getCount(); }
    CButton* getButton(int index) const { return buttons[index]; }
    int getActiveButton() const { return getAttrInt(CString("active-button"), -1); }

protected:
    // Defaults that the concrete selectors change.
    virtual const char* getDefaultButtonTag() const { return "ui:button"; }
    virtual const char* getDefaultSharedAttribute() const { return ""; }
    // Before the buttons are made: a concrete selector sets its count and titles here.
    [[nodiscard]] virtual CError* prepareButtons() { return nullptr; }
    // The titles of the buttons; the base reads "button-title-list".
    virtual void readTitles(CArray<CString>& out) const;
    // Extra creation parameters of button index.
    virtual void describeButton(int index, CAttrMap& params) const;
    // Button index was released: the base makes it the active one.
    [[nodiscard]] virtual CError* onButtonReleased(int index);
    // The shared attribute holds text; the base does nothing.
    [[nodiscard]] virtual CError* onSharedValue(const CString& text);
    // Writes text to the shared attribute, if there is one.
    [[nodiscard]] CError* writeShared(const CString& text);
    // The titles of a list path, or the pieces of text at the separator.
    void readTitleList(const CString& list, CArray<CString>& out) const;

private:
    [[nodiscard]] CError* attrActiveButton();
    [[nodiscard]] CError* makeButtons();
    [[nodiscard]] CError* applyActiveButton();
    // The index of the button that sent an event, -1 when it is none of them (or disabled).
    int senderIndex(const CAttrMap& params) const;
    [[nodiscard]] CError* raise(const char* eventName, int index);
    [[nodiscard]] CError* onCmdPressR(const CAttrMap& params);
    [[nodiscard]] CError* onCmdRelease(const CAttrMap& params);
    [[nodiscard]] CError* onCmdReleaseR(const CAttrMap& params);
    [[nodiscard]] CError* onCmdCancel(const CAttrMap& params);
    [[nodiscard]] CError* onCmdEnter(const CAttrMap& params);
    [[nodiscard]] CError* onCmdExit(const CAttrMap& params);

    CArray<CButton*> buttons;                    // not owned: children; cleared in detachLinks
    CSharedAttribute* sharedAttribute = nullptr; // not owned; cleared in detachLinks
    bool rightAllowed = false;
};

} // namespace kel
