#pragma once

#include "Core/CObject.h"

namespace kel
{

class CViewBaseState;

// A reaction of its parent view to one of its events (tag ui:view-command). "on-event", read in
// init, names the event under which the command is filed with the view; an empty one files it
// nowhere. Everything else is read when the command runs, so that it may be live:
//   - "condition-state-set", "condition-state-unset": the command runs only while the state is
//     active, or not active;
//   - "run-event" sent to "run-event-target" (default "."), with the parameters of the incoming
//     event named in "run-event-forward-params" (blank-separated) and all attributes of the
//     object at "run-event-params" (a path below the command);
//   - "set-state", "unset-state", "toggle-state" (blank-separated names) on the view at
//     "state-target" (default ".");
//   - "toggle-attr": a bool attribute of "toggle-attr-target" (default ".") inverted;
//   - "reset-shared-attr": the path of a shared attribute returned to its "def-value".
// Paths are relative to the view. A target that isn't found is logged ("Target not found: '%s'")
// and the command goes on with its next step.
//
// An event reaches its target through the target's event procedure of the same name; a view
// without one runs its commands of that event instead.
//
// Owned by the view, which it does not own; destroying it takes it out of the view's list.
// [ui thread]
class CViewCommand : public CObject
{
public:
    CViewCommand() = default;
    ~CViewCommand() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // One run for view, whose event came with params.
    [[nodiscard]] CError* run(CViewBaseState& view, const CAttrMap& params);
    // The view is going away before its children (it was deleted rather than destroyed).
    void forgetView() { ownerView = nullptr; }

private:
    [[nodiscard]] CError* runEvent(CViewBaseState& view, const CAttrMap& params);
    // Calls operation on the view at "state-target" for the names in attrName, if any.
    [[nodiscard]] CError* runStateChange(CViewBaseState& view, const char* attrName,
                                         CError* (CViewBaseState::*operation)(const CString&,
                                                                              bool));
    [[nodiscard]] CError* toggleAttr(CViewBaseState& view);
    [[nodiscard]] CError* resetSharedAttr(CViewBaseState& view);
    void logTargetNotFound(const CString& path) const;

    CViewBaseState* ownerView = nullptr; // not owned: the parent; cleared in detachLinks
};

} // namespace kel
