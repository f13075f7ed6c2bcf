#include "Support/CMallocCounter.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

using kel::test::CMallocCounter;

TEST(CMallocCounter, CountsOnlyTheWatchedThread)
{
    if (!CMallocCounter::isAvailable())
        GTEST_SKIP() << "the sanitizer owns malloc";
    CMallocCounter::watchThisThread();
    std::thread other([] { std::free(std::malloc(64)); });
    other.join();
    const uint64_t beforeOwn = CMallocCounter::count();
    void* volatile block = std::malloc(32);
    std::free(block);
    CMallocCounter::stopWatching();
    EXPECT_EQ(CMallocCounter::count(), beforeOwn + 1);
}
