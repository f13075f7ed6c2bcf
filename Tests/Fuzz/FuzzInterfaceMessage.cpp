// Interface messages over arbitrary bytes, both ways: no crash, no read beyond a message, no
// leaked block once the trees are gone, and a faulty message never stops the next one.
//
// An instance (collector, base connector, interface base, a registry, a real and a string
// parameter bound to converters of a small shared tree) and a UI (client connector, client)
// are built per input; the client has subscribed to both parameters (ids 1, 2) and the registry
// (id 3) before the input runs. The first byte chooses the direction: even, client messages into
// the base connector (answers go on to the client); odd, audio-side messages into the client.
// The rest is a run of messages, each a length byte and that many bytes.
#include "FuzzCheck.h"

#include "Audio/CAudioInterfaceBase.h"
#include "Audio/CAudioInterfaceBaseConnectorVST.h"
#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioInterfaceClientConnectorVST.h"
#include "Audio/CAudioInterfaceCreators.h"
#include "Audio/CAudioInterfaceParamListener.h"
#include "Audio/CAudioInterfaceRegistryListener.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamCreators.h"
#include "Audio/CAudioParamInfo.h"
#include "Audio/CAudioParamRegistryCreators.h"
#include "Audio/CAudioProcessCreators.h"
#include "Core/CAllocator.h"
#include "Core/Platform/CRunLoop.h"
#include "Core/CObject.h"
#include "Core/CSystem.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

using namespace kel;

namespace
{

using CAttrList = std::vector<std::pair<const char*, const char*>>;

CObject* addComplete(CObject* parent, const char* tag, const char* childName,
                     const CAttrList& attrs = {})
{
    CObject* child = nullptr;
    KEL_FUZZ_CHECK(parent->addChild(CString(tag), CString(childName), child) == nullptr);
    for (const auto& [key, value] : attrs)
        KEL_FUZZ_CHECK(child->setAttr(CString(key), CAttrValue(value), false) == nullptr);
    if (CError* error = child->init())
    {
        std::fprintf(stderr, "%s: %s\n", tag, error->getMessage());
        std::abort();
    }
    KEL_FUZZ_CHECK(child->createChilds() == nullptr);
    KEL_FUZZ_CHECK(child->initChilds() == nullptr);
    return child;
}

// The converters the parameters name, in the place the product keeps them.
void buildSharedTree()
{
    static bool isBuilt = false;
    if (isBuilt)
        return;
    isBuilt = true;
    CSystem::setErrorPresenter([](const char*, const char*, const char*, void*) {}, nullptr);
    delete registerAudioParamCreators();
    delete registerAudioParamRegistryCreators();
    delete registerAudioProcessCreators();
    delete registerAudioInterfaceCreators();
    auto* shared = new CObject();
    CObject::setSharedRoot(shared);
    CObject* audio = addComplete(shared, "core:object", "audio");
    CObject* converters = addComplete(audio, "core:object", "paramcvt");
    addComplete(converters, "audio:cvt-gain", "gain", {{"label", "dB"}, {"decimals", "1"}});
    addComplete(converters, "audio:cvt-text", "text", {{"label", ""}});
}

void bindParam(CAudioParamCollector& collector, const char* paramName, const char* converter,
               int32_t dataType)
{
    CAudioParamInfo info;
    info.setLayout(1, dataType);
    info.getConverterNames().add(CString(converter));
    KEL_FUZZ_CHECK(info.parseConverterNames(*CObject::getSharedRoot()) == nullptr);
    info.setFlags(false, true, false, false, false);
    info.setValid(true);
    CAudioParamContext context;
    CAudioParam* param = collector.getParam(CString(paramName));
    KEL_FUZZ_CHECK(param && param->bind(info, CString(paramName), context));
    if (dataType == CAudioParamInfo::kTypeReal)
        param->setValue(1, 0, 0.5, context);
    else
        param->setString(0, 0, CString("Front"), context);
}

class CSink : public CAudioInterfaceParamListener, public CAudioInterfaceRegistryListener
{
public:
    void onParamInfo(const CAudioParamInfo& info) override { (void)info.getElementSize(); }
    void onParamChange(const CAudioParamChange& change) override
    {
        // What the client delivers must be readable to its end.
        for (int i = 0; i < change.itemCount; ++i)
            sum += change.values[i];
    }
    void onPresetList(int, const CArray<CString>& names, const CString&) override
    {
        sum += names.getCount();
    }
    double sum = 0.0;
};

void run(const uint8_t* data, size_t size)
{
    auto* instance = new CObject();
    CObject* plugin = addComplete(instance, "core:object", "plugin");
    auto* collector = dynamic_cast<CAudioParamCollector*>(
        addComplete(plugin, "audio:param-collector", "param-collector"));
    auto* baseConnector = dynamic_cast<CAudioInterfaceBaseConnectorVST*>(
        addComplete(plugin, "audio:interface-base-connector-vst", "interface-base-connector"));
    addComplete(plugin, "audio:interface-base", "interface-base",
                {{"base-connector", "^interface-base-connector"},
                 {"undo-count-max", "4"},
                 {"param-collector", "^param-collector"}});
    addComplete(plugin, "audio:param-registry", "param-registry",
                {{"hierarchy", "plugin.modMain"},
                 {"id", "KLIO"},
                 {"param-collector", "^param-collector"},
                 {"param-undo", "^interface-base"},
                 {"preset-naming", "Routing preset"}});
    KEL_FUZZ_CHECK(collector && baseConnector);
    bindParam(*collector, "plugin.modMain.gain", "gain", CAudioParamInfo::kTypeReal);
    bindParam(*collector, "plugin.modMain.name", "text", CAudioParamInfo::kTypeString);

    auto* ui = new CObject();
    auto* clientConnector = dynamic_cast<CAudioInterfaceClientConnectorVST*>(
        addComplete(ui, "audio:interface-client-connector-vst", "connector"));
    auto* client = dynamic_cast<CAudioInterfaceClient*>(
        addComplete(ui, "audio:interface-client", "client", {{"client-connector", "^connector"}}));
    KEL_FUZZ_CHECK(clientConnector && client);
    clientConnector->connect(*baseConnector);
    CSink gain;
    CSink name;
    CSink registry;
    KEL_FUZZ_CHECK(client->addParamListener(&gain, CString("plugin.modMain.gain")) == nullptr);
    KEL_FUZZ_CHECK(client->addParamListener(&name, CString("plugin.modMain.name")) == nullptr);
    KEL_FUZZ_CHECK(client->addRegistryListener(&registry, CString("param-registry")) == nullptr);
    KEL_FUZZ_CHECK(clientConnector->processBaseData() == nullptr);

    const bool toBase = data[0] % 2 == 0;
    size_t at = 1;
    while (at < size)
    {
        const size_t length = data[at] < size - at - 1 ? data[at] : size - at - 1;
        // An exact-size copy: a read beyond the message is one beyond the heap block.
        std::vector<uint8_t> bytes(data + at + 1, data + at + 1 + length);
        at += 1 + length;
        if (toBase)
        {
            delete clientConnector->sendToBase(bytes.data(), bytes.size());
            delete clientConnector->processBaseData();
        }
        else
        {
            delete client->processBaseData(bytes.data(), bytes.size());
        }
    }
    // The connector still answers.
    KEL_FUZZ_CHECK(client->requestSampleRate() == nullptr);
    delete clientConnector->processBaseData();

    CObject::destroyObject(ui);
    CObject::destroyObject(instance);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    buildSharedTree();
    // The client connector wakes its thread through the thread's run loop, which lives as long
    // as the thread: made before the count, it is not taken for a leak of the first input.
    KEL_FUZZ_CHECK(CRunLoop::forThisThread() != nullptr);
    const int64_t liveBefore = CAllocator::liveBlocks();
    run(data, size);
    KEL_FUZZ_CHECK(CAllocator::liveBlocks() == liveBefore);
    return 0;
}
