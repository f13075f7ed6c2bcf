#include "UI/Lists/CDynListPresets.h"

#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioParamRegistry.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBankStore.h"
#include "Core/CDebugChannel.h"
#include "Core/CGlobalData.h"
#include "Core/CLocalData.h"
#include "Core/CSystem.h"
#include "UI/Controls/CPresetManager.h"
#include "UI/Lists/CValueList.h"

namespace kel
{

namespace
{
// A failure that leaves the object working goes to the debug channel.
void logFailure(CError* error)
{
    if (!error)
        return;
    const char* message = error->getMessage();
    KEL_LOG("preset list: %s", message ? message : "");
    delete error;
}
} // namespace

CDynListPresets::CDynListPresets() : bridge(this, &CDynListPresets::onStoreChanged) {}

CDynListPresets::~CDynListPresets()
{
    bridge.detach();
    delete store;
}

void CDynListPresets::registerClass(CClassInfo& info)
{
    CDynListObject::registerClass(info);
    info.addEventProc<CDynListPresets>("presets-refresh", &CDynListPresets::onRefresh);
    info.addEventProc<CDynListPresets>("shared-banks-update",
                                       &CDynListPresets::onSharedBanksUpdate);
    info.addEventProc<CDynListPresets>("popup-result", &CDynListPresets::onPopupResult);
}

CError* CDynListPresets::init()
{
    KEL_CHECK(CDynListObject::init());
    const CString clientPath = getAttrString(CString("interface-client"), CString());
    if (!clientPath.isEmpty())
        client = dynamic_cast<CAudioInterfaceClient*>(findObject(clientPath));
    const CString path = getAttrString(CString("param-registry"), CString("param-registry"));
    const int dot = path.findLastUnit('.');
    registryName = dot < 0 ? path : path.substring(dot + 1);

    CApplicationData& data = getAttrBool(CString("is-global-data"), false)
                                 ? static_cast<CApplicationData&>(CGlobalData::get())
                                 : static_cast<CApplicationData&>(CLocalData::get());
    delete store;
    store = new CAudioPresetBankStore(
        data, getAttrString(CString("store-name"), CString("shared-banks")));
    bridge.attach(&data, store->getItemName());
    if (CError* error = store->read())
        CSystem::showError(error); // the built-in banks still work
    KEL_CHECK(
        listenObject(CString("."), CString("shared-banks-update"), CString("shared-banks-update")));
    if (client)
    {
        // A client that is not connected yet keeps the subscription and sends it when it
        // connects.
        logFailure(client->addRegistryListener(this, registryName));
        isListening = true;
    }
    return nullptr;
}

void CDynListPresets::detachLinks()
{
    // The bridge first: after detach no writer on another thread reaches this object.
    bridge.detach();
    if (client && isListening)
    {
        logFailure(client->removeRegistryListener(this));
    }
    isListening = false;
    client = nullptr;
    items = nullptr;
    CDynListObject::detachLinks();
}

void CDynListPresets::onPresetList(int /*currentIndex*/, const CArray<CString>& names,
                                   const CString& /*currentName*/)
{
    sessionNames = names;
    if (CError* error = update())
        CSystem::showError(error);
}

void CDynListPresets::onStoreChanged()
{
    CAttrMap params;
    if (CError* error = sendEvent(CString("shared-banks-update"), params))
        CSystem::showError(error);
}

CError* CDynListPresets::onSharedBanksUpdate(const CAttrMap& /*params*/)
{
    if (store)
        KEL_CHECK(store->read());
    KEL_CHECK(update());
    return nullptr;
}

CError* CDynListPresets::onRefresh(const CAttrMap& /*params*/)
{
    if (!hasFactoryBank && client)
    {
        hasFactoryBank = true; // asked once, answered or not
        logFailure(client->acquireBank(registryName, true, false, factoryBank));
    }
    return onSharedBanksUpdate(CAttrMap());
}

void CDynListPresets::addBank(const CString& title, int bank, const CAudioPresetBank* presets,
                              const CArray<CString>* names)
{
    const bool showBanks = getAttrBool(CString("is-show-banks"), true);
    const int count = presets ? presets->getCount() : names->getCount();
    if (count == 0)
        return;
    if (showBanks)
    {
        entries.add(CEntry{bank, -1});
        titles.add(CString("[B]") + CPresetManager::showableName(title) + CString("[/B]"));
    }
    for (int i = 0; i < count; ++i)
    {
        CString shortName = names ? (*names)[i] : CString();
        if (presets)
        {
            CString id;
            CAudioPreset::splitName(presets->getPreset(i)->getName(), id, shortName);
        }
        entries.add(CEntry{bank, i});
        CString shown = showBanks ? CString("  ") : CString();
        shown.append(CPresetManager::showableName(shortName));
        titles.add(shown);
    }
}

CError* CDynListPresets::update()
{
    entries.clear();
    titles.clear();
    addBank(CString(CAudioParamRegistry::kSessionBankName), CPresetManager::kSessionBank, nullptr,
            &sessionNames);
    addBank(CString(CAudioParamRegistry::kFactoryBankName), CPresetManager::kFactoryBank,
            &factoryBank, nullptr);
    for (int b = 0; store && b < store->getCount(); ++b)
        addBank(store->getBank(b)->getName(), CPresetManager::kUserBanks + b, store->getBank(b),
                nullptr);
    if (!items)
        items = dynamic_cast<CValueList*>(findObject(CString(".items")));
    if (items)
    {
        CArray<double> values;
        for (int i = 0; i < titles.getCount(); ++i)
            values.add(static_cast<double>(i));
        KEL_CHECK(items->setItems(titles, values, false));
    }
    KEL_CHECK(rebuild());
    return nullptr;
}

void CDynListPresets::fillItems(CArray<CItem>& outItems) const
{
    for (int i = 0; i < entries.getCount(); ++i)
    {
        CItem item;
        item.title = titles[i];
        item.index = entries[i].preset < 0 ? -1 : i;
        outItems.add(item);
    }
}

CError* CDynListPresets::onPopupResult(const CAttrMap& params)
{
    return activate(getParamInt(params, "index", -1));
}

CError* CDynListPresets::activate(int index)
{
    if (!client || index < 0 || index >= entries.getCount() || entries[index].preset < 0)
        return nullptr;
    const CEntry entry = entries[index];
    if (entry.bank == CPresetManager::kSessionBank)
        return client->selectPreset(registryName, entry.preset);
    if (entry.bank == CPresetManager::kFactoryBank)
        return client->activateROMPreset(registryName, entry.preset);
    const CAudioPresetBank* bank = store->getBank(entry.bank - CPresetManager::kUserBanks);
    const CAudioPreset* preset = bank ? bank->getPreset(entry.preset) : nullptr;
    if (preset)
        KEL_CHECK(client->activatePreset(registryName, -1, *preset));
    return nullptr;
}

} // namespace kel
