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
    [[nodiscard]] CError* onMouseWheel(CAttrMap& params) override;

private:
    void showValue();
    // Makes the child name from its template with the read-out's attributes names, unless the
    // tree gave it.
    [[nodiscard]] CError* makeChild(const char* templateName, const char* childName,
                                    std::initializer_list<const char*> attrNames);

    CUIParam* uiParam = nullptr;              // not owned: a child; cleared in detachLinks
    CUIParamController* controller = nullptr; // not owned: a child; cleared in detachLinks
};

} // namespace kel
