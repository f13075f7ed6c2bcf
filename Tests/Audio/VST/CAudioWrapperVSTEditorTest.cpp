// The editor through the VST layer on the headless screen: its size before open, the tree it
// builds and draws, the pump that keeps it alive without idle, and a tree that cannot be built.
#include "Audio/CAudioInterfaceBaseConnectorVST.h"
#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioInterfaceParamListener.h"
#include "Audio/CAudioParamChange.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "Core/CAllocator.h"
#include "Core/CApplication.h"
#include "Core/CResourceTable.h"
#include "Core/CSystem.h"
#include "Core/Platform/CLock.h"
#include "Core/Platform/CThisThread.h"
#include "CHeadlessEditorFixture.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "Support/CMallocCounter.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Rendering/CSectorMap.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Windows/CEditorPump.h"
#include "UI/Windows/CWindow.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace kel;

namespace
{

class CAudioWrapperVSTEditorTest : public CHeadlessEditorFixture
{
protected:
    CHeadlessWindow* mainWindow() const
    {
        return dynamic_cast<CHeadlessWindow*>(editor->getRenderer()->getNativeWindow());
    }
};

} // namespace

TEST_F(CAudioWrapperVSTEditorTest, RectComesFromTheProjectTimesTheScaleBeforeAnyOpen)
{
    ERect* rect = nullptr;
    ASSERT_EQ(plugin.dispatch(kEffEditGetRect, 0, 0, &rect), 1);
    ASSERT_NE(rect, nullptr);
    EXPECT_EQ(rect->right - rect->left, 446);
    EXPECT_EQ(rect->bottom - rect->top, 215);
    CUiScale::set(1.25);
    plugin.dispatch(kEffEditGetRect, 0, 0, &rect);
    CUiScale::set(1.0);
    // 446 * 1.25 = 557.5 and 215 * 1.25 = 268.75, rounded.
    EXPECT_EQ(rect->right, 558);
    EXPECT_EQ(rect->bottom, 269);
}

TEST_F(CAudioWrapperVSTEditorTest, OpenBuildsTheTreeDrawsTheFirstFrameAndJoinsTheInstance)
{
    ASSERT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 1) << shownErrors().size();
    ASSERT_NE(editor->getUiRoot(), nullptr);
    CHeadlessWindow* window = mainWindow();
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->getOpenParams().parent, &parent);
    EXPECT_EQ(window->getPicture().getWidth(), 446);
    EXPECT_EQ(window->getPicture().getHeight(), 215);
    // The first frame went to the screen with the open, not a timer tick later: every pixel.
    EXPECT_EQ(window->getFlushCount(), 1);
    EXPECT_EQ(window->getPixelsPresented(), 446LL * 215);
    std::set<uint32_t> colours;
    for (int y = 0; y < 215; ++y)
        for (int x = 0; x < 446; ++x)
            colours.insert(window->getPicture().getPixel(x, y));
    EXPECT_GT(colours.size(), 8u) << "a window of a few flat colours is no drawn frame";

    // A second open is refused while the first stands; close and open work again.
    EXPECT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 0);
    plugin.dispatch(kEffEditClose);
    EXPECT_EQ(editor->getUiRoot(), nullptr);
    EXPECT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 1);
    plugin.dispatch(kEffEditClose);
    EXPECT_TRUE(shownErrors().empty()) << shownErrors().front();
}

TEST_F(CAudioWrapperVSTEditorTest, AWindowWithNothingChangingDrawsNothing)
{
    ASSERT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 1);
    CWindow* renderer = editor->getRenderer();
    CSectorMap* map = renderer->getSectorMap();
    const int flushes = mainWindow()->getFlushCount();
    map->resetCounters();
    for (int frame = 0; frame < 20; ++frame)
        renderer->renderStep();
    EXPECT_EQ(map->getViewDrawCount(), 0);
    EXPECT_EQ(mainWindow()->getFlushCount(), flushes);
    plugin.dispatch(kEffEditClose);
}

TEST_F(CAudioWrapperVSTEditorTest, FallbackPumpServesTheEditorUntilIdleComesBack)
{
    loopHold.reset(); // the stand-in is what this test is about
    ASSERT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 1);
    CEditorPump* pump = editor->getPump();
    CWindow* renderer = editor->getRenderer();
    ASSERT_NE(pump, nullptr);
    // No idle at all: after 100 ms the pump's thread serves the loop. Nothing changes in the
    // window, so after its first frame it sleeps: no frame is rendered while nothing happens.
    const uint64_t framesBefore = renderer->getFrameCount();
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    EXPECT_TRUE(pump->isFallbackActive());
    EXPECT_GT(pump->getFallbackPumps(), 0u);
    EXPECT_TRUE(renderer->isRenderSleeping());
    EXPECT_LE(renderer->getFrameCount(), framesBefore + 1);

    // Idle arrives: the thread hands back and pumps no more while idle keeps coming.
    for (int i = 0; i < 10; ++i)
    {
        plugin.dispatch(kEffEditIdle);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    const uint64_t pumps = pump->getFallbackPumps();
    for (int i = 0; i < 10; ++i)
    {
        plugin.dispatch(kEffEditIdle);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_FALSE(pump->isFallbackActive());
    EXPECT_EQ(pump->getFallbackPumps(), pumps);
    plugin.dispatch(kEffEditClose);
    EXPECT_EQ(editor->getPump(), nullptr);
}

TEST_F(CAudioWrapperVSTEditorTest, EditorCallsWithoutAnOpenEditorDoNothing)
{
    plugin.dispatch(kEffEditIdle);
    plugin.dispatch(kEffEditClose);
    plugin.dispatch(kEffEditIdle);
    EXPECT_EQ(editor->getUiRoot(), nullptr);
    EXPECT_TRUE(shownErrors().empty());
}

TEST_F(CAudioWrapperVSTEditorTest, ATreeThatCannotBeBuiltIsRefusedWithItsMessageAndLeavesNothing)
{
    struct CCase
    {
        const char* tag;
        const char* attr;
        const char* value;
        const char* message;
    };
    // A view with no view above it; a placement the views do not know; a match that names
    // nothing; a bad alignment.
    const CCase cases[] = {
        {"ui:view", "", "", "Unable to locate parent view."},
        {"ui:window-drag", "placement", "sideways", "Invalid placement 'sideways'."},
        {"ui:window-drag", "placement-match", "ui.nowhere", "Invalid match 'ui.nowhere'."},
        {"ui:window-drag", "alignment-h", "middle", "Invalid alignment-h 'middle'."},
    };
    const CResourceEntry* product = CResourceTable::getInstalled();
    for (const CCase& bad : cases)
    {
        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& ui = tree.add("ui:ui-event-bridge", "ui");
        ui.add("ui:window-shared-data", "window-shared-data");
        CTreeBlobWriter::Node& top = ui.add(bad.tag, "main-window");
        CTreeBlobWriter::Node& child =
            std::string(bad.tag) == "ui:view" ? top : top.add("ui:view", "c");
        if (std::string(bad.attr) == "placement-match")
            child.attr("placement", "match");
        if (*bad.attr)
            child.attr(bad.attr, bad.value);
        std::vector<uint8_t> blob = CTreeBlobWriter::writeResource(tree);
        std::vector<CResourceEntry> rows;
        rows.push_back({blob.data(), "UserInterface.xml"});
        for (const CResourceEntry* row = product; row && row->data; ++row)
            rows.push_back(*row);
        rows.push_back({nullptr, nullptr});
        CResourceTable::install(rows.data());
        const int rootsBefore = CApplication::getRootCount();
        shownErrors().clear();

        EXPECT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 0) << bad.message;
        CResourceTable::install(product);
        EXPECT_EQ(editor->getUiRoot(), nullptr);
        EXPECT_EQ(editor->getPump(), nullptr);
        EXPECT_EQ(CApplication::getRootCount(), rootsBefore);
        ASSERT_EQ(shownErrors().size(), 1u) << bad.message;
        EXPECT_NE(shownErrors()[0].find(bad.message), std::string::npos) << shownErrors()[0];
    }
}

namespace
{

// Records what reaches one parameter's listener on the editor's side.
class CValueWatcher : public CAudioInterfaceParamListener
{
public:
    void onParamInfo(const CAudioParamInfo&) override { ++infos; }
    void onParamChange(const CAudioParamChange& change) override
    {
        ++changes;
        if (change.itemCount > 0 && change.values)
            last = change.values[0];
    }

    int infos = 0;
    int changes = 0;
    double last = -1.0;
};

} // namespace

TEST_F(CAudioWrapperVSTEditorTest, HostAutomationReachesAnOpenEditorWithoutLocksOrAllocations)
{
    plugin.open();
    plugin.start(48000.0f, 512);
    ASSERT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 1);
    CAudioInterfaceClient* client = nullptr;
    ASSERT_EQ(editor->getUiRoot()->findObjectChecked(CString("ui.interface-client"), client),
              nullptr);
    const char* const names[] = {
        "plugin.modMain.modBypass.enable",         "plugin.modMain.modZumbelModule.period",
        "plugin.modMain.modZumbelModule.duration", "plugin.modMain.modZumbelModule.freq",
        "plugin.modMain.modZumbelModule.gain",     "plugin.modMain.modZumbelModule.variation"};
    CValueWatcher watchers[6];
    for (int i = 0; i < 6; ++i)
        ASSERT_EQ(client->addParamListener(&watchers[i], CString(names[i])), nullptr);
    plugin.dispatch(kEffEditIdle);
    for (const CValueWatcher& watcher : watchers)
        ASSERT_EQ(watcher.infos, 1);

    // A warm-up round, as a host plays a few blocks before automation comes.
    for (int i = 0; i < 6; ++i)
        effect->setParameter(effect, i, 0.25f);
    plugin.dispatch(kEffEditIdle);

    // The host's audio thread: automation of every parameter before each block.
    std::atomic<uint64_t> allocations{0};
    std::atomic<uint64_t> mallocs{0};
    std::atomic<uint64_t> locks{0};
    const int calls = 300;
    std::thread audio(
        [&]
        {
            float left[64] = {};
            float right[64] = {};
            float* channels[2] = {left, right};
            effect->processReplacing(effect, channels, channels, 64);
            const uint64_t self = CThisThread::id();
            CAllocator::watchThread(self);
            CLock::watchThread(self);
            test::CMallocCounter::watchThisThread();
            for (int call = 0; call < calls; ++call)
            {
                effect->setParameter(effect, call % 6, 0.3f + 0.002f * static_cast<float>(call));
                if (call % 6 == 5)
                    effect->processReplacing(effect, channels, channels, 64);
            }
            mallocs.store(test::CMallocCounter::count());
            test::CMallocCounter::stopWatching();
            allocations.store(CAllocator::watchedAllocations());
            locks.store(CLock::watchedLocks());
            CAllocator::watchThread(0);
            CLock::watchThread(0);
        });
    audio.join();
    EXPECT_EQ(allocations.load(), 0u);
    EXPECT_EQ(mallocs.load(), 0u);
    // One hold of the parameter's own lock per call, nothing else.
    EXPECT_EQ(locks.load(), static_cast<uint64_t>(calls));

    // The editor's next idle shows the last value of each parameter.
    plugin.dispatch(kEffEditIdle);
    for (int i = 0; i < 6; ++i)
    {
        // Bypass is a switch: anything above one half is on.
        const int lastCall = calls - 6 + i;
        const float expected = i == 0 ? 1.0f : 0.3f + 0.002f * static_cast<float>(lastCall);
        EXPECT_NEAR(effect->getParameter(effect, i), expected, 1e-6) << names[i];
        EXPECT_GT(watchers[i].changes, 0) << names[i];
    }
    for (CValueWatcher& watcher : watchers)
        EXPECT_EQ(client->removeParamListener(&watcher), nullptr);
    plugin.dispatch(kEffEditClose);
    EXPECT_TRUE(shownErrors().empty()) << shownErrors().front();
}
