// The object trees at start: the shared tree read from the embedded SharedData.xml (once per
// process in the plug-in), and one instance's tree made from the template "plugin" (once per
// instance; the goal is well under 1 ms after the first). The first instance is timed on its own
// as the counter first_us.
#include "Audio/VST/CAudioWrapperVST.h"
#include "Core/CApplication.h"
#include "Core/CError.h"
#include "Core/CObject.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>

using kel::CApplication;
using kel::CError;
using kel::CObject;
using kel::CString;

namespace
{

bool succeeded(benchmark::State& state, CError* error)
{
    if (!error)
        return true;
    char chain[2048];
    error->formatChain(chain, static_cast<int>(sizeof(chain)));
    delete error;
    state.SkipWithError(chain);
    return false;
}

void loadSharedTree(benchmark::State& state)
{
    kel::CAudioWrapperVST::startApplication();
    for (auto _ : state)
    {
        state.PauseTiming();
        CApplication::shutdown();
        state.ResumeTiming();
        if (!succeeded(state, CApplication::initSharedObject(CString("SharedData.xml"))))
            break;
    }
    // Back to a started application, as the other benchmarks expect it.
    CApplication::shutdown();
    kel::CAudioWrapperVST::startApplication();
}
BENCHMARK(loadSharedTree)->Name("tree/shared-data")->Unit(benchmark::kMicrosecond);

void instantiatePlugin(benchmark::State& state)
{
    kel::CAudioWrapperVST::startApplication();
    if (!CApplication::getSharedObject() &&
        !succeeded(state, CApplication::initSharedObject(CString("SharedData.xml"))))
        return;
    CObject* root = nullptr;
    if (!succeeded(state, CApplication::initRootObject(root, CString())))
        return;
    static double firstUs = -1.0;
    if (firstUs < 0.0)
    {
        const auto start = std::chrono::steady_clock::now();
        CObject* first = nullptr;
        CError* error = root->createChild(CString("plugin"), CString("plugin"), first);
        firstUs =
            std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
                .count();
        CObject::destroyObject(first);
        if (!succeeded(state, error))
        {
            CApplication::destroyRootObject(root);
            return;
        }
    }
    for (auto _ : state)
    {
        CObject* instance = nullptr;
        if (!succeeded(state, root->createChild(CString("plugin"), CString("plugin"), instance)))
            break;
        state.PauseTiming();
        CObject::destroyObject(instance);
        state.ResumeTiming();
    }
    state.counters["first_us"] = firstUs;
    CApplication::destroyRootObject(root);
}
BENCHMARK(instantiatePlugin)->Name("tree/plugin-instance")->Unit(benchmark::kMicrosecond);

} // namespace
