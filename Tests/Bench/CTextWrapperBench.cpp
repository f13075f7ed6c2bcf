// Laying out a label: a text view lays its title out again after every change of its text, so a
// label of 100 characters with a few tags should take no more than 20 us. Scrolling a list: a
// text view of 1,000 paragraphs moved by one line is drawn again from its stored lines, without
// a layout, at the cost of the lines in sight (a list box of 200 by 150 pixels).
#if defined(KEL_BENCH_UI_RESOURCES)

#include "Audio/VST/CAudioWrapperVST.h"
#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "UI/CLinearBitmap.h"
#include "UI/Rendering/CTextWrapper.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CFontObject.h"

#include <benchmark/benchmark.h>

#include <cstdio>

namespace
{

// The wrapper with the faces of the shared tree's base font; false (the run skipped) without them.
bool loadBaseFont(benchmark::State& state, kel::CTextWrapper& wrapper)
{
    kel::CAudioWrapperVST::startApplication();
    kel::CObject* shared = kel::CApplication::getSharedObject();
    auto* family =
        shared ? dynamic_cast<kel::CFontObject*>(shared->findObject(kel::CString("fnt.base")))
               : nullptr;
    kel::CError* error = family ? family->loadNow() : nullptr;
    if (!family || error)
    {
        delete error;
        state.SkipWithError("no font family fnt.base in the shared tree");
        return false;
    }
    error = wrapper.setFontObject(family);
    delete error;
    return true;
}

void layoutLabel(benchmark::State& state)
{
    kel::CTextWrapper wrapper;
    if (!loadBaseFont(state, wrapper))
        return;
    wrapper.setWidth(220);
    wrapper.setWrapped(true);
    // 100 characters of text, as a hint of the main window shows them.
    const kel::CString texts[2] = {
        kel::CString("Open [B]Preset Manager[/B] window. Presets are [C1]shared[/C1] between "
                     "instances of this plug-in, kept."),
        kel::CString("Open [B]Preset Manager[/B] window. Presets are [C1]shared[/C1] between "
                     "instances of this plug-in, kept!")};
    int which = 0;
    for (auto _ : state)
    {
        wrapper.setText(texts[which]);
        which ^= 1;
        wrapper.layout();
        benchmark::DoNotOptimize(wrapper.getLineCount());
    }
}
BENCHMARK(layoutLabel)->Name("text/layout_label")->Unit(benchmark::kMicrosecond);

void scrollList(benchmark::State& state)
{
    kel::CTextWrapper wrapper;
    if (!loadBaseFont(state, wrapper))
        return;
    wrapper.setWidth(200);
    kel::CString items;
    char item[64];
    for (int i = 0; i < 1000; ++i)
    {
        std::snprintf(item, sizeof item, "%sPreset %d [C1]Factory[/C1]", i > 0 ? "\n" : "", i);
        items.append(item);
    }
    wrapper.setText(items);
    kel::CLinearBitmap box;
    kel::CError* error = box.resize(200, 150);
    if (error)
    {
        delete error;
        state.SkipWithError("no bitmap");
        return;
    }
    kel::CColor text;
    text.setFlat(220, 220, 220);
    wrapper.layout();
    const int layouts = wrapper.getLayoutCount();
    const int line = wrapper.getLineHeight();
    const int end = wrapper.getTextHeight() - box.getHeight();
    int scroll = 0;
    for (auto _ : state)
    {
        // One line further down, back to the top at the end.
        scroll = scroll + line > end ? 0 : scroll + line;
        box.fill(0x202020);
        wrapper.draw(box, 0, -scroll, {0, 0, box.getWidth(), box.getHeight()}, &text, &text,
                     nullptr);
        benchmark::DoNotOptimize(box.getPixels());
    }
    if (wrapper.getLayoutCount() != layouts)
        state.SkipWithError("scrolling laid the list out again");
}
BENCHMARK(scrollList)->Name("text/scroll_list_line")->Unit(benchmark::kMicrosecond);

} // namespace

#endif
