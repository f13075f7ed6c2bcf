#include "UI/Params/CPluginControl.h"

#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioParamRegistry.h"
#include "Audio/CAudioPreset.h"
#include "Core/CByteBuffer.h"
#include "Core/CGlobalData.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CSystem.h"

namespace kel
{

CPluginControl::CPluginControl() : bridge(this, &CPluginControl::onDefaultPresetStored) {}

CPluginControl::~CPluginControl()
{
    bridge.detach();
}

void CPluginControl::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
    info.addEventProc<CPluginControl>("plugin-ab-swap", &CPluginControl::onSwap);
    info.addEventProc<CPluginControl>("plugin-ab-copy", &CPluginControl::onCopy);
    info.addEventProc<CPluginControl>("plugin-reset", &CPluginControl::onReset);
    info.addEventProc<CPluginControl>("default-preset-update",
                                      &CPluginControl::onDefaultPresetUpdate);
}

CError* CPluginControl::init()
{
    KEL_CHECK(CObject::init());
    KEL_CHECK(findObjectByAttr("interface-client", client));
    // The audio side knows its registries by their own names.
    const CString path = getAttrString(CString("param-registry"), CString("param-registry"));
    const int dot = path.findLastUnit('.');
    registryName = dot < 0 ? path : path.substring(dot + 1);
    KEL_CHECK(listenObject(CString("."), CString("default-preset-update"),
                           CString("default-preset-update")));
    bridge.attach(&CGlobalData::get(), CString(CAudioParamRegistry::kDefaultPresetItem));
    return nullptr;
}

void CPluginControl::detachLinks()
{
    // The bridge first: after detach no writer on another thread reaches this object.
    bridge.detach();
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

CError* CPluginControl::setDefaultPreset(const CAudioPreset& preset)
{
    CMemoryWriteBuffer payload(4096);
    KEL_CHECK(preset.save(payload));
    KEL_CHECK(CGlobalData::get().write(CString(CAudioParamRegistry::kDefaultPresetItem),
                                       payload.getData(), payload.getSize(),
                                       CAudioPreset::kBlockId));
    return nullptr;
}

void CPluginControl::onDefaultPresetStored()
{
    CAttrMap params;
    if (CError* error = sendEvent(CString("default-preset-update"), params))
        CSystem::showError(error);
}

CError* CPluginControl::onDefaultPresetUpdate(const CAttrMap& /*params*/)
{
    if (!client)
        return nullptr;
    CByteBuffer payload;
    KEL_CHECK(CGlobalData::get().read(CString(CAudioParamRegistry::kDefaultPresetItem), payload,
                                      CAudioPreset::kBlockId));
    if (payload.getSize() == 0)
        return nullptr;
    CMemoryReader reader(payload.getData(), payload.getSize());
    CAudioPreset preset;
    KEL_CHECK(preset.load(reader));
    KEL_CHECK(client->loadDefaultPreset(registryName, preset));
    return nullptr;
}

} // namespace kel
