// Laying out a label: a text view lays its title out again after every change of its text, so a
// label of 100 characters with a few tags should take no more than 20 us.
#if defined(KEL_BENCH_UI_RESOURCES)

#include "Audio/VST/CAudioWrapperVST.h"
#include "Core/CApplication.h"
#include "Core/CObject.h"
#include "UI/Rendering/CTextWrapper.h"
#include "UI/Resources/CFontObject.h"

#include <benchmark/benchmark.h>

namespace
{

void layoutLabel(benchmark::State& state)
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
        return;
    }
    kel::CTextWrapper wrapper;
    error = wrapper.setFontObject(family);
    delete error;
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

} // namespace

#endif
