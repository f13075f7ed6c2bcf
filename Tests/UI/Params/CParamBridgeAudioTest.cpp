// The bridge between a window and the audio side, the CUIParam on it, the group selector and the
// drag constants of the settings.
#include "UI/Params/CParamTestFixture.h"

namespace kel
{
namespace paramtest
{
namespace
{

class CParamBridgeAudioTest : public CParamTest
{
};

TEST(CGlobalSettingsDragTest, ConstantsFollowTheThreePrecisions)
{
    EXPECT_NEAR(CGlobalSettings::dragStepOf(1.0), 0.001, 1e-12);
    EXPECT_NEAR(CGlobalSettings::dragStepOf(0.0), 0.05, 1e-12);
    EXPECT_NEAR(CGlobalSettings::dragStepOf(0.8), 0.00219, 0.000005);
    EXPECT_NEAR(CGlobalSettings::wheelStepOf(0.5), 0.0316, 0.00005);
    EXPECT_NEAR(CGlobalSettings::shiftFactorOf(0.5), 0.258, 0.0005);
    // The record starts with the defaults' constants.
    const CGlobalSettings::CValues& values = CGlobalSettings::values();
    EXPECT_NEAR(values.dragStep.load(), CGlobalSettings::dragStepOf(0.8), 1e-12);
    EXPECT_NEAR(values.wheelStep.load(), CGlobalSettings::wheelStepOf(0.5), 1e-12);
    EXPECT_NEAR(values.shiftFactor.load(), CGlobalSettings::shiftFactorOf(0.5), 1e-12);
}

TEST_F(CParamBridgeAudioTest, SettingsObjectRecomputesTheConstantsWhenAPrecisionChanges)
{
    ASSERT_EQ(makeWindow(), "");
    auto* settings = find<CGlobalSettings>("ui.global-settings");
    ASSERT_EQ(test::CErrorText::takeMessage(
                  settings->setAttr(CString("drag-precision"), CAttrValue(1.0))),
              "");
    EXPECT_NEAR(CGlobalSettings::values().dragStep.load(), 0.001, 1e-12);
    ASSERT_EQ(test::CErrorText::takeMessage(
                  settings->setAttr(CString("shift-key-precision"), CAttrValue(0.0))),
              "");
    EXPECT_NEAR(CGlobalSettings::values().shiftFactor.load(), 1.0 / 1.5, 1e-12);
    ASSERT_EQ(test::CErrorText::takeMessage(
                  settings->setAttr(CString("mouse-wheel-precision"), CAttrValue(1.0))),
              "");
    EXPECT_NEAR(CGlobalSettings::values().wheelStep.load(), 0.005, 1e-12);
}

TEST_F(CParamBridgeAudioTest, ShownValueIsTheOneTheParameterTook)
{
    ASSERT_EQ(makeWindow(), "");
    ASSERT_TRUE(gain->isValid());
    EXPECT_NEAR(uiParam->getNormalisedValue(),
                gainNormalised(param("modZumbelModule.gain").getValue(0, 0)), 1e-12);

    // Beyond the range: the parameter holds its maximum, and so does the display.
    const int before = knob->updates;
    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setNormalisedValue(1.5)), "");
    EXPECT_EQ(knob->updates, before + 1);
    EXPECT_DOUBLE_EQ(knob->shown, 1.0);
    EXPECT_DOUBLE_EQ(param("modZumbelModule.gain").getValue(0, 0), 1.0) << "0 dB, linear";

    // A stepped parameter takes whole steps: 0.4 of 0..2 is step 1, shown as 0.5.
    auto* signal = find<CParamBridgeAudio>("ui.signal-bridge");
    ASSERT_EQ(test::CErrorText::takeMessage(signal->setNormalisedValue(0.4, 0, 0)), "");
    EXPECT_DOUBLE_EQ(param("modZumbelModule.signal").getValue(0, 0), 1.0);
    EXPECT_DOUBLE_EQ(signal->getNormalisedValue(0, 0), 0.5);

    // A change made on the audio side reaches the control after the client's pump.
    setLive("modZumbelModule.gain", 0.5);
    const int pumped = knob->updates;
    EXPECT_EQ(pump(), "");
    EXPECT_EQ(knob->updates, pumped + 1);
    EXPECT_NEAR(knob->shown, gainNormalised(0.5), 1e-12);
    CString shownText;
    uiParam->getText(shownText);
    CString expected;
    const CAudioParamInfo* info = client->getParamInfo(gain);
    info->getConverter(0)->format(expected, *info, 0, 0.5, 0, CAudioParamConverter::kFormatNormal);
    EXPECT_EQ(test::CUtf8::of(shownText), test::CUtf8::of(expected));

    // Text in: parsed by the converter, limited, and set.
    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setFromText(CString("-12"))), "");
    EXPECT_NEAR(param("modZumbelModule.gain").getValue(0, 0), 0.251188643150958, 1e-9);
}

TEST_F(CParamBridgeAudioTest, ChangesOnlyReachTheCUIParamsOfTheirGroup)
{
    ASSERT_EQ(makeWindow(), "");
    const int before = knob->updates;
    setLive("modZumbelModule.gain", 0.5, 1);
    EXPECT_EQ(pump(), "");
    EXPECT_EQ(knob->updates, before) << "group 1 is not the knob's";
    setLive("modZumbelModule.gain", 0.25);
    EXPECT_EQ(pump(), "");
    EXPECT_EQ(knob->updates, before + 1);
}

TEST_F(CParamBridgeAudioTest, GroupSelectorMakesTheCUIParamReadAgainWithoutAnUndoStep)
{
    ASSERT_EQ(makeWindow(), "");
    setLive("modZumbelModule.gain", 0.5, 1);
    EXPECT_EQ(pump(), "");
    const size_t steps = history().size();
    const int before = knob->updates;
    auto* selector = find<CParamGroupSelector>("ui.groupsel");
    ASSERT_EQ(test::CErrorText::takeMessage(selector->selectGroup(1)), "");
    EXPECT_EQ(uiParam->getGroup(), 1);
    EXPECT_EQ(knob->updates, before + 1);
    EXPECT_NEAR(knob->shown, gainNormalised(0.5), 1e-12);
    EXPECT_EQ(history().size(), steps);
    EXPECT_EQ(base->getHistoryCount(), 0);
    // The same group again changes nothing.
    ASSERT_EQ(test::CErrorText::takeMessage(selector->selectGroup(1)), "");
    EXPECT_EQ(knob->updates, before + 1);
}

TEST_F(CParamBridgeAudioTest, InvalidBridgeReadsZeroAndChangesNothing)
{
    ASSERT_EQ(makeWindow(), "");
    auto* missing = find<CParamBridgeAudio>("ui.missing-bridge");
    EXPECT_FALSE(missing->isValid());
    EXPECT_EQ(missing->getNormalisedValue(0, 0), 0.0);
    EXPECT_EQ(missing->getDefaultValue(0, 0), 0.0);
    ASSERT_EQ(test::CErrorText::takeMessage(missing->beginChange(0, 0)), "");
    EXPECT_FALSE(missing->isChangeOpen());
    ASSERT_EQ(test::CErrorText::takeMessage(missing->setNormalisedValue(0.7, 0, 0)), "");
    ASSERT_EQ(test::CErrorText::takeMessage(missing->resetToDefault(0, 0)), "");
    CString shown("x");
    missing->getValueText(shown, 0, 0);
    EXPECT_TRUE(shown.isEmpty());
    EXPECT_EQ(missing->getNormalisedValue(0, 0), 0.0);
    EXPECT_EQ(base->getHistoryCount(), 0);

    // A window whose client is not connected: every bridge is invalid.
    CObject::destroyObject(ui);
    ui = nullptr;
    ASSERT_EQ(makeWindow(nullptr, false), "");
    EXPECT_FALSE(gain->isValid());
    EXPECT_EQ(uiParam->getNormalisedValue(), 0.0);
    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setNormalisedValue(0.3)), "");
    EXPECT_EQ(uiParam->getNormalisedValue(), 0.0);
}

TEST_F(CParamBridgeAudioTest, UndoLabelsNameTheGroupWhereThereAreSeveral)
{
    ASSERT_EQ(makeWindow(), "");
    EXPECT_EQ(test::CUtf8::of(gain->makeLabel(" change", 0, 0)), "Signal gain change");
    ASSERT_EQ(test::CErrorText::takeMessage(client->requestGroupCount()), "");
    base->updateGroupCount(8);
    EXPECT_EQ(pump(), "");
    ASSERT_EQ(client->getGroupCount(), 8);
    EXPECT_EQ(test::CUtf8::of(gain->makeLabel(" change", 0, 1)), "Signal gain change (2)");
    EXPECT_EQ(test::CUtf8::of(gain->makeLabel(" reset", 0, 0)), "Signal gain reset (1)");
    // A parameter of one group never names it.
    auto* offline = find<CParamBridgeAudio>("ui.offline-bridge");
    EXPECT_EQ(test::CUtf8::of(offline->makeLabel(" change", 0, 0)), "Host offline render change");
}

TEST_F(CParamBridgeAudioTest, ChangeStartedOverAnOpenOneClosesItFirst)
{
    ASSERT_EQ(makeWindow(), "");
    ASSERT_EQ(test::CErrorText::takeMessage(gain->beginChange(0, 0)), "");
    ASSERT_EQ(test::CErrorText::takeMessage(gain->setNormalisedValue(0.2, 0, 0)), "");
    ASSERT_EQ(test::CErrorText::takeMessage(gain->beginChange(0, 0)), "");
    ASSERT_EQ(test::CErrorText::takeMessage(gain->setNormalisedValue(0.3, 0, 0)), "");
    ASSERT_EQ(test::CErrorText::takeMessage(gain->endChange()), "");
    const std::vector<std::string> labels = history();
    ASSERT_EQ(labels.size(), 3u);
    EXPECT_EQ(labels[1], "Signal gain change");
    EXPECT_EQ(labels[2], "Signal gain change");
    EXPECT_EQ(base->getHistoryCount(), 2);
}

TEST_F(CParamBridgeAudioTest, UIParamOnSharedAttributeOrOnNothing)
{
    ASSERT_EQ(makeWindow(
                  [](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
                  {
                      uiNode.add("core:shared-attribute", "tablet")
                          .attr("attribute", "tablet-mode")
                          .attr("data-name", "test-tablet-mode")
                          .attr("def-value", "false")
                          .attr("tablet-mode", "false");
                      auto& holder = uiNode.add("test:param-control", "holder");
                      holder.attr("is-root-view", "true");
                      holder.add("ui:ui-param", "on-value")
                          .attr("shared-attribute", "ui.tablet")
                          .attr("shared-attribute-value", "true");
                      holder.add("ui:ui-param", "nothing").attr("index", "1");
                  }),
              "");
    auto* holder = find<CTestParamControl>("ui.holder");
    auto* onValue = find<CUIParam>("ui.holder.on-value");
    auto* nothing = find<CUIParam>("ui.holder.nothing");
    EXPECT_EQ(onValue->getNormalisedValue(), 0.0);
    ASSERT_EQ(test::CErrorText::takeMessage(onValue->setNormalisedValue(1.0)), "");
    EXPECT_EQ(onValue->getNormalisedValue(), 1.0);
    EXPECT_GE(holder->updates, 1) << "the control hears its shared attribute";
    EXPECT_EQ(holder->shown, 1.0);
    ASSERT_EQ(test::CErrorText::takeMessage(onValue->resetToDefault()), "");
    EXPECT_EQ(onValue->getNormalisedValue(), 0.0);

    EXPECT_EQ(nothing->getIndex(), 1);
    EXPECT_FALSE(nothing->isValid());
    EXPECT_EQ(nothing->getNormalisedValue(), 0.0);
    ASSERT_EQ(test::CErrorText::takeMessage(nothing->setNormalisedValue(0.8)), "");
    EXPECT_EQ(nothing->getNormalisedValue(), 0.0);
}

TEST_F(CParamBridgeAudioTest, UIParamInitFailures)
{
    struct Case
    {
        std::function<void(CTreeBlobWriter::Node&)> add;
        const char* message;
    };
    const Case cases[] = {
        {[](CTreeBlobWriter::Node& uiNode) {
             uiNode.add("core:object", "plain")
                 .add("ui:ui-param", "p")
                 .attr("bridge", "ui.gain-bridge");
         },
         "Parent object does not support ui-param."},
        {[](CTreeBlobWriter::Node& uiNode)
         {
             uiNode.add("test:param-control", "c")
                 .attr("is-root-view", "true")
                 .add("ui:ui-param", "p")
                 .attr("shared-attribute", "ui.groupsel");
         },
         "Invalid parameter shared attribute 'ui.groupsel'."},
        {[](CTreeBlobWriter::Node& uiNode)
         {
             uiNode.add("test:param-control", "c")
                 .attr("is-root-view", "true")
                 .add("ui:ui-param", "p")
                 .attr("bridge", "ui.nowhere");
         },
         "Name attribute 'bridge' refers to a non-existent object"},
        {[](CTreeBlobWriter::Node& uiNode)
         {
             uiNode.add("test:param-control", "c")
                 .attr("is-root-view", "true")
                 .add("ui:ui-param", "p")
                 .attr("bridge", "ui.groupsel");
         },
         "Name attribute 'bridge' refers to object"},
    };
    for (const Case& c : cases)
    {
        const std::string error = makeWindow(
            [&](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&) { c.add(uiNode); });
        EXPECT_EQ(error.rfind(c.message, 0), 0u) << error;
        CObject::destroyObject(ui);
        ui = nullptr;
    }
}

} // namespace
} // namespace paramtest
} // namespace kel
