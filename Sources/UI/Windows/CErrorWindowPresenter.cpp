#include "UI/Windows/CErrorWindowPresenter.h"

#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "Core/CSystem.h"
#include "UI/Controls/CTextView.h"
#include "UI/Platform/CNativeDisplay.h"
#include "UI/Views/CViewBase.h"
#include "UI/Windows/CWindow.h"
#include "UI/Windows/CWindowSharedData.h"

#include <cstdlib>
#include <cstring>
#include <thread>

namespace kel
{

namespace
{

constexpr uint32_t kWakeMessage = 1;

constexpr int kTextMargin = 10;
constexpr int kTitleBarHeight = 20;
constexpr int kButtonsHeight = 34;
constexpr int kMinDetailsHeight = 40;
constexpr int kMaxWindowHeight = 900;

// The compiled form of one empty node: no strings, no attributes, no children. The window's
// tree is read from it, as every loaded tree is, so that its root ends complete and its views
// draw; the rest is added below it.
const uint8_t kEmptyTree[17] = {};

std::atomic<CErrorWindowPresenter::DisplayMaker> installedMaker{nullptr};

// The process's presenter, made at the first report so that it goes before the statics that
// were made earlier (the application's release among them). CSystem forgets it first.
struct CProcessPresenter
{
    CErrorWindowPresenter presenter{installedMaker.load(std::memory_order_acquire), true};
    ~CProcessPresenter() { CSystem::setFallbackErrorPresenter(nullptr); }
};

CProcessPresenter& processPresenter()
{
    static CProcessPresenter instance;
    return instance;
}

void copyText(char* target, int capacity, const char* text)
{
    const size_t length = text ? std::strlen(text) : 0;
    const size_t kept = length < static_cast<size_t>(capacity) ? length : capacity - 1;
    if (kept > 0)
        std::memcpy(target, text, kept);
    target[kept] = '\0';
}

CError* addNode(CObject* parent, const char* tag, const char* name, const CAttrMap& attributes,
                CObject*& outChild)
{
    KEL_CHECK(parent->createChild(CString(tag), CString(name), outChild, &attributes));
    return nullptr;
}

CAttrMap textAttributes(const char* placement, const CString& text)
{
    CAttrMap attributes;
    attributes.set(CString("placement"), CAttrValue(placement));
    attributes.set(CString("title"), CAttrValue(text));
    attributes.set(CString("color"), CAttrValue("Panel"));
    attributes.set(CString("text-alignment"), CAttrValue("left"));
    attributes.set(CString("text-alignment-v"), CAttrValue("top"));
    attributes.set(CString("is-text-wrapped"), CAttrValue(true));
    attributes.set(CString("is-click-through"), CAttrValue(true));
    attributes.set(CString("paragraph-spacing"), CAttrValue(4));
    return attributes;
}

} // namespace

CErrorWindowPresenter::CErrorWindowPresenter(DisplayMaker maker, bool needsVariable)
    : displayMaker(maker), needsDisplayVariable(needsVariable), fallbackStream(stderr)
{
    (void)queue.init(kQueueSize);
}

CErrorWindowPresenter::~CErrorWindowPresenter()
{
    shutdown();
}

void CErrorWindowPresenter::install(DisplayMaker maker)
{
    installedMaker.store(maker, std::memory_order_release);
    CSystem::setFallbackErrorPresenter(&presentFromSystem);
}

void CErrorWindowPresenter::presentFromSystem(const char* title, const char* explanation,
                                              const char* details, void* /*context*/)
{
    processPresenter().presenter.present(title, explanation, details);
}

void CErrorWindowPresenter::lockBusy()
{
    while (busy.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
}

void CErrorWindowPresenter::present(const char* title, const char* explanation, const char* details)
{
    const char* variable = needsDisplayVariable ? std::getenv("DISPLAY") : "";
    if (!displayMaker || !variable || (needsDisplayVariable && variable[0] == '\0') ||
        queue.getCapacity() == 0)
    {
        CSystem::writeErrorReport(fallbackStream, title, explanation, details);
        return;
    }
    const auto fill = [&](CReport& cell)
    {
        copyText(cell.title, kTitleBytes, title);
        copyText(cell.explanation, kExplanationBytes, explanation);
        copyText(cell.details, kDetailsBytes, details);
    };
    // Full: the oldest report makes room.
    while (!queue.push(fill))
    {
        if (queue.pop([](CReport&) {}))
            droppedCount.fetch_add(1, std::memory_order_relaxed);
    }
    // The thread decides to end under the same flag, so a report is never left behind by a
    // thread that looked at the queue just before it came.
    lockBusy();
    if (!threadActive.load(std::memory_order_acquire))
    {
        threadActive.store(true, std::memory_order_release);
        stopThread(); // the thread that ended last, if any: it is on its way out
        if (CError* error = runThread())
        {
            threadActive.store(false, std::memory_order_release);
            busy.clear(std::memory_order_release);
            delete error;
            drainToStream();
            return;
        }
    }
    else if (const int signal = wakeSignal.load(std::memory_order_acquire); signal >= 0)
    {
        wakeLoop.load(std::memory_order_acquire)->raiseSignal(signal);
    }
    busy.clear(std::memory_order_release);
}

void CErrorWindowPresenter::shutdown()
{
    // The thread may be waiting in its loop: woken, it sees the stop at once.
    lockBusy();
    stopping.store(true, std::memory_order_release);
    if (const int signal = wakeSignal.load(std::memory_order_acquire); signal >= 0)
        wakeLoop.load(std::memory_order_acquire)->raiseSignal(signal);
    busy.clear(std::memory_order_release);
    stopThread();
    stopping.store(false, std::memory_order_release);
    threadActive.store(false, std::memory_order_release);
    drainToStream();
}

void CErrorWindowPresenter::drainToStream()
{
    while (queue.pop([this](CReport& cell) { taken = cell; }))
        CSystem::writeErrorReport(fallbackStream, taken.title, taken.explanation, taken.details);
}

bool CErrorWindowPresenter::mayEnd()
{
    lockBusy();
    const bool ends = queue.isEmpty();
    if (ends)
    {
        wakeSignal.store(-1, std::memory_order_release);
        wakeLoop.store(nullptr, std::memory_order_release);
        threadActive.store(false, std::memory_order_release);
    }
    busy.clear(std::memory_order_release);
    return ends;
}

void CErrorWindowPresenter::onRunLoopMessage(uint32_t /*message*/, intptr_t /*param*/) {}

void CErrorWindowPresenter::onRunLoopFd(int /*fd*/, int /*readyFlags*/)
{
    if (display)
        display->pump();
}

void CErrorWindowPresenter::execute()
{
    // The thread's own loop, which goes when execute returns: nothing of it outlives the
    // window, and the thread leaves nothing for the loader to run at its end, so that the
    // library's unload can wait for it.
    CRunLoop ownLoop;
    ownLoop.bindToThisThread();
    CRunLoop* loop = ownLoop.getInitError() == 0 ? &ownLoop : nullptr;
    if (!loop)
    {
        drainToStream();
        lockBusy();
        threadActive.store(false, std::memory_order_release);
        busy.clear(std::memory_order_release);
        return;
    }
    clientId = loop->addClient(this);
    const int signal = loop->addSignal(clientId, kWakeMessage);
    lockBusy();
    wakeLoop.store(loop, std::memory_order_release);
    wakeSignal.store(signal, std::memory_order_release);
    busy.clear(std::memory_order_release);
    for (;;)
    {
        display = displayMaker();
        if (display)
        {
            if (CError* error = display->open())
            {
                delete error;
                delete display;
                display = nullptr;
            }
        }
        const int fd = display ? display->getEventFd() : -1;
        if (fd >= 0)
            loop->watchFd(clientId, fd, CRunLoop::kReadable);
        // Served until the window is closed and nothing waits, or until the stop.
        while (display && !isStopping())
        {
            if (window && !window->getNativeWindow())
                closeWindow(); // "OK", or the window manager's close
            if (window && instancesSeen && CApplication::getRootCount() == 0)
                closeWindow(); // the last instance has gone
            if (!window)
            {
                if (!queue.pop([this](CReport& cell) { taken = cell; }))
                    break;
                showNext(taken);
                continue;
            }
            display->pump();
            loop->runOnce(kInstanceCheckMs);
        }
        closeWindow();
        if (fd >= 0)
            loop->unwatchFd(fd);
        if (display)
        {
            display->close();
            delete display;
            display = nullptr;
        }
        // Without a screen, or stopped: what waits goes to the stream.
        drainToStream();
        if (isStopping())
        {
            lockBusy();
            wakeSignal.store(-1, std::memory_order_release);
            wakeLoop.store(nullptr, std::memory_order_release);
            busy.clear(std::memory_order_release);
            break;
        }
        if (mayEnd())
            break;
    }
    loop->removeSignal(signal);
    loop->removeClient(clientId);
}

void CErrorWindowPresenter::showNext(const CReport& report)
{
    CError* error = buildTree(report.title, report.explanation, report.details, tree);
    if (!error)
    {
        CWindowSharedData* sharedData = nullptr;
        error = tree->findObjectChecked(CString("ui.window-shared-data"), sharedData);
        if (!error)
        {
            sharedData->setDisplay(display);
            error = tree->findObjectChecked(CString("ui.win.window-renderer"), window);
        }
        if (!error)
            error = window->createWindow();
    }
    if (error)
    {
        // The window cannot show it: the report goes where it would go without a screen, and
        // why after it.
        CSystem::writeErrorReport(fallbackStream, report.title, report.explanation, report.details);
        char reason[1024];
        error->formatChain(reason, static_cast<int>(sizeof reason));
        std::fprintf(fallbackStream, "%s\n", reason);
        std::fflush(fallbackStream);
        delete error;
        closeWindow();
        return;
    }
    // A window opened while instances exist goes with the last of them.
    instancesSeen = CApplication::getRootCount() > 0;
    shownCount.fetch_add(1, std::memory_order_relaxed);
    windowOpen.store(true, std::memory_order_release);
}

void CErrorWindowPresenter::closeWindow()
{
    if (window)
        window->closeWindow();
    window = nullptr;
    CObject::destroyObject(tree);
    tree = nullptr;
    windowOpen.store(false, std::memory_order_release);
}

CError* CErrorWindowPresenter::buildTree(const char* title, const char* explanation,
                                         const char* details, CObject*& outRoot)
{
    outRoot = nullptr;
    auto* root = new CObject();
    KEL_CHECK(root->loadFromMemory(kEmptyTree, sizeof kEmptyTree, true),
              CObject::destroyObject(root));
    const int textWidth = kWindowWidth - 2 * kTextMargin;
    // Laid out at the largest height first; the window then takes what its texts need.
    int height = kMaxWindowHeight;
    CError* error = nullptr;
    const auto build = [&]() -> CError*
    {
        CObject* ui = nullptr;
        KEL_CHECK(addNode(root, "ui:ui-event-bridge", "ui", CAttrMap(), ui));
        CObject* made = nullptr;
        KEL_CHECK(addNode(ui, "ui:window-shared-data", "window-shared-data", CAttrMap(), made));

        CAttrMap rootView;
        rootView.set(CString("is-root-view"), CAttrValue(true));
        rootView.set(CString("width"), CAttrValue(kWindowWidth));
        rootView.set(CString("height"), CAttrValue(height));
        rootView.set(CString("palette"), CAttrValue("Default"));
        rootView.set(CString("font-name"), CAttrValue("shared::fnt.small"));
        rootView.set(CString("color"), CAttrValue("Panel"));
        rootView.set(CString("is-filled"), CAttrValue(true));
        CObject* win = nullptr;
        KEL_CHECK(addNode(ui, "ui:view", "win", rootView, win));

        CAttrMap bar;
        bar.set(CString("placement"), CAttrValue("top"));
        bar.set(CString("width"), CAttrValue("100%"));
        bar.set(CString("height"), CAttrValue(kTitleBarHeight));
        bar.set(CString("color"), CAttrValue("WindowTitle"));
        bar.set(CString("is-filled"), CAttrValue(true));
        CObject* titleBar = nullptr;
        KEL_CHECK(addNode(win, "ui:frame", "title-bar", bar, titleBar));
        CAttrMap titleText = textAttributes("full", CString::fromUtf8(title));
        titleText.set(CString("color"), CAttrValue("WindowTitle"));
        titleText.set(CString("text-alignment"), CAttrValue("center"));
        titleText.set(CString("text-alignment-v"), CAttrValue("center"));
        titleText.set(CString("is-text-wrapped"), CAttrValue(false));
        KEL_CHECK(addNode(titleBar, "ui:textview", "title", titleText, made));

        // "Copy" puts the error chain on the clipboard, as Ctrl+Insert does; "OK" closes.
        CAttrMap row;
        row.set(CString("placement"), CAttrValue("bottom"));
        row.set(CString("width"), CAttrValue("100%"));
        row.set(CString("height"), CAttrValue(kButtonsHeight));
        row.set(CString("inner-border"), CAttrValue("6 L236"));
        row.set(CString("spread"), CAttrValue("L8"));
        CObject* buttons = nullptr;
        KEL_CHECK(addNode(win, "ui:view", "buttons", row, buttons));
        const auto addButton = [&](const char* name, const char* caption, const char* event,
                                   const char* target) -> CError*
        {
            CAttrMap button;
            button.set(CString("placement"), CAttrValue("inline"));
            button.set(CString("width"), CAttrValue(60));
            button.set(CString("height"), CAttrValue(22));
            button.set(CString("image-set"), CAttrValue("shared::is.button"));
            button.set(CString("color"), CAttrValue("Button"));
            button.set(CString("inner-border"), CAttrValue("3 B4"));
            button.set(CString("is-intercepting"), CAttrValue(true));
            CObject* part = nullptr;
            CObject* pushButton = nullptr;
            KEL_CHECK(addNode(buttons, "ui:button-base", name, button, pushButton));
            CAttrMap label = textAttributes("full", CString(caption));
            label.set(CString("color"), CAttrValue("ButtonText"));
            label.set(CString("text-alignment"), CAttrValue("center"));
            label.set(CString("text-alignment-v"), CAttrValue("center"));
            label.set(CString("is-text-wrapped"), CAttrValue(false));
            KEL_CHECK(addNode(pushButton, "ui:textview", "label", label, part));
            CAttrMap hover;
            hover.set(CString("state-name"), CAttrValue("hover"));
            hover.set(CString("color-state"), CAttrValue("Hover"));
            KEL_CHECK(addNode(pushButton, "ui:view-state", "hover", hover, part));
            CAttrMap pushed;
            pushed.set(CString("state-name"), CAttrValue("pushed"));
            pushed.set(CString("image-set-range"), CAttrValue("Pushed"));
            pushed.set(CString("image-range"), CAttrValue("Pushed"));
            pushed.set(CString("inner-border"), CAttrValue("3 B4 *LT1 *RB-1"));
            KEL_CHECK(addNode(pushButton, "ui:view-state", "pushed", pushed, part));
            CAttrMap command;
            command.set(CString("on-event"), CAttrValue("mouse-release"));
            command.set(CString("run-event"), CAttrValue(event));
            command.set(CString("run-event-target"), CAttrValue(target));
            KEL_CHECK(addNode(pushButton, "ui:view-command", "command", command, part));
            return nullptr;
        };
        KEL_CHECK(addButton("copy", "Copy", "copy-content", "ui.win.details"));
        // Ctrl+Insert, as the explanation says, and Ctrl+C: the keys go to the window's root.
        CAttrMap copyKeys;
        copyKeys.set(CString("on-event"), CAttrValue("key-press"));
        copyKeys.set(CString("run-event"), CAttrValue("copy-content"));
        copyKeys.set(CString("run-event-target"), CAttrValue("ui.win.details"));
        copyKeys.set(CString("run-event-forward-params"), CAttrValue("keycode is-ctrl"));
        KEL_CHECK(addNode(win, "ui:view-command", "copy-keys", copyKeys, made));
        KEL_CHECK(addButton("ok", "OK", "close-window", "ui.win.window-renderer"));

        CAttrMap explanationText = textAttributes("top", CString::fromUtf8(explanation));
        explanationText.set(CString("width"), CAttrValue(textWidth));
        explanationText.set(CString("height"), CAttrValue("compact"));
        explanationText.set(CString("outer-border"), CAttrValue("10 T8 B0"));
        KEL_CHECK(addNode(win, "ui:textview", "explanation", explanationText, made));
        CAttrMap detailsText = textAttributes("full", CString::fromUtf8(details));
        detailsText.set(CString("outer-border"), CAttrValue("10 T8 B4"));
        CTextView* detailsView = nullptr;
        KEL_CHECK(win->createChild(CString("ui:textview"), CString("details"), detailsView,
                                   &detailsText));

        // A top-level window of its own: "opener" names no view, so nothing places it and it
        // stands above no window of the tree.
        CAttrMap rendererAttributes;
        rendererAttributes.set(CString("opener"), CAttrValue(""));
        rendererAttributes.set(CString("title"), CAttrValue(CString::fromUtf8(title)));
        rendererAttributes.set(CString("window-x"), CAttrValue(200));
        rendererAttributes.set(CString("window-y"), CAttrValue(150));
        CWindow* renderer = nullptr;
        KEL_CHECK(win->createChild(CString("ui:window-renderer"), CString("window-renderer"),
                                   renderer, &rendererAttributes));
        // The window manager's close ends the window as "OK" does.
        KEL_CHECK(renderer->listenObject(renderer->getFullName(), CString("close-window"),
                                         CString("close-window")));

        // The whole chain shows: the window is as high as its texts, up to the largest height.
        const CLinearBitmap::Rect above =
            dynamic_cast<CViewBase*>(win->findObject(CString("ui.win.explanation")))->getViewRect();
        const int needed =
            above.bottom + 8 + detailsView->getWrapper().getTextHeight() + 4 + kButtonsHeight;
        const int minimum = above.bottom + 8 + kMinDetailsHeight + 4 + kButtonsHeight;
        height = needed < minimum ? minimum : needed > kMaxWindowHeight ? kMaxWindowHeight : needed;
        KEL_CHECK(win->setAttr(CString("height"), CAttrValue(height)));
        return nullptr;
    };
    error = build();
    KEL_CHECK(error, CObject::destroyObject(root));
    outRoot = root;
    return nullptr;
}

} // namespace kel
