#pragma once

#include "UI/Views/CViewBaseState.h"

namespace kel
{

// The layer of a view that takes input: the window hands it the pointer and key events that
// reach it (mouse-enter, mouse-exit, mouse-move, mouse-press, mouse-release, mouse-cancel and
// their right-button forms, mouse-wheel, auto-click, key-press, key-release, focus-lost). Each
// goes to the view's own handler and then to the objects that listen to the view for it. The
// commands that data binds to these events build on this layer. Owned by its parent view.
// [ui thread]
class CViewBaseCtlEvents : public CViewBaseState
{
public:
    static void registerClass(CClassInfo& info);

    // Delivers one input event to this view: its handler first, then its listeners.
    [[nodiscard]] CError* deliverCtlEvent(const CString& eventName, CAttrMap& params);

    // Hit-test flags of the view (attributes of the same names).
    bool isClickThrough() const { return clickThrough; }
    bool isIntercepting() const { return intercepting; }
    bool isInterceptingAllowChilds() const { return interceptingAllowChilds; }
    // Whether the pointer is over the view; set by the window between enter and exit.
    bool isHover() const { return hover; }

protected:
    // The view's own reaction; the base takes the hover state from enter and exit.
    [[nodiscard]] virtual CError* onCtlEvent(const CString& eventName, CAttrMap& params);

private:
    [[nodiscard]] CError* attrHitFlags();

    bool clickThrough = false;
    bool intercepting = false;
    bool interceptingAllowChilds = false;
    bool hover = false;
};

} // namespace kel
