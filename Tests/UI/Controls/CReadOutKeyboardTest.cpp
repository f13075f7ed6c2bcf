// A read-out's popups on the headless screen, from the product's templates
// (Resources/Interface/VirtualKeyboards.xml over Buttons.xml): the on-screen keyboard that a
// click opens while the setting allows it, its keys, the physical keys in its field, the ways it
// ends; and the copy/paste menu of a right click.
#include "CCompiledNode.h"
#include "CTreeCompiler.h"
#include "Core/CGlobalSettings.h"
#include "Support/CTempFolder.h"
#include "UI/Controls/CButtonTreeTest.h"
#include "UI/Controls/CReadOut.h"
#include "Support/CUtf8.h"

#include <set>
#include <string>
#include <vector>

using namespace kel;

namespace
{

constexpr uint32_t kKeyReturn = 0xff0d;
constexpr uint32_t kKeyEscape = 0xff1b;

// The compiled templates of from, as children of to.
void copyTemplates(const CCompiledNode& from, CTreeBlobWriter::Node& to)
{
    for (const CCompiledNode& child : from.children)
    {
        CTreeBlobWriter::Node& node = child.isTemplate ? to.addTemplate(child.name, child.classTag)
                                                       : to.add(child.tag, child.name);
        const CCompiledNode& source = child.isTemplate ? child.children.front() : child;
        node.attrs = source.attrs;
        copyTemplates(source, node);
    }
}

class CReadOutKeyboardTest : public test::CButtonTreeTest
{
protected:
    void SetUp() override
    {
        // The keyboards need the button macro: a source that includes both files.
        const std::string resources = std::string(KEL_SOURCE_DIR) + "/Resources/Interface/";
        const std::string source =
            folder.write("keyboards.xml", "<kel><include file=\"" + resources +
                                              "Buttons.xml\"/><include file=\"" + resources +
                                              "VirtualKeyboards.xml\"/></kel>");
        CTreeCompiler compiler;
        CCompiledNode compiled;
        CError* error = compiler.compile(source, compiled);
        ASSERT_EQ(error, nullptr) << test::CErrorText::takeChain(error);

        // Two read-outs of one tab group over shared attributes, and a label to press elsewhere.
        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& win =
            makeWindowTree(tree, 300, 60,
                           [&](CTreeBlobWriter::Node& ui)
                           {
                               CTreeBlobWriter::Node& data = ui.add("core:object", "local-data");
                               for (const char* name : {"first", "second"})
                                   data.add("core:shared-attribute", name)
                                       .attr("attribute", "value")
                                       .attr("is-global", "false")
                                       .attr("def-value", "1.5")
                                       .attr("data-name", std::string("keyboard-test-") + name);
                               copyTemplates(compiled, ui);
                               ui.addTemplate("ui:editbox-popup", "ui:textview")
                                   .attr("placement", "overlay")
                                   .attr("color", "Background")
                                   .attr("is-filled", "true")
                                   .attr("z-index", "10");
                           });
        for (const char* name : {"first", "second"})
        {
            win.add("ui:readout", name)
                .attr("placement", "inline")
                .attr("width", "60")
                .attr("height", "16")
                .attr("color", "Panel")
                .attr("shared-attribute", std::string("ui.local-data.") + name)
                .attr("tab-group", "values")
                .attr("is-editbox-on-click", "true")
                .attr("is-virtual-keyboard-allowed", "true")
                .attr("is-copy-paste", "true");
        }
        win.add("ui:textview", "label")
            .attr("placement", "inline")
            .attr("width", "60")
            .attr("height", "16")
            .attr("title", "label");
        openTree(tree);
        // The shared values outlive the tree: each test starts from the same one.
        for (const char* name : {"first", "second"})
            ASSERT_EQ(root->findObject(CString("ui.local-data.") + CString(name))
                          ->setAttr(CString("value"), CAttrValue("1.5")),
                      nullptr);
        readOut = find<CReadOut>("ui.win.first");
        ASSERT_NE(readOut, nullptr);
        CGlobalSettings::values().showVirtualKeyboard.store(true);
    }
    void TearDown() override
    {
        CGlobalSettings::values().showVirtualKeyboard.store(true);
        CButtonTreeTest::TearDown();
    }

    std::string value(const char* name = "first") const
    {
        return test::CUtf8::of(root->findObject(CString("ui.local-data.") + CString(name))
                                   ->getAttrString(CString("value")));
    }
    CViewBaseCtlEvents* keyboard() const { return readOut->getOpenPopup(); }
    CReadOut* field() const
    {
        return keyboard() ? dynamic_cast<CReadOut*>(keyboard()->findObject(CString(".field")))
                          : nullptr;
    }
    std::string fieldText() const
    {
        return field() && field()->getEditBox()
                   ? test::CUtf8::of(field()->getEditBox()->getEditText())
                   : std::string("<not editing>");
    }
    CHeadlessWindow* keyboardScreen() const
    {
        return keyboard()
                   ? dynamic_cast<CHeadlessWindow*>(keyboard()->findWindow()->getNativeWindow())
                   : nullptr;
    }
    // The keyboard's key of that text.
    CViewBase* key(const std::string& text) const
    {
        CObject* popup = keyboard();
        for (int i = 0; popup && i < popup->getChildCount(); ++i)
        {
            if (test::CUtf8::of(popup->getChild(i)->getAttrString(CString("vk-key"))) == text)
                return dynamic_cast<CViewBase*>(popup->getChild(i));
        }
        ADD_FAILURE() << "no key " << text;
        return nullptr;
    }
    void injectInto(CHeadlessWindow* target, CNativeWindow::CInputEvent event)
    {
        ASSERT_NE(target, nullptr);
        display.inject(target, event);
        display.pump();
    }
    void press(const std::string& text)
    {
        CViewBase* found = key(text);
        ASSERT_NE(found, nullptr);
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.x = centerX(found);
        event.y = centerY(found);
        event.button = 1;
        event.isDown = true;
        event.timeMs = timeMs += 1000;
        CHeadlessWindow* target = keyboardScreen();
        injectInto(target, event);
        event.isDown = false;
        injectInto(target, event);
    }
    // A key of the physical keyboard, into the keyboard's window.
    void physical(uint32_t keysym, uint32_t character = 0)
    {
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kKeyDown;
        event.keysym = keysym;
        event.character = character;
        injectInto(keyboardScreen(), event);
    }
    void runLoop()
    {
        if (CRunLoop* loop = CRunLoop::getCurrent())
            loop->pump();
    }

    test::CTempFolder folder{"kel-keyboard-test"};
    CReadOut* readOut = nullptr;
};

} // namespace

TEST_F(CReadOutKeyboardTest, AClickOpensTheKeyboardBelowOnlyWhileTheSettingIsOn)
{
    CGlobalSettings::values().showVirtualKeyboard.store(false);
    click(readOut);
    EXPECT_TRUE(readOut->isEditing()) << "the bare edit box";
    EXPECT_EQ(keyboard(), nullptr);
    EXPECT_EQ(display.getWindowCount(), 1);
    inject(
        []
        {
            CNativeWindow::CInputEvent event;
            event.kind = CNativeWindow::CInputEvent::kKeyDown;
            event.keysym = kKeyEscape;
            return event;
        }());
    EXPECT_FALSE(readOut->isEditing());

    CGlobalSettings::values().showVirtualKeyboard.store(true);
    click(readOut);
    EXPECT_FALSE(readOut->isEditing());
    ASSERT_NE(keyboard(), nullptr);
    EXPECT_EQ(display.getWindowCount(), 2);
    EXPECT_GE(keyboardScreen()->getY(), readOut->getViewRect().bottom);
    // The field edits the value's text, all of it selected, and holds the keyboard's keys.
    ASSERT_NE(field(), nullptr);
    CTextView* box = field()->getEditBox();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(test::CUtf8::of(box->getEditText()), "1.5");
    EXPECT_EQ(box->getSelectionStart(), 0);
    EXPECT_EQ(box->getSelectionEnd(), 3);
    EXPECT_EQ(keyboard()->findWindow()->getKeyFocusView(), box);
    EXPECT_TRUE(keyboardScreen()->hasKeyFocus());
    EXPECT_FALSE(screen->hasKeyFocus());
    // A second click on the read-out closes it.
    click(readOut);
    EXPECT_EQ(keyboard(), nullptr);
    EXPECT_EQ(display.getWindowCount(), 1);
}

TEST_F(CReadOutKeyboardTest, EveryKeyboardTemplateOpensWithItsKeys)
{
    const std::vector<std::string> digital = {"0", "1", "2", "3", "4",       "5",      "6",    "7",
                                              "8", "9", ".", "-", "Bkspace", "Cancel", "Enter"};
    struct Case
    {
        const char* tag;
        std::vector<std::string> extra;
    };
    const Case cases[] = {
        {"ui:virtual-keyboard-digital", {}},
        {"ui:virtual-keyboard-freq", {"k", "Hz"}},
        {"ui:virtual-keyboard-ratio", {":"}},
        {"ui:virtual-keyboard",
         {"q", "w", "e", "r", "t", "y", "u", "i", "o", "p", "a", "s", "d", "f",    "g",
          "h", "j", "k", "l", "z", "x", "c", "v", "b", "n", "m", ",", " ", "CAPS", "Tab"}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.tag);
        ASSERT_EQ(readOut->setAttr(CString("virtual-keyboard-tag"), CAttrValue(c.tag)), nullptr);
        click(readOut);
        ASSERT_NE(keyboard(), nullptr);
        ASSERT_NE(field(), nullptr);
        std::set<std::string> expected(digital.begin(), digital.end());
        expected.insert(c.extra.begin(), c.extra.end());
        std::set<std::string> keys;
        for (int i = 0; i < keyboard()->getChildCount(); ++i)
        {
            const std::string text =
                test::CUtf8::of(keyboard()->getChild(i)->getAttrString(CString("vk-key")));
            if (!text.empty())
            {
                keys.insert(text);
                // Each key lies inside the keyboard's window.
                const CLinearBitmap::Rect area =
                    dynamic_cast<CViewBase*>(keyboard()->getChild(i))->getViewRect();
                EXPECT_LE(area.right, keyboardScreen()->getOpenParams().width) << text;
                EXPECT_LE(area.bottom, keyboardScreen()->getOpenParams().height) << text;
            }
        }
        EXPECT_EQ(keys, expected);
        press("Cancel");
        EXPECT_EQ(keyboard(), nullptr);
        runLoop();
    }
}

TEST_F(CReadOutKeyboardTest, KeysTypeCapsTurnsTheLettersAndEnterCommits)
{
    std::vector<std::string> heard;
    click(readOut);
    press("7");
    EXPECT_EQ(fieldText(), "7") << "the first key replaces the selected text";
    press(".");
    press("5");
    press("Bkspace");
    EXPECT_EQ(fieldText(), "7.");
    // CAPS: the letter keys' titles and what they type turn upper case, and back.
    press("CAPS");
    EXPECT_EQ(test::CUtf8::of(key("q")->getAttrString(CString("title"))), "Q");
    EXPECT_TRUE(key("CAPS")->getAttrBool(CString("is-active"), false));
    press("q");
    press("CAPS");
    EXPECT_EQ(test::CUtf8::of(key("q")->getAttrString(CString("title"))), "q");
    press("q");
    press(" ");
    EXPECT_EQ(fieldText(), "7.Qq ");
    // The physical keyboard types into the same field, where the keys left the cursor.
    physical(0xff08); // BackSpace
    physical(0xff08);
    physical(0xff08);
    physical('2', '2');
    EXPECT_EQ(fieldText(), "7.2");
    EXPECT_EQ(value(), "1.5") << "nothing is committed before Enter";
    press("Enter");
    EXPECT_EQ(keyboard(), nullptr);
    EXPECT_EQ(value(), "7.2");
    EXPECT_EQ(test::CUtf8::of(readOut->getContent()), "7.2");
    EXPECT_FALSE(screen->hasKeyFocus());

    // The physical Return commits too.
    runLoop();
    click(readOut);
    physical('3', '3');
    physical(kKeyReturn);
    EXPECT_EQ(keyboard(), nullptr);
    EXPECT_EQ(value(), "3");
}

TEST_F(CReadOutKeyboardTest, CancelAndEscapeChangeNothingTabMovesOnAndAPressOutsideCommits)
{
    click(readOut);
    press("9");
    press("Cancel");
    EXPECT_EQ(keyboard(), nullptr);
    EXPECT_EQ(value(), "1.5");
    runLoop();
    click(readOut);
    press("9");
    physical(kKeyEscape);
    EXPECT_EQ(keyboard(), nullptr);
    EXPECT_EQ(value(), "1.5");
    runLoop();

    // Tab commits, and the next read-out of the group takes the keys (its bare edit box).
    click(readOut);
    press("4");
    press("Tab");
    EXPECT_EQ(keyboard(), nullptr);
    EXPECT_EQ(value(), "4");
    CReadOut* second = find<CReadOut>("ui.win.second");
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(second->isEditing());
    inject(
        []
        {
            CNativeWindow::CInputEvent event;
            event.kind = CNativeWindow::CInputEvent::kKeyDown;
            event.keysym = kKeyEscape;
            return event;
        }());
    runLoop();

    // A press elsewhere in the editor closes the keyboard and commits what it holds.
    click(readOut);
    press("6");
    click(find<CViewBase>("ui.win.label"));
    EXPECT_EQ(keyboard(), nullptr);
    EXPECT_EQ(display.getWindowCount(), 1);
    EXPECT_EQ(value(), "6");
}

TEST_F(CReadOutKeyboardTest, CopyThenPasteRoundTripsTheValue)
{
    // The menu a right click opens; its first item copies the shown text.
    auto choose = [&](int item)
    {
        click(readOut, 3);
        ASSERT_NE(keyboard(), nullptr);
        auto* list = dynamic_cast<CTextView*>(keyboard()->findObject(CString(".list")));
        ASSERT_NE(list, nullptr);
        EXPECT_EQ(test::CUtf8::of(list->getContent()), "Copy\nPaste");
        const CLinearBitmap::Rect area = list->getViewRect();
        ASSERT_GE(list->getWrapper().getLineCount(), 2);
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.x = area.left + 5;
        event.y = area.top + list->getWrapper().getLine(item).top + 2;
        event.button = 1;
        event.isDown = true;
        event.timeMs = timeMs += 1000;
        injectInto(keyboardScreen(), event);
        EXPECT_EQ(keyboard(), nullptr);
        display.pump();
        runLoop();
    };
    choose(0);
    EXPECT_EQ(std::string(display.getClipboard().getData(), display.getClipboard().getCount()),
              "1.5");
    ASSERT_EQ(root->findObject(CString("ui.local-data.first"))
                  ->setAttr(CString("value"), CAttrValue("8")),
              nullptr);
    EXPECT_EQ(test::CUtf8::of(readOut->getContent()), "8");
    choose(1);
    EXPECT_EQ(value(), "1.5");
    EXPECT_EQ(test::CUtf8::of(readOut->getContent()), "1.5");
    EXPECT_FALSE(screen->hasKeyFocus()) << "the keys go back once the text came";
}
