#pragma once

#include "Core/CAllocator.h"
#include "Core/CApplication.h"
#include "Core/CNotifyServer.h"
#include "Core/CObject.h"
#include "Core/CStdEventBridge.h"
#include "Core/CSystem.h"
#include "Core/CThread.h"
#include "Core/Platform/CRunLoop.h"
#include "Core/Platform/CThisThread.h"
#include "Core/Platform/CTickClock.h"
#include "CObjectTestFixture.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <string>
#include <utility>
#include <vector>

namespace kel
{
namespace eventtest
{

// A listener that counts its calls, remembers the thread and parameters of the last one, and
// runs an optional action from inside the call. It also records linked attribute changes.
class CTestListener : public CObject
{
public:
    static void registerClass(CClassInfo& info)
    {
        CObject::registerClass(info);
        info.addEventProc<CTestListener>("ping", &CTestListener::onPing);
        info.addEventProc<CTestListener>("ping-params", &CTestListener::onPingWithParams);
    }

    CError* onPing()
    {
        ++calls;
        lastThread = CThisThread::id();
        return action ? action(this) : nullptr;
    }
    CError* onPingWithParams(const CAttrMap& params)
    {
        lastParams.clear();
        for (const auto& [key, value] : params)
            lastParams.push_back({test::CUtf8::of(key), test::CUtf8::of(value.getString())});
        return onPing();
    }
    CError* onLinkedAttr(CObject* sender, const CString& attrName, const CAttrValue& value) override
    {
        linkedValue = test::CUtf8::of(value.getString());
        linkedThread = CThisThread::id();
        ++linkedCalls;
        return CObject::onLinkedAttr(sender, attrName, value);
    }

    std::string param(const std::string& key) const
    {
        for (const auto& [paramName, value] : lastParams)
        {
            if (paramName == key)
                return value;
        }
        return "<none>";
    }

    int calls = 0;
    uint64_t lastThread = 0;
    std::vector<std::pair<std::string, std::string>> lastParams;
    std::function<CError*(CTestListener*)> action;
    std::atomic<int> linkedCalls{0};
    std::string linkedValue;
    uint64_t linkedThread = 0;
};

// Makes the application ready for trees (an empty shared tree, the notify server) and the test
// classes known. Other test suites replace or clear the shared root; this brings it back.
inline void ensureApplication()
{
    if (!CApplication::isInitialised() || !CObject::getSharedRoot())
    {
        CApplication::shutdown();
        CApplication::init(nullptr, "");
    }
    CApplication::getNotifyServer().install();
    if (!CObject::hasCreator(CString("test:listener")))
    {
        const CCreatorRow rows[] = {CCreatorRow::of<CTestListener>("test:listener")};
        ASSERT_EQ(CObject::registerCreators(rows, 1), nullptr);
    }
}

// A complete child of class T, with attributes set before its init.
template <class T = CObject>
T* makeChild(CObject* parent, const char* tag, const char* name,
             std::vector<std::pair<const char*, const char*>> attrs = {})
{
    CObject* child = nullptr;
    EXPECT_EQ(test::CErrorText::takeMessage(parent->addChild(CString(tag), CString(name), child)),
              "");
    if (!child)
        return nullptr;
    for (const auto& [key, value] : attrs)
        EXPECT_EQ(
            test::CErrorText::takeMessage(child->setAttr(CString(key), CAttrValue(value), false)),
            "");
    EXPECT_EQ(test::CErrorText::takeMessage(child->init()), "");
    EXPECT_EQ(test::CErrorText::takeMessage(child->createChilds()), "");
    EXPECT_EQ(test::CErrorText::takeMessage(child->initChilds()), "");
    T* typed = dynamic_cast<T*>(child);
    EXPECT_NE(typed, nullptr);
    return typed;
}

// Pumps the calling thread's loop until done() or timeoutMs.
inline bool pumpUntil(const std::function<bool()>& done, int timeoutMs = 5000)
{
    CRunLoop* loop = CRunLoop::forThisThread();
    const uint32_t start = CTickClock::tickCountMs();
    while (!done())
    {
        if (static_cast<int>(CTickClock::tickCountMs() - start) > timeoutMs)
            return false;
        loop->runOnce(10);
    }
    return true;
}

// Runs work on a thread's run loop and waits for it: trees live on the thread that made them.
class CLoopCaller : public CRunLoop::CClient
{
public:
    explicit CLoopCaller(CRunLoop* target) : loop(target), id(target->addClient(this)) {}
    ~CLoopCaller() override { loop->removeClient(id); }

    void call(const std::function<void()>& work)
    {
        std::promise<void> done;
        std::pair<const std::function<void()>*, std::promise<void>*> job{&work, &done};
        ASSERT_EQ(loop->post(id, 1, reinterpret_cast<intptr_t>(&job)), 0);
        done.get_future().wait();
    }
    void onRunLoopMessage(uint32_t, intptr_t param) override
    {
        auto* job =
            reinterpret_cast<std::pair<const std::function<void()>*, std::promise<void>*>*>(param);
        (*job->first)();
        job->second->set_value();
    }

private:
    CRunLoop* loop;
    CRunLoop::ClientId id;
};

// An instance tree with an event bridge, built on the calling thread.
class CEventTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ensureApplication();
        (void)CRunLoop::forThisThread();
        liveBefore = CAllocator::liveBlocks();
        root = makeRoot();
        bridge = root->findObject(CString("bridge"));
    }
    void TearDown() override
    {
        destroyRoots();
        CRunLoop::forThisThread()->pump();
        CObject::setEventService(nullptr);
        EXPECT_EQ(CAllocator::liveBlocks(), liveBefore) << "framework blocks left behind";
    }

    CObject* makeRoot()
    {
        CObject* made = nullptr;
        EXPECT_EQ(test::CErrorText::takeMessage(CApplication::initRootObject(made, CString())), "");
        makeChild<CStdEventBridge>(made, "ui:ui-event-bridge", "bridge");
        roots.push_back(made);
        return made;
    }
    void destroyRoots()
    {
        for (CObject* made : roots)
            CApplication::destroyRootObject(made);
        roots.clear();
    }

    CObject* root = nullptr;
    CObject* bridge = nullptr;
    std::vector<CObject*> roots;
    int64_t liveBefore = 0;
};

} // namespace eventtest
} // namespace kel
