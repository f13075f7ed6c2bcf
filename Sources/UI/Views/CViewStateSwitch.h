#pragma once

#include "Core/CObject.h"
#include "UI/Params/CUIParamUpdateHandler.h"

#include <cstdint>

namespace kel
{

class CUIParam;
class CViewBaseState;

// Turns attributes of other views on and off by the value of a parameter (tag
// ui:view-state-switch). It watches its child `ui:ui-param`; the switch is active while the
// value of that CUIParam's element equals one of `value` (blank-separated normalised values; an
// empty list: while the value is 0.5 or more). On every change of that state, `active-attrs` or
// `inactive-attrs` (blank-separated name=value pairs) are set on each view of `target`
// (blank-separated paths, mandatory), and the view states named by `tag1` (active) and `tag0`
// (inactive) are set, the other one unset. The first state is applied once the children exist.
//
// With `union` (path of an object) and `union-id` (a number), several switches act together
// through that object: the switch calls its procedures `view-state-switch-register` (parameters
// `id`, `full-name`), `view-state-switch-update` (also `is-active`) on each change of state, and
// `view-state-switch-unregister` when it goes; how the members are joined is the union's own
// business.
//
// Owned by its parent; targets and union are not owned and are forgotten in detachLinks.
// [ui thread]
class CViewStateSwitch : public CObject, public CUIParamUpdateHandler
{
public:
    CViewStateSwitch();
    ~CViewStateSwitch() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    // CUIParamUpdateHandler: the value may have changed.
    [[nodiscard]] CError* onUIParamUpdate(CUIParam& uiParam) override;

    bool isActive() const { return active; }
    int getTargetCount() const { return targets.getCount(); }

private:
    struct CSetting
    {
        CString name;
        CString value;
    };

    // name=value pairs separated by blanks; false on a pair without '=' or without a name.
    static bool parseSettings(const CString& text, CArray<CSetting>& out);
    static void splitOnBlanks(const CString& text, CArray<CString>& out);
    bool evaluate() const;
    [[nodiscard]] CError* apply();
    // Calls the union's procedure of that name, if it has one.
    [[nodiscard]] CError* callUnion(const char* eventName);

    CUIParam* uiParam = nullptr;     // child: owned by the tree
    CArray<CViewBaseState*> targets; // not owned; cleared in detachLinks
    CObject* unionObject = nullptr;  // not owned; cleared in detachLinks
    CArray<CSetting> activeSettings;
    CArray<CSetting> inactiveSettings;
    CArray<double> values;
    CString tag0;
    CString tag1;
    int32_t unionId = 0;
    bool active = false;
    bool isApplied = false;
};

} // namespace kel
