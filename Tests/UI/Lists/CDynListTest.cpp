// Dynamic lists: over a value list, nested as sub-lists, and the lookup of a list by its path.
#include "UI/Lists/CListTestFixture.h"

#include <string>

namespace kel
{
namespace listtest
{
namespace
{

class CDynListTest : public CListTest
{
};

TEST_F(CDynListTest, FollowsItsValueListAndOpensChildListsAsSubLists)
{
    ASSERT_EQ(makeWindow(
                  [](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
                  {
                      auto& list = uiNode.add("ui:value-list-manual", "list");
                      addParagraph(list, {"Left"});
                      addParagraph(list, {"Right"});
                      auto& inner = uiNode.add("ui:value-list-manual", "inner");
                      addParagraph(inner, {"Deep"});
                      auto& dyn = uiNode.add("ui:dynlist-value-list", "dyn");
                      dyn.attr("value-list", "ui.list");
                      dyn.add("ui:dynlist-value-list", "sub")
                          .attr("value-list", "ui.inner")
                          .attr("title", "More");
                      uiNode.add("test:list-listener", "listener").attr("target", "ui.dyn");
                  },
                  false),
              "");
    auto* dyn = find<CDynListValueList>("ui.dyn");
    auto* listener = find<CTestListListener>("ui.listener");
    ASSERT_EQ(dyn->getListCount(), 2);
    EXPECT_EQ(titles(*dyn, 0), (std::vector<std::string>{"Left", "Right", "More"}));
    EXPECT_EQ(dyn->getItem(0, 1).index, 1);
    const CDynList::CItem& opener = dyn->getItem(0, 2);
    EXPECT_EQ(opener.index, -1);
    ASSERT_EQ(opener.subListId, 1);
    EXPECT_EQ(titles(*dyn, 1), (std::vector<std::string>{"Deep"}));
    EXPECT_EQ(dyn->getItem(1, 0).listId, 1);

    // A change of the value list reaches the dynamic list.
    ASSERT_EQ(set(find<CValueList>("ui.list"), "add-empty-value", "true"), "");
    EXPECT_EQ(titles(*dyn, 0), (std::vector<std::string>{"---", "Left", "Right", "More"}));
    EXPECT_EQ(listener->dynUpdated, 1);
    // So does one of a sub-list's value list, through the sub-list.
    ASSERT_EQ(set(find<CValueList>("ui.inner"), "add-empty-value", "true"), "");
    EXPECT_EQ(titles(*dyn, 1), (std::vector<std::string>{"---", "Deep"}));
    EXPECT_EQ(listener->dynUpdated, 2);
}

TEST_F(CDynListTest, NestingStopsBelowTheDepthLimit)
{
    const auto nested = [](int levels)
    {
        return [levels](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
        {
            CTreeBlobWriter::Node* node = &uiNode;
            for (int i = 0; i < levels; ++i)
                node =
                    &node->add("ui:dynlist-value-list", "level").attr("title", std::to_string(i));
        };
    };
    // The top list and kMaxDepth levels of sub-lists below it build.
    ASSERT_EQ(makeWindow(nested(CDynList::kMaxDepth + 1), false), "");
    EXPECT_EQ(find<CDynListValueList>("ui.level")->getListCount(), CDynList::kMaxDepth + 1);
    CObject::destroyObject(ui);
    ui = nullptr;
    EXPECT_EQ(makeWindow(nested(CDynList::kMaxDepth + 2), false), "Too many recursions");
}

TEST_F(CDynListTest, FindListResolvesEitherKindAndRefusesAnythingElse)
{
    ASSERT_EQ(makeWindow(
                  [](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
                  {
                      uiNode.add("ui:value-list-manual", "list");
                      uiNode.add("ui:dynlist-value-list", "dyn").attr("value-list", "ui.list");
                  },
                  false),
              "");
    CValueList* valueList = nullptr;
    CDynList* dynList = nullptr;
    ASSERT_EQ(test::CErrorText::takeMessage(
                  CDynList::findList(*knob, CString("ui.list"), valueList, dynList)),
              "");
    EXPECT_EQ(valueList, find<CValueList>("ui.list"));
    EXPECT_EQ(dynList, nullptr);
    ASSERT_EQ(test::CErrorText::takeMessage(
                  CDynList::findList(*knob, CString("ui.dyn"), valueList, dynList)),
              "");
    EXPECT_EQ(valueList, nullptr);
    EXPECT_EQ(dynList, static_cast<CDynList*>(find<CDynListValueList>("ui.dyn")));

    CError* error = CDynList::findList(*knob, CString("ui.gain-bridge"), valueList, dynList);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(valueList, nullptr);
    EXPECT_EQ(dynList, nullptr);
    EXPECT_EQ(test::CErrorText::takeKey(error), "kelstr_CControlArray_init_NoTag");
    EXPECT_EQ(test::CErrorText::takeMessage(
                  CDynList::findList(*knob, CString("ui.nowhere"), valueList, dynList)),
              "Object 'ui.nowhere' is neither a value list nor a dynamic list.");
}

} // namespace
} // namespace listtest
} // namespace kel
