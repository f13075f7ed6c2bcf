#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/Converters/CParamTestDoubles.h"
#include "Audio/Converters/CParamTestTree.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using kel::CAudioParam;
using kel::CAudioParamChange;
using kel::CAudioParamContext;
using kel::CString;
using kel::paramtest::CJournal;
using kel::paramtest::CRecordingListener;
using kel::paramtest::CRecordingSink;
using kel::paramtest::CRecordingTarget;

namespace
{

constexpr int kThreads = 4;
constexpr int kSetsPerThread = 500;

class CAudioParamConcurrency : public kel::paramtest::CParamTreeTest
{
protected:
    void SetUp() override
    {
        CParamTreeTest::SetUp();
        addUserParams();
        ASSERT_EQ(load(), "");
        param =
            std::make_unique<CAudioParam>(CString("plugin.modMain.modZumbelModule.freq"), &sink);
        CAudioParamContext context;
        ASSERT_TRUE(
            param->bind(*find<kel::CAudioParamDef>("audio.modMain.modZumbelModule.freq"), context));
        journal.clear();
    }

    void TearDown() override
    {
        param.reset();
        CParamTreeTest::TearDown();
    }

    CJournal journal;
    CRecordingSink sink{journal};
    std::unique_ptr<CAudioParam> param;
};

// Defers every change to the target that the change's context names as its origin.
class CDeferringListener : public kel::CAudioParamListener
{
public:
    void onParamChange(CAudioParam&, const CAudioParamChange& change, CAudioParamContext& context,
                       const CAudioParam::CGuard&) override
    {
        auto* target = static_cast<CRecordingTarget*>(const_cast<void*>(context.origin));
        if (target && change.values)
            context.addDeferred(target, change.values[0]);
    }
};

// Value k of thread t: distinct across threads, rising within one.
double valueOf(int thread, int k)
{
    return 100.0 + thread * 10000.0 + k;
}

} // namespace

TEST_F(CAudioParamConcurrency, SettersOnManyThreadsSerialiseEndOnTheLastValueAndKeepOrder)
{
    CRecordingListener first(journal, "first");
    CRecordingListener second(journal, "second");
    CAudioParamContext context;
    param->addListener(&first, context);
    param->addListener(&second, context);
    journal.clear();

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
    {
        threads.emplace_back(
            [this, t]
            {
                CAudioParamContext own;
                for (int k = 0; k < kSetsPerThread; ++k)
                    param->setValue(0, 0, valueOf(t, k), own);
            });
    }
    for (std::thread& thread : threads)
        thread.join();

    // Each change went to the queue, then the bridge, then both listeners, unbroken.
    ASSERT_EQ(journal.size(), static_cast<size_t>(4 * kThreads * kSetsPerThread));
    uint32_t sequence = 1;
    std::vector<double> lastOfThread(kThreads, -1.0);
    for (size_t i = 0; i < journal.size(); i += 4)
    {
        ASSERT_EQ(journal[i].who, "queue");
        ASSERT_EQ(journal[i + 1].who, "bridge");
        ASSERT_EQ(journal[i + 2].who, "first");
        ASSERT_EQ(journal[i + 3].who, "second");
        EXPECT_EQ(journal[i].sequence, ++sequence);
        const double value = journal[i].values.at(0);
        EXPECT_EQ(journal[i + 2].values.at(0), value);
        EXPECT_EQ(journal[i + 3].values.at(0), value);
        // A listener reading under the setter's guard sees the value being set.
        const int thread = static_cast<int>((value - 100.0) / 10000.0);
        EXPECT_GT(value, lastOfThread[thread]) << "one thread's sets keep their order";
        lastOfThread[thread] = value;
    }
    EXPECT_EQ(param->getValue(0, 0), journal.back().values.at(0));
    EXPECT_EQ(second.lastRead, param->getValue(0, 0));
}

TEST_F(CAudioParamConcurrency, EachThreadsBurstReachesItsHostTargetOnceWithItsLastValue)
{
    CDeferringListener listener;
    CAudioParamContext context;
    param->addListener(&listener, context);

    constexpr int kBursts = 50;
    constexpr int kBurstLength = 8;
    std::vector<CRecordingTarget> targets(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
    {
        threads.emplace_back(
            [this, t, &targets]
            {
                for (int burst = 0; burst < kBursts; ++burst)
                {
                    CAudioParamContext own(&targets[t]);
                    CAudioParam::CGuard held(*param, &own);
                    for (int k = 0; k < kBurstLength; ++k)
                        param->setValue(0, 0, valueOf(t, burst * kBurstLength + k), own, &held);
                }
            });
    }
    for (std::thread& thread : threads)
        thread.join();

    for (int t = 0; t < kThreads; ++t)
    {
        ASSERT_EQ(targets[t].values.size(), static_cast<size_t>(kBursts)) << t;
        for (int burst = 0; burst < kBursts; ++burst)
            EXPECT_EQ(targets[t].values[burst],
                      valueOf(t, burst * kBurstLength + kBurstLength - 1));
    }
}
