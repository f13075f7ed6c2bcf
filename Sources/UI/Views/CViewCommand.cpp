#include "UI/Views/CViewCommand.h"

#include "Core/CSharedAttribute.h"
#include "Core/CUtf8Path.h"
#include "UI/Views/CViewBaseState.h"

namespace kel
{

CViewCommand::~CViewCommand()
{
    if (ownerView)
        ownerView->removeCommand(this);
}

void CViewCommand::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CViewCommand::init()
{
    KEL_CHECK(CObject::init());
    CViewBaseState* view = dynamic_cast<CViewBaseState*>(getParent());
    if (!view)
        return KEL_ERROR("@kelstr_CViewCommand_init_InvalidParent Parent object is not a view.");
    const CString eventName = getAttrString(CString("on-event"), CString());
    if (eventName.isEmpty())
        return nullptr;
    ownerView = view;
    ownerView->addCommand(eventName, this);
    return nullptr;
}

void CViewCommand::detachLinks()
{
    if (ownerView)
        ownerView->removeCommand(this);
    ownerView = nullptr;
    CObject::detachLinks();
}

CError* CViewCommand::run(CViewBaseState& view, const CAttrMap& params)
{
    const CString mustBeSet = getAttrString(CString("condition-state-set"), CString());
    if (!mustBeSet.isEmpty() && !view.isStateActive(mustBeSet))
        return nullptr;
    const CString mustBeUnset = getAttrString(CString("condition-state-unset"), CString());
    if (!mustBeUnset.isEmpty() && view.isStateActive(mustBeUnset))
        return nullptr;
    KEL_CHECK(runEvent(view, params));
    KEL_CHECK(runStateChange(view, "set-state", &CViewBaseState::setState));
    KEL_CHECK(runStateChange(view, "unset-state", &CViewBaseState::unsetState));
    KEL_CHECK(runStateChange(view, "toggle-state", &CViewBaseState::toggleState));
    KEL_CHECK(toggleAttr(view));
    KEL_CHECK(resetSharedAttr(view));
    return nullptr;
}

CError* CViewCommand::runEvent(CViewBaseState& view, const CAttrMap& params)
{
    const CString eventName = getAttrString(CString("run-event"), CString());
    if (eventName.isEmpty())
        return nullptr;
    const CString targetPath = getAttrString(CString("run-event-target"), CString("."));
    CObject* target = view.findObject(targetPath);
    if (!target)
    {
        logTargetNotFound(targetPath);
        return nullptr;
    }
    CAttrMap eventParams;
    CArray<CString> forwarded;
    CViewBaseState::splitNames(getAttrString(CString("run-event-forward-params"), CString()),
                               forwarded);
    for (const CString& paramName : forwarded)
    {
        if (const CAttrValue* value = params.find(paramName))
            eventParams.set(paramName, *value);
    }
    CString paramsPath = getAttrString(CString("run-event-params"), CString());
    if (!paramsPath.isEmpty())
    {
        // A path below the command: "values" is the child "values".
        const uint16_t first = paramsPath.getUnit(0);
        if (first != '.' && first != '^')
            paramsPath.insert(0, CString("."));
        if (const CObject* source = findObject(paramsPath))
        {
            for (const auto& [attrName, value] : source->getAttributes())
            {
                if (attrName != "name" && attrName != "full-name")
                    eventParams.set(attrName, value);
            }
        }
        else
            logTargetNotFound(paramsPath);
    }
    eventParams.set(CString("sender"), CAttrValue(view.getFullName()));
    eventParams.set(CString("event-name"), CAttrValue(eventName));
    bool isFound = false;
    KEL_CHECK(target->callEventProc(eventName, eventParams, &isFound));
    if (isFound)
        return nullptr;
    if (CViewBaseState* targetView = dynamic_cast<CViewBaseState*>(target))
        KEL_CHECK(targetView->runCommands(eventName, eventParams));
    return nullptr;
}

CError* CViewCommand::runStateChange(CViewBaseState& view, const char* attrName,
                                     CError* (CViewBaseState::*operation)(const CString&, bool))
{
    const CString names = getAttrString(CString(attrName), CString());
    if (names.isEmpty())
        return nullptr;
    const CString targetPath = getAttrString(CString("state-target"), CString("."));
    CViewBaseState* target = dynamic_cast<CViewBaseState*>(view.findObject(targetPath));
    if (!target)
    {
        logTargetNotFound(targetPath);
        return nullptr;
    }
    KEL_CHECK((target->*operation)(names, false));
    return nullptr;
}

CError* CViewCommand::toggleAttr(CViewBaseState& view)
{
    const CString attrName = getAttrString(CString("toggle-attr"), CString());
    if (attrName.isEmpty())
        return nullptr;
    const CString targetPath = getAttrString(CString("toggle-attr-target"), CString("."));
    CObject* target = view.findObject(targetPath);
    if (!target)
    {
        logTargetNotFound(targetPath);
        return nullptr;
    }
    const bool value = target->getAttrBool(attrName, false);
    KEL_CHECK(target->setAttr(attrName, CAttrValue(!value)));
    return nullptr;
}

CError* CViewCommand::resetSharedAttr(CViewBaseState& view)
{
    const CString path = getAttrString(CString("reset-shared-attr"), CString());
    if (path.isEmpty())
        return nullptr;
    CSharedAttribute* shared = dynamic_cast<CSharedAttribute*>(view.findObject(path));
    if (!shared)
    {
        logTargetNotFound(path);
        return nullptr;
    }
    const CString defValue = shared->getAttrString(CString("def-value"), CString());
    KEL_CHECK(shared->setAttr(shared->getAttributeName(), CAttrValue(defValue)));
    return nullptr;
}

void CViewCommand::logTargetNotFound(const CString& path) const
{
    const CUtf8Path text(path);
    KEL_LOG("Target not found: '%s'", text.get());
}

} // namespace kel
