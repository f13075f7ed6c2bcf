#include "Audio/CAudioParamChange.h"
#include "Audio/CAudioParamListener.h"
#include "Audio/CAudioParamUndo.h"
#include "Audio/CAudioParamUndoRecord.h"
#include "Audio/CAudioParamTreeTest.h"

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

using kel::CAudioParam;
using kel::CAudioParamContext;
using kel::CAudioParamRegistry;
using kel::CAudioParamUndo;
using kel::CAudioParamUndoRecord;
using kel::CString;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{

// The undo object as the interface base extends it: counts its announcements.
class CCountingUndo : public CAudioParamUndo
{
public:
    int announced = 0;

protected:
    void onHistoryChanged() override { ++announced; }
};

const char* const kUndoTag = "test:param-undo";

// The parameters the tests edit, below plugin.modMain: reals with groups, a string with groups
// and a single-group string.
const char* const kLeaves[] = {"modZumbelModule.signal",
                               "modZumbelModule.period",
                               "modZumbelModule.duration",
                               "modZumbelModule.freq",
                               "modZumbelModule.gain",
                               "modZumbelModule.variation",
                               "preset-name",
                               "instance-name"};

// Everything a parameter holds, by group then item; reals exactly (hex form), strings as
// text. Trailing empty groups are left out: an emptied group reads as the defaults, as a missing
// one does.
using CParamState = std::vector<std::vector<std::string>>;
using CState = std::map<std::string, CParamState>;

class CAudioParamUndoTest : public kel::test::CAudioParamTreeTest
{
protected:
    void SetUp() override
    {
        CAudioParamTreeTest::SetUp();
        if (!kel::CObject::hasCreator(CString(kUndoTag)))
        {
            static const kel::CCreatorRow row = kel::CCreatorRow::of<CCountingUndo>(kUndoTag);
            ASSERT_EQ(CErrorText::takeMessage(kel::CObject::registerCreators(&row, 1)), "");
        }
        kel::CSystem::setErrorPresenter([](const char*, const char*, const char*, void*) {},
                                        nullptr);
        build();
    }

    // The instance objects undo works with, as the product's template has them: collector,
    // the undo object in the place of the interface base, and the master registry over it.
    void build()
    {
        kel::CTreeBlobWriter::Node top("kel", "");
        auto& plugin = top.add("core:object", "plugin");
        plugin.add("audio:param-collector", "param-collector");
        plugin.add(kUndoTag, "interface-base")
            .attr("undo-count-max", "32")
            .attr("param-collector", "^param-collector");
        addMaster(plugin).attr("param-undo", "^interface-base").attr("file", "FactoryROM.cbf");
        loadInstance(top, std::vector<const char*>(std::begin(kLeaves), std::end(kLeaves)));
        undo = dynamic_cast<CCountingUndo*>(root->findObject("plugin.interface-base"));
        ASSERT_NE(undo, nullptr);
        undo->announced = 0;
    }

    // One user edit of one value, as the interface base makes it: a record around the setter.
    void edit(const std::string& leaf, double v, const char* label = "Edit", int group = 0,
              bool mergeable = false, int mergeId = -1)
    {
        CAudioParamUndoRecord* record = undo->createRecord(CString(label), mergeable, mergeId);
        {
            CAudioParamContext context(nullptr, record);
            param(leaf).setValue(group, 0, v, context);
        }
        undo->addRecord(record);
    }
    void editText(const std::string& leaf, const char* textValue, const char* label, int group)
    {
        CAudioParamUndoRecord* record = undo->createRecord(CString(label));
        {
            CAudioParamContext context(nullptr, record);
            param(leaf).setString(group, 0, CString(textValue), context);
        }
        undo->addRecord(record);
    }

    std::vector<std::string> names(int* cursor = nullptr)
    {
        kel::CArray<CString> list;
        int at = -1;
        undo->getHistoryNames(list, at);
        if (cursor)
            *cursor = at;
        std::vector<std::string> out;
        for (const CString& name : list)
            out.push_back(CUtf8::of(name));
        return out;
    }

    CParamState stateOf(const std::string& leaf)
    {
        kel::CAudioParamStorage values;
        param(leaf).copyValues(values);
        CParamState out;
        for (int g = 0; g < values.getGroupCount(); ++g)
        {
            std::vector<std::string> group;
            for (int i = 0; i < values.getGroupLength(g); ++i)
            {
                const double v = values.getGroupValues(g)[i];
                if (values.isString())
                {
                    group.push_back(CUtf8::of(values.getStringOf(v)));
                    continue;
                }
                char exact[40];
                std::snprintf(exact, sizeof(exact), "%a", v);
                group.push_back(exact);
            }
            out.push_back(group);
        }
        while (!out.empty() && out.back().empty())
            out.pop_back();
        return out;
    }
    CState state()
    {
        CState out;
        for (const char* leaf : kLeaves)
            out[leaf] = stateOf(leaf);
        return out;
    }

    CCountingUndo* undo = nullptr;
};

TEST_F(CAudioParamUndoTest, FullHistoryDropsTheOldestEntryForGood)
{
    EXPECT_EQ(undo->getCountMax(), 32);
    EXPECT_TRUE(names().empty()) << "no history before the first record";
    for (int i = 1; i <= 33; ++i)
        edit("modZumbelModule.freq", 100.0 + i, ("Edit " + std::to_string(i)).c_str());
    int cursor = -1;
    const std::vector<std::string> labels = names(&cursor);
    ASSERT_EQ(labels.size(), 33u);
    EXPECT_EQ(labels[0], "Undo history start");
    EXPECT_EQ(labels[1], "Edit 2");
    EXPECT_EQ(labels[32], "Edit 33");
    EXPECT_EQ(cursor, 32);
    EXPECT_EQ(undo->announced, 33);

    undo->moveTo(0);
    EXPECT_EQ(value("modZumbelModule.freq"), 101.0) << "the state after the dropped first edit";
    for (int i = 0; i < 3; ++i)
        undo->undo();
    names(&cursor);
    EXPECT_EQ(cursor, 0);
    EXPECT_EQ(value("modZumbelModule.freq"), 101.0);
    undo->moveTo(32);
    EXPECT_EQ(value("modZumbelModule.freq"), 133.0);
}

TEST_F(CAudioParamUndoTest, DragsMergeIntoOneEntryUnlessARegistryRecordComesBetween)
{
    for (double v : {0.1, 0.2, 0.3})
        edit("modZumbelModule.gain", v, "Signal gain", 0, true, 7);
    EXPECT_EQ(names().size(), 2u) << "one entry for the whole drag";
    EXPECT_EQ(undo->announced, 1) << "merging announces nothing";

    master->resetMaster();
    for (double v : {0.4, 0.5})
        edit("modZumbelModule.gain", v, "Signal gain", 0, true, 7);
    EXPECT_EQ(names(), (std::vector<std::string>{"Undo history start", "Signal gain",
                                                 "Master reset", "Signal gain"}));
    undo->undo();
    EXPECT_EQ(value("modZumbelModule.gain"), 0.251188643150958) << "the reset's value";
    undo->undo();
    EXPECT_EQ(value("modZumbelModule.gain"), 0.3);
    undo->undo();
    EXPECT_EQ(value("modZumbelModule.gain"), 0.251188643150958) << "before the first drag";

    // Another id, another parameter, or no mergeable flag on either side: new entries.
    undo->redo();
    edit("modZumbelModule.gain", 0.6, "Signal gain", 0, true, 8);
    edit("modZumbelModule.freq", 500.0, "Frequency", 0, true, 8);
    edit("modZumbelModule.freq", 510.0, "Frequency", 0, false, 8);
    edit("modZumbelModule.freq", 520.0, "Frequency", 0, true, 8);
    EXPECT_EQ(names().size(), 6u);
}

TEST_F(CAudioParamUndoTest, RecordsThatChangeTheGroupCountDoNotMergeWithOnesThatDoNot)
{
    // Group 2 does not exist yet: the first record adds groups, the second only changes one.
    edit("modZumbelModule.gain", 0.5, "Signal gain", 2, true, 3);
    edit("modZumbelModule.gain", 0.6, "Signal gain", 2, true, 3);
    EXPECT_EQ(names().size(), 3u);
    edit("modZumbelModule.gain", 0.7, "Signal gain", 2, true, 3);
    EXPECT_EQ(names().size(), 3u) << "same shape again: merged";
    EXPECT_EQ(stateOf("modZumbelModule.gain").size(), 3u);

    undo->undo();
    EXPECT_EQ(value("modZumbelModule.gain", 2), 0.5);
    undo->undo();
    EXPECT_EQ(stateOf("modZumbelModule.gain").size(), 1u) << "the added groups are empty again";
    EXPECT_EQ(value("modZumbelModule.gain", 2), 0.251188643150958) << "reads as the default";
    undo->redo();
    EXPECT_EQ(stateOf("modZumbelModule.gain").size(), 3u);
    EXPECT_EQ(value("modZumbelModule.gain", 2), 0.5);
}

TEST_F(CAudioParamUndoTest, NothingHappensForTheCurrentPositionOrAnEmptyRecord)
{
    undo->moveTo(0);
    undo->undo();
    EXPECT_EQ(undo->announced, 0) << "no history: nothing to move";
    edit("modZumbelModule.freq", 600.0, "A");
    edit("modZumbelModule.freq", 700.0, "B");
    ASSERT_EQ(undo->announced, 2);
    undo->moveTo(2);
    undo->moveTo(3);
    undo->moveTo(-1);
    EXPECT_EQ(undo->announced, 2);
    undo->moveTo(0, false);
    EXPECT_EQ(undo->announced, 2) << "asked not to announce";
    EXPECT_EQ(value("modZumbelModule.freq"), 440.0);
    undo->undo();
    EXPECT_EQ(undo->announced, 2) << "undo at the start";
    undo->moveTo(2);
    EXPECT_EQ(undo->announced, 3);
    undo->redo();
    EXPECT_EQ(undo->announced, 3) << "redo at the end";

    // A change the setter drops (item 4 of a one-item group) leaves the record empty.
    CAudioParamUndoRecord* record = undo->createRecord(CString("Nothing"));
    {
        CAudioParamContext context(nullptr, record);
        param("modZumbelModule.freq").setValue(0, 4, 1.0, context);
    }
    EXPECT_TRUE(record->isEmpty());
    undo->addRecord(record);
    int cursor = -1;
    EXPECT_EQ(names(&cursor).size(), 3u);
    EXPECT_EQ(cursor, 2);
    EXPECT_EQ(undo->announced, 3);
}

// Records the pending packet's state each time the parameter changes.
class CPendingProbe : public kel::CAudioParamListener
{
public:
    explicit CPendingProbe(kel::CAudioParamCollector& owner) : collector(owner) {}
    void onParamChange(CAudioParam&, const kel::CAudioParamChange&, CAudioParamContext&,
                       const CAudioParam::CGuard&) override
    {
        pendingSeen.push_back(collector.hasPendingChanges());
    }
    kel::CAudioParamCollector& collector;
    std::vector<bool> pendingSeen;
};

TEST_F(CAudioParamUndoTest, EachStepReachesTheAudioSideAsOneBatch)
{
    CAudioParamUndoRecord* record = undo->createRecord(CString("Two values"));
    {
        CAudioParamContext context(nullptr, record);
        param("modZumbelModule.freq").setValue(0, 0, 300.0, context);
        param("modZumbelModule.period").setValue(0, 0, 5.0, context);
    }
    undo->addRecord(record);
    while (const auto* packet = collector->takeChanges())
        collector->releaseChanges(packet);

    CPendingProbe probe(*collector);
    {
        CAudioParamContext context;
        param("modZumbelModule.period").addListener(&probe, context);
    }
    probe.pendingSeen.clear();
    undo->undo();
    param("modZumbelModule.period").removeListener(&probe);
    ASSERT_EQ(probe.pendingSeen.size(), 1u);
    EXPECT_FALSE(probe.pendingSeen[0]) << "the first change is held back until the step ends";

    const auto* packet = collector->takeChanges();
    ASSERT_NE(packet, nullptr);
    EXPECT_NE(packet->getGroupMask(&param("modZumbelModule.freq")), 0u);
    EXPECT_NE(packet->getGroupMask(&param("modZumbelModule.period")), 0u);
    collector->releaseChanges(packet);
    EXPECT_EQ(value("modZumbelModule.freq"), 440.0);
    EXPECT_EQ(value("modZumbelModule.period"), 30.0);
    EXPECT_EQ(names().size(), 2u) << "replaying records nothing";
}

TEST_F(CAudioParamUndoTest, EachSessionSlotKeepsItsOwnHistory)
{
    edit("modZumbelModule.freq", 600.0, "Slot 0 a");
    edit("modZumbelModule.freq", 700.0, "Slot 0 b");
    undo->undo();
    undo->announced = 0;

    ASSERT_EQ(CErrorText::takeMessage(master->selectPreset(1, nullptr)), "");
    EXPECT_EQ(master->getCurrentIndex(), 1);
    EXPECT_EQ(valueText("preset-name"), "Beep - 1 s 220 Hz @ 30 s");
    EXPECT_TRUE(names().empty()) << "slot 1 has no history yet";
    EXPECT_EQ(undo->announced, 1);
    edit("modZumbelModule.freq", 1000.0, "Slot 1 a");
    EXPECT_EQ(names(), (std::vector<std::string>{"Undo history start", "Slot 1 a"}));

    ASSERT_EQ(CErrorText::takeMessage(master->selectPreset(0, nullptr)), "");
    int cursor = -1;
    EXPECT_EQ(names(&cursor),
              (std::vector<std::string>{"Undo history start", "Slot 0 a", "Slot 0 b"}));
    EXPECT_EQ(cursor, 1) << "the cursor travels with the history";
    EXPECT_EQ(value("modZumbelModule.freq"), 600.0);
    undo->redo();
    EXPECT_EQ(value("modZumbelModule.freq"), 700.0);

    ASSERT_EQ(CErrorText::takeMessage(master->selectPreset(1, nullptr)), "");
    EXPECT_EQ(value("modZumbelModule.freq"), 1000.0);
    undo->undo();
    EXPECT_EQ(value("modZumbelModule.freq"), 220.0) << "slot 1's factory value";

    // Outside the bank: nothing.
    ASSERT_EQ(CErrorText::takeMessage(master->selectPreset(7, nullptr)), "");
    EXPECT_EQ(master->getCurrentIndex(), 1);
}

TEST_F(CAudioParamUndoTest, CompareSwapsHistoriesWithTheLiveState)
{
    edit("modZumbelModule.freq", 600.0, "A 1");
    edit("modZumbelModule.freq", 700.0, "A 2");
    ASSERT_EQ(CErrorText::takeMessage(master->swapCompare()), "");
    // First use: the compare slot is a copy of the live state and history.
    EXPECT_EQ(value("modZumbelModule.freq"), 700.0);
    EXPECT_EQ(names().size(), 3u);
    undo->moveTo(0);
    edit("modZumbelModule.freq", 900.0, "B 1");
    EXPECT_EQ(names(), (std::vector<std::string>{"Undo history start", "B 1"}));

    ASSERT_EQ(CErrorText::takeMessage(master->swapCompare()), "");
    int cursor = -1;
    EXPECT_EQ(names(&cursor), (std::vector<std::string>{"Undo history start", "A 1", "A 2"}))
        << "the kept copy is untouched by the edits made on the other side";
    EXPECT_EQ(cursor, 2);
    EXPECT_EQ(value("modZumbelModule.freq"), 700.0);
    undo->undo();
    EXPECT_EQ(value("modZumbelModule.freq"), 600.0);

    ASSERT_EQ(CErrorText::takeMessage(master->swapCompare()), "");
    EXPECT_EQ(value("modZumbelModule.freq"), 900.0);
    EXPECT_EQ(names().size(), 2u);
    undo->undo();
    EXPECT_EQ(value("modZumbelModule.freq"), 440.0);

    // A copy of the live state replaces the other side.
    master->copyToCompare();
    edit("modZumbelModule.freq", 300.0, "B 2");
    ASSERT_EQ(CErrorText::takeMessage(master->swapCompare()), "");
    EXPECT_EQ(value("modZumbelModule.freq"), 440.0);
}

// 1,000 random edits (single values, runs of items, strings in groups and in a single-group
// parameter, resets, several parameters in one record, drags), with undos, redos and jumps
// between them: a new edit after undos loses the redo tail, as the model does. The model is the
// list of states the parameters went through, one per history position, trimmed and cut as the
// history should be; after every operation the live parameters must equal the state at the cursor.
TEST_F(CAudioParamUndoTest, RandomEditsUndoAndRedoToExactlyTheStatesSeen)
{
    std::mt19937 random(20240611);
    auto pick = [&](int count) { return static_cast<int>(random() % count); };
    const double reals[] = {0.0, 0.1, 0.25, 1.0 / 3.0, 2.0, 30.0, 440.0, 1999.9999999999998};
    const char* const texts[] = {"", "A", "Bass", "Drums", "Vox", "Lead \xC3\xA9"};

    // A short history, so that trimming happens often.
    const size_t limit = 8;
    undo->setCountMax(static_cast<int>(limit));
    std::vector<CState> states{state()};
    int cursor = 0;
    struct CDrag
    {
        std::string leaf;
        int group = 0;
        int item = 0;
        bool addedGroups = false;
        bool hasEntry = false; // a step of this drag is in the history to merge with
    };
    bool dragOpen = false;
    CDrag drag;
    int mergeId = 0;
    int edits = 0;
    int merges = 0;
    int trims = 0;

    while (edits < 1000)
    {
        const int op = pick(10);
        if (op < 6)
        {
            ++edits;
            const bool continues = dragOpen && pick(2) == 0;
            std::vector<std::string> touched;
            bool expectEntry = false;
            bool expectMerge = false;
            CAudioParamUndoRecord* record = nullptr;
            if (continues)
            {
                // Same shape as the last step of the drag: merges unless that step added groups.
                record = undo->createRecord(CString("Drag"), true, mergeId);
                CAudioParamContext context(nullptr, record);
                const CState partBefore = state();
                param(drag.leaf).setValue(drag.group, drag.item, reals[pick(8)], context);
                // Setting the value that is stored already is no change: nothing is recorded.
                expectEntry = state() != partBefore;
                expectMerge = expectEntry && drag.hasEntry && !drag.addedGroups;
                drag.addedGroups = false;
                drag.hasEntry = drag.hasEntry || expectEntry;
            }
            else
            {
                const bool dragging = pick(3) == 0;
                if (dragging)
                    ++mergeId;
                record = undo->createRecord(CString("Edit"), dragging, mergeId);
                const int parts = dragging ? 1 : 1 + pick(3);
                CAudioParamContext context(nullptr, record);
                for (int part = 0; part < parts; ++part)
                {
                    const std::string leaf = kLeaves[pick(8)];
                    CAudioParam& target = param(leaf);
                    kel::CAudioParamStorage before;
                    target.copyValues(before);
                    const int group = pick(5);
                    const int groupCount = before.getGroupCount();
                    const bool isSingle = leaf == "instance-name";
                    const int stored = isSingle ? 0 : group;
                    const int items = before.getItemCount(stored);
                    const int item = stored < groupCount ? pick(items + 2) : pick(2);
                    const bool valid = stored < groupCount ? item <= items : item == 0;
                    const CState partBefore = state();
                    if (pick(6) == 0 && !dragging)
                    {
                        target.resetToDefaults(group, -1, context);
                        expectEntry = expectEntry || state() != partBefore;
                        continue;
                    }
                    if (before.isString())
                        target.setString(group, item, CString(texts[pick(6)]), context);
                    else if (!dragging && pick(3) == 0)
                    {
                        const double run[] = {reals[pick(8)], reals[pick(8)], reals[pick(8)]};
                        kel::CAudioParamChange change;
                        change.group = group;
                        change.firstItem = item;
                        change.itemCount = 1 + pick(3);
                        change.values = run;
                        change.isReplacing = pick(2) == 0;
                        target.setValues(change, context);
                    }
                    else
                        target.setValue(group, item, reals[pick(8)], context);
                    expectEntry = expectEntry || (valid && state() != partBefore);
                    if (dragging)
                    {
                        dragOpen = valid;
                        drag = CDrag{leaf, group, item, stored >= groupCount, expectEntry};
                    }
                }
                if (!dragging)
                    dragOpen = false;
            }
            EXPECT_EQ(record->isEmpty(), !expectEntry) << "edit " << edits;
            undo->addRecord(record);
            if (expectMerge)
            {
                states[cursor] = state();
                ++merges;
            }
            else if (expectEntry)
            {
                states.resize(cursor + 1);
                if (states.size() > limit)
                {
                    states.erase(states.begin());
                    ++trims;
                }
                states.push_back(state());
                cursor = static_cast<int>(states.size()) - 1;
            }
        }
        else
        {
            dragOpen = false;
            if (op < 8)
            {
                undo->undo();
                cursor = cursor > 0 ? cursor - 1 : 0;
            }
            else if (op < 9)
            {
                undo->redo();
                cursor = cursor + 1 < static_cast<int>(states.size()) ? cursor + 1 : cursor;
            }
            else
            {
                cursor = pick(static_cast<int>(states.size()));
                undo->moveTo(cursor);
            }
        }
        int at = -1;
        const size_t listed = names(&at).size();
        ASSERT_EQ(at, cursor) << "after edit " << edits;
        ASSERT_EQ(listed, states.size() == 1 && listed == 0 ? 0u : states.size());
        ASSERT_EQ(state(), states[cursor]) << "after edit " << edits << ", op " << op;
    }
    // The run reached the paths it is meant to cover.
    EXPECT_GT(merges, 50);
    EXPECT_GT(trims, 50);
}

} // namespace
