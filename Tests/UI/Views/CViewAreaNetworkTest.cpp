// The variable network: programs, push propagation, its thresholds and limits, the storage.
#include "Core/CDebugChannel.h"
#include "UI/Views/CViewArea.h"
#include "UI/Views/CViewAreaNetwork.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

using namespace kel;

namespace
{

using Net = CViewAreaNetwork;

std::vector<std::string>& logLines()
{
    static std::vector<std::string> lines;
    return lines;
}

class CViewAreaNetworkTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        logLines().clear();
        CDebugChannel::setEnabled(true);
        CDebugChannel::setSink([](const char* line, void*) { logLines().push_back(line); },
                               nullptr);
    }
    void TearDown() override
    {
        CDebugChannel::setSink(nullptr, nullptr);
        CDebugChannel::setEnabled(false);
    }
    // A program: push a, push b, op.
    void binary(Net::VarId target, Net::VarId a, Net::VarId b, uint16_t code)
    {
        const uint16_t words[] = {Net::kPushVar, a, Net::kPushVar, b, code};
        net.setProgram(target, words, 5);
    }
    void plusConstant(Net::VarId target, Net::VarId a, double c)
    {
        const uint16_t words[] = {Net::kPushVar, a, Net::kPushConst, net.addConstant(c), Net::kAdd};
        net.setProgram(target, words, 5);
    }

    Net net;
};

} // namespace

TEST_F(CViewAreaNetworkTest, ChangesPushToDependentsAndStopBelowTheThreshold)
{
    const Net::VarId a = net.allocate(nullptr);
    const Net::VarId b = net.allocate(nullptr);
    const Net::VarId c = net.allocate(nullptr);
    binary(c, a, b, Net::kMultiply);
    net.setValue(a, 3.0);
    net.setValue(b, 4.0);
    EXPECT_EQ(net.getValue(c), 12.0);
    // 0.00005 is below the threshold: nothing is stored, nothing pushed.
    const int stores = net.getStoreCount();
    net.setValue(a, 3.00005);
    EXPECT_EQ(net.getStoreCount(), stores);
    EXPECT_EQ(net.getValue(a), 3.0);
    EXPECT_EQ(net.getValue(c), 12.0);
    // A dependent whose value does not move stops the push there.
    binary(c, a, a, Net::kSubtract);
    const int before = net.getStoreCount();
    net.setValue(a, 7.0);
    EXPECT_EQ(net.getStoreCount(), before + 1);
    EXPECT_EQ(net.getValue(c), 0.0);
}

TEST_F(CViewAreaNetworkTest, AValueAFloatCannotHoldIsNoChangeWhenItComesAgain)
{
    // c = a * 0.1 + b - b: 5000.3 as a float is 5000.2998..., 0.0002 away from the double.
    const Net::VarId a = net.allocate(nullptr);
    const Net::VarId b = net.allocate(nullptr);
    const Net::VarId c = net.allocate(nullptr);
    const Net::VarId d = net.allocate(nullptr);
    const uint16_t words[] = {
        Net::kPushVar, a, Net::kPushConst, net.addConstant(0.1), Net::kMultiply,
        Net::kPushVar, b, Net::kAdd,       Net::kPushVar,        b,
        Net::kSubtract};
    net.setProgram(c, words, 11);
    plusConstant(d, c, 1.0);
    net.setValue(a, 50003.0);
    EXPECT_NEAR(net.getValue(d), 5001.3, 0.001);
    const int stores = net.getStoreCount();
    net.setValue(b, 7.0);
    EXPECT_EQ(net.getStoreCount(), stores + 1); // b alone: c comes out the same
}

TEST_F(CViewAreaNetworkTest, ACycleStopsAtDepth200WithOneLogLineAndTheNetworkGoesOn)
{
    const Net::VarId a = net.allocate(nullptr);
    const Net::VarId b = net.allocate(nullptr);
    plusConstant(b, a, 1.0);
    plusConstant(a, b, 1.0); // closing the cycle runs it once already
    logLines().clear();
    net.setValue(a, 10.0);
    // Each level adds one: the chain ran until the depth limit and left the values standing.
    EXPECT_GT(net.getValue(a), 100.0);
    if (CDebugChannel::isCompiledIn())
    {
        int count = 0;
        for (const std::string& line : logLines())
            count += line.find("Too many recursions") != std::string::npos ? 1 : 0;
        EXPECT_EQ(count, 1);
    }
    const Net::VarId d = net.allocate(nullptr);
    const Net::VarId e = net.allocate(nullptr);
    plusConstant(d, e, 2.0);
    net.setValue(e, 5.0);
    EXPECT_EQ(net.getValue(d), 7.0);
}

TEST_F(CViewAreaNetworkTest, OpcodesEvaluateAsDocumented)
{
    const Net::VarId x = net.allocate(nullptr);
    const Net::VarId y = net.allocate(nullptr);
    const Net::VarId r = net.allocate(nullptr);
    net.setValue(x, 9.0);
    auto run = [&](std::vector<uint16_t> words)
    {
        net.setValue(r, -12345.0);
        net.setProgram(r, words.data(), static_cast<int>(words.size()));
        return net.getValue(r);
    };
    const uint16_t k0 = net.addConstant(0.0);
    const uint16_t k7 = net.addConstant(7.0);
    const uint16_t k25 = net.addConstant(2.5);
    const uint16_t kMinus25 = net.addConstant(-2.5);
    // Guarded divide: a zero divisor gives the third operand.
    EXPECT_EQ(run({Net::kPushVar, x, Net::kPushVar, y, Net::kPushConst, k7, Net::kGuardedDivide}),
              7.0);
    net.setValue(y, 3.0);
    EXPECT_EQ(run({Net::kPushVar, x, Net::kPushVar, y, Net::kPushConst, k7, Net::kGuardedDivide}),
              3.0);
    // Plain divide has no guard.
    EXPECT_TRUE(std::isinf(run({Net::kPushVar, x, Net::kPushConst, k0, Net::kDivide})));
    EXPECT_EQ(run({Net::kPushVar, x, Net::kHalve, Net::kFloor}), 4.0);
    EXPECT_EQ(run({Net::kPushConst, k25, Net::kRound}), 3.0);
    EXPECT_EQ(run({Net::kPushConst, kMinus25, Net::kRound}), -3.0);
    EXPECT_EQ(run({Net::kPushVar, x, Net::kPushVar, y, Net::kPushConst, k7, Net::kMaxN, 3}), 9.0);
    EXPECT_EQ(run({Net::kPushVar, y, Net::kMaxN, 0}), 3.0); // n = 0 does nothing
    EXPECT_EQ(run({Net::kPushVar, x, Net::kPushVar, y, Net::kMax2}), 9.0);
    EXPECT_EQ(run({}), 0.0); // an empty program sets 0
    // A program that leaves two values (or none) leaves the variable as it was.
    EXPECT_EQ(run({Net::kPushVar, x, Net::kPushVar, y}), -12345.0);
    EXPECT_EQ(run({Net::kAdd}), -12345.0);
    // A long program lives on the heap and works the same; a short one replacing it is back in
    // place and no longer hears the long one's operands.
    std::vector<uint16_t> longSum = {Net::kPushVar, x};
    for (int i = 0; i < 10; ++i)
        longSum.insert(longSum.end(), {Net::kPushVar, y, Net::kAdd});
    EXPECT_EQ(run(longSum), 39.0);
    net.setValue(y, 4.0);
    EXPECT_EQ(net.getValue(r), 49.0);
    EXPECT_EQ(run({Net::kPushVar, x, Net::kPushConst, k7, Net::kSubtract}), 2.0);
    net.setValue(y, 5.0);
    EXPECT_EQ(net.getValue(r), 2.0);
    net.setValue(x, 10.0);
    EXPECT_EQ(net.getValue(r), 3.0);
}

TEST_F(CViewAreaNetworkTest, ConstantsAreReusedWithinTheThreshold)
{
    const uint16_t first = net.addConstant(1.5);
    EXPECT_EQ(net.addConstant(1.50005), first);
    EXPECT_NE(net.addConstant(1.5002), first);
    EXPECT_EQ(net.getConstantCount(), 2);
}

TEST_F(CViewAreaNetworkTest, PagesGrowOnDemandAndFreedIdsComeBack)
{
    std::vector<Net::VarId> ids;
    for (int i = 0; i < 600; ++i)
        ids.push_back(net.allocate(nullptr));
    EXPECT_EQ(net.getPageCount(), 2);
    EXPECT_EQ(ids[513], 513);
    // A freed variable leaves its operands' dependents: changing them reaches nothing.
    binary(ids[2], ids[0], ids[1], Net::kAdd);
    net.release(ids[2]);
    const int stores = net.getStoreCount();
    net.setValue(ids[0], 5.0);
    EXPECT_EQ(net.getStoreCount(), stores + 1);
    EXPECT_EQ(net.allocate(nullptr), ids[2]);
    EXPECT_EQ(net.getLiveCount(), 600);
}

TEST_F(CViewAreaNetworkTest, AFreedOperandReadsZeroAndItsReusedIdIsNotFollowed)
{
    const Net::VarId a = net.allocate(nullptr);
    const Net::VarId b = net.allocate(nullptr);
    const Net::VarId sum = net.allocate(nullptr);
    binary(sum, a, b, Net::kAdd);
    net.setValue(a, 10.0);
    net.setValue(b, 1.0);
    EXPECT_EQ(net.getValue(sum), 11.0);
    net.release(a);
    // The freed id comes back first; its new owner's changes reach nobody.
    const Net::VarId reused = net.allocate(nullptr);
    ASSERT_EQ(reused, a);
    net.setValue(reused, 100.0);
    EXPECT_EQ(net.getValue(sum), 11.0);
    // The next evaluation of the reader has 0 where a was.
    net.setValue(b, 2.0);
    EXPECT_EQ(net.getValue(sum), 2.0);
}

TEST_F(CViewAreaNetworkTest, AreasAreListedOnceAndOnlyForRealChanges)
{
    CViewArea root(nullptr, nullptr);
    CViewArea* child = new CViewArea(&root, nullptr);
    CArray<CViewArea*, 16> changed;
    Net& areas = *root.getNetwork();
    areas.takeChangedAreas(changed);
    // The child's content changes both of its sizes and, through the root's compact size, the
    // root's: each area is listed once however many of its variables moved.
    child->setContentSize(10, 20);
    areas.takeChangedAreas(changed);
    ASSERT_EQ(changed.getCount(), 2);
    EXPECT_TRUE(changed.contains(&root));
    EXPECT_TRUE(changed.contains(child));
    areas.takeChangedAreas(changed);
    EXPECT_EQ(changed.getCount(), 0);
    // A change below the threshold marks nobody.
    child->setContentSize(10.00005, 20);
    EXPECT_FALSE(areas.hasChangedAreas());
    // A freed area leaves the list.
    child->setContentSize(11, 20);
    delete child;
    areas.takeChangedAreas(changed);
    EXPECT_FALSE(changed.contains(child));
}
