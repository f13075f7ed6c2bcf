#pragma once

#include "Audio/CAudioParamListener.h"
#include "Audio/CAudioParamRegistry.h"
#include "Audio/CAudioParamUndo.h"
#include "Core/CArray.h"
#include "Core/CBridge.h"
#include "Core/CIntMap.h"
#include "Core/CString.h"
#include "Core/Platform/CLock.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kel
{

class CAudioInterfaceBaseConnector;
class CAudioInterfaceClientSink;
class CAudioParam;
class CAudioVizCollector;
class CMemoryReader;
class CMemoryWriteBuffer;
class COutputStream;

// The audio-side end of the interface between an instance and its user interfaces (tag
// audio:interface-base). The UI side never calls the instance: its client sends numbered
// messages, the base connector parses them and calls the operations below, and whatever the base
// has to tell goes back as messages through the connector's sendToClient. Clients are known by
// the 32-bit id their connector gave them; each has its own parameter and registry
// subscriptions, open undo records and visual streams here, dropped when it leaves.
//
// The base is also the instance's undo history (it derives from CAudioParamUndo, attributes
// `undo-count-max` and `param-collector`) and so the registries' undo sink; every change of the
// history is sent (30) to the clients that asked for it. Attributes `base-connector` (set up to
// send through it) and `viz-collector` (the visual pacing, optional).
//
// The instance's tree owns it; it owns its listeners and open records. Connector, collector, viz
// collector and the registries its listeners follow are not owned and are let go in detachLinks.
// Lock order: base connector, the undo lock, registry, parameter. The client table has its own
// short lock for list work, never held across a call. The audio thread only gives the block's
// time stamp. [the base connector's thread for client operations; updates and the history: any
// thread; setBlockTimeStamp: audio thread]
class CAudioInterfaceBase : public CAudioParamUndo
{
public:
    // Sends a client the changes of one parameter it subscribed to (31 on a change of
    // definition, 32 otherwise), except those the client made itself. A change of a few reals
    // goes straight into the client's queue (the connector's sink) from a buffer on the stack:
    // no lock and no allocation, since the setter may be a host's audio thread. Owned by the
    // base. [any thread; the setter's, under the parameter's lock]
    class CParamListener : public CCheckedObject, public CAudioParamListener
    {
    public:
        // sink: the client's queue, or null for the connector's road.
        CParamListener(CAudioInterfaceBase& owner, const void* clientOrigin, int32_t client,
                       int32_t listenerId, CAudioParam& followed, CAudioInterfaceClientSink* sink);

        void onParamChange(CAudioParam& param, const CAudioParamChange& change,
                           CAudioParamContext& context, const CAudioParam::CGuard& held) override;
        // Message 31 with the definition as it is now.
        void sendInfo(const CAudioParam::CGuard& held);
        CAudioParam& getParam() const { return param; }

    private:
        CAudioInterfaceBase& base;
        const void* origin;
        int32_t clientId;
        int32_t id;
        CAudioParam& param;
        CAudioInterfaceClientSink* clientSink;
    };

    // Sends a client a registry's preset list (33) after each change of the session's names or
    // current slot. Owned by the base; the registry is not owned. [the registry operation's
    // thread; no registry lock held]
    class CRegistryListener : public CCheckedObject, public CAudioParamRegistry::CListener
    {
    public:
        // lookupName: the object name the client gave, by which the base checks that the
        // registry still exists before it lets go.
        CRegistryListener(CAudioInterfaceBase& owner, int32_t client, int32_t listenerId,
                          CAudioParamRegistry& followed, const CString& lookupName);

        void onRegistryChanged(CAudioParamRegistry& registry, const void* origin) override;
        // Message 33 with the list as it is now.
        void sendPresetList();
        CAudioParamRegistry& getRegistry() const { return registry; }
        const CString& getLookupName() const { return name; }

    private:
        CAudioInterfaceBase& base;
        int32_t clientId;
        int32_t id;
        CAudioParamRegistry& registry;
        CString name;
    };

    // One visual stream a client subscribed to by slot name (21): when the slot's exporter
    // renames it, the client is sent the visual info again (41). This product exports no slot,
    // so nothing notifies it yet. Owned by the base. [any thread; the exporter's]
    class CExportSlotNameListener : public CBridge
    {
    public:
        CExportSlotNameListener(CAudioInterfaceBase& owner, int32_t client, int32_t listenerId,
                                const CString& name, int32_t streamOption);

        void onBridgeNotify() override;
        const CString& getSlotName() const { return slotName; }
        int32_t getOption() const { return option; }

    private:
        CAudioInterfaceBase& base;
        int32_t clientId;
        int32_t id;
        CString slotName;
        int32_t option;
    };

    // What message 29 reaches: the plug-in instance. [ui thread: the client's calls come through
    // the base connector]
    class CInstanceHook
    {
    public:
        virtual ~CInstanceHook() = default;
        virtual void onInterfaceCall() = 0;
    };

    CAudioInterfaceBase();
    ~CAudioInterfaceBase() override;

    static void registerClass(CClassInfo& info);
    // Reads the undo attributes, resolves `base-connector` (and becomes its base) and
    // `viz-collector`.
    [[nodiscard]] CError* init() override;
    // Sends every client 34 (clear), drops their state and leaves the connector.
    void detachLinks() override;

    CAudioInterfaceBaseConnector* getConnector() const { return connector.load(); }
    // Not owned; for a base made outside a tree. Also makes this the connector's base.
    void setConnector(CAudioInterfaceBaseConnector* baseConnector);
    CAudioVizCollector* getVizCollector() const { return vizCollector; }
    // Not owned; null: message 29 does nothing.
    void setInstanceHook(CInstanceHook* hook) { instanceHook = hook; }

    // ---- to the clients ----

    // Hands a message to the connector for one client; dropped without a connector.
    // [any thread]
    void sendClientData(int32_t clientId, const void* data, size_t bytes);
    // The instance's state changed: stored for later questions (25 to 28) and sent to every
    // known client under id 0. [any thread but the audio thread]
    void updateSampleRate(double rateHz);
    void updateIOChannelCounts(int inputs, int outputs, int sideChain);
    void updateGroupCount(int count);
    void updateInternalChannelCount(int count);
    // The block's time stamp (the instance's clock, seconds). No lock, no allocation.
    // [audio thread]
    void setBlockTimeStamp(double timeStampSec);

    // ---- client operations (the connector, under its processing lock) ----

    // A client arrives or leaves; leaving drops its subscriptions, records and streams.
    void addClient(int32_t clientId);
    void removeClient(int32_t clientId);
    int getClientCount() const;

    void openRecord(int32_t clientId, int32_t recordId, const CString& label, bool isMergeable,
                    int32_t mergeId);
    void dropRecord(int32_t clientId, int32_t recordId);
    // The record goes to the history under label; an unknown id does nothing.
    void closeRecord(int32_t clientId, int32_t recordId, const CString& label);
    // Remembers id for the history messages of this client and sends 30 at once.
    void requestHistory(int32_t clientId, int32_t id);

    // Creates the listener, sends 31 and one 32 per group. An id in use is replaced.
    [[nodiscard]] CError* subscribeParam(int32_t clientId, const CString& paramName, int32_t id);
    void unsubscribeParam(int32_t clientId, int32_t id);
    // Reads a change record (writeChange's form) into the parameter's layout and applies it
    // through the setter as one batch, with the client as origin and the open record recordId
    // (0 or unknown: none). An unknown id is ignored, after the record was read over.
    [[nodiscard]] CError* setParamValues(int32_t clientId, int32_t id, int32_t recordId,
                                         CMemoryReader& stream);
    void resetParam(int32_t clientId, int32_t id, int group, int item, int32_t recordId);

    // The registry of that object name beside the base, or null.
    CAudioParamRegistry* findRegistry(const CString& registryName) const;
    // Follows the registry of that name for the client under id and sends 33 at once.
    void subscribeRegistry(int32_t clientId, CAudioParamRegistry& registry,
                           const CString& registryName, int32_t id);
    void unsubscribeRegistry(int32_t clientId, int32_t id);
    // What a registry operation names as its origin for this client.
    const void* getClientOrigin(int32_t clientId) const;

    void subscribeViz(int32_t clientId, int32_t id, const CString& slotName, int32_t option);
    void unsubscribeViz(int32_t clientId, int32_t id);
    // 40: the slot names (none in this product); 41: frame rate and slot count.
    void sendVizSlots(int32_t clientId, int32_t requestId);
    void sendVizInfo(int32_t clientId, int32_t id);
    // Answers 25 to 28 (type) with 35 to 38 under id.
    void sendState(int32_t clientId, int32_t type, int32_t id);
    void callInstance();

protected:
    // Sends 30 to every client that asked. [any thread; the setter's]
    void onHistoryChanged() override;

private:
    class COpenRecord;
    struct CClientState;

    CClientState* findClient(int32_t clientId) const;
    CClientState* findOrAddClient(int32_t clientId);
    // Removes and deletes everything the client holds; the client itself stays.
    void dropClientState(CClientState& client);
    void dropParamListener(CParamListener* listener);
    void dropRegistryListener(CRegistryListener* listener);
    void sendHistory(int32_t clientId, int32_t id);
    // Sends a written message, or reports the error that writing it gave.
    void sendOrReport(int32_t clientId, const CMemoryWriteBuffer& message, CError* error);
    // The ids of every known client, copied under the client lock.
    void copyClientIds(CArray<int32_t, 8>& out) const;
    void sendStateToAll(int32_t type);
    [[nodiscard]] CError* writeState(COutputStream& stream, int32_t type, int32_t id) const;

    // Not owned; cleared in detachLinks.
    std::atomic<CAudioInterfaceBaseConnector*> connector{nullptr};
    CAudioVizCollector* vizCollector = nullptr;
    CInstanceHook* instanceHook = nullptr;

    // Guards the client table (not the clients' contents, which the connector's thread
    // changes): list work only.
    mutable CLock clientLock;
    CIntMap<CClientState*> clients; // owned

    // The instance's state as last updated.
    std::atomic<double> sampleRateHz{44100.0};
    std::atomic<int> inputCount{2};
    std::atomic<int> outputCount{2};
    std::atomic<int> sideChainCount{0};
    std::atomic<int> groupCount{1};
    std::atomic<int> internalChannelCount{2};
    std::atomic<double> blockTimeStampSec{0.0};
};

} // namespace kel
