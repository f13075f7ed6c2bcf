#include "CEventTestFixture.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <thread>

using kel::test::CErrorText;
using kel::test::CUtf8;

namespace kel
{
namespace eventtest
{
namespace
{

class CNotifyServerTest : public CEventTest
{
protected:
    CTestListener* listener(const char* name, const char* senderPath, const char* proc = "ping",
                            CObject* parent = nullptr)
    {
        auto* made = makeChild<CTestListener>(parent ? parent : bridge, "test:listener", name);
        EXPECT_EQ(CErrorText::takeMessage(
                      made->listenObject(CString(senderPath), CString("ping"), CString(proc))),
                  "");
        return made;
    }
    static CError* send(CObject* sender, bool forceQueued = false)
    {
        CAttrMap params;
        params.set(CString("value"), CAttrValue(static_cast<int32_t>(42)));
        return sender->sendEvent(CString("ping"), params, forceQueued);
    }
    CNotifyServer& server() { return CApplication::getNotifyServer(); }
};

TEST_F(CNotifyServerTest, ListenerRemovedByAnEarlierListenerIsStillCalledForThatSend)
{
    CObject* sender = makeChild(bridge, "core:object", "sender");
    CTestListener* a = listener("a", "^.sender");
    CTestListener* b = listener("b", "^.sender");
    // Whichever runs first takes the other out; the list was copied, so both still run.
    a->action = [&](CTestListener*)
    {
        server().removeListener(b, CString("^.sender"), CString("ping"));
        return nullptr;
    };
    b->action = [&](CTestListener*)
    {
        server().removeListener(a, CString("^.sender"), CString("ping"));
        return nullptr;
    };
    ASSERT_EQ(CErrorText::takeMessage(send(sender)), "");
    EXPECT_EQ(a->calls, 1);
    EXPECT_EQ(b->calls, 1);
    EXPECT_EQ(a->lastThread, CThisThread::id());
    ASSERT_EQ(CErrorText::takeMessage(send(sender)), "");
    EXPECT_EQ(a->calls + b->calls, 2);
    // An event name without listeners keeps no record.
    EXPECT_EQ(server().getRecordCount(), 0);
}

TEST_F(CNotifyServerTest, ListenersHearOnlyTheirSenderInTheirOwnTree)
{
    CObject* sender = makeChild(bridge, "core:object", "sender");
    CObject* otherSender = makeChild(bridge, "core:object", "other");
    CTestListener* near = listener("near", "bridge.sender");
    // The same path in a second instance's tree is another object.
    CObject* secondRoot = makeRoot();
    CObject* secondSender =
        makeChild(secondRoot->findObject(CString("bridge")), "core:object", "sender");
    // A sender that does not exist yet is found by its absolute path once it does.
    CTestListener* early = listener("early", "/bridge.later");

    ASSERT_EQ(CErrorText::takeMessage(send(otherSender)), "");
    ASSERT_EQ(CErrorText::takeMessage(send(secondSender)), "");
    EXPECT_EQ(near->calls, 0);
    ASSERT_EQ(CErrorText::takeMessage(send(sender)), "");
    EXPECT_EQ(near->calls, 1);

    CObject* later = makeChild(bridge, "core:object", "later");
    ASSERT_EQ(CErrorText::takeMessage(send(later)), "");
    EXPECT_EQ(early->calls, 1);
    EXPECT_EQ(near->calls, 1);
}

TEST_F(CNotifyServerTest, EventFromAnotherThreadIsQueuedAndArrivesOnTheBridgeThread)
{
    CObject* sender = makeChild(bridge, "core:object", "sender");
    CTestListener* target = listener("target", "^.sender", "ping-params");
    std::thread([&] { EXPECT_EQ(CErrorText::takeMessage(send(sender)), ""); }).join();
    EXPECT_EQ(target->calls, 0);
    ASSERT_TRUE(pumpUntil([&] { return target->calls == 1; }));
    EXPECT_EQ(target->lastThread, CThisThread::id());
    EXPECT_EQ(target->param("sender"), "bridge.sender");
    EXPECT_EQ(target->param("event-name"), "ping");
    EXPECT_EQ(target->param("value"), "42");
    EXPECT_EQ(target->param("listener"), "bridge.target");
    EXPECT_EQ(target->param("listener-id"), std::to_string(target->getObjectId()));
    // The bridge finds the procedure by the name the listener gave.
    EXPECT_EQ(target->param("listener-proc"), "ping-params");
}

TEST_F(CNotifyServerTest, QueuedEventForADestroyedObjectIsDroppedAlsoWhenANewObjectTakesItsPath)
{
    CObject* sender = makeChild(bridge, "core:object", "sender");
    CTestListener* gone = listener("gone", "^.sender");
    CTestListener* replaced = listener("replaced", "^.sender");
    std::thread([&] { EXPECT_EQ(CErrorText::takeMessage(send(sender)), ""); }).join();
    ASSERT_EQ(CErrorText::takeMessage(send(sender, true)), "");
    CObject::destroyObject(gone);
    CObject::destroyObject(replaced);
    CTestListener* successor = makeChild<CTestListener>(bridge, "test:listener", "replaced");
    ASSERT_EQ(CUtf8::of(successor->getFullName()), "bridge.replaced");
    EXPECT_NE(successor->getObjectId(), -1);
    for (int i = 0; i < 5; ++i)
        CRunLoop::forThisThread()->runOnce(5);
    EXPECT_EQ(successor->calls, 0);
}

TEST_F(CNotifyServerTest, SynchronousListenerErrorReachesTheSenderAndEndsTheCalls)
{
    CObject* sender = makeChild(bridge, "core:object", "sender");
    CTestListener* a = listener("a", "^.sender");
    CTestListener* b = listener("b", "^.sender");
    const auto fail = [](CTestListener*) { return KEL_ERROR("@kelstr_Test_listener Refused."); };
    a->action = fail;
    b->action = fail;
    EXPECT_EQ(CErrorText::takeMessage(send(sender)), "Refused.");
    EXPECT_EQ(a->calls + b->calls, 1);
}

TEST_F(CNotifyServerTest, QueuedListenerErrorGoesToTheErrorWindow)
{
    static std::vector<std::string> reports;
    reports.clear();
    CSystem::setErrorPresenter([](const char* title, const char*, const char* details, void*)
                               { reports.push_back(std::string(title) + "|" + details); },
                               nullptr);
    CObject* sender = makeChild(bridge, "core:object", "sender");
    CTestListener* target = listener("target", "^.sender");
    target->action = [](CTestListener*) { return KEL_ERROR("@kelstr_Test_queued Late failure."); };
    ASSERT_EQ(CErrorText::takeMessage(send(sender, true)), "");
    ASSERT_TRUE(pumpUntil([&] { return target->calls == 1; }));
    CSystem::setErrorPresenter(nullptr, nullptr);
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0].rfind("Kelmont Application Message|Late failure.", 0), 0u);
}

TEST_F(CNotifyServerTest, ReleaseChildBridgedIsQueuedUnderABridgeAndDirectOutsideOne)
{
    CObject* parent = makeChild(bridge, "core:object", "parent");
    CObject* child = makeChild(parent, "core:object", "child");
    makeChild(child, "core:object", "inner");
    ASSERT_EQ(CErrorText::takeMessage(child->releaseChildBridged()), "");
    // Still there: the caller may be inside one of the child's own procedures.
    EXPECT_EQ(parent->getChildCount(), 1);
    ASSERT_TRUE(pumpUntil([&] { return parent->getChildCount() == 0; }));

    CObject* looseParent = makeChild(root, "core:object", "loose");
    CObject* looseChild = makeChild(looseParent, "core:object", "child");
    ASSERT_EQ(CErrorText::takeMessage(looseChild->releaseChildBridged()), "");
    EXPECT_EQ(looseParent->getChildCount(), 0);
}

TEST_F(CNotifyServerTest, ListenersOutsideAnyBridgeAreSkipped)
{
    CObject* sender = makeChild(root, "core:object", "sender");
    auto* outside = makeChild<CTestListener>(root, "test:listener", "outside");
    ASSERT_EQ(CErrorText::takeMessage(
                  outside->listenObject(CString("^.sender"), CString("ping"), CString("ping"))),
              "");
    ASSERT_EQ(CErrorText::takeMessage(send(sender)), "");
    EXPECT_EQ(outside->calls, 0);
}

// Senders on many threads, listeners on one loop: every event arrives exactly once, on the
// loop's thread, while the loop's own thread sends and changes listeners at the same time.
class CNotifyServerConcurrency : public CNotifyServerTest
{
};

TEST_F(CNotifyServerConcurrency, SendsFromManyThreadsReachListenersOnOneLoop)
{
    constexpr int kThreads = 4;
    constexpr int kSendsPerThread = 300;
    CObject* sender = makeChild(bridge, "core:object", "sender");
    CTestListener* first = listener("first", "^.sender");
    CTestListener* second = listener("second", "^.sender");
    std::atomic<int> running{kThreads};
    std::vector<std::thread> senders;
    for (int t = 0; t < kThreads; ++t)
        senders.emplace_back(
            [&]
            {
                for (int i = 0; i < kSendsPerThread; ++i)
                    EXPECT_EQ(CErrorText::takeMessage(send(sender)), "");
                --running;
            });
    int ownSends = 0;
    while (running.load() > 0)
    {
        // Listeners come and go under the senders' feet.
        CTestListener* passing = listener("passing", "^.sender");
        EXPECT_EQ(CErrorText::takeMessage(send(sender)), "");
        ++ownSends;
        CObject::destroyObject(passing);
        CRunLoop::forThisThread()->runOnce(1);
    }
    for (std::thread& thread : senders)
        thread.join();
    const int expected = kThreads * kSendsPerThread + ownSends;
    ASSERT_TRUE(pumpUntil([&] { return first->calls == expected && second->calls == expected; }));
    EXPECT_EQ(first->lastThread, CThisThread::id());
}

} // namespace
} // namespace eventtest
} // namespace kel
