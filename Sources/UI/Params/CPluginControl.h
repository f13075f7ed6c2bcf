#pragma once

#include "Core/CObject.h"

namespace kel
{

class CAudioInterfaceClient;

// The non-visual node that answers the main window's commands on the plug-in's state (tag
// ui:plugin-control): the events plugin-ab-swap (the A and B states change places),
// plugin-ab-copy (the current state is copied to the other one) and plugin-reset (the current
// state goes back to the default preset), each sent to the parameter registry named by
// "param-registry" (a path whose last name is the registry's) through the CAudioInterfaceClient
// at "interface-client". Each is one undo step on the audio side.
//
// Owned by the editor's tree; the client is not owned. [ui thread]
class CPluginControl : public CObject
{
public:
    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

private:
    [[nodiscard]] CError* onSwap(const CAttrMap& params);
    [[nodiscard]] CError* onCopy(const CAttrMap& params);
    [[nodiscard]] CError* onReset(const CAttrMap& params);

    CAudioInterfaceClient* client = nullptr; // not owned; cleared in detachLinks
    CString registryName;
};

} // namespace kel
