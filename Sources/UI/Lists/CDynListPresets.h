#pragma once

#include "Audio/CAudioInterfaceRegistryListener.h"
#include "Audio/CAudioPresetBank.h"
#include "Core/CApplicationDataBridge.h"
#include "UI/Lists/CDynListObject.h"

namespace kel
{

class CAudioInterfaceClient;
class CAudioPresetBankStore;
class CDynListPresets;
class CValueList;

using CDynListPresetsListBridge = CApplicationDataBridge<CDynListPresets>;

// The quick list of presets (tag ui:dynlist-presets): the presets of the session bank, the
// factory bank and the user's banks (the item `store-name` of the product's data store, as the
// preset manager keeps them), one list, each bank's presets under its name when `is-show-banks`.
// Its child value list ".items" holds the same titles, for a popup list to show; the popup's
// result (popup-result with `index`, an item of that list) activates that preset, and a bank's
// title does nothing. presets-refresh (sent by the opener before the popup) reads everything
// again; the store's bridge (shared-banks-update) and the registry's list keep it current.
//
// Owned by its parent in the tree; the client is not owned, the store and the bridge are.
// [ui thread; the bridge's handler: the writer's]
class CDynListPresets : public CDynListObject, public CAudioInterfaceRegistryListener
{
public:
    CDynListPresets();
    ~CDynListPresets() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    void onPresetList(int currentIndex, const CArray<CString>& names,
                      const CString& currentName) override;

    CValueList* getItems() const { return items; }
    // Activates the preset of that item of the list; a bank title or an index outside does
    // nothing.
    [[nodiscard]] CError* activate(int index);

protected:
    void fillItems(CArray<CItem>& outItems) const override;

private:
    // What an item of the list stands for: a bank's title (preset -1) or a preset.
    struct CEntry
    {
        int bank = 0; // 0 session, 1 factory, 2... the user's
        int preset = -1;
    };

    [[nodiscard]] CError* onRefresh(const CAttrMap& params);
    [[nodiscard]] CError* onSharedBanksUpdate(const CAttrMap& params);
    [[nodiscard]] CError* onPopupResult(const CAttrMap& params);
    void onStoreChanged();
    // The entries and titles from the data, into the value list, and the lists built again.
    [[nodiscard]] CError* update();
    void addBank(const CString& title, int bank, const CAudioPresetBank* presets,
                 const CArray<CString>* names);

    CAudioInterfaceClient* client = nullptr; // not owned; cleared in detachLinks
    CValueList* items = nullptr;             // a child; cleared in detachLinks
    CAudioPresetBankStore* store = nullptr;  // owned
    CDynListPresetsListBridge bridge;
    CString registryName;
    bool isListening = false;

    CArray<CString> sessionNames;
    CAudioPresetBank factoryBank;
    bool hasFactoryBank = false;
    CArray<CEntry> entries;
    CArray<CString> titles;
};

} // namespace kel
