#pragma once

#include "UI/Views/CViewBasePlacement.h"

namespace kel
{

// The layer of a view that holds its states: the names of the states it declares, the ones
// active now, and the colour-state suffix they make ("Active", "ActiveHover"). A change of the
// active states recolours the view. The morphs and commands that states drive build on this
// layer. Owned by its parent view. [ui thread]
class CViewBaseState : public CViewBasePlacement
{
public:
    static void registerClass(CClassInfo& info);

    // Turns a state on or off; answers whether the active list changed.
    bool setStateActive(const CString& stateName, bool isActive);
    bool isStateActive(const CString& stateName) const;
    // The active states joined in activation order, as the colour tables name rows.
    const CString& getColorState() const { return colorState; }

protected:
    // The active states changed: the view redraws in its new colours.
    virtual void onStateChanged() {}

private:
    [[nodiscard]] CError* attrState();

    CArray<CString> activeStates;
    CString colorState;
};

} // namespace kel
