#include "Audio/CAudioInterfaceBaseConnector.h"

#include "Audio/CAudioInterfaceBase.h"
#include "Audio/CAudioInterfaceMessage.h"
#include "Audio/CAudioParamRegistry.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"

#include <cstring>

namespace kel
{

void CAudioInterfaceBaseConnector::registerClass(CClassInfo& info)
{
    CObject::registerClass(info);
}

void CAudioInterfaceBaseConnector::detachLinks()
{
    if (CAudioInterfaceBase* current = base.load())
        current->setConnector(nullptr);
    setBase(nullptr);
    CObject::detachLinks();
}

void CAudioInterfaceBaseConnector::setBase(CAudioInterfaceBase* interfaceBase)
{
    CLockGuard guard(processingLock);
    base.store(interfaceBase);
}

CError* CAudioInterfaceBaseConnector::processClientData(int32_t clientId, const void* data,
                                                        size_t bytes)
{
    CLockGuard guard(processingLock);
    KEL_CHECK(processClientDataLocked(clientId, data, bytes));
    return nullptr;
}

CError* CAudioInterfaceBaseConnector::processClientDataLocked(int32_t clientId, const void* data,
                                                              size_t bytes)
{
    CAudioInterfaceBase* current = base.load();
    if (!current)
        return KEL_ERROR("@kelstr_CAudioInterfaceBaseConnector_processClientData_NoBaseObject No "
                         "base object defined.");
    CMemoryReader in(data, bytes);
    int32_t type = 0;
    KEL_CHECK(in.readInt32(type));
    if (type < 0 || type > CAudioInterfaceMessage::kLastFromClient)
        return KEL_ERROR("@kelstr_CAudioInterfaceBaseConnector_processClientData_InvalidType "
                         "Invalid data type %1.",
                         type);
    KEL_CHECK(dispatch(*current, clientId, type, in));
    return nullptr;
}

CError* CAudioInterfaceBaseConnector::dispatch(CAudioInterfaceBase& interfaceBase, int32_t clientId,
                                               int32_t type, CMemoryReader& in)
{
    using M = CAudioInterfaceMessage;
    int32_t id = 0;
    int32_t recordId = 0;
    CString text;
    switch (type)
    {
    case M::kOpenRecord:
    {
        int32_t mergeId = 0;
        bool isMergeable = false;
        KEL_CHECK(in.readInt32(recordId));
        KEL_CHECK(in.readString(text));
        KEL_CHECK(M::readFlag(in, isMergeable));
        KEL_CHECK(in.readInt32(mergeId));
        interfaceBase.openRecord(clientId, recordId, text, isMergeable, mergeId);
        return nullptr;
    }
    case M::kDropRecord:
        KEL_CHECK(in.readInt32(recordId));
        interfaceBase.dropRecord(clientId, recordId);
        return nullptr;
    case M::kCloseRecord:
        KEL_CHECK(in.readInt32(recordId));
        KEL_CHECK(in.readString(text));
        interfaceBase.closeRecord(clientId, recordId, text);
        return nullptr;
    case M::kGetHistory:
        KEL_CHECK(in.readInt32(id));
        interfaceBase.requestHistory(clientId, id);
        return nullptr;
    case M::kMoveTo:
        KEL_CHECK(in.readInt32(id));
        interfaceBase.moveTo(id);
        return nullptr;
    case M::kSubscribeParam:
        KEL_CHECK(in.readString(text));
        KEL_CHECK(in.readInt32(id));
        KEL_CHECK(interfaceBase.subscribeParam(clientId, text, id));
        return nullptr;
    case M::kUnsubscribeParam:
        KEL_CHECK(in.readInt32(id));
        interfaceBase.unsubscribeParam(clientId, id);
        return nullptr;
    case M::kSetValues:
        KEL_CHECK(in.readInt32(id));
        KEL_CHECK(in.readInt32(recordId));
        KEL_CHECK(interfaceBase.setParamValues(clientId, id, recordId, in));
        return nullptr;
    case M::kResetParam:
    {
        int32_t group = 0;
        int32_t item = 0;
        KEL_CHECK(in.readInt32(id));
        KEL_CHECK(in.readInt32(group));
        KEL_CHECK(in.readInt32(item));
        KEL_CHECK(in.readInt32(recordId));
        interfaceBase.resetParam(clientId, id, group, item, recordId);
        return nullptr;
    }
    case M::kSubscribeRegistry:
    {
        CAudioParamRegistry* registry = nullptr;
        KEL_CHECK(in.readString(text));
        KEL_CHECK(in.readInt32(id));
        KEL_CHECK(getRegistry(interfaceBase, text, registry));
        interfaceBase.subscribeRegistry(clientId, *registry, text, id);
        return nullptr;
    }
    case M::kUnsubscribeRegistry:
        KEL_CHECK(in.readInt32(id));
        interfaceBase.unsubscribeRegistry(clientId, id);
        return nullptr;
    case M::kSubscribeViz:
    {
        int32_t option = 0;
        KEL_CHECK(in.readInt32(id));
        KEL_CHECK(in.readString(text));
        KEL_CHECK(in.readInt32(option));
        interfaceBase.subscribeViz(clientId, id, text, option);
        return nullptr;
    }
    case M::kUnsubscribeViz:
        KEL_CHECK(in.readInt32(id));
        interfaceBase.unsubscribeViz(clientId, id);
        return nullptr;
    case M::kGetVizSlots:
        KEL_CHECK(in.readInt32(id));
        interfaceBase.sendVizSlots(clientId, id);
        return nullptr;
    case M::kGetVizInfo:
        KEL_CHECK(in.readInt32(id));
        interfaceBase.sendVizInfo(clientId, id);
        return nullptr;
    case M::kGetInternalChannelCount:
    case M::kGetGroupCount:
    case M::kGetIOChannelCounts:
    case M::kGetSampleRate:
        KEL_CHECK(in.readInt32(id));
        interfaceBase.sendState(clientId, type, id);
        return nullptr;
    case M::kInstanceCall:
        interfaceBase.callInstance();
        return nullptr;
    default:
        KEL_CHECK(dispatchRegistry(interfaceBase, clientId, type, in));
        return nullptr;
    }
}

CError* CAudioInterfaceBaseConnector::dispatchRegistry(CAudioInterfaceBase& interfaceBase,
                                                       int32_t clientId, int32_t type,
                                                       CMemoryReader& in)
{
    using M = CAudioInterfaceMessage;
    if (type == M::kAcquirePreset || type == M::kAcquireBank)
    {
        KEL_CHECK(answerAcquire(interfaceBase, clientId, type, in));
        return nullptr;
    }
    CString registryName;
    CAudioParamRegistry* registry = nullptr;
    KEL_CHECK(in.readString(registryName));
    KEL_CHECK(getRegistry(interfaceBase, registryName, registry));
    const void* origin = interfaceBase.getClientOrigin(clientId);
    int32_t index = 0;
    switch (type)
    {
    case M::kSelectPreset:
        KEL_CHECK(in.readInt32(index));
        KEL_CHECK(registry->selectPreset(index, origin));
        return nullptr;
    case M::kSetPresetName:
    {
        CString presetName;
        KEL_CHECK(in.readInt32(index));
        KEL_CHECK(in.readString(presetName));
        registry->setPresetName(index, presetName, origin);
        return nullptr;
    }
    case M::kActivateROMPreset:
        KEL_CHECK(in.readInt32(index));
        KEL_CHECK(registry->activateROMPreset(index));
        return nullptr;
    case M::kActivatePreset:
    case M::kLoadDefaultPreset:
    {
        int32_t group = -1;
        if (type == M::kActivatePreset)
            KEL_CHECK(in.readInt32(group));
        const uint8_t* bytes = nullptr;
        size_t length = 0;
        KEL_CHECK(M::readBlob(in, bytes, length));
        CMemoryReader preset(bytes, length);
        if (type == M::kActivatePreset)
            KEL_CHECK(registry->activatePreset(preset, false, group));
        else
            KEL_CHECK(registry->loadDefaultPreset(preset));
        return nullptr;
    }
    case M::kResetMaster:
        registry->resetMaster();
        return nullptr;
    case M::kSwapCompare:
        KEL_CHECK(registry->swapCompare());
        return nullptr;
    default: // M::kCopyToCompare, the last type left
        registry->copyToCompare();
        return nullptr;
    }
}

CError* CAudioInterfaceBaseConnector::getRegistry(CAudioInterfaceBase& interfaceBase,
                                                  const CString& registryName,
                                                  CAudioParamRegistry*& outRegistry)
{
    outRegistry = interfaceBase.findRegistry(registryName);
    if (!outRegistry)
        return KEL_ERROR("@kelstr_CAudioInterfaceBaseConnector_getRegistry_NoParamRegistry No "
                         "param registry object '%1' found.",
                         registryName);
    return nullptr;
}

CError* CAudioInterfaceBaseConnector::answerAcquire(CAudioInterfaceBase& interfaceBase,
                                                    int32_t clientId, int32_t type,
                                                    CMemoryReader& in)
{
    using M = CAudioInterfaceMessage;
    int32_t requestId = 0;
    bool fromROM = false;
    bool withPersistent = false;
    int32_t index = -1;
    int32_t group = -1;
    CString registryName;
    KEL_CHECK(in.readInt32(requestId));
    KEL_CHECK(M::readFlag(in, fromROM));
    if (type == M::kAcquirePreset)
    {
        KEL_CHECK(in.readInt32(index));
        KEL_CHECK(in.readInt32(group));
    }
    KEL_CHECK(M::readFlag(in, withPersistent));
    KEL_CHECK(in.readString(registryName));

    // From here on the client waits for an answer: every failure is answered, with the
    // error's text in place of the payload, and reported to the caller as well.
    CAudioParamRegistry* registry = nullptr;
    CMemoryWriteBuffer payload(4096);
    CError* failure = getRegistry(interfaceBase, registryName, registry);
    if (!failure)
    {
        failure = type == M::kAcquirePreset
                      ? registry->acquirePreset(fromROM, index, group, payload, withPersistent)
                      : registry->acquirePreset(fromROM, payload, withPersistent);
    }
    CMemoryWriteBuffer answer(4096);
    KEL_CHECK(answer.writeInt32(M::kPresetData));
    KEL_CHECK(answer.writeInt32(requestId));
    // A failure carries the error's number, and its text (UTF-8) in place of the payload.
    KEL_CHECK(answer.writeInt32(failure ? static_cast<int32_t>(failure->getNumber()) : 0));
    const char* message = failure ? failure->getMessage() : nullptr;
    CError* error = failure ? M::writeBlob(answer, message, message ? std::strlen(message) : 0)
                            : M::writeBlob(answer, payload.getData(), payload.getSize());
    if (error)
    {
        delete failure;
        return error;
    }
    interfaceBase.sendClientData(clientId, answer.getData(), answer.getSize());
    KEL_CHECK(failure);
    return nullptr;
}

} // namespace kel
