#pragma once

#include "Core/CArray.h"
#include "Core/CString.h"

namespace kel
{

// The UI side's view of one parameter registry: its session preset names and current slot, sent
// at subscription and after every change of either. Implemented by the preset lists and the
// plug-in control; registered with CAudioInterfaceClient::addRegistryListener, not owned by it.
// [ui thread; called from the client's processBaseData]
class CAudioInterfaceRegistryListener
{
public:
    virtual ~CAudioInterfaceRegistryListener() = default;

    // Names without the registry's id, the current slot and the current preset's name.
    virtual void onPresetList(int currentIndex, const CArray<CString>& names,
                              const CString& currentName) = 0;
    // Two further notifications are kept free for registries that tell more; nothing sends them
    // in this product.
    virtual void onRegistryReserved1() {}
    virtual void onRegistryReserved2() {}
};

} // namespace kel
