#include "CEditorFixture.h"

#include "Support/CTempFolder.h"

#include <sys/wait.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

namespace kel
{

const char* CEditorFixture::getPluginPath()
{
    const char* chosen = std::getenv("KEL_EDITOR_PLUGIN");
    return chosen && *chosen ? chosen : KEL_PLUGIN_PATH;
}

namespace
{

// Runs a shell command line, stdout and stderr together.
CEditorFixture::CChildResult runCommand(const std::string& command)
{
    CEditorFixture::CChildResult result;
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        return result;
    char buffer[512];
    while (std::fgets(buffer, sizeof(buffer), pipe))
        result.output += buffer;
    const int status = pclose(pipe);
    if (WIFEXITED(status))
        result.exitCode = WEXITSTATUS(status);
    else if (WIFSIGNALED(status))
        result.killedBy = WTERMSIG(status);
    return result;
}

} // namespace

CEditorFixture::CChildResult CEditorFixture::runEditorHost(const std::string& environment,
                                                           const std::string& arguments)
{
    return runCommand("env " + environment + " '" KEL_EDITOR_HOST_PATH "' '" + getPluginPath() +
                      "' " + arguments + " 2>&1");
}

CEditorFixture::CChildResult CEditorFixture::runTestInChild(const std::string& environment,
                                                            const std::string& testName)
{
    // Resolved here: in the child's command line /proc/self/exe would be env itself.
    std::error_code failed;
    const std::string self = std::filesystem::read_symlink("/proc/self/exe", failed).string();
    if (failed)
        return CChildResult{"/proc/self/exe: " + failed.message()};
    return runCommand("env " + environment + " '" + self +
                      "' --gtest_also_run_disabled_tests --gtest_filter=" + testName + " 2>&1");
}

std::string CEditorFixture::describe(CError* error)
{
    std::unique_ptr<CError> owned(error);
    char text[1024];
    owned->formatChain(text, sizeof(text));
    return text;
}

std::map<int32_t, std::vector<std::string>> CEditorFixture::editsHeard(const CHostedPlugin& plugin)
{
    std::map<int32_t, std::vector<std::string>> heard;
    for (const CHostedPlugin::CCallRecord& entry : plugin.getCallbackLog())
    {
        const char* step = entry.opcode == kHostBeginEdit  ? "begin"
                           : entry.opcode == kHostAutomate ? "automate"
                           : entry.opcode == kHostEndEdit  ? "end"
                                                           : nullptr;
        if (!step)
            continue;
        std::vector<std::string>& steps = heard[entry.index];
        if (steps.empty() || steps.back() != step)
            steps.push_back(step);
    }
    return heard;
}

void CEditorFixture::SetUp()
{
    // The settings and banks the plug-ins keep go to a folder of this run: every run starts
    // from the defaults, whatever an earlier one picked or added.
    static test::CTempFolder dataHome("kel-editor-data");
    setenv("XDG_DATA_HOME", dataHome.path().c_str(), 1);
    // Xvfb starts over whenever its last client leaves and refuses connections meanwhile; a
    // connection held for the whole run keeps it from doing so between two tests.
    static CEditorHost keepServer;
    if (!keepServer.isOpen())
        delete keepServer.open();
    if (CError* error = host.open())
        FAIL() << describe(error) << " (the editor tests run under xvfb-run)";
    errorsAtStart = CEditorHost::getErrorCount();
}

void CEditorFixture::TearDown()
{
    host.close();
    plugins.clear();
    EXPECT_EQ(CEditorHost::getErrorCount(), errorsAtStart)
        << "X errors; the last: error " << CEditorHost::getLastError().errorCode << ", request "
        << CEditorHost::getLastError().requestCode << "." << CEditorHost::getLastError().minorCode
        << ", resource 0x" << std::hex << CEditorHost::getLastError().resourceId;
    EXPECT_TRUE(CEditorHost::isErrorHandlerInstalled())
        << "the plug-in replaced the host's X error handler";
}

CHostedPlugin* CEditorFixture::loadPlugin()
{
    auto plugin = std::make_unique<CHostedPlugin>(vstHost);
    if (CError* error = plugin->load(getPluginPath()))
    {
        ADD_FAILURE() << describe(error);
        return nullptr;
    }
    plugin->open();
    plugin->start(48000.0, 512);
    plugins.push_back(std::move(plugin));
    return plugins.back().get();
}

bool CEditorFixture::openEditor(CEditorHost& editorHost, CHostedPlugin& plugin, int x, int y)
{
    if (CError* error = editorHost.openEditor(plugin, x, y))
    {
        ADD_FAILURE() << describe(error);
        return false;
    }
    return editorHost.isEditorOpen(plugin);
}

bool CEditorFixture::processAudio(CHostedPlugin& plugin, int blocks)
{
    constexpr int kFrames = 512;
    std::vector<float> left(kFrames), right(kFrames), outLeft(kFrames), outRight(kFrames);
    const float* inputs[] = {left.data(), right.data()};
    float* outputs[] = {outLeft.data(), outRight.data()};
    for (int block = 0; block < blocks; ++block)
    {
        for (int i = 0; i < kFrames; ++i)
            left[i] = right[i] = 0.25f * std::sin(0.05f * static_cast<float>(block * kFrames + i));
        if (CError* error = plugin.processBlock(inputs, 2, outputs, 2, kFrames))
        {
            ADD_FAILURE() << describe(error);
            return false;
        }
        for (int i = 0; i < kFrames; ++i)
            if (!std::isfinite(outLeft[i]) || !std::isfinite(outRight[i]))
            {
                ADD_FAILURE() << "sample " << i << " of block " << block << " is not finite";
                return false;
            }
    }
    return true;
}

} // namespace kel
