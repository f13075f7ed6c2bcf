#pragma once

#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "Core/CSystem.h"
#include "Core/Platform/CRunLoop.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "CWrapperEntry.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace kel
{

// One plug-in instance from the VST layer whose editor opens on the headless screen, with the
// error window replaced by a list of what it would have shown. [the test's thread]
class CHeadlessEditorFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CAudioWrapperVSTEditor::setDisplayMaker([]() -> CNativeDisplay*
                                                { return new CHeadlessDisplay(); });
        shownErrors().clear();
        CSystem::setErrorPresenter([](const char*, const char*, const char* details, void*)
                                   { shownErrors().push_back(details); },
                                   nullptr);
        ASSERT_EQ(test::CErrorText::takeChain(plugin.attach(&CWrapperEntry::make<2>, "stereo")),
                  "");
        effect = plugin.getEffect();
        wrapper = static_cast<CAudioWrapperVST*>(AudioEffect::fromAeffect(effect));
        editor = static_cast<CAudioWrapperVSTEditor*>(wrapper->getEditor());
        // The test works on the editor's views from its own thread, as no host does: the
        // editor's stand-in thread (which serves a host that sends no idle) stays off the loop.
        loopHold = std::make_unique<CRunLoop::CHold>(CRunLoop::forThisThread());
    }
    void TearDown() override
    {
        plugin.close();
        loopHold.reset();
        CSystem::setErrorPresenter(nullptr, nullptr);
        CAudioWrapperVSTEditor::setDisplayMaker(nullptr);
    }

    // What the error window was given since SetUp, details only.
    static std::vector<std::string>& shownErrors()
    {
        static std::vector<std::string> errors;
        return errors;
    }

    CVstHost host;
    CHostedPlugin plugin{host};
    AEffect* effect = nullptr;
    CAudioWrapperVST* wrapper = nullptr;
    CAudioWrapperVSTEditor* editor = nullptr;
    int parent = 0;
    // Held from SetUp to TearDown; a test of the stand-in itself lets it go.
    std::unique_ptr<CRunLoop::CHold> loopHold;
};

} // namespace kel
