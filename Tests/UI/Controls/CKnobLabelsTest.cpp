// The ring of scale labels of a knob: one label per value of its list, each at the angle the
// knob shows for that value, made anew when the list changes, and shown while the knob is
// hovered if the settings ask for it.
#include "UI/Controls/CKnob.h"
#include "UI/Controls/CKnobLabels.h"
#include "UI/Controls/CTextView.h"
#include "UI/Lists/CValueListAudio.h"
#include "UI/Controls/CKnobParamTest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

namespace kel
{
namespace paramtest
{
namespace
{

struct CLabelsTree
{
    bool withScale = true;
    bool withTemplate = true;
    const char* imageSet = "shared::is.knob";
};

// A window of one knob of the product's size on the gain, its labels hidden until the state
// "show" (as the main window has them), and the label template as the editor's tree has it.
class CKnobLabelsTest : public CKnobParamTest
{
protected:
    void TearDown() override
    {
        CGlobalSettings::values().showKnobLabels = true;
        CKnobParamTest::TearDown();
    }

    std::string makeLabels(const CLabelsTree& shape = CLabelsTree())
    {
        std::string error = makeWindow(
            [&](CTreeBlobWriter::Node& uiNode, CTreeBlobWriter::Node&)
            {
                if (shape.withTemplate)
                    uiNode.addTemplate("ui:knob-labels-label", "ui:textview")
                        .attr("placement", "overlay")
                        .attr("width", "compact")
                        .attr("height", "compact")
                        .attr("color", "KnobLabels")
                        .attr("is-click-through", "true");
                auto& winNode = uiNode.add("ui:view", "win");
                winNode.attr("is-root-view", "true").attr("width", "70").attr("height", "74");
                winNode.attr("palette", "Default").attr("font-name", "shared::fnt.micro");
                auto& knobNode = winNode.add("ui:knob", "knob");
                knobNode.attr("placement", "overlay").attr("image-set", "shared::is.knob");
                knobNode.add("ui:ui-param", "ui-param")
                    .attr("bridge", "ui.gain-bridge")
                    .attr("group-selector", "ui.groupsel");
                knobNode.add("ui:ui-param-controller", "ui-param-controller");
                auto& labelsNode = knobNode.add("ui:knob-labels", "knob-labels");
                labelsNode.attr("placement", "overlay").attr("is-hidden", "true");
                labelsNode.attr("image-set", shape.imageSet);
                labelsNode.add("ui:view-state", "show")
                    .attr("state-name", "show")
                    .attr("is-hidden", "false");
                if (shape.withScale)
                    labelsNode.add("ui:value-list", "scale")
                        .attr("mode", "audio-min-max")
                        .attr("bridge", "ui.gain-bridge")
                        .attr("group-selector", "ui.groupsel")
                        .attr("value-count", "7")
                        .attr("format", "%1.0f")
                        .attr("format-id", "knob-circle");
            });
        if (!error.empty())
            return error;
        win = find<CView>("ui.win");
        knobView = find<CKnob>("ui.win.knob");
        labels = find<CKnobLabels>("ui.win.knob.knob-labels");
        scale = find<CValueListAudio>("ui.win.knob.knob-labels.scale");
        return "";
    }

    std::string set(CObject* object, const char* attrName, const char* value)
    {
        return test::CErrorText::takeMessage(
            object->setAttr(CString(attrName), CAttrValue(CString(value))));
    }

    std::vector<std::string> texts() const
    {
        std::vector<std::string> out;
        for (int i = 0; i < labels->getLabelCount(); ++i)
            out.push_back(test::CUtf8::of(labels->getLabel(i)->getContent()));
        return out;
    }
    std::vector<std::string> listTitles() const
    {
        std::vector<std::string> out;
        for (int i = 0; i < scale->getCount(); ++i)
            out.push_back(test::CUtf8::of(scale->getTitle(i)));
        return out;
    }

    // Every label's box is its text's, centred on the circle of `radius` around the knob's
    // centre at the angle of its value.
    void expectOnCircle(double radius)
    {
        const CKnob::CGeometry geometry = knobView->getGeometry();
        for (int i = 0; i < labels->getLabelCount(); ++i)
        {
            CTextView* label = labels->getLabel(i);
            const CLinearBitmap::Rect box = label->getViewRect();
            EXPECT_EQ(box.right - box.left, label->getWrapper().getTextWidth()) << i;
            EXPECT_EQ(box.bottom - box.top, label->getWrapper().getTextHeight()) << i;
            const double x = (box.left + box.right) / 2.0;
            const double y = (box.top + box.bottom) / 2.0;
            EXPECT_NEAR(std::hypot(x - geometry.centerX, y - geometry.centerY), radius, 1.0) << i;
            // The knob reads the label's place as the label's value (to a pixel of the arc).
            const double value = labels->getLabelValue(i);
            const double read = knobView->getRadialValue(static_cast<int>(std::lround(x)),
                                                         static_cast<int>(std::lround(y)));
            EXPECT_NEAR(read, value, 1.0 / (radius * 6.283185307179586 * 0.71)) << i;
        }
    }

    std::string event(const char* eventName)
    {
        CAttrMap params;
        params.set(CString("actual-x"), CAttrValue(35));
        params.set(CString("actual-y"), CAttrValue(33));
        std::string error =
            test::CErrorText::takeMessage(knobView->deliverCtlEvent(CString(eventName), params));
        // The areas move as a window's frame would move them.
        win->applyChangedAreas();
        win->applyChangedAreas();
        return error;
    }
    int shownLabels() const
    {
        int shown = 0;
        for (int i = 0; i < labels->getLabelCount(); ++i)
        {
            const CLinearBitmap::Rect drawn = labels->getLabel(i)->getDrawRect();
            shown += drawn.isEmpty() ? 0 : 1;
        }
        return shown;
    }

    CView* win = nullptr;
    CKnob* knobView = nullptr;
    CKnobLabels* labels = nullptr;
    CValueListAudio* scale = nullptr;
};

TEST_F(CKnobLabelsTest, SevenLabelsStandAtTheAnglesOfTheirValues)
{
    ASSERT_EQ(makeLabels(), "");
    // Shown, so that the boxes have their places.
    ASSERT_EQ(test::CErrorText::takeMessage(labels->setState(CString("show"))), "");
    win->applyChangedAreas();
    win->applyChangedAreas();
    ASSERT_EQ(labels->getLabelCount(), 7);
    EXPECT_EQ(texts(), (std::vector<std::string>{"-36", "-30", "-24", "-18", "-12", "-6", "0"}));
    for (int i = 0; i < 7; ++i)
        EXPECT_NEAR(labels->getLabelValue(i), i / 6.0, 1e-12) << i;
    // The LabelBG picture is 56 pixels wide: the ring has a radius of 28.
    expectOnCircle(28.0);
    // The ends stand at zone-start and zone-end: lower left and lower right of the centre.
    const CKnob::CGeometry geometry = knobView->getGeometry();
    const CLinearBitmap::Rect first = labels->getLabel(0)->getViewRect();
    const CLinearBitmap::Rect last = labels->getLabel(6)->getViewRect();
    EXPECT_LT((first.left + first.right) / 2.0, geometry.centerX);
    EXPECT_GT((last.left + last.right) / 2.0, geometry.centerX);
    EXPECT_GT((first.top + first.bottom) / 2.0, geometry.centerY);
    EXPECT_GT((last.top + last.bottom) / 2.0, geometry.centerY);
}

TEST_F(CKnobLabelsTest, LabelsAreMadeAnewWhenTheRangeChanges)
{
    ASSERT_EQ(makeLabels(), "");
    ASSERT_EQ(test::CErrorText::takeMessage(labels->setState(CString("show"))), "");
    win->applyChangedAreas();
    ASSERT_EQ(set(scale, "max-value", "-12"), "");
    win->applyChangedAreas();
    EXPECT_EQ(texts(), (std::vector<std::string>{"-36", "-32", "-28", "-24", "-20", "-16", "-12"}));
    EXPECT_EQ(texts(), listTitles());
    ASSERT_EQ(set(scale, "value-count", "3"), "");
    win->applyChangedAreas();
    EXPECT_EQ(texts(), (std::vector<std::string>{"-36", "-24", "-12"}));
    EXPECT_EQ(labels->getChildCount(), 1 + 1 + 3) << "the state, the list and three labels";
    expectOnCircle(28.0);
}

TEST_F(CKnobLabelsTest, WithoutLabelBgTheRingIsTheKnobsOuterRadius)
{
    CLabelsTree shape;
    shape.imageSet = "shared::is.frame";
    ASSERT_EQ(makeLabels(shape), "");
    ASSERT_EQ(test::CErrorText::takeMessage(labels->setState(CString("show"))), "");
    win->applyChangedAreas();
    win->applyChangedAreas();
    ASSERT_EQ(labels->getLabelCount(), 7);
    expectOnCircle(knobView->getGeometry().outerRadius);
}

TEST_F(CKnobLabelsTest, HoverShowsTheLabelsOnlyWithTheSetting)
{
    ASSERT_EQ(makeLabels(), "");
    ASSERT_EQ(labels->getLabelCount(), 7);
    EXPECT_EQ(shownLabels(), 0);
    ASSERT_EQ(event("mouse-enter"), "");
    EXPECT_TRUE(labels->isStateActive(CString("show")));
    EXPECT_FALSE(labels->isHidden());
    EXPECT_EQ(shownLabels(), 7);
    ASSERT_EQ(event("mouse-exit"), "");
    EXPECT_FALSE(labels->isStateActive(CString("show")));
    EXPECT_TRUE(labels->isHidden());
    EXPECT_EQ(shownLabels(), 0);

    CGlobalSettings::values().showKnobLabels = false;
    ASSERT_EQ(event("mouse-enter"), "");
    EXPECT_FALSE(labels->isStateActive(CString("show")));
    EXPECT_EQ(shownLabels(), 0);
    ASSERT_EQ(event("mouse-exit"), "");
}

TEST_F(CKnobLabelsTest, MissingListOrTemplateFailsInit)
{
    CLabelsTree noScale;
    noScale.withScale = false;
    CLabelsTree noTemplate;
    noTemplate.withTemplate = false;
    for (const auto& [shape, message] : {std::pair{noScale, "Unable to locate scale values."},
                                         std::pair{noTemplate, "Unable to create scale labels."}})
    {
        const std::string error = makeLabels(shape);
        EXPECT_NE(error.find(message), std::string::npos) << error;
        CObject::destroyObject(ui);
        ui = nullptr;
    }
}

} // namespace
} // namespace paramtest
} // namespace kel
