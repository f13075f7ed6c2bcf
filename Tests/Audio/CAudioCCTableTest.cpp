#include "Audio/CAudioCreators.h"
#include "Audio/CAudioCCTable.h"
#include "Audio/CAudioExtParam.h"
#include "Audio/CAudioExtParamList.h"
#include "Audio/CAudioWrapper.h"
#include "Core/CApplication.h"
#include "Core/CGlobalData.h"
#include "Core/CMemoryWriteBuffer.h"
#include "ProductResources.h"
#include "Support/CTempFolder.h"

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <utility>
#include <vector>

namespace kel
{
namespace
{

// Instances in one process sharing the maker's data store, kept in a temporary folder.
class CAudioCCTableTest : public ::testing::Test
{
protected:
    struct Instance
    {
        std::unique_ptr<CAudioWrapper> wrapper;
        CAudioCCTable* table = nullptr;
        CAudioExtParamList* list = nullptr;
    };

    void SetUp() override
    {
        CGlobalData::get().useFolders(CString(folder.path().c_str()), CString());
        CApplication::addCreatorRegistration(&CAudioCreators::registerAll);
        CApplication::init(resources::kResourceTable, "SharedData.xml");
        ASSERT_NE(CApplication::getSharedObject(), nullptr);
    }
    void TearDown() override
    {
        instances.clear();
        CApplication::shutdown();
        CGlobalData::get().reset();
    }

    Instance& makeInstance()
    {
        Instance instance;
        instance.wrapper = std::make_unique<CAudioWrapper>();
        instance.wrapper->setChannelCount(2);
        CError* error = instance.wrapper->init();
        EXPECT_EQ(error, nullptr) << error->getMessage();
        CObject* plugin = instance.wrapper->getPluginObject();
        instance.table = dynamic_cast<CAudioCCTable*>(plugin->findObject(CString(".cctable")));
        instance.list =
            dynamic_cast<CAudioExtParamList*>(plugin->findObject(CString(".ext-param-list")));
        EXPECT_NE(instance.table, nullptr);
        EXPECT_NE(instance.list, nullptr);
        instances.push_back(std::move(instance));
        return instances.back();
    }

    // Writes the item as another product version might have: entries of number and path.
    static void writeItem(uint32_t count, const std::vector<std::pair<uint32_t, const char*>>& rows)
    {
        CMemoryWriteBuffer out;
        ASSERT_EQ(out.writeUInt32(count), nullptr);
        for (const auto& row : rows)
        {
            ASSERT_EQ(out.writeUInt32(row.first), nullptr);
            ASSERT_EQ(out.writeString(CString(row.second)), nullptr);
        }
        ASSERT_EQ(CGlobalData::get().write(CString(CAudioCCTable::kItemName), out.getData(),
                                           out.getSize(), CAudioCCTable::kItemId),
                  nullptr);
    }

    static int filledSlots(const CAudioCCTable& table)
    {
        int count = 0;
        for (int controller = 0; controller < CAudioCCTable::kControllerCount; ++controller)
            count += table.getExtParam(controller) ? 1 : 0;
        return count;
    }

    test::CTempFolder folder{"kel-cctable"};
    std::deque<Instance> instances;
};

TEST_F(CAudioCCTableTest, SavedMapReachesEveryInstanceInItsOwnTree)
{
    Instance& first = makeInstance();
    Instance& second = makeInstance();
    EXPECT_EQ(filledSlots(*first.table), 0);

    first.table->setExtParam(7, first.list->getParam(4));
    first.table->setExtParam(127, first.list->getParam(0));
    ASSERT_EQ(first.table->save(), nullptr);

    // Each instance resolves the paths in its own tree.
    EXPECT_EQ(second.table->getExtParam(7), second.list->getParam(4));
    EXPECT_EQ(second.table->getExtParam(127), second.list->getParam(0));
    EXPECT_EQ(filledSlots(*second.table), 2);
    EXPECT_EQ(first.table->getExtParam(7), first.list->getParam(4));

    // An instance made later reads it at init; clearing and saving empties everyone's.
    Instance& third = makeInstance();
    EXPECT_EQ(third.table->getExtParam(127), third.list->getParam(0));
    third.table->setExtParam(7, nullptr);
    third.table->setExtParam(127, nullptr);
    ASSERT_EQ(third.table->save(), nullptr);
    EXPECT_EQ(filledSlots(*instances[0].table), 0);
    EXPECT_EQ(filledSlots(*instances[1].table), 0);
}

TEST_F(CAudioCCTableTest, ControllersOutsideTheRangeAreIgnored)
{
    Instance& instance = makeInstance();
    CAudioExtParam* gain = instance.list->getParam(4);
    instance.table->setExtParam(128, gain);
    instance.table->setExtParam(-1, gain);
    EXPECT_EQ(instance.table->getExtParam(128), nullptr);
    EXPECT_EQ(instance.table->getExtParam(-1), nullptr);
    EXPECT_EQ(filledSlots(*instance.table), 0);
}

TEST_F(CAudioCCTableTest, EntriesThatNameNoHostParameterLeaveTheirSlotEmpty)
{
    writeItem(5, {{3, "plugin.ext-param-list.nothing"},
                  {4, "plugin.param-collector"},
                  {300, "plugin.ext-param-list.ext-param#2"},
                  {5, "plugin.ext-param-list.ext-param#4"},
                  {6, "plugin.ext-param-list.ext-param"}});
    Instance& instance = makeInstance();
    EXPECT_EQ(instance.table->getExtParam(5), instance.list->getParam(4));
    EXPECT_EQ(instance.table->getExtParam(6), instance.list->getParam(0));
    EXPECT_EQ(filledSlots(*instance.table), 2);

    // Cut short: what was read before the break stays, and load says the item is damaged.
    writeItem(3, {{9, "plugin.ext-param-list.ext-param#2"}});
    EXPECT_EQ(instance.table->getExtParam(9), instance.list->getParam(2));
    CError* error = instance.table->load();
    EXPECT_NE(error, nullptr);
    delete error;
    EXPECT_EQ(filledSlots(*instance.table), 1);
}

TEST_F(CAudioCCTableTest, DamagedItemLeavesTheTableEmptyAndTheInstanceLoads)
{
    const char garbage[] = "not a compressed block at all";
    ASSERT_EQ(CGlobalData::get().write(CString(CAudioCCTable::kItemName), garbage, sizeof(garbage),
                                       CApplicationData::kStringItemId),
              nullptr);
    Instance& instance = makeInstance();
    ASSERT_NE(instance.wrapper->getPluginObject(), nullptr);
    EXPECT_EQ(filledSlots(*instance.table), 0);
}

} // namespace
} // namespace kel
