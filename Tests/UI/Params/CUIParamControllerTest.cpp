// Drags, wheel steps and resets of the ui-param-controller: the values they give, the pointer
// put back for endless drags, and one undo step per gesture.
#include "Core/Platform/CRunLoop.h"
#include "UI/Params/CParamTestFixture.h"

#include <chrono>
#include <thread>

namespace kel
{
namespace paramtest
{
namespace
{

class CUIParamControllerTest : public CParamTest
{
protected:
    double advance(int x, int y, bool isPrecise = false, bool clipCheck = true)
    {
        double value = -1.0;
        EXPECT_EQ(test::CErrorText::takeMessage(
                      controller->advanceScale(x, y, isPrecise, false, clipCheck, value)),
                  "");
        return value;
    }
    double value() const { return uiParam->getNormalisedValue(); }
};

TEST_F(CUIParamControllerTest, OffsetDragMovesByMotionTimesStepAndShiftCountsFromItsPress)
{
    ASSERT_EQ(makeWindow(), "");
    const double p = dragStep();
    const double s = CGlobalSettings::shiftFactorOf(0.5);
    const double start = value();
    ASSERT_EQ(test::CErrorText::takeMessage(
                  controller->startScale(CUIParamController::kModeOffset, 0, 1, false, 100, 100)),
              "");
    EXPECT_EQ(controller->getPrecision(), p);
    // Up is more.
    EXPECT_NEAR(advance(100, 90), start + 10 * p, 1e-9);
    EXPECT_NEAR(value(), start + 10 * p, 1e-9);
    // Shift from here: the ten pixels before keep their size.
    EXPECT_NEAR(advance(100, 80, true), start + 10 * p + 10 * s * p, 1e-9);
    EXPECT_NEAR(advance(100, 85, false), start + 5 * p + 10 * s * p, 1e-9);
    EXPECT_NEAR(knob->shown, value(), 1e-12) << "the control heard every step";
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");
    EXPECT_FALSE(controller->isDragOpen());

    const std::vector<std::string> labels = history();
    ASSERT_EQ(labels.size(), 2u);
    EXPECT_EQ(labels[1], "Signal gain change");
    EXPECT_EQ(base->getHistoryCount(), 1);
}

TEST_F(CUIParamControllerTest, DragThatChangesNothingLeavesNoUndoStep)
{
    ASSERT_EQ(makeWindow(), "");
    ASSERT_EQ(test::CErrorText::takeMessage(controller->startScale(1, 0, 1, false, 10, 10)), "");
    EXPECT_EQ(controller->getOpenChangeCount(), 1);
    advance(10, 10);
    advance(30, 10) /* sideways only */;
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");
    EXPECT_EQ(base->getHistoryCount(), 0);

    // At the top already, pushing further up changes nothing either.
    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setNormalisedValue(1.0)), "");
    ASSERT_EQ(test::CErrorText::takeMessage(controller->startScale(1, 0, 1, false, 10, 10)), "");
    EXPECT_EQ(advance(10, 0), 1.0);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");
    EXPECT_EQ(base->getHistoryCount(), 0);
}

TEST_F(CUIParamControllerTest, ValueLeavesTheEndAtTheFirstPixelBack)
{
    ASSERT_EQ(makeWindow(), "");
    // A coarse step, so that few pixels reach the end.
    CGlobalSettings::values().dragStep = CGlobalSettings::dragStepOf(0.0);
    const double p = 0.05;
    ASSERT_EQ(test::CErrorText::takeMessage(controller->startScale(1, 0, 1, false, 0, 100)), "");
    EXPECT_EQ(advance(0, 80), 1.0);
    EXPECT_NEAR(advance(0, 81), 1.0 - p, 1e-9) << "one pixel down moves at once";
    EXPECT_EQ(advance(0, 60), 1.0);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");

    // Without the clip check the motion beyond the end counts.
    ASSERT_EQ(test::CErrorText::takeMessage(controller->startScale(1, 0, 1, false, 0, 100)), "");
    EXPECT_EQ(advance(0, 80, false, false), 1.0);
    EXPECT_EQ(advance(0, 81, false, false), 1.0);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");

    // The same at the bottom.
    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setNormalisedValue(0.1)), "");
    ASSERT_EQ(test::CErrorText::takeMessage(controller->startScale(1, 0, 1, false, 0, 0)), "");
    EXPECT_EQ(advance(0, 30), 0.0);
    EXPECT_NEAR(advance(0, 29), p, 1e-9);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");
}

TEST_F(CUIParamControllerTest, PointerBeyondFortyPixelsIsPutBackUnlessTabletMode)
{
    ASSERT_EQ(makeWindow(), "");
    const double p = dragStep();
    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setNormalisedValue(0.5)), "");
    const double start = value();
    ASSERT_EQ(test::CErrorText::takeMessage(controller->startScale(1, 0, 1, false, 200, 200)), "");
    advance(200, 170);
    EXPECT_EQ(controller->getWarpCount(), 0);
    advance(200, 159);
    EXPECT_EQ(controller->getWarpCount(), 1);
    EXPECT_EQ(controller->getLastWarpX(), 200);
    EXPECT_EQ(controller->getLastWarpY(), 200);
    // The motion stays, and counts on from the start position.
    EXPECT_NEAR(advance(200, 190), start + 51 * p, 1e-9);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");

    CGlobalSettings::values().tabletMode = true;
    ASSERT_EQ(test::CErrorText::takeMessage(controller->startScale(1, 0, 1, false, 200, 200)), "");
    advance(200, 100);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");
    EXPECT_EQ(controller->getWarpCount(), 1);

    CGlobalSettings::values().tabletMode = false;
    controller->setHidesPointer(false);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->startScale(1, 0, 1, false, 200, 200)), "");
    advance(200, 300);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");
    EXPECT_EQ(controller->getWarpCount(), 1) << "a visible pointer stays where it is";
}

TEST_F(CUIParamControllerTest, ScaleModeKeepsProportionsAndRadialModeSetsTheValue)
{
    ASSERT_EQ(makeWindow(), "");
    const double p = dragStep();
    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setNormalisedValue(0.5)), "");
    const double start = value();
    ASSERT_EQ(test::CErrorText::takeMessage(
                  controller->startScale(CUIParamController::kModeScale, 0, 1, false, 0, 0)),
              "");
    EXPECT_NEAR(advance(0, -10), start * (1 + 10 * p), 1e-9);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");

    ASSERT_EQ(test::CErrorText::takeMessage(
                  controller->startScale(CUIParamController::kModeRadial, 0, 1, false, 0, 0)),
              "");
    EXPECT_EQ(advance(0, -30), 0.0) << "radial drags do not follow motion";
    ASSERT_EQ(test::CErrorText::takeMessage(controller->setValue(0.25)), "");
    EXPECT_NEAR(value(), 0.25, 1e-9);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishScale()), "");
    EXPECT_EQ(base->getHistoryCount(), 2);
}

TEST_F(CUIParamControllerTest, WheelStepsMakeOneUndoStepWhenTheWheelRests)
{
    ASSERT_EQ(makeWindow(), "");
    const double w = CGlobalSettings::wheelStepOf(0.5);
    const double s = CGlobalSettings::shiftFactorOf(0.5);
    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setNormalisedValue(0.5)), "");
    const double start = value();
    ASSERT_EQ(test::CErrorText::takeMessage(controller->addWheelDelta(1.0, 0, 1, false)), "");
    EXPECT_NEAR(value(), start + w, 1e-9);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->addWheelDelta(-1.0, 0, 1, true)), "");
    EXPECT_NEAR(value(), start + w - s * w, 1e-9);
    EXPECT_TRUE(controller->isWheelOpen());
    EXPECT_EQ(base->getHistoryCount(), 0) << "open until the wheel rests";
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishWheel()), "");
    EXPECT_EQ(base->getHistoryCount(), 1);

    // The rest is found by the controller's own timer.
    ASSERT_EQ(test::CErrorText::takeMessage(controller->addWheelDelta(2.0, 0, 1, false)), "");
    EXPECT_NEAR(value(), start + 3 * w - s * w, 1e-9);
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (controller->isWheelOpen() && std::chrono::steady_clock::now() < until)
    {
        CRunLoop::forThisThread()->runOnce(20);
    }
    EXPECT_FALSE(controller->isWheelOpen());
    const std::vector<std::string> labels = history();
    ASSERT_EQ(labels.size(), 3u);
    EXPECT_EQ(labels[2], "Signal gain change");

    // Clamped at the top.
    ASSERT_EQ(test::CErrorText::takeMessage(controller->addWheelDelta(1000.0, 0, 1, false)), "");
    EXPECT_EQ(value(), 1.0);
    ASSERT_EQ(test::CErrorText::takeMessage(controller->finishWheel()), "");
}

TEST_F(CUIParamControllerTest, ResetIsOneUndoStepAndNoneWhenAtTheDefault)
{
    ASSERT_EQ(makeWindow(), "");
    const double initial = uiParam->getDefaultValue();
    ASSERT_EQ(test::CErrorText::takeMessage(controller->resetToDefault(0, 1)), "");
    EXPECT_EQ(base->getHistoryCount(), 0);

    ASSERT_EQ(test::CErrorText::takeMessage(uiParam->setNormalisedValue(0.9)), "");
    ASSERT_EQ(test::CErrorText::takeMessage(controller->resetToDefault(-1, -1)), "");
    EXPECT_NEAR(value(), initial, 1e-12);
    EXPECT_NEAR(knob->shown, initial, 1e-12);
    EXPECT_NEAR(gainNormalised(param("modZumbelModule.gain").getValue(0, 0)), initial, 1e-12);
    const std::vector<std::string> labels = history();
    ASSERT_EQ(labels.size(), 2u);
    EXPECT_EQ(labels[1], "Signal gain reset");
}

} // namespace
} // namespace paramtest
} // namespace kel
