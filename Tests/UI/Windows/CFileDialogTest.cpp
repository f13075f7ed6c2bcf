// The file dialog on the headless screen, from the product's templates (FileDialog.xml with the
// buttons and message boxes it uses), opened by popup-toggle as the preset manager opens it, and
// driven through its window's input: the listing, moving between folders, choosing in load and
// save mode, the question before a file is replaced, Cancel, and the folder kept for next time.
#include "CCompiledNode.h"
#include "CTreeCompiler.h"
#include "Core/CLocalData.h"
#include "Core/Platform/CFolder.h"
#include "Core/Platform/CRunLoop.h"
#include "Support/CTempFolder.h"
#include "Support/CUtf8.h"
#include "UI/Controls/CButtonTreeTest.h"
#include "UI/Controls/CScrollerBar.h"
#include "UI/Controls/CTextView.h"
#include "UI/Windows/CFileDialog.h"

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

using namespace kel;

namespace
{

// Whatever the dialog sends: the event's name and its parameters.
struct CHeardFile
{
    std::string event;
    std::string path;
    std::string filename;
    std::string extension;
};

std::vector<CHeardFile>& heardFiles()
{
    static std::vector<CHeardFile> heard;
    return heard;
}

// The object the dialog's result goes to, as the preset manager takes it.
class CFileReceiver : public CObject
{
public:
    static void registerClass(CClassInfo& info)
    {
        CObject::registerClass(info);
        info.addEventProc<CFileReceiver>("on-bank-load", &CFileReceiver::onFile);
        info.addEventProc<CFileReceiver>("on-bank-save", &CFileReceiver::onFile);
    }

private:
    CError* onFile(const CAttrMap& params)
    {
        auto text = [&](const char* key)
        {
            const CAttrValue* value = params.find(CString(key));
            return value ? test::CUtf8::of(value->getString()) : std::string("<none>");
        };
        heardFiles().push_back(
            {text("event-name"), text("path"), text("filename"), text("extension")});
        return nullptr;
    }
};

std::string utf8(const CString& text)
{
    return test::CUtf8::of(text);
}

class CFileDialogTest : public test::CButtonTreeTest
{
protected:
    static void SetUpTestSuite()
    {
        CApplication::addCreatorRegistration(
            []() -> CError*
            {
                static const CCreatorRow rows[] = {
                    CCreatorRow::of<CFileReceiver>("test:file-receiver")};
                return CObject::registerCreators(rows);
            });
        CButtonTreeTest::SetUpTestSuite();
    }

    void SetUp() override
    {
        heardFiles().clear();
        // The user's data and home of this test alone.
        CLocalData::get().useFolders(CString(data.path().c_str()), CString());
        const char* home = std::getenv("HOME");
        oldHome = home ? home : "";
        setenv("HOME", files.path().c_str(), 1);

        // The dialog's templates as the build compiles them.
        const std::string resources = std::string(KEL_SOURCE_DIR) + "/Resources/Interface/";
        const std::string source = data.write(
            "dialog.xml", "<kel><include file=\"" + resources + "Buttons.xml\"/><include file=\"" +
                              resources + "MessageBoxes.xml\"/><include file=\"" + resources +
                              "FileDialog.xml\"/></kel>");
        CTreeCompiler compiler;
        CCompiledNode compiled;
        CError* error = compiler.compile(source, compiled);
        ASSERT_EQ(error, nullptr) << test::CErrorText::takeChain(error);

        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& win =
            makeWindowTree(tree, 300, 100,
                           [&](CTreeBlobWriter::Node& ui)
                           {
                               ui.add("core:object", "local-data")
                                   .add("core:object", "ui-color-scheme")
                                   .attr("palette-name", "Default");
                               ui.add("test:file-receiver", "manager");
                               for (const CCompiledNode& child : compiled.children)
                                   if (child.isTemplate && (child.name == "ui:win-file-dialog" ||
                                                            child.name == "ui:win-confirmation"))
                                       copyTemplate(child, ui);
                               // As UserInterface.xml has them.
                               ui.addTemplate("ui:window-blocker", "ui:picture")
                                   .attr("placement", "window-overlay")
                                   .attr("color", "WindowBlocker")
                                   .attr("is-filled", "true")
                                   .attr("z-index", "20");
                               ui.addTemplate("ui:editbox-popup", "ui:textview")
                                   .attr("placement", "overlay")
                                   .attr("color", "Background")
                                   .attr("is-filled", "true")
                                   .attr("z-index", "10");
                           });
        win.add("ui:view", "opener").attr("width", "80").attr("height", "20");
        openTree(tree);
    }
    void TearDown() override
    {
        if (!oldHome.empty())
            setenv("HOME", oldHome.c_str(), 1);
        CButtonTreeTest::TearDown();
        CLocalData::get().reset();
    }

    static void copyTemplate(const CCompiledNode& from, CTreeBlobWriter::Node& to)
    {
        CTreeBlobWriter::Node& body = to.addTemplate(from.name, from.classTag);
        body.attrs = from.children.front().attrs;
        copyNodes(from.children.front(), body);
    }
    static void copyNodes(const CCompiledNode& from, CTreeBlobWriter::Node& to)
    {
        for (const CCompiledNode& child : from.children)
        {
            CTreeBlobWriter::Node& node = to.add(child.tag, child.name);
            node.attrs = child.attrs;
            copyNodes(child, node);
        }
    }

    CViewBaseCtlEvents* opener() const
    {
        return dynamic_cast<CViewBaseCtlEvents*>(root->findObject(CString("ui.win.opener")));
    }
    // The dialog as the preset manager opens it for a bank; null when it did not open.
    CFileDialog* open(const char* mode, const char* prefix = "")
    {
        CAttrMap params;
        params.set(CString("popup-tag"), CAttrValue("ui:win-file-dialog"));
        params.set(CString("mode"), CAttrValue(mode));
        params.set(CString("filter-name"), CAttrValue("Compressed bank files"));
        params.set(CString("extension"), CAttrValue("cbf"));
        params.set(CString("filename-prefix"), CAttrValue(prefix));
        params.set(CString("result-event"),
                   CAttrValue(std::string(mode) == "save" ? "on-bank-save" : "on-bank-load"));
        params.set(CString("result-target"), CAttrValue("ui.manager"));
        lastOpenError =
            test::CErrorText::takeChain(opener()->callEventProc(CString("popup-toggle"), params));
        return dynamic_cast<CFileDialog*>(opener()->getOpenPopup());
    }
    bool isOpen() const { return opener()->getOpenPopup() != nullptr; }

    template <class T> static T* part(const CViewBaseCtlEvents* dialog, const char* path)
    {
        T* found = dialog ? dynamic_cast<T*>(dialog->findObject(CString(path))) : nullptr;
        EXPECT_NE(found, nullptr) << path;
        return found;
    }
    static std::string titleOf(const CViewBaseCtlEvents* dialog, const char* path)
    {
        const CObject* found = dialog ? dialog->findObject(CString(path)) : nullptr;
        return found ? utf8(found->getAttrString(CString("title"), CString())) : "<none>";
    }
    static std::vector<std::string> entries(const CFileDialog* dialog)
    {
        std::vector<std::string> out;
        for (int i = 0; i < dialog->getEntryCount(); ++i)
            out.push_back(utf8(dialog->getEntryName(i)));
        return out;
    }

    // Pointer input through the window the view is in.
    void press(const CViewBaseCtlEvents* inWindow, int x, int y, bool isDown, uint32_t atMs)
    {
        CWindow* own = inWindow->findWindow();
        ASSERT_NE(own, nullptr);
        auto* native = dynamic_cast<CHeadlessWindow*>(own->getNativeWindow());
        ASSERT_NE(native, nullptr);
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kMouseMove;
        event.x = x;
        event.y = y;
        event.timeMs = atMs;
        native->deliver(event);
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.button = 1;
        event.isDown = isDown;
        native->deliver(event);
    }
    void clickAt(const CViewBaseCtlEvents* inWindow, int x, int y)
    {
        timeMs += 1000;
        press(inWindow, x, y, true, timeMs);
        if (inWindow->findWindow() && inWindow->findWindow()->getNativeWindow())
            press(inWindow, x, y, false, timeMs + 10);
    }
    void clickOn(const CViewBase* view)
    {
        ASSERT_NE(view, nullptr);
        clickAt(view, centerX(view), centerY(view));
    }
    void clickOn(CFileDialog* dialog, const char* path) { clickOn(part<CViewBase>(dialog, path)); }
    // The middle of the list's line index (no scrolling, no paragraph spacing).
    void entryPoint(CFileDialog* dialog, int index, int& x, int& y)
    {
        auto* list = part<CTextView>(dialog, ".body.list-area.list");
        ASSERT_NE(list, nullptr);
        const CLinearBitmap::Rect r = list->getViewRect();
        const int line = list->getWrapper().getLineHeight();
        x = r.left + 10;
        y = r.top + index * line + line / 2;
    }
    void clickEntry(CFileDialog* dialog, int index)
    {
        int x = 0;
        int y = 0;
        entryPoint(dialog, index, x, y);
        clickAt(dialog, x, y);
    }
    void doubleClickEntry(CFileDialog* dialog, int index)
    {
        int x = 0;
        int y = 0;
        entryPoint(dialog, index, x, y);
        timeMs += 1000;
        press(dialog, x, y, true, timeMs);
        press(dialog, x, y, false, timeMs + 20);
        press(dialog, x, y, true, timeMs + 60);
        if (dialog->findWindow() && dialog->findWindow()->getNativeWindow())
            press(dialog, x, y, false, timeMs + 80);
    }
    static void pumpLoop()
    {
        if (CRunLoop* loop = CRunLoop::getCurrent())
            loop->pump();
    }
    static size_t colourCount(const CViewBaseCtlEvents* inWindow)
    {
        CWindow* own = inWindow->findWindow();
        own->renderStep();
        auto* native = dynamic_cast<CHeadlessWindow*>(own->getNativeWindow());
        std::set<uint32_t> colours;
        const CLinearBitmap& shown = native->getPicture();
        for (int y = 0; y < shown.getHeight(); ++y)
            for (int x = 0; x < shown.getWidth(); ++x)
                colours.insert(shown.getPixel(x, y) & 0x00ffffffu);
        return colours.size();
    }

    test::CTempFolder data{"kel-file-dialog-data"};
    test::CTempFolder files{"kel-file-dialog-files"};
    std::string oldHome;
    std::string lastOpenError;
};

} // namespace

TEST_F(CFileDialogTest, ListsFoldersFirstThenTheMatchingFilesAndMovesBetweenFolders)
{
    files.write("beta/inner.cbf", "x");
    files.write("Alpha/deeper/other.cbf", "x");
    files.write(".hidden/in.cbf", "x");
    for (const char* name :
         {"zeta.cbf", "Bravo.CBF", "alpha.cbf", "notes.txt", "x.cpf", "cbf", ".secret.cbf"})
        files.write(name, "x");

    CFileDialog* dialog = open("load");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    EXPECT_EQ(utf8(dialog->getFolder()), files.path()) << "a new user starts at home";
    EXPECT_EQ(entries(dialog), (std::vector<std::string>{"..", "Alpha", "beta", "alpha.cbf",
                                                         "Bravo.CBF", "zeta.cbf"}));
    auto* list = part<CTextView>(dialog, ".body.list-area.list");
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(utf8(list->getContent()), "../\nAlpha/\nbeta/\nalpha.cbf\nBravo.CBF\nzeta.cbf");
    EXPECT_EQ(titleOf(dialog, ".title-bar.title"), "Load file");
    EXPECT_EQ(titleOf(dialog, ".buttons.filter"), "Compressed bank files (*.cbf)");
    EXPECT_EQ(titleOf(dialog, ".places.folder"), files.path());
    EXPECT_EQ(titleOf(dialog, ".name-row.name"), "") << "load mode proposes no name";
    EXPECT_TRUE(opener()->findWindow()->isBlocked()) << "the dialog is modal";
    EXPECT_GT(colourCount(dialog), 10u) << "the window is drawn";

    // Into a folder with a double click, up with "..", into the other and up with the button.
    doubleClickEntry(dialog, 2);
    EXPECT_EQ(utf8(dialog->getFolder()), files.file("beta"));
    EXPECT_EQ(entries(dialog), (std::vector<std::string>{"..", "inner.cbf"}));
    doubleClickEntry(dialog, 0);
    EXPECT_EQ(utf8(dialog->getFolder()), files.path());
    doubleClickEntry(dialog, 1);
    EXPECT_EQ(entries(dialog), (std::vector<std::string>{"..", "deeper"}));
    clickOn(dialog, ".places.up");
    EXPECT_EQ(utf8(dialog->getFolder()), files.path());
    EXPECT_EQ(dialog->getEntryCount(), 6);
    EXPECT_TRUE(heardFiles().empty()) << "moving between folders chooses nothing";

    // Home comes back from elsewhere; the root has no "..".
    ASSERT_EQ(dialog->showFolder(CString("/")), nullptr);
    EXPECT_NE(entries(dialog).front(), "..");
    clickOn(dialog, ".places.up");
    EXPECT_EQ(utf8(dialog->getFolder()), "/");
    clickOn(dialog, ".places.home");
    EXPECT_EQ(utf8(dialog->getFolder()), files.path());
    // The plug-in's data folder is made when it is not there yet.
    clickOn(dialog, ".places.data");
    EXPECT_EQ(utf8(dialog->getFolder()) + "/", utf8(CLocalData::get().getUserFolder()));
    EXPECT_TRUE(dialog->getStatus().isEmpty()) << utf8(dialog->getStatus());
}

TEST_F(CFileDialogTest, ALongListScrollsWithItsBar)
{
    for (int i = 0; i < 200; ++i)
        files.write("bank" + std::to_string(1000 + i) + ".cbf", "x");
    CFileDialog* dialog = open("load");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    auto* list = part<CTextView>(dialog, ".body.list-area.list");
    auto* area = part<CViewBase>(dialog, ".body.list-area");
    auto* bar = part<CScrollerBar>(dialog, ".body.bar");
    ASSERT_TRUE(list && area && bar);
    dialog->findWindow()->renderStep();
    EXPECT_EQ(area->getAttrDouble(CString("scroller-height"), 0.0),
              list->getWrapper().getTextHeight());
    int start = 0;
    int length = 0;
    ASSERT_TRUE(bar->getThumb(start, length)) << "201 lines do not fit";
    const int layouts = list->getWrapper().getLayoutCount();
    const CLinearBitmap::Rect barRect = bar->getViewRect();
    clickAt(dialog, centerX(bar), barRect.bottom - 3);
    EXPECT_GT(area->getArea()->getValue(CViewArea::kScrollY), 0.0) << "a page down";
    dialog->findWindow()->renderStep();
    EXPECT_EQ(list->getWrapper().getLayoutCount(), layouts) << "scrolling lays nothing out";
}

TEST_F(CFileDialogTest, ChoosingInLoadModeSendsTheFileAndTheFolderIsKeptForNextTime)
{
    files.write("Sub/Bank A.CBF", "x");
    files.write("Sub/bank b.cbf", "x");
    CFileDialog* dialog = open("load");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    doubleClickEntry(dialog, 1);
    ASSERT_EQ(utf8(dialog->getFolder()), files.file("Sub"));

    // A press on a file names it; OK chooses it.
    clickEntry(dialog, 2);
    EXPECT_EQ(titleOf(dialog, ".name-row.name"), "bank b.cbf");
    clickOn(dialog, ".buttons.ok");
    ASSERT_EQ(heardFiles().size(), 1u);
    EXPECT_EQ(heardFiles()[0].event, "on-bank-load");
    EXPECT_EQ(heardFiles()[0].path, files.file("Sub/bank b.cbf"));
    EXPECT_EQ(heardFiles()[0].filename, "bank b.cbf");
    EXPECT_EQ(heardFiles()[0].extension, "cbf");
    EXPECT_FALSE(isOpen());
    EXPECT_FALSE(opener()->findWindow()->isBlocked());
    pumpLoop();

    // The next dialog starts in that folder; a double click on a file chooses it.
    CString kept;
    ASSERT_EQ(CLocalData::get().readString(CString(CFileDialog::kFolderItem), kept), nullptr);
    EXPECT_EQ(utf8(kept), files.file("Sub"));
    dialog = open("load");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    EXPECT_EQ(utf8(dialog->getFolder()), files.file("Sub"));
    doubleClickEntry(dialog, 1);
    ASSERT_EQ(heardFiles().size(), 2u);
    EXPECT_EQ(heardFiles()[1].path, files.file("Sub/Bank A.CBF"));
    EXPECT_EQ(heardFiles()[1].extension, "CBF");
    EXPECT_FALSE(isOpen());
    pumpLoop();

    // A name typed without the extension finds the file with it.
    dialog = open("load");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    ASSERT_EQ(
        part<CTextView>(dialog, ".name-row.name")->setAttr(CString("title"), CAttrValue("bank b")),
        nullptr);
    clickOn(dialog, ".buttons.ok");
    ASSERT_EQ(heardFiles().size(), 3u);
    EXPECT_EQ(heardFiles()[2].path, files.file("Sub/bank b.cbf"));
    EXPECT_EQ(heardFiles()[2].filename, "bank b.cbf");
    pumpLoop();

    // A name that is not there chooses nothing and says so; the dialog stays.
    dialog = open("load");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    ASSERT_EQ(
        part<CTextView>(dialog, ".name-row.name")->setAttr(CString("title"), CAttrValue("missing")),
        nullptr);
    clickOn(dialog, ".buttons.ok");
    EXPECT_EQ(heardFiles().size(), 3u);
    EXPECT_TRUE(isOpen());
    EXPECT_NE(titleOf(dialog, ".status").find("'missing'"), std::string::npos);

    // Cancel ends it and sends nothing.
    clickOn(dialog, ".buttons.cancel");
    EXPECT_FALSE(isOpen());
    EXPECT_EQ(heardFiles().size(), 3u);
    EXPECT_FALSE(opener()->findWindow()->isBlocked());
}

TEST_F(CFileDialogTest, SaveModeAddsTheExtensionAndAsksBeforeReplacingAFile)
{
    files.write("Old.cbf", "x");
    CFileDialog* dialog = open("save", "Bank ");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    EXPECT_EQ(titleOf(dialog, ".title-bar.title"), "Save file");
    EXPECT_EQ(titleOf(dialog, ".name-row.name"), "Bank ") << "the proposed name";
    auto* name = part<CTextView>(dialog, ".name-row.name");
    ASSERT_EQ(name->setAttr(CString("title"), CAttrValue("Bank mine")), nullptr);
    clickOn(dialog, ".buttons.ok");
    ASSERT_EQ(heardFiles().size(), 1u);
    EXPECT_EQ(heardFiles()[0].event, "on-bank-save");
    EXPECT_EQ(heardFiles()[0].path, files.file("Bank mine.cbf"));
    EXPECT_EQ(heardFiles()[0].filename, "Bank mine.cbf");
    EXPECT_EQ(heardFiles()[0].extension, "cbf");
    EXPECT_FALSE(isOpen());
    pumpLoop();

    // An existing file: the question first, nothing sent; No leaves the dialog up.
    dialog = open("save");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    clickEntry(dialog, 1);
    EXPECT_EQ(titleOf(dialog, ".name-row.name"), "Old.cbf");
    clickOn(dialog, ".buttons.ok");
    CViewBaseCtlEvents* question = dialog->getOpenPopup();
    ASSERT_NE(question, nullptr) << "asked before replacing";
    EXPECT_EQ(titleOf(question, ".title-bar.title"), "Replace file?");
    EXPECT_TRUE(dialog->findWindow()->isBlocked());
    EXPECT_EQ(heardFiles().size(), 1u);
    clickOn(part<CViewBase>(question, ".buttons.no"));
    EXPECT_EQ(dialog->getOpenPopup(), nullptr);
    EXPECT_TRUE(isOpen());
    EXPECT_EQ(heardFiles().size(), 1u);

    // Yes: the file goes out and the dialog ends.
    clickOn(dialog, ".buttons.ok");
    question = dialog->getOpenPopup();
    ASSERT_NE(question, nullptr);
    clickOn(part<CViewBase>(question, ".buttons.yes"));
    ASSERT_EQ(heardFiles().size(), 2u);
    EXPECT_EQ(heardFiles()[1].path, files.file("Old.cbf"));
    EXPECT_FALSE(isOpen());
    pumpLoop();
    EXPECT_FALSE(opener()->findWindow()->isBlocked());
}

TEST_F(CFileDialogTest, AnUnknownModeOrAnUnreadableFolderShowNothingNew)
{
    EXPECT_EQ(open("open"), nullptr);
    EXPECT_NE(lastOpenError.find("Invalid file dialog mode."), std::string::npos) << lastOpenError;
    EXPECT_FALSE(isOpen());

    files.write("gone/a.cbf", "x");
    files.write("b.cbf", "x");
    CFileDialog* dialog = open("load");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    const std::vector<std::string> before = entries(dialog);
    // The folder goes after it was listed: entering it fails, the list stays.
    ASSERT_EQ(CFolder::removeFile(files.file("gone/a.cbf").c_str()), 0);
    ASSERT_EQ(CFolder::removeFolder(files.file("gone").c_str()), 0);
    doubleClickEntry(dialog, 1);
    EXPECT_EQ(utf8(dialog->getFolder()), files.path());
    EXPECT_EQ(entries(dialog), before);
    const std::string status = utf8(dialog->getStatus());
    EXPECT_NE(status.find("cannot be read"), std::string::npos) << status;
    EXPECT_NE(status.find(files.file("gone")), std::string::npos) << status;
    EXPECT_EQ(titleOf(dialog, ".status"), status);
    // A file is no folder either; the next good folder clears the message.
    ASSERT_EQ(dialog->showFolder(CString(files.file("b.cbf").c_str())), nullptr);
    EXPECT_EQ(utf8(dialog->getFolder()), files.path());
    EXPECT_FALSE(dialog->getStatus().isEmpty());
    clickOn(dialog, ".places.home");
    EXPECT_TRUE(dialog->getStatus().isEmpty());
}

TEST_F(CFileDialogTest, Utf8NamesAreListedAndChosenAsTheSystemHasThem)
{
    const std::string folder = "Ünïcode 日本";
    const std::string file = "Grüße – ça.cbf";
    files.write(folder + "/" + file, "x");
    files.write(folder + "/éa.cbf", "x");
    files.write(folder + "/Eb.cbf", "x");
    CFileDialog* dialog = open("load");
    ASSERT_NE(dialog, nullptr) << lastOpenError;
    EXPECT_EQ(entries(dialog), (std::vector<std::string>{"..", folder}));
    doubleClickEntry(dialog, 1);
    EXPECT_EQ(utf8(dialog->getFolder()), files.file(folder));
    EXPECT_EQ(entries(dialog), (std::vector<std::string>{"..", "Eb.cbf", file, "éa.cbf"}));
    doubleClickEntry(dialog, 2);
    ASSERT_EQ(heardFiles().size(), 1u);
    EXPECT_EQ(heardFiles()[0].path, files.file(folder + "/" + file));
    EXPECT_EQ(heardFiles()[0].filename, file);
}
