#include "Core/CThreadContract.h"

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    // A thread contract broken in a test is a failure of that test.
    kel::CThreadContract::setMismatchHandler(
        [](const char* contract, const char* where)
        { ADD_FAILURE() << where << " called off the " << contract << " thread"; });
    return RUN_ALL_TESTS();
}
