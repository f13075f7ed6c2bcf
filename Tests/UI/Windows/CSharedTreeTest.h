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
    // Messages the test left on the thread's run loop go before the tree does.
    void TearDown() override
    {
        if (CRunLoop* loop = CRunLoop::getCurrent())
            loop->pump();
        CHeadlessTreeTest::TearDown();
    }
};

} // namespace kel::test
