#include "Core/CBoundedQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

using kel::CBoundedQueue;

TEST(CBoundedQueueTest, HoldsItsCapacityInOrderAndRefusesMore)
{
    CBoundedQueue<int> queue;
    EXPECT_FALSE(queue.push([](int& cell) { cell = 1; })) << "a queue never made takes nothing";
    ASSERT_TRUE(queue.init(5));
    ASSERT_EQ(queue.getCapacity(), 8);
    // Three rounds through the cells: positions wrap and cells are reused.
    for (int round = 0; round < 3; ++round)
    {
        for (int i = 0; i < 8; ++i)
            ASSERT_TRUE(queue.push([&](int& cell) { cell = round * 100 + i; }));
        bool isCalled = false;
        EXPECT_FALSE(queue.push([&](int&) { isCalled = true; }));
        EXPECT_FALSE(isCalled);
        for (int i = 0; i < 8; ++i)
        {
            int value = -1;
            ASSERT_TRUE(queue.pop([&](int& cell) { value = cell; }));
            EXPECT_EQ(value, round * 100 + i);
        }
        EXPECT_TRUE(queue.isEmpty());
        EXPECT_FALSE(queue.pop([](int&) {}));
    }
}

TEST(CBoundedQueueConcurrency, ProducersLoseNothingAndKeepTheirOrder)
{
    struct Item
    {
        int producer;
        int sequence;
    };
    CBoundedQueue<Item> queue;
    ASSERT_TRUE(queue.init(64));
    const int producers = 4;
    const int perProducer = 20000;
    std::atomic<int> started{0};
    std::vector<std::thread> threads;
    for (int p = 0; p < producers; ++p)
        threads.emplace_back(
            [&, p]
            {
                started.fetch_add(1);
                for (int i = 0; i < perProducer;)
                {
                    if (queue.push([&](Item& item) { item = Item{p, i}; }))
                        ++i;
                    else
                        std::this_thread::yield();
                }
            });
    std::vector<int> next(producers, 0);
    int taken = 0;
    bool isOrdered = true;
    while (taken < producers * perProducer)
    {
        Item item{};
        if (!queue.pop([&](Item& cell) { item = cell; }))
        {
            std::this_thread::yield();
            continue;
        }
        isOrdered = isOrdered && item.sequence == next[item.producer];
        next[item.producer] = item.sequence + 1;
        ++taken;
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(isOrdered);
    for (int p = 0; p < producers; ++p)
        EXPECT_EQ(next[p], perProducer);
    EXPECT_TRUE(queue.isEmpty());
}
