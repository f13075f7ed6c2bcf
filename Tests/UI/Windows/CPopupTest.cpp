// Popups that views open with popup-toggle, on the headless screen: the list popup from its
// template, where it opens, how it ends (a second toggle, a press elsewhere, a result, its opener
// going), and where its result goes.
#include "Core/CApplication.h"
#include "Core/CDebugChannel.h"
#include "Core/CSystem.h"
#include "Core/Platform/CRunLoop.h"
#include "Support/CErrorText.h"
#include "Support/CTreeBlobWriter.h"
#include "UI/Controls/CTextView.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Views/CView.h"
#include "UI/Windows/CSharedTreeTest.h"
#include "UI/Windows/CWindow.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace kel;

namespace
{

// A view that notes the popup results that reach it.
class CResultView : public CView
{
public:
    static void registerClass(CClassInfo& info) { CView::registerClass(info); }

    std::vector<int> indexes;
    std::vector<std::string> sources;

protected:
    CError* onPopupResult(CAttrMap& params) override
    {
        const CAttrValue* index = params.find(CString("index"));
        const CAttrValue* source = params.find(CString("source"));
        indexes.push_back(index ? index->getInt() : -100);
        sources.push_back(source ? test::CUtf8::of(source->getString()) : std::string());
        return CView::onPopupResult(params);
    }
};

std::vector<std::string>& logLines()
{
    static std::vector<std::string> lines;
    return lines;
}

std::vector<std::string>& shownErrors()
{
    static std::vector<std::string> errors;
    return errors;
}

class CPopupTest : public test::CSharedTreeTest
{
protected:
    static void SetUpTestSuite()
    {
        CApplication::addCreatorRegistration(
            []() -> CError*
            {
                static const CCreatorRow rows[] = {
                    CCreatorRow::of<CResultView>("test:result-view")};
                return CObject::registerCreators(rows, 1);
            });
        CSharedTreeTest::SetUpTestSuite();
    }

    void SetUp() override
    {
        // A 300 by 150 window at the screen's origin. "opener" pops up the first two of three
        // items as wide as itself plus 6, 3 pixels below it, and passes results on to
        // "target"; "empty-opener" pops up an empty list; "lost-opener" names a template that
        // is not there. "a" and "b" pass results on to each other's.
        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& ui = tree.add("ui:ui-event-bridge", "ui");
        ui.add("ui:window-shared-data", "window-shared-data");
        CTreeBlobWriter::Node& items = ui.add("ui:value-list-manual", "items");
        for (const char* title : {"One", "Two", "Three"})
            items.add("ui:textview-p").add("content").attr("value", title);
        ui.add("ui:value-list-manual", "empty");

        CTreeBlobWriter::Node& win = ui.add("ui:view", "win");
        win.attr("is-root-view", "true").attr("width", "300").attr("height", "150");
        win.attr("inner-border", "10").attr("spread", "L5").attr("palette", "Default");
        win.attr("font-name", "shared::fnt.base");
        win.add("ui:window-renderer", "window-renderer").attr("fps", "40");
        addOpener(win, "opener", "ui:window-app-popup-list", "ui.items")
            .attr("popup-max-item-count", "2")
            .attr("popup-result-target", "ui.win.target")
            .attr("is-same-width", "true")
            .attr("width-modif", "6")
            .attr("shift-y", "3")
            .attr("title", "Choose");
        addOpener(win, "empty-opener", "ui:window-app-popup-list", "ui.empty");
        addOpener(win, "lost-opener", "ui:no-such-popup", "ui.items");
        win.add("test:result-view", "other").attr("width", "40").attr("height", "20");
        win.add("test:result-view", "target").attr("width", "10").attr("height", "10");
        win.add("test:result-view", "a")
            .attr("width", "10")
            .attr("height", "10")
            .attr("popup-result-target", "ui.win.b");
        win.add("test:result-view", "b")
            .attr("width", "10")
            .attr("height", "10")
            .attr("popup-result-target", "ui.win.opener");

        // As Resources/Interface/Popups.xml has it.
        CTreeBlobWriter::Node& list = ui.addTemplate("ui:window-app-popup-list", "ui:view");
        list.attr("palette", "Default")
            .attr("color", "Panel")
            .attr("is-filled", "true")
            .attr("width", "120")
            .attr("height", "compact")
            .attr("inner-border", "2");
        list.add("ui:textview", "list")
            .attr("placement", "top")
            .attr("height", "compact")
            .attr("text-source", "{popup-text-source}")
            .attr("max-item-count", "{popup-max-item-count}")
            .attr("color", "Panel")
            .attr("paragraph-spacing", "2")
            .attr("paragraph-hover-color", "HoveredParagraph")
            .attr("paragraph-select-color", "Selection")
            .attr("is-paragraph-hoverable", "true")
            .attr("is-paragraph-selectable", "true")
            .attr("is-popup-list", "true");
        openTree(tree);
        logLines().clear();
        shownErrors().clear();
        CSystem::setErrorPresenter([](const char*, const char*, const char* details, void*)
                                   { shownErrors().push_back(details); },
                                   nullptr);
    }
    void TearDown() override
    {
        CSystem::setErrorPresenter(nullptr, nullptr);
        CSharedTreeTest::TearDown();
    }

    // A view whose release toggles the popup of the template tag over the list source.
    static CTreeBlobWriter::Node& addOpener(CTreeBlobWriter::Node& win, const char* name,
                                            const char* tag, const char* source)
    {
        CTreeBlobWriter::Node& opener = win.add("test:result-view", name);
        opener.attr("width", "100").attr("height", "20");
        CTreeBlobWriter::Node& command = opener.add("ui:view-command", "toggle");
        command.attr("on-event", "mouse-release")
            .attr("run-event", "popup-toggle")
            .attr("run-event-params", "params");
        opener.add("ui:view-command", "closed")
            .attr("on-event", "popup-closed")
            .attr("set-state", "heard-closed");
        CTreeBlobWriter::Node& params = command.add("core:object", "params");
        params.attr("popup-tag", tag).attr("popup-text-source", source);
        return params;
    }

    // Queued releases are delivered.
    static void runLoop()
    {
        if (CRunLoop* loop = CRunLoop::getCurrent())
            loop->pump();
    }

    CResultView* view(const char* name) const
    {
        return dynamic_cast<CResultView*>(root->findObject(CString("ui.win.") + CString(name)));
    }
    CWindow* popupWindow() const
    {
        CViewBaseCtlEvents* popup = view("opener")->getOpenPopup();
        return popup ? popup->findWindow() : nullptr;
    }
    void press(CHeadlessWindow* target, int x, int y, bool down, uint32_t timeMs)
    {
        CNativeWindow::CInputEvent event;
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.x = x;
        event.y = y;
        event.button = 1;
        event.isDown = down;
        event.timeMs = timeMs;
        display.inject(target, event);
        display.pump();
    }
    // A click in the middle of a view of the main window.
    void click(const char* name, uint32_t timeMs)
    {
        const CLinearBitmap::Rect area = view(name)->getViewRect();
        const int x = (area.left + area.right) / 2;
        const int y = (area.top + area.bottom) / 2;
        press(screen, x, y, true, timeMs);
        press(screen, x, y, false, timeMs + 50);
    }
};

} // namespace

TEST_F(CPopupTest, AToggleOpensOneListBesideItsOpenerAndASecondToggleClosesIt)
{
    CResultView* opener = view("opener");
    click("opener", 1000);
    ASSERT_EQ(display.getWindowCount(), 2);
    CWindow* popup = popupWindow();
    ASSERT_NE(popup, nullptr);
    auto* shown = dynamic_cast<CHeadlessWindow*>(popup->getNativeWindow());
    ASSERT_NE(shown, nullptr);
    EXPECT_TRUE(shown->getOpenParams().isPopup);
    EXPECT_EQ(shown->getOpenParams().transientFor, screen);
    EXPECT_EQ(test::CUtf8::of(popup->getAttrString(CString("title"))), "Choose");

    // As wide as the opener plus 6, centred on the main window, 3 below the opener.
    const CLinearBitmap::Rect at = opener->getViewRect();
    EXPECT_EQ(shown->getOpenParams().width, at.right - at.left + 6);
    EXPECT_EQ(shown->getX(), (300 - (at.right - at.left + 6)) / 2);
    EXPECT_EQ(shown->getY(), at.bottom + 3);

    // The first two titles, and a window as high as they are plus the inner border.
    auto* list = dynamic_cast<CTextView*>(root->findObject(CString("ui.popup.list")));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(test::CUtf8::of(list->getContent()), "One\nTwo");
    const int textHeight = list->getWrapper().getTextHeight();
    EXPECT_GT(textHeight, 0);
    EXPECT_EQ(shown->getOpenParams().height, textHeight + 4);

    // The press of the second click leaves the popup to its opener, whose toggle closes it.
    click("opener", 2000);
    EXPECT_EQ(display.getWindowCount(), 1);
    EXPECT_EQ(opener->getOpenPopup(), nullptr);
    EXPECT_TRUE(opener->isStateActive(CString("heard-closed")));
    EXPECT_NE(root->findObject(CString("ui.popup")), nullptr) << "released on the run loop";
    runLoop();
    EXPECT_EQ(root->findObject(CString("ui.popup")), nullptr);

    // A third click opens a fresh one.
    click("opener", 3000);
    EXPECT_EQ(display.getWindowCount(), 2);
    EXPECT_NE(opener->getOpenPopup(), nullptr);
}

TEST_F(CPopupTest, APressElsewhereClosesThePopupAndTheNextToggleOpensItAgain)
{
    CResultView* opener = view("opener");
    click("opener", 1000);
    ASSERT_NE(opener->getOpenPopup(), nullptr);
    click("other", 2000);
    EXPECT_EQ(display.getWindowCount(), 1);
    EXPECT_EQ(opener->getOpenPopup(), nullptr);
    EXPECT_TRUE(opener->isStateActive(CString("heard-closed")));
    EXPECT_TRUE(view("other")->indexes.empty());
    runLoop();
    EXPECT_EQ(root->findObject(CString("ui.popup")), nullptr);

    click("opener", 3000);
    EXPECT_EQ(display.getWindowCount(), 2);
    EXPECT_NE(opener->getOpenPopup(), nullptr);
}

TEST_F(CPopupTest, AClickOnTheSecondItemIsIndexOneAtTheOpenerAndItsTarget)
{
    click("opener", 1000);
    auto* list = dynamic_cast<CTextView*>(root->findObject(CString("ui.popup.list")));
    ASSERT_NE(list, nullptr);
    auto* shown = dynamic_cast<CHeadlessWindow*>(popupWindow()->getNativeWindow());
    const CLinearBitmap::Rect area = list->getViewRect();
    ASSERT_GE(list->getWrapper().getLineCount(), 2);
    const CTextWrapper::Line& second = list->getWrapper().getLine(1);
    press(shown, area.left + 5, area.top + second.top + 2, true, 2000);

    EXPECT_EQ(view("opener")->indexes, std::vector<int>{1});
    EXPECT_EQ(view("opener")->sources, std::vector<std::string>{"ui.popup.list"});
    EXPECT_EQ(view("target")->indexes, std::vector<int>{1});
    // The result ends the popup; its tree goes after the press that chose it.
    EXPECT_EQ(display.getWindowCount(), 1);
    EXPECT_TRUE(view("opener")->isStateActive(CString("heard-closed")));
    EXPECT_NE(root->findObject(CString("ui.popup")), nullptr);
    runLoop();
    EXPECT_EQ(root->findObject(CString("ui.popup")), nullptr);
    EXPECT_TRUE(shownErrors().empty()) << shownErrors().front();
}

TEST_F(CPopupTest, AnEmptyListShowsNoItemsAndAPressOnItChoosesNothing)
{
    CResultView* opener = view("empty-opener");
    click("empty-opener", 1000);
    CViewBaseCtlEvents* popup = opener->getOpenPopup();
    ASSERT_NE(popup, nullptr);
    auto* list = dynamic_cast<CTextView*>(popup->findObject(CString(".list")));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(test::CUtf8::of(list->getContent()), "<no items>");
    auto* shown = dynamic_cast<CHeadlessWindow*>(popup->findWindow()->getNativeWindow());
    const CLinearBitmap::Rect area = list->getViewRect();
    press(shown, area.left + 5, area.top + 2, true, 2000);
    EXPECT_TRUE(opener->indexes.empty());
    EXPECT_NE(opener->getOpenPopup(), nullptr);
    EXPECT_EQ(popup->findWindow()->getAttrString(CString("window-alignment")),
              CString("bottom-local-center"));
}

TEST_F(CPopupTest, AResultTargetChainThatComesBackToItsStartIsLoggedAndStops)
{
    // opener -> a -> b -> opener.
    ASSERT_EQ(view("opener")->setAttr(CString("popup-result-target"), CAttrValue("ui.win.a")),
              nullptr);
    CDebugChannel::setEnabled(true);
    CDebugChannel::setSink([](const char* line, void*) { logLines().push_back(line); }, nullptr);
    CAttrMap params;
    params.set(CString("index"), CAttrValue(static_cast<int32_t>(2)));
    const std::string error =
        test::CErrorText::takeChain(view("opener")->callEventProc(CString("popup-result"), params));
    CDebugChannel::setSink(nullptr, nullptr);
    CDebugChannel::setEnabled(false);
    EXPECT_EQ(error, "");
    EXPECT_EQ(view("opener")->indexes, std::vector<int>{2});
    EXPECT_EQ(view("a")->indexes, std::vector<int>{2});
    EXPECT_EQ(view("b")->indexes, std::vector<int>{2});
    if (CDebugChannel::isCompiledIn())
    {
        ASSERT_EQ(logLines().size(), 1u);
        EXPECT_EQ(logLines()[0], "Infinite loop caused by popup-result-target // ui.win.b");
    }
}

TEST_F(CPopupTest, AMissingTemplateIsAnErrorAndOpensNothing)
{
    click("lost-opener", 1000);
    EXPECT_EQ(display.getWindowCount(), 1);
    EXPECT_EQ(view("lost-opener")->getOpenPopup(), nullptr);
    ASSERT_EQ(shownErrors().size(), 1u);
    EXPECT_NE(shownErrors()[0].find("Run-time template 'ui:no-such-popup' does not exist."),
              std::string::npos)
        << shownErrors()[0];
    EXPECT_EQ(root->findObject(CString("ui.popup")), nullptr);
}

TEST_F(CPopupTest, AnOpenerThatGoesTakesItsPopupWithIt)
{
    click("opener", 1000);
    ASSERT_EQ(display.getWindowCount(), 2);
    CObject::destroyObject(view("opener"));
    EXPECT_EQ(display.getWindowCount(), 1);
    EXPECT_EQ(root->findObject(CString("ui.popup")), nullptr);
    // Nothing is left to release, and a press no longer finds the popup among the windows.
    runLoop();
    click("other", 2000);
    EXPECT_TRUE(shownErrors().empty()) << shownErrors().front();

    // A popup whose release is under way stays with the bridge when its opener goes.
    click("empty-opener", 3000);
    ASSERT_NE(root->findObject(CString("ui.popup")), nullptr);
    click("empty-opener", 4000);
    ASSERT_NE(root->findObject(CString("ui.popup")), nullptr);
    CObject::destroyObject(view("empty-opener"));
    runLoop();
    EXPECT_EQ(root->findObject(CString("ui.popup")), nullptr);
}

TEST_F(CPopupTest, TheEditorCarriesTheListTemplate)
{
    // The editor's tree as the product builds it, read without starting anything.
    CObject* editor = new CObject();
    const std::string error =
        test::CErrorText::takeChain(editor->loadFromResource(CString("UserInterface.xml"), false));
    EXPECT_EQ(error, "");
    CObject* editorUi = editor->findObject(CString("ui"));
    ASSERT_NE(editorUi, nullptr);
    EXPECT_NE(editorUi->findNamedTemplate(CString("ui:window-app-popup-list")), nullptr);
    CObject::destroyObject(editor);
}
