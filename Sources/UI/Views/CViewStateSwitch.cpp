#include "UI/Views/CViewStateSwitch.h"

#include "UI/Params/CUIParam.h"
#include "UI/Views/CViewBaseState.h"

#include <cmath>

namespace kel
{

namespace
{

// Two normalised values this close are one value.
constexpr double kValueTolerance = 1e-6;

} // namespace

CViewStateSwitch::CViewStateSwitch() = default;

CViewStateSwitch::~CViewStateSwitch() = default;

void CViewStateSwitch::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

void CViewStateSwitch::splitOnBlanks(const CString& text, CArray<CString>& out)
{
    int start = 0;
    const int length = text.getLength();
    while (start < length)
    {
        while (start < length && (text.getUnit(start) == ' ' || text.getUnit(start) == '\t'))
            ++start;
        int end = start;
        while (end < length && text.getUnit(end) != ' ' && text.getUnit(end) != '\t')
            ++end;
        if (end > start)
            out.add(text.substring(start, end - start));
        start = end;
    }
}

bool CViewStateSwitch::parseSettings(const CString& text, CArray<CSetting>& out)
{
    CArray<CString> pairs;
    splitOnBlanks(text, pairs);
    for (const CString& pair : pairs)
    {
        const int equals = pair.findUnit('=');
        if (equals <= 0)
            return false;
        out.add(CSetting{pair.substring(0, equals), pair.substring(equals + 1)});
    }
    return true;
}

CError* CViewStateSwitch::initChilds()
{
    KEL_CHECK(CObject::initChilds());
    for (int i = 0; i < getChildCount() && !uiParam; ++i)
        uiParam = dynamic_cast<CUIParam*>(getChild(i));

    CArray<CString> paths;
    splitOnBlanks(getAttrString(CString("target"), CString()), paths);
    if (paths.isEmpty())
        return KEL_ERROR("@kelstr_CViewStateSwitch_initChilds_NoTargets No target views "
                         "specified.");
    for (const CString& path : paths)
    {
        auto* view = dynamic_cast<CViewBaseState*>(findObject(path));
        if (!view)
            return KEL_ERROR("@kelstr_CViewStateSwitch_initChilds_NoTargetView Unable to locate "
                             "target view.");
        targets.add(view);
    }
    if (!parseSettings(getAttrString(CString("active-attrs"), CString()), activeSettings))
        return KEL_ERROR("@kelstr_CViewStateSwitch_initChilds_InvalidActiveAttrs Invalid "
                         "active-attrs syntax.");
    if (!parseSettings(getAttrString(CString("inactive-attrs"), CString()), inactiveSettings))
        return KEL_ERROR("@kelstr_CViewStateSwitch_initChilds_InvalidInactiveAttrs Invalid "
                         "inactive-attrs syntax.");
    CArray<CString> valueTexts;
    splitOnBlanks(getAttrString(CString("value"), CString()), valueTexts);
    for (const CString& text : valueTexts)
    {
        double value = 0.0;
        if (text.parseDouble(value))
            values.add(value);
    }
    tag0 = getAttrString(CString("tag0"), CString());
    tag1 = getAttrString(CString("tag1"), CString());

    const CString unionPath = getAttrString(CString("union"), CString());
    if (!unionPath.isEmpty())
    {
        unionObject = findObject(unionPath);
        if (!unionObject)
            return KEL_ERROR("@kelstr_CViewStateSwitch_initChilds_NoUnionObject View disabler "
                             "union object not found.");
        if (!getAttrString(CString("union-id"), CString()).parseInt(unionId))
        {
            unionObject = nullptr;
            return KEL_ERROR("@kelstr_CViewStateSwitch_initChilds_InvalidID Invalid ID of view "
                             "disabler.");
        }
        KEL_CHECK(callUnion("view-state-switch-register"));
    }
    active = evaluate();
    KEL_CHECK(apply());
    return nullptr;
}

void CViewStateSwitch::detachLinks()
{
    if (unionObject)
        delete callUnion("view-state-switch-unregister");
    unionObject = nullptr;
    targets.clear();
    uiParam = nullptr;
    CObject::detachLinks();
}

bool CViewStateSwitch::evaluate() const
{
    if (!uiParam)
        return false;
    const double value = uiParam->getNormalisedValue();
    if (values.isEmpty())
        return value >= 0.5;
    for (double wanted : values)
    {
        if (std::fabs(value - wanted) <= kValueTolerance)
            return true;
    }
    return false;
}

CError* CViewStateSwitch::onUIParamUpdate(CUIParam&)
{
    // Before initChilds the targets are not known; the first state comes there.
    if (getState() < kStateChildsInitDone)
        return nullptr;
    const bool now = evaluate();
    if (isApplied && now == active)
        return nullptr;
    active = now;
    KEL_CHECK(apply());
    if (unionObject)
        KEL_CHECK(callUnion("view-state-switch-update"));
    return nullptr;
}

CError* CViewStateSwitch::apply()
{
    const CArray<CSetting>& settings = active ? activeSettings : inactiveSettings;
    for (CViewBaseState* target : targets)
    {
        for (const CSetting& setting : settings)
            KEL_CHECK(target->setAttr(setting.name, CAttrValue(setting.value)));
        const CString& on = active ? tag1 : tag0;
        const CString& off = active ? tag0 : tag1;
        if (!off.isEmpty())
            KEL_CHECK(target->unsetState(off));
        if (!on.isEmpty())
            KEL_CHECK(target->setState(on));
    }
    isApplied = true;
    return nullptr;
}

CError* CViewStateSwitch::callUnion(const char* eventName)
{
    const CString procName(eventName);
    CAttrMap params;
    params.set(CString("id"), CAttrValue(unionId));
    params.set(CString("full-name"), CAttrValue(getFullName()));
    params.set(CString("is-active"), CAttrValue(active));
    params.set(CString("sender"), CAttrValue(getFullName()));
    params.set(CString("event-name"), CAttrValue(procName));
    bool isFound = false;
    KEL_CHECK(unionObject->callEventProc(procName, params, &isFound));
    if (!isFound)
        KEL_LOG("Union has no procedure '%s'.", eventName);
    return nullptr;
}

} // namespace kel
