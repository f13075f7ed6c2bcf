#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamClaimer.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/CAudioProcessTestTree.h"
#include "Core/CAllocator.h"
#include "Core/Platform/CLock.h"
#include "Core/Platform/CThisThread.h"
#include "Support/CMallocCounter.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using kel::CAudioParam;
using kel::CAudioParamClaimer;
using kel::CAudioParamCollector;
using kel::CAudioParamContext;
using kel::CAudioParamDef;
using kel::CString;
using kel::test::CUtf8;

namespace
{

using CPacket = CAudioParamCollector::CPacket;

class CAudioParamCollectorTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(shared.loadProduct(), ""); }

    // The collector's parameter of that leaf of modZumbelModule, bound to its definition.
    CAudioParam& userParam(const char* leaf)
    {
        const std::string path = std::string("audio.modMain.modZumbelModule.") + leaf;
        const auto* definition = shared.find<CAudioParamDef>(path.c_str());
        EXPECT_NE(definition, nullptr) << path;
        CAudioParam* param = collector.getParam(
            CString((std::string("plugin.modMain.modZumbelModule.") + leaf).c_str()));
        CAudioParamContext context;
        param->bind(*definition, context);
        // The binding's own changes are not what the tests look at.
        collector.releaseChanges(collector.takeChanges());
        return *param;
    }

    static void set(CAudioParam& param, double value, int group = 0)
    {
        CAudioParamContext context;
        param.setValue(group, 0, value, context);
    }

    // The packet's entries as "leaf:group=value".
    static std::string describe(const CPacket* packet)
    {
        std::string out;
        for (int i = 0; packet && i < packet->getEntryCount(); ++i)
        {
            const auto& entry = packet->getEntry(i);
            std::string leaf = CUtf8::of(entry.param->getFullName());
            leaf = leaf.substr(leaf.rfind('.') + 1);
            out += (out.empty() ? "" : " ") + leaf + ":" + std::to_string(entry.group) + "=" +
                   std::to_string(static_cast<int>(packet->getValues(entry)[0]));
        }
        return out;
    }

    kel::processtest::CSharedTree shared;
    CAudioParamCollector collector;
};

class CClaimer : public CAudioParamClaimer
{
public:
    CClaimer(const char* hierarchyText, bool enumerated) : prefix(hierarchyText), isEnum(enumerated)
    {
    }
    bool isEnumeratedClaimer() const override { return isEnum; }
    bool claimParam(CAudioParam& param) override
    {
        const std::string name = CUtf8::of(param.getFullName());
        if (name.size() <= prefix.size() || name.compare(0, prefix.size(), prefix) != 0)
            return false;
        claimed.push_back(name);
        return true;
    }

    std::string prefix;
    bool isEnum;
    std::vector<std::string> claimed;
};

} // namespace

TEST_F(CAudioParamCollectorTest, GetParamMakesOneParameterPerNameAndFindsNoOther)
{
    CAudioParam* period = collector.getParam(CString("plugin.modMain.modZumbelModule.period"));
    ASSERT_NE(period, nullptr);
    EXPECT_EQ(collector.getParam(CString("plugin.modMain.modZumbelModule.period")), period);
    EXPECT_EQ(collector.findParam(CString("plugin.modMain.modZumbelModule.gain")), nullptr);
    EXPECT_EQ(period->getCollector(), &collector);
    EXPECT_FALSE(period->isBound());
    EXPECT_EQ(collector.getParamCount(), 1);
}

TEST_F(CAudioParamCollectorTest, SetterChangeReachesTheAudioSideWithItsValuesOnce)
{
    CAudioParam& period = userParam("period");
    EXPECT_FALSE(collector.hasPendingChanges());
    set(period, 12.0);
    EXPECT_TRUE(collector.hasPendingChanges());
    const CPacket* packet = collector.takeChanges();
    EXPECT_EQ(describe(packet), "period:0=12");
    EXPECT_EQ(packet->getGroupMask(&period), 1u);
    EXPECT_EQ(collector.takeChanges(), nullptr) << "a packet is taken once";
    collector.releaseChanges(packet);
}

TEST_F(CAudioParamCollectorTest, UntakenPacketKeepsCollectingAndDropsSupersededValues)
{
    CAudioParam& period = userParam("period");
    CAudioParam& gain = userParam("gain");
    for (int step = 1; step <= 500; ++step)
        set(period, 1.0 + step % 80);
    set(gain, 0.5, 2);
    set(period, 7.0, 1);
    set(period, 9.0);
    const CPacket* packet = collector.takeChanges();
    EXPECT_EQ(describe(packet), "gain:2=0 period:1=7 period:0=9");
    EXPECT_EQ(packet->getGroupMask(&period), 3u);
    EXPECT_EQ(packet->getGroupMask(&gain), 4u);
    collector.releaseChanges(packet);

    // Once taken, the next change starts a packet of its own.
    set(period, 11.0);
    packet = collector.takeChanges();
    EXPECT_EQ(describe(packet), "period:0=11");
    collector.releaseChanges(packet);
}

TEST_F(CAudioParamCollectorTest, BulkUpdateKeepsEveryStep)
{
    CAudioParam& period = userParam("period");
    collector.setBulkUpdate(true);
    set(period, 3.0);
    set(period, 4.0);
    collector.setBulkUpdate(false);
    const CPacket* packet = collector.takeChanges();
    EXPECT_EQ(describe(packet), "period:0=3 period:0=4");
    collector.releaseChanges(packet);
}

TEST_F(CAudioParamCollectorTest, SetterLaneAndPacketRoadKeepEveryParametersOrder)
{
    CAudioParam& period = userParam("period");
    CAudioParam& freq = userParam("freq");
    collector.setBulkUpdate(true);
    // A setter's change waits in the lane; a batch that comes later makes it stale.
    set(period, 3.0);
    {
        CAudioParamCollector::CBatch batch(collector);
        CAudioParamContext context;
        context.queue = &batch;
        period.setValue(0, 0, 4.0, context);
    }
    // The lane's next record joins the pending packet when the audio side takes it.
    set(period, 5.0);
    set(freq, 880.0);
    const CPacket* packet = collector.takeChanges();
    EXPECT_EQ(describe(packet), "period:0=4 period:0=5 freq:0=880");
    collector.releaseChanges(packet);

    // More than the lane holds while nobody takes: the rest take the packet road, and the
    // lane's older records are dropped behind them, so the audio side ends on the last value
    // and never steps back.
    const int count = CAudioParamCollector::kLaneCapacity + 40;
    for (int step = 0; step < count; ++step)
        set(period, 100.0 + step);
    packet = collector.takeChanges();
    ASSERT_NE(packet, nullptr);
    ASSERT_GT(packet->getEntryCount(), 0);
    for (int i = 1; i < packet->getEntryCount(); ++i)
        ASSERT_GT(packet->getValues(packet->getEntry(i))[0],
                  packet->getValues(packet->getEntry(i - 1))[0]);
    EXPECT_EQ(packet->getValues(packet->getEntry(packet->getEntryCount() - 1))[0],
              100.0 + count - 1);
    collector.releaseChanges(packet);
    set(period, 50.0);
    packet = collector.takeChanges();
    EXPECT_EQ(describe(packet), "period:0=50");
    collector.releaseChanges(packet);
    collector.setBulkUpdate(false);

    // Without a bulk update a later record supersedes the packet's entry of the same item,
    // on either side.
    {
        CAudioParamCollector::CBatch batch(collector);
        CAudioParamContext context;
        context.queue = &batch;
        period.setValue(0, 0, 7.0, context);
    }
    set(period, 8.0);
    packet = collector.takeChanges();
    EXPECT_EQ(describe(packet), "period:0=8");
    collector.releaseChanges(packet);
    EXPECT_FALSE(collector.hasPendingChanges());
}

TEST_F(CAudioParamCollectorTest, BatchIsInvisibleUntilCommittedThenArrivesWhole)
{
    CAudioParam& period = userParam("period");
    CAudioParam& freq = userParam("freq");
    set(period, 5.0);
    {
        CAudioParamCollector::CBatch batch(collector);
        CAudioParamContext context;
        context.queue = &batch;
        period.setValue(0, 0, 6.0, context);
        freq.setValue(0, 0, 880.0, context);
        EXPECT_EQ(describe(&batch.getPacket()), "period:0=6 freq:0=880");
        const CPacket* before = collector.takeChanges();
        EXPECT_EQ(describe(before), "period:0=5") << "the batch is not seen before its commit";
        collector.releaseChanges(before);
        collector.commitChanges(batch);
        EXPECT_TRUE(batch.getPacket().isEmpty());
    }
    const CPacket* packet = collector.takeChanges();
    EXPECT_EQ(describe(packet), "period:0=6 freq:0=880");
    collector.releaseChanges(packet);

    // A batch left uncommitted is committed when it ends.
    {
        CAudioParamCollector::CBatch batch(collector);
        CAudioParamContext context;
        context.queue = &batch;
        period.setValue(0, 0, 8.0, context);
    }
    packet = collector.takeChanges();
    EXPECT_EQ(describe(packet), "period:0=8");
    collector.releaseChanges(packet);
}

TEST_F(CAudioParamCollectorTest, EnumeratedClaimerTakesANameAloneOthersShareTheRest)
{
    CClaimer enumerated("plugin.modMain.io-params.list.", true);
    CClaimer master("plugin.modMain.", false);
    CClaimer routing("plugin.modMain.io-params.", false);
    collector.getParam(CString("plugin.modMain.io-params.group-names"));
    collector.addClaimer(&enumerated);
    collector.addClaimer(&master);
    collector.addClaimer(&routing);
    EXPECT_EQ(master.claimed, std::vector<std::string>{"plugin.modMain.io-params.group-names"})
        << "parameters made before a claimer came are offered to it";
    collector.getParam(CString("plugin.modMain.io-params.list.index"));
    collector.getParam(CString("plugin.modMain.modZumbelModule.gain"));
    collector.getParam(CString("plugin.modMain"));
    EXPECT_EQ(enumerated.claimed, std::vector<std::string>{"plugin.modMain.io-params.list.index"});
    EXPECT_EQ(master.claimed.size(), 2u) << "no name equal to the hierarchy itself";
    EXPECT_EQ(master.claimed.back(), "plugin.modMain.modZumbelModule.gain");
    EXPECT_EQ(routing.claimed, std::vector<std::string>{"plugin.modMain.io-params.group-names"});
    collector.removeClaimer(&master);
    collector.getParam(CString("plugin.modMain.other"));
    EXPECT_EQ(master.claimed.size(), 2u);
}

TEST_F(CAudioParamCollectorTest, AudioSideTakesAndGivesBackWithoutAllocatingOrLocking)
{
    CAudioParam& period = userParam("period");
    // Two rounds grow the pool's packets; from then on they are reused.
    for (int round = 0; round < 2; ++round)
    {
        set(period, 2.0 + round);
        collector.releaseChanges(collector.takeChanges());
    }
    set(period, 10.0);
    const uint64_t thread = kel::CThisThread::id();
    kel::CAllocator::watchThread(thread);
    kel::CLock::watchThread(thread);
    kel::test::CMallocCounter::watchThisThread();
    const CPacket* packet = collector.takeChanges();
    const bool hasPacket = packet != nullptr;
    collector.releaseChanges(packet);
    collector.releaseChanges(collector.takeChanges());
    const uint64_t mallocs = kel::test::CMallocCounter::count();
    kel::test::CMallocCounter::stopWatching();
    const uint64_t allocations = kel::CAllocator::watchedAllocations();
    const uint64_t locks = kel::CLock::watchedLocks();
    kel::CAllocator::watchThread(0);
    kel::CLock::watchThread(0);
    EXPECT_TRUE(hasPacket);
    EXPECT_EQ(allocations, 0u);
    EXPECT_EQ(mallocs, 0u);
    EXPECT_EQ(locks, 0u);
}

TEST_F(CAudioParamCollectorTest, AudioSideEndsOnTheLastValueOfAWriterOnAnotherThread)
{
    CAudioParam& period = userParam("period");
    CAudioParam& freq = userParam("freq");
    std::atomic<bool> done{false};
    std::thread writer(
        [&]
        {
            for (int step = 1; step <= 20000; ++step)
            {
                set(period, 1.0 + step % 89);
                if (step % 7 == 0)
                    set(freq, 60.0 + step % 1000);
            }
            set(period, 42.0);
            set(freq, 1234.0);
            done = true;
        });
    double seenPeriod = 0.0;
    double seenFreq = 0.0;
    auto drain = [&]
    {
        const CPacket* packet = collector.takeChanges();
        for (int i = 0; packet && i < packet->getEntryCount(); ++i)
        {
            const auto& entry = packet->getEntry(i);
            (entry.param == &period ? seenPeriod : seenFreq) = packet->getValues(entry)[0];
        }
        collector.releaseChanges(packet);
    };
    while (!done)
        drain();
    writer.join();
    drain();
    EXPECT_EQ(seenPeriod, 42.0);
    EXPECT_EQ(seenFreq, 1234.0);
}
