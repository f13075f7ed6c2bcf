#include "Audio/CAudioInterfaceBase.h"

#include "Audio/CAudioInterfaceBaseConnector.h"
#include "Audio/CAudioInterfaceClientSink.h"
#include "Audio/CAudioInterfaceMessage.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamGesture.h"
#include "Audio/CAudioParamRecorder.h"
#include "Audio/CAudioParamUndoRecord.h"
#include "Audio/CAudioVizCollector.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CSystem.h"

namespace kel
{

namespace
{
// Messages to clients are small; a list of presets is the largest.
constexpr size_t kMessageGrowthBytes = 256;
} // namespace

// An undo record a client opened (message 0) and fills with the changes of one gesture (7, 8)
// until it closes it (2). It keeps, per parameter and group, the state before the first change
// and after the last one, so that a knob drag of hundreds of values becomes one compact entry,
// and the history's record is only made at the close, under the label the client gives then.
// [ui thread: the client's calls; under the parameter's lock while recording]
class CAudioInterfaceBase::COpenRecord : public CCheckedObject, public CAudioParamRecorder
{
public:
    COpenRecord(const CString& openLabel, bool isMergeable, int32_t recordMergeId)
        : label(openLabel), mergeable(isMergeable), mergeId(recordMergeId)
    {
    }
    ~COpenRecord() override
    {
        for (CEntry* entry : entries)
            delete entry;
    }
    COpenRecord(const COpenRecord&) = delete;
    COpenRecord& operator=(const COpenRecord&) = delete;

    // The host parameters this gesture moved; ended when the record closes or is dropped.
    CAudioParamGesture& getGesture() { return gesture; }

    void recordBefore(const CAudioParam& param, const CAudioParamChange& change,
                      const CAudioParamStorage& values) override
    {
        pending = nullptr;
        for (CEntry* entry : entries)
        {
            if (entry->param == &param && entry->group == change.group)
                pending = entry;
        }
        if (pending)
            return;
        pending = new CEntry();
        pending->param = &param;
        pending->group = change.group;
        pending->firstItem = change.firstItem;
        pending->itemCount = change.itemCount;
        pending->before = values;
        entries.add(pending);
    }
    void recordAfter(const CAudioParam& param, const CAudioParamChange& change,
                     const CAudioParamStorage& values) override
    {
        if (!pending || pending->param != &param || pending->group != change.group)
            return;
        pending->after = values;
        pending->hasAfter = true;
        pending = nullptr;
    }

    // The history's record of the gesture; an empty label keeps the one given at the opening.
    CAudioParamUndoRecord* finish(const CAudioParamUndo& undo, const CString& finalLabel) const
    {
        CAudioParamUndoRecord* record =
            undo.createRecord(finalLabel.isEmpty() ? label : finalLabel, mergeable, mergeId);
        for (const CEntry* entry : entries)
        {
            if (!entry->hasAfter)
                continue;
            CAudioParamChange change;
            change.group = entry->group;
            change.firstItem = entry->firstItem;
            change.itemCount = entry->itemCount;
            record->recordBefore(*entry->param, change, entry->before);
            record->recordAfter(*entry->param, change, entry->after);
        }
        return record;
    }

private:
    // Whole storages: the history's record takes the touched group and the group count.
    struct CEntry : public CCheckedObject
    {
        const CAudioParam* param = nullptr;
        int group = 0;
        int firstItem = 0;
        int itemCount = 0;
        CAudioParamStorage before;
        CAudioParamStorage after;
        bool hasAfter = false;
    };

    CString label;
    bool mergeable;
    int32_t mergeId;
    CArray<CEntry*> entries;
    CEntry* pending = nullptr;
    CAudioParamGesture gesture;
};

// What the base holds for one client. The maps change on the connector's thread only;
// historyId is also read by other threads, under the client lock.
struct CAudioInterfaceBase::CClientState : public CCheckedObject
{
    explicit CClientState(int32_t client) : clientId(client) {}

    int32_t clientId;
    int32_t historyId = -1; // -1: the client did not ask
    CIntMap<CParamListener*> params;
    CIntMap<CRegistryListener*> registries;
    CIntMap<CExportSlotNameListener*> vizStreams;
    CIntMap<COpenRecord*> records;
};

// ---- CParamListener ----

CAudioInterfaceBase::CParamListener::CParamListener(CAudioInterfaceBase& owner,
                                                    const void* clientOrigin, int32_t client,
                                                    int32_t listenerId, CAudioParam& followed,
                                                    CAudioInterfaceClientSink* sink)
    : base(owner), origin(clientOrigin), clientId(client), id(listenerId), param(followed),
      clientSink(sink)
{
}

void CAudioInterfaceBase::CParamListener::onParamChange(CAudioParam&,
                                                        const CAudioParamChange& change,
                                                        CAudioParamContext& context,
                                                        const CAudioParam::CGuard& held)
{
    if (change.group == CAudioParamChange::kDefinitionGroup)
    {
        sendInfo(held);
        return;
    }
    // The client that made the change has it already.
    if (context.origin == origin)
        return;
    const CAudioParamInfo& info = param.getInfo(held);
    if (clientSink)
    {
        uint8_t bytes[CAudioInterfaceClientSink::kInPlaceBytes];
        const size_t size = CAudioInterfaceMessage::writeParamChange(
            bytes, sizeof(bytes), id, change, info.getElementSize(), info.getDataType());
        if (size > 0)
        {
            // A full queue drops it; the client asks for its state again.
            (void)clientSink->queueBaseData(bytes, size);
            return;
        }
    }
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    CError* error = message.writeInt32(CAudioInterfaceMessage::kParamChange);
    if (!error)
        error = message.writeInt32(id);
    if (!error)
        error = CAudioInterfaceMessage::writeChange(message, change, info.getElementSize(),
                                                    info.getDataType());
    base.sendOrReport(clientId, message, error);
}

void CAudioInterfaceBase::CParamListener::sendInfo(const CAudioParam::CGuard& held)
{
    // An unbound parameter has no definition to tell; its binding sends one.
    if (!param.getInfo(held).isValid())
        return;
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    CError* error = message.writeInt32(CAudioInterfaceMessage::kParamInfo);
    if (!error)
        error = message.writeInt32(id);
    if (!error)
        error = param.getInfo(held).save(message);
    base.sendOrReport(clientId, message, error);
}

// ---- CRegistryListener ----

CAudioInterfaceBase::CRegistryListener::CRegistryListener(CAudioInterfaceBase& owner,
                                                          int32_t client, int32_t listenerId,
                                                          CAudioParamRegistry& followed,
                                                          const CString& lookupName)
    : base(owner), clientId(client), id(listenerId), registry(followed), name(lookupName)
{
}

void CAudioInterfaceBase::CRegistryListener::onRegistryChanged(CAudioParamRegistry&, const void*)
{
    // Every client gets the list, its originator too: the list shows the result of its action.
    sendPresetList();
}

void CAudioInterfaceBase::CRegistryListener::sendPresetList()
{
    CArray<CString> names;
    int current = 0;
    registry.getPresetNames(false, names, current);
    const CString currentName = registry.getCurrentPresetName();
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    CError* error = message.writeInt32(CAudioInterfaceMessage::kPresetList);
    if (!error)
        error = message.writeInt32(id);
    if (!error)
        error = message.writeInt32(current);
    if (!error)
        error = CAudioInterfaceMessage::writeStringList(message, names);
    if (!error)
        error = message.writeString(currentName);
    base.sendOrReport(clientId, message, error);
}

// ---- CExportSlotNameListener ----

CAudioInterfaceBase::CExportSlotNameListener::CExportSlotNameListener(CAudioInterfaceBase& owner,
                                                                      int32_t client,
                                                                      int32_t listenerId,
                                                                      const CString& name,
                                                                      int32_t streamOption)
    : base(owner), clientId(client), id(listenerId), slotName(name), option(streamOption)
{
}

void CAudioInterfaceBase::CExportSlotNameListener::onBridgeNotify()
{
    base.sendVizInfo(clientId, id);
}

// ---- the base ----

CAudioInterfaceBase::CAudioInterfaceBase() = default;

CAudioInterfaceBase::~CAudioInterfaceBase()
{
    // detachLinks has emptied the table when the tree ended the object; a base made outside a
    // tree may still hold clients.
    for (auto& [clientId, client] : clients)
    {
        (void)clientId;
        dropClientState(*client);
        delete client;
    }
}

void CAudioInterfaceBase::registerClass(CClassInfo& info)
{
    CAudioParamUndo::registerClass(info);
}

CError* CAudioInterfaceBase::init()
{
    KEL_CHECK(CAudioParamUndo::init());
    const CString vizPath = getAttrString("viz-collector", CString());
    if (!vizPath.isEmpty() && !vizCollector)
        KEL_CHECK(findObjectChecked(vizPath, vizCollector));
    const CString connectorPath = getAttrString("base-connector", CString());
    if (!connectorPath.isEmpty() && !connector.load())
    {
        CAudioInterfaceBaseConnector* found = nullptr;
        KEL_CHECK(findObjectChecked(connectorPath, found));
        setConnector(found);
    }
    return nullptr;
}

void CAudioInterfaceBase::detachLinks()
{
    if (connector.load())
    {
        CArray<int32_t, 8> ids;
        copyClientIds(ids);
        const int32_t clear = CAudioInterfaceMessage::kClear;
        for (int32_t clientId : ids)
            sendClientData(clientId, &clear, sizeof(clear));
        // Waits for a message under way; none reaches this object afterwards.
        setConnector(nullptr);
    }
    CIntMap<CClientState*> leaving;
    {
        CLockGuard guard(clientLock);
        leaving = clients;
        clients.clear();
    }
    for (auto& [clientId, client] : leaving)
    {
        (void)clientId;
        dropClientState(*client);
        delete client;
    }
    vizCollector = nullptr;
    instanceHook = nullptr;
    CAudioParamUndo::detachLinks();
}

void CAudioInterfaceBase::setConnector(CAudioInterfaceBaseConnector* baseConnector)
{
    CAudioInterfaceBaseConnector* previous = connector.exchange(baseConnector);
    if (previous && previous != baseConnector && previous->getBase() == this)
        previous->setBase(nullptr);
    if (baseConnector)
        baseConnector->setBase(this);
}

// ---- to the clients ----

void CAudioInterfaceBase::sendOrReport(int32_t clientId, const CMemoryWriteBuffer& message,
                                       CError* error)
{
    // A message that could not be written (out of memory): the client misses it, the audio
    // side is not affected.
    if (error)
    {
        CSystem::showError(error);
        return;
    }
    sendClientData(clientId, message.getData(), message.getSize());
}

void CAudioInterfaceBase::sendClientData(int32_t clientId, const void* data, size_t bytes)
{
    if (CAudioInterfaceBaseConnector* current = connector.load())
        current->sendToClient(clientId, data, bytes);
}

void CAudioInterfaceBase::updateSampleRate(double rateHz)
{
    sampleRateHz.store(rateHz);
    sendStateToAll(CAudioInterfaceMessage::kGetSampleRate);
}

void CAudioInterfaceBase::updateIOChannelCounts(int inputs, int outputs, int sideChain)
{
    inputCount.store(inputs);
    outputCount.store(outputs);
    sideChainCount.store(sideChain);
    sendStateToAll(CAudioInterfaceMessage::kGetIOChannelCounts);
}

void CAudioInterfaceBase::updateGroupCount(int count)
{
    groupCount.store(count);
    sendStateToAll(CAudioInterfaceMessage::kGetGroupCount);
}

void CAudioInterfaceBase::updateInternalChannelCount(int count)
{
    internalChannelCount.store(count);
    sendStateToAll(CAudioInterfaceMessage::kGetInternalChannelCount);
}

void CAudioInterfaceBase::setBlockTimeStamp(double timeStampSec)
{
    blockTimeStampSec.store(timeStampSec, std::memory_order_relaxed);
}

void CAudioInterfaceBase::sendStateToAll(int32_t type)
{
    CArray<int32_t, 8> ids;
    copyClientIds(ids);
    for (int32_t clientId : ids)
        sendState(clientId, type, 0);
}

void CAudioInterfaceBase::sendState(int32_t clientId, int32_t type, int32_t id)
{
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    sendOrReport(clientId, message, writeState(message, type, id));
}

CError* CAudioInterfaceBase::writeState(COutputStream& stream, int32_t type, int32_t id) const
{
    // 25 to 28 are answered by 35 to 38.
    KEL_CHECK(stream.writeInt32(type + (CAudioInterfaceMessage::kInternalChannelCount -
                                        CAudioInterfaceMessage::kGetInternalChannelCount)));
    KEL_CHECK(stream.writeInt32(id));
    switch (type)
    {
    case CAudioInterfaceMessage::kGetInternalChannelCount:
        KEL_CHECK(stream.writeInt32(internalChannelCount.load()));
        break;
    case CAudioInterfaceMessage::kGetGroupCount:
        KEL_CHECK(stream.writeInt32(groupCount.load()));
        break;
    case CAudioInterfaceMessage::kGetIOChannelCounts:
        KEL_CHECK(stream.writeInt32(inputCount.load()));
        KEL_CHECK(stream.writeInt32(outputCount.load()));
        KEL_CHECK(stream.writeInt32(sideChainCount.load()));
        break;
    default:
        KEL_CHECK(stream.writeDouble(sampleRateHz.load()));
        break;
    }
    return nullptr;
}

void CAudioInterfaceBase::onHistoryChanged()
{
    struct CAsked
    {
        int32_t clientId;
        int32_t historyId;
    };
    CArray<CAsked, 8> asked;
    {
        CLockGuard guard(clientLock);
        for (const auto& [clientId, client] : clients)
        {
            if (client->historyId >= 0)
                asked.add(CAsked{clientId, client->historyId});
        }
    }
    for (const CAsked& entry : asked)
        sendHistory(entry.clientId, entry.historyId);
}

void CAudioInterfaceBase::sendHistory(int32_t clientId, int32_t id)
{
    CArray<CString> labels;
    int cursor = 0;
    getHistoryNames(labels, cursor);
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    CError* error = message.writeInt32(CAudioInterfaceMessage::kHistory);
    if (!error)
        error = message.writeInt32(id);
    if (!error)
        error = message.writeInt32(cursor);
    if (!error)
        error = CAudioInterfaceMessage::writeStringList(message, labels);
    sendOrReport(clientId, message, error);
}

// ---- clients ----

void CAudioInterfaceBase::copyClientIds(CArray<int32_t, 8>& out) const
{
    CLockGuard guard(clientLock);
    for (const auto& [clientId, client] : clients)
    {
        (void)client;
        out.add(clientId);
    }
}

CAudioInterfaceBase::CClientState* CAudioInterfaceBase::findClient(int32_t clientId) const
{
    CLockGuard guard(clientLock);
    CClientState* const* found = clients.find(clientId);
    return found ? *found : nullptr;
}

CAudioInterfaceBase::CClientState* CAudioInterfaceBase::findOrAddClient(int32_t clientId)
{
    CLockGuard guard(clientLock);
    CClientState*& filed = clients[clientId];
    if (!filed)
        filed = new CClientState(clientId);
    return filed;
}

void CAudioInterfaceBase::addClient(int32_t clientId)
{
    (void)findOrAddClient(clientId);
}

void CAudioInterfaceBase::removeClient(int32_t clientId)
{
    CClientState* leaving = nullptr;
    {
        CLockGuard guard(clientLock);
        CClientState* const* found = clients.find(clientId);
        if (!found)
            return;
        leaving = *found;
        clients.erase(clientId);
    }
    // An editor that goes in the middle of a gesture ends it: the host must not keep a
    // parameter touched.
    for (auto& [id, record] : leaving->records)
    {
        (void)id;
        record->getGesture().end();
    }
    dropClientState(*leaving);
    delete leaving;
}

int CAudioInterfaceBase::getClientCount() const
{
    CLockGuard guard(clientLock);
    return clients.getCount();
}

const void* CAudioInterfaceBase::getClientOrigin(int32_t clientId) const
{
    return findClient(clientId);
}

void CAudioInterfaceBase::dropClientState(CClientState& client)
{
    for (auto& [id, listener] : client.params)
    {
        (void)id;
        dropParamListener(listener);
    }
    client.params.clear();
    for (auto& [id, listener] : client.registries)
    {
        (void)id;
        dropRegistryListener(listener);
    }
    client.registries.clear();
    for (auto& [id, stream] : client.vizStreams)
    {
        (void)id;
        delete stream;
    }
    client.vizStreams.clear();
    for (auto& [id, record] : client.records)
    {
        (void)id;
        delete record;
    }
    client.records.clear();
}

void CAudioInterfaceBase::dropParamListener(CParamListener* listener)
{
    // Waits for a setter under way: afterwards the parameter no longer calls the listener.
    listener->getParam().removeListener(listener);
    delete listener;
}

void CAudioInterfaceBase::dropRegistryListener(CRegistryListener* listener)
{
    // The instance's tree ends the registries (later siblings) before the base: one that is gone
    // must not be touched.
    if (findRegistry(listener->getLookupName()) == &listener->getRegistry())
        listener->getRegistry().removeListener(listener);
    delete listener;
}

// ---- undo records ----

void CAudioInterfaceBase::openRecord(int32_t clientId, int32_t recordId, const CString& label,
                                     bool isMergeable, int32_t mergeId)
{
    CClientState* client = findOrAddClient(clientId);
    // 0 means no record in the messages that name one.
    if (recordId == 0)
        return;
    COpenRecord*& filed = client->records[recordId];
    if (filed)
        filed->getGesture().end();
    delete filed;
    filed = new COpenRecord(label, isMergeable, mergeId);
}

void CAudioInterfaceBase::dropRecord(int32_t clientId, int32_t recordId)
{
    CClientState* client = findClient(clientId);
    COpenRecord* const* found = client ? client->records.find(recordId) : nullptr;
    if (!found)
        return;
    COpenRecord* open = *found;
    client->records.erase(recordId);
    open->getGesture().end();
    delete open;
}

void CAudioInterfaceBase::closeRecord(int32_t clientId, int32_t recordId, const CString& label)
{
    CClientState* client = findClient(clientId);
    COpenRecord* const* found = client ? client->records.find(recordId) : nullptr;
    if (!found)
        return;
    COpenRecord* open = *found;
    client->records.erase(recordId);
    open->getGesture().end();
    CAudioParamUndoRecord* record = open->finish(*this, label);
    delete open;
    // No parameter lock is held here; an empty record is dropped by the history.
    addRecord(record);
}

void CAudioInterfaceBase::requestHistory(int32_t clientId, int32_t id)
{
    CClientState* client = findOrAddClient(clientId);
    {
        CLockGuard guard(clientLock);
        client->historyId = id;
    }
    sendHistory(clientId, id);
}

// ---- parameters ----

CError* CAudioInterfaceBase::subscribeParam(int32_t clientId, const CString& paramName, int32_t id)
{
    CAudioParamCollector* paramCollector = getCollector();
    if (!paramCollector)
        return KEL_ERROR("@kelstr_CAudioInterfaceBase_subscribeParam_NoCollector No parameter "
                         "collector defined.");
    // A parameter not bound yet is made unbound: its definition reaches the client as 31 when
    // it is bound.
    CAudioParam* param = paramCollector->getParam(paramName);
    if (!param)
        return KEL_ERROR("@kelstr_CAudioInterfaceBase_subscribeParam_NoMemory Out of memory.");
    unsubscribeParam(clientId, id);
    CClientState* client = findOrAddClient(clientId);
    CAudioInterfaceBaseConnector* current = connector.load();
    auto* listener = new CParamListener(*this, client, clientId, id, *param,
                                        current ? current->getClientSink(clientId) : nullptr);
    client->params.set(id, listener);
    // Nobody's origin: the first changes go to the subscriber too.
    CAudioParamContext context;
    CAudioParam::CGuard held(*param, &context);
    listener->sendInfo(held);
    param->addListener(listener, context, &held);
    return nullptr;
}

void CAudioInterfaceBase::unsubscribeParam(int32_t clientId, int32_t id)
{
    CClientState* client = findClient(clientId);
    CParamListener* const* found = client ? client->params.find(id) : nullptr;
    if (!found)
        return;
    CParamListener* listener = *found;
    client->params.erase(id);
    dropParamListener(listener);
}

CError* CAudioInterfaceBase::setParamValues(int32_t clientId, int32_t id, int32_t recordId,
                                            CMemoryReader& stream)
{
    CClientState* client = findClient(clientId);
    CParamListener* const* found = client ? client->params.find(id) : nullptr;
    CAudioParamCollector* paramCollector = getCollector();
    if (!found || !paramCollector)
        return nullptr;
    CAudioParam& param = (*found)->getParam();
    COpenRecord* const* open = client->records.find(recordId);

    // One batch per message, so that the audio side takes the change whole; committed once the
    // context and the guard have ended.
    CAudioParamCollector::CBatch batch(*paramCollector);
    CError* error = nullptr;
    {
        CAudioParamContext context(client, open ? *open : nullptr);
        context.queue = &batch;
        context.gesture = open ? &(*open)->getGesture() : nullptr;
        // The layout is read and the change applied under one hold of the lock, so that a new
        // definition cannot come between them.
        CAudioParam::CGuard held(param, &context);
        const CAudioParamInfo& info = param.getInfo(held);
        CAudioParamStorage values(info.getElementSize(), info.getDataType());
        CAudioParamChange change;
        error = CAudioInterfaceMessage::readChange(stream, values, change);
        if (!error)
            param.setValues(change, context, &held);
    }
    paramCollector->commitChanges(batch);
    KEL_CHECK(error);
    return nullptr;
}

void CAudioInterfaceBase::resetParam(int32_t clientId, int32_t id, int group, int item,
                                     int32_t recordId)
{
    CClientState* client = findClient(clientId);
    CParamListener* const* found = client ? client->params.find(id) : nullptr;
    CAudioParamCollector* paramCollector = getCollector();
    if (!found || !paramCollector)
        return;
    CAudioParam& param = (*found)->getParam();
    COpenRecord* const* open = client->records.find(recordId);
    CAudioParamCollector::CBatch batch(*paramCollector);
    {
        CAudioParamContext context(client, open ? *open : nullptr);
        context.queue = &batch;
        context.gesture = open ? &(*open)->getGesture() : nullptr;
        param.resetToDefaults(group, item, context);
    }
    paramCollector->commitChanges(batch);
}

// ---- registries ----

CAudioParamRegistry* CAudioInterfaceBase::findRegistry(const CString& registryName) const
{
    // Registries are named by their object name beside the base ("param-registry").
    if (registryName.isEmpty())
        return nullptr;
    return dynamic_cast<CAudioParamRegistry*>(findObject(CString("^") + registryName));
}

void CAudioInterfaceBase::subscribeRegistry(int32_t clientId, CAudioParamRegistry& registry,
                                            const CString& registryName, int32_t id)
{
    unsubscribeRegistry(clientId, id);
    CClientState* client = findOrAddClient(clientId);
    auto* listener = new CRegistryListener(*this, clientId, id, registry, registryName);
    client->registries.set(id, listener);
    registry.addListener(listener);
    listener->sendPresetList();
}

void CAudioInterfaceBase::unsubscribeRegistry(int32_t clientId, int32_t id)
{
    CClientState* client = findClient(clientId);
    CRegistryListener* const* found = client ? client->registries.find(id) : nullptr;
    if (!found)
        return;
    CRegistryListener* listener = *found;
    client->registries.erase(id);
    dropRegistryListener(listener);
}

// ---- visual data ----

void CAudioInterfaceBase::subscribeViz(int32_t clientId, int32_t id, const CString& slotName,
                                       int32_t option)
{
    CClientState* client = findOrAddClient(clientId);
    CExportSlotNameListener*& filed = client->vizStreams[id];
    delete filed;
    filed = new CExportSlotNameListener(*this, clientId, id, slotName, option);
}

void CAudioInterfaceBase::unsubscribeViz(int32_t clientId, int32_t id)
{
    CClientState* client = findClient(clientId);
    CExportSlotNameListener* const* found = client ? client->vizStreams.find(id) : nullptr;
    if (!found)
        return;
    delete *found;
    client->vizStreams.erase(id);
}

void CAudioInterfaceBase::sendVizSlots(int32_t clientId, int32_t requestId)
{
    // No process of this product exports a visual slot: the list is empty.
    const CArray<CString> slots{};
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    CError* error = message.writeInt32(CAudioInterfaceMessage::kVizSlots);
    if (!error)
        error = message.writeInt32(requestId);
    if (!error)
        error = CAudioInterfaceMessage::writeStringList(message, slots);
    sendOrReport(clientId, message, error);
}

void CAudioInterfaceBase::sendVizInfo(int32_t clientId, int32_t id)
{
    const double framesPerSec = vizCollector ? vizCollector->getFramesPerSec() : 0.0;
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    CError* error = message.writeInt32(CAudioInterfaceMessage::kVizInfo);
    if (!error)
        error = message.writeInt32(id);
    if (!error)
        error = message.writeDouble(framesPerSec);
    if (!error)
        error = message.writeInt32(0);
    sendOrReport(clientId, message, error);
}

void CAudioInterfaceBase::callInstance()
{
    if (instanceHook)
        instanceHook->onInterfaceCall();
}

} // namespace kel
