#pragma once

#include "Core/CApplicationDataBridge.h"
#include "Core/CObject.h"

namespace kel
{

class CAudioInterfaceClient;
class CAudioPreset;
class CPluginControl;

using CPluginControlDefPresetBridge = CApplicationDataBridge<CPluginControl>;

// The non-visual node that answers the main window's commands on the plug-in's state (tag
// ui:plugin-control): the events plugin-ab-swap (the A and B states change places),
// plugin-ab-copy (the current state is copied to the other one) and plugin-reset (the current
// state goes back to the default preset), each sent to the parameter registry named by
// "param-registry" (a path whose last name is the registry's) through the CAudioInterfaceClient
// at "interface-client". Each is one undo step on the audio side.
//
// It also keeps the user's default preset, the state that Reset and new instances load: the
// item "default-preset" of the data common to all products. Its bridge hears every write of the
// item, by this instance or another in the process (default-preset-update), and gives the new
// default to this instance's registry.
//
// Owned by the editor's tree; the client is not owned, the bridge is. [ui thread; the bridge's
// handler: the writer's]
class CPluginControl : public CObject
{
public:
    CPluginControl();
    ~CPluginControl() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // Stores preset as the default; every instance takes it through the bridge.
    [[nodiscard]] CError* setDefaultPreset(const CAudioPreset& preset);

private:
    [[nodiscard]] CError* onDefaultPresetUpdate(const CAttrMap& params);
    // The bridge's handler.
    void onDefaultPresetStored();

    [[nodiscard]] CError* onSwap(const CAttrMap& params);
    [[nodiscard]] CError* onCopy(const CAttrMap& params);
    [[nodiscard]] CError* onReset(const CAttrMap& params);

    CAudioInterfaceClient* client = nullptr; // not owned; cleared in detachLinks
    CString registryName;
    CPluginControlDefPresetBridge bridge;
};

} // namespace kel
