#include "UI/Params/CPluginControl.h"

#include "Audio/CAudioInterfaceClient.h"

namespace kel
{

void CPluginControl::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addEventProc<CPluginControl>("plugin-ab-swap", &CPluginControl::onSwap);
    info.addEventProc<CPluginControl>("plugin-ab-copy", &CPluginControl::onCopy);
    info.addEventProc<CPluginControl>("plugin-reset", &CPluginControl::onReset);
}

CError* CPluginControl::init()
{
    KEL_CHECK(CObject::init());
    KEL_CHECK(findObjectByAttr("interface-client", client));
    // The audio side knows its registries by their own names.
    const CString path = getAttrString(CString("param-registry"), CString("param-registry"));
    const int dot = path.findLastUnit('.');
    registryName = dot < 0 ? path : path.substring(dot + 1);
    return nullptr;
}

void CPluginControl::detachLinks()
{
    client = nullptr;
    CObject::detachLinks();
}

CError* CPluginControl::onSwap(const CAttrMap& /*params*/)
{
    if (client)
        KEL_CHECK(client->swapCompare(registryName));
    return nullptr;
}

CError* CPluginControl::onCopy(const CAttrMap& /*params*/)
{
    if (client)
        KEL_CHECK(client->copyToCompare(registryName));
    return nullptr;
}

CError* CPluginControl::onReset(const CAttrMap& /*params*/)
{
    if (client)
        KEL_CHECK(client->resetMaster(registryName));
    return nullptr;
}

} // namespace kel
