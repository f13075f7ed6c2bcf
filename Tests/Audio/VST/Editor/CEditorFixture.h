#pragma once

#include "CEditorHost.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kel
{

// Common ground of the editor tests: our host with a screen (opened on $DISPLAY, under
// xvfb-run), plug-ins loaded and resumed as a host does before it shows an editor, and the
// check every test ends with: the plug-in caused no X error and left the host's X error handler
// in place. The plug-in is the built one, or $KEL_EDITOR_PLUGIN when set. [the test's thread]
class CEditorFixture : public testing::Test
{
public:
    // What a child process printed, and how it ended.
    struct CChildResult
    {
        std::string output;
        int exitCode = -1; // -1 if it did not exit by itself
        int killedBy = 0;  // the signal that ended it, 0 if none
    };

    // The first frame must show within this after effEditOpen returns, at any idle rate.
    static constexpr double kFirstFrameSec = 0.5;
    static constexpr const char* kNoEditorYet =
        "effEditOpen answered 0: the plug-in has no editor window to test yet";

    static const char* getPluginPath();
    // Runs zumbel-host with `arguments` under `environment` (the text of env(1)'s options, such
    // as "-u DISPLAY"), stdout and stderr together.
    static CChildResult runEditorHost(const std::string& environment, const std::string& arguments);
    // Runs one test of this program (a DISABLED_ one too) in a process of its own under
    // `environment`, as runEditorHost does.
    static CChildResult runTestInChild(const std::string& environment, const std::string& testName);
    // The text of an error, which is deleted.
    static std::string describe(CError* error);
    // The edits the host heard since the plug-in's records were cleared: per parameter, the
    // steps "begin", "automate" and "end" in order, repeats of one step heard as one.
    static std::map<int32_t, std::vector<std::string>> editsHeard(const CHostedPlugin& plugin);

protected:
    void SetUp() override;
    void TearDown() override;

    // A plug-in loaded, opened and resumed at 48 kHz in blocks of 512, owned by the fixture
    // and unloaded after the host has closed its editors; null (with a failure recorded) if it
    // cannot be loaded.
    CHostedPlugin* loadPlugin();
    // Opens the plug-in's editor with `editorHost` at (x, y); answers whether it is open. A
    // failure of the host is recorded, a refusal of the plug-in is only answered.
    static bool openEditor(CEditorHost& editorHost, CHostedPlugin& plugin, int x = 0, int y = 0);
    // Runs `blocks` blocks of a sine through the plug-in; false (with a failure) on a fault or
    // a sample that is not finite.
    bool processAudio(CHostedPlugin& plugin, int blocks);

    CVstHost vstHost;
    CEditorHost host;
    int64_t errorsAtStart = 0;
    std::vector<std::unique_ptr<CHostedPlugin>> plugins;
};

} // namespace kel

// Opens the plug-in's editor; skips the test, with the reason, while the plug-in refuses.
#define KEL_OPEN_EDITOR_OR_SKIP(editorHost, plugin, ...)                                           \
    do                                                                                             \
    {                                                                                              \
        if (!openEditor((editorHost), (plugin), ##__VA_ARGS__))                                    \
        {                                                                                          \
            if (testing::Test::HasFailure())                                                       \
                return;                                                                            \
            GTEST_SKIP() << kNoEditorYet;                                                          \
        }                                                                                          \
    } while (0)
