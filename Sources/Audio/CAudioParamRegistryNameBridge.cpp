#include "Audio/CAudioParamRegistryNameBridge.h"

#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamInfo.h"
#include "Audio/CAudioParamStorage.h"
#include "Audio/CAudioParamRegistry.h"

namespace kel
{

void CAudioParamRegistryNameBridge::onParamChange(CAudioParam& param,
                                                  const CAudioParamChange& change,
                                                  CAudioParamContext& context,
                                                  const CAudioParam::CGuard& held)
{
    // Binding announces the definition and then sends each group of the defaults: that is the
    // definition's "Default", not a name the user gave, and must not rename the current preset
    // (the graph binds the parameter after the registry has filled its session).
    if (change.group == CAudioParamChange::kDefinitionGroup)
    {
        bindingChangesLeft = param.getInfo(held).getDefaults().getGroupCount();
        return;
    }
    if (bindingChangesLeft > 0)
    {
        --bindingChangesLeft;
        return;
    }
    // The registry's own publishing comes back here too; it already holds the name.
    if (context.origin == static_cast<const void*>(&registry) || change.group != 0)
        return;
    CString text;
    param.getValueText(text, 0, 0, 0, 0, &held);
    {
        CLockGuard guard(textLock);
        pendingText = text;
    }
    context.addDeferred(this, 0.0);
}

void CAudioParamRegistryNameBridge::onDeferredValue(double)
{
    CString text;
    {
        CLockGuard guard(textLock);
        text = pendingText;
    }
    registry.onPresetNameEdited(text);
}

} // namespace kel
