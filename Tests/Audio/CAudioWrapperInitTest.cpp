#include "Audio/CAudioCreators.h"
#include "Audio/CAudioProcessDefBase.h"
#include "Audio/CAudioWrapper.h"
#include "Core/CAllocator.h"
#include "Core/CApplication.h"
#include "Core/CArray.h"
#include "Core/CObject.h"
#include "Core/CSystem.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "Support/CTreeBlobWriter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

using kel::CAllocator;
using kel::CApplication;
using kel::CAttrValue;
using kel::CAudioWrapper;
using kel::CObject;
using kel::CString;
using kel::CTreeBlobWriter;
using kel::test::CErrorText;

namespace
{

// The threads of this process, as the system lists them.
int threadCount()
{
    kel::CArray<CString> entries;
    const std::string message =
        CErrorText::takeMessage(kel::CSystem::collectFiles(CString("/proc/self/task"), entries));
    EXPECT_EQ(message, "");
    return entries.getCount();
}

// What a case does to its own copy of the shared tree before an instance is made from it.
using TreeDamage = void (*)(CObject& shared, std::vector<uint8_t>& blob);

void setProjectAttr(CObject& shared, const char* attrName, const char* value)
{
    CObject* project = shared.findObject(CString("project"));
    ASSERT_NE(project, nullptr);
    EXPECT_EQ(CErrorText::takeMessage(project->setAttr(CString(attrName), CAttrValue(value))), "");
}

void destroy(CObject& shared, const char* path)
{
    CObject* doomed = shared.findObject(CString(path));
    ASSERT_NE(doomed, nullptr) << path;
    CObject::destroyObject(doomed);
}

// Puts a template `plugin` of the given body in place of the product's; the body's bytes go to
// blob, which must outlive the tree.
void replacePluginTemplate(CObject& shared, std::vector<uint8_t>& blob, const char* channels,
                           const char* groups, const char* firstChildTag)
{
    destroy(shared, "plugin");
    CTreeBlobWriter::Node root;
    CTreeBlobWriter::Node& body = root.addTemplate("plugin", "core:object");
    body.attr("sidechain", "false").attr("use-host-bpm", "false");
    body.attr("plugin-intchannel-count", channels).attr("plugin-group-count", groups);
    if (firstChildTag)
        body.add(firstChildTag, "dcdaw-context");
    blob = CTreeBlobWriter::write(root);
    EXPECT_EQ(CErrorText::takeMessage(shared.loadFromMemory(blob.data(), blob.size(), false)), "");
    ASSERT_NE(shared.findNamedTemplate(CString("plugin")), nullptr);
}

struct CInitFailure
{
    const char* what;
    TreeDamage damage;
    const char* message;
};

// Each way the shared tree can keep an instance from coming up, in the order init meets them.
const CInitFailure kInitFailures[] = {
    {"no project", [](CObject& shared, std::vector<uint8_t>&) { destroy(shared, "project"); },
     "Unable to find object 'shared::project' ('plugin')"},
    {"empty name",
     [](CObject& shared, std::vector<uint8_t>&) { setProjectAttr(shared, "app-name", ""); },
     "Plug-in name is empty."},
    {"empty vendor",
     [](CObject& shared, std::vector<uint8_t>&) { setProjectAttr(shared, "app-vendor", ""); },
     "Vendor name is empty."},
    {"no channels",
     [](CObject& shared, std::vector<uint8_t>& blob)
     { replacePluginTemplate(shared, blob, "0", "8", nullptr); },
     "Invalid 'plugin-intchannel-count' attribute value."},
    {"too many channels",
     [](CObject& shared, std::vector<uint8_t>& blob)
     { replacePluginTemplate(shared, blob, "9", "8", nullptr); },
     "Invalid 'plugin-intchannel-count' attribute value."},
    {"no groups",
     [](CObject& shared, std::vector<uint8_t>& blob)
     { replacePluginTemplate(shared, blob, "8", "0", nullptr); },
     "Invalid 'plugin-group-count' attribute value."},
    {"too many groups",
     [](CObject& shared, std::vector<uint8_t>& blob)
     { replacePluginTemplate(shared, blob, "8", "9", nullptr); },
     "Invalid 'plugin-group-count' attribute value."},
    {"three-character code",
     [](CObject& shared, std::vector<uint8_t>&) { setProjectAttr(shared, "plugin-code", "KZm"); },
     "Invalid plug-in code in string 'KZm'."},
    {"five-character code",
     [](CObject& shared, std::vector<uint8_t>&) { setProjectAttr(shared, "plugin-code", "KZmbb"); },
     "Invalid plug-in code in string 'KZmbb'."},
    {"version without minor",
     [](CObject& shared, std::vector<uint8_t>&) { setProjectAttr(shared, "app-version", "2"); },
     "Invalid version specification in string '2'."},
    {"version with four numbers",
     [](CObject& shared, std::vector<uint8_t>&)
     { setProjectAttr(shared, "app-version", "1.0.0.1"); },
     "Invalid version specification in string '1.0.0.1'."},
    {"instance without parts",
     [](CObject& shared, std::vector<uint8_t>& blob)
     { replacePluginTemplate(shared, blob, "8", "8", nullptr); },
     "Unable to find object 'plugin.dcdaw-context' ('plugin')"},
    {"kernel context of another class",
     [](CObject& shared, std::vector<uint8_t>& blob)
     { replacePluginTemplate(shared, blob, "8", "8", "core:object"); },
     "Incompatible type of object 'plugin.dcdaw-context' ('plugin')"},
    {"no main graph",
     [](CObject& shared, std::vector<uint8_t>&) { destroy(shared, "audio.modMain"); },
     "Unable to find object 'shared::audio.modMain' ('plugin')"},
    {"no output process",
     [](CObject& shared, std::vector<uint8_t>&) { destroy(shared, "audio.modOutput"); },
     "Unable to find object 'shared::audio.modOutput' ('plugin')"},
    // The main graph is built and initialised when the output turns out to be something else.
    {"output process of another class",
     [](CObject& shared, std::vector<uint8_t>&)
     {
         destroy(shared, "audio.modOutput");
         CObject* audio = shared.findObject(CString("audio"));
         ASSERT_NE(audio, nullptr);
         kel::CAudioProcessDefBase* mute = nullptr;
         EXPECT_EQ(CErrorText::takeMessage(
                       audio->createChild(CString("audio:modMute"), CString("modOutput"), mute)),
                   "");
     },
     "Output process object 'shared::audio.modOutput' is not of required 'CModOutput' type."},
    // The whole graph exists, its kernels are registered and two settings are bound.
    {"setting without its parameter",
     [](CObject& shared, std::vector<uint8_t>&)
     { destroy(shared, "audio.modMain.meter-peaktime"); },
     "Parameter 'plugin.modMain.meter-peaktime' not found."},
};

// Instances of the product's tree, each case on a private copy of the shared tree which it may
// break as it likes; the application's own shared tree stands again once the case is over.
class CAudioWrapperInitTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CApplication::addCreatorRegistration(&kel::CAudioCreators::registerAll);
        CApplication::init(kel::resources::kResourceTable, "SharedData.xml");
        productTree = CApplication::getSharedObject();
        ASSERT_NE(productTree, nullptr);
    }
    void TearDown() override
    {
        useProductTree();
        CApplication::shutdown();
    }

    // A copy of the product's shared tree becomes the one instances see.
    void useCopiedTree()
    {
        copiedTree = new CObject();
        CObject::setSharedRoot(copiedTree);
        ASSERT_EQ(
            CErrorText::takeMessage(copiedTree->loadFromResource(CString("SharedData.xml"), true)),
            "");
    }
    void useProductTree()
    {
        CObject::setSharedRoot(productTree);
        CObject::destroyObject(copiedTree);
        copiedTree = nullptr;
        blob.clear();
    }

    // One good instance from end to end: made, started, one block through it, gone.
    void expectGoodInstance(const char* after)
    {
        const int roots = CApplication::getRootCount();
        auto wrapper = std::make_unique<CAudioWrapper>();
        ASSERT_EQ(CErrorText::takeMessage(wrapper->init()), "") << after;
        EXPECT_EQ(wrapper->getPluginName(), CString("Zumbel")) << after;
        EXPECT_EQ(CApplication::getRootCount(), roots + 1) << after;
        wrapper->setChannelCount(2);
        wrapper->setSampleRate(48000.0);
        wrapper->setBlockSize(64);
        wrapper->start();
        float left[64] = {};
        float right[64] = {};
        left[0] = 0.5f;
        float* channels[2] = {left, right};
        wrapper->processBlock(channels, channels, 64);
        EXPECT_EQ(wrapper->getRunCount(), 1) << after;
        EXPECT_EQ(left[0], 0.5f) << after;
        wrapper->stop();
        wrapper.reset();
        EXPECT_EQ(CApplication::getRootCount(), roots) << after;
    }

    CObject* productTree = nullptr;
    CObject* copiedTree = nullptr;
    std::vector<uint8_t> blob;
};

} // namespace

TEST_F(CAudioWrapperInitTest, EachBrokenSharedTreeFailsInitWithItsMessageAndLeavesNothing)
{
    // Anything made once per process (creators, caches of the tree) is made before counting.
    expectGoodInstance("a first instance");
    for (const CInitFailure& failure : kInitFailures)
    {
        SCOPED_TRACE(failure.what);
        useCopiedTree();
        failure.damage(*copiedTree, blob);

        auto wrapper = std::make_unique<CAudioWrapper>();
        const int threads = threadCount();
        ASSERT_GT(threads, 0);
        const int roots = CApplication::getRootCount();
        const int64_t blocks = CAllocator::liveBlocks();
        EXPECT_EQ(CErrorText::takeMessage(wrapper->init()), failure.message);

        EXPECT_FALSE(wrapper->isInitialised());
        EXPECT_FALSE(wrapper->isRunning());
        EXPECT_EQ(threadCount(), threads);
        EXPECT_EQ(CApplication::getRootCount(), roots);
        EXPECT_EQ(wrapper->getPluginObject(), nullptr);
        EXPECT_EQ(wrapper->getContext(), nullptr);
        EXPECT_EQ(wrapper->getAudioEnv(), nullptr);
        EXPECT_EQ(wrapper->getParamCollector(), nullptr);
        EXPECT_EQ(wrapper->getParamRegistry(), nullptr);
        EXPECT_EQ(wrapper->getInterfaceBase(), nullptr);
        EXPECT_EQ(wrapper->getMainProcess(), nullptr);
        EXPECT_EQ(wrapper->getOutputProcess(), nullptr);
        EXPECT_EQ(wrapper->getModule(), nullptr);
        EXPECT_EQ(CAllocator::liveBlocks(), blocks) << "blocks of the failed instance are left";
        wrapper.reset();

        useProductTree();
        expectGoodInstance(failure.what);
    }
}
