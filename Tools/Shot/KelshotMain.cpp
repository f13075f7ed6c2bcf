// kelshot: draws a window of the interface offscreen and writes it as a PNG.
//
//   kelshot [--window PATH] [--scale 0.8|1.0|1.25] [--palette NAME] --out FILE.png
//
// The plug-in's own instance and editor are made in this process, with the headless screen in
// place of X11; PATH names the window's root view in the editor's tree (default
// "ui.main-window"), NAME one of the five colour schemes.
#include "Audio/VST/CAudioWrapperVST.h"
#include "Audio/VST/CAudioWrapperVSTEditor.h"
#include "CRgbImage.h"
#include "Core/CObject.h"
#include "Core/CSystem.h"
#include "UI/Platform/Headless/CHeadlessDisplay.h"
#include "UI/Platform/Headless/CHeadlessWindow.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CViewBase.h"
#include "UI/Windows/CWindow.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace kel;

namespace
{

intptr_t hostCallback(AEffect*, int32_t opcode, int32_t, intptr_t, void*, float)
{
    // A plain host: it says its version and nothing else.
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

} // namespace

int main(int argc, char** argv)
{
    std::string windowPath = "ui.main-window";
    std::string palette;
    std::string out;
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
        else
        {
            std::fprintf(stderr, "usage: kelshot [--window PATH] [--scale 0.8|1.0|1.25] "
                                 "[--palette NAME] --out FILE.png\n");
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
    // The headless screen takes any parent; the window is drawn when it opens.
    int parent = 0;
    if (!editor->open(&parent))
        return fail("the editor did not open (see the message above)");

    int status = 0;
    CObject* root = editor->getUiRoot()->findObject(CString(windowPath.c_str()));
    CViewBase* view = dynamic_cast<CViewBase*>(root);
    CWindow* window = nullptr;
    for (int i = 0; view && i < view->getChildCount() && !window; ++i)
        window = dynamic_cast<CWindow*>(view->getChild(i));
    if (!window)
        status = fail("no window at that path");
    else
    {
        if (CError* error = window->createWindow())
            status = failWith(error);
        if (!palette.empty() && status == 0)
        {
            if (CError* error = view->setAttr(CString("palette"), CAttrValue(palette.c_str())))
                status = failWith(error);
        }
        window->renderStep();
        auto* headless = dynamic_cast<CHeadlessWindow*>(window->getNativeWindow());
        if (status == 0 && !headless)
            status = fail("the window has no picture");
        if (status == 0)
        {
            const CLinearBitmap& picture = headless->getPicture();
            CRgbImage image(picture.getWidth(), picture.getHeight());
            for (int y = 0; y < picture.getHeight(); ++y)
                for (int x = 0; x < picture.getWidth(); ++x)
                    image.setPixel(x, y, picture.getPixel(x, y) & 0x00ffffffu);
            if (CError* error = image.writePng(out.c_str()))
                status = failWith(error);
            else
                std::printf("%s: %d by %d pixels\n", out.c_str(), picture.getWidth(),
                            picture.getHeight());
        }
    }
    editor->close();
    effect->dispatcher(effect, kEffClose, 0, 0, nullptr, 0.0f);
    return status;
}
