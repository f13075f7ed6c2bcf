// Small blocks from the pooled allocator against the C runtime: one block taken and given back
// (the free list's fast path), a batch of 64 held at once, and a batch spread over many sizes.
#include "Core/CAllocator.h"

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace
{
struct PooledAllocator
{
    static void* take(size_t bytes) { return kel::CAllocator::alloc(bytes); }
    static void give(void* block) { kel::CAllocator::free(block); }
};

struct RuntimeAllocator
{
    static void* take(size_t bytes) { return std::malloc(bytes); }
    static void give(void* block) { std::free(block); }
};

template <typename Allocator> void takeAndGiveOne(benchmark::State& state)
{
    const auto bytes = static_cast<size_t>(state.range(0));
    for (auto _ : state)
    {
        void* block = Allocator::take(bytes);
        benchmark::DoNotOptimize(block);
        Allocator::give(block);
    }
}

template <typename Allocator> void holdBatchOf64(benchmark::State& state)
{
    const auto bytes = static_cast<size_t>(state.range(0));
    void* blocks[64];
    for (auto _ : state)
    {
        for (void*& block : blocks)
            block = Allocator::take(bytes);
        benchmark::DoNotOptimize(blocks);
        for (void* block : blocks)
            Allocator::give(block);
    }
    state.SetItemsProcessed(state.iterations() * 64);
}

template <typename Allocator> void mixedSizes(benchmark::State& state)
{
    void* blocks[256];
    for (auto _ : state)
    {
        for (int i = 0; i < 256; ++i)
            blocks[i] = Allocator::take(16 + (i * 37) % 1024);
        benchmark::DoNotOptimize(blocks);
        for (int i = 255; i >= 0; --i)
            Allocator::give(blocks[i]);
    }
    state.SetItemsProcessed(state.iterations() * 256);
}
} // namespace

BENCHMARK_TEMPLATE(takeAndGiveOne, PooledAllocator)->Arg(16)->Arg(64)->Arg(512);
BENCHMARK_TEMPLATE(takeAndGiveOne, RuntimeAllocator)->Arg(16)->Arg(64)->Arg(512);
BENCHMARK_TEMPLATE(holdBatchOf64, PooledAllocator)->Arg(32)->Arg(256);
BENCHMARK_TEMPLATE(holdBatchOf64, RuntimeAllocator)->Arg(32)->Arg(256);
BENCHMARK_TEMPLATE(mixedSizes, PooledAllocator)->Threads(1)->Threads(2);
BENCHMARK_TEMPLATE(mixedSizes, RuntimeAllocator)->Threads(1)->Threads(2);
