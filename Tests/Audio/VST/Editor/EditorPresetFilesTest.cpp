// What the user keeps beyond one process, seen from the outside: banks saved to files and loaded
// again through the editor's own file dialog, the curtain the editor draws while the host renders
// off-line, and the interface scale that the next load of the plug-in opens with. The real
// plug-in in our host, driven through XTest; what it stored is read with the product's own
// classes.
#include "CEditorFixture.h"

#include "Audio/CAudioPresetBank.h"
#include "Audio/CAudioPresetBankStore.h"
#include "Core/CApplicationData.h"
#include "Support/CTempFolder.h"

#include <X11/keysym.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace kel
{
namespace
{

// The main window's row of buttons at 100 %, and the knob area.
constexpr int kRowY = 41;
constexpr int kPresetsX = 36;
constexpr int kSettingsX = 350;
constexpr int kKnobLeft = 88;
constexpr int kKnobTop = 113;
constexpr int kKnobsRight = kKnobLeft + 5 * 70;
constexpr int kKnobsBottom = kKnobTop + 74;
// The preset manager: the banks' "+", "Load" and "Save", the presets' "+".
constexpr int kManagerButtonY = 47;
constexpr int kBankAddX = 15;
constexpr int kBankLoadX = 74;
constexpr int kBankSaveX = 120;
constexpr int kPresetAddX = 170;
// The file dialog: "Home", the name field.
constexpr int kDialogHomeX = 72;
constexpr int kDialogHomeY = 34;
constexpr int kDialogNameX = 230;
constexpr int kDialogNameY = 271;
// The settings window: the scale buttons.
constexpr int kScaleY = 106;
constexpr int kScale100X = 76;
constexpr int kScale125X = 125;

// Where the plug-in keeps its own data below the data home, and the item of the user's banks.
constexpr const char* kDataSubPath = "Kelmont/Audio Plug-Ins/Zumbel/";
constexpr const char* kBanksItem = "shared-banks";

// The environment that makes the child test load a bank file into a data home of its own.
constexpr const char* kChildDataEnv = "KEL_PRESET_CHILD_DATA_HOME";
constexpr const char* kChildFileEnv = "KEL_PRESET_CHILD_FILE";

std::string readBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool writeBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return static_cast<bool>(out);
}

std::string inQuotes(const std::string& text)
{
    return "'" + text + "'";
}

// Two banks hold the same presets: names, and per preset the same entries with the same bytes.
void expectSameBank(const CAudioPresetBank& actual, const CAudioPresetBank& expected)
{
    EXPECT_EQ(actual.getName(), expected.getName());
    ASSERT_EQ(actual.getCount(), expected.getCount());
    for (int index = 0; index < expected.getCount(); ++index)
    {
        SCOPED_TRACE(index);
        const CAudioPreset& want = *expected.getPreset(index);
        const CAudioPreset& got = *actual.getPreset(index);
        EXPECT_EQ(got.getName(), want.getName());
        EXPECT_EQ(got.getEntryCount(), want.getEntryCount());
        for (const auto& [key, blob] : want.getEntries())
        {
            const CByteBuffer* other = got.findEntry(key);
            ASSERT_NE(other, nullptr);
            EXPECT_TRUE(
                other->getSize() == blob.getSize() &&
                std::equal(blob.getData(), blob.getData() + blob.getSize(), other->getData()));
        }
    }
}

class EditorPresetFilesTest : public CEditorFixture
{
protected:
    void SetUp() override
    {
        CEditorFixture::SetUp();
        if (HasFatalFailure())
            return;
        const char* chosen = std::getenv("KEL_EDITOR_PLUGIN");
        if (chosen && *chosen)
            GTEST_SKIP() << "the stand-in editor has no preset manager";
        // A child run keeps its banks where the parent reads them afterwards.
        if (const char* childData = std::getenv(kChildDataEnv))
            setenv("XDG_DATA_HOME", childData, 1);
        dataHome = std::getenv("XDG_DATA_HOME");
        const char* home = std::getenv("HOME");
        oldHome = home ? home : "";
        plugin = loadPlugin();
        ASSERT_NE(plugin, nullptr);
        host.setIdleRate(30.0);
        KEL_OPEN_EDITOR_OR_SKIP(host, *plugin);
        ASSERT_GE(host.waitForFirstFrame(*plugin, kFirstFrameSec), 0.0);
    }

    void TearDown() override
    {
        if (plugin && host.isEditorOpen(*plugin))
            host.closeEditor(*plugin);
        CEditorFixture::TearDown();
        setenv("HOME", oldHome.c_str(), 1);
    }

    // The file dialog's "Home" goes to this folder.
    void useHome(const std::string& folder) { setenv("HOME", folder.c_str(), 1); }

    void rest()
    {
        host.movePointer(*plugin, host.getEditorWidth(*plugin) + 40, 20);
        host.runFor(0.25);
    }

    // The one top-level window that shows after action, 0 (with a failure) if none does.
    CEditorHost::WindowId windowOpenedBy(const std::function<void()>& action)
    {
        const std::vector<CEditorHost::WindowId> before = host.getTopLevelWindows();
        action();
        std::vector<CEditorHost::WindowId> found;
        host.runUntil(
            [&]()
            {
                found.clear();
                for (CEditorHost::WindowId window : host.getTopLevelWindows())
                    if (std::find(before.begin(), before.end(), window) == before.end() &&
                        host.isViewable(window))
                        found.push_back(window);
                return !found.empty();
            },
            2.0);
        host.runFor(0.2); // its first frame
        EXPECT_EQ(found.size(), 1u);
        return found.size() == 1 ? found[0] : 0;
    }

    bool waitUntilGone(CEditorHost::WindowId window)
    {
        return host.runUntil([&]() { return !host.isViewable(window); }, 2.0);
    }

    CEditorHost::WindowId openManager()
    {
        return windowOpenedBy([&]() { host.click(*plugin, kPresetsX, kRowY); });
    }

    // A bank button of the manager opens the file dialog; it goes to the home folder, the name
    // is typed into its field and Return chooses it. Answers whether the dialog went.
    bool chooseFile(CEditorHost::WindowId manager, int buttonX, const std::string& name)
    {
        const CEditorHost::WindowId dialog =
            windowOpenedBy([&]() { host.clickWindow(manager, buttonX, kManagerButtonY); });
        if (!dialog)
            return false;
        // The manager opened it: it stands above the manager.
        EXPECT_EQ(host.getTransientFor(dialog), manager);
        host.clickWindow(dialog, kDialogHomeX, kDialogHomeY);
        host.clickWindow(dialog, kDialogNameX, kDialogNameY);
        host.runFor(0.1);
        host.typeText(name);
        host.typeKey(XK_Return);
        return waitUntilGone(dialog);
    }

    // A new bank in the manager holding the state at defaults and the state with one parameter
    // moved: two presets that differ.
    void addBankOfTwoPresets(CEditorHost::WindowId manager)
    {
        host.clickWindow(manager, kBankAddX, kManagerButtonY);
        host.clickWindow(manager, kPresetAddX, kManagerButtonY);
        host.runFor(0.1);
        int gain = -1;
        for (int index = 0; index < plugin->getNumParams(); ++index)
            if (plugin->getParameterName(index) == "Gain")
                gain = index;
        ASSERT_GE(gain, 0);
        plugin->setParameter(gain, plugin->getParameter(gain) > 0.5f ? 0.2f : 0.8f);
        host.runFor(0.1);
        host.clickWindow(manager, kPresetAddX, kManagerButtonY);
        host.runFor(0.2);
    }

    // The rectangle zumbel-host reads in a process of its own with this run's data; empty if it
    // printed none.
    std::string rectOfNextLoad()
    {
        const CChildResult result =
            runEditorHost("XDG_DATA_HOME=" + inQuotes(dataHome), "--get-rect");
        EXPECT_EQ(result.exitCode, 0) << result.output;
        const size_t at = result.output.find("rect: ");
        return at == std::string::npos
                   ? std::string()
                   : result.output.substr(at + 6, result.output.find('\n', at) - at - 6);
    }

    std::string banksItemPath() const { return dataHome + "/" + kDataSubPath + kBanksItem; }

    CHostedPlugin* plugin = nullptr;
    std::string dataHome;
    std::string oldHome;
};

TEST_F(EditorPresetFilesTest, ABankSavedToAFileLoadsInAFreshProcessWithTheSamePresets)
{
    test::CTempFolder files("kel-bank-files");
    useHome(files.path());
    const CEditorHost::WindowId manager = openManager();
    ASSERT_NE(manager, 0u);
    addBankOfTwoPresets(manager);
    CRgbImage picture;
    ASSERT_TRUE(host.grabWindow(manager, picture));
    delete picture.writePng("editor-bank-to-save.png");

    // Saved through the dialog: the name typed without its extension gets it.
    ASSERT_TRUE(chooseFile(manager, kBankSaveX, "Saved-bank"));
    const std::string path = files.path() + "/Saved-bank.cbf";
    CAudioPresetBank saved;
    CError* error = saved.loadFile(CString::fromUtf8(path.c_str()));
    ASSERT_EQ(error, nullptr) << describe(error);
    ASSERT_EQ(saved.getCount(), 2);
    EXPECT_GT(saved.getPreset(0)->getEntryCount(), 0);
    bool differ = saved.getPreset(0)->getEntryCount() != saved.getPreset(1)->getEntryCount();
    for (const auto& [key, blob] : saved.getPreset(0)->getEntries())
    {
        const CByteBuffer* other = saved.getPreset(1)->findEntry(key);
        differ = differ || !other || other->getSize() != blob.getSize() ||
                 !std::equal(blob.getData(), blob.getData() + blob.getSize(), other->getData());
    }
    EXPECT_TRUE(differ) << "the two presets hold the same state";

    // A fresh process with no banks of its own loads the file through its dialog.
    test::CTempFolder childData("kel-bank-child-data");
    const CChildResult child =
        runTestInChild(std::string(kChildDataEnv) + "=" + inQuotes(childData.path()) + " " +
                           kChildFileEnv + "=Saved-bank.cbf HOME=" + inQuotes(files.path()),
                       "EditorPresetFilesTest.DISABLED_LoadsTheBankFileThroughTheDialog");
    ASSERT_EQ(child.exitCode, 0) << child.output;
    ASSERT_NE(child.output.find("[  PASSED  ] 1 test"), std::string::npos) << child.output;

    CApplicationData childStore(kDataSubPath, "AppDataLocal_");
    childStore.useFolders(CString::fromUtf8(childData.path().c_str()), CString());
    CAudioPresetBankStore banks(childStore, CString(kBanksItem));
    error = banks.read();
    ASSERT_EQ(error, nullptr) << describe(error);
    ASSERT_EQ(banks.getCount(), 1);
    expectSameBank(*banks.getBank(0), saved);
}

// The child's part of the test above: loads $KEL_PRESET_CHILD_FILE from the home folder.
TEST_F(EditorPresetFilesTest, DISABLED_LoadsTheBankFileThroughTheDialog)
{
    const char* fileName = std::getenv(kChildFileEnv);
    ASSERT_NE(fileName, nullptr);
    const CEditorHost::WindowId manager = openManager();
    ASSERT_NE(manager, 0u);
    ASSERT_TRUE(chooseFile(manager, kBankLoadX, fileName));
    host.runFor(0.2);
    CRgbImage picture;
    ASSERT_TRUE(host.grabWindow(manager, picture));
    delete picture.writePng("editor-bank-loaded.png");
}

TEST_F(EditorPresetFilesTest, ADamagedBankFileShowsBankFileLoadAndChangesNothing)
{
    test::CTempFolder files("kel-bank-files");
    useHome(files.path());
    const CEditorHost::WindowId manager = openManager();
    ASSERT_NE(manager, 0u);
    addBankOfTwoPresets(manager);
    ASSERT_TRUE(chooseFile(manager, kBankSaveX, "good"));
    std::string bytes = readBytes(files.path() + "/good.cbf");
    ASSERT_GT(bytes.size(), 32u);
    // Cut short, and bytes flipped in what is left.
    bytes.resize(bytes.size() * 2 / 3);
    for (size_t at = 8; at < bytes.size(); at += 7)
        bytes[at] = static_cast<char>(bytes[at] ^ 0x5a);
    const std::string damaged = files.path() + "/damaged.cbf";
    ASSERT_TRUE(writeBytes(damaged, bytes));
    CAudioPresetBank check;
    CError* loadError = check.loadFile(CString::fromUtf8(damaged.c_str()));
    ASSERT_NE(loadError, nullptr);
    delete loadError;

    const std::string storeBefore = readBytes(banksItemPath());
    ASSERT_FALSE(storeBefore.empty()) << banksItemPath();
    CEditorHost::WindowId message = 0;
    message =
        windowOpenedBy([&]() { ASSERT_TRUE(chooseFile(manager, kBankLoadX, "damaged.cbf")); });
    ASSERT_NE(message, 0u);
    EXPECT_EQ(host.getTransientFor(message), manager);
    EXPECT_EQ(host.getWindowTitle(message), "Bank file load");
    CRgbImage picture;
    ASSERT_TRUE(host.grabWindow(message, picture));
    EXPECT_FALSE(picture.isBlank());
    delete picture.writePng("editor-bank-load-error.png");
    EXPECT_EQ(readBytes(banksItemPath()), storeBefore);

    // Its OK (60 by 22, 100 from the left, in the row at the bottom) closes it.
    host.clickWindow(message, 130, picture.getHeight() - 15);
    EXPECT_TRUE(waitUntilGone(message));
    EXPECT_EQ(readBytes(banksItemPath()), storeBefore);
}

TEST_F(EditorPresetFilesTest, OfflineRenderingDrawsTheCurtainAndItsEndTakesItAway)
{
    ASSERT_TRUE(processAudio(*plugin, 8));
    rest();
    CRgbImage before;
    ASSERT_TRUE(host.grabEditor(*plugin, before));

    auto changedInKnobs = [&](const CRgbImage& picture)
    {
        int changed = 0;
        for (int y = kKnobTop; y < kKnobsBottom; ++y)
            for (int x = kKnobLeft; x < kKnobsRight; ++x)
                changed += picture.getPixel(x, y) != before.getPixel(x, y);
        return changed;
    };
    constexpr int kKnobPixels = (kKnobsRight - kKnobLeft) * (kKnobsBottom - kKnobTop);
    CRgbImage offline;
    vstHost.setProcessLevel(kProcessLevelOffline);
    ASSERT_TRUE(processAudio(*plugin, 8));
    EXPECT_TRUE(host.runUntil(
        [&]()
        { return host.grabEditor(*plugin, offline) && changedInKnobs(offline) > kKnobPixels / 2; },
        2.0));
    delete offline.writePng("editor-offline-curtain.png");
    EXPECT_GT(changedInKnobs(offline), kKnobPixels / 2);

    CRgbImage after;
    vstHost.setProcessLevel(CVstHost::kProcessLevelByThread);
    ASSERT_TRUE(processAudio(*plugin, 8));
    EXPECT_TRUE(host.runUntil(
        [&]() { return host.grabEditor(*plugin, after) && after.equals(before); }, 2.0));
    delete after.writePng("editor-offline-ended.png");
    EXPECT_TRUE(after.equals(before));
}

TEST_F(EditorPresetFilesTest, TheScaleChosenInTheSettingsOpensTheNextLoadAtThatSize)
{
    const int width = host.getEditorWidth(*plugin);
    const int height = host.getEditorHeight(*plugin);
    const std::string plain = std::to_string(width) + " x " + std::to_string(height);
    const std::string scaled = std::to_string(std::lround(width * 1.25)) + " x " +
                               std::to_string(std::lround(height * 1.25));
    ASSERT_EQ(rectOfNextLoad(), plain);

    const CEditorHost::WindowId settings =
        windowOpenedBy([&]() { host.click(*plugin, kSettingsX, kRowY); });
    ASSERT_NE(settings, 0u);
    host.clickWindow(settings, kScale125X, kScaleY);
    rest();
    // The open editor keeps its size; the choice is stored at once for the next load.
    EXPECT_EQ(host.getEditorWidth(*plugin), width);
    EXPECT_EQ(rectOfNextLoad(), scaled);
    const std::string grabPath = "editor-next-load-125.png";
    const CChildResult shown = runEditorHost("XDG_DATA_HOME=" + inQuotes(dataHome),
                                             "--editor --seconds 0.5 --grab " + grabPath);
    EXPECT_EQ(shown.exitCode, 0) << shown.output;
    const size_t at = shown.output.find("grab: " + grabPath + " (" + scaled + ", ");
    EXPECT_NE(at, std::string::npos) << shown.output;
    if (at != std::string::npos)
    {
        EXPECT_GT(std::atoi(shown.output.c_str() + shown.output.find(", ", at) + 2), 8)
            << shown.output;
    }

    // 100 % again, which every later load starts from.
    host.clickWindow(settings, kScale100X, kScaleY);
    rest();
    EXPECT_EQ(rectOfNextLoad(), plain);
}

} // namespace
} // namespace kel
