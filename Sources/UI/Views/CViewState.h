#pragma once

#include "Core/CObject.h"

namespace kel
{

class CViewBaseState;

// A named state of its parent view (tag ui:view-state): "state-name", and what the view looks
// like while the state is active. "duration" (seconds until the state counts as ready),
// "morph-duration" (seconds over which opacity, width and height ease), "color-state" (the
// suffix of the colour row, or with a leading "/" the whole of it) and "image-set-range" are read
// by the view's evaluation; every other attribute is set on the view while the state is active.
// The attributes are read at each evaluation, so that they may be live.
//
// Files itself with its parent view at initChilds and leaves it when destroyed. Owned by the
// view, which it does not own. [ui thread]
class CViewState : public CObject
{
public:
    CViewState() = default;
    ~CViewState() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    const CString& getStateName() const { return stateName; }
    // Attributes of the object itself, which never reach the view.
    static bool isOwnAttr(const CString& attrName);
    // The view is going away before its children (it was deleted rather than destroyed).
    void forgetView() { ownerView = nullptr; }

private:
    CString stateName;
    CViewBaseState* ownerView = nullptr; // not owned: the parent; cleared in detachLinks
};

} // namespace kel
