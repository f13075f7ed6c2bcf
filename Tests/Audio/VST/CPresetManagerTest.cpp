// The preset manager and the quick preset list on the real plug-in's editor: banks and presets
// added, renamed and deleted (the destructive ones through the confirmation window), the
// built-in banks left alone, activation as one undo step, the user's banks shared with a second
// instance and kept in the data store, and bank and preset files, damaged ones changing nothing.
#include "Audio/CAudioInterfaceClient.h"
#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioPresetBankStore.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "CHeadlessEditorFixture.h"
#include "Core/CGlobalData.h"
#include "Core/CLocalData.h"
#include "Core/Platform/CRunLoop.h"
#include "Support/CErrorText.h"
#include "Support/CTempFolder.h"
#include "Support/CUtf8.h"
#include "UI/Controls/CPresetManager.h"
#include "UI/Controls/CTextView.h"
#include "UI/Lists/CDynListPresets.h"
#include "UI/Lists/CValueList.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Views/CViewBaseCtlEvents.h"
#include "UI/Windows/CWindow.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

using namespace kel;

namespace
{

using CNames = std::vector<std::string>;

constexpr uint32_t kReturn = 0xff0d;
constexpr uint32_t kEscape = 0xff1b;

const CNames kFactoryNames = {"Default",
                              "Beep - 1 s 220 Hz @ 30 s",
                              "Beep - 0.5 s 1 kHz @ 25 s",
                              "Beep - 0.1 s 330 Hz @ 5 s",
                              "Noise - 0.5 s @ 25 s",
                              "Noise - 1 s @ 35 s",
                              "Mute - 0.5 s @ 15 s"};

class CPresetManagerTest : public CHeadlessEditorFixture
{
protected:
    void SetUp() override
    {
        // Data stores of the test's own: the banks and the default preset written here reach
        // neither the user nor other tests.
        CLocalData::get().useFolders(CString(data.path().c_str()), CString());
        CGlobalData::get().useFolders(CString(data.path().c_str()), CString());
        CHeadlessEditorFixture::SetUp();
        plugin.open();
        plugin.start(48000.0f, 512);
        ASSERT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 1);
        ui = editor->getUiRoot();
        opener = view(ui, "ui.main-window.c.buttons.preset-manager");
        ASSERT_NE(opener, nullptr);
        openManager();
        ASSERT_NE(manager, nullptr);
    }
    void TearDown() override
    {
        CHeadlessEditorFixture::TearDown();
        CLocalData::get().reset();
        CGlobalData::get().reset();
        if (!damagedStoreExpected)
        {
            EXPECT_TRUE(shownErrors().empty()) << shownErrors().front();
        }
    }

    void openManager()
    {
        click(opener);
        manager = dynamic_cast<CPresetManager*>(opener->getOpenPopup());
        idle();
    }
    void idle(CHostedPlugin* which = nullptr)
    {
        // Events posted to the editor's thread go first.
        for (int i = 0; i < 4; ++i)
        {
            if (CRunLoop* loop = CRunLoop::getCurrent())
                loop->pump();
            (which ? which : &plugin)->dispatch(kEffEditIdle);
        }
    }
    static CViewBaseCtlEvents* view(const CObject* from, const char* path)
    {
        return dynamic_cast<CViewBaseCtlEvents*>(from->findObject(CString(path)));
    }
    // A press and release at the middle of the view, through its window's input.
    void click(CViewBaseCtlEvents* target)
    {
        ASSERT_NE(target, nullptr);
        CWindow* window = target->findWindow();
        ASSERT_NE(window, nullptr);
        auto* screen = dynamic_cast<CHeadlessWindow*>(window->getNativeWindow());
        ASSERT_NE(screen, nullptr);
        const CLinearBitmap::Rect r = target->getViewRect();
        CNativeWindow::CInputEvent event;
        event.x = (r.left + r.right) / 2;
        event.y = (r.top + r.bottom) / 2;
        event.timeMs = clockMs += 1000;
        event.kind = CNativeWindow::CInputEvent::kMouseMove;
        screen->deliver(event);
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.button = 1;
        event.isDown = true;
        screen->deliver(event);
        if (target->findWindow() && target->findWindow()->getNativeWindow())
        {
            event.isDown = false;
            event.modifiers = CNativeWindow::kModButtonL;
            screen->deliver(event);
        }
        idle();
    }
    // A right click on a paragraph of a list, and keys typed into the window.
    void rightClick(CTextView* list, int paragraph)
    {
        ASSERT_NE(list, nullptr);
        auto* screen = dynamic_cast<CHeadlessWindow*>(list->findWindow()->getNativeWindow());
        const CLinearBitmap::Rect r = list->getViewRect();
        CTextWrapper& laidOut = list->getWrapper();
        laidOut.layout();
        int top = -1;
        for (int i = 0; i < laidOut.getLineCount() && top < 0; ++i)
            if (laidOut.getLine(i).paragraph == paragraph)
                top = laidOut.getLine(i).top;
        ASSERT_GE(top, 0);
        CNativeWindow::CInputEvent event;
        event.x = (r.left + r.right) / 2;
        event.y = r.top + top + laidOut.getLineHeight() / 2;
        event.timeMs = clockMs += 1000;
        screen->deliver(event);
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.button = 3;
        event.isDown = true;
        screen->deliver(event);
        event.isDown = false;
        event.modifiers = CNativeWindow::kModButtonR;
        screen->deliver(event);
        idle();
    }
    void type(CViewBaseCtlEvents* inWindow, const char* text, uint32_t last)
    {
        auto* screen = dynamic_cast<CHeadlessWindow*>(inWindow->findWindow()->getNativeWindow());
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kKeyDown;
        for (const char* c = text; *c; ++c)
        {
            event.keysym = event.character = static_cast<uint8_t>(*c);
            screen->deliver(event);
        }
        event.keysym = last;
        event.character = 0;
        screen->deliver(event);
        idle();
    }
    CTextView* presetList() const
    {
        return dynamic_cast<CTextView*>(manager->findObject(CString(".c.presets.frame.list")));
    }

    void raise(const char* eventName, std::vector<std::pair<const char*, CAttrValue>> extra = {})
    {
        CAttrMap params;
        for (const auto& [name, value] : extra)
            params.set(CString(name), value);
        EXPECT_EQ(test::CErrorText::takeChain(manager->callEventProc(CString(eventName), params)),
                  "")
            << eventName;
        idle();
    }
    // A second instance, started and with its editor open on secondParent; outUi is its tree.
    void startSecond(CHostedPlugin& second, int& secondParent, CObject*& outUi)
    {
        ASSERT_EQ(test::CErrorText::takeChain(second.attach(&CWrapperEntry::make<2>, "stereo")),
                  "");
        second.open();
        second.start(48000.0f, 512);
        ASSERT_EQ(second.dispatch(kEffEditOpen, 0, 0, &secondParent), 1);
        outUi = static_cast<CAudioWrapperVSTEditor*>(
                    static_cast<CAudioWrapperVST*>(AudioEffect::fromAeffect(second.getEffect()))
                        ->getEditor())
                    ->getUiRoot();
    }
    void selectBank(int bank) { raise("bank-selected", {{"index", CAttrValue(bank)}}); }
    void selectPreset(int preset) { raise("preset-selected", {{"index", CAttrValue(preset)}}); }
    CNames presetNames(int bank)
    {
        CArray<CString> names;
        manager->getPresetNames(bank, names);
        CNames out;
        for (const CString& name : names)
            out.push_back(test::CUtf8::of(name));
        return out;
    }
    CNames bankNames()
    {
        CNames out;
        for (int i = 0; i < manager->getBankCount(); ++i)
            out.push_back(test::CUtf8::of(manager->getBankName(i)));
        return out;
    }
    // What the lists of the window show.
    CNames shown(const char* items)
    {
        CNames out;
        auto* list = dynamic_cast<CValueList*>(manager->findObject(CString(items)));
        for (int i = 0; list && i < list->getCount(); ++i)
            out.push_back(test::CUtf8::of(list->getTitle(i)));
        return out;
    }
    // The confirmation a button of the window opens, answered with Yes or No.
    void confirm(const char* buttonPath, const char* title, bool yes)
    {
        CViewBaseCtlEvents* button = view(manager, buttonPath);
        click(button);
        CViewBaseCtlEvents* box = button ? button->getOpenPopup() : nullptr;
        ASSERT_NE(box, nullptr) << buttonPath;
        EXPECT_EQ(test::CUtf8::of(box->getAttrString(CString("title"))), title);
        click(view(box, yes ? ".buttons.yes" : ".buttons.no"));
        EXPECT_EQ(button->getOpenPopup(), nullptr);
    }
    double realValue(AEffect* from, const char* leaf) const
    {
        auto* owner = static_cast<CAudioWrapperVST*>(AudioEffect::fromAeffect(from));
        CString fullName("plugin.modMain.modZumbelModule.");
        fullName.append(leaf);
        CAudioParam* param = owner->getParamCollector()->findParam(fullName);
        return param ? param->getValue(0, 0) : -1.0;
    }
    int historyPosition() const
    {
        auto* client =
            dynamic_cast<CAudioInterfaceClient*>(ui->findObject(CString("ui.interface-client")));
        CArray<CString> labels;
        int position = -1;
        if (client)
            client->getUndoHistory(labels, position);
        return position;
    }
    std::string storedBytes() const
    {
        std::ifstream in(data.path() + "/Kelmont/Audio Plug-Ins/Zumbel/shared-banks",
                         std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    // The window of a view (the manager's by default) as drawn now.
    std::vector<uint32_t> picture(const CViewBaseCtlEvents* inWindow = nullptr) const
    {
        std::vector<uint32_t> pixels;
        CWindow* window = (inWindow ? inWindow : manager)->findWindow();
        auto* screen = window ? dynamic_cast<CHeadlessWindow*>(window->getNativeWindow()) : nullptr;
        if (!screen)
            return pixels;
        window->renderStep();
        const CLinearBitmap& shown = screen->getPicture();
        for (int y = 0; y < shown.getHeight(); ++y)
            for (int x = 0; x < shown.getWidth(); ++x)
                pixels.push_back(shown.getPixel(x, y) & 0x00ffffffu);
        return pixels;
    }

    // The title of the message window the manager has open, "" for none.
    std::string messageTitle() const
    {
        CViewBaseCtlEvents* box = manager->getOpenPopup();
        return box ? test::CUtf8::of(box->getAttrString(CString("title"))) : "";
    }

    test::CTempFolder data{"kel-preset-manager"};
    CObject* ui = nullptr;
    CViewBaseCtlEvents* opener = nullptr;
    CPresetManager* manager = nullptr;
    uint32_t clockMs = 1000;
    bool damagedStoreExpected = false;
};

TEST_F(CPresetManagerTest, BanksAndPresetsAreAddedRenamedAndDeletedThroughTheirConfirmation)
{
    // The session's programs are the factory presets at first; it is selected and shown.
    EXPECT_EQ(bankNames(), (CNames{"Session Bank", "Factory ROM"}));
    EXPECT_EQ(shown(".bank-items"), (CNames{"Session Bank", "Factory ROM"}));
    EXPECT_EQ(manager->getSelectedBank(), CPresetManager::kSessionBank);
    EXPECT_EQ(shown(".preset-items"), kFactoryNames);
    const std::vector<uint32_t> before = picture();
    EXPECT_GT(std::set<uint32_t>(before.begin(), before.end()).size(), 20u);

    // Appended, then inserted before the selected one (the right button's is-insert).
    raise("bank-add");
    EXPECT_EQ(bankNames(), (CNames{"Session Bank", "Factory ROM", "Bank"}));
    raise("bank-add", {{"is-insert", CAttrValue(true)}});
    EXPECT_EQ(bankNames(), (CNames{"Session Bank", "Factory ROM", "Bank 2", "Bank"}));
    EXPECT_EQ(manager->getSelectedBank(), 2);
    EXPECT_EQ(shown(".preset-items"), CNames{});
    // Both lists are drawn again: two more banks, seven presets fewer.
    const std::vector<uint32_t> after = picture();
    ASSERT_EQ(after.size(), before.size());
    size_t differing = 0;
    for (size_t i = 0; i < after.size(); ++i)
        differing += after[i] != before[i];
    EXPECT_GT(differing, after.size() / 50);

    // Presets from the current state; renamed in place, an unshowable name as "(n/a) ".
    raise("preset-add");
    raise("preset-add");
    EXPECT_EQ(presetNames(2), (CNames{"Preset", "Preset 2"}));
    raise("preset-rename", {{"index", CAttrValue(0)}, {"text", CAttrValue("Warm")}});
    raise("preset-rename", {{"index", CAttrValue(1)}, {"text", CAttrValue("two\nlines")}});
    EXPECT_EQ(shown(".preset-items"), (CNames{"Warm", "(n/a) "}));
    raise("bank-rename", {{"index", CAttrValue(2)}, {"text", CAttrValue("Mine")}});
    EXPECT_EQ(bankNames()[2], "Mine");

    // In place: a right click on a name opens the list's edit box; Escape keeps the name,
    // Return takes the typed one.
    rightClick(presetList(), 0);
    ASSERT_TRUE(presetList()->isEditing());
    type(manager, "Cold", kEscape);
    EXPECT_FALSE(presetList()->isEditing());
    EXPECT_EQ(presetNames(2)[0], "Warm");
    rightClick(presetList(), 0);
    type(manager, "Cold", kReturn);
    EXPECT_EQ(presetNames(2), (CNames{"Cold", "(n/a) "}));
    raise("preset-rename", {{"index", CAttrValue(0)}, {"text", CAttrValue("Warm")}});

    // All of it is in the store for the next process.
    CAudioPresetBankStore stored(CLocalData::get(), CString("shared-banks"));
    CLocalData::get().useFolders(CString(data.path().c_str()), CString());
    ASSERT_EQ(test::CErrorText::takeChain(stored.read()), "");
    ASSERT_EQ(stored.getCount(), 2);
    EXPECT_EQ(stored.getBank(0)->getName(), CString("Mine"));
    ASSERT_EQ(stored.getBank(0)->getCount(), 2);
    EXPECT_EQ(stored.getBank(0)->getPreset(0)->getName(), CString("z4m1:Warm"));
    EXPECT_GE(stored.getBank(0)->getPreset(0)->getEntryCount(), 5);

    // Delete: "No" keeps the preset, "Yes" deletes it; the same for the bank.
    selectPreset(0);
    confirm(".c.presets.buttons.delete", "Delete preset?", false);
    EXPECT_EQ(presetNames(2).size(), 2u);
    confirm(".c.presets.buttons.delete", "Delete preset?", true);
    EXPECT_EQ(presetNames(2), (CNames{"(n/a) "}));
    confirm(".c.banks.buttons.delete", "Delete bank?", true);
    EXPECT_EQ(bankNames(), (CNames{"Session Bank", "Factory ROM", "Bank"}));
    EXPECT_EQ(shown(".bank-items"), bankNames());
}

TEST_F(CPresetManagerTest, BuiltInBanksRefuseDeleteRenameAndNewPresets)
{
    selectBank(CPresetManager::kFactoryBank);
    EXPECT_EQ(shown(".preset-items"), kFactoryNames);
    const std::string before = storedBytes();
    selectPreset(2);
    confirm(".c.banks.buttons.delete", "Delete bank?", true);
    confirm(".c.presets.buttons.delete", "Delete preset?", true);
    confirm(".c.presets.buttons.replace", "Update preset?", true);
    raise("bank-rename", {{"index", CAttrValue(1)}, {"text", CAttrValue("Mine")}});
    raise("preset-rename", {{"index", CAttrValue(2)}, {"text", CAttrValue("Mine")}});
    raise("preset-add");
    rightClick(presetList(), 2);
    EXPECT_FALSE(presetList()->isEditing());
    EXPECT_EQ(bankNames(), (CNames{"Session Bank", "Factory ROM"}));
    EXPECT_EQ(presetNames(CPresetManager::kFactoryBank), kFactoryNames);
    EXPECT_EQ(storedBytes(), before);

    // The session bank keeps its programs; only their names change.
    selectBank(CPresetManager::kSessionBank);
    selectPreset(1);
    raise("bank-delete");
    raise("preset-delete");
    raise("preset-rename", {{"index", CAttrValue(1)}, {"text", CAttrValue("Renamed")}});
    EXPECT_EQ(bankNames(), (CNames{"Session Bank", "Factory ROM"}));
    CNames session = kFactoryNames;
    session[1] = "Renamed";
    EXPECT_EQ(presetNames(CPresetManager::kSessionBank), session);
}

TEST_F(CPresetManagerTest, ActivationSetsThePresetInOneUndoStepAndTheDefaultIsWhatResetLoads)
{
    raise("bank-add");
    effect->setParameter(effect, 3, 0.8f); // freq
    idle();
    const double stored = realValue(effect, "freq");
    raise("preset-add");
    effect->setParameter(effect, 3, 0.2f);
    idle();
    ASSERT_NE(realValue(effect, "freq"), stored);

    const int position = historyPosition();
    selectPreset(0);
    click(view(manager, ".c.presets.buttons.activate"));
    EXPECT_EQ(realValue(effect, "freq"), stored);
    EXPECT_EQ(historyPosition(), position + 1);

    // A factory preset by a double click in the list.
    selectBank(CPresetManager::kFactoryBank);
    CAttrMap params;
    params.set(CString("index"), CAttrValue(1));
    ASSERT_EQ(
        test::CErrorText::takeChain(manager->findObject(CString(".c.presets.frame.list"))
                                        ->sendEvent(CString("paragraph-dbl-clicked"), params)),
        "");
    idle();
    EXPECT_NEAR(realValue(effect, "freq"), 220.0, 1e-9);
    EXPECT_NEAR(realValue(effect, "duration"), 1.0, 1e-9);
    EXPECT_EQ(historyPosition(), position + 2);

    // The user's preset as the default: Reset goes back to it.
    selectBank(CPresetManager::kUserBanks);
    selectPreset(0);
    confirm(".c.presets.buttons2.set-default", "Set as Default?", true);
    CByteBuffer item;
    ASSERT_EQ(test::CErrorText::takeChain(
                  CGlobalData::get().read(CString("default-preset"), item, CAudioPreset::kBlockId)),
              "");
    EXPECT_GT(item.getSize(), 0u);
    CAttrMap none;
    ASSERT_EQ(test::CErrorText::takeChain(ui->findObject(CString("ui.plugin-control"))
                                              ->callEventProc(CString("plugin-reset"), none)),
              "");
    idle();
    EXPECT_EQ(realValue(effect, "freq"), stored);
}

TEST_F(CPresetManagerTest, APresetAddedHereShowsInAnotherInstancesQuickListAndActivatesThere)
{
    CHostedPlugin second{host};
    int secondParent = 0;
    CObject* otherUi = nullptr;
    ASSERT_NO_FATAL_FAILURE(startSecond(second, secondParent, otherUi));
    AEffect* other = second.getEffect();
    auto* quick = dynamic_cast<CDynListPresets*>(
        otherUi->findObject(CString("ui.main-window.c.buttons.quick-preset-list.presets")));
    ASSERT_NE(quick, nullptr);
    ASSERT_NE(quick->getItems(), nullptr);
    const auto titles = [&]()
    {
        CNames out;
        for (int i = 0; i < quick->getItems()->getCount(); ++i)
            out.push_back(test::CUtf8::of(quick->getItems()->getTitle(i)));
        return out;
    };

    // Its button fills the list and opens it: the session's and the factory's presets.
    CViewBaseCtlEvents* button = view(otherUi, "ui.main-window.c.buttons.quick-preset-list");
    click(button);
    idle(&second);
    ASSERT_NE(button->getOpenPopup(), nullptr);
    EXPECT_EQ(titles().size(), 2u + 2u * kFactoryNames.size());
    EXPECT_EQ(titles()[0], "[B]Session Bank[/B]");
    const std::vector<uint32_t> popup = picture(button->getOpenPopup());
    EXPECT_GT(std::set<uint32_t>(popup.begin(), popup.end()).size(), 8u);

    // A bank and a preset made in this instance are there at once.
    raise("bank-add");
    effect->setParameter(effect, 4, 0.1f); // gain
    idle();
    const double gain = realValue(effect, "gain");
    raise("preset-add");
    const CNames now = titles();
    ASSERT_EQ(now.size(), 4u + 2u * kFactoryNames.size());
    EXPECT_EQ(now[now.size() - 2], "[B]Bank[/B]");
    EXPECT_EQ(now.back(), "  Preset");
    ASSERT_NE(realValue(other, "gain"), gain);

    // Picking it in the other instance's popup activates it there.
    auto* list = dynamic_cast<CTextView*>(button->getOpenPopup()->findObject(CString(".list")));
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(test::CErrorText::takeChain(list->sendPopupResult(static_cast<int>(now.size()) - 1)),
              "");
    idle(&second);
    EXPECT_EQ(realValue(other, "gain"), gain);
    // A bank's title does nothing.
    EXPECT_EQ(test::CErrorText::takeChain(quick->activate(0)), "");
    EXPECT_EQ(realValue(other, "gain"), gain);
    second.close();
}

TEST_F(CPresetManagerTest, TwoInstancesChangingTheBanksAtOnceLoseNothing)
{
    CHostedPlugin second{host};
    int secondParent = 0;
    CObject* otherUi = nullptr;
    ASSERT_NO_FATAL_FAILURE(startSecond(second, secondParent, otherUi));
    CViewBaseCtlEvents* otherOpener = view(otherUi, "ui.main-window.c.buttons.preset-manager");
    click(otherOpener);
    idle(&second);
    auto* other = dynamic_cast<CPresetManager*>(otherOpener->getOpenPopup());
    ASSERT_NE(other, nullptr);

    // Changes made one right after the other, before either instance heard of the other's
    // write: each is made on what is stored.
    const auto change =
        [](CPresetManager* in, const char* eventName, int index = -1, bool isInsert = false)
    {
        CAttrMap params;
        params.set(CString("index"), CAttrValue(index));
        params.set(CString("is-insert"), CAttrValue(isInsert));
        EXPECT_EQ(test::CErrorText::takeChain(in->callEventProc(CString(eventName), params)), "")
            << eventName;
    };
    const auto stored = [&]()
    {
        CAudioPresetBankStore banks(CLocalData::get(), CString("shared-banks"));
        EXPECT_EQ(test::CErrorText::takeChain(banks.read()), "");
        CNames out;
        for (int i = 0; i < banks.getCount(); ++i)
            out.push_back(test::CUtf8::of(banks.getBank(i)->getName()));
        return out;
    };
    change(manager, "bank-add");
    change(other, "bank-add");
    EXPECT_EQ(stored(), (CNames{"Bank", "Bank 2"}));

    // A bank moved under a selection: the first instance has "Bank" selected when the other
    // inserts a bank before it; the first one's delete still takes "Bank".
    change(manager, "bank-selected", 2);
    change(other, "bank-selected", 2);
    change(other, "bank-add", 2, true);
    EXPECT_EQ(stored(), (CNames{"Bank 3", "Bank", "Bank 2"}));
    change(manager, "bank-delete");
    EXPECT_EQ(stored(), (CNames{"Bank 3", "Bank 2"}));

    // Once the notices are in, both windows show what is stored.
    idle();
    idle(&second);
    EXPECT_EQ(bankNames(), (CNames{"Session Bank", "Factory ROM", "Bank 3", "Bank 2"}));
    EXPECT_EQ(other->getBankCount(), 4);
    second.close();
}

TEST_F(CPresetManagerTest, FilesRoundTripAndDamagedOrForeignFilesChangeNothing)
{
    const std::string bankFile = data.file("session.cbf");
    const std::string presetFile = data.file("one.cpf");
    selectPreset(1);
    raise("on-bank-save", {{"path", CAttrValue(bankFile.c_str())}});
    raise("on-preset-save", {{"path", CAttrValue(presetFile.c_str())}});
    EXPECT_EQ(messageTitle(), "");

    // The session's bank comes back as a user bank below the selected one.
    raise("on-bank-load", {{"path", CAttrValue(bankFile.c_str())}});
    EXPECT_EQ(bankNames(), (CNames{"Session Bank", "Factory ROM", "Session Bank"}));
    EXPECT_EQ(presetNames(2), kFactoryNames);
    raise("on-preset-load", {{"path", CAttrValue(presetFile.c_str())}});
    EXPECT_EQ(presetNames(2).size(), kFactoryNames.size() + 1);
    EXPECT_EQ(presetNames(2).back(), kFactoryNames[1]);

    // Damaged: the message names the operation, and the banks stay byte for byte.
    std::ifstream in(bankFile, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(in)), {});
    for (size_t i = bytes.size() / 2; i < bytes.size(); ++i)
        bytes[i] = static_cast<char>(bytes[i] ^ 0x33);
    const std::string damaged = data.write("damaged.cbf", bytes);
    const std::string before = storedBytes();
    const CNames banksBefore = bankNames();
    raise("on-bank-load", {{"path", CAttrValue(damaged.c_str())}});
    EXPECT_EQ(messageTitle(), "Bank file load");
    EXPECT_EQ(storedBytes(), before);
    EXPECT_EQ(bankNames(), banksBefore);
    click(view(manager->getOpenPopup(), ".buttons.ok"));

    // A bank file is no preset; a file that is not there is a load failure.
    raise("on-preset-load", {{"path", CAttrValue(bankFile.c_str())}});
    EXPECT_EQ(messageTitle(), "Preset file load");
    EXPECT_EQ(presetNames(2).size(), kFactoryNames.size() + 1);
    click(view(manager->getOpenPopup(), ".buttons.ok"));
    raise("on-bank-save", {{"path", CAttrValue((data.path() + "/none/x.cbf").c_str())}});
    EXPECT_EQ(messageTitle(), "Bank file save");
    EXPECT_EQ(storedBytes(), before);
}

TEST_F(CPresetManagerTest, ADamagedStoreIsReportedAndTheBuiltInBanksStillWork)
{
    raise("bank-add");
    click(opener); // closes the window
    ASSERT_EQ(opener->getOpenPopup(), nullptr);
    data.write("Kelmont/Audio Plug-Ins/Zumbel/shared-banks", "not a stored item at all");
    CLocalData::get().useFolders(CString(data.path().c_str()), CString());
    damagedStoreExpected = true;
    openManager();
    ASSERT_NE(manager, nullptr);
    EXPECT_FALSE(shownErrors().empty());
    EXPECT_EQ(bankNames(), (CNames{"Session Bank", "Factory ROM"}));
    selectBank(CPresetManager::kFactoryBank);
    EXPECT_EQ(shown(".preset-items"), kFactoryNames);
    raise("preset-activate", {{"index", CAttrValue(2)}});
    EXPECT_NEAR(realValue(effect, "freq"), 1000.0, 1e-9);
}

} // namespace
