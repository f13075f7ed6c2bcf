// The debug builds' thread contracts: the first thread claims, another thread's entry is
// reported, a released contract reports nothing.
#include "Core/CThreadContract.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using kel::CThreadContract;

namespace
{
std::vector<std::string>& reports()
{
    static std::vector<std::string> lines;
    return lines;
}
} // namespace

TEST(CThreadContract, AnEntryFromAnotherThreadIsReportedUntilTheContractIsReleased)
{
#ifdef NDEBUG
    GTEST_SKIP() << "the checks are compiled in debug builds only";
#endif
    const CThreadContract::CMismatchHandler before = CThreadContract::setMismatchHandler(
        [](const char* contract, const char* where)
        { reports().push_back(std::string(where) + "/" + contract); });
    reports().clear();
    CThreadContract contract("audio");
    const auto elsewhere = [&](const char* where)
    { std::thread([&] { contract.check(where); }).join(); };

    elsewhere("before any claim"); // nobody holds it: nothing to check against
    contract.claim();
    contract.check("owner");
    elsewhere("process");
    std::thread([&] { contract.claim(); }).join(); // a held contract is not taken over
    elsewhere("process again");
    contract.release();
    elsewhere("after release");

    EXPECT_EQ(reports(), (std::vector<std::string>{"process/audio", "process again/audio"}));
    CThreadContract::setMismatchHandler(before);
}
