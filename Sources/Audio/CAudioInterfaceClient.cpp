#include "Audio/CAudioInterfaceClient.h"

#include "Audio/CAudioInterfaceClientConnector.h"
#include "Audio/CAudioInterfaceMessage.h"
#include "Audio/CAudioInterfaceRegistryListener.h"
#include "Audio/CAudioInterfaceVizProcessor.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamStorage.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBank.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CSystem.h"
#include "Core/Platform/CTickClock.h"

#include <chrono>
#include <thread>

namespace kel
{

using M = CAudioInterfaceMessage;

namespace
{
constexpr size_t kMessageGrowthBytes = 256;
} // namespace

struct CAudioInterfaceClient::CParamSubscription : public CCheckedObject
{
    CAudioInterfaceParamListener* listener = nullptr;
    CString name;
    CAudioParamInfo info;
    bool hasInfo = false;
};

struct CAudioInterfaceClient::CRegistrySubscription : public CCheckedObject
{
    CAudioInterfaceRegistryListener* listener = nullptr;
    CString name;
};

// A caller of acquire waiting for its answer; lives on that caller's stack.
struct CAudioInterfaceClient::CPendingAnswer
{
    int32_t requestId = 0;
    bool isAnswered = false;
    int32_t result = 0;
    CByteBuffer bytes;
};

// ---- CGroupNamesParamListener ----

void CAudioInterfaceClient::CGroupNamesParamListener::onParamInfo(const CAudioParamInfo&) {}

void CAudioInterfaceClient::CGroupNamesParamListener::onParamChange(const CAudioParamChange& change)
{
    if (change.group != 0 || !change.strings || change.firstItem < 0)
        return;
    if (change.isReplacing)
    {
        while (names.getCount() > change.firstItem + change.itemCount)
            names.removeLast();
    }
    while (names.getCount() < change.firstItem + change.itemCount)
        names.add(CString());
    for (int i = 0; i < change.itemCount; ++i)
    {
        const CString* text = change.strings->findString(static_cast<int32_t>(change.values[i]));
        names[change.firstItem + i] = text ? *text : CString();
    }
}

CString CAudioInterfaceClient::CGroupNamesParamListener::getName(int group) const
{
    return group >= 0 && group < names.getCount() ? names[group] : CString();
}

// ---- the client ----

CAudioInterfaceClient::CAudioInterfaceClient() = default;

CAudioInterfaceClient::~CAudioInterfaceClient()
{
    for (auto& [id, subscription] : params)
    {
        (void)id;
        delete subscription;
    }
    for (auto& [id, subscription] : registries)
    {
        (void)id;
        delete subscription;
    }
}

void CAudioInterfaceClient::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

CError* CAudioInterfaceClient::init()
{
    KEL_CHECK(CObject::init());
    const CString connectorPath = getAttrString("client-connector", CString());
    if (!connectorPath.isEmpty() && !connector)
    {
        CAudioInterfaceClientConnector* found = nullptr;
        KEL_CHECK(findObjectChecked(connectorPath, found));
        setConnector(found);
    }
    const CString namesParam = getAttrString("group-names-param", CString());
    if (!namesParam.isEmpty())
    {
        // Not connected yet as a rule: the subscription goes out with subscribeAll.
        auto* subscription = new CParamSubscription();
        subscription->listener = &groupNames;
        subscription->name = namesParam;
        params.set(takeId(), subscription);
    }
    return nullptr;
}

void CAudioInterfaceClient::detachLinks()
{
    if (connector)
    {
        // The audio side may be gone already; what cannot be sent needs no undoing.
        for (auto& [id, subscription] : params)
        {
            (void)subscription;
            delete sendIdMessage(M::kUnsubscribeParam, id);
        }
        for (auto& [id, subscription] : registries)
        {
            (void)subscription;
            delete sendIdMessage(M::kUnsubscribeRegistry, id);
        }
        setConnector(nullptr);
    }
    vizProcessor = nullptr;
    CObject::detachLinks();
}

void CAudioInterfaceClient::setConnector(CAudioInterfaceClientConnector* clientConnector)
{
    if (connector && connector->getClient() == this)
        connector->setClient(nullptr);
    connector = clientConnector;
    if (connector)
        connector->setClient(this);
}

CError* CAudioInterfaceClient::subscribeAll()
{
    for (auto& [id, subscription] : params)
    {
        CMemoryWriteBuffer message(kMessageGrowthBytes);
        KEL_CHECK(message.writeInt32(M::kSubscribeParam));
        KEL_CHECK(message.writeString(subscription->name));
        KEL_CHECK(message.writeInt32(id));
        KEL_CHECK(send(message));
    }
    for (auto& [id, subscription] : registries)
    {
        CMemoryWriteBuffer message(kMessageGrowthBytes);
        KEL_CHECK(message.writeInt32(M::kSubscribeRegistry));
        KEL_CHECK(message.writeString(subscription->name));
        KEL_CHECK(message.writeInt32(id));
        KEL_CHECK(send(message));
    }
    if (historyWatched)
        KEL_CHECK(requestUndoHistory());
    return nullptr;
}

CError* CAudioInterfaceClient::send(const CMemoryWriteBuffer& message)
{
    if (!connector)
        return KEL_ERROR("@kelstr_CAudioInterfaceClient_send_NoConnector No client connector "
                         "defined.");
    KEL_CHECK(connector->sendToBase(message.getData(), message.getSize()));
    return nullptr;
}

CError* CAudioInterfaceClient::sendIdMessage(int32_t type, int32_t id)
{
    CMemoryWriteBuffer message(16);
    KEL_CHECK(message.writeInt32(type));
    KEL_CHECK(message.writeInt32(id));
    KEL_CHECK(send(message));
    return nullptr;
}

// ---- undo ----

CError* CAudioInterfaceClient::openUndoRecord(const CString& label, bool isMergeable,
                                              int32_t mergeId, int32_t& outRecordId)
{
    outRecordId = takeId();
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    KEL_CHECK(message.writeInt32(M::kOpenRecord));
    KEL_CHECK(message.writeInt32(outRecordId));
    KEL_CHECK(message.writeString(label));
    KEL_CHECK(message.writeInt32(isMergeable ? 1 : 0));
    KEL_CHECK(message.writeInt32(mergeId));
    KEL_CHECK(send(message));
    return nullptr;
}

CError* CAudioInterfaceClient::dropUndoRecord(int32_t recordId)
{
    KEL_CHECK(sendIdMessage(M::kDropRecord, recordId));
    return nullptr;
}

CError* CAudioInterfaceClient::closeUndoRecord(int32_t recordId, const CString& label)
{
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    KEL_CHECK(message.writeInt32(M::kCloseRecord));
    KEL_CHECK(message.writeInt32(recordId));
    KEL_CHECK(message.writeString(label));
    KEL_CHECK(send(message));
    return nullptr;
}

CError* CAudioInterfaceClient::requestUndoHistory()
{
    KEL_CHECK(sendIdMessage(M::kGetHistory, takeId()));
    return nullptr;
}

CError* CAudioInterfaceClient::moveUndoHistory(int position)
{
    KEL_CHECK(sendIdMessage(M::kMoveTo, position));
    return nullptr;
}

void CAudioInterfaceClient::getUndoHistory(CArray<CString>& outLabels, int& outPosition) const
{
    outLabels = historyLabels;
    outPosition = historyPosition;
}

// ---- parameters ----

int32_t CAudioInterfaceClient::findParamId(const CAudioInterfaceParamListener* listener) const
{
    for (const auto& [id, subscription] : params)
    {
        if (subscription->listener == listener)
            return id;
    }
    return 0;
}

CError* CAudioInterfaceClient::addParamListener(CAudioInterfaceParamListener* listener,
                                                const CString& paramName)
{
    KEL_CHECK(removeParamListener(listener));
    const int32_t id = takeId();
    auto* subscription = new CParamSubscription();
    subscription->listener = listener;
    subscription->name = paramName;
    params.set(id, subscription);
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    KEL_CHECK(message.writeInt32(M::kSubscribeParam));
    KEL_CHECK(message.writeString(paramName));
    KEL_CHECK(message.writeInt32(id));
    KEL_CHECK(send(message));
    return nullptr;
}

CError* CAudioInterfaceClient::removeParamListener(CAudioInterfaceParamListener* listener)
{
    const int32_t id = findParamId(listener);
    if (id == 0)
        return nullptr;
    delete params.get(id, nullptr);
    params.erase(id);
    KEL_CHECK(sendIdMessage(M::kUnsubscribeParam, id));
    return nullptr;
}

void CAudioInterfaceClient::getParamListeners(CArray<CAudioInterfaceParamListener*>& out) const
{
    for (const auto& [id, subscription] : params)
    {
        (void)id;
        out.add(subscription->listener);
    }
}

const CAudioParamInfo*
CAudioInterfaceClient::getParamInfo(const CAudioInterfaceParamListener* listener) const
{
    const int32_t id = findParamId(listener);
    const CParamSubscription* subscription = id ? params.get(id, nullptr) : nullptr;
    return subscription && subscription->hasInfo ? &subscription->info : nullptr;
}

CError* CAudioInterfaceClient::setParamValues(CAudioInterfaceParamListener* listener,
                                              const CAudioParamChange& change, int32_t recordId)
{
    const int32_t id = findParamId(listener);
    const CParamSubscription* subscription = id ? params.get(id, nullptr) : nullptr;
    if (!subscription || !subscription->hasInfo)
        return KEL_ERROR("@kelstr_CAudioInterfaceClient_setParamValues_NoParamInfo The parameter "
                         "is not known yet.");
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    KEL_CHECK(message.writeInt32(M::kSetValues));
    KEL_CHECK(message.writeInt32(id));
    KEL_CHECK(message.writeInt32(recordId));
    KEL_CHECK(M::writeChange(message, change, subscription->info.getElementSize(),
                             subscription->info.getDataType()));
    KEL_CHECK(send(message));
    for (const auto& [otherId, other] : params)
    {
        if (otherId != id && other->hasInfo && other->name == subscription->name)
            other->listener->onParamChange(change);
    }
    return nullptr;
}

CError* CAudioInterfaceClient::setParamValue(CAudioInterfaceParamListener* listener, int group,
                                             int item, double value, int32_t recordId)
{
    CAudioParamChange change;
    change.group = group;
    change.firstItem = item;
    change.itemCount = 1;
    change.values = &value;
    KEL_CHECK(setParamValues(listener, change, recordId));
    return nullptr;
}

CError* CAudioInterfaceClient::resetParam(CAudioInterfaceParamListener* listener, int group,
                                          int item, int32_t recordId)
{
    const int32_t id = findParamId(listener);
    if (id == 0)
        return nullptr;
    CMemoryWriteBuffer message(32);
    KEL_CHECK(message.writeInt32(M::kResetParam));
    KEL_CHECK(message.writeInt32(id));
    KEL_CHECK(message.writeInt32(group));
    KEL_CHECK(message.writeInt32(item));
    KEL_CHECK(message.writeInt32(recordId));
    KEL_CHECK(send(message));
    return nullptr;
}

// ---- registries ----

int32_t CAudioInterfaceClient::findRegistryId(const CAudioInterfaceRegistryListener* listener) const
{
    for (const auto& [id, subscription] : registries)
    {
        if (subscription->listener == listener)
            return id;
    }
    return 0;
}

CError* CAudioInterfaceClient::addRegistryListener(CAudioInterfaceRegistryListener* listener,
                                                   const CString& registryName)
{
    KEL_CHECK(removeRegistryListener(listener));
    const int32_t id = takeId();
    auto* subscription = new CRegistrySubscription();
    subscription->listener = listener;
    subscription->name = registryName;
    registries.set(id, subscription);
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    KEL_CHECK(message.writeInt32(M::kSubscribeRegistry));
    KEL_CHECK(message.writeString(registryName));
    KEL_CHECK(message.writeInt32(id));
    KEL_CHECK(send(message));
    return nullptr;
}

CError* CAudioInterfaceClient::removeRegistryListener(CAudioInterfaceRegistryListener* listener)
{
    const int32_t id = findRegistryId(listener);
    if (id == 0)
        return nullptr;
    delete registries.get(id, nullptr);
    registries.erase(id);
    KEL_CHECK(sendIdMessage(M::kUnsubscribeRegistry, id));
    return nullptr;
}

CError* CAudioInterfaceClient::sendRegistryMessage(int32_t type, const CString& registryName)
{
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    KEL_CHECK(message.writeInt32(type));
    KEL_CHECK(message.writeString(registryName));
    KEL_CHECK(send(message));
    return nullptr;
}

CError* CAudioInterfaceClient::sendRegistryIndex(int32_t type, const CString& registryName,
                                                 int index)
{
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    KEL_CHECK(message.writeInt32(type));
    KEL_CHECK(message.writeString(registryName));
    KEL_CHECK(message.writeInt32(index));
    KEL_CHECK(send(message));
    return nullptr;
}

CError* CAudioInterfaceClient::selectPreset(const CString& registryName, int index)
{
    KEL_CHECK(sendRegistryIndex(M::kSelectPreset, registryName, index));
    return nullptr;
}

CError* CAudioInterfaceClient::setPresetName(const CString& registryName, int index,
                                             const CString& presetName)
{
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    KEL_CHECK(message.writeInt32(M::kSetPresetName));
    KEL_CHECK(message.writeString(registryName));
    KEL_CHECK(message.writeInt32(index));
    KEL_CHECK(message.writeString(presetName));
    KEL_CHECK(send(message));
    return nullptr;
}

CError* CAudioInterfaceClient::activateROMPreset(const CString& registryName, int index)
{
    KEL_CHECK(sendRegistryIndex(M::kActivateROMPreset, registryName, index));
    return nullptr;
}

CError* CAudioInterfaceClient::sendPresetBytes(int32_t type, const CString& registryName, int group,
                                               const CAudioPreset& preset)
{
    CMemoryWriteBuffer payload(4096);
    KEL_CHECK(preset.save(payload));
    CMemoryWriteBuffer message(payload.getSize() + 64);
    KEL_CHECK(message.writeInt32(type));
    KEL_CHECK(message.writeString(registryName));
    if (type == M::kActivatePreset)
        KEL_CHECK(message.writeInt32(group));
    KEL_CHECK(M::writeBlob(message, payload.getData(), payload.getSize()));
    KEL_CHECK(send(message));
    return nullptr;
}

CError* CAudioInterfaceClient::activatePreset(const CString& registryName, int group,
                                              const CAudioPreset& preset)
{
    KEL_CHECK(sendPresetBytes(M::kActivatePreset, registryName, group, preset));
    return nullptr;
}

CError* CAudioInterfaceClient::loadDefaultPreset(const CString& registryName,
                                                 const CAudioPreset& preset)
{
    KEL_CHECK(sendPresetBytes(M::kLoadDefaultPreset, registryName, -1, preset));
    return nullptr;
}

CError* CAudioInterfaceClient::resetMaster(const CString& registryName)
{
    KEL_CHECK(sendRegistryMessage(M::kResetMaster, registryName));
    return nullptr;
}

CError* CAudioInterfaceClient::swapCompare(const CString& registryName)
{
    KEL_CHECK(sendRegistryMessage(M::kSwapCompare, registryName));
    return nullptr;
}

CError* CAudioInterfaceClient::copyToCompare(const CString& registryName)
{
    KEL_CHECK(sendRegistryMessage(M::kCopyToCompare, registryName));
    return nullptr;
}

CError* CAudioInterfaceClient::acquirePreset(const CString& registryName, bool fromROM, int index,
                                             int group, bool withPersistent, CAudioPreset& out)
{
    const int32_t requestId = takeId();
    CMemoryWriteBuffer request(kMessageGrowthBytes);
    KEL_CHECK(request.writeInt32(M::kAcquirePreset));
    KEL_CHECK(request.writeInt32(requestId));
    KEL_CHECK(request.writeInt32(fromROM ? 1 : 0));
    KEL_CHECK(request.writeInt32(index));
    KEL_CHECK(request.writeInt32(group));
    KEL_CHECK(request.writeInt32(withPersistent ? 1 : 0));
    KEL_CHECK(request.writeString(registryName));
    CByteBuffer bytes;
    KEL_CHECK(acquire(request, requestId, bytes));
    CMemoryReader reader(bytes.getData(), bytes.getSize());
    out.clear();
    KEL_CHECK(out.load(reader));
    return nullptr;
}

CError* CAudioInterfaceClient::acquireBank(const CString& registryName, bool fromROM,
                                           bool withPersistent, CAudioPresetBank& out)
{
    const int32_t requestId = takeId();
    CMemoryWriteBuffer request(kMessageGrowthBytes);
    KEL_CHECK(request.writeInt32(M::kAcquireBank));
    KEL_CHECK(request.writeInt32(requestId));
    KEL_CHECK(request.writeInt32(fromROM ? 1 : 0));
    KEL_CHECK(request.writeInt32(withPersistent ? 1 : 0));
    KEL_CHECK(request.writeString(registryName));
    CByteBuffer bytes;
    KEL_CHECK(acquire(request, requestId, bytes));
    CMemoryReader reader(bytes.getData(), bytes.getSize());
    KEL_CHECK(out.load(reader));
    return nullptr;
}

CError* CAudioInterfaceClient::acquire(CMemoryWriteBuffer& request, int32_t requestId,
                                       CByteBuffer& outBytes)
{
    CPendingAnswer pending;
    pending.requestId = requestId;
    pendingAnswers.add(&pending);
    // The audio side answers a failed request with 39 too, so the send's own error comes after
    // the wait for it.
    CError* sendError = send(request);
    const uint32_t startMs = CTickClock::tickCountMs();
    while (connector && !pending.isAnswered)
    {
        if (CError* other = connector->processBaseData())
            CSystem::showError(other);
        if (pending.isAnswered || sendError ||
            static_cast<int>(CTickClock::tickCountMs() - startMs) > kAnswerTimeoutMs)
            break;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    pendingAnswers.removeAt(pendingAnswers.indexOf(&pending));
    if (pending.isAnswered && pending.result != 0)
    {
        delete sendError;
        const CString text = CString::fromUtf8(
            reinterpret_cast<const char*>(pending.bytes.getData()), pending.bytes.getSize());
        // The audio side's text ends its own sentence.
        return KEL_ERROR("@kelstr_CAudioInterfaceClient_acquirePreset_Failed Preset not "
                         "available: %1",
                         text);
    }
    KEL_CHECK(sendError);
    if (!pending.isAnswered)
        return KEL_ERROR("@kelstr_CAudioInterfaceClient_acquirePreset_NoAnswer The audio side "
                         "did not answer.");
    if (!outBytes.assign(pending.bytes.getData(), pending.bytes.getSize()))
        return KEL_ERROR("@kelstr_CAudioInterfaceClient_acquirePreset_NoMemory Out of memory.");
    return nullptr;
}

// ---- visual data ----

CError* CAudioInterfaceClient::subscribeViz(const CString& slotName, int32_t option, int32_t& outId)
{
    outId = takeId();
    CMemoryWriteBuffer message(kMessageGrowthBytes);
    KEL_CHECK(message.writeInt32(M::kSubscribeViz));
    KEL_CHECK(message.writeInt32(outId));
    KEL_CHECK(message.writeString(slotName));
    KEL_CHECK(message.writeInt32(option));
    KEL_CHECK(send(message));
    return nullptr;
}

CError* CAudioInterfaceClient::unsubscribeViz(int32_t id)
{
    KEL_CHECK(sendIdMessage(M::kUnsubscribeViz, id));
    return nullptr;
}

CError* CAudioInterfaceClient::requestVizSlots(int32_t& outRequestId)
{
    outRequestId = takeId();
    KEL_CHECK(sendIdMessage(M::kGetVizSlots, outRequestId));
    return nullptr;
}

CError* CAudioInterfaceClient::requestVizInfo(int32_t id)
{
    KEL_CHECK(sendIdMessage(M::kGetVizInfo, id));
    return nullptr;
}

// ---- the instance's state ----

CError* CAudioInterfaceClient::requestInternalChannelCount()
{
    KEL_CHECK(sendIdMessage(M::kGetInternalChannelCount, takeId()));
    return nullptr;
}

CError* CAudioInterfaceClient::requestGroupCount()
{
    KEL_CHECK(sendIdMessage(M::kGetGroupCount, takeId()));
    return nullptr;
}

CError* CAudioInterfaceClient::requestIOChannelCounts()
{
    KEL_CHECK(sendIdMessage(M::kGetIOChannelCounts, takeId()));
    return nullptr;
}

CError* CAudioInterfaceClient::requestSampleRate()
{
    KEL_CHECK(sendIdMessage(M::kGetSampleRate, takeId()));
    return nullptr;
}

CError* CAudioInterfaceClient::callInstance()
{
    CMemoryWriteBuffer message(8);
    KEL_CHECK(message.writeInt32(M::kInstanceCall));
    KEL_CHECK(send(message));
    return nullptr;
}

void CAudioInterfaceClient::getIOChannelCounts(int& outInputs, int& outOutputs,
                                               int& outSideChain) const
{
    outInputs = inputCount;
    outOutputs = outputCount;
    outSideChain = sideChainCount;
}

// ---- messages of the audio side ----

CError* CAudioInterfaceClient::processBaseData(const void* data, size_t bytes)
{
    CMemoryReader in(data, bytes);
    int32_t type = 0;
    KEL_CHECK(in.readInt32(type));
    switch (type)
    {
    case M::kHistory:
        KEL_CHECK(onHistory(in));
        return nullptr;
    case M::kParamInfo:
        KEL_CHECK(onParamInfoMessage(in));
        return nullptr;
    case M::kParamChange:
        KEL_CHECK(onParamChangeMessage(in));
        return nullptr;
    case M::kPresetList:
        KEL_CHECK(onPresetListMessage(in));
        return nullptr;
    case M::kClear:
        KEL_CHECK(onClear());
        return nullptr;
    case M::kInternalChannelCount:
    case M::kGroupCount:
    case M::kIOChannelCounts:
    case M::kSampleRate:
        KEL_CHECK(onStateMessage(type, in));
        return nullptr;
    case M::kPresetData:
        KEL_CHECK(onPresetData(in));
        return nullptr;
    case M::kVizSlots:
    case M::kVizInfo:
        KEL_CHECK(onVizMessage(type, in));
        return nullptr;
    default:
        return KEL_ERROR("@kelstr_CAudioInterfaceClient_processBaseData_InvalidType Invalid data "
                         "type %1.",
                         type);
    }
}

CError* CAudioInterfaceClient::onHistory(CMemoryReader& in)
{
    int32_t id = 0;
    int32_t position = 0;
    CArray<CString> labels;
    KEL_CHECK(in.readInt32(id));
    KEL_CHECK(in.readInt32(position));
    KEL_CHECK(M::readStringList(in, labels));
    historyLabels = labels;
    historyPosition = position;
    CString joined;
    for (int i = 0; i < labels.getCount(); ++i)
    {
        if (i > 0)
            joined.appendUnit('\n');
        joined.append(labels[i]);
    }
    CAttrMap eventParams;
    eventParams.set(CString("position"), CAttrValue(position));
    eventParams.set(CString("count"), CAttrValue(static_cast<int32_t>(labels.getCount())));
    eventParams.set(CString("labels"), CAttrValue(joined));
    KEL_CHECK(sendEvent(CString("undo-history-changed"), eventParams));
    return nullptr;
}

CError* CAudioInterfaceClient::onParamInfoMessage(CMemoryReader& in)
{
    int32_t id = 0;
    KEL_CHECK(in.readInt32(id));
    CAudioParamInfo info;
    // Converters are found by name in this side's shared tree.
    KEL_CHECK(info.load(in, *this));
    CParamSubscription* subscription = params.get(id, nullptr);
    if (!subscription)
        return nullptr;
    subscription->info = info;
    subscription->hasInfo = true;
    subscription->listener->onParamInfo(subscription->info);
    return nullptr;
}

CError* CAudioInterfaceClient::onParamChangeMessage(CMemoryReader& in)
{
    int32_t id = 0;
    KEL_CHECK(in.readInt32(id));
    CParamSubscription* subscription = params.get(id, nullptr);
    // A listener removed meanwhile.
    if (!subscription)
        return nullptr;
    if (!subscription->hasInfo)
        return KEL_ERROR("@kelstr_CAudioInterfaceClient_processBaseData_NoParamInfo Change of "
                         "'%1' before its definition.",
                         subscription->name);
    CAudioParamStorage values(subscription->info.getElementSize(),
                              subscription->info.getDataType());
    CAudioParamChange change;
    KEL_CHECK(M::readChange(in, values, change));
    subscription->listener->onParamChange(change);
    return nullptr;
}

CError* CAudioInterfaceClient::onPresetListMessage(CMemoryReader& in)
{
    int32_t id = 0;
    int32_t current = 0;
    CArray<CString> names;
    CString currentName;
    KEL_CHECK(in.readInt32(id));
    KEL_CHECK(in.readInt32(current));
    KEL_CHECK(M::readStringList(in, names));
    KEL_CHECK(in.readString(currentName));
    if (CRegistrySubscription* subscription = registries.get(id, nullptr))
        subscription->listener->onPresetList(current, names, currentName);
    return nullptr;
}

CError* CAudioInterfaceClient::onStateMessage(int32_t type, CMemoryReader& in)
{
    int32_t id = 0;
    KEL_CHECK(in.readInt32(id));
    CAttrMap eventParams;
    const char* eventName = nullptr;
    switch (type)
    {
    case M::kInternalChannelCount:
        KEL_CHECK(in.readInt32(internalChannelCount));
        eventParams.set(CString("count"), CAttrValue(internalChannelCount));
        eventName = "update-internal-channel-count";
        break;
    case M::kGroupCount:
        KEL_CHECK(in.readInt32(groupCount));
        eventParams.set(CString("count"), CAttrValue(groupCount));
        eventName = "update-group-count";
        break;
    case M::kIOChannelCounts:
        KEL_CHECK(in.readInt32(inputCount));
        KEL_CHECK(in.readInt32(outputCount));
        KEL_CHECK(in.readInt32(sideChainCount));
        eventParams.set(CString("inputs"), CAttrValue(inputCount));
        eventParams.set(CString("outputs"), CAttrValue(outputCount));
        eventParams.set(CString("side-chain"), CAttrValue(sideChainCount));
        eventName = "update-io-channel-counts";
        break;
    default:
        KEL_CHECK(in.readDouble(sampleRateHz));
        eventParams.set(CString("sample-rate"), CAttrValue(sampleRateHz));
        eventName = "update-sample-rate";
        break;
    }
    KEL_CHECK(sendEvent(CString(eventName), eventParams));
    return nullptr;
}

CError* CAudioInterfaceClient::onPresetData(CMemoryReader& in)
{
    int32_t requestId = 0;
    int32_t result = 0;
    const uint8_t* bytes = nullptr;
    size_t length = 0;
    KEL_CHECK(in.readInt32(requestId));
    KEL_CHECK(in.readInt32(result));
    KEL_CHECK(M::readBlob(in, bytes, length));
    for (CPendingAnswer* pending : pendingAnswers)
    {
        if (pending->requestId != requestId || pending->isAnswered)
            continue;
        if (!pending->bytes.assign(bytes, length))
            return KEL_ERROR("@kelstr_CAudioInterfaceClient_acquirePreset_NoMemory Out of "
                             "memory.");
        pending->result = result;
        pending->isAnswered = true;
    }
    return nullptr;
}

CError* CAudioInterfaceClient::onVizMessage(int32_t type, CMemoryReader& in)
{
    int32_t id = 0;
    KEL_CHECK(in.readInt32(id));
    if (type == M::kVizSlots)
    {
        CArray<CString> slots;
        KEL_CHECK(M::readStringList(in, slots));
        if (vizProcessor)
            vizProcessor->onVizSlotList(id, slots);
        return nullptr;
    }
    double framesPerSec = 0.0;
    int32_t slotCount = 0;
    KEL_CHECK(in.readDouble(framesPerSec));
    KEL_CHECK(in.readInt32(slotCount));
    if (vizProcessor)
        vizProcessor->onVizInfo(id, framesPerSec, slotCount);
    return nullptr;
}

CError* CAudioInterfaceClient::onClear()
{
    for (auto& [id, subscription] : params)
    {
        (void)id;
        subscription->hasInfo = false;
    }
    historyLabels.clear();
    historyPosition = 0;
    if (vizProcessor)
        vizProcessor->onVizReset();
    CAttrMap eventParams;
    KEL_CHECK(sendEvent(CString("clear"), eventParams));
    return nullptr;
}

} // namespace kel
