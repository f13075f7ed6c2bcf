#include "Core/CAllocator.h"

#include "Core/Platform/CThisThread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

using kel::CAllocator;

TEST(CAllocator, EverySizeClassGivesAlignedBlocksAndCountsThem)
{
    const int64_t before = CAllocator::liveBlocks();
    std::vector<void*> blocks;
    for (int c = 0; c < CAllocator::kClassCount; ++c)
    {
        const size_t bytes = (c + 1) * CAllocator::kClassStepBytes;
        const int64_t inClass = CAllocator::liveBlocksInClass(c);
        EXPECT_EQ(CAllocator::classIndexFor(bytes), c);
        EXPECT_EQ(CAllocator::classIndexFor(bytes - 15), c);
        void* block = CAllocator::alloc(bytes);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0u) << "class " << c;
        EXPECT_EQ(CAllocator::getCapacity(block), bytes);
        EXPECT_EQ(CAllocator::liveBlocksInClass(c), inClass + 1);
        std::memset(block, c, bytes);
        blocks.push_back(block);
    }
    EXPECT_EQ(CAllocator::liveBlocks(), before + CAllocator::kClassCount);
    // Neighbours must not have overwritten anything.
    for (int c = 0; c < CAllocator::kClassCount; ++c)
    {
        const auto* bytes = static_cast<const unsigned char*>(blocks[c]);
        EXPECT_EQ(bytes[0], static_cast<unsigned char>(c));
        EXPECT_EQ(bytes[(c + 1) * 16 - 1], static_cast<unsigned char>(c));
        CAllocator::free(blocks[c]);
    }
    EXPECT_EQ(CAllocator::liveBlocks(), before);
}

TEST(CAllocator, SizeZeroTakesSmallestClassAndLargeRequestsGoToRuntime)
{
    EXPECT_EQ(CAllocator::classIndexFor(0), 0);
    EXPECT_EQ(CAllocator::classIndexFor(4080), 254);
    EXPECT_EQ(CAllocator::classIndexFor(4081), CAllocator::kRuntimeClass);

    const int64_t runtimeBefore = CAllocator::liveBlocksInClass(CAllocator::kRuntimeClass);
    void* zero = CAllocator::alloc(0);
    void* large = CAllocator::alloc(4081);
    ASSERT_NE(zero, nullptr);
    ASSERT_NE(large, nullptr);
    EXPECT_EQ(CAllocator::getCapacity(zero), 16u);
    EXPECT_EQ(CAllocator::getCapacity(large), 4081u);
    EXPECT_EQ(static_cast<unsigned char*>(large)[-1], 255);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(large) % 16, 0u);
    EXPECT_EQ(CAllocator::liveBlocksInClass(CAllocator::kRuntimeClass), runtimeBefore + 1);
    CAllocator::free(zero);
    CAllocator::free(large);
    CAllocator::free(nullptr);
    EXPECT_EQ(CAllocator::liveBlocksInClass(CAllocator::kRuntimeClass), runtimeBefore);
}

TEST(CAllocator, FreedBlockIsReusedByItsClass)
{
    void* first = CAllocator::alloc(100);
    CAllocator::free(first);
    void* second = CAllocator::alloc(112);
    EXPECT_EQ(first, second);
    CAllocator::free(second);
}

TEST(CAllocator, ReallocKeepsContentsAcrossClassesAndIntoTheRuntime)
{
    const int64_t before = CAllocator::liveBlocks();
    auto* block = static_cast<unsigned char*>(CAllocator::realloc(nullptr, 10));
    for (int i = 0; i < 10; ++i)
        block[i] = static_cast<unsigned char>(i + 1);
    EXPECT_EQ(CAllocator::realloc(block, 16), block) << "still fits its class";

    block = static_cast<unsigned char*>(CAllocator::realloc(block, 3000));
    for (int i = 10; i < 3000; ++i)
        block[i] = static_cast<unsigned char>(i);
    block = static_cast<unsigned char*>(CAllocator::realloc(block, 100000));
    EXPECT_EQ(CAllocator::getCapacity(block), 100000u);
    block = static_cast<unsigned char*>(CAllocator::realloc(block, 5000));
    block = static_cast<unsigned char*>(CAllocator::realloc(block, 20));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(block[i], i + 1);
    for (int i = 10; i < 20; ++i)
        EXPECT_EQ(block[i], static_cast<unsigned char>(i));
    CAllocator::free(block);
    EXPECT_EQ(CAllocator::liveBlocks(), before);
}

TEST(CAllocator, WatchedThreadAllocationsAreCounted)
{
    CAllocator::watchThread(kel::CThisThread::id());
    void* mine = CAllocator::alloc(40);
    std::thread other([] { CAllocator::free(CAllocator::alloc(40)); });
    other.join();
    EXPECT_EQ(CAllocator::watchedAllocations(), 1u);
    CAllocator::watchThread(0);
    CAllocator::free(mine);
}

// Threads take and give back blocks of every class at once. Each block is stamped with its
// owner and checked before it goes back, so a block handed to two threads at once shows; the
// counters must come back to where they were.
TEST(CAllocator, ThreadsSharingEveryClassLoseNoBlockAndNeverShareOne)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 200;
    constexpr int kHeld = 64;
    const int64_t before = CAllocator::liveBlocks();
    std::atomic<int> faults{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
    {
        threads.emplace_back(
            [t, &faults]
            {
                void* held[kHeld] = {};
                size_t sizes[kHeld] = {};
                uint32_t seed = 12345u + t;
                for (int round = 0; round < kRounds; ++round)
                {
                    for (int c = 0; c < CAllocator::kClassCount + 8; ++c)
                    {
                        seed = seed * 1664525u + 1013904223u;
                        const int slot = static_cast<int>(seed >> 26);
                        if (held[slot])
                        {
                            const uint32_t stamp = static_cast<uint32_t>(t * 1000003 + slot);
                            uint32_t seen = 0;
                            std::memcpy(&seen, held[slot], sizeof(seen));
                            uint32_t tail = 0;
                            std::memcpy(&tail, static_cast<char*>(held[slot]) + sizes[slot] - 4, 4);
                            if (seen != stamp || tail != stamp)
                                faults.fetch_add(1);
                            CAllocator::free(held[slot]);
                        }
                        // Every class, and a few runtime blocks past the last one.
                        sizes[slot] =
                            c < CAllocator::kClassCount ? (c + 1) * 16 - (seed & 7) : 4096 + c;
                        held[slot] = CAllocator::alloc(sizes[slot]);
                        const uint32_t stamp = static_cast<uint32_t>(t * 1000003 + slot);
                        std::memcpy(held[slot], &stamp, sizeof(stamp));
                        std::memcpy(static_cast<char*>(held[slot]) + sizes[slot] - 4, &stamp, 4);
                    }
                }
                for (void* block : held)
                    CAllocator::free(block);
            });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(faults.load(), 0);
    EXPECT_EQ(CAllocator::liveBlocks(), before);
}

// Many threads popping and pushing the same few blocks of one class is where a free list without
// protection against A-B-A loses or duplicates blocks.
TEST(CAllocator, HammeringOneClassKeepsItsFreeListSound)
{
    constexpr int kThreads = 4;
    constexpr int kIterations = 50000;
    const int64_t before = CAllocator::liveBlocksInClass(2);
    std::atomic<int> faults{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
    {
        threads.emplace_back(
            [t, &faults]
            {
                for (int i = 0; i < kIterations; ++i)
                {
                    auto* a = static_cast<int*>(CAllocator::alloc(40));
                    auto* b = static_cast<int*>(CAllocator::alloc(48));
                    *a = t;
                    *b = -t - 1;
                    if (*a != t || *b != -t - 1 || a == b)
                        faults.fetch_add(1);
                    CAllocator::free(i % 2 ? a : b);
                    CAllocator::free(i % 2 ? b : a);
                }
            });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(faults.load(), 0);
    EXPECT_EQ(CAllocator::liveBlocksInClass(2), before);
}
