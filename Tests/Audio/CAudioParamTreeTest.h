#pragma once

// A fixture base for tests of an instance's parameter objects: the product's shared tree as the
// shared root, its resources installed, the settings folders in a temporary folder, and a small
// instance tree "plugin" with its collector "param-collector" and master registry
// "param-registry", whose parameters below plugin.modMain are bound to the shared tree's
// definitions.
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/CAudioParamRegistry.h"
#include "Audio/CAudioParamRegistryCreators.h"
#include "Audio/CAudioProcessTestTree.h"
#include "Core/CGlobalData.h"
#include "Core/CResourceTable.h"
#include "Core/CSystem.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "Support/CTempFolder.h"
#include "Support/CTreeBlobWriter.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kel::test
{

class CAudioParamTreeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        processtest::ensureCreators();
        ASSERT_EQ(CErrorText::takeMessage(registerAudioParamRegistryCreators()), "");
        previousTable = CResourceTable::getInstalled();
        CResourceTable::install(resources::kResourceTable);
        ASSERT_EQ(shared.loadProduct(), "");
        CGlobalData::get().useFolders(CString(folder.path().c_str()),
                                      CString(folder.path().c_str()));
    }
    void TearDown() override
    {
        if (root)
            CObject::destroyObject(root);
        CSystem::setErrorPresenter(nullptr, nullptr);
        CGlobalData::get().reset();
        CResourceTable::install(previousTable);
    }

    // The attributes of the master registry as the product's template has them; the test adds
    // its own.
    static CTreeBlobWriter::Node& addMaster(CTreeBlobWriter::Node& plugin)
    {
        return plugin.add("audio:param-registry", "param-registry")
            .attr("hierarchy", "plugin.modMain")
            .attr("is-master", "true")
            .attr("id", "z4m1")
            .attr("param-collector", "^param-collector")
            .attr("preset-naming", "Master preset")
            .attr("preset-name-param", "plugin.modMain.preset-name");
    }
    // Loads the instance tree and binds the leaves below plugin.modMain as the process graph
    // does.
    void loadInstance(const CTreeBlobWriter::Node& top, const std::vector<const char*>& leaves)
    {
        blob = CTreeBlobWriter::write(top);
        root = new CObject();
        ASSERT_EQ(CErrorText::takeMessage(root->loadFromMemory(blob.data(), blob.size(), true)),
                  "");
        collector = dynamic_cast<CAudioParamCollector*>(root->findObject("plugin.param-collector"));
        master = dynamic_cast<CAudioParamRegistry*>(root->findObject("plugin.param-registry"));
        ASSERT_NE(collector, nullptr);
        ASSERT_NE(master, nullptr);
        for (const char* leaf : leaves)
            bind(leaf);
    }
    void bind(const std::string& leaf)
    {
        auto* def = shared.find<CAudioParamDef>(("audio.modMain." + leaf).c_str());
        ASSERT_NE(def, nullptr) << leaf;
        CAudioParamContext context;
        param(leaf).bind(*def, context);
    }

    CAudioParam& param(const std::string& leaf)
    {
        return *collector->getParam(CString(("plugin.modMain." + leaf).c_str()));
    }
    double value(const std::string& leaf, int group = 0, int index = 0)
    {
        return param(leaf).getValue(group, index);
    }
    // A value set as the host or the audio side sets it: no undo record, no origin.
    void setLive(const std::string& leaf, double v, int group = 0)
    {
        CAudioParamContext context;
        param(leaf).setValue(group, 0, v, context);
    }
    std::string valueText(const std::string& leaf, int group = 0, int item = 0)
    {
        CString out;
        param(leaf).getValueText(out, group, item);
        return CUtf8::of(out);
    }

    CTempFolder folder{"kel-param-tree"};
    processtest::CSharedTree shared;
    const CResourceEntry* previousTable = nullptr;
    std::vector<uint8_t> blob;
    CObject* root = nullptr;
    CAudioParamCollector* collector = nullptr;
    CAudioParamRegistry* master = nullptr;
};

} // namespace kel::test
