// The error window on the headless screen: what its tree shows and how it closes, and the
// presenter around it: its queue, what it drops, where reports go without a screen, and the
// thread that shows one window after another and ends when nothing is left.
#include "Core/CSystem.h"
#include "Support/CErrorText.h"
#include "UI/Controls/CTextView.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Windows/CErrorWindowPresenter.h"
#include "UI/Windows/CSharedTreeTest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

using namespace kel;

namespace
{

const char kChain[] =
    "Unable to load the preset bank '/home/user/presets/Factory Bank.cpf'.\n"
    "  Error 13 while opening file '/home/user/presets/Factory Bank.cpf' for reading: the "
    "permission to read it was refused by the system, and the bank keeps its previous contents "
    "until the next attempt.\n"
    "  Unable to read the user's settings.";

std::string readAll(std::FILE* stream)
{
    std::string text;
    std::rewind(stream);
    char buffer[4096];
    size_t got = 0;
    while ((got = std::fread(buffer, 1, sizeof buffer, stream)) > 0)
        text.append(buffer, got);
    return text;
}

template <typename Check> bool waitUntil(Check&& check)
{
    for (int i = 0; i < 500 && !check(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return check();
}

// ---- the window's tree ----

class CErrorWindowTest : public test::CSharedTreeTest
{
protected:
    void openWindow(const char* details)
    {
        CError* error = CErrorWindowPresenter::buildTree(
            CSystem::kErrorTitle, CSystem::getErrorExplanation(), details, root);
        ASSERT_EQ(error, nullptr) << test::CErrorText::takeChain(error);
        ASSERT_EQ(display.open(), nullptr);
        auto* shared =
            dynamic_cast<CWindowSharedData*>(root->findObject(CString("ui.window-shared-data")));
        ASSERT_NE(shared, nullptr);
        shared->setDisplay(&display);
        window = dynamic_cast<CWindow*>(root->findObject(CString("ui.win.window-renderer")));
        ASSERT_NE(window, nullptr);
        error = window->createWindow();
        ASSERT_EQ(error, nullptr) << test::CErrorText::takeChain(error);
        screen = dynamic_cast<CHeadlessWindow*>(window->getNativeWindow());
        ASSERT_NE(screen, nullptr);
        for (int i = 0; i < 3; ++i)
            window->renderStep();
    }

    CViewBase* view(const char* path) const
    {
        return dynamic_cast<CViewBase*>(root->findObject(CString(path)));
    }

    // Pixels of the view's rectangle that differ from its top left corner: text drawn there.
    int inkIn(const char* path) const
    {
        const CViewBase* found = view(path);
        if (!found)
            return -1;
        const CLinearBitmap::Rect rect = found->getViewRect();
        const CLinearBitmap& picture = screen->getPicture();
        const uint32_t background = picture.getPixel(rect.left, rect.top) & 0xffffff;
        int ink = 0;
        for (int y = rect.top; y < rect.bottom && y < picture.getHeight(); ++y)
        {
            for (int x = rect.left; x < rect.right && x < picture.getWidth(); ++x)
                ink += (picture.getPixel(x, y) & 0xffffff) != background ? 1 : 0;
        }
        return ink;
    }

    // The picture as a PPM beside the build, to be looked at.
    void writePicture(const char* fileName) const
    {
        const CLinearBitmap& picture = screen->getPicture();
        const std::string path = std::string(KEL_BINARY_DIR) + "/" + fileName;
        std::FILE* file = std::fopen(path.c_str(), "wb");
        ASSERT_NE(file, nullptr) << path;
        std::fprintf(file, "P6\n%d %d\n255\n", picture.getWidth(), picture.getHeight());
        for (int y = 0; y < picture.getHeight(); ++y)
        {
            for (int x = 0; x < picture.getWidth(); ++x)
            {
                const uint32_t pixel = picture.getPixel(x, y);
                const unsigned char rgb[3] = {static_cast<unsigned char>(pixel >> 16),
                                              static_cast<unsigned char>(pixel >> 8),
                                              static_cast<unsigned char>(pixel)};
                std::fwrite(rgb, 1, 3, file);
            }
        }
        std::fclose(file);
    }

    void click(const CViewBase* target)
    {
        const CLinearBitmap::Rect rect = target->getViewRect();
        CNativeWindow::CInputEvent event;
        event.x = (rect.left + rect.right) / 2;
        event.y = (rect.top + rect.bottom) / 2;
        display.inject(screen, event);
        event.kind = CNativeWindow::CInputEvent::kMouseButton;
        event.button = 1;
        event.isDown = true;
        display.inject(screen, event);
        event.isDown = false;
        display.inject(screen, event);
        display.pump();
    }
};

TEST_F(CErrorWindowTest, ShowsTitleExplanationAndTheWholeChainWrapped)
{
    openWindow(kChain);
    writePicture("error-window.ppm");
    EXPECT_EQ(screen->getPicture().getWidth(), CErrorWindowPresenter::kWindowWidth);
    EXPECT_EQ(screen->getOpenParams().parent, nullptr) << "a top-level window";
    EXPECT_FALSE(screen->getOpenParams().isPopup) << "decorated by the window manager";

    for (const char* path : {"ui.win.title-bar.title", "ui.win.explanation", "ui.win.details",
                             "ui.win.buttons.ok.label"})
    {
        EXPECT_GT(inkIn(path), 40) << path << " shows no text";
        const CLinearBitmap::Rect rect = view(path)->getViewRect();
        EXPECT_TRUE(rect.left >= 0 && rect.right <= CErrorWindowPresenter::kWindowWidth &&
                    rect.bottom <= screen->getPicture().getHeight())
            << path << " reaches out of the window";
    }
    // The explanation stands above the chain.
    EXPECT_LE(view("ui.win.explanation")->getViewRect().bottom,
              view("ui.win.details")->getViewRect().top);

    auto* details = dynamic_cast<CTextView*>(view("ui.win.details"));
    ASSERT_NE(details, nullptr);
    EXPECT_EQ(details->getContent(), CString::fromUtf8(kChain));
    const CLinearBitmap::Rect rect = details->getViewRect();
    CTextWrapper& wrapper = details->getWrapper();
    // Three paragraphs, the long one wrapped, and every line inside the view.
    EXPECT_GT(wrapper.getLineCount(), 3);
    EXPECT_LE(wrapper.getTextWidth(), rect.right - rect.left);
    EXPECT_LE(wrapper.getTextHeight(), rect.bottom - rect.top);

    auto* explanation = dynamic_cast<CTextView*>(view("ui.win.explanation"));
    ASSERT_NE(explanation, nullptr);
    const CLinearBitmap::Rect explanationRect = explanation->getViewRect();
    EXPECT_LE(explanation->getWrapper().getTextHeight(),
              explanationRect.bottom - explanationRect.top);
}

TEST_F(CErrorWindowTest, ALongChainGrowsTheWindowAndStillShowsAll)
{
    std::string chain;
    for (int i = 0; i < 12; ++i)
        chain += "  Error " + std::to_string(i) + " while reading the settings of instance " +
                 std::to_string(i) + ".\n";
    chain += "  The end of the chain.";
    openWindow(chain.c_str());
    writePicture("error-window-long.ppm");
    auto* details = dynamic_cast<CTextView*>(view("ui.win.details"));
    ASSERT_NE(details, nullptr);
    const CLinearBitmap::Rect rect = details->getViewRect();
    EXPECT_EQ(details->getWrapper().getLineCount(), 13);
    EXPECT_LE(details->getWrapper().getTextHeight(), rect.bottom - rect.top);
    // The last line has ink: nothing was cut at the bottom.
    const int lastLineTop =
        rect.top + details->getWrapper().getTextHeight() - details->getWrapper().getLineHeight();
    const CLinearBitmap& picture = screen->getPicture();
    const uint32_t background = picture.getPixel(rect.left, rect.top) & 0xffffff;
    int ink = 0;
    for (int y = lastLineTop; y < rect.bottom; ++y)
    {
        for (int x = rect.left; x < rect.right; ++x)
            ink += (picture.getPixel(x, y) & 0xffffff) != background ? 1 : 0;
    }
    EXPECT_GT(ink, 20);
}

TEST_F(CErrorWindowTest, CopyCtrlInsertAndCtrlCPutTheWholeChainOnTheClipboard)
{
    openWindow(kChain);
    auto clipboard = [&]()
    { return std::string(display.getClipboard().begin(), display.getClipboard().end()); };
    auto press = [&](uint32_t keysym, int modifiers)
    {
        display.setClipboard("", 0);
        CNativeWindow::CInputEvent key;
        key.kind = CNativeWindow::CInputEvent::kKeyDown;
        key.keysym = keysym;
        key.modifiers = modifiers;
        display.inject(screen, key);
        display.pump();
        return clipboard();
    };
    click(view("ui.win.buttons.copy"));
    EXPECT_EQ(clipboard(), kChain);
    EXPECT_EQ(press(0xff63, CNativeWindow::kModCtrl), kChain) << "Ctrl+Insert";
    EXPECT_EQ(press('c', CNativeWindow::kModCtrl), kChain) << "Ctrl+C";
    EXPECT_EQ(press('c', 0), "") << "a plain key copies nothing";
    EXPECT_EQ(press(0xff63, CNativeWindow::kModShift), "") << "Shift+Insert copies nothing";
}

TEST_F(CErrorWindowTest, OkAndTheWindowManagersCloseEndIt)
{
    openWindow("<no details>");
    click(view("ui.win.buttons.ok"));
    EXPECT_EQ(window->getNativeWindow(), nullptr) << "OK left the window open";
    CObject::destroyObject(root);
    root = nullptr;
    display.close();

    openWindow("<no details>");
    CNativeWindow::CInputEvent close;
    close.kind = CNativeWindow::CInputEvent::kClose;
    display.inject(screen, close);
    display.pump();
    EXPECT_EQ(window->getNativeWindow(), nullptr) << "the window manager's close was ignored";
}

// ---- the presenter ----

// The screen of the presenter's tests: it closes its first window when asked, from inside its
// pump (on the presenter's thread), as a click on the window manager's close would.
class CClosingDisplay : public CHeadlessDisplay
{
public:
    static std::atomic<int> closeRequests;
    static std::atomic<int> made;

    void pump() override
    {
        if (getWindowCount() > 0 && closeRequests.load() > 0)
        {
            closeRequests.fetch_sub(1);
            CNativeWindow::CInputEvent close;
            close.kind = CNativeWindow::CInputEvent::kClose;
            inject(getWindow(0), close);
        }
        CHeadlessDisplay::pump();
    }
};
std::atomic<int> CClosingDisplay::closeRequests{0};
std::atomic<int> CClosingDisplay::made{0};

CNativeDisplay* makeClosingDisplay()
{
    CClosingDisplay::made.fetch_add(1);
    return new CClosingDisplay();
}

// No screen, after the test says go: reports pile up meanwhile.
std::atomic<bool> screenGate{false};
CNativeDisplay* makeNoScreenLater()
{
    while (!screenGate.load())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return nullptr;
}

class CErrorWindowPresenterTest : public test::CSharedTreeTest
{
protected:
    void SetUp() override
    {
        stream = std::tmpfile();
        ASSERT_NE(stream, nullptr);
        CClosingDisplay::closeRequests.store(0);
        CClosingDisplay::made.store(0);
    }
    void TearDown() override
    {
        if (stream)
            std::fclose(stream);
        test::CSharedTreeTest::TearDown();
    }

    std::FILE* stream = nullptr;
};

TEST_F(CErrorWindowPresenterTest, ShowsOneWindowAfterAnotherAndEndsItsThread)
{
    CErrorWindowPresenter presenter(&makeClosingDisplay, false);
    presenter.setFallbackStream(stream);
    presenter.present("first", "explanation", "chain one");
    presenter.present("second", "explanation", "chain two");
    ASSERT_TRUE(waitUntil([&]() { return presenter.isWindowOpen(); }));
    EXPECT_EQ(presenter.getShownCount(), 1) << "never more than one window";

    // While a window is up, a report costs the caller no wait.
    const auto start = std::chrono::steady_clock::now();
    presenter.present("third", "explanation", "chain three");
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(ms, 5.0);

    CClosingDisplay::closeRequests.store(1);
    ASSERT_TRUE(waitUntil([&]() { return presenter.getShownCount() == 2; }));
    EXPECT_TRUE(presenter.isWindowOpen());
    CClosingDisplay::closeRequests.store(2);
    ASSERT_TRUE(waitUntil([&]() { return !presenter.isThreadActive(); }))
        << "the thread runs on with nothing to show";
    EXPECT_EQ(presenter.getShownCount(), 3);
    EXPECT_FALSE(presenter.isWindowOpen());
    EXPECT_EQ(CClosingDisplay::made.load(), 1) << "one connection for the three windows";
    EXPECT_EQ(readAll(stream), "") << "a report went to the stream with a screen there";

    // A later report starts it again, with a connection of its own.
    presenter.present("fourth", "explanation", "chain four");
    ASSERT_TRUE(waitUntil([&]() { return presenter.getShownCount() == 4; }));
    presenter.shutdown();
    EXPECT_FALSE(presenter.isThreadActive());
    EXPECT_FALSE(presenter.isWindowOpen());
    EXPECT_EQ(CClosingDisplay::made.load(), 2);
}

TEST_F(CErrorWindowPresenterTest, AFullQueueDropsTheOldestAndNoScreenMeansTheStream)
{
    screenGate.store(false);
    CErrorWindowPresenter presenter(&makeNoScreenLater, false);
    presenter.setFallbackStream(stream);
    const int sent = CErrorWindowPresenter::kQueueSize + 4;
    for (int i = 0; i < sent; ++i)
        presenter.present("title", "explanation", ("report " + std::to_string(i)).c_str());
    EXPECT_EQ(presenter.getDroppedCount(), 4);
    screenGate.store(true);
    ASSERT_TRUE(waitUntil([&]() { return !presenter.isThreadActive(); }));

    const std::string text = readAll(stream);
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(text.find("report " + std::to_string(i) + "\n"), std::string::npos) << i;
    size_t at = 0;
    for (int i = 4; i < sent; ++i)
    {
        const size_t found = text.find("report " + std::to_string(i) + "\n", at);
        ASSERT_NE(found, std::string::npos) << "report " << i << " missing or out of order";
        at = found;
    }
    // Each as CSystem writes it without a presenter.
    EXPECT_EQ(text.find("title\nexplanation\n\nreport 4\n"), 0u);
}

TEST_F(CErrorWindowPresenterTest, WithoutDisplayVariableReportsGoToTheStreamAtOnce)
{
    const char* saved = std::getenv("DISPLAY");
    const std::string kept = saved ? saved : "";
    unsetenv("DISPLAY");
    {
        CErrorWindowPresenter presenter(&makeClosingDisplay, true);
        presenter.setFallbackStream(stream);
        presenter.present(CSystem::kErrorTitle, "explanation", "<no details>");
        EXPECT_FALSE(presenter.isThreadActive());
        EXPECT_EQ(CClosingDisplay::made.load(), 0);
        EXPECT_EQ(readAll(stream),
                  std::string(CSystem::kErrorTitle) + "\nexplanation\n\n<no details>\n");
    }
    if (saved)
        setenv("DISPLAY", kept.c_str(), 1);
}

} // namespace
