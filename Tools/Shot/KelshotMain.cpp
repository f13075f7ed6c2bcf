// kelshot: draws a window of the interface offscreen and writes it as a PNG.
//
//   kelshot [--window PATH] [--scale 0.8|1.0|1.25] [--palette NAME] [--offline]
//           [--popup TAG [--param NAME=VALUE]...] --out FILE.png
//   kelshot --error-window --out FILE.png
//
// The plug-in's own instance and editor are made in this process, with the headless screen in
// place of X11; PATH names the window's root view in the editor's tree (default
// "ui.main-window"), NAME one of the five colour schemes. --offline: the host renders offline
// (the instance runs, as the host started it before opening the editor). --popup: the view at
// PATH opens the run-time template TAG as a popup (popup-toggle, with the parameters given) and
// the popup's window is drawn. --error-window: the window errors are shown in, with the chain of a
// bank file that cannot be opened.
#include "Audio/CAudioPresetBank.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "CRgbImage.h"
#include "Core/CObject.h"
#include "Core/CSystem.h"
#include "Core/Platform/CRunLoop.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CViewBase.h"
#include "UI/Windows/CErrorWindowPresenter.h"
#include "UI/Windows/CWindow.h"
#include "UI/Windows/CWindowSharedData.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

using namespace kel;

namespace
{

bool gHostOffline = false;

intptr_t hostCallback(AEffect*, int32_t opcode, int32_t, intptr_t, void*, float)
{
    // A plain host: it says its version and, if asked to, that it renders offline.
    if (opcode == kHostGetCurrentProcessLevel)
        return gHostOffline ? kProcessLevelOffline : 0;
    return opcode == kHostVersion ? 2400 : 0;
}

CNativeDisplay* makeHeadlessDisplay()
{
    return new CHeadlessDisplay();
}

int fail(const char* text)
{
    std::fprintf(stderr, "kelshot: %s\n", text);
    return 1;
}

int failWith(CError* error)
{
    char chain[4096];
    error->formatChain(chain, static_cast<int>(sizeof chain));
    delete error;
    return fail(chain);
}

// Writes the window's picture; 0 when it is written.
int writePicture(CWindow* window, const std::string& out)
{
    window->renderStep();
    auto* headless = dynamic_cast<CHeadlessWindow*>(window->getNativeWindow());
    if (!headless)
        return fail("the window has no picture");
    const CLinearBitmap& picture = headless->getPicture();
    CRgbImage image(picture.getWidth(), picture.getHeight());
    for (int y = 0; y < picture.getHeight(); ++y)
        for (int x = 0; x < picture.getWidth(); ++x)
            image.setPixel(x, y, picture.getPixel(x, y) & 0x00ffffffu);
    if (CError* error = image.writePng(out.c_str()))
        return failWith(error);
    std::printf("%s: %d by %d pixels\n", out.c_str(), picture.getWidth(), picture.getHeight());
    return 0;
}

// The error window as it shows the failure of a bank file that is not there.
int drawErrorWindow(const std::string& out)
{
    CAudioPresetBank bank;
    CError* failure = bank.loadFile(CString("/home/user/Banks/Live set.cbf"));
    char details[2048] = "<no details>";
    if (failure)
        failure->formatChain(details, static_cast<int>(sizeof details));
    delete failure;
    CObject* tree = nullptr;
    if (CError* error = CErrorWindowPresenter::buildTree(
            CSystem::kErrorTitle, CSystem::getErrorExplanation(), details, tree))
        return failWith(error);
    CHeadlessDisplay display;
    CWindowSharedData* shared = nullptr;
    CWindow* window = nullptr;
    CError* error = display.open();
    if (!error)
        error = tree->findObjectChecked(CString("ui.window-shared-data"), shared);
    if (!error)
    {
        shared->setDisplay(&display);
        error = tree->findObjectChecked(CString("ui.win.window-renderer"), window);
    }
    if (!error)
        error = window->createWindow();
    const int status = error ? failWith(error) : writePicture(window, out);
    CObject::destroyObject(tree);
    display.close();
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    std::string windowPath = "ui.main-window";
    std::string palette;
    std::string out;
    std::string popupTag;
    std::vector<std::string> popupParams;
    bool errorWindow = false;
    double scale = 1.0;
    for (int i = 1; i < argc; ++i)
    {
        const bool hasValue = i + 1 < argc;
        if (!std::strcmp(argv[i], "--window") && hasValue)
            windowPath = argv[++i];
        else if (!std::strcmp(argv[i], "--scale") && hasValue)
            scale = std::atof(argv[++i]);
        else if (!std::strcmp(argv[i], "--palette") && hasValue)
            palette = argv[++i];
        else if (!std::strcmp(argv[i], "--out") && hasValue)
            out = argv[++i];
        else if (!std::strcmp(argv[i], "--error-window"))
            errorWindow = true;
        else if (!std::strcmp(argv[i], "--offline"))
            gHostOffline = true;
        else if (!std::strcmp(argv[i], "--popup") && hasValue)
            popupTag = argv[++i];
        else if (!std::strcmp(argv[i], "--param") && hasValue && std::strchr(argv[i + 1], '='))
            popupParams.push_back(argv[++i]);
        else
        {
            std::fprintf(stderr, "usage: kelshot [--window PATH] [--scale 0.8|1.0|1.25] "
                                 "[--palette NAME] [--offline] [--popup TAG "
                                 "[--param NAME=VALUE]...] --out FILE.png\n"
                                 "       kelshot --error-window --out FILE.png\n");
            return 2;
        }
    }
    if (out.empty())
        return fail("--out FILE.png is needed");
    if (scale != 0.8 && scale != 1.0 && scale != 1.25)
        return fail("the scale is one of 0.8, 1.0 and 1.25");

    CUiScale::set(scale);
    CAudioWrapperVSTEditor::setDisplayMaker(&makeHeadlessDisplay);
    AEffect* effect = nullptr;
    if (CError* error = CAudioWrapperVST::create(&hostCallback, &effect, 2))
        return failWith(error);
    auto* wrapper = static_cast<CAudioWrapperVST*>(AudioEffect::fromAeffect(effect));
    auto* editor = static_cast<CAudioWrapperVSTEditor*>(wrapper->getEditor());
    if (errorWindow)
    {
        // The instance is there for the shared tree (fonts, pictures) the window draws with.
        const int status = drawErrorWindow(out);
        effect->dispatcher(effect, kEffClose, 0, 0, nullptr, 0.0f);
        return status;
    }
    if (gHostOffline)
    {
        effect->dispatcher(effect, kEffSetSampleRate, 0, 0, nullptr, 48000.0f);
        effect->dispatcher(effect, kEffSetBlockSize, 0, 512, nullptr, 0.0f);
        effect->dispatcher(effect, kEffMainsChanged, 0, 1, nullptr, 0.0f);
    }
    // The headless screen takes any parent; the window is drawn when it opens.
    int parent = 0;
    if (!editor->open(&parent))
        return fail("the editor did not open (see the message above)");
    // This thread works on the editor's views directly, as no host does: it keeps the editor's
    // stand-in thread, which serves the loop of a host that sends no idle, off the loop meanwhile.
    CRunLoop::CHold hold(CRunLoop::getCurrent());

    int status = 0;
    CObject* root = editor->getUiRoot()->findObject(CString(windowPath.c_str()));
    CViewBase* view = dynamic_cast<CViewBase*>(root);
    CWindow* window = nullptr;
    for (int i = 0; view && i < view->getChildCount() && !window; ++i)
        window = dynamic_cast<CWindow*>(view->getChild(i));
    if (view && !popupTag.empty())
    {
        // The opener's window is on screen first; the popup opens beside it.
        CViewBase* opener = view;
        view = nullptr;
        window = opener->findWindow();
        if (window)
        {
            if (CError* error = window->createWindow())
                return failWith(error);
            CAttrMap params;
            params.set(CString("popup-tag"), CAttrValue(popupTag.c_str()));
            for (const std::string& pair : popupParams)
            {
                const size_t equals = pair.find('=');
                params.set(CString(pair.substr(0, equals).c_str()),
                           CAttrValue(pair.substr(equals + 1).c_str()));
            }
            if (CError* error = opener->callEventProc(CString("popup-toggle"), params))
                return failWith(error);
            view = dynamic_cast<CViewBase*>(opener->getOpenPopup());
            window = view ? view->findWindow() : nullptr;
        }
    }
    if (!window)
        status = fail("no window at that path");
    else
    {
        // A popup's window opened with it.
        if (popupTag.empty())
        {
            if (CError* error = window->createWindow())
                status = failWith(error);
        }
        if (!palette.empty() && status == 0)
        {
            if (CError* error = view->setAttr(CString("palette"), CAttrValue(palette.c_str())))
                status = failWith(error);
        }
        // What the editor asked of the audio side when it opened (the session's programs, the
        // values) comes back with the host's idle.
        for (int i = 0; i < 4 && status == 0; ++i)
        {
            CRunLoop::getCurrent()->pump();
            effect->dispatcher(effect, kEffEditIdle, 0, 0, nullptr, 0.0f);
        }
        if (status == 0)
            status = writePicture(window, out);
    }
    editor->close();
    effect->dispatcher(effect, kEffClose, 0, 0, nullptr, 0.0f);
    return status;
}
