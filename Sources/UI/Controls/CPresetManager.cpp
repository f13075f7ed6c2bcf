#include "UI/Controls/CPresetManager.h"

#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioParamRegistry.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBankStore.h"
#include "Core/CDebugChannel.h"
#include "Core/CFileWriter.h"
#include "Core/CGlobalData.h"
#include "Core/CLocalData.h"
#include "Core/CSystem.h"
#include "UI/Controls/CTextView.h"
#include "UI/Lists/CValueList.h"
#include "UI/Params/CPluginControl.h"
#include "UI/Resources/CUiScale.h"

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

CString paramString(const CAttrMap& params, const char* name)
{
    const CAttrValue* value = params.find(CString(name));
    return value ? value->getString() : CString();
}

// The text of an error, which is then deleted.
CString takeMessage(CError* error)
{
    const char* message = error->getMessage();
    CString text = CString::fromUtf8(message ? message : "");
    delete error;
    return text;
}

// Writes a preset or bank as a file of its compressed block; a write that fails leaves the file
// that was there before (or none).
template <class T> CError* saveBlockFile(const CString& path, const T& source)
{
    CFileWriter writer;
    KEL_CHECK(writer.openReplacing(path));
    KEL_CHECK(source.writeBlock(writer));
    KEL_CHECK(writer.commit());
    return nullptr;
}
} // namespace

CPresetManager::CPresetManager() : bridge(this, &CPresetManager::onStoreChanged) {}

CPresetManager::~CPresetManager()
{
    bridge.detach();
    delete store;
}

void CPresetManager::registerClass(CClassInfo& info)
{
    CWindowDrag::registerClass(info);
    info.addEventProc<CPresetManager>("bank-add", &CPresetManager::onBankAdd);
    info.addEventProc<CPresetManager>("bank-delete", &CPresetManager::onBankDelete);
    info.addEventProc<CPresetManager>("bank-rename", &CPresetManager::onBankRename);
    info.addEventProc<CPresetManager>("bank-selected", &CPresetManager::onBankSelected);
    info.addEventProc<CPresetManager>("bank-load", &CPresetManager::onBankLoad);
    info.addEventProc<CPresetManager>("bank-save", &CPresetManager::onBankSave);
    info.addEventProc<CPresetManager>("preset-selected", &CPresetManager::onPresetSelected);
    info.addEventProc<CPresetManager>("preset-add", &CPresetManager::onPresetAdd);
    info.addEventProc<CPresetManager>("preset-delete", &CPresetManager::onPresetDelete);
    info.addEventProc<CPresetManager>("preset-replace", &CPresetManager::onPresetReplace);
    info.addEventProc<CPresetManager>("preset-rename", &CPresetManager::onPresetRename);
    info.addEventProc<CPresetManager>("preset-activate", &CPresetManager::onPresetActivate);
    info.addEventProc<CPresetManager>("bank-edit-name", &CPresetManager::onBankEditName);
    info.addEventProc<CPresetManager>("preset-edit-name", &CPresetManager::onPresetEditName);
    info.addEventProc<CPresetManager>("bank-name-edited", &CPresetManager::onBankNameEdited);
    info.addEventProc<CPresetManager>("preset-name-edited", &CPresetManager::onPresetNameEdited);
    info.addEventProc<CPresetManager>("preset-set-default", &CPresetManager::onPresetSetDefault);
    info.addEventProc<CPresetManager>("preset-load", &CPresetManager::onPresetLoad);
    info.addEventProc<CPresetManager>("preset-save", &CPresetManager::onPresetSave);
    info.addEventProc<CPresetManager>("preset-update", &CPresetManager::onPresetUpdate);
    info.addEventProc<CPresetManager>("shared-banks-update", &CPresetManager::onSharedBanksUpdate);
    info.addEventProc<CPresetManager>("on-bank-load", &CPresetManager::onBankLoadFile);
    info.addEventProc<CPresetManager>("on-bank-save", &CPresetManager::onBankSaveFile);
    info.addEventProc<CPresetManager>("on-preset-load", &CPresetManager::onPresetLoadFile);
    info.addEventProc<CPresetManager>("on-preset-save", &CPresetManager::onPresetSaveFile);
}

CError* CPresetManager::initChilds()
{
    KEL_CHECK(CWindowDrag::initChilds());
    const CString presetPath =
        getAttrString(CString("preset-list-path"), CString("c.presets.frame.list"));
    presetList = dynamic_cast<CTextView*>(findObject(CString(".") + presetPath));
    if (!presetList)
        return KEL_ERROR("@kelstr_CPresetManager_initChilds_NoPresetList No preset list view "
                         "found.");
    const CString bankPath =
        getAttrString(CString("bank-list-path"), CString("c.banks.frame.list"));
    bankList = dynamic_cast<CTextView*>(findObject(CString(".") + bankPath));
    bankItems = dynamic_cast<CValueList*>(findObject(CString(".bank-items")));
    presetItems = dynamic_cast<CValueList*>(findObject(CString(".preset-items")));
    if (bankList)
    {
        KEL_CHECK(listenObject(CString(".") + bankPath, CString("selected-paragraph-changed"),
                               CString("bank-selected")));
        KEL_CHECK(listenObject(CString(".") + bankPath, CString("editbox-text-changed"),
                               CString("bank-name-edited")));
    }
    KEL_CHECK(listenObject(CString(".") + presetPath, CString("editbox-text-changed"),
                           CString("preset-name-edited")));
    KEL_CHECK(listenObject(CString(".") + presetPath, CString("selected-paragraph-changed"),
                           CString("preset-selected")));
    KEL_CHECK(listenObject(CString(".") + presetPath, CString("paragraph-dbl-clicked"),
                           CString("preset-activate")));
    KEL_CHECK(
        listenObject(CString("."), CString("shared-banks-update"), CString("shared-banks-update")));

    const CString clientPath = getAttrString(CString("interface-client"), CString());
    if (!clientPath.isEmpty())
        client = dynamic_cast<CAudioInterfaceClient*>(findObject(clientPath));
    const CString controlPath = getAttrString(CString("plugin-control"), CString());
    if (!controlPath.isEmpty())
        pluginControl = dynamic_cast<CPluginControl*>(findObject(controlPath));
    // The audio side knows its registries by their own names.
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

    if (client)
    {
        // A client that is not connected yet keeps the subscription and sends it when it
        // connects.
        logFailure(client->addRegistryListener(this, registryName));
        isListening = true;
        KEL_CHECK(listenObject(clientPath, CString("clear"), CString("preset-update")));
    }
    KEL_CHECK(showBanks());
    return nullptr;
}

void CPresetManager::detachLinks()
{
    // The bridge first: after detach no writer on another thread reaches this object.
    bridge.detach();
    if (client && isListening)
    {
        logFailure(client->removeRegistryListener(this));
    }
    isListening = false;
    client = nullptr;
    pluginControl = nullptr;
    bankList = nullptr;
    presetList = nullptr;
    bankItems = nullptr;
    presetItems = nullptr;
    CWindowDrag::detachLinks();
}

void CPresetManager::onPresetList(int currentIndex, const CArray<CString>& names,
                                  const CString& /*currentName*/)
{
    sessionNames = names;
    sessionCurrent = currentIndex;
    // In the session bank the selection follows the current program.
    if (selectedBank == kSessionBank)
        selectedPreset = currentIndex;
    CAttrMap params;
    if (CError* error = callEventProc(CString("preset-update"), params))
        CSystem::showError(error);
}

CError* CPresetManager::onPresetUpdate(const CAttrMap& /*params*/)
{
    if (selectedBank == kSessionBank)
        KEL_CHECK(showPresets());
    return nullptr;
}

void CPresetManager::onStoreChanged()
{
    storeStale.store(true, std::memory_order_release);
    CAttrMap params;
    if (CError* error = sendEvent(CString("shared-banks-update"), params))
        CSystem::showError(error);
}

CError* CPresetManager::onSharedBanksUpdate(const CAttrMap& /*params*/)
{
    if (!store)
        return nullptr;
    storeStale.store(false, std::memory_order_relaxed);
    return reloadStore();
}

CError* CPresetManager::refreshIfStale()
{
    if (!store || !storeStale.exchange(false, std::memory_order_acq_rel))
        return nullptr;
    return reloadStore();
}

CError* CPresetManager::reloadStore()
{
    // The selection is what the user saw: found again by its names (the session bank when it
    // is gone), so that a change never lands on a bank or preset that moved into its place.
    const bool userBank = selectedBank >= kUserBanks;
    const CString bankName = userBank ? getBankName(selectedBank) : CString();
    CArray<CString> names;
    if (userBank)
        getPresetNames(selectedBank, names);
    const CString presetName = selectedPreset >= 0 && selectedPreset < names.getCount()
                                   ? names[selectedPreset]
                                   : CString();
    const int wasBank = selectedBank;
    const int wasPreset = selectedPreset;
    KEL_CHECK(store->read());
    if (userBank)
    {
        // Where it was when the names there are the same (names may repeat), else the first
        // place with them.
        selectedBank = getBankName(wasBank) == bankName ? wasBank : -1;
        for (int i = kUserBanks; i < getBankCount() && selectedBank < 0; ++i)
            if (getBankName(i) == bankName)
                selectedBank = i;
        names.clear();
        if (selectedBank >= 0)
            getPresetNames(selectedBank, names);
        else
            selectedBank = kSessionBank; // which takes no change of user banks
        if (presetName.isEmpty() || selectedBank == kSessionBank)
            selectedPreset = -1;
        else if (wasPreset >= names.getCount() || names[wasPreset] != presetName)
            selectedPreset = names.indexOf(presetName);
    }
    KEL_CHECK(showBanks());
    return nullptr;
}

int CPresetManager::getBankCount() const
{
    return kUserBanks + (store ? store->getCount() : 0);
}

CString CPresetManager::getBankName(int bank) const
{
    if (bank == kSessionBank)
        return CString(CAudioParamRegistry::kSessionBankName);
    if (bank == kFactoryBank)
        return CString(CAudioParamRegistry::kFactoryBankName);
    const CAudioPresetBank* user = store ? store->getBank(bank - kUserBanks) : nullptr;
    return user ? user->getName() : CString();
}

CAudioPresetBank* CPresetManager::findUserBank(int bank)
{
    return store && bank >= kUserBanks ? store->getBank(bank - kUserBanks) : nullptr;
}

CString CPresetManager::showableName(const CString& name)
{
    // Line breaks would split the item; an empty one leaves nothing to point at.
    bool showable = !name.isEmpty();
    for (int i = 0; showable && i < name.getLength(); ++i)
        showable = name.getUnit(i) >= 0x20;
    return showable ? name : CString(kUnshownName);
}

void CPresetManager::getPresetNames(int bank, CArray<CString>& out)
{
    out.clear();
    if (bank == kSessionBank)
    {
        for (const CString& sessionName : sessionNames)
            out.add(showableName(sessionName));
        return;
    }
    const CAudioPresetBank* source = bank == kFactoryBank ? &factoryBank : findUserBank(bank);
    if (bank == kFactoryBank)
        logFailure(ensureFactoryBank());
    if (!source)
        return;
    for (int i = 0; i < source->getCount(); ++i)
    {
        CString id;
        CString shortName;
        CAudioPreset::splitName(source->getPreset(i)->getName(), id, shortName);
        out.add(showableName(shortName));
    }
}

CError* CPresetManager::ensureFactoryBank()
{
    if (hasFactoryBank || !client)
        return nullptr;
    hasFactoryBank = true; // asked once, answered or not
    KEL_CHECK(client->acquireBank(registryName, true, false, factoryBank));
    return nullptr;
}

CError* CPresetManager::showBanks()
{
    const int count = getBankCount();
    if (selectedBank >= count)
        selectedBank = count - 1;
    if (bankItems)
    {
        CArray<CString> titles;
        CArray<double> values;
        for (int i = 0; i < count; ++i)
        {
            titles.add(showableName(getBankName(i)));
            values.add(static_cast<double>(i));
        }
        KEL_CHECK(bankItems->setItems(titles, values, false));
    }
    if (bankList && bankList->getSelectedParagraph() != selectedBank)
        KEL_CHECK(bankList->setAttr(CString("selected-paragraph"),
                                    CAttrValue(static_cast<int32_t>(selectedBank))));
    KEL_CHECK(showPresets());
    return nullptr;
}

CError* CPresetManager::showPresets()
{
    CArray<CString> names;
    getPresetNames(selectedBank, names);
    if (selectedPreset >= names.getCount())
        selectedPreset = names.getCount() - 1;
    if (presetItems)
    {
        CArray<double> values;
        for (int i = 0; i < names.getCount(); ++i)
            values.add(static_cast<double>(i));
        KEL_CHECK(presetItems->setItems(names, values, false));
    }
    if (presetList && presetList->getSelectedParagraph() != selectedPreset)
        KEL_CHECK(presetList->setAttr(CString("selected-paragraph"),
                                      CAttrValue(static_cast<int32_t>(selectedPreset))));
    return nullptr;
}

CError* CPresetManager::onBankSelected(const CAttrMap& params)
{
    const int bank = getParamInt(params, "index", -1);
    if (bank < 0 || bank >= getBankCount() || bank == selectedBank)
        return nullptr;
    selectedBank = bank;
    selectedPreset = bank == kSessionBank ? sessionCurrent : -1;
    KEL_CHECK(showPresets());
    return nullptr;
}

CError* CPresetManager::onPresetSelected(const CAttrMap& params)
{
    selectedPreset = getParamInt(params, "index", -1);
    return nullptr;
}

CString CPresetManager::uniqueName(const CString& base, const CArray<CString>& taken) const
{
    CString candidate = base;
    for (int n = 2; taken.indexOf(candidate) >= 0; ++n)
        candidate = base + CString(" ") + CString::fromInt(n);
    return candidate;
}

CError* CPresetManager::storeBanks()
{
    if (!store)
        return nullptr;
    // The bridge tells this instance too; it reads back what it wrote.
    KEL_CHECK(store->write());
    KEL_CHECK(showBanks());
    return nullptr;
}

CError* CPresetManager::onBankAdd(const CAttrMap& params)
{
    KEL_CHECK(refreshIfStale());
    if (!store)
        return nullptr;
    CArray<CString> taken;
    for (int i = 0; i < getBankCount(); ++i)
        taken.add(getBankName(i));
    const CAudioPresetBank bank(
        uniqueName(getAttrString(CString("defbankname"), CString("Bank")), taken));
    const bool insert = getParamBool(params, "is-insert") && selectedBank >= kUserBanks;
    const int at = insert ? selectedBank - kUserBanks : store->getCount();
    store->insertBank(at, bank);
    selectedBank = at + kUserBanks;
    selectedPreset = -1;
    KEL_CHECK(storeBanks());
    return nullptr;
}

CError* CPresetManager::onBankDelete(const CAttrMap& /*params*/)
{
    KEL_CHECK(refreshIfStale());
    // The built-in banks are not the user's to delete.
    if (!findUserBank(selectedBank))
        return nullptr;
    store->removeBank(selectedBank - kUserBanks);
    selectedPreset = -1;
    KEL_CHECK(storeBanks());
    return nullptr;
}

CError* CPresetManager::onBankRename(const CAttrMap& params)
{
    KEL_CHECK(refreshIfStale());
    CAudioPresetBank* bank = findUserBank(getParamInt(params, "index", selectedBank));
    if (!bank)
        return nullptr;
    bank->setName(showableName(paramString(params, "text")));
    KEL_CHECK(storeBanks());
    return nullptr;
}

CError* CPresetManager::acquireCurrent(CAudioPreset& out)
{
    if (!client)
        return nullptr;
    KEL_CHECK(client->acquirePreset(registryName, false, -1, -1, false, out));
    return nullptr;
}

CError* CPresetManager::onPresetAdd(const CAttrMap& params)
{
    KEL_CHECK(refreshIfStale());
    CAudioPresetBank* bank = findUserBank(selectedBank);
    if (!bank || !client)
        return nullptr;
    CAudioPreset preset;
    KEL_CHECK(acquireCurrent(preset));
    CString id;
    CString shortName;
    CAudioPreset::splitName(preset.getName(), id, shortName);
    CArray<CString> taken;
    getPresetNames(selectedBank, taken);
    preset.setName(CAudioPreset::joinName(
        id, uniqueName(getAttrString(CString("defpresetname"), CString("Preset")), taken)));
    // Appended, or inserted before the selected one.
    const bool insert = getParamBool(params, "is-insert") && selectedPreset >= 0;
    CAudioPresetBank updated(bank->getName());
    const int at = insert ? selectedPreset : bank->getCount();
    for (int i = 0; i <= bank->getCount(); ++i)
    {
        if (i == at)
            updated.addPreset(preset);
        if (i < bank->getCount())
            updated.addPreset(*bank->getPreset(i));
    }
    *bank = updated;
    selectedPreset = at;
    KEL_CHECK(storeBanks());
    return nullptr;
}

CError* CPresetManager::onPresetDelete(const CAttrMap& /*params*/)
{
    KEL_CHECK(refreshIfStale());
    CAudioPresetBank* bank = findUserBank(selectedBank);
    if (!bank || selectedPreset < 0 || selectedPreset >= bank->getCount())
        return nullptr;
    CAudioPresetBank updated(bank->getName());
    for (int i = 0; i < bank->getCount(); ++i)
    {
        if (i != selectedPreset)
            updated.addPreset(*bank->getPreset(i));
    }
    *bank = updated;
    KEL_CHECK(storeBanks());
    return nullptr;
}

CError* CPresetManager::onPresetReplace(const CAttrMap& /*params*/)
{
    KEL_CHECK(refreshIfStale());
    CAudioPresetBank* bank = findUserBank(selectedBank);
    CAudioPreset* target = bank ? bank->getPreset(selectedPreset) : nullptr;
    if (!target || !client)
        return nullptr;
    CAudioPreset preset;
    KEL_CHECK(acquireCurrent(preset));
    preset.setName(target->getName());
    *target = preset;
    KEL_CHECK(storeBanks());
    return nullptr;
}

CError* CPresetManager::onPresetRename(const CAttrMap& params)
{
    KEL_CHECK(refreshIfStale());
    const int index = getParamInt(params, "index", selectedPreset);
    const CString text = showableName(paramString(params, "text"));
    if (selectedBank == kSessionBank)
    {
        if (client && index >= 0 && index < sessionNames.getCount())
            KEL_CHECK(client->setPresetName(registryName, index, text));
        return nullptr;
    }
    CAudioPresetBank* bank = findUserBank(selectedBank);
    CAudioPreset* preset = bank ? bank->getPreset(index) : nullptr;
    if (!preset)
        return nullptr;
    CString id;
    CString shortName;
    CAudioPreset::splitName(preset->getName(), id, shortName);
    preset->setName(CAudioPreset::joinName(id, text));
    KEL_CHECK(storeBanks());
    return nullptr;
}

CError* CPresetManager::startRename(CTextView* list, int paragraph, const CString& current)
{
    if (!list || list->isEditing())
        return nullptr;
    // The list shows its value list, not its title: the title only gives the edit its start.
    KEL_CHECK(list->setAttr(CString("title"), CAttrValue(current)));
    KEL_CHECK(list->startEditing());
    CTextView* box = list->getEditBox();
    if (!box)
        return nullptr;
    renamedIndex = paragraph;
    // Over the paragraph's first line: the box overlays the list less its outer border, which
    // is given unscaled.
    CTextWrapper& wrapper = list->getWrapper();
    wrapper.layout();
    const CLinearBitmap::Rect area = list->getViewRect();
    const double scale = CUiScale::get() > 0.0 ? CUiScale::get() : 1.0;
    for (int i = 0; i < wrapper.getLineCount(); ++i)
    {
        const CTextWrapper::Line& line = wrapper.getLine(i);
        if (line.paragraph != paragraph)
            continue;
        const int below = area.bottom - area.top - line.top - wrapper.getLineHeight();
        const CString border = CString::format("0 T%d B%d", static_cast<int>(line.top / scale),
                                               static_cast<int>(below > 0 ? below / scale : 0));
        KEL_CHECK(box->setAttr(CString("outer-border"), CAttrValue(border)));
        break;
    }
    return nullptr;
}

CError* CPresetManager::onBankEditName(const CAttrMap& /*params*/)
{
    if (!findUserBank(selectedBank))
        return nullptr;
    return startRename(bankList, selectedBank, getBankName(selectedBank));
}

CError* CPresetManager::onPresetEditName(const CAttrMap& /*params*/)
{
    if (selectedBank == kFactoryBank || selectedPreset < 0)
        return nullptr;
    CArray<CString> names;
    getPresetNames(selectedBank, names);
    if (selectedPreset >= names.getCount())
        return nullptr;
    return startRename(presetList, selectedPreset, names[selectedPreset]);
}

CError* CPresetManager::onBankNameEdited(const CAttrMap& params)
{
    const int index = renamedIndex;
    renamedIndex = -1;
    if (getParamBool(params, "is-cancelled") || index < 0)
        return nullptr;
    CAttrMap rename;
    rename.set(CString("index"), CAttrValue(static_cast<int32_t>(index)));
    rename.set(CString("text"), CAttrValue(paramString(params, "text")));
    return onBankRename(rename);
}

CError* CPresetManager::onPresetNameEdited(const CAttrMap& params)
{
    const int index = renamedIndex;
    renamedIndex = -1;
    if (getParamBool(params, "is-cancelled") || index < 0)
        return nullptr;
    CAttrMap rename;
    rename.set(CString("index"), CAttrValue(static_cast<int32_t>(index)));
    rename.set(CString("text"), CAttrValue(paramString(params, "text")));
    return onPresetRename(rename);
}

CError* CPresetManager::onPresetActivate(const CAttrMap& params)
{
    const int index = getParamInt(params, "index", selectedPreset);
    if (!client || index < 0)
        return nullptr;
    if (selectedBank == kSessionBank)
    {
        if (index < sessionNames.getCount())
            KEL_CHECK(client->selectPreset(registryName, index));
        return nullptr;
    }
    if (selectedBank == kFactoryBank)
    {
        KEL_CHECK(client->activateROMPreset(registryName, index));
        return nullptr;
    }
    CAudioPresetBank* bank = findUserBank(selectedBank);
    const CAudioPreset* preset = bank ? bank->getPreset(index) : nullptr;
    if (preset)
        KEL_CHECK(client->activatePreset(registryName, -1, *preset));
    return nullptr;
}

CError* CPresetManager::copyPreset(int bank, int preset, CAudioPreset& out)
{
    if (bank == kSessionBank || bank == kFactoryBank)
    {
        if (!client)
            return nullptr;
        // The current program is asked for as such, so that it comes with the live values.
        const bool fromROM = bank == kFactoryBank;
        const int index = !fromROM && preset == sessionCurrent ? -1 : preset;
        KEL_CHECK(client->acquirePreset(registryName, fromROM, index, -1, false, out));
        return nullptr;
    }
    CAudioPresetBank* user = findUserBank(bank);
    const CAudioPreset* source = user ? user->getPreset(preset) : nullptr;
    if (source)
        out = *source;
    return nullptr;
}

CError* CPresetManager::copyBank(int bank, CAudioPresetBank& out)
{
    if (bank == kSessionBank || bank == kFactoryBank)
    {
        if (client)
            KEL_CHECK(client->acquireBank(registryName, bank == kFactoryBank, false, out));
        out.setName(getBankName(bank));
        return nullptr;
    }
    if (const CAudioPresetBank* user = findUserBank(bank))
        out = *user;
    return nullptr;
}

CError* CPresetManager::onPresetSetDefault(const CAttrMap& /*params*/)
{
    if (!pluginControl || selectedPreset < 0)
        return nullptr;
    CAudioPreset preset;
    KEL_CHECK(copyPreset(selectedBank, selectedPreset, preset));
    KEL_CHECK(pluginControl->setDefaultPreset(preset));
    return nullptr;
}

// ---- files ----

CError* CPresetManager::requestFile(const char* mode, const char* extension, const char* filter,
                                    const CString& proposed, const char* resultEvent)
{
    CAttrMap params;
    params.set(CString("mode"), CAttrValue(mode));
    params.set(CString("extension"), CAttrValue(extension));
    params.set(CString("filter-name"), CAttrValue(filter));
    CString filename = getAttrString(CString("filename-prefix"), CString());
    filename.append(proposed);
    params.set(CString("filename-prefix"), CAttrValue(filename));
    params.set(CString("result-event"), CAttrValue(resultEvent));
    params.set(CString("result-target"), CAttrValue(getFullName()));
    KEL_CHECK(runCommands(CString("file-dialog"), params));
    KEL_CHECK(sendEvent(CString("file-dialog"), params));
    return nullptr;
}

CError* CPresetManager::onBankLoad(const CAttrMap& /*params*/)
{
    return requestFile("load", "cbf", "Compressed bank files", CString(), "on-bank-load");
}

CError* CPresetManager::onBankSave(const CAttrMap& /*params*/)
{
    return requestFile("save", "cbf", "Compressed bank files", getBankName(selectedBank),
                       "on-bank-save");
}

CError* CPresetManager::onPresetLoad(const CAttrMap& /*params*/)
{
    return requestFile("load", "cpf", "Compressed preset files", CString(), "on-preset-load");
}

CError* CPresetManager::onPresetSave(const CAttrMap& /*params*/)
{
    CArray<CString> names;
    getPresetNames(selectedBank, names);
    const CString proposed = selectedPreset >= 0 && selectedPreset < names.getCount()
                                 ? names[selectedPreset]
                                 : CString();
    return requestFile("save", "cpf", "Compressed preset files", proposed, "on-preset-save");
}

CError* CPresetManager::reportFileError(const char* errorEvent, CError* error)
{
    CAttrMap params;
    params.set(CString("message"), CAttrValue(takeMessage(error)));
    KEL_CHECK(runCommands(CString(errorEvent), params));
    KEL_CHECK(sendEvent(CString(errorEvent), params));
    return nullptr;
}

CError* CPresetManager::onBankLoadFile(const CAttrMap& params)
{
    KEL_CHECK(refreshIfStale());
    if (!store)
        return nullptr;
    CAudioPresetBank bank;
    if (CError* error = bank.loadFile(paramString(params, "path")))
        return reportFileError("error-bank-load", error);
    // Below the selected bank, or first of the user's when a built-in one is selected.
    const int at = selectedBank >= kUserBanks ? selectedBank - kUserBanks + 1 : 0;
    store->insertBank(at, bank);
    selectedBank = at + kUserBanks;
    selectedPreset = -1;
    KEL_CHECK(storeBanks());
    return nullptr;
}

CError* CPresetManager::onBankSaveFile(const CAttrMap& params)
{
    CAudioPresetBank bank;
    CError* error = copyBank(selectedBank, bank);
    if (!error)
        error = saveBlockFile(paramString(params, "path"), bank);
    return error ? reportFileError("error-bank-save", error) : nullptr;
}

CError* CPresetManager::onPresetLoadFile(const CAttrMap& params)
{
    KEL_CHECK(refreshIfStale());
    const CString path = paramString(params, "path");
    CAudioPreset preset;
    if (CError* error = preset.loadFile(path))
    {
        // A bank file where a preset was asked for is told as such.
        CAudioPresetBank bank;
        if (CError* bankError = bank.loadFile(path))
        {
            delete bankError;
            return reportFileError("error-preset-load", error);
        }
        return reportFileError("error-preset-type", error);
    }
    CAudioPresetBank* bank = findUserBank(selectedBank);
    if (!bank)
    {
        // Into the current program.
        if (!client)
            return nullptr;
        KEL_CHECK(client->activatePreset(registryName, -1, preset));
        CString id;
        CString shortName;
        CAudioPreset::splitName(preset.getName(), id, shortName);
        KEL_CHECK(client->setPresetName(registryName, sessionCurrent, shortName));
        return nullptr;
    }
    const int at = selectedPreset >= 0 ? selectedPreset + 1 : bank->getCount();
    CAudioPresetBank updated(bank->getName());
    for (int i = 0; i <= bank->getCount(); ++i)
    {
        if (i == at)
            updated.addPreset(preset);
        if (i < bank->getCount())
            updated.addPreset(*bank->getPreset(i));
    }
    *bank = updated;
    selectedPreset = at;
    KEL_CHECK(storeBanks());
    return nullptr;
}

CError* CPresetManager::onPresetSaveFile(const CAttrMap& params)
{
    if (selectedPreset < 0)
        return nullptr;
    CAudioPreset preset;
    CError* error = copyPreset(selectedBank, selectedPreset, preset);
    if (!error)
        error = saveBlockFile(paramString(params, "path"), preset);
    return error ? reportFileError("error-preset-save", error) : nullptr;
}

} // namespace kel
