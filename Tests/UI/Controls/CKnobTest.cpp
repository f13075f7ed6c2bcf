// The knob's two pieces of arithmetic: the frame a value shows and the value a point's angle
// gives in the radial mode.
#include "UI/Controls/CKnob.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kel;

namespace
{

// A point 100 pixels from the centre (0, 0) of a knob outside any window, at `turns` in the
// knob's angle measure (0.5 points right, 0.75 down, 0.25 up, 1.0 and 0.0 left).
double valueAtTurns(const CKnob& knob, double turns)
{
    const double angle = (turns - 0.5) * 6.283185307179586;
    return knob.getRadialValue(static_cast<int>(std::lround(100.0 * std::cos(angle))),
                               static_cast<int>(std::lround(100.0 * std::sin(angle))));
}

} // namespace

TEST(CKnobTest, FramesSpanTheRangeAndRoundToTheNearest)
{
    EXPECT_EQ(CKnob::frameOf(0, 84, 0.0), 0);
    EXPECT_EQ(CKnob::frameOf(0, 84, 0.5), 42);
    EXPECT_EQ(CKnob::frameOf(0, 84, 1.0), 84);
    EXPECT_EQ(CKnob::frameOf(0, 84, 0.506), 43); // 42.5 rounds up
    EXPECT_EQ(CKnob::frameOf(10, 94, 1.0), 94);
    // Out of range values stay on the ends; an empty range shows no frame.
    EXPECT_EQ(CKnob::frameOf(0, 84, -0.2), 0);
    EXPECT_EQ(CKnob::frameOf(0, 84, 1.3), 84);
    EXPECT_EQ(CKnob::frameOf(5, 4, 0.5), -1);
}

TEST(CKnobTest, RadialValueRunsClockwiseFromZoneStartAndTheGapSnapsToTheNearerEnd)
{
    CKnob knob;
    // The active arc is 0.71 of a turn, from 0.89 (lower left) over the top to 0.60.
    EXPECT_NEAR(valueAtTurns(knob, 0.89), 0.0, 0.01);
    EXPECT_NEAR(valueAtTurns(knob, 0.60), 1.0, 0.01);
    EXPECT_NEAR(valueAtTurns(knob, 0.25), (0.25 + 1.0 - 0.89) / 0.71, 0.01); // straight up
    EXPECT_NEAR(valueAtTurns(knob, 0.0), (1.0 - 0.89) / 0.71, 0.01);         // left
    // Straight down lies in the gap, just past its middle (0.745): the start.
    EXPECT_EQ(valueAtTurns(knob, 0.75), 0.0);
    EXPECT_EQ(valueAtTurns(knob, 0.65), 1.0);
    EXPECT_EQ(valueAtTurns(knob, 0.85), 0.0);
}
