// Mark-up over arbitrary bytes: no crash, no read or write beyond the text or the bitmap, and the
// metrics agree with the lines. The fonts, image sets and palette are the shared tree's, read
// once at the first input; the first byte chooses the width (0 for none), wrapping (bit 7 of the
// second byte) and alignment (its low two bits); the rest is the text in UTF-8.
#include "FuzzCheck.h"

#include "Audio/CAudioCreators.h"
#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "ProductResources.h"
#include "UI/CLinearBitmap.h"
#include "UI/CUiCreators.h"
#include "UI/Rendering/CTextWrapper.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CFontObject.h"
#include "UI/Resources/CPaletteObject.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace kel;

namespace
{

struct Resources
{
    CFontObject* fonts[2] = {};
    const CPalette* palette = nullptr;
};

void loadOrDie(CError* error)
{
    if (error)
    {
        std::fprintf(stderr, "%s\n", error->getMessage());
        std::abort();
    }
}

const Resources& sharedResources()
{
    static Resources loaded = []
    {
        Resources out;
        CApplication::addCreatorRegistration(&CAudioCreators::registerAll);
        CApplication::addCreatorRegistration(&CUiCreators::registerAll);
        CApplication::init(resources::kResourceTable, "SharedData.xml");
        CObject* shared = CApplication::getSharedObject();
        KEL_FUZZ_CHECK(shared != nullptr);
        const char* const families[] = {"fnt.base", "fnt.title"};
        for (int i = 0; i < 2; ++i)
        {
            out.fonts[i] = dynamic_cast<CFontObject*>(shared->findObject(CString(families[i])));
            KEL_FUZZ_CHECK(out.fonts[i] != nullptr);
            loadOrDie(out.fonts[i]->loadNow());
        }
        auto* scheme = dynamic_cast<CPaletteObject*>(shared->findObject(CString("pal.Default")));
        KEL_FUZZ_CHECK(scheme != nullptr);
        loadOrDie(scheme->loadNow());
        out.palette = scheme->getPalette();
        return out;
    }();
    return loaded;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 2)
        return 0;
    const Resources& shared = sharedResources();
    CTextWrapper wrapper;
    KEL_FUZZ_CHECK(wrapper.setFontObject(shared.fonts[data[1] & 4 ? 1 : 0]) == nullptr);
    wrapper.setPalette(shared.palette);
    wrapper.setWidth(data[0]);
    wrapper.setWrapped((data[1] & 0x80) != 0);
    wrapper.setAlignment(static_cast<CTextWrapper::Alignment>(data[1] & 3));
    wrapper.setMarkup((data[1] & 8) == 0);
    wrapper.setText(CString::fromUtf8(reinterpret_cast<const char*>(data + 2), size - 2));

    CLinearBitmap bitmap;
    KEL_FUZZ_CHECK(bitmap.resize(64, 48) == nullptr);
    CColor normal;
    normal.setFlat(255, 255, 255);
    CColor accent;
    accent.setFlat(255, 0, 0);
    wrapper.draw(bitmap, -3, -5, CLinearBitmap::Rect{0, 0, 64, 48}, &normal, &accent, nullptr,
                 0.75);

    const int lineCount = wrapper.getLineCount();
    KEL_FUZZ_CHECK(lineCount >= 0);
    KEL_FUZZ_CHECK(lineCount == 0 || wrapper.getTextHeight() >= wrapper.getLineHeight());
    int glyphEnd = 0;
    for (int i = 0; i < lineCount; ++i)
    {
        const CTextWrapper::Line& line = wrapper.getLine(i);
        KEL_FUZZ_CHECK(line.sourceStart <= line.sourceEnd);
        KEL_FUZZ_CHECK(line.width <= wrapper.getTextWidth());
        for (int r = line.firstRun; r < line.firstRun + line.runCount; ++r)
        {
            const CTextWrapper::Run& run = wrapper.getRun(r);
            KEL_FUZZ_CHECK(run.kind != CTextWrapper::kRunText || run.glyphCount > 0);
            KEL_FUZZ_CHECK(run.kind != CTextWrapper::kRunText || run.firstGlyph == glyphEnd);
            glyphEnd += run.kind == CTextWrapper::kRunText ? run.glyphCount : 0;
        }
        const CTextWrapper::Hit hit = wrapper.hitTest(1, wrapper.getLine(i).top);
        KEL_FUZZ_CHECK(hit.line == i);
        KEL_FUZZ_CHECK(hit.textIndex >= line.sourceStart && hit.textIndex <= line.sourceEnd);
    }
    // Drawn again from the stored lines, without a second layout.
    wrapper.draw(bitmap, 0, 0, CLinearBitmap::Rect{0, 0, 64, 48}, &normal, nullptr, &accent, 1.0);
    KEL_FUZZ_CHECK(wrapper.getLayoutCount() == 1);
    return 0;
}
