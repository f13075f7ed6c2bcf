#pragma once

#include "Audio/CAudioInterfaceRegistryListener.h"
#include "Audio/CAudioPresetBank.h"
#include "Core/CApplicationDataBridge.h"
#include "UI/Controls/CWindowDrag.h"

#include <atomic>

namespace kel
{

class CAudioInterfaceClient;
class CAudioPreset;
class CAudioPresetBankStore;
class CPluginControl;
class CTextView;
class CValueList;
class CPresetManager;

using CPresetManagerListBridge = CApplicationDataBridge<CPresetManager>;

// The window in which the user manages banks of presets (tag ui:preset-manager, the root of the
// template ui:win-preset-manager). Left the banks, right the presets of the selected bank. The
// first two banks are built in: "Session Bank", the host's programs of this instance (renamed
// in place, activated by selecting the program), and "Factory ROM", read-only. The banks after
// them are the user's, kept in the product's data store under `store-name` and shared with every
// instance in the process: a write by any of them reaches the others through the store's bridge
// (shared-banks-update), and the lists show it at once.
//
// The lists are text views at `bank-list-path` and `preset-list-path` (paths below this view)
// over the value lists ".bank-items" and ".preset-items", which the manager fills. Selecting a
// bank refills the preset list; a double click on a preset activates it.
//
// A right click on a name renames it in the list's edit box (bank-edit-name, preset-edit-name
// from the lists' commands); the built-in banks' names and the factory presets refuse.
//
// Events, mostly from the buttons (those that destroy something come after a confirmation
// window): bank-add (`is-insert`: before the selected bank rather than at the end),
// bank-delete, bank-rename (`index`, `text`), preset-add (the current state, named from
// `defpresetname`), preset-delete, preset-replace, preset-rename, preset-activate (`index`, the
// selected preset without it), preset-set-default (handed to the CPluginControl at
// `plugin-control`). bank-load, bank-save, preset-load and preset-save raise `file-dialog` with
// `mode` ("load", "save"), `extension` ("cbf", "cpf"), `filter-name`, `filename-prefix` (the
// proposed name), `result-event` and `result-target` (this view), which the template's command
// passes on to ui:win-file-dialog; the dialog answers with that event (on-bank-load ...) carrying
// `path`. A failed file operation raises error-bank-load,
// error-bank-save, error-preset-load, error-preset-save or error-preset-type (a file of the other
// kind) with `message`, shown by the template's commands of that event; it changes nothing.
//
// Owned by the tree as a window root; the client, the plug-in control and the lists are not
// owned; the bank store and the bridge are. [ui thread; the bridge's handler: the writer's]
class CPresetManager : public CWindowDrag, public CAudioInterfaceRegistryListener
{
public:
    // Positions of the built-in banks in the bank list; the user's banks follow.
    static constexpr int kSessionBank = 0;
    static constexpr int kFactoryBank = 1;
    static constexpr int kUserBanks = 2;

    CPresetManager();
    ~CPresetManager() override;

    static void registerClass(CClassInfo& info);
    [[nodiscard]] CError* initChilds() override;
    void detachLinks() override;

    void onPresetList(int currentIndex, const CArray<CString>& names,
                      const CString& currentName) override;

    int getSelectedBank() const { return selectedBank; }
    int getSelectedPreset() const { return selectedPreset; }
    int getBankCount() const;
    CString getBankName(int bank) const;
    // Short names of the presets of a bank as the list shows them.
    void getPresetNames(int bank, CArray<CString>& out);
    const CAudioPresetBankStore* getStore() const { return store; }

    // What a list shows for a name it cannot show.
    static constexpr const char* kUnshownName = "(n/a) ";
    // The name as the lists show it.
    static CString showableName(const CString& name);

private:
    [[nodiscard]] CError* onBankAdd(const CAttrMap& params);
    [[nodiscard]] CError* onBankDelete(const CAttrMap& params);
    [[nodiscard]] CError* onBankRename(const CAttrMap& params);
    [[nodiscard]] CError* onBankSelected(const CAttrMap& params);
    [[nodiscard]] CError* onPresetSelected(const CAttrMap& params);
    [[nodiscard]] CError* onPresetAdd(const CAttrMap& params);
    [[nodiscard]] CError* onPresetDelete(const CAttrMap& params);
    [[nodiscard]] CError* onPresetReplace(const CAttrMap& params);
    [[nodiscard]] CError* onPresetRename(const CAttrMap& params);
    [[nodiscard]] CError* onBankEditName(const CAttrMap& params);
    [[nodiscard]] CError* onPresetEditName(const CAttrMap& params);
    [[nodiscard]] CError* onBankNameEdited(const CAttrMap& params);
    [[nodiscard]] CError* onPresetNameEdited(const CAttrMap& params);
    [[nodiscard]] CError* onPresetActivate(const CAttrMap& params);
    [[nodiscard]] CError* onPresetSetDefault(const CAttrMap& params);
    [[nodiscard]] CError* onSharedBanksUpdate(const CAttrMap& params);
    [[nodiscard]] CError* onPresetUpdate(const CAttrMap& params);
    [[nodiscard]] CError* onBankLoad(const CAttrMap& params);
    [[nodiscard]] CError* onBankSave(const CAttrMap& params);
    [[nodiscard]] CError* onPresetLoad(const CAttrMap& params);
    [[nodiscard]] CError* onPresetSave(const CAttrMap& params);
    [[nodiscard]] CError* onBankLoadFile(const CAttrMap& params);
    [[nodiscard]] CError* onBankSaveFile(const CAttrMap& params);
    [[nodiscard]] CError* onPresetLoadFile(const CAttrMap& params);
    [[nodiscard]] CError* onPresetSaveFile(const CAttrMap& params);

    // Opens the list's edit box over its paragraph, starting from current.
    [[nodiscard]] CError* startRename(CTextView* list, int paragraph, const CString& current);
    // The bridge's handler: another write of the store item.
    void onStoreChanged();
    // The user bank of a bank list position, or null for a built-in one.
    CAudioPresetBank* findUserBank(int bank);
    // The factory bank, asked of the audio side the first time.
    [[nodiscard]] CError* ensureFactoryBank();
    // A copy of a whole bank (the session's refreshed from the live state).
    [[nodiscard]] CError* copyBank(int bank, CAudioPresetBank& out);
    // A copy of one preset of a bank.
    [[nodiscard]] CError* copyPreset(int bank, int preset, CAudioPreset& out);
    // The live state as a preset, its name's id kept.
    [[nodiscard]] CError* acquireCurrent(CAudioPreset& out);
    // Every change of the user banks starts here: when another write of the item came since
    // this copy was read (its notice may still be on its way), the copy is read again, so that
    // the change is made on what is stored now and nothing another instance wrote is lost.
    [[nodiscard]] CError* refreshIfStale();
    // Reads the copy again and shows it, the selection found again by its names.
    [[nodiscard]] CError* reloadStore();
    // Stores the user banks and shows them.
    [[nodiscard]] CError* storeBanks();
    // Fills both lists from the data; selections are kept within range.
    [[nodiscard]] CError* showBanks();
    [[nodiscard]] CError* showPresets();
    // The file dialog request of a button.
    [[nodiscard]] CError* requestFile(const char* mode, const char* extension, const char* filter,
                                      const CString& proposed, const char* resultEvent);
    // A failed file operation: raises errorEvent with the message; the error is consumed.
    [[nodiscard]] CError* reportFileError(const char* errorEvent, CError* error);
    CString uniqueName(const CString& base, const CArray<CString>& taken) const;

    CAudioInterfaceClient* client = nullptr; // not owned; cleared in detachLinks
    CPluginControl* pluginControl = nullptr; // not owned; cleared in detachLinks
    CTextView* bankList = nullptr;           // not owned; cleared in detachLinks
    CTextView* presetList = nullptr;         // not owned; cleared in detachLinks
    CValueList* bankItems = nullptr;         // a child; cleared in detachLinks
    CValueList* presetItems = nullptr;       // a child; cleared in detachLinks
    CAudioPresetBankStore* store = nullptr;  // owned
    CPresetManagerListBridge bridge;
    std::atomic<bool> storeStale{false}; // set by the bridge, on the writer's thread
    CString registryName;
    bool isListening = false;

    CArray<CString> sessionNames;
    int sessionCurrent = 0;
    CAudioPresetBank factoryBank;
    bool hasFactoryBank = false;
    int selectedBank = kSessionBank;
    int selectedPreset = -1;
    int renamedIndex = -1; // the paragraph whose edit box is open
};

} // namespace kel
