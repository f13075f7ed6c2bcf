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
// unblocked; the parameter "blocked-by" names the modal window (kept on the blocker). A view
// blocks its window once: a second block-window while its blocker is up does nothing.
// unblock-window removes the blocker and unblocks the window; nothing without a blocker. When
// the popup a view opened ends (popup-closed, released, or the view goes) a block whose
// "blocked-by" is that popup is lifted, so a modal popup only has to block its opener.
//
// Popups: every view opens one on the event popup-toggle (a view-command's run-event, its
// run-event-params giving the parameters). "popup-tag" names the run-time template, whose top is
// the popup's root view; it is made as a child of the object that holds this view's root view
// (under the editor's "ui", beside the main window's root), found from there, from an ancestor
// or in the shared tree. When the template brings no ui:window-renderer the view gives it one.
// Every other parameter becomes an attribute of the new root view and of its renderer: the
// renderer places the window by "window-alignment" (here "bottom-local-center" by default),
// "shift-x" and "shift-y", titles it by "title", and the content reads the rest
// ("popup-text-source", "popup-max-item-count") through {...} expressions. The view adds
// "opener" (its full name), "is-popup-window" and "is-root-view"; "is-same-width" makes the
// popup as wide as the view, and "width-modif" widens it by that many pixels. A second toggle
// while the popup is up closes it, unless "is-popup-toggle-always-create", which closes it and
// opens a new one. A template that does not exist is an error and nothing opens.
//
// The popup ends when its window hears popup-close (a second toggle, a result, a press in
// another window of the editor); the window then tells the opener popup-closed, whose commands
// run, and the opener releases the popup's tree through the event bridge: it goes on the run
// loop after the event that ended it. A view that goes takes the popup it opened with it.
//
// popup-result: a view inside a popup hands its result to the opener (sendPopupResult) with
// "index" and "source" (the full name of the view that chose it); the opener hears it through
// onPopupResult, whose default runs its commands of popup-result, then its listeners, and passes
// it on to the view at its "popup-result-target" (the toggle's parameter of that name is stored
// there), which does the same. A chain of targets that comes back to a view it passed already
// is logged ("Infinite loop caused by popup-result-target") and stops.
//
// Hit-test flags (attributes): is-click-through, is-focusable, is-intercepting,
// is-intercepting-allow-childs, is-window-draggable; "redirect-get-view-at" is read by the
// window's hit test. Owned by its parent view; the popup it opened is not its child but is
// destroyed with it. [ui thread]
class CViewBaseCtlEvents : public CViewBaseState
{
public:
    static void registerClass(CClassInfo& info);
    void detachLinks() override;

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

    // ---- popups ----
    // The root view of the popup this view opened, while its window is up; null otherwise.
    CViewBaseCtlEvents* getOpenPopup() const;
    // For a view inside a popup: the opener hears popup-result with index, and the popup ends.
    // Nothing happens outside a popup.
    [[nodiscard]] CError* sendPopupResult(int index);

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
    // A popup's result reached this view (params: index, source); the base runs the commands
    // of popup-result. The listeners hear it and it is passed on after this returns.
    [[nodiscard]] virtual CError* onPopupResult(CAttrMap& params);

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
    // Lifts the block of this view's window when the popup at that full name laid it.
    [[nodiscard]] CError* unblockForPopup(const CString& popup);
    [[nodiscard]] CError* blockWindowOperation(CAttrMap& params) { return onBlockWindow(params); }
    [[nodiscard]] CError* unblockWindowOperation(CAttrMap& params)
    {
        return onUnblockWindow(params);
    }

    // Procedures of the popup events.
    [[nodiscard]] CError* onPopupToggleEvent(const CAttrMap& params);
    [[nodiscard]] CError* onPopupResultEvent(const CAttrMap& params);
    [[nodiscard]] CError* onPopupClosedEvent(const CAttrMap& params);
    [[nodiscard]] CError* openPopup(const CAttrMap& params);
    // The popup this view opened (by its full name), whatever the state of its window.
    CObject* findPopup() const;
    // Lets the bridge destroy the popup's tree and forgets it.
    [[nodiscard]] CError* releasePopup();

    CString popupPath; // full name of the popup's root view; empty when none is up
    bool clickThrough = false;
    bool focusable = false;
    bool intercepting = false;
    bool interceptingAllowChilds = false;
    bool windowDraggable = false;
    bool hover = false;
};

} // namespace kel
