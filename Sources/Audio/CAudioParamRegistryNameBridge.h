#pragma once

#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamListener.h"
#include "Core/CCheckedObject.h"
#include "Core/CString.h"
#include "Core/Platform/CLock.h"

namespace kel
{

class CAudioParamRegistry;

// Lets the preset-name parameter drive the name of a registry's current preset: a change of its
// group 0 that the registry did not make itself (the user typing a name) becomes the session
// preset's name; the defaults a binding sends do not. The change arrives under the parameter's
// lock, where the registry lock must not be taken, so the text is kept and handed over as a
// deferred notification once the lock is released. Owned by the registry, which adds it to the
// parameter and removes it. [any thread; the listener part under the parameter's lock]
class CAudioParamRegistryNameBridge : public CCheckedObject,
                                      public CAudioParamListener,
                                      public CAudioParamContext::CDeferredTarget
{
public:
    explicit CAudioParamRegistryNameBridge(CAudioParamRegistry& owner) : registry(owner) {}

    void onParamChange(CAudioParam& param, const CAudioParamChange& change,
                       CAudioParamContext& context, const CAudioParam::CGuard& held) override;
    void onDeferredValue(double value) override;

private:
    CAudioParamRegistry& registry;
    CLock textLock;
    CString pendingText;
    // Group changes of a binding still to come; under the parameter's lock.
    int bindingChangesLeft = 0;
};

} // namespace kel
