#pragma once

// A headless tree test with the product's shared tree loaded: its fonts, palettes and image sets,
// at scale 1.0, and every class of the audio and interface libraries registered. The suites after
// one of these find the application as the others leave it.
#include "Audio/CAudioCreators.h"
#include "Core/CApplication.h"
#include "Core/Platform/CRunLoop.h"
#include "ProductResources.h"
#include "UI/CUiCreators.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Windows/CHeadlessTreeTest.h"

#include <functional>
#include <string>

namespace kel::test
{

class CSharedTreeTest : public CHeadlessTreeTest
{
protected:
    static void SetUpTestSuite()
    {
        CApplication::addCreatorRegistration(&CAudioCreators::registerAll);
        CApplication::addCreatorRegistration(&CUiCreators::registerAll);
        CApplication::shutdown();
        CApplication::init(resources::kResourceTable, "SharedData.xml");
        CUiScale::set(1.0);
    }
    static void TearDownTestSuite()
    {
        CApplication::shutdown();
        CApplication::init(resources::kResourceTable, "");
    }
    // The tree's "ui" with the shared window data, what before adds, and a root view "ui.win" of
    // width by height with its renderer, filled with the default palette's background and written
    // in the base font; answers the root view's node.
    static CTreeBlobWriter::Node&
    addWindow(CTreeBlobWriter::Node& tree, int width, int height,
              const std::function<void(CTreeBlobWriter::Node& ui)>& before = nullptr)
    {
        CTreeBlobWriter::Node& ui = tree.add("ui:ui-event-bridge", "ui");
        ui.add("ui:window-shared-data", "window-shared-data");
        if (before)
            before(ui);
        CTreeBlobWriter::Node& win = ui.add("ui:view", "win");
        win.attr("is-root-view", "true")
            .attr("width", std::to_string(width))
            .attr("height", std::to_string(height));
        win.attr("palette", "Default").attr("color", "Background").attr("is-filled", "true");
        win.attr("font-name", "shared::fnt.base");
        win.add("ui:window-renderer", "window-renderer").attr("fps", "40");
        return win;
    }
    // Messages the test left on the thread's run loop go before the tree does.
    void TearDown() override
    {
        if (CRunLoop* loop = CRunLoop::getCurrent())
            loop->pump();
        CHeadlessTreeTest::TearDown();
    }
};

} // namespace kel::test
