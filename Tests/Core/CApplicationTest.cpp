#include "CEventTestFixture.h"

#include "Core/CAttrDoubler.h"
#include "Core/CConsole.h"
#include "Core/CDebugChannel.h"
#include "Core/CTreeOwner.h"
#include "Support/CErrorText.h"
#include "Support/CTempFolder.h"
#include "Support/CTreeBlobWriter.h"
#include "Support/CUtf8.h"

#include <filesystem>
#include <fstream>
#include <set>

using kel::test::CErrorText;
using kel::test::CUtf8;

namespace kel
{
namespace eventtest
{
namespace
{

class CApplicationTest : public testing::Test
{
protected:
    void SetUp() override { ensureApplication(); }
    void TearDown() override { CObject::setEventService(nullptr); }
};

TEST_F(CApplicationTest, SecondSharedObjectIsRefusedAndTheFirstStays)
{
    CObject* shared = CApplication::getSharedObject();
    ASSERT_NE(shared, nullptr);
    EXPECT_EQ(CErrorText::takeMessage(CApplication::initSharedObject(CString())),
              "Shared object already exists.");
    EXPECT_EQ(CApplication::getSharedObject(), shared);
    // A second init changes nothing either.
    CApplication::init(nullptr, "");
    EXPECT_EQ(CApplication::getSharedObject(), shared);
}

TEST_F(CApplicationTest, RootsGetTheirOwnOwnerRecordsWhichGoWithThem)
{
    const int rootsBefore = CApplication::getRootCount();
    CObject* first = nullptr;
    CObject* second = nullptr;
    ASSERT_EQ(CErrorText::takeMessage(CApplication::initRootObject(first, CString())), "");
    ASSERT_EQ(CErrorText::takeMessage(CApplication::initRootObject(second, CString())), "");
    ASSERT_NE(first->getTreeOwner(), nullptr);
    EXPECT_NE(first->getTreeOwner(), second->getTreeOwner());
    EXPECT_NE(first->getTreeOwner()->getRootId(), second->getTreeOwner()->getRootId());
    // Objects are numbered per tree.
    CObject* a = makeChild(first, "core:object", "a");
    CObject* b = makeChild(second, "core:object", "b");
    EXPECT_EQ(a->getObjectId(), b->getObjectId());
    EXPECT_EQ(CApplication::getRootCount(), rootsBefore + 2);
    CApplication::destroyRootObject(first);
    CApplication::destroyRootObject(second);
    EXPECT_EQ(CApplication::getRootCount(), rootsBefore);
    EXPECT_EQ(
        CErrorText::takeMessage(CApplication::initRootObject(first, CString("NoSuchTree.xml"))),
        "Unable to open file 'NoSuchTree.xml' for reading (error 2, flags 0).");
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(CApplication::getRootCount(), rootsBefore);

    // A tree that is no embedded resource is read from the file of that name.
    CTreeBlobWriter::Node tree;
    tree.add("core:object", "from-file").attr("colour", "green");
    const std::vector<uint8_t> blob = CTreeBlobWriter::write(tree);
    test::CTempFolder temp("kel-tree-file");
    const std::string path = temp.write("Tree.bin", std::string(blob.begin(), blob.end()));
    ASSERT_EQ(CErrorText::takeMessage(CApplication::initRootObject(first, CString(path.c_str()))),
              "");
    ASSERT_NE(first, nullptr);
    const CObject* loaded = first->findObject(CString("from-file"));
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(test::CUtf8::of(loaded->getAttrString(CString("colour"))), "green");
    CApplication::destroyRootObject(first);
}

TEST_F(CApplicationTest, RegistrationHookAddedLateRunsAtOnce)
{
    static int runs = 0;
    runs = 0;
    const CApplication::CreatorRegistration hook = []() -> CError*
    {
        ++runs;
        return nullptr;
    };
    CApplication::addCreatorRegistration(hook);
    CApplication::addCreatorRegistration(hook);
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(CObject::hasCreator(CString("core:timer")));
    EXPECT_TRUE(CObject::hasCreator(CString("ui:ui-event-bridge")));
}

TEST_F(CApplicationTest, AttrDoublerCopiesItsValueToEveryTarget)
{
    CObject* made = nullptr;
    ASSERT_EQ(CErrorText::takeMessage(CApplication::initRootObject(made, CString())), "");
    CObject* left = makeChild(made, "core:object", "left");
    CObject* right = makeChild(made, "core:object", "right");
    CObject* doubler = makeChild(made, "core:attr-doubler", "doubler",
                                 {{"target", "^.left, ^.right"}, {"attr", "width"}});
    ASSERT_EQ(CErrorText::takeMessage(doubler->setAttr(CString("value"), CAttrValue("120"))), "");
    EXPECT_EQ(CUtf8::of(left->getAttrString(CString("width"))), "120");
    EXPECT_EQ(CUtf8::of(right->getAttrString(CString("width"))), "120");

    CObject* bad = nullptr;
    ASSERT_EQ(
        CErrorText::takeMessage(made->addChild(CString("core:attr-doubler"), CString("bad"), bad)),
        "");
    EXPECT_EQ(CErrorText::takeMessage(bad->init()), "No target objects specified.");
    ASSERT_EQ(CErrorText::takeMessage(
                  bad->setAttr(CString("target"), CAttrValue("^.left ^.nowhere"), false)),
              "");
    EXPECT_EQ(CErrorText::takeMessage(bad->init()), "Target object '^.nowhere' not found.");
    CApplication::destroyRootObject(made);
}

TEST(CSystemTest, CollectFilesListsEntriesByPatternAndNamesTheFolderOnError)
{
    test::CTempFolder temp("kel-collect");
    const std::string& folder = temp.path();
    std::ofstream(folder + "/one.cpf") << "1";
    std::ofstream(folder + "/two.cpf") << "2";
    std::ofstream(folder + "/bank.cbf") << "3";
    std::filesystem::create_directory(folder + "/sub");

    CArray<CString> all;
    ASSERT_EQ(CErrorText::takeMessage(CSystem::collectFiles(CString(folder.c_str()), all)), "");
    std::set<std::string> names;
    for (const CString& name : all)
        names.insert(CUtf8::of(name));
    EXPECT_EQ(names, (std::set<std::string>{"one.cpf", "two.cpf", "bank.cbf", "sub"}));

    CArray<CString> presets;
    ASSERT_EQ(CErrorText::takeMessage(
                  CSystem::collectFiles(CString((folder + "/*.cpf").c_str()), presets)),
              "");
    EXPECT_EQ(presets.getCount(), 2);

    const std::string missing = folder + "/none";
    EXPECT_EQ(CErrorText::takeMessage(CSystem::collectFiles(CString(missing.c_str()), presets)),
              "Error 2 while collecting files list in '" + missing + "' path.");
    std::filesystem::remove_all(folder);
}

TEST(CSystemTest, ErrorWindowTextCarriesTheChainAndTheSupportAddress)
{
    static std::string shown;
    CSystem::setErrorPresenter(
        [](const char* title, const char* explanation, const char* details, void*)
        { shown = std::string(title) + "\n" + explanation + "\n" + details; },
        nullptr);
    CSystem::showError(KEL_ERROR("@kelstr_Test_show Something failed: %1.", "disk"));
    CSystem::showError(nullptr);
    CSystem::setErrorPresenter(nullptr, nullptr);
    EXPECT_EQ(shown.rfind("Kelmont Application Message\nAn issue has happened when executing "
                          "Kelmont application.\n\nIf this issue persists",
                          0),
              0u);
    EXPECT_NE(shown.find("via e-mail to support@kelmont.com. Use Shift+Insert"), std::string::npos);
    EXPECT_NE(shown.find("Something failed: disk."), std::string::npos);
    EXPECT_NE(shown.find("CApplicationTest.cpp"), std::string::npos);
}

TEST(CConsoleTest, AttachedConsoleReceivesTheDebugChannelLines)
{
    struct CCapture : CConsole
    {
        std::vector<std::string> lines;
        void writeLine(const char* line) override { lines.push_back(line); }
    } console;
    const bool wasOn = CDebugChannel::isEnabled();
    CDebugChannel::setEnabled(true);
    console.attach();
    CDebugChannel::log("obj.name", "value %d", 3);
    console.detach();
    CDebugChannel::log(nullptr, "not captured");
    CDebugChannel::setEnabled(wasOn);
    ASSERT_EQ(console.lines.size(), 1u);
    EXPECT_EQ(console.lines[0], "value 3 // obj.name");
}

} // namespace
} // namespace eventtest
} // namespace kel
