#include "CEventTestFixture.h"

#include "Core/CGlobalData.h"
#include "Core/CGlobalSettings.h"
#include "Core/CLocalData.h"
#include "Core/CSharedAttribute.h"
#include "Support/CErrorText.h"
#include "Support/CTempFolder.h"
#include "Support/CUtf8.h"

#include <cstdlib>
#include <filesystem>
#include <thread>

using kel::test::CErrorText;
using kel::test::CUtf8;

namespace kel
{
namespace eventtest
{
namespace
{

// Shared attributes in instance trees, with a temporary XDG_DATA_HOME.
class CSharedAttributeTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ensureApplication();
        CGlobalData::get().useFolders(CString(folder.c_str()), CString());
        CLocalData::get().useFolders(CString(folder.c_str()), CString());
    }
    void TearDown() override
    {
        CGlobalData::get().reset();
        CLocalData::get().reset();
        CObject::setEventService(nullptr);
    }

    // A root with a bridge and one shared attribute below it; built on the calling thread.
    static CObject* makeInstance(std::vector<std::pair<const char*, const char*>> attrs)
    {
        CObject* made = nullptr;
        EXPECT_EQ(CErrorText::takeMessage(CApplication::initRootObject(made, CString())), "");
        CObject* bridge = makeChild<CStdEventBridge>(made, "ui:ui-event-bridge", "bridge");
        makeChild<CSharedAttribute>(bridge, "core:shared-attribute", "tablet-mode", attrs);
        return made;
    }

    test::CTempFolder temp{"kel-shared"};
    const std::string folder = temp.path();
};

TEST_F(CSharedAttributeTest, ValueComesFromTheStoreOrTheDefaultAndWritesGoBack)
{
    CObject* first = makeInstance({{"attribute", "tablet-mode"}, {"def-value", "false"}});
    CObject* item = first->findObject(CString("bridge.tablet-mode"));
    EXPECT_EQ(CUtf8::of(item->getAttrString(CString("tablet-mode"))), "false");
    ASSERT_EQ(CErrorText::takeMessage(item->setAttr(CString("tablet-mode"), CAttrValue("true"))),
              "");
    CString stored;
    ASSERT_EQ(
        CErrorText::takeMessage(CGlobalData::get().readString(CString("tablet-mode"), stored)), "");
    EXPECT_EQ(CUtf8::of(stored), "true");

    // A later instance starts from the stored value; a local item is another store.
    CObject* second = makeInstance({{"attribute", "tablet-mode"}, {"def-value", "false"}});
    EXPECT_EQ(CUtf8::of(second->findObject(CString("bridge.tablet-mode"))
                            ->getAttrString(CString("tablet-mode"))),
              "true");
    CObject* local = makeInstance({{"attribute", "scale"},
                                   {"def-value", "1.0"},
                                   {"is-global", "false"},
                                   {"data-name", "ui-scale"}});
    EXPECT_EQ(
        CUtf8::of(
            local->findObject(CString("bridge.tablet-mode"))->getAttrString(CString("scale"))),
        "1.0");
    CApplication::destroyRootObject(first);
    CApplication::destroyRootObject(second);
    CApplication::destroyRootObject(local);
}

TEST_F(CSharedAttributeTest, MissingAttributeNameIsAnError)
{
    CObject* made = nullptr;
    ASSERT_EQ(CErrorText::takeMessage(CApplication::initRootObject(made, CString())), "");
    CObject* item = nullptr;
    ASSERT_EQ(CErrorText::takeMessage(
                  made->addChild(CString("core:shared-attribute"), CString("x"), item)),
              "");
    EXPECT_EQ(CErrorText::takeMessage(item->init()), "No attached attribute name specified.");
    CApplication::destroyRootObject(made);
}

TEST_F(CSharedAttributeTest, GlobalSettingsFollowTheirAttributes)
{
    CObject* made = nullptr;
    ASSERT_EQ(CErrorText::takeMessage(CApplication::initRootObject(made, CString())), "");
    CObject* settings = makeChild(made, "core:global-settings", "settings",
                                  {{"tablet-mode", "true"}, {"drag-precision", "0.25"}});
    EXPECT_TRUE(CGlobalSettings::values().tabletMode.load());
    EXPECT_DOUBLE_EQ(CGlobalSettings::values().dragPrecision.load(), 0.25);
    ASSERT_EQ(
        CErrorText::takeMessage(settings->setAttr(CString("oversampling-level"), CAttrValue("4"))),
        "");
    EXPECT_EQ(CGlobalSettings::values().oversamplingLevel.load(), 4);
    // Text that is no number leaves the record as it was.
    ASSERT_EQ(
        CErrorText::takeMessage(settings->setAttr(CString("drag-precision"), CAttrValue("fast"))),
        "");
    EXPECT_DOUBLE_EQ(CGlobalSettings::values().dragPrecision.load(), 0.25);
    ASSERT_EQ(
        CErrorText::takeMessage(settings->setAttr(CString("tablet-mode"), CAttrValue("false"))),
        "");
    ASSERT_EQ(
        CErrorText::takeMessage(settings->setAttr(CString("drag-precision"), CAttrValue("0.8"))),
        "");
    ASSERT_EQ(
        CErrorText::takeMessage(settings->setAttr(CString("oversampling-level"), CAttrValue("1"))),
        "");
    CApplication::destroyRootObject(made);
}

// Two instances, each tree on its own thread with its own run loop: a change made in one
// reaches the other on the other's thread.
class CSharedAttributeConcurrency : public CSharedAttributeTest
{
};

TEST_F(CSharedAttributeConcurrency, TwoInstancesSeeEachOthersChangesOnTheirOwnThreads)
{
    CThread threadA;
    CThread threadB;
    ASSERT_EQ(threadA.runThread(false, true), nullptr);
    ASSERT_EQ(threadB.runThread(false, true), nullptr);
    CLoopCaller onA(threadA.getRunLoop());
    CLoopCaller onB(threadB.getRunLoop());
    CObject* treeA = nullptr;
    CObject* treeB = nullptr;
    CTestListener* watcherB = nullptr;
    const std::vector<std::pair<const char*, const char*>> attrs = {{"attribute", "tablet-mode"},
                                                                    {"def-value", "false"}};
    onA.call([&] { treeA = makeInstance(attrs); });
    onB.call(
        [&]
        {
            treeB = makeInstance(attrs);
            // Follows B's mirrored attribute, as a control would.
            watcherB = makeChild<CTestListener>(treeB, "test:listener", "watcher");
            CAttrFilter filter;
            filter.set(CString("tablet-mode"), CString("tablet-mode"));
            watcherB->followObject(treeB->findObject(CString("bridge.tablet-mode")), filter);
        });

    onA.call(
        [&]
        {
            EXPECT_EQ(
                CErrorText::takeMessage(treeA->findObject(CString("bridge.tablet-mode"))
                                            ->setAttr(CString("tablet-mode"), CAttrValue("true"))),
                "");
        });
    const uint32_t start = CTickClock::tickCountMs();
    while (watcherB->linkedCalls.load() == 0 && CTickClock::tickCountMs() - start < 5000)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    onB.call(
        [&]
        {
            EXPECT_EQ(watcherB->linkedCalls.load(), 1);
            EXPECT_EQ(watcherB->linkedValue, "true");
            EXPECT_EQ(watcherB->linkedThread, threadB.getThreadId());
            EXPECT_EQ(CUtf8::of(treeB->findObject(CString("bridge.tablet-mode"))
                                    ->getAttrString(CString("tablet-mode"))),
                      "true");
        });

    // And back, from B to A, while A keeps its own value until told.
    onB.call(
        [&]
        {
            EXPECT_EQ(
                CErrorText::takeMessage(treeB->findObject(CString("bridge.tablet-mode"))
                                            ->setAttr(CString("tablet-mode"), CAttrValue("false"))),
                "");
        });
    std::string valueA;
    for (int i = 0; i < 500 && valueA != "false"; ++i)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        onA.call(
            [&]
            {
                valueA = CUtf8::of(treeA->findObject(CString("bridge.tablet-mode"))
                                       ->getAttrString(CString("tablet-mode")));
            });
    }
    EXPECT_EQ(valueA, "false");

    onA.call([&] { CApplication::destroyRootObject(treeA); });
    onB.call([&] { CApplication::destroyRootObject(treeB); });
}

} // namespace
} // namespace eventtest
} // namespace kel
