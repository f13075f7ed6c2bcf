// Text fields on the headless screen: what they draw, and an edit from the first click to the
// committed text, with the keyboard taken from the host and given back.
#include "Audio/CAudioCreators.h"
#include "Core/CApplication.h"
#include "Core/Platform/CRunLoop.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/Windows/CSharedTreeTest.h"
#include "UI/Controls/CTextView.h"
#include "UI/CUiCreators.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Windows/CWindow.h"
#include "UI/Windows/CWindowSharedData.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace kel;

namespace
{

constexpr uint32_t kKeyReturn = 0xff0d;
constexpr uint32_t kKeyEscape = 0xff1b;
constexpr uint32_t kKeyTab = 0xff09;
constexpr uint32_t kKeyBackSpace = 0xff08;
constexpr uint32_t kKeyLeft = 0xff51;

class CTextViewTest : public test::CSharedTreeTest
{
protected:
    void SetUp() override
    {
        // Two fields of one tab group that edit on a click, and a label beside them.
        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& win = addWindow(tree, 200, 60);
        win.attr("spread", "L");
        for (const char* name : {"first", "second"})
        {
            win.add("ui:textview", name)
                .attr("width", "60")
                .attr("height", "20")
                .attr("title", "1.0")
                .attr("color", "Panel")
                .attr("tab-group", "fields")
                .attr("accept-chars", "0123456789.-")
                .attr("max-paragraph-length", "6")
                .attr("editbox-empty-value", "0")
                .attr("is-editbox-on-click", "true");
        }
        win.add("ui:textview", "label")
            .attr("width", "60")
            .attr("height", "20")
            .attr("color", "Panel")
            .attr("title", "[B]A[/B]");
        tree.children.front()
            ->addTemplate("ui:editbox-popup", "ui:textview")
            .attr("placement", "overlay")
            .attr("color", "Background")
            .attr("is-filled", "true")
            .attr("z-index", "10");
        openTree(tree);
    }

    CTextView* field(const char* name) const
    {
        return dynamic_cast<CTextView*>(root->findObject(CString("ui.win.") + CString(name)));
    }
    void inject(CNativeWindow::CInputEvent event)
    {
        display.inject(screen, event);
        display.pump();
    }
    void click(CTextView* view, uint32_t timeMs)
    {
        const CLinearBitmap::Rect area = view->getViewRect();
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.x = area.left + 5;
        event.y = area.top + 5;
        event.button = 1;
        event.isDown = true;
        event.timeMs = timeMs;
        inject(event);
        event.isDown = false;
        event.timeMs = timeMs + 30;
        inject(event);
    }
    void key(uint32_t keysym, uint32_t character = 0, int modifiers = 0)
    {
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kKeyDown;
        event.keysym = keysym;
        event.character = character;
        event.modifiers = modifiers;
        inject(event);
    }
    void type(const char* text)
    {
        for (const char* c = text; *c; ++c)
            key(static_cast<uint8_t>(*c), static_cast<uint8_t>(*c));
    }
};

} // namespace

TEST_F(CTextViewTest, ALabelDrawsItsLaidOutTextAndNothingElse)
{
    window->renderStep();
    CTextView* label = field("label");
    const CLinearBitmap::Rect area = label->getViewRect();
    ASSERT_EQ(label->getWrapper().getLineCount(), 1);
    // The same wrapper drawn over the panel's colour gives the window's pixels, one by one.
    CLinearBitmap expected;
    ASSERT_EQ(expected.resize(area.right - area.left, area.bottom - area.top), nullptr);
    expected.fill(screen->getPicture().getPixel(area.right - 1, area.bottom - 1));
    label->getWrapper().draw(expected, 0, 0, {0, 0, expected.getWidth(), expected.getHeight()},
                             label->getColors().getTextColor(0), nullptr, nullptr);
    int inked = 0;
    int differing = 0;
    for (int y = area.top; y < area.bottom; ++y)
    {
        for (int x = area.left; x < area.right; ++x)
        {
            const uint32_t pixel = screen->getPicture().getPixel(x, y);
            inked += pixel != expected.getPixel(0, 0) ? 1 : 0;
            differing += pixel != expected.getPixel(x - area.left, y - area.top) ? 1 : 0;
        }
    }
    EXPECT_GT(inked, 10) << "the bold A is on the screen";
    EXPECT_EQ(differing, 0);
}

TEST_F(CTextViewTest, AnEditTakesTheKeyboardCommitsOnReturnAndGivesTheKeyboardBack)
{
    std::vector<std::string> results;
    CTextView* first = field("first");
    click(first, 1000);
    ASSERT_TRUE(first->isEditing());
    CTextView* box = first->getEditBox();
    EXPECT_EQ(window->getKeyFocusView(), box);
    EXPECT_TRUE(screen->hasKeyFocus()) << "the editor takes the keyboard from the host";
    EXPECT_EQ(test::CUtf8::of(box->getEditText()), "1.0");
    EXPECT_EQ(box->getSelectionStart(), 0) << "all of it is selected first";
    EXPECT_EQ(box->getSelectionEnd(), 3);

    // Typing replaces the selection; refused characters and those beyond the limit are dropped.
    type("2x,.5");
    EXPECT_EQ(test::CUtf8::of(box->getEditText()), "2.5");
    type("1234");
    EXPECT_EQ(test::CUtf8::of(box->getEditText()), "2.5123") << "six characters at most";
    key(kKeyBackSpace);
    key(kKeyBackSpace);
    key(kKeyBackSpace);
    key(kKeyLeft);
    key(kKeyBackSpace);
    EXPECT_EQ(test::CUtf8::of(box->getEditText()), "25");
    EXPECT_EQ(box->getCursor(), 1);
    type(".");
    key(kKeyReturn);
    display.pump();
    EXPECT_FALSE(first->isEditing());
    EXPECT_EQ(test::CUtf8::of(first->getAttrString(CString("title"))), "2.5");
    EXPECT_EQ(window->getKeyFocusView(), nullptr);
    EXPECT_FALSE(screen->hasKeyFocus()) << "the keyboard goes back to the host";
}

TEST_F(CTextViewTest, EscapeLeavesTheTextTabMovesAlongAndAnEmptyCommitTakesTheEmptyValue)
{
    CTextView* first = field("first");
    CTextView* second = field("second");
    click(first, 1000);
    type("7");
    key(kKeyEscape);
    display.pump();
    EXPECT_FALSE(first->isEditing());
    EXPECT_EQ(test::CUtf8::of(first->getAttrString(CString("title"))), "1.0");
    EXPECT_FALSE(screen->hasKeyFocus());

    click(first, 3000);
    type("3");
    key(kKeyTab);
    display.pump();
    EXPECT_EQ(test::CUtf8::of(first->getAttrString(CString("title"))), "3") << "Tab commits";
    ASSERT_TRUE(second->isEditing()) << "and the next field of the group edits";
    EXPECT_TRUE(screen->hasKeyFocus());
    key(kKeyBackSpace);
    key(kKeyReturn);
    display.pump();
    EXPECT_EQ(test::CUtf8::of(second->getAttrString(CString("title"))), "0");

    // A press elsewhere commits too.
    click(second, 5000);
    type("9");
    click(field("label"), 7000);
    display.pump();
    EXPECT_FALSE(second->isEditing());
    EXPECT_EQ(test::CUtf8::of(second->getAttrString(CString("title"))), "9");
    EXPECT_FALSE(screen->hasKeyFocus());
}

TEST_F(CTextViewTest, CopyAndPasteGoThroughTheClipboard)
{
    CTextView* first = field("first");
    CTextView* second = field("second");
    click(first, 1000);
    key('c', 'c', CNativeWindow::kModCtrl);
    key(kKeyEscape);
    display.pump();
    EXPECT_EQ(std::string(display.getClipboard().getData(), display.getClipboard().getCount()),
              "1.0");
    display.setClipboard("4.25 and more\nsecond line", 24);
    click(second, 3000);
    key('v', 'v', CNativeWindow::kModCtrl);
    display.pump();
    // Only what the field accepts, up to its length, from the first line.
    EXPECT_EQ(test::CUtf8::of(second->getEditBox()->getEditText()), "4.25");
}
