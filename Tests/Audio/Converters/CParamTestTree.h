#pragma once

#include "Audio/CAudioParamCreators.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "Core/CAllocator.h"
#include "Core/CObject.h"
#include "Support/CErrorText.h"
#include "Support/CTreeBlobWriter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kel
{
namespace paramtest
{

inline void ensureCreators()
{
    if (!CObject::hasCreator("audio:cvt-gain"))
    {
        CError* error = registerAudioParamCreators();
        ASSERT_EQ(test::CErrorText::takeMessage(error), "");
    }
}

// The converters of the shared tree with the settings its source gives them, all attributes
// written out.
inline void addSharedConverters(CTreeBlobWriter::Node& paramcvt)
{
    auto time = [&](const char* name, const char* scale, const char* isLog, const char* isExact,
                    const char* isPrecise)
    {
        paramcvt.add("audio:cvt-time", name)
            .attr("label", "ms")
            .attr("scale", scale)
            .attr("is-log", isLog)
            .attr("is-exact", isExact)
            .attr("is-precise", isPrecise);
    };
    paramcvt.add("audio:cvt-gain", "gain").attr("label", "dB").attr("decimals", "1");
    paramcvt.add("audio:cvt-freq", "freq").attr("label", "Hz");
    paramcvt.add("audio:cvt-percent", "percent").attr("label", "%");
    paramcvt.add("audio:cvt-real", "real").attr("label", "").attr("decimals", "2");
    paramcvt.add("audio:cvt-real", "phase").attr("label", "").attr("decimals", "1");
    paramcvt.add("audio:cvt-real", "real-threshold").attr("label", "").attr("decimals", "1");
    paramcvt.add("audio:cvt-ratio", "ratio").attr("label", "").attr("decimals", "1");
    paramcvt.add("audio:cvt-ratio", "ratio2").attr("label", "").attr("decimals", "2");
    paramcvt.add("audio:cvt-text", "text").attr("label", "");
    paramcvt.add("audio:cvt-bw", "bw").attr("label", "Oct");
    time("time", "0.001", "false", "false", "false");
    time("timelog", "0.001", "true", "false", "false");
    time("time-sec", "1.0", "false", "false", "false");
    time("time-exact", "0.001", "false", "true", "true");
    auto enumeration = [&](const char* name, const char* states)
    { paramcvt.add("audio:cvt-enum", name).attr("label", "").attr("state-names", states); };
    enumeration("enum", "");
    enumeration("enum-enable", "Off;On");
    enumeration("enum-zumbel", "Beep;Noise;Mute");
    enumeration("enum-kelgate", "Fall;Cutoff A|CutA;Cutoff B|CutB");
    enumeration("enum-filters-std",
                "Off;Peaking;Lo-shelf|Lo-shlf;Hi-shelf|Hi-shlf;Lo-pass;Hi-pass");
}

// A shared tree for parameter tests: audio.paramcvt with the converters, and whatever a test
// adds under `audio` before load(). The loaded tree is installed as the shared root while the
// object lives; every framework block it made is gone afterwards.
class CParamTreeTest : public ::testing::Test
{
protected:
    CParamTreeTest()
    {
        audio = &source.add("core:object", "audio");
        addSharedConverters(audio->add("core:object", "paramcvt"));
    }

    void SetUp() override
    {
        ensureCreators();
        // The first tree of the process makes the object core's lasting tables.
        static const bool warmedUp = [this]
        {
            load();
            unload();
            return true;
        }();
        (void)warmedUp;
        liveBefore = CAllocator::liveBlocks();
    }

    void TearDown() override
    {
        unload();
        EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "framework blocks left behind";
    }

    void unload()
    {
        if (CObject::getSharedRoot() == tree)
            CObject::setSharedRoot(nullptr);
        CObject::destroyObject(tree);
        tree = nullptr;
    }

    // Builds the tree from source; answers the first error's message, empty for success.
    std::string load()
    {
        unload();
        blob = CTreeBlobWriter::write(source);
        tree = new CObject();
        CObject::setSharedRoot(tree);
        return test::CErrorText::takeMessage(tree->loadFromMemory(blob.data(), blob.size(), true));
    }

    template <class T> T* find(const char* path) const
    {
        return dynamic_cast<T*>(tree ? tree->findObject(path) : nullptr);
    }
    const CAudioParamConverter& converter(const char* name) const
    {
        const CAudioParamConverter* found =
            find<CAudioParamConverter>((std::string("audio.paramcvt.") + name).c_str());
        EXPECT_NE(found, nullptr) << name;
        return *found;
    }

    // A parameter definition node with every attribute; tests override what they need.
    CTreeBlobWriter::Node& addParam(CTreeBlobWriter::Node& parent, const char* name,
                                    const char* converterName, const char* minValues,
                                    const char* maxValues, const char* defValues)
    {
        CTreeBlobWriter::Node& node = parent.add("audio:param", name);
        node.attr("element-size", "1")
            .attr("data-type", "real")
            .attr("is-persistent", "false")
            .attr("is-storable", "true")
            .attr("is-global", "false")
            .attr("is-discrete", "false")
            .attr("is-single-group", "false")
            .attr("visual-name", name)
            .attr("param-registry", "")
            .attr("converter", converterName)
            .attr("min-values", minValues)
            .attr("max-values", maxValues)
            .attr("def-values", defValues);
        return node;
    }

    // The six user parameters of the insertion process, as the shared tree declares them.
    CTreeBlobWriter::Node& addUserParams()
    {
        CTreeBlobWriter::Node& module =
            audio->add("core:object", "modMain").add("core:object", "modZumbelModule");
        addParam(module, "signal", "enum-zumbel", "0", "2", "0").attr("is-discrete", "true");
        addParam(module, "period", "time-sec", "1", "90", "30.0");
        addParam(module, "duration", "time-sec", "0.1", "1.5", "0.5");
        addParam(module, "freq", "freq", "60", "2000.0", "440.0");
        addParam(module, "gain", "gain", "-36", "0", "-12.0");
        addParam(module, "variation", "percent", "0.0", "50.0", "25");
        return module;
    }

    CTreeBlobWriter::Node source;
    CTreeBlobWriter::Node* audio = nullptr;
    std::vector<uint8_t> blob;
    CObject* tree = nullptr;
    int64_t liveBefore = 0;
};

} // namespace paramtest
} // namespace kel
