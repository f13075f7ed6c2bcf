#pragma once

#include "Audio/CAudioParamClaimer.h"
#include "Audio/CAudioParamRegistryLink.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBank.h"
#include "Core/CArray.h"
#include "Core/CBridgeBase.h"
#include "Core/CObject.h"
#include "Core/CString.h"
#include "Core/CStringMap.h"
#include "Core/Platform/CLock.h"

namespace kel
{

class CAudioParam;
class CAudioParamCollector;
class CAudioParamContext;
class CAudioParamRecorder;
class CAudioParamRegistryNameBridge;
class CInputStream;
class COutputStream;

// A named view on the parameters below one path of the instance (`hierarchy`), with presets and
// banks on top (tag audio:param-registry). The registry claims the collector's parameters whose
// names begin with its hierarchy; a parameter's key in a preset is its full name without it
// ("modZumbelModule.gain"). A master registry (one per instance) keeps the factory bank, read
// from the resource `file`, and the session bank, the host's programs, with one current slot; a
// non-master registry (routing presets) only applies and acquires presets. Preset names are
// "id:name" and only presets of the registry's `id` are taken.
//
// The instance's tree owns the registry; the registry owns its banks, the compare preset, the
// saved undo histories and its name bridge. The collector, the undo sink and the two parameters it
// resolves are not owned and are cleared in detachLinks. The interface base is the only caller of
// the operations below.
//
// Locks, outermost first: the undo sink's lock, the registry lock (banks, current index, compare
// slot, histories), the claimed-parameter lock (map of claimed parameters, taken briefly and
// never across a call to the collector), the parameter locks one at a time. The undo sink is only
// called with the registry lock released, listeners likewise. The audio thread takes none.
// [any thread; takes the registry lock]
class CAudioParamRegistry : public CObject,
                            public CBridgeBase,
                            public CAudioParamClaimer,
                            public CAudioParamRegistryLink
{
public:
    // What the registry needs of the undo history (the interface base implements it): records
    // that collect the changes of one registry action, and the history that each session slot
    // and the compare slot keep while another is in front. [any thread]
    class CUndoSink
    {
    public:
        // A history detached from the sink; owned by whoever holds it.
        class CHistory
        {
        public:
            virtual ~CHistory() = default;
            virtual CHistory* clone() const = 0;
        };

        virtual ~CUndoSink() = default;
        // A new, empty record with that label, owned by the caller until addUndoRecord. Takes no
        // lock (the registry lock may be held).
        virtual CAudioParamRecorder* createUndoRecord(const CString& label) = 0;
        // Takes ownership; an empty record is dropped. Called with no registry or parameter lock.
        virtual void addUndoRecord(CAudioParamRecorder* record) = 0;
        // Hands out the current history (null when there is none); the sink then has none.
        virtual CHistory* detachHistory() = 0;
        // Takes ownership of history (null: none) as the current one and announces the change.
        virtual void attachHistory(CHistory* history) = 0;
        // A copy of the current history, or null.
        virtual CHistory* copyHistory() const = 0;
        virtual void clearHistory() = 0;
        // True when undo is kept outside (by the host); name changes then make no record.
        virtual bool isExternalUndo() const { return false; }
    };

    // Told when the session's names or the current slot changed, with the origin the operation
    // named. Called with no registry lock held, on the thread of the operation; it must queue
    // rather than touch the UI. [any thread; the operation's caller]
    class CListener
    {
    public:
        virtual ~CListener() = default;
        virtual void onRegistryChanged(CAudioParamRegistry& registry, const void* origin) = 0;
    };

    // Names of the banks of a master registry.
    static constexpr const char* kFactoryBankName = "Factory ROM";
    static constexpr const char* kSessionBankName = "Session Bank";
    // The global application-data item whose preset replaces session preset 0.
    static constexpr const char* kDefaultPresetItem = "default-preset";

    CAudioParamRegistry();
    ~CAudioParamRegistry() override;

    static void registerClass(CClassInfo& info);
    // Reads the attributes, resolves collector, undo sink and the name parameters, claims, and
    // fills the banks (factory bank, session bank, ":Default", the user's default preset). A bank
    // or default preset that cannot be read is reported and left out; init goes on.
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    // ---- attributes ----

    CAudioParamCollector* getCollector() const { return collector; }
    // Not owned; the tree's `param-undo` object unless set here (tests, a sink made elsewhere).
    void setUndoSink(CUndoSink* sink) { undoSink = sink; }

    // ---- presets ----

    // Reads a preset payload and applies it: to all groups (group -1) or to one group. Entries
    // of parameters that are not storable are skipped (persistent ones are taken from the host,
    // isHost), parameters the preset lacks return to their defaults. One undo record ("Master
    // preset activate", "Routing preset activate (Front)"). A preset of another id changes
    // nothing: "Incompatible preset.".
    [[nodiscard]] CError* activatePreset(CInputStream& stream, bool isHost, int group);
    // Reads a bank payload into the session bank, slot by slot up to the session's size, and
    // applies the current slot when the bank covers it. A preset of another id changes nothing.
    // [master]
    [[nodiscard]] CError* activateBank(CInputStream& stream, bool isHost);
    // Writes a preset payload: a factory preset (fromROM), a session preset (index -1: the
    // current one, refreshed from the live values first), or of a non-master registry the live
    // values of group (-1: all groups).
    [[nodiscard]] CError* acquirePreset(bool fromROM, int index, int group, COutputStream& stream,
                                        bool withPersistent);
    // Writes a bank payload: the factory bank, or the session bank with the current slot
    // refreshed. [master]
    [[nodiscard]] CError* acquirePreset(bool fromROM, COutputStream& stream, bool withPersistent);
    // Applies factory preset index ("ROM preset activate"); an index outside the bank does
    // nothing. [master]
    [[nodiscard]] CError* activateROMPreset(int index);
    // Renames a session preset; the current one also through the preset-name parameter, with an
    // undo record "Program name change".
    void setPresetName(int index, const CString& shortName, const void* origin);
    // Makes session slot index the current one: the live values go to the old slot, the new
    // slot's values are applied, and each slot keeps its own undo history. [master]
    [[nodiscard]] CError* selectPreset(int index, const void* origin);
    // Names without the id: of a session preset (empty outside the bank), of the current one,
    // and of a whole bank with the current index (-1 for the factory bank).
    CString getPresetName(int index) const;
    CString getCurrentPresetName() const;
    void getPresetNames(bool fromROM, CArray<CString>& outList, int& outCurrent) const;
    int getCurrentIndex() const;
    int getSessionCount() const;
    // Copies of the banks. [tests, the preset manager]
    void copyBank(bool fromROM, CAudioPresetBank& out) const;

    // Every storable parameter back to its defaults ("Master reset").
    void resetMaster();
    // The A/B compare: the live state and the compare slot change places, with their histories.
    [[nodiscard]] CError* swapCompare();
    // The live state becomes the compare slot; nothing audible changes.
    void copyToCompare();
    // Reads a preset and makes its values the parameters' defaults; live values stay.
    [[nodiscard]] CError* loadDefaultPreset(CInputStream& stream);

    // For a routing preset: true when it uses mid-side pairs (any ms-pairs value not 0, asked
    // with msPairs) or the side chain (a sidechain map other than 0 1 2 ..., or any muted
    // side-chain channel, asked with sidechain). A pure function of the preset.
    static bool usesRoutingFeatures(const CAudioPreset& preset, bool msPairs, bool sidechain);

    // ---- listeners ----

    // Not owned; remove before it ends.
    void addListener(CListener* listener);
    void removeListener(CListener* listener);

    // ---- interfaces ----

    bool isEnumeratedClaimer() const override { return enumerated; }
    // Claims a name strictly longer than the hierarchy that begins with it. Only queues it.
    bool claimParam(CAudioParam& param) override;
    // A selector parameter of an enumerated registry would drive it; no parameter of this
    // product is linked, so nothing happens.
    void onLinkedParamChange(CAudioParam& param, const CAudioParamChange& change,
                             CAudioParamContext& context) override;

    // The preset-name parameter was edited by someone else (the user typing): "id:text" becomes
    // the current session preset's name. [any thread; no parameter lock held]
    void onPresetNameEdited(const CString& shortName);

private:
    friend class CAudioParamRegistryNameBridge;

    struct CClaimedParam
    {
        CString key;
        CAudioParam* param;
    };
    // What an operation has to do once the registry lock is released.
    struct CAfterLock
    {
        CAudioParamRecorder* record = nullptr;
        CAudioParamRecorder* renameRecord = nullptr;
        bool notify = false;
        const void* origin = nullptr;
    };

    // ---- claimed parameters ----
    // Folds the queued claims into the map; under claimLock.
    void foldClaimsLocked();
    CAudioParam* findClaimed(const CString& key);
    // The parameter of key, asking the collector to create it when it is not claimed yet.
    CAudioParam* findOrCreateClaimed(const CString& key);
    void getClaimed(CArray<CClaimedParam>& out);

    // ---- under the registry lock ----
    [[nodiscard]] CError* applyLocked(const CAudioPreset& preset, bool toDefaults,
                                      CAudioParamContext& context, bool isHost, int group,
                                      int item);
    [[nodiscard]] CError* acquireLocked(CAudioPreset& out, bool takeName, bool withPersistent,
                                        int group);
    void publishLocked(const CString& presetName, bool isRename, bool session, bool parameter,
                       const void* origin, CAudioParamRecorder* record, int group,
                       CAfterLock& after);
    CAudioPreset* currentSessionPresetLocked();
    void dropSlotHistoriesLocked();

    // Hands records to the undo sink and tells the listeners.
    void finish(CAfterLock& after);
    CAudioParamRecorder* createRecord(const CString& label);
    CString makeGroupLabel(int group) const;
    [[nodiscard]] CError* checkId(const CAudioPreset& preset, bool isBank) const;
    void readUserDefaultPreset();
    void readStoredBank();

    // Attributes.
    CString hierarchy;
    bool master = false;
    bool enumerated = false;
    CString presetId;
    CString presetNaming;
    CString bankFile;
    CString storeName;

    // Not owned; cleared in detachLinks.
    CAudioParamCollector* collector = nullptr;
    CUndoSink* undoSink = nullptr;
    CAudioParam* presetNameParam = nullptr;
    CAudioParam* groupNamesParam = nullptr;
    CAudioParamRegistryNameBridge* nameBridge = nullptr; // owned

    mutable CLock registryLock;
    CAudioPresetBank factoryBank;
    CAudioPresetBank sessionBank;
    int currentIndex = 0;
    CAudioPreset* comparePreset = nullptr;         // owned
    CUndoSink::CHistory* compareHistory = nullptr; // owned
    CArray<CUndoSink::CHistory*> slotHistories;    // owned, one per session slot
    CAudioPresetBank storedBank;

    mutable CLock claimLock;
    CStringMap<CAudioParam*> claimed;
    CArray<CAudioParam*> pendingClaims;

    mutable CLock listenerLock;
    CArray<CListener*, 4> listeners;
};

} // namespace kel
