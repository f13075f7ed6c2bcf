#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamDef.h"
#include "Audio/Converters/CAudioParamConverter.h"
#include "Audio/Converters/CParamTestDoubles.h"
#include "Audio/Converters/CParamTestTree.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

using kel::CAudioParam;
using kel::CAudioParamChange;
using kel::CAudioParamContext;
using kel::CAudioParamConverter;
using kel::CAudioParamDef;
using kel::CAudioParamInfo;
using kel::CString;
using kel::paramtest::CJournal;
using kel::paramtest::CRecordingListener;
using kel::paramtest::CRecordingSink;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{

const char* const kModule = "audio.modMain.modZumbelModule.";

class CAudioParamTest : public kel::paramtest::CParamTreeTest
{
protected:
    void SetUp() override
    {
        CParamTreeTest::SetUp();
        module = &addUserParams();
        addParam(*module, "names", "text", "", "", "Front,Rear;Side").attr("data-type", "string");
        addParam(*module, "solo", "real", "0", "1", "0").attr("is-single-group", "true");
        // Made like the instance name: text, persistent, one group, no default.
        addParam(*module, "label", "text", "", "", "")
            .attr("data-type", "string")
            .attr("is-persistent", "true")
            .attr("is-single-group", "true");
        ASSERT_EQ(load(), "");
    }

    void TearDown() override
    {
        params.clear();
        CParamTreeTest::TearDown();
    }

    const CAudioParamDef& def(const char* leaf)
    {
        const CAudioParamDef* found = find<CAudioParamDef>((std::string(kModule) + leaf).c_str());
        EXPECT_NE(found, nullptr) << leaf;
        return *found;
    }

    // A parameter of the collector `sink`, bound to the definition of that leaf.
    CAudioParam& bound(const char* leaf)
    {
        params.push_back(std::make_unique<CAudioParam>(
            CString("plugin.modMain.modZumbelModule.") + CString(leaf), &sink));
        CAudioParamContext context;
        EXPECT_TRUE(params.back()->bind(def(leaf), context));
        journal.clear();
        return *params.back();
    }

    std::string valueText(const CAudioParam& param, int group, int item = 0, int mode = 0)
    {
        CString out;
        param.getValueText(out, group, item, 0, mode);
        return CUtf8::of(out);
    }

    // Through the converter the parameter's own info names, with that info.
    double parseBack(const CAudioParam& param, const std::string& input)
    {
        CAudioParam::CGuard held(param);
        const CAudioParamInfo& info = param.getInfo(held);
        bool ok = false;
        const double value =
            info.getConverter(0)->parseClamped(info, 0, CString(input.c_str()), &ok);
        EXPECT_TRUE(ok) << input;
        return value;
    }

    kel::CTreeBlobWriter::Node* module = nullptr;
    CJournal journal;
    CRecordingSink sink{journal};
    std::vector<std::unique_ptr<CAudioParam>> params;
};

// A string parameter's value blob taken apart field by field.
struct CStringBlob
{
    int32_t groupCount = -1;
    std::map<int32_t, std::string> table;
    std::vector<std::vector<int32_t>> groups;
};

CStringBlob parseStringBlob(const kel::CMemoryWriteBuffer& written)
{
    CStringBlob out;
    kel::CMemoryReader reader(written.getData(), written.getSize());
    CString text;
    int32_t version = 0;
    int32_t elementSize = 0;
    int32_t dataType = 0;
    int32_t count = 0;
    EXPECT_EQ(reader.readString(text), nullptr);
    EXPECT_EQ(reader.readInt32(version), nullptr);
    EXPECT_EQ(reader.readInt32(elementSize), nullptr);
    EXPECT_EQ(reader.readInt32(dataType), nullptr);
    EXPECT_EQ(dataType, 1) << "not a string blob";
    EXPECT_EQ(reader.readInt32(out.groupCount), nullptr);
    EXPECT_EQ(reader.readInt32(count), nullptr);
    for (int32_t i = 0; i < count; ++i)
    {
        int32_t id = 0;
        int32_t type = 0;
        EXPECT_EQ(reader.readInt32(id), nullptr);
        EXPECT_EQ(reader.readInt32(type), nullptr);
        EXPECT_EQ(reader.readString(text), nullptr);
        EXPECT_EQ(out.table.count(id), 0u) << "id " << id << " twice";
        out.table[id] = CUtf8::of(text);
    }
    for (int32_t g = 0; g < out.groupCount; ++g)
    {
        EXPECT_EQ(reader.readInt32(count), nullptr);
        out.groups.emplace_back(static_cast<size_t>(count > 0 ? count : 0));
        for (int32_t& id : out.groups.back())
            EXPECT_EQ(reader.readInt32(id), nullptr);
    }
    EXPECT_EQ(static_cast<size_t>(reader.getPosition()), reader.getSize()) << "bytes left over";
    return out;
}

// The texts of a parsed blob, group by group.
std::vector<std::vector<std::string>> textsOf(const CStringBlob& blob)
{
    std::vector<std::vector<std::string>> out;
    for (const std::vector<int32_t>& group : blob.groups)
    {
        out.emplace_back();
        for (int32_t id : group)
        {
            const auto found = blob.table.find(id);
            out.back().push_back(found != blob.table.end() ? found->second : "<missing>");
        }
    }
    return out;
}

std::string who(const CJournal& journal)
{
    std::string out;
    for (const auto& seen : journal)
        out += (out.empty() ? "" : " ") + seen.who + ":" + std::to_string(seen.group);
    return out;
}

} // namespace

TEST_F(CAudioParamTest, BindingAnnouncesTheDefinitionThenEachGroupOnce)
{
    CAudioParam param(CString("plugin.modMain.modZumbelModule.names"), &sink);
    CRecordingListener listener(journal, "listener");
    CAudioParamContext context;
    param.addListener(&listener, context);
    EXPECT_TRUE(journal.empty()) << "an unbound parameter has no groups to send";
    EXPECT_EQ(valueText(param, 0), "");

    ASSERT_TRUE(param.bind(def("names"), context));
    EXPECT_EQ(who(journal), "bridge:9999 listener:9999 queue:0 bridge:0 listener:0 queue:1 "
                            "bridge:1 listener:1");
    EXPECT_EQ(journal[2].itemCount, 2);
    EXPECT_EQ(journal[2].sequence, 1u);
    EXPECT_EQ(journal[5].sequence, 2u);
    EXPECT_EQ(CUtf8::of(param.getDefinitionPath()), "audio.modMain.modZumbelModule.names");
    EXPECT_EQ(valueText(param, 0, 1), "Rear");
    EXPECT_EQ(valueText(param, 1), "Side");

    // The first definition stays.
    journal.clear();
    EXPECT_FALSE(param.bind(def("gain"), context));
    EXPECT_TRUE(journal.empty());
    EXPECT_EQ(valueText(param, 0), "Front");
}

TEST_F(CAudioParamTest, ProductParametersRoundTripThroughTextAtEndsAndBetween)
{
    struct Case
    {
        const char* leaf;
        double values[4];
        const char* texts[4];
    };
    const double gainMin = std::exp(-36.0 / 8.685889638065037);
    const double gainDefault = std::exp(-12.0 / 8.685889638065037);
    const Case cases[] = {
        {"period", {1.0, 30.0, 45.5, 90.0}, {"1.00", "30.0", "45.5", "90.0"}},
        {"duration", {0.1, 0.5, 1.25, 1.5}, {"0.10", "0.50", "1.25", "1.50"}},
        {"freq", {60.0, 440.0, 1500.0, 2000.0}, {"60.0", "440", "1.50k", "2.00k"}},
        {"gain",
         {gainMin, gainDefault, std::exp(-3.5 / 8.685889638065037), 1.0},
         {"-36.0", "-12.0", "-3.5", "0.0"}},
        {"variation", {0.0, 0.25, 0.125, 0.5}, {"0.0", "25.0", "12.5", "50.0"}},
    };
    for (const Case& c : cases)
    {
        CAudioParam& param = bound(c.leaf);
        CAudioParamContext context;
        for (int i = 0; i < 4; ++i)
        {
            param.setValue(0, 0, c.values[i], context);
            const std::string shown = valueText(param, 0);
            EXPECT_EQ(shown, c.texts[i]) << c.leaf;
            EXPECT_DOUBLE_EQ(parseBack(param, shown), c.values[i]) << c.leaf << " " << shown;
        }
    }
    EXPECT_NEAR(bound("gain").getValue(0, 0), 0.251188643150958, 1e-15);
}

TEST_F(CAudioParamTest, SignalShowsItsStatesAndTakesIndexText)
{
    CAudioParam& signal = bound("signal");
    CAudioParamContext context;
    EXPECT_EQ(valueText(signal, 0), "Beep");
    const char* names[] = {"Beep", "Noise", "Mute"};
    for (int state = 0; state < 3; ++state)
    {
        signal.setValue(0, 0, parseBack(signal, std::to_string(state)), context);
        EXPECT_EQ(valueText(signal, 0), names[state]);
    }
    signal.setValue(0, 0, 3.0, context);
    EXPECT_EQ(valueText(signal, 0), "Reserve");
    EXPECT_EQ(parseBack(signal, "9"), 2.0);
}

TEST_F(CAudioParamTest, ProductParametersRoundTripThroughNormalised)
{
    for (const char* leaf : {"signal", "period", "duration", "freq", "gain", "variation"})
    {
        CAudioParam& param = bound(leaf);
        CAudioParam::CGuard held(param);
        const CAudioParamInfo& info = param.getInfo(held);
        const CAudioParamConverter& conv = *info.getConverter(0);
        const bool isEnum = std::string(leaf) == "signal";
        for (double x : {0.0, 0.25, 0.5, 0.75, 1.0})
        {
            const double back = conv.toNormalised(info, 0, conv.toValue(info, 0, x));
            EXPECT_NEAR(back, x, isEnum ? 0.25 : 1e-14) << leaf << " " << x;
        }
        for (double value : {info.getMin(0), info.getMax(0)})
        {
            const double back = conv.toValue(info, 0, conv.toNormalised(info, 0, value));
            EXPECT_NEAR(back, value, std::fabs(value) * 1e-15) << leaf;
        }
        EXPECT_EQ(conv.toNormalised(info, 0, info.getMin(0)), 0.0) << leaf;
        EXPECT_NEAR(conv.toNormalised(info, 0, info.getMax(0)), 1.0, 1e-15) << leaf;
    }
}

TEST_F(CAudioParamTest, SetterDropsChangesOutOfBoundsSilently)
{
    CAudioParam& gain = bound("gain");
    CAudioParamContext context;
    const double v = 0.5;
    const double twoValues[] = {0.3, 0.4};
    auto set = [&](int group, int first, int count, const double* values)
    {
        CAudioParamChange change;
        change.group = group;
        change.firstItem = first;
        change.itemCount = count;
        change.values = values;
        gain.setValues(change, context);
    };
    set(-1, 0, 1, &v);
    set(8, 0, 1, &v);
    set(0, 2, 1, &v);
    set(3, 1, 1, &v);
    set(0, 0, 1, nullptr);
    EXPECT_TRUE(journal.empty());

    set(0, 1, 2, twoValues);
    set(3, 0, 1, &v);
    ASSERT_EQ(who(journal), "queue:0 bridge:0 queue:3 bridge:3");
    EXPECT_EQ(gain.getValue(0, 2), 0.4);
    EXPECT_EQ(gain.getValue(3, 0), 0.5);
    // A group skipped over reads as the defaults.
    EXPECT_NEAR(gain.getValue(2, 0), 0.251188643150958, 1e-15);
    EXPECT_NEAR(gain.getValue(0, 9), 0.251188643150958, 1e-15);

    gain.setGroupLimit(2);
    journal.clear();
    set(3, 0, 1, &v);
    EXPECT_TRUE(journal.empty());

    // A single-group parameter takes any group as group 0.
    CAudioParam& solo = bound("solo");
    solo.setValue(5, 0, 1.0, context);
    EXPECT_EQ(who(journal), "queue:0 bridge:0");
    EXPECT_EQ(solo.getValue(7, 0), 1.0);

    // Unbound parameters take nothing.
    CAudioParam unbound(CString("plugin.nothing"), &sink);
    journal.clear();
    unbound.setValue(0, 0, 1.0, context);
    EXPECT_TRUE(journal.empty());
    EXPECT_EQ(unbound.getValue(0, 0), 0.0);
}

TEST_F(CAudioParamTest, SetterRunsUndoQueueLinkBridgeAndListenersInOrder)
{
    CAudioParam& freq = bound("freq");
    CRecordingListener first(journal, "first");
    CRecordingListener second(journal, "second");
    kel::paramtest::CRecordingLink link(journal);
    kel::paramtest::CRecordingRecorder record;
    CAudioParamContext quiet;
    freq.addListener(&first, quiet);
    freq.addListener(&second, quiet);
    freq.setRegistryLink(&link);
    EXPECT_EQ(who(journal), "first:0 second:0") << "a late listener starts in step";
    journal.clear();

    int origin = 0;
    CAudioParamContext context(&origin, &record);
    freq.setValue(0, 0, 1000.0, context);
    EXPECT_EQ(who(journal), "queue:0 link:0 bridge:0 first:0 second:0");
    EXPECT_EQ(journal[3].origin, &origin);
    EXPECT_EQ(first.lastRead, 1000.0);
    ASSERT_EQ(record.before.size(), 1u);
    EXPECT_EQ(record.before[0], std::vector<double>{440.0});
    EXPECT_EQ(record.after[0], std::vector<double>{1000.0});

    // A context's own queue replaces the collector's; without notify, only queue and link.
    CJournal batch;
    CRecordingSink batchQueue(batch, "batch");
    journal.clear();
    CAudioParamContext batched;
    batched.queue = &batchQueue;
    batched.notify = false;
    freq.setValue(0, 0, 500.0, batched);
    EXPECT_EQ(who(journal), "link:0");
    ASSERT_EQ(batch.size(), 1u);
    EXPECT_EQ(batch[0].values, std::vector<double>{500.0});
    EXPECT_EQ(batch[0].sequence, 3u) << "bind's change, then two sets";

    freq.removeListener(&first);
    freq.setRegistryLink(nullptr);
    journal.clear();
    freq.setValue(0, 0, 600.0, quiet);
    EXPECT_EQ(who(journal), "queue:0 bridge:0 second:0");
}

TEST_F(CAudioParamTest, DisabledParameterIgnoresSettersButStillDeliversDeferred)
{
    CAudioParam& gain = bound("gain");
    kel::paramtest::CRecordingTarget host;
    CAudioParamContext context;
    context.addDeferred(&host, 0.7);
    gain.setDisabled(true);
    gain.setValue(0, 0, 1.0, context);
    EXPECT_TRUE(journal.empty());
    EXPECT_EQ(host.values, std::vector<double>{0.7});
    gain.setDisabled(false);
    gain.setValue(0, 0, 1.0, context);
    EXPECT_EQ(gain.getValue(0, 0), 1.0);
}

TEST_F(CAudioParamTest, DeferredNotificationsCollapseABurstToTheLastValueAfterTheLock)
{
    CAudioParam& period = bound("period");
    CRecordingListener listener(journal, "listener");
    kel::paramtest::CRecordingTarget host;
    listener.deferTo = &host;
    CAudioParamContext context;
    period.addListener(&listener, context);
    context.runDeferred();
    host.values.clear();
    {
        CAudioParam::CGuard held(period, &context);
        for (double value : {2.0, 3.0, 4.0, 5.0, 6.0})
            period.setValue(0, 0, value, context, &held);
        EXPECT_TRUE(host.values.empty()) << "nothing reaches the host under the lock";
        EXPECT_EQ(context.getDeferredCount(), 1);
    }
    EXPECT_EQ(host.values, std::vector<double>{6.0});

    // Without a guard each set releases its own lock and delivers at once.
    period.setValue(0, 0, 7.0, context);
    period.setValue(0, 0, 8.0, context);
    EXPECT_EQ(host.values, (std::vector<double>{6.0, 7.0, 8.0}));
}

TEST_F(CAudioParamTest, ResetRestoresDefaultsPerItemGroupOrAll)
{
    CAudioParam& names = bound("names");
    CAudioParamContext context;
    names.setString(0, 0, CString("Left"), context);
    names.setString(0, 2, CString("Centre"), context);
    names.setString(1, 0, CString("Back"), context);
    names.setString(2, 0, CString("Top"), context);
    EXPECT_EQ(valueText(names, 0, 2), "Centre");

    names.resetToDefaults(0, 0, context);
    EXPECT_EQ(valueText(names, 0, 0), "Front");
    EXPECT_EQ(valueText(names, 0, 2), "Centre");
    names.resetToDefaults(0, -1, context);
    EXPECT_EQ(valueText(names, 0, 1), "Rear");
    EXPECT_EQ(valueText(names, 0, 2), "Front") << "item 2 is gone; the first default reads";
    names.resetToDefaults(-1, -1, context);
    EXPECT_EQ(valueText(names, 1), "Side");
    EXPECT_EQ(valueText(names, 2, 1), "Rear") << "a group the defaults lack takes group 0's";
}

TEST_F(CAudioParamTest, ValueBlobCarriesThePathAndReloadsByIt)
{
    CAudioParam& names = bound("names");
    CAudioParamContext context;
    names.setString(1, 1, CString("Wide"), context);
    kel::CMemoryWriteBuffer written;
    ASSERT_EQ(names.save(written), nullptr);

    // A fresh parameter binds through the path in the blob.
    CAudioParam fresh(CString("plugin.modMain.modZumbelModule.names"), &sink);
    kel::CMemoryReader reader(written.getData(), written.getSize());
    ASSERT_EQ(fresh.load(reader, false, context), nullptr);
    EXPECT_TRUE(fresh.isBound());
    EXPECT_EQ(valueText(fresh, 1, 1), "Wide");
    EXPECT_EQ(valueText(fresh, 0, 1), "Rear");

    // One group into another group, and a blob into the defaults.
    kel::CMemoryWriteBuffer groupBlob;
    ASSERT_EQ(names.save(groupBlob, 1), nullptr);
    kel::CMemoryReader groupReader(groupBlob.getData(), groupBlob.getSize());
    ASSERT_EQ(fresh.load(groupReader, false, context, 0), nullptr);
    EXPECT_EQ(valueText(fresh, 0, 1), "Wide");

    CAudioParam& period = bound("period");
    period.setValue(0, 0, 60.0, context);
    kel::CMemoryWriteBuffer periodBlob;
    ASSERT_EQ(period.save(periodBlob), nullptr);
    CAudioParam& other = bound("period");
    kel::CMemoryReader periodReader(periodBlob.getData(), periodBlob.getSize());
    ASSERT_EQ(other.load(periodReader, true, context), nullptr);
    EXPECT_EQ(other.getValue(0, 0), 30.0) << "loading defaults leaves the value";
    other.resetToDefaults(-1, -1, context);
    EXPECT_EQ(other.getValue(0, 0), 60.0);
}

TEST_F(CAudioParamTest, BlobOfUnknownPathOrWrongLayoutIsHandled)
{
    CAudioParamContext context;
    kel::CMemoryWriteBuffer written;
    ASSERT_EQ(written.writeString(CString("audio.modMain.gone")), nullptr);
    ASSERT_EQ(written.writeInt32(1), nullptr);
    CAudioParam orphan(CString("plugin.modMain.gone"), &sink);
    kel::CMemoryReader reader(written.getData(), written.getSize());
    EXPECT_EQ(orphan.load(reader, false, context), nullptr);
    EXPECT_FALSE(orphan.isBound());

    // A string blob offered to a real parameter keeps the values it had.
    CAudioParam& names = bound("names");
    kel::CMemoryWriteBuffer stringBlob;
    ASSERT_EQ(names.save(stringBlob), nullptr);
    CAudioParam& gain = bound("gain");
    kel::CMemoryReader stringReader(stringBlob.getData(), stringBlob.getSize());
    EXPECT_EQ(CErrorText::takeMessage(gain.load(stringReader, false, context)),
              "Unsupported storage format (esize=1, dtype=1; should be: esize=1, dtype=0).");
    EXPECT_NEAR(gain.getValue(0, 0), 0.251188643150958, 1e-15);

    // A truncated blob fails and changes nothing.
    kel::CMemoryReader truncated(stringBlob.getData(), stringBlob.getSize() - 3);
    EXPECT_NE(CErrorText::takeMessage(names.load(truncated, false, context)), "");
    EXPECT_EQ(valueText(names, 0, 1), "Rear");
}

TEST_F(CAudioParamTest, SavedStringTablesHoldTheReferencedStringsAloneAndIdsAreNeverReused)
{
    CAudioParam& names = bound("names");
    CAudioParamContext context;
    for (int i = 1; i <= 100; ++i)
        names.setString(0, 0, CString(("Name " + std::to_string(i)).c_str()), context);
    kel::CMemoryWriteBuffer written;
    ASSERT_EQ(names.save(written), nullptr);
    CStringBlob parsed = parseStringBlob(written);
    ASSERT_EQ(parsed.groupCount, 2);
    ASSERT_EQ(parsed.table.size(), 3u) << "the 99 earlier names are gone";
    EXPECT_EQ(parsed.table[parsed.groups[0][0]], "Name 100");
    EXPECT_EQ(parsed.table[parsed.groups[0][1]], "Rear");
    EXPECT_EQ(parsed.table[parsed.groups[1][0]], "Side");

    // One group carries its own strings only.
    kel::CMemoryWriteBuffer one;
    ASSERT_EQ(names.save(one, 1), nullptr);
    parsed = parseStringBlob(one);
    ASSERT_EQ(parsed.table.size(), 1u);
    EXPECT_EQ(parsed.table.begin()->second, "Side");

    // A string shared by two values stays while one of them holds it; emptying a group and a
    // load both let go of theirs.
    names.setString(1, 0, CString("Rear"), context);
    names.setString(0, 1, CString("Back"), context);
    CAudioParamChange empty;
    empty.group = 0;
    empty.isReplacing = true;
    names.setValues(empty, context);
    kel::CMemoryWriteBuffer shared;
    ASSERT_EQ(names.save(shared), nullptr);
    parsed = parseStringBlob(shared);
    ASSERT_EQ(parsed.table.size(), 1u);
    EXPECT_EQ(parsed.table[parsed.groups[1][0]], "Rear");
    kel::CMemoryReader reader(written.getData(), written.getSize());
    ASSERT_EQ(names.load(reader, false, context), nullptr);
    kel::CAudioParamStorage reloaded;
    names.copyValues(reloaded);
    EXPECT_EQ(reloaded.getStrings().getCount(), 3);
    EXPECT_EQ(valueText(names, 0, 0), "Name 100");

    // A dropped id is not handed to the next new string: a value still holding it somewhere
    // (a queued change) must not come to name another string.
    const double dropped = reloaded.getGroupValues(0)[0];
    names.setString(0, 0, CString("Other"), context);
    names.setString(0, 0, CString("Newest"), context);
    kel::CAudioParamStorage now;
    names.copyValues(now);
    EXPECT_GT(now.getGroupValues(0)[0], dropped);
    EXPECT_EQ(CUtf8::of(now.getStringOf(dropped)), "");
}

TEST_F(CAudioParamTest, LoadingAllGroupsLeavesExactlyTheBlobsGroups)
{
    CAudioParam& names = bound("names");
    CAudioParamContext context;
    for (int g = 2; g < 6; ++g)
        names.setString(g, 0, CString("Extra"), context);
    kel::CMemoryWriteBuffer six;
    ASSERT_EQ(names.save(six), nullptr);
    CAudioParam& two = bound("names");
    two.setString(1, 0, CString("Two"), context);
    kel::CMemoryWriteBuffer written;
    ASSERT_EQ(two.save(written), nullptr);

    CRecordingListener listener(journal, "listener");
    names.addListener(&listener, context);
    journal.clear();
    kel::CMemoryReader reader(written.getData(), written.getSize());
    ASSERT_EQ(names.load(reader, false, context), nullptr);
    kel::CAudioParamStorage values;
    names.copyValues(values);
    EXPECT_EQ(values.getGroupCount(), 2) << "the four groups the blob lacks are gone";
    EXPECT_EQ(values.getStrings().getCount(), 3) << "and so are their strings";
    EXPECT_EQ(valueText(names, 1), "Two");
    EXPECT_EQ(valueText(names, 4), "Front") << "a group not stored reads as the defaults";
    // Everyone downstream hears each dropped group go.
    EXPECT_EQ(who(journal), "queue:1 bridge:1 listener:1 queue:2 bridge:2 listener:2 queue:3 "
                            "bridge:3 listener:3 queue:4 bridge:4 listener:4 queue:5 bridge:5 "
                            "listener:5");
    EXPECT_EQ(journal.back().itemCount, 0);
    // Saved again, the blob holds what the loaded one held.
    kel::CMemoryWriteBuffer again;
    ASSERT_EQ(names.save(again), nullptr);
    EXPECT_EQ(textsOf(parseStringBlob(again)), textsOf(parseStringBlob(written)));
    names.removeListener(&listener);

    // Within the limit: a parameter that takes two groups keeps two of the six.
    CAudioParam& limited = bound("names");
    limited.setGroupLimit(2);
    kel::CMemoryReader sixReader(six.getData(), six.getSize());
    ASSERT_EQ(limited.load(sixReader, false, context), nullptr);
    limited.copyValues(values);
    EXPECT_EQ(values.getGroupCount(), 2);

    // A single-group parameter takes the blob's group 0, not whichever comes last.
    CAudioParam& gain = bound("gain");
    gain.setValue(0, 0, 0.5, context);
    gain.setValue(1, 0, 0.75, context);
    kel::CMemoryWriteBuffer gains;
    ASSERT_EQ(gain.save(gains), nullptr);
    CAudioParam& solo = bound("solo");
    kel::CMemoryWriteBuffer moved;
    ASSERT_EQ(moved.writeString(solo.getDefinitionPath()), nullptr);
    const size_t pathBytes = 4 + static_cast<size_t>(gain.getDefinitionPath().getUtf8Length());
    ASSERT_EQ(moved.write(gains.getData() + pathBytes, gains.getSize() - pathBytes), nullptr);
    kel::CMemoryReader movedReader(moved.getData(), moved.getSize());
    ASSERT_EQ(solo.load(movedReader, false, context), nullptr);
    solo.copyValues(values);
    EXPECT_EQ(values.getGroupCount(), 1);
    EXPECT_EQ(solo.getValue(0, 0), 0.5);
}

TEST_F(CAudioParamTest, SingleGroupStringSavesOneGroupEvenEmptyAndReadsOldBlobsWithNone)
{
    CAudioParam& label = bound("label");
    CAudioParamContext context;
    const std::string path = CUtf8::of(label.getDefinitionPath());
    kel::CMemoryWriteBuffer empty;
    ASSERT_EQ(label.save(empty), nullptr);
    CStringBlob parsed = parseStringBlob(empty);
    EXPECT_EQ(parsed.groupCount, 1) << "an empty list is one group of no items";
    EXPECT_TRUE(parsed.table.empty());
    ASSERT_EQ(parsed.groups.size(), 1u);
    EXPECT_TRUE(parsed.groups[0].empty());

    label.setString(0, 0, CString("Drums"), context);
    kel::CMemoryWriteBuffer named;
    ASSERT_EQ(label.save(named), nullptr);
    parsed = parseStringBlob(named);
    ASSERT_EQ(parsed.groupCount, 1);
    ASSERT_EQ(parsed.groups[0].size(), 1u);
    EXPECT_EQ(parsed.table[parsed.groups[0][0]], "Drums");

    // Written before: path, version 1, esize 1, dtype 1, G = 0, S = 0.
    kel::CMemoryWriteBuffer old;
    ASSERT_EQ(old.writeString(label.getDefinitionPath()), nullptr);
    for (int32_t field : {1, 1, 1, 0, 0})
        ASSERT_EQ(old.writeInt32(field), nullptr);
    kel::CMemoryReader oldReader(old.getData(), old.getSize());
    ASSERT_EQ(label.load(oldReader, false, context), nullptr);
    EXPECT_EQ(valueText(label, 0), "");
    kel::CAudioParamStorage values;
    label.copyValues(values);
    EXPECT_EQ(values.getGroupCount(), 1);
    kel::CMemoryWriteBuffer resaved;
    ASSERT_EQ(label.save(resaved), nullptr);
    EXPECT_EQ(std::vector<uint8_t>(resaved.getData(), resaved.getData() + resaved.getSize()),
              std::vector<uint8_t>(empty.getData(), empty.getData() + empty.getSize()));

    // A fresh parameter binds through the old blob as well.
    CAudioParam fresh(CString("plugin.modMain.modZumbelModule.label"), &sink);
    kel::CMemoryReader again(old.getData(), old.getSize());
    ASSERT_EQ(fresh.load(again, false, context), nullptr);
    EXPECT_TRUE(fresh.isBound());
    EXPECT_EQ(CUtf8::of(fresh.getDefinitionPath()), path);
}
