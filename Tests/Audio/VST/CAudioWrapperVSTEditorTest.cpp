// The editor through the VST layer on the headless screen: its size before open, the tree it
// builds and draws, the pump that keeps it alive without idle, and a tree that cannot be built.
#include "Audio/CAudioInterfaceBaseConnectorVST.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "Core/CApplication.h"
#include "Core/CResourceTable.h"
#include "Core/CSystem.h"
#include "Core/Platform/CThisThread.h"
#include "Support/CFakeHost.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Rendering/CSectorMap.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Windows/CEditorPump.h"
#include "UI/Windows/CWindow.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace kel;

namespace
{

CNativeDisplay* makeHeadless()
{
    return new CHeadlessDisplay();
}

std::vector<std::string>& shownErrors()
{
    static std::vector<std::string> errors;
    return errors;
}

class CAudioWrapperVSTEditorTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CAudioWrapperVSTEditor::setDisplayMaker(&makeHeadless);
        shownErrors().clear();
        CSystem::setErrorPresenter([](const char*, const char*, const char* details, void*)
                                   { shownErrors().push_back(details); },
                                   nullptr);
        ASSERT_EQ(CAudioWrapperVST::create(host.callback(), &effect, 2), nullptr);
        editor = static_cast<CAudioWrapperVSTEditor*>(
            static_cast<CAudioWrapperVST*>(AudioEffect::fromAeffect(effect))->getEditor());
    }
    void TearDown() override
    {
        CFakeHost::close(effect);
        CSystem::setErrorPresenter(nullptr, nullptr);
        CAudioWrapperVSTEditor::setDisplayMaker(nullptr);
    }

    CHeadlessWindow* mainWindow() const
    {
        return dynamic_cast<CHeadlessWindow*>(editor->getRenderer()->getNativeWindow());
    }

    CFakeHost host;
    AEffect* effect = nullptr;
    CAudioWrapperVSTEditor* editor = nullptr;
    int parent = 0;
};

} // namespace

TEST_F(CAudioWrapperVSTEditorTest, RectComesFromTheProjectTimesTheScaleBeforeAnyOpen)
{
    ERect* rect = nullptr;
    ASSERT_EQ(CFakeHost::dispatch(effect, kEffEditGetRect, 0, 0, &rect), 1);
    ASSERT_NE(rect, nullptr);
    EXPECT_EQ(rect->right - rect->left, 446);
    EXPECT_EQ(rect->bottom - rect->top, 215);
    CUiScale::set(1.25);
    CFakeHost::dispatch(effect, kEffEditGetRect, 0, 0, &rect);
    CUiScale::set(1.0);
    // 446 * 1.25 = 557.5 and 215 * 1.25 = 268.75, rounded.
    EXPECT_EQ(rect->right, 558);
    EXPECT_EQ(rect->bottom, 269);
}

TEST_F(CAudioWrapperVSTEditorTest, OpenBuildsTheTreeDrawsTheFirstFrameAndJoinsTheInstance)
{
    ASSERT_EQ(CFakeHost::dispatch(effect, kEffEditOpen, 0, 0, &parent), 1) << shownErrors().size();
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
    EXPECT_EQ(CFakeHost::dispatch(effect, kEffEditOpen, 0, 0, &parent), 0);
    CFakeHost::dispatch(effect, kEffEditClose);
    EXPECT_EQ(editor->getUiRoot(), nullptr);
    EXPECT_EQ(CFakeHost::dispatch(effect, kEffEditOpen, 0, 0, &parent), 1);
    CFakeHost::dispatch(effect, kEffEditClose);
    EXPECT_TRUE(shownErrors().empty()) << shownErrors().front();
}

TEST_F(CAudioWrapperVSTEditorTest, AWindowWithNothingChangingDrawsNothing)
{
    ASSERT_EQ(CFakeHost::dispatch(effect, kEffEditOpen, 0, 0, &parent), 1);
    CWindow* renderer = editor->getRenderer();
    CSectorMap* map = renderer->getSectorMap();
    const int flushes = mainWindow()->getFlushCount();
    map->resetCounters();
    for (int frame = 0; frame < 20; ++frame)
        renderer->renderStep();
    EXPECT_EQ(map->getViewDrawCount(), 0);
    EXPECT_EQ(mainWindow()->getFlushCount(), flushes);
    CFakeHost::dispatch(effect, kEffEditClose);
}

TEST_F(CAudioWrapperVSTEditorTest, FallbackPumpServesTheEditorUntilIdleComesBack)
{
    ASSERT_EQ(CFakeHost::dispatch(effect, kEffEditOpen, 0, 0, &parent), 1);
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
        CFakeHost::dispatch(effect, kEffEditIdle);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    const uint64_t pumps = pump->getFallbackPumps();
    for (int i = 0; i < 10; ++i)
    {
        CFakeHost::dispatch(effect, kEffEditIdle);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_FALSE(pump->isFallbackActive());
    EXPECT_EQ(pump->getFallbackPumps(), pumps);
    CFakeHost::dispatch(effect, kEffEditClose);
    EXPECT_EQ(editor->getPump(), nullptr);
}

TEST_F(CAudioWrapperVSTEditorTest, EditorCallsWithoutAnOpenEditorDoNothing)
{
    CFakeHost::dispatch(effect, kEffEditIdle);
    CFakeHost::dispatch(effect, kEffEditClose);
    CFakeHost::dispatch(effect, kEffEditIdle);
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

        EXPECT_EQ(CFakeHost::dispatch(effect, kEffEditOpen, 0, 0, &parent), 0) << bad.message;
        CResourceTable::install(product);
        EXPECT_EQ(editor->getUiRoot(), nullptr);
        EXPECT_EQ(editor->getPump(), nullptr);
        EXPECT_EQ(CApplication::getRootCount(), rootsBefore);
        ASSERT_EQ(shownErrors().size(), 1u) << bad.message;
        EXPECT_NE(shownErrors()[0].find(bad.message), std::string::npos) << shownErrors()[0];
    }
}
