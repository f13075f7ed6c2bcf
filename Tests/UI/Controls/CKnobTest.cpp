// The knob: the frame a value shows and the value a point's angle gives in the radial mode,
// then knobs in a window tree: their pixels against the frames drawn directly, the swatch colour
// of the indicator, where a press starts which drag, and the Ctrl link to a second knob.
#include "UI/Controls/CKnob.h"
#include "UI/Controls/CKnobParamTest.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CColorSwatch.h"
#include "UI/Resources/CImage.h"
#include "UI/Resources/CImageLayer.h"
#include "UI/Resources/CImageSet.h"
#include "UI/Resources/CPalette.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace kel;

namespace
{

// A point `radius` pixels from the centre (0, 0) of a knob outside any window, at `turns` in the
// knob's angle measure (0.5 points right, 0.75 down, 0.25 up, 1.0 and 0.0 left).
double valueAtTurns(const CKnob& knob, double turns, double radius = 100.0)
{
    const double angle = (turns - 0.5) * 6.283185307179586;
    return knob.getRadialValue(static_cast<int>(std::lround(radius * std::cos(angle))),
                               static_cast<int>(std::lround(radius * std::sin(angle))));
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

    // Far out the angle is fine enough to meet the ends themselves and the gap's edges.
    constexpr double kFar = 1.0e6;
    EXPECT_NEAR(valueAtTurns(knob, 0.89, kFar), 0.0, 1e-6);
    EXPECT_NEAR(valueAtTurns(knob, 0.60, kFar), 1.0, 1e-6);
    EXPECT_EQ(valueAtTurns(knob, 0.8899, kFar), 0.0);
    EXPECT_EQ(valueAtTurns(knob, 0.6001, kFar), 1.0);
    EXPECT_EQ(valueAtTurns(knob, 0.744, kFar), 1.0);
    EXPECT_EQ(valueAtTurns(knob, 0.746, kFar), 0.0);
}

namespace kel
{
namespace paramtest
{
namespace
{

constexpr uint32_t kBackdrop = 0x123456;

CColor flat(uint32_t rgb)
{
    CColor color;
    color.setFlat(static_cast<uint8_t>(rgb >> 16), static_cast<uint8_t>(rgb >> 8),
                  static_cast<uint8_t>(rgb));
    return color;
}

// Knobs of the product's image set in a window of their own, beside the parameter tree of the
// fixture: "partner" on the period, then "knob" on the gain beside it, a view "ref" over the knob
// that draws frames directly, and in a second window "round", a knob of 100 by 100 whose centre
// (50, 50) and radii (25 and 37.5) are whole enough to press exactly on an edge.
class CKnobTreeTest : public CKnobParamTest
{
protected:
    void TearDown() override
    {
        CGlobalSettings::values().radialKnobMode = false;
        // The views go before the palette they draw from.
        CObject::destroyObject(ui);
        ui = nullptr;
        palette.reset();
        picture.reset();
        CKnobParamTest::TearDown();
    }

    // knobAttrs are added to "knob" (name, value pairs).
    std::string makeKnobs(const std::vector<std::pair<const char*, const char*>>& knobAttrs = {})
    {
        std::string error = makeWindow(
            [&](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
            {
                uiNode.add("ui:param-bridge", "period-bridge")
                    .attr("interface-client", "^client")
                    .attr("param", "plugin.modMain.modZumbelModule.period");
                auto& swatch = uiNode.add("ui:color-swatch", "swatch");
                swatch.attr("colors", "Custom1|Custom2");
                swatch.add("core:object", "third").attr("color", "Custom3");
                auto& win = uiNode.add("ui:view", "win");
                win.attr("is-root-view", "true").attr("width", "140").attr("height", "74");
                auto addKnob = [&](const char* name, const char* bridge) -> CTreeBlobWriter::Node&
                {
                    auto& knobNode = win.add("ui:knob", name);
                    knobNode.attr("width", "70").attr("height", "74");
                    knobNode.attr("image-set", "shared::is.knob").attr("color", "Knob");
                    knobNode.attr("color-slots", ".|Indicator|.");
                    knobNode.add("ui:ui-param", "ui-param")
                        .attr("bridge", bridge)
                        .attr("group-selector", "ui.groupsel");
                    knobNode.add("ui:ui-param-controller", "ui-param-controller");
                    return knobNode;
                };
                // The partner first: a linked knob must exist when its partner starts.
                addKnob("partner", "ui.period-bridge");
                auto& main = addKnob("knob", "ui.gain-bridge");
                for (const auto& [attrName, value] : knobAttrs)
                    main.attr(attrName, value);
                win.add("ui:view", "ref")
                    .attr("placement", "match")
                    .attr("placement-match", "^knob")
                    .attr("image-set", "shared::is.knob")
                    .attr("color", "Ref")
                    .attr("color-slots", ".|Indicator|.");
                auto& pad = uiNode.add("ui:view", "pad");
                pad.attr("is-root-view", "true").attr("width", "100").attr("height", "100");
                auto& roundNode = pad.add("ui:knob", "round");
                roundNode.attr("placement", "overlay")
                    .attr("center-x", "0.5")
                    .attr("center-y", "0.5");
                roundNode.attr("inner-radius", "0.25").attr("outer-radius", "0.375");
                roundNode.add("ui:ui-param", "ui-param")
                    .attr("bridge", "ui.gain-bridge")
                    .attr("group-selector", "ui.groupsel");
                roundNode.add("ui:ui-param-controller", "ui-param-controller");
            });
        if (!error.empty())
            return error;
        // Knob and reference draw alike: the same grey body and cap, a red indicator.
        palette = std::make_unique<CPalette>();
        palette->setColor(CString("Default"), flat(0x000000));
        for (const char* role : {"Knob", "Ref"})
            palette->setColor(CString(role), flat(0x606060));
        palette->setColor(CString("KnobIndicator"), flat(0xff0000));
        palette->setColor(CString("RefIndicator"), flat(0xff0000));
        palette->setColor(CString("RefSwatch"), flat(0x0000ff));
        palette->setColor(CString("Custom2"), flat(0x0000ff));
        palette->setColor(CString("Custom3"), flat(0x00ff00));
        palette->refreshDefaultColor();
        find<CView>("ui.win")->getColors().setPalette(palette.get());
        mainKnob = find<CKnob>("ui.win.knob");
        partner = find<CKnob>("ui.win.partner");
        round = find<CKnob>("ui.pad.round");
        ref = find<CView>("ui.win.ref");
        picture = std::make_unique<CLinearBitmap>();
        left = mainKnob->getViewRect().left;
        return test::CErrorText::takeMessage(picture->resize(70, 74));
    }

    // The knob as the window draws it, in a picture of its size.
    std::vector<uint32_t> drawKnob()
    {
        picture->fill(kBackdrop);
        mainKnob->drawSector(*picture, left, 0, {0, 0, 70, 74});
        return pixels();
    }
    // Frame `frame` of the image set, drawn directly by the reference view where the knob
    // puts its picture.
    std::vector<uint32_t> drawFrame(int frame)
    {
        picture->fill(kBackdrop);
        const CImage* image = ref->getImageSet()->getImage(frame);
        const int width = image->getLayer(0)->getDrawWidth();
        const int height = image->getLayer(0)->getDrawHeight();
        CViewBase::CDrawContext dc{*picture, left, 0, {0, 0, 70, 74}};
        int x = 0;
        int y = 0;
        EXPECT_TRUE(ref->getAlignedImageCoords(dc, ref->getViewRect(), width, height, x, y));
        ref->drawImage(dc, CString(), frame, x, y);
        return pixels();
    }
    std::vector<uint32_t> pixels() const
    {
        std::vector<uint32_t> out;
        for (int y = 0; y < picture->getHeight(); ++y)
            for (int x = 0; x < picture->getWidth(); ++x)
                out.push_back(picture->getPixel(x, y));
        return out;
    }

    // One input event to a view, at window point (x, y).
    std::string send(CView* view, const char* eventName, int x, int y,
                     const std::vector<const char*>& flags = {}, int delta = 0)
    {
        CAttrMap params;
        params.set(CString("actual-x"), CAttrValue(x));
        params.set(CString("actual-y"), CAttrValue(y));
        params.set(CString("button"), CAttrValue(1));
        params.set(CString("is-button-l"), CAttrValue(true));
        params.set(CString("delta"), CAttrValue(delta));
        for (const char* flag : flags)
            params.set(CString(flag), CAttrValue(true));
        return test::CErrorText::takeMessage(view->deliverCtlEvent(CString(eventName), params));
    }
    static double valueOf(CKnob* knob)
    {
        return dynamic_cast<CUIParam*>(knob->findObject(CString(".ui-param")))
            ->getNormalisedValue();
    }
    static void setValue(CKnob* knob, double value)
    {
        EXPECT_EQ(test::CErrorText::takeMessage(
                      dynamic_cast<CUIParam*>(knob->findObject(CString(".ui-param")))
                          ->setNormalisedValue(value)),
                  "");
    }

    std::unique_ptr<CPalette> palette;
    std::unique_ptr<CLinearBitmap> picture;
    int left = 0; // the knob's left edge in its window
    CKnob* mainKnob = nullptr;
    CKnob* partner = nullptr;
    CKnob* round = nullptr;
    CView* ref = nullptr;
};

TEST_F(CKnobTreeTest, ValuesDrawTheFramesOfTheirPositionExactly)
{
    ASSERT_EQ(makeKnobs(), "");
    const std::vector<uint32_t> first = drawFrame(0);
    const std::vector<uint32_t> middle = drawFrame(42);
    const std::vector<uint32_t> last = drawFrame(84);
    // The frames differ where the indicator stands, so a wrong frame cannot pass.
    ASSERT_NE(first, middle);
    ASSERT_NE(middle, last);
    ASSERT_NE(drawFrame(41), middle);
    ASSERT_NE(drawFrame(43), middle);

    setValue(mainKnob, 0.0);
    EXPECT_TRUE(drawKnob() == first) << "v = 0 shows frame 0";
    setValue(mainKnob, 0.5);
    ASSERT_EQ(valueOf(mainKnob), 0.5);
    EXPECT_TRUE(drawKnob() == middle) << "v = 0.5 shows frame 42";
    setValue(mainKnob, 1.0);
    EXPECT_TRUE(drawKnob() == last) << "v = 1 shows frame 84";
}

TEST_F(CKnobTreeTest, SwatchColourReplacesTheIndicatorOnly)
{
    ASSERT_EQ(makeKnobs({{"color-swatch", "ui.swatch"}, {"color-index", "1"}}), "");
    auto* swatch = find<CColorSwatch>("ui.swatch");
    ASSERT_EQ(swatch->getCount(), 3) << "two from the list, one from a child";
    EXPECT_EQ(test::CUtf8::of(swatch->getRole(2)), "Custom3");
    setValue(mainKnob, 0.5);
    const std::vector<uint32_t> plain = drawFrame(42);
    // The reference with the swatch's blue in its indicator slot: body and cap stay grey.
    ASSERT_EQ(test::CErrorText::takeMessage(
                  ref->setAttr(CString("color-slots"), CAttrValue(CString(".|Swatch|.")))),
              "");
    const std::vector<uint32_t> blue = drawFrame(42);
    ASSERT_NE(plain, blue);
    EXPECT_TRUE(drawKnob() == blue);

    // An index the swatch does not have, or a role the palette lacks, leaves the knob's own.
    ASSERT_EQ(test::CErrorText::takeMessage(
                  mainKnob->setAttr(CString("color-index"), CAttrValue(CString("7")))),
              "");
    EXPECT_TRUE(drawKnob() == plain);
    ASSERT_EQ(test::CErrorText::takeMessage(
                  mainKnob->setAttr(CString("color-index"), CAttrValue(CString("0")))),
              "");
    EXPECT_TRUE(drawKnob() == plain) << "Custom1 is not in the palette";
}

TEST_F(CKnobTreeTest, PressExactlyOnTheInnerRadiusIsTheRing)
{
    ASSERT_EQ(makeKnobs(), "");
    CGlobalSettings::values().radialKnobMode = true;
    // (75, 50) and (65, 70) lie exactly 25 pixels from the centre (50, 50).
    for (const auto& point : {std::pair<int, int>{75, 50}, {65, 70}})
    {
        ASSERT_EQ(send(round, "mouse-press", point.first, point.second), "");
        EXPECT_EQ(round->getDragMode(), CKnob::kModeRadial) << point.first << "," << point.second;
        ASSERT_EQ(send(round, "mouse-release", point.first, point.second), "");
        EXPECT_EQ(round->getDragMode(), CKnob::kModeNone);
    }
    // One pixel inside: the middle, an ordinary drag.
    ASSERT_EQ(send(round, "mouse-press", 74, 50), "");
    EXPECT_EQ(round->getDragMode(), CKnob::kModeDrag);
    ASSERT_EQ(send(round, "mouse-release", 74, 50), "");
    // Without the radial mode the ring drags like the middle; beyond the ring nothing starts.
    CGlobalSettings::values().radialKnobMode = false;
    ASSERT_EQ(send(round, "mouse-press", 75, 50), "");
    EXPECT_EQ(round->getDragMode(), CKnob::kModeDrag);
    ASSERT_EQ(send(round, "mouse-release", 75, 50), "");
    ASSERT_EQ(send(round, "mouse-press", 88, 50), "");
    EXPECT_EQ(round->getDragMode(), CKnob::kModeNone);
}

TEST_F(CKnobTreeTest, CtrlDragMovesTheLinkedKnobInvertedWhileTheDragLasts)
{
    ASSERT_EQ(makeKnobs({{"linked-knob", "^partner"}, {"is-link-inversed", "true"}}), "");
    ASSERT_EQ(mainKnob->getLinkedKnob(), partner);
    const double p = dragStep();
    setValue(mainKnob, 0.5);
    setValue(partner, 0.5);

    // Without Ctrl the partner stays.
    ASSERT_EQ(send(mainKnob, "mouse-press", left + 35, 33), "");
    ASSERT_EQ(send(mainKnob, "mouse-move", left + 35, 23), "");
    ASSERT_EQ(send(mainKnob, "mouse-release", left + 35, 23), "");
    EXPECT_NEAR(valueOf(mainKnob), 0.5 + 10 * p, 1e-9);
    EXPECT_EQ(valueOf(partner), 0.5);

    // With Ctrl at the press it moves the other way, also once Ctrl is let go.
    ASSERT_EQ(send(mainKnob, "mouse-press", left + 35, 33, {"is-ctrl"}), "");
    EXPECT_TRUE(mainKnob->isLinkOpen());
    ASSERT_EQ(send(mainKnob, "mouse-move", left + 35, 28, {"is-ctrl"}), "");
    ASSERT_EQ(send(mainKnob, "mouse-move", left + 35, 23), "");
    EXPECT_NEAR(valueOf(mainKnob), 0.5 + 20 * p, 1e-9);
    EXPECT_NEAR(valueOf(partner), 0.5 - 10 * p, 1e-9);
    ASSERT_EQ(send(mainKnob, "mouse-release", left + 35, 23), "");
    EXPECT_FALSE(mainKnob->isLinkOpen());
    EXPECT_FALSE(partner->getController()->isDragOpen());
    // After the release a move does nothing to either.
    ASSERT_EQ(send(mainKnob, "mouse-move", left + 35, 3, {"is-ctrl"}), "");
    EXPECT_NEAR(valueOf(partner), 0.5 - 10 * p, 1e-9);

    // The wheel with Ctrl: equal steps in opposite directions.
    const double knobBefore = valueOf(mainKnob);
    const double partnerBefore = valueOf(partner);
    ASSERT_EQ(send(mainKnob, "mouse-wheel", left + 35, 33, {"is-ctrl"}, 1), "");
    const double step = valueOf(mainKnob) - knobBefore;
    EXPECT_GT(step, 0.0);
    EXPECT_NEAR(valueOf(partner) - partnerBefore, -step, 1e-9);
    ASSERT_EQ(send(mainKnob, "mouse-wheel", left + 35, 33, {}, 1), "");
    EXPECT_NEAR(valueOf(partner) - partnerBefore, -step, 1e-9) << "no Ctrl, no partner";
}

TEST_F(CKnobTreeTest, LinkedKnobFollowsTheSameWayUnlessInversed)
{
    ASSERT_EQ(makeKnobs({{"linked-knob", "^partner"}}), "");
    const double p = dragStep();
    setValue(mainKnob, 0.5);
    setValue(partner, 0.25);
    ASSERT_EQ(send(mainKnob, "mouse-press", left + 35, 33, {"is-ctrl"}), "");
    ASSERT_EQ(send(mainKnob, "mouse-move", left + 35, 23, {"is-ctrl"}), "");
    ASSERT_EQ(send(mainKnob, "mouse-release", left + 35, 23), "");
    EXPECT_NEAR(valueOf(partner), 0.25 + 10 * p, 1e-9);
}

TEST_F(CKnobTreeTest, ASwatchOrLinkedKnobThatIsNotThereFailsInit)
{
    // A link to "." is one to the knob itself, which is no other knob.
    const std::pair<const char*, const char*> cases[] = {
        {"color-swatch", "ui.no-swatch"}, {"linked-knob", "."}, {"linked-knob", "^nobody"}};
    for (const auto& [attrName, target] : cases)
    {
        const std::string error = makeKnobs({{attrName, target}});
        EXPECT_NE(error.find(std::string("refers to a non-existent object '") + target + "'"),
                  std::string::npos)
            << error;
        CObject::destroyObject(ui);
        ui = nullptr;
    }
}

} // namespace
} // namespace paramtest
} // namespace kel
