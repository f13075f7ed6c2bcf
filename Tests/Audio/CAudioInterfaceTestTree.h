#pragma once

#include "Audio/CAudioExtParamCreators.h"
#include "Audio/CAudioInterfaceBase.h"
#include "Audio/CAudioInterfaceBaseConnectorVST.h"
#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioInterfaceClientConnectorVST.h"
#include "Audio/CAudioInterfaceCreators.h"
#include "Audio/CAudioInterfaceParamListener.h"
#include "Audio/CAudioInterfaceRegistryListener.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamTreeTest.h"
#include "Audio/CAudioVizCollector.h"
#include "Core/CAllocator.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CStdEventBridge.h"
#include "Core/CSystem.h"
#include "Core/Platform/CRunLoop.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kel
{
namespace ifacetest
{

// What a UI-side parameter listener heard: "info" for a definition, "change <group>" for a
// change, with the values of the last change.
class CRecordingParamListener : public CAudioInterfaceParamListener
{
public:
    void onParamInfo(const CAudioParamInfo& info) override
    {
        log.push_back("info");
        elementSize = info.getElementSize();
        isValid = info.isValid();
    }
    void onParamChange(const CAudioParamChange& change) override
    {
        log.push_back("change " + std::to_string(change.group));
        lastValues.assign(change.values, change.values + change.itemCount * elementSize);
    }

    std::vector<std::string> log;
    std::vector<double> lastValues;
    int elementSize = 1;
    bool isValid = false;
};

class CRecordingRegistryListener : public CAudioInterfaceRegistryListener
{
public:
    void onPresetList(int currentIndex, const CArray<CString>& names,
                      const CString& currentName) override
    {
        ++calls;
        current = currentIndex;
        count = names.getCount();
        name = test::CUtf8::of(currentName);
    }

    int calls = 0;
    int current = -1;
    int count = 0;
    std::string name;
};

// The parameters the tests touch, below plugin.modMain, bound from the product's definitions.
inline const char* const kBoundLeaves[] = {"modZumbelModule.gain", "modZumbelModule.freq",
                                           "modZumbelModule.period", "preset-name"};

// An instance tree as the product's template has it (environment, collector, visual collector,
// base connector, interface base, master registry, two host parameters) over the product's
// shared tree, and UI trees each with a client connector and a client.
class CInterfaceTest : public test::CAudioParamTreeTest
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(test::CErrorText::takeMessage(registerAudioExtParamCreators()), "");
        delete registerAudioInterfaceCreators();
        CAudioParamTreeTest::SetUp();
        CSystem::setErrorPresenter([](const char*, const char*, const char*, void*) {}, nullptr);
        // What lives for the whole program: this thread's run loop, the bridge's creator row.
        (void)CRunLoop::forThisThread();
        if (!CObject::hasCreator(CString("ui:ui-event-bridge")))
        {
            static const CCreatorRow row = CCreatorRow::of<CStdEventBridge>("ui:ui-event-bridge");
            ASSERT_EQ(test::CErrorText::takeMessage(CObject::registerCreators(&row, 1)), "");
        }
        liveBefore = CAllocator::liveBlocks();
        buildInstance();
    }

    void TearDown() override
    {
        for (CObject* ui : uiRoots)
            CObject::destroyObject(ui);
        uiRoots.clear();
        if (root)
            CObject::destroyObject(root);
        root = nullptr;
        CSystem::setErrorPresenter(nullptr, nullptr);
        CGlobalData::get().reset();
        // Counted before the resource table goes back, whose caches are not the test's.
        EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "framework blocks left behind";
        CAudioParamTreeTest::TearDown();
    }

    void buildInstance()
    {
        CTreeBlobWriter::Node top("kel", "");
        auto& plugin = top.add("core:object", "plugin");
        plugin.add("audio:audio-env", "audio-env").attr("viz-fps", "25.0");
        plugin.add("audio:param-collector", "param-collector").attr("env", "^audio-env");
        plugin.add("audio:viz-collector", "viz-collector").attr("env", "^audio-env");
        plugin.add("audio:interface-base-connector-vst", "interface-base-connector");
        plugin.add("audio:interface-base", "interface-base")
            .attr("base-connector", "^interface-base-connector")
            .attr("undo-count-max", "32")
            .attr("param-collector", "^param-collector")
            .attr("viz-collector", "^viz-collector");
        addMaster(plugin).attr("param-undo", "^interface-base").attr("file", "FactoryROM.cbf");
        auto& extList = plugin.add("audio:ext-param-list", "ext-param-list");
        for (const auto& [name, leaf] :
             {std::pair<const char*, const char*>{"Freq", "freq"}, {"Gain", "gain"}})
        {
            extList.add("audio:ext-param", "ext-param")
                .attr("param-collector", "^^param-collector")
                .attr("ext-name", name)
                .attr("param-name", std::string("plugin.modMain.modZumbelModule.") + leaf);
        }
        loadInstance(top,
                     std::vector<const char*>(std::begin(kBoundLeaves), std::end(kBoundLeaves)));
        base = dynamic_cast<CAudioInterfaceBase*>(root->findObject("plugin.interface-base"));
        baseConnector = dynamic_cast<CAudioInterfaceBaseConnectorVST*>(
            root->findObject("plugin.interface-base-connector"));
        registry = master;
        viz = dynamic_cast<CAudioVizCollector*>(root->findObject("plugin.viz-collector"));
        ASSERT_NE(base, nullptr);
        ASSERT_NE(baseConnector, nullptr);
        ASSERT_NE(viz, nullptr);
        ASSERT_EQ(baseConnector->getBase(), base);
    }

    struct CUi
    {
        CObject* root = nullptr;
        CAudioInterfaceClientConnectorVST* connector = nullptr;
        CAudioInterfaceClient* client = nullptr;

        // Hands the queued messages to the client; the error text of the first faulty one.
        std::string pump() { return test::CErrorText::takeMessage(connector->processBaseData()); }
        // Adds a listener of the parameter below plugin.modMain; the error text, "" for none.
        std::string listen(CAudioInterfaceParamListener& listener, const std::string& leaf)
        {
            return test::CErrorText::takeMessage(
                client->addParamListener(&listener, CString(("plugin.modMain." + leaf).c_str())));
        }
    };

    // A UI tree joined to the instance's base connector. With a bridge, connector and client
    // live under an event bridge of the calling thread (ui.bridge.connector, ui.bridge.client).
    CUi makeUi(bool connect = true, bool withBridge = false)
    {
        CTreeBlobWriter::Node top("kel", "");
        auto* ui = &top.add("core:object", "ui");
        if (withBridge)
            ui = &ui->add("ui:ui-event-bridge", "bridge");
        ui->add("audio:interface-client-connector-vst", "connector");
        ui->add("audio:interface-client", "client").attr("client-connector", "^connector");
        uiBlobs.push_back(CTreeBlobWriter::write(top));
        CUi made;
        made.root = new CObject();
        uiRoots.push_back(made.root);
        EXPECT_EQ(test::CErrorText::takeMessage(made.root->loadFromMemory(
                      uiBlobs.back().data(), uiBlobs.back().size(), true)),
                  "");
        const std::string at = withBridge ? "ui.bridge." : "ui.";
        made.connector = dynamic_cast<CAudioInterfaceClientConnectorVST*>(
            made.root->findObject(CString((at + "connector").c_str())));
        made.client = dynamic_cast<CAudioInterfaceClient*>(
            made.root->findObject(CString((at + "client").c_str())));
        EXPECT_NE(made.connector, nullptr);
        EXPECT_NE(made.client, nullptr);
        if (connect && made.connector)
            made.connector->connect(*baseConnector);
        return made;
    }

    static std::string fullName(const std::string& leaf) { return "plugin.modMain." + leaf; }

    std::vector<std::vector<uint8_t>> uiBlobs;
    std::vector<CObject*> uiRoots;
    int64_t liveBefore = 0;
    CAudioInterfaceBase* base = nullptr;
    CAudioInterfaceBaseConnectorVST* baseConnector = nullptr;
    CAudioParamRegistry* registry = nullptr;
    CAudioVizCollector* viz = nullptr;
};

} // namespace ifacetest
} // namespace kel
