// Loading every image set, font and brush set of the interface from the embedded table, as the
// shared tree does at start: the goal is well under 20 ms together with the palettes.
#if defined(KEL_BENCH_UI_RESOURCES)

#include "Core/CResourceReader.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"
#include "UI/Resources/CBrushSet.h"
#include "UI/Resources/CFont.h"
#include "UI/Resources/CImageSet.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <memory>
#include <vector>

namespace
{

struct NameList
{
    std::vector<const char*> imageSets;
    std::vector<const char*> fonts;
    std::vector<const char*> brushSets;
};

NameList findResources()
{
    kel::CResourceTable::install(kel::resources::kResourceTable);
    NameList names;
    kel::CResourceTable::forEach(
        [](const char* name, const uint8_t*, size_t, void* context)
        {
            auto& list = *static_cast<NameList*>(context);
            const size_t length = std::strlen(name);
            auto endsWith = [&](const char* suffix)
            {
                const size_t n = std::strlen(suffix);
                return length >= n && std::strcmp(name + length - n, suffix) == 0;
            };
            if (endsWith(".is"))
                list.imageSets.push_back(name);
            else if (endsWith(".fnt"))
                list.fonts.push_back(name);
            else if (endsWith(".bs"))
                list.brushSets.push_back(name);
        },
        &names);
    return names;
}

template <typename Set> bool load(const char* name, Set& set)
{
    kel::CResourceReader reader;
    kel::CError* error = reader.open(name);
    if (!error)
        error = set.read(reader);
    delete error;
    return error == nullptr;
}

void loadAllUiResources(benchmark::State& state)
{
    const NameList names = findResources();
    if (names.imageSets.size() != 20 || names.fonts.size() != 10 || names.brushSets.size() != 1)
    {
        state.SkipWithError("the interface resources are not all embedded");
        return;
    }
    for (auto _ : state)
    {
        std::vector<std::unique_ptr<kel::CImageSet>> sets;
        for (const char* name : names.imageSets)
        {
            sets.push_back(std::make_unique<kel::CImageSet>());
            benchmark::DoNotOptimize(load(name, *sets.back()));
        }
        for (const char* name : names.fonts)
        {
            sets.push_back(std::make_unique<kel::CFont>());
            benchmark::DoNotOptimize(load(name, *sets.back()));
        }
        kel::CBrushSet brushes;
        benchmark::DoNotOptimize(load(names.brushSets[0], brushes));
    }
}
BENCHMARK(loadAllUiResources)->Unit(benchmark::kMillisecond);

} // namespace

#endif
