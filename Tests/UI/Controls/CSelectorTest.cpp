// Selectors on the headless screen: the events a row of buttons raises with their index, the
// active button, and the two concrete selectors writing the colour scheme and the scale to
// their shared attributes; and the colour scheme selector without palettes.
#include "Core/CSharedAttribute.h"
#include "UI/Controls/CButton.h"
#include "UI/Controls/CButtonTreeTest.h"
#include "UI/Controls/CSelector.h"
#include "UI/Controls/CSelectorPalette.h"
#include "UI/Controls/CSelectorScale.h"
#include "UI/Controls/CTextView.h"
#include "Support/CUtf8.h"

#include <string>
#include <vector>

using namespace kel;

namespace
{

// Notes every event it hears as "event index".
class CSelectorEventLog : public CObject
{
public:
    static void registerClass(CClassInfo& info)
    {
        CObject::registerClass(info);
        info.addEventProc<CSelectorEventLog>("note", &CSelectorEventLog::note);
    }

    std::vector<std::string> lines;

private:
    CError* note(const CAttrMap& params)
    {
        const CAttrValue* event = params.find(CString("event-name"));
        const CAttrValue* index = params.find(CString("index"));
        lines.push_back((event ? test::CUtf8::of(event->getString()) : std::string("?")) + " " +
                        std::to_string(index ? index->getInt() : -99));
        return nullptr;
    }
};

CError* registerLogRow()
{
    static const CCreatorRow rows[] = {
        CCreatorRow::of<CSelectorEventLog>("test:selector-event-log"),
    };
    return CObject::registerCreators(rows);
}

class CSelectorTest : public test::CButtonTreeTest
{
protected:
    static void SetUpTestSuite()
    {
        CApplication::addCreatorRegistration(&registerLogRow);
        CButtonTreeTest::SetUpTestSuite();
    }

    void SetUp() override
    {
        CTreeBlobWriter::Node tree;
        CTreeBlobWriter::Node& win =
            makeWindowTree(tree, 600, 80,
                           [](CTreeBlobWriter::Node& ui)
                           {
                               ui.add("test:selector-event-log", "log");
                               CTreeBlobWriter::Node& data = ui.add("core:object", "local-data");
                               data.add("core:shared-attribute", "ui-color-scheme")
                                   .attr("attribute", "palette-name")
                                   .attr("is-global", "false")
                                   .attr("def-value", "Default")
                                   .attr("data-name", "selector-test-color-scheme");
                               data.add("core:shared-attribute", "ui-scale")
                                   .attr("attribute", "scale")
                                   .attr("is-global", "false")
                                   .attr("def-value", "1.0")
                                   .attr("data-name", "selector-test-scale");
                           });

        win.add("ui:selector", "row")
            .attr("width", "180")
            .attr("height", "24")
            .attr("spread", "L2")
            .attr("button-title-list", "One/Two/Three")
            .attr("separator-char", "/")
            .attr("button-width", "50")
            .attr("button-height", "22")
            .attr("is-right-click-allowed", "true");
        win.add("ui:selector-palette", "palettes").attr("width", "150").attr("height", "24");
        // Found by the scale selector as "^ui-scale-titles".
        CTreeBlobWriter::Node& titles = win.add("ui:value-list-manual", "ui-scale-titles");
        for (const char* text : {"Small", "Normal", "Large"})
            titles.add("ui:textview-p").add("content").attr("value", text);
        CTreeBlobWriter::Node& scale = win.add("ui:selector-scale", "scale");
        scale.attr("width", "200").attr("height", "24").attr("button-width", "50");
        scale.attr("button-height", "22");
        openTree(tree);
        window->renderStep();
        log = find<CSelectorEventLog>("ui.log");
        for (const char* event : {"button-released", "button-released-r", "button-pressed-r",
                                  "button-cancelled-r", "button-enter", "button-exit"})
            EXPECT_EQ(log->listenObject(CString("ui.win.row"), CString(event), CString("note")),
                      nullptr);
    }

    std::string shared(const char* name, const char* attr) const
    {
        return test::CUtf8::of(
            find<CObject>(std::string("ui.local-data.") + name)->getAttrString(CString(attr)));
    }
    static std::vector<int> activeButtons(const CSelector& selector)
    {
        std::vector<int> out;
        for (int i = 0; i < selector.getButtonCount(); ++i)
            if (selector.getButton(i)->isActive())
                out.push_back(i);
        return out;
    }

    CSelectorEventLog* log = nullptr;
};

TEST_F(CSelectorTest, ButtonsReportTheirIndexAndAReleaseMakesItsButtonActive)
{
    auto* row = find<CSelector>("ui.win.row");
    ASSERT_EQ(row->getButtonCount(), 3);
    EXPECT_EQ(test::CUtf8::of(row->getButton(2)->getShownTitle()), "Three");
    EXPECT_EQ(row->getButton(1)->getViewRect().left, row->getButton(0)->getViewRect().right + 2)
        << "a row, spread as the selector says";
    EXPECT_EQ(row->getActiveButton(), -1);
    EXPECT_TRUE(activeButtons(*row).empty());

    moveTo(centerX(row->getButton(0)), centerY(row->getButton(0)));
    click(row->getButton(1));
    click(row->getButton(2), 3);
    // A right press taken away from the button.
    moveTo(centerX(row->getButton(0)), centerY(row->getButton(0)));
    button(centerX(row->getButton(0)), centerY(row->getButton(0)), true, 3);
    moveTo(0, 79);
    button(0, 79, false, 3);
    EXPECT_EQ(log->lines,
              (std::vector<std::string>{"button-enter 0", "button-exit 0", "button-enter 1",
                                        "button-released 1", "button-exit 1", "button-enter 2",
                                        "button-pressed-r 2", "button-released-r 2",
                                        "button-exit 2", "button-enter 0", "button-pressed-r 0",
                                        "button-exit 0", "button-cancelled-r 0"}));
    EXPECT_EQ(row->getActiveButton(), 1) << "only the left button chooses";
    EXPECT_EQ(activeButtons(*row), std::vector<int>{1});

    ASSERT_EQ(test::CErrorText::takeMessage(
                  row->setAttr(CString("active-button"), CAttrValue(int32_t(-1)))),
              "");
    EXPECT_TRUE(activeButtons(*row).empty());
}

TEST_F(CSelectorTest, PaletteSelectorHasAButtonPerPaletteAndWritesTheChosenName)
{
    auto* palettes = find<CSelectorPalette>("ui.win.palettes");
    const CObject* pal = root->findObject(CString("shared::pal"));
    ASSERT_NE(pal, nullptr);
    ASSERT_EQ(palettes->getButtonCount(), pal->getChildCount());
    ASSERT_GE(pal->getChildCount(), 3);
    for (int i = 0; i < pal->getChildCount(); ++i)
        EXPECT_EQ(test::CUtf8::of(palettes->getButton(i)->getColors().getRootName()),
                  "PalIcon" + test::CUtf8::of(pal->getChild(i)->getName()));
    // The scheme in force is the active button (the store outlives the tree: set it first).
    ASSERT_EQ(test::CErrorText::takeMessage(
                  find<CSharedAttribute>("ui.local-data.ui-color-scheme")
                      ->setAttr(CString("palette-name"), CAttrValue("Default"))),
              "");
    EXPECT_EQ(activeButtons(*palettes),
              std::vector<int>{palettes->getPaletteNames().indexOf(CString("Default"))});

    click(palettes->getButton(2));
    const std::string name = test::CUtf8::of(pal->getChild(2)->getName());
    EXPECT_EQ(shared("ui-color-scheme", "palette-name"), name);
    EXPECT_EQ(test::CUtf8::of(palettes->getAttrString(CString("palette-name"))), name);
    EXPECT_EQ(activeButtons(*palettes), std::vector<int>{2});
}

TEST_F(CSelectorTest, ScaleSelectorWritesTheFactorOfItsButton)
{
    auto* scale = find<CSelectorScale>("ui.win.scale");
    ASSERT_EQ(scale->getButtonCount(), 3);
    EXPECT_EQ(test::CUtf8::of(scale->getButton(0)->getShownTitle()), "Small");
    ASSERT_EQ(test::CErrorText::takeMessage(find<CSharedAttribute>("ui.local-data.ui-scale")
                                                ->setAttr(CString("scale"), CAttrValue("1.0"))),
              "");
    EXPECT_EQ(activeButtons(*scale), std::vector<int>{1}) << "1.0 is in force";

    click(scale->getButton(2));
    EXPECT_EQ(shared("ui-scale", "scale"), "1.25");
    EXPECT_EQ(test::CUtf8::of(scale->getAttrString(CString("scale"))), "1.25");
    EXPECT_EQ(activeButtons(*scale), std::vector<int>{2});
    click(scale->getButton(0));
    EXPECT_EQ(shared("ui-scale", "scale"), "0.8");

    // A factor of no button shows none.
    ASSERT_EQ(test::CErrorText::takeMessage(find<CSharedAttribute>("ui.local-data.ui-scale")
                                                ->setAttr(CString("scale"), CAttrValue("1.5"))),
              "");
    EXPECT_EQ(scale->getActiveButton(), -1);
    EXPECT_TRUE(activeButtons(*scale).empty());
}

// Without palettes in the shared tree the selector can't be made.
TEST(CSelectorPaletteTest, MissingPalettesAreAnError)
{
    ASSERT_EQ(CUiCreators::registerAll(), nullptr);
    CObject* sharedRoot = CObject::getSharedRoot();
    CObject empty;
    CObject::setSharedRoot(&empty);
    CTreeBlobWriter::Node tree;
    CTreeBlobWriter::Node& win = tree.add("ui:view", "win");
    win.attr("is-root-view", "true").attr("width", "100").attr("height", "30");
    win.add("ui:selector-palette", "palettes");
    const std::vector<uint8_t> blob = CTreeBlobWriter::write(tree);
    CObject* top = new CObject();
    const std::string message =
        test::CErrorText::takeMessage(top->loadFromMemory(blob.data(), blob.size(), true));
    CObject::destroyObject(top);
    CObject::setSharedRoot(sharedRoot);
    EXPECT_EQ(message, "Unable to locate palette object 'shared::pal'.");
}

} // namespace
