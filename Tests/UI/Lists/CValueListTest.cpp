// Value lists: the items written in the tree, and those computed from a parameter or from the
// interface, with the events that tell their consumers of a change.
#include "UI/Lists/CListTestFixture.h"

namespace kel
{
namespace listtest
{
namespace
{

class CValueListTest : public CListTest
{
};

class CValueListAudioTest : public CListTest
{
protected:
    // Creates a ui:value-list under "ui" at run time and answers the error of its creation.
    CError* createAudioList(const char* name,
                            const std::vector<std::pair<const char*, const char*>>& attrs,
                            CValueListAudio*& out)
    {
        CAttrMap params;
        for (const auto& [key, value] : attrs)
            params.set(CString(key), CAttrValue(CString(value)));
        return find<CObject>("ui")->createChild(CString("ui:value-list"), CString(name), out,
                                                &params);
    }
};

TEST_F(CValueListTest, TreeItemsJoinTheirContentsAndSplitAtTheSeparator)
{
    ASSERT_EQ(makeWindow(
                  [](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
                  {
                      auto& joined = uiNode.add("ui:value-list-manual", "joined");
                      addParagraph(joined, {"Slow", "attack"});
                      addParagraph(joined, {"Fast"});
                      // Not a paragraph: no item.
                      joined.add("content").attr("value", "stray");
                      auto& split = uiNode.add("ui:value-list-manual", "split");
                      split.attr("separator-char", "|");
                      addParagraph(split, {"A|B||C"});
                      addParagraph(split, {"D"});
                  },
                  false),
              "");
    auto* joined = find<CValueList>("ui.joined");
    EXPECT_EQ(titles(*joined), (std::vector<std::string>{"Slow[BR]attack", "Fast"}));
    auto* split = find<CValueList>("ui.split");
    EXPECT_EQ(titles(*split), (std::vector<std::string>{"A", "B", "---", "C", "D"}));
    EXPECT_TRUE(split->getText(2).isEmpty()) << "the list keeps the empty text; only the title "
                                                "shows the dashes";
    EXPECT_DOUBLE_EQ(split->getValue(4), 4.0);
    EXPECT_EQ(split->findValue(3.0), 3);
}

TEST_F(CValueListTest, ShapeAttributesRaiseValuesChangedOncePerRealChange)
{
    ASSERT_EQ(makeWindow(
                  [](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
                  {
                      auto& list = uiNode.add("ui:value-list-manual", "list");
                      addParagraph(list, {"One"});
                      addParagraph(list, {"Two"});
                      addParagraph(list, {"Three"});
                      uiNode.add("test:list-listener", "listener").attr("target", "ui.list");
                  },
                  false),
              "");
    auto* list = find<CValueList>("ui.list");
    auto* listener = find<CTestListListener>("ui.listener");
    ASSERT_EQ(list->getCount(), 3);

    ASSERT_EQ(set(list, "add-empty-value", "true"), "");
    EXPECT_EQ(titles(*list), (std::vector<std::string>{"---", "One", "Two", "Three"}));
    EXPECT_DOUBLE_EQ(list->getValue(0), -1.0);
    EXPECT_DOUBLE_EQ(list->getValue(1), 0.0) << "tree items keep their own positions";
    EXPECT_EQ(listener->valuesChanged, 1);
    ASSERT_EQ(set(list, "add-empty-value", "true"), "");
    EXPECT_EQ(listener->valuesChanged, 1) << "the same items again";

    ASSERT_EQ(set(list, "max-capacity", "2"), "");
    EXPECT_EQ(titles(*list), (std::vector<std::string>{"---", "One"}));
    EXPECT_EQ(listener->valuesChanged, 2);
    ASSERT_EQ(set(list, "max-capacity", "0"), "");
    EXPECT_EQ(list->getCount(), 4) << "0 is no limit";
    EXPECT_EQ(listener->valuesChanged, 3);
    ASSERT_EQ(set(list, "max-capacity", "9"), "");
    EXPECT_EQ(listener->valuesChanged, 3) << "a limit above the count changes nothing";
}

TEST_F(CValueListAudioTest, EnumValueListsTheSignalStatesOnceTheDefinitionArrives)
{
    ASSERT_EQ(
        makeWindow(
            [](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
            {
                uiNode.add("ui:value-list", "signal-values")
                    .attr("mode", "audio-enum-value")
                    .attr("bridge", "ui.signal-bridge")
                    .attr("group-selector", "ui.groupsel");
                uiNode.add("test:list-listener", "listener").attr("target", "ui.signal-values");
            },
            false),
        "");
    auto* list = find<CValueListAudio>("ui.signal-values");
    auto* listener = find<CTestListListener>("ui.listener");
    EXPECT_EQ(list->getCount(), 0) << "no definition before the client is connected";
    EXPECT_NE(list->findChild(CString("ui-param-value")), nullptr);

    connector->connect(*baseConnector);
    ASSERT_EQ(test::CErrorText::takeMessage(client->subscribeAll()), "");
    ASSERT_EQ(pump(), "");
    EXPECT_EQ(titles(*list), (std::vector<std::string>{"Beep", "Noise", "Mute"}));
    EXPECT_DOUBLE_EQ(list->getValue(1), 0.5);
    EXPECT_EQ(listener->valuesChanged, 1)
        << "the definition and the values of every group arrive, the items change once";

    // Another state is chosen: the states stay the same.
    auto* signal = find<CParamBridgeAudio>("ui.signal-bridge");
    ASSERT_EQ(test::CErrorText::takeMessage(signal->setNormalisedValue(1.0, 0, 0)), "");
    EXPECT_EQ(listener->valuesChanged, 1);
}

TEST_F(CValueListAudioTest, MinMaxGivesTheKnobScaleInDisplayUnits)
{
    ASSERT_EQ(makeWindow(
                  [](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
                  {
                      uiNode.add("ui:value-list", "scale")
                          .attr("mode", "audio-min-max")
                          .attr("bridge", "ui.gain-bridge")
                          .attr("group-selector", "ui.groupsel")
                          .attr("value-count", "7")
                          .attr("format", "%1.0f")
                          .attr("format-id", "knob-circle");
                      uiNode.add("test:list-listener", "listener").attr("target", "ui.scale");
                  }),
              "");
    auto* list = find<CValueListAudio>("ui.scale");
    auto* listener = find<CTestListListener>("ui.listener");
    EXPECT_TRUE(list->isKnobCircle());
    // The gain runs from -36 to 0 dB; its knob travels evenly in decibels.
    EXPECT_EQ(titles(*list),
              (std::vector<std::string>{"-36", "-30", "-24", "-18", "-12", "-6", "0"}));
    EXPECT_NEAR(list->getValue(2), 2.0 / 6.0, 1e-12);
    const int settled = listener->valuesChanged;

    // Another group, another value: the range is the same, so nothing is raised.
    ASSERT_EQ(
        test::CErrorText::takeMessage(find<CParamGroupSelector>("ui.groupsel")->selectGroup(1)),
        "");
    EXPECT_EQ(list->getGroup(), 1);
    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setNormalisedValue(0.3)), "");
    EXPECT_EQ(listener->valuesChanged, settled);

    // A narrower range: the labels follow, once.
    ASSERT_EQ(set(list, "max-value", "-12"), "");
    EXPECT_EQ(titles(*list),
              (std::vector<std::string>{"-36", "-32", "-28", "-24", "-20", "-16", "-12"}));
    EXPECT_EQ(listener->valuesChanged, settled + 1);

    // A pattern that is not one number falls back to the converter's short text.
    ASSERT_EQ(set(list, "format", "%s"), "");
    EXPECT_EQ(test::CUtf8::of(list->getText(0)), "-36");
    EXPECT_EQ(test::CUtf8::of(list->getText(6)), "-12");
}

TEST_F(CValueListAudioTest, ParamValuesFollowTheValueThroughTheirUIParam)
{
    ASSERT_EQ(makeWindow(
                  [](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
                  {
                      uiNode.add("ui:value-list", "values")
                          .attr("mode", "audio-param-values")
                          .attr("bridge", "ui.gain-bridge")
                          .attr("add-empty-value", "true");
                      uiNode.add("test:list-listener", "listener").attr("target", "ui.values");
                  }),
              "");
    auto* list = find<CValueListAudio>("ui.values");
    auto* listener = find<CTestListListener>("ui.listener");
    ASSERT_EQ(list->getCount(), 2);
    EXPECT_EQ(test::CUtf8::of(list->getTitle(0)), "---");
    const int before = listener->valuesChanged;
    setLive("modZumbelModule.gain", 0.5);
    ASSERT_EQ(pump(), "");
    CString expected;
    gain->getValueText(expected, 0, 0);
    EXPECT_EQ(test::CUtf8::of(list->getText(1)), test::CUtf8::of(expected));
    EXPECT_EQ(test::CUtf8::of(list->getText(1)), "-6.0");
    EXPECT_EQ(listener->valuesChanged, before + 1);
}

TEST_F(CValueListAudioTest, InterfaceListsNameTheClientsChannels)
{
    ASSERT_EQ(makeWindow(), "");
    CValueListAudio* list = nullptr;
    ASSERT_EQ(test::CErrorText::takeMessage(createAudioList(
                  "ins", {{"mode", "audio-ins"}, {"interface-client", "ui.client"}}, list)),
              "");
    EXPECT_EQ(titles(*list), (std::vector<std::string>{"IN1", "IN2"}));
    ASSERT_EQ(
        test::CErrorText::takeMessage(createAudioList(
            "outs",
            {{"mode", "audio-outs"}, {"interface-client", "ui.client"}, {"active-channels", "1"}},
            list)),
        "");
    EXPECT_EQ(titles(*list), (std::vector<std::string>{"OUT1"}));

    // Without routing parameters every output takes its own input.
    ASSERT_EQ(test::CErrorText::takeMessage(createAudioList(
                  "routing-full",
                  {{"mode", "audio-routing-labels"}, {"interface-client", "ui.client"}}, list)),
              "");
    EXPECT_EQ(titles(*list), (std::vector<std::string>{"OUT1: IN1", "OUT2: IN2"}));
    ASSERT_EQ(test::CErrorText::takeMessage(createAudioList("routing-normal",
                                                            {{"mode", "audio-routing-labels"},
                                                             {"interface-client", "ui.client"},
                                                             {"routing-label-mode", "normal"}},
                                                            list)),
              "");
    EXPECT_EQ(titles(*list), (std::vector<std::string>{"IN1", "IN2"}));

    // The current group follows the selector; groups without a name go by number.
    ASSERT_EQ(test::CErrorText::takeMessage(createAudioList("current",
                                                            {{"mode", "audio-curgroup"},
                                                             {"interface-client", "ui.client"},
                                                             {"group-selector", "ui.groupsel"}},
                                                            list)),
              "");
    EXPECT_EQ(titles(*list), (std::vector<std::string>{"1"}));
    ASSERT_EQ(
        test::CErrorText::takeMessage(find<CParamGroupSelector>("ui.groupsel")->selectGroup(1)),
        "");
    EXPECT_EQ(titles(*list), (std::vector<std::string>{"2"}));
}

TEST_F(CValueListAudioTest, InvalidSettingsFailWithTheirKeyedMessages)
{
    ASSERT_EQ(makeWindow(), "");
    CValueListAudio* list = nullptr;
    CError* error = createAudioList("bad-mode", {{"mode", "audio-everything"}}, list);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(test::CErrorText::takeMessage(error),
              "Invalid value list mode specified: audio-everything");
    error = createAudioList("bad-mode", {{"mode", "audio-everything"}}, list);
    EXPECT_EQ(test::CErrorText::takeKey(error), "kelstr_CValueListAudio_init_InvalidMode");
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(find<CObject>("ui")->findChild(CString("bad-mode")), nullptr)
        << "nothing is left behind";

    error = createAudioList("bad-routing", {{"routing-label-mode", "short"}}, list);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(test::CErrorText::takeMessage(error), "Invalid routing label mode specified: short");
    error = createAudioList("bad-routing", {{"routing-label-mode", "short"}}, list);
    EXPECT_EQ(test::CErrorText::takeKey(error),
              "kelstr_CValueListAudio_init_InvalidRoutingLabelMode");

    // The window has no "ui.interface-client" and the list names no other.
    error = createAudioList("no-client", {{"mode", "audio-groups"}}, list);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(test::CErrorText::takeMessage(error), "Unable to locate interface client.");
}

} // namespace
} // namespace listtest
} // namespace kel
