#include "Core/CSeedCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

using kel::CSeedCounter;

TEST(CSeedCounter, ConcurrentCallersNeverReceiveTheSameSeed)
{
    constexpr int kThreads = 4;
    constexpr int kPerThread = 20000;
    std::vector<std::vector<uint32_t>> seen(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
    {
        threads.emplace_back(
            [&seen, t]
            {
                seen[t].reserve(kPerThread);
                for (int n = 0; n < kPerThread; ++n)
                    seen[t].push_back(CSeedCounter::next());
            });
    }
    for (auto& thread : threads)
        thread.join();
    std::vector<uint32_t> all;
    for (auto& list : seen)
        all.insert(all.end(), list.begin(), list.end());
    std::sort(all.begin(), all.end());
    EXPECT_EQ(all.end(), std::adjacent_find(all.begin(), all.end()));
}
