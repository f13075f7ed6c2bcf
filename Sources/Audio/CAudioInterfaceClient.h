#pragma once

#include "Audio/CAudioInterfaceParamListener.h"
#include "Audio/CAudioParamInfo.h"
#include "Core/CArray.h"
#include "Core/CByteBuffer.h"
#include "Core/CIntMap.h"
#include "Core/CObject.h"
#include "Core/CString.h"

#include <cstddef>
#include <cstdint>

namespace kel
{

class CAudioInterfaceClientConnector;
class CAudioInterfaceRegistryListener;
class CAudioInterfaceVizProcessor;
class CAudioPreset;
class CAudioPresetBank;
class CMemoryReader;
class CMemoryWriteBuffer;
struct CAudioParamChange;

// The UI-side end of the interface to a plug-in instance (tag audio:interface-client). Views
// never touch the audio side: they ask the client, which sends a message for each request and
// returns at once, and they hear back through the listeners they registered (parameters,
// registries, visual data) and through the client's events: `undo-history-changed` (position,
// count, labels one per line), `clear`, `update-internal-channel-count` and `update-group-count`
// (count), `update-io-channel-counts` (inputs, outputs, side-chain), `update-sample-rate`
// (sample-rate). acquirePreset and acquireBank are the only calls that wait for an answer.
//
// Attributes `client-connector` (the connector it sends through and is the client of) and
// `group-names-param` (the parameter whose texts name the groups, kept here). The UI tree owns
// the client; listeners and the connector are not owned. detachLinks unsubscribes everything and
// leaves the connector. [ui thread]
class CAudioInterfaceClient : public CObject
{
public:
    // Keeps the group names: item n of group 0 of the names parameter names group n.
    // [ui thread]
    class CGroupNamesParamListener : public CCheckedObject, public CAudioInterfaceParamListener
    {
    public:
        void onParamInfo(const CAudioParamInfo& info) override;
        void onParamChange(const CAudioParamChange& change) override;

        int getCount() const { return names.getCount(); }
        // Empty beyond the names known.
        CString getName(int group) const;

    private:
        CArray<CString> names;
    };

    CAudioInterfaceClient();
    ~CAudioInterfaceClient() override;

    static void registerClass(CClassInfo& info);
    // Resolves `client-connector` and registers the group-names listener (sent with
    // subscribeAll once connected).
    [[nodiscard]] CError* init() override;
    void detachLinks() override;

    CAudioInterfaceClientConnector* getConnector() const { return connector; }
    // Not owned; also makes this the connector's client (null leaves it).
    void setConnector(CAudioInterfaceClientConnector* clientConnector);
    // Sends the subscriptions of every registered listener again (after connecting, or after
    // the audio side cleared), and asks for the history again when it is watched.
    [[nodiscard]] CError* subscribeAll();

    // ---- undo (0 to 4) ----

    // Record ids start at 1; 0 means no record wherever one is named.
    [[nodiscard]] CError* openUndoRecord(const CString& label, bool isMergeable, int32_t mergeId,
                                         int32_t& outRecordId);
    [[nodiscard]] CError* dropUndoRecord(int32_t recordId);
    [[nodiscard]] CError* closeUndoRecord(int32_t recordId, const CString& label);
    // The history comes as 30 now and after every change of it.
    [[nodiscard]] CError* requestUndoHistory();
    // The history is asked for at each subscribeAll from now on: for a watcher that may come
    // before the client is connected.
    void watchUndoHistory() { historyWatched = true; }
    [[nodiscard]] CError* moveUndoHistory(int position);
    void getUndoHistory(CArray<CString>& outLabels, int& outPosition) const;

    // ---- parameters (5 to 8) ----

    // Registers the listener (not owned) for a parameter's full name and subscribes; it stays
    // registered if sending fails. A listener registered already is moved to the new name.
    [[nodiscard]] CError* addParamListener(CAudioInterfaceParamListener* listener,
                                           const CString& paramName);
    [[nodiscard]] CError* removeParamListener(CAudioInterfaceParamListener* listener);
    void getParamListeners(CArray<CAudioInterfaceParamListener*>& out) const;
    // The definition last received for the listener's parameter; null before it arrives.
    const CAudioParamInfo* getParamInfo(const CAudioInterfaceParamListener* listener) const;
    // Sends the change (recordId 0: no undo record); the client's other listeners of the same
    // parameter hear it at once, as the audio side does not echo a client's own changes.
    [[nodiscard]] CError* setParamValues(CAudioInterfaceParamListener* listener,
                                         const CAudioParamChange& change, int32_t recordId = 0);
    [[nodiscard]] CError* setParamValue(CAudioInterfaceParamListener* listener, int group, int item,
                                        double value, int32_t recordId = 0);
    [[nodiscard]] CError* resetParam(CAudioInterfaceParamListener* listener, int group, int item,
                                     int32_t recordId = 0);

    // ---- registries (9 to 20); registries are named by object name ("param-registry") ----

    [[nodiscard]] CError* addRegistryListener(CAudioInterfaceRegistryListener* listener,
                                              const CString& registryName);
    [[nodiscard]] CError* removeRegistryListener(CAudioInterfaceRegistryListener* listener);
    [[nodiscard]] CError* selectPreset(const CString& registryName, int index);
    [[nodiscard]] CError* setPresetName(const CString& registryName, int index,
                                        const CString& presetName);
    [[nodiscard]] CError* activateROMPreset(const CString& registryName, int index);
    [[nodiscard]] CError* activatePreset(const CString& registryName, int group,
                                         const CAudioPreset& preset);
    // Wait for the answer (39) by handling the connector's queue; the audio side's error comes
    // back as "Preset not available: %1". [blocks for at most kAnswerTimeoutMs]
    [[nodiscard]] CError* acquirePreset(const CString& registryName, bool fromROM, int index,
                                        int group, bool withPersistent, CAudioPreset& out);
    [[nodiscard]] CError* acquireBank(const CString& registryName, bool fromROM,
                                      bool withPersistent, CAudioPresetBank& out);
    [[nodiscard]] CError* loadDefaultPreset(const CString& registryName,
                                            const CAudioPreset& preset);
    [[nodiscard]] CError* resetMaster(const CString& registryName);
    [[nodiscard]] CError* swapCompare(const CString& registryName);
    [[nodiscard]] CError* copyToCompare(const CString& registryName);

    // ---- visual data (21 to 24) ----

    // Not owned; null: visual answers are dropped.
    void setVizProcessor(CAudioInterfaceVizProcessor* processor) { vizProcessor = processor; }
    [[nodiscard]] CError* subscribeViz(const CString& slotName, int32_t option, int32_t& outId);
    [[nodiscard]] CError* unsubscribeViz(int32_t id);
    [[nodiscard]] CError* requestVizSlots(int32_t& outRequestId);
    [[nodiscard]] CError* requestVizInfo(int32_t id);

    // ---- the instance's state (25 to 29) ----

    [[nodiscard]] CError* requestInternalChannelCount();
    [[nodiscard]] CError* requestGroupCount();
    [[nodiscard]] CError* requestIOChannelCounts();
    [[nodiscard]] CError* requestSampleRate();
    [[nodiscard]] CError* callInstance();
    // As last told; defaults until then.
    double getSampleRate() const { return sampleRateHz; }
    int getGroupCount() const { return groupCount; }
    int getInternalChannelCount() const { return internalChannelCount; }
    void getIOChannelCounts(int& outInputs, int& outOutputs, int& outSideChain) const;

    // ---- from the connector ----

    // Handles one message of the audio side (30 to 41). [ui thread, from the connector]
    [[nodiscard]] CError* processBaseData(const void* data, size_t bytes);

    static constexpr int kAnswerTimeoutMs = 5000;

protected:
    // Message 34: the audio side dropped its state. Forgets definitions, history and visual
    // state and raises `clear`. [ui thread]
    [[nodiscard]] virtual CError* onClear();

private:
    struct CParamSubscription;
    struct CRegistrySubscription;
    struct CPendingAnswer;

    [[nodiscard]] CError* send(const CMemoryWriteBuffer& message);
    // A message of just a type and one integer.
    [[nodiscard]] CError* sendIdMessage(int32_t type, int32_t id);
    // A registry message of just a type, the name and up to one integer.
    [[nodiscard]] CError* sendRegistryMessage(int32_t type, const CString& registryName);
    [[nodiscard]] CError* sendRegistryIndex(int32_t type, const CString& registryName, int index);
    [[nodiscard]] CError* sendPresetBytes(int32_t type, const CString& registryName, int group,
                                          const CAudioPreset& preset);
    // Sends the request and handles the connector's queue until its answer came.
    [[nodiscard]] CError* acquire(CMemoryWriteBuffer& request, int32_t requestId,
                                  CByteBuffer& outBytes);
    int32_t findParamId(const CAudioInterfaceParamListener* listener) const;
    int32_t findRegistryId(const CAudioInterfaceRegistryListener* listener) const;
    int32_t takeId() { return nextId++; }

    [[nodiscard]] CError* onHistory(CMemoryReader& in);
    [[nodiscard]] CError* onParamInfoMessage(CMemoryReader& in);
    [[nodiscard]] CError* onParamChangeMessage(CMemoryReader& in);
    [[nodiscard]] CError* onPresetListMessage(CMemoryReader& in);
    [[nodiscard]] CError* onStateMessage(int32_t type, CMemoryReader& in);
    [[nodiscard]] CError* onPresetData(CMemoryReader& in);
    [[nodiscard]] CError* onVizMessage(int32_t type, CMemoryReader& in);

    // Not owned; cleared in detachLinks.
    CAudioInterfaceClientConnector* connector = nullptr;
    CAudioInterfaceVizProcessor* vizProcessor = nullptr;

    int32_t nextId = 1;
    CIntMap<CParamSubscription*> params;        // owned
    CIntMap<CRegistrySubscription*> registries; // owned
    CArray<CPendingAnswer*, 2> pendingAnswers;  // on the waiting callers' stacks
    CGroupNamesParamListener groupNames;

    CArray<CString> historyLabels;
    int historyPosition = 0;
    bool historyWatched = false;
    double sampleRateHz = 44100.0;
    int groupCount = 1;
    int internalChannelCount = 2;
    int inputCount = 2;
    int outputCount = 2;
    int sideChainCount = 0;
};

} // namespace kel
