#pragma once

#include "UI/Views/CViewBaseState.h"

namespace kel
{

class CWindow;

// The layer of a view that takes input. The window decides which view an input belongs to and
// delivers it here; each event has an operation of its own, which control classes override, and
// whose default runs the commands the data binds to the event of the same name, so that data
// alone can react to input. After the operation the objects that listen to the view for the
// event hear it.
//
// Events: mouse-enter (its commands, then the state "hover"), mouse-exit (its commands, then
// "hover" off), mouse-top-exit, mouse-move, mouse-press, mouse-release, mouse-cancel and their
// right-button forms with "-r", mouse-wheel ("delta"), key-press and key-release ("keycode"),
// focus-lost (its commands, then the window hears it), block-window and unblock-window. Any
// other event the window hands over (auto-click, cursor-blink, window-create) runs its commands.
// Mouse events carry actual-x, actual-y, is-button-l, is-button-r, is-alt, is-ctrl, is-shift,
// press and release also button, is-button-down, is-double-click; key events keycode and the
// modifiers.
//
// block-window: a view that opens a modal window covers its own window with a child
// "window-blocker" made from the template ui:window-blocker, takes the pointer out of every
// view (the window hears mouse-exit), and tells the window, which takes no input until it is
// unblocked; the parameter "blocked-by" names the modal window. unblock-window undoes it.
//
// Hit-test flags (attributes): is-click-through, is-focusable, is-intercepting,
// is-intercepting-allow-childs, is-window-draggable; "redirect-get-view-at" is read by the
// window's hit test. Owned by its parent view. [ui thread]
class CViewBaseCtlEvents : public CViewBaseState
{
public:
    static void registerClass(CClassInfo& info);

    // Delivers one input event to this view: its operation, then its listeners. An error of
    // the operation goes up and the listeners do not hear the event.
    [[nodiscard]] CError* deliverCtlEvent(const CString& eventName, CAttrMap& params);

    bool isClickThrough() const { return clickThrough; }
    bool isFocusable() const { return focusable; }
    bool isIntercepting() const { return intercepting; }
    bool isInterceptingAllowChilds() const { return interceptingAllowChilds; }
    bool isWindowDraggable() const { return windowDraggable; }
    // Whether the pointer is over the view: between mouse-enter and mouse-exit.
    bool isHover() const { return hover; }

    // The window of the view's tree (the root view names it in "window"); null outside one.
    CWindow* findWindow() const;

protected:
    // The first stop of every event; the default hands it to the operation of its name, or
    // runs the commands of an event that has none.
    [[nodiscard]] virtual CError* onCtlEvent(const CString& eventName, CAttrMap& params);

    [[nodiscard]] virtual CError* onMouseEnter(CAttrMap& params);
    [[nodiscard]] virtual CError* onMouseExit(CAttrMap& params);
    [[nodiscard]] virtual CError* onMouseTopExit(CAttrMap& params);
    [[nodiscard]] virtual CError* onMouseMove(CAttrMap& params);
    [[nodiscard]] virtual CError* onMousePress(CAttrMap& params);
    [[nodiscard]] virtual CError* onMouseRelease(CAttrMap& params);
    [[nodiscard]] virtual CError* onMousePressR(CAttrMap& params);
    [[nodiscard]] virtual CError* onMouseReleaseR(CAttrMap& params);
    [[nodiscard]] virtual CError* onMouseCancel(CAttrMap& params);
    [[nodiscard]] virtual CError* onMouseCancelR(CAttrMap& params);
    [[nodiscard]] virtual CError* onMouseWheel(CAttrMap& params);
    [[nodiscard]] virtual CError* onKeyPress(CAttrMap& params);
    [[nodiscard]] virtual CError* onKeyRelease(CAttrMap& params);
    [[nodiscard]] virtual CError* onFocusLost(CAttrMap& params);
    [[nodiscard]] virtual CError* onBlockWindow(const CAttrMap& params);
    [[nodiscard]] virtual CError* onUnblockWindow(const CAttrMap& params);

private:
    using COperation = CError* (CViewBaseCtlEvents::*)(CAttrMap&);
    struct COperationEntry
    {
        const char* eventName;
        COperation operation;
    };
    static const COperationEntry kOperations[];

    [[nodiscard]] CError* attrHitFlags();
    // Procedures of the events block-window and unblock-window sent to the view.
    [[nodiscard]] CError* onBlockWindowEvent(const CAttrMap& params);
    [[nodiscard]] CError* onUnblockWindowEvent(const CAttrMap& params);
    [[nodiscard]] CError* blockWindowOperation(CAttrMap& params) { return onBlockWindow(params); }
    [[nodiscard]] CError* unblockWindowOperation(CAttrMap& params)
    {
        return onUnblockWindow(params);
    }

    bool clickThrough = false;
    bool focusable = false;
    bool intercepting = false;
    bool interceptingAllowChilds = false;
    bool windowDraggable = false;
    bool hover = false;
};

} // namespace kel
