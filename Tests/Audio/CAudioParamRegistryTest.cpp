#include "Audio/CAudioParamRecorder.h"
#include "Audio/CAudioParamTreeTest.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBank.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"

#include <memory>
#include <string>
#include <vector>

using kel::CAudioParam;
using kel::CAudioParamContext;
using kel::CAudioParamRegistry;
using kel::CAudioPreset;
using kel::CAudioPresetBank;
using kel::CMemoryReader;
using kel::CMemoryWriteBuffer;
using kel::CString;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{

// An undo sink that keeps the labels of the records it is given and numbered histories.
class CFakeUndoSink : public CAudioParamRegistry::CUndoSink
{
public:
    class CRecord : public kel::CAudioParamRecorder
    {
    public:
        explicit CRecord(std::string recordLabel) : label(std::move(recordLabel)) {}
        void recordBefore(const CAudioParam&, const kel::CAudioParamChange&,
                          const kel::CAudioParamStorage&) override
        {
            ++changes;
        }
        void recordAfter(const CAudioParam&, const kel::CAudioParamChange&,
                         const kel::CAudioParamStorage&) override
        {
        }
        std::string label;
        int changes = 0;
    };

    class CHistory : public CAudioParamRegistry::CUndoSink::CHistory
    {
    public:
        explicit CHistory(int historyTag) : tag(historyTag) {}
        CAudioParamRegistry::CUndoSink::CHistory* clone() const override
        {
            return new CHistory(tag);
        }
        int tag;
    };

    ~CFakeUndoSink() override { delete current; }

    kel::CAudioParamRecorder* createUndoRecord(const CString& label) override
    {
        return new CRecord(CUtf8::of(label));
    }
    void addUndoRecord(kel::CAudioParamRecorder* record) override
    {
        auto* ours = static_cast<CRecord*>(record);
        // Empty records are dropped, as the history does.
        if (ours->changes > 0 || ours->label == "Program name change")
            labels.push_back(ours->label);
        delete ours;
    }
    CAudioParamRegistry::CUndoSink::CHistory* detachHistory() override
    {
        auto* out = current;
        current = nullptr;
        return out;
    }
    void attachHistory(CAudioParamRegistry::CUndoSink::CHistory* history) override
    {
        delete current;
        current = static_cast<CHistory*>(history);
    }
    CAudioParamRegistry::CUndoSink::CHistory* copyHistory() const override
    {
        return current ? current->clone() : nullptr;
    }
    void clearHistory() override
    {
        delete current;
        current = nullptr;
        ++clears;
    }
    int currentTag() const { return current ? current->tag : -1; }

    std::vector<std::string> labels;
    CHistory* current = nullptr;
    int clears = 0;
};

std::vector<std::string> gReported;

class CAudioParamRegistryTest : public kel::test::CAudioParamTreeTest
{
protected:
    void SetUp() override
    {
        CAudioParamTreeTest::SetUp();
        gReported.clear();
        kel::CSystem::setErrorPresenter([](const char*, const char*, const char* details, void*)
                                        { gReported.push_back(details ? details : ""); },
                                        nullptr);
    }

    // The instance objects the registries need: the collector and both registries as the
    // product's template has them.
    void build(const char* bankFile = "FactoryROM.cbf")
    {
        kel::CTreeBlobWriter::Node top("kel", "");
        auto& plugin = top.add("core:object", "plugin");
        plugin.add("audio:param-collector", "param-collector");
        addMaster(plugin)
            .attr("group-names-param", "plugin.modMain.io-params.group-names")
            .attr("file", bankFile);
        plugin.add("audio:param-registry", "param-registry-io")
            .attr("hierarchy", "plugin.modMain.io-params")
            .attr("id", "KLIO")
            .attr("preset-naming", "Routing preset")
            .attr("group-names-param", "plugin.modMain.io-params.group-names");
        loadInstance(top, {"preset-name", "instance-name", "modZumbelModule.signal",
                           "modZumbelModule.freq", "modZumbelModule.gain", "modZumbelModule.period",
                           "modZumbelModule.duration", "modZumbelModule.variation"});
        routing = dynamic_cast<CAudioParamRegistry*>(root->findObject("plugin.param-registry-io"));
        ASSERT_NE(routing, nullptr);
        master->setUndoSink(&undo);
        routing->setUndoSink(&undo);
    }

    // The factory or session preset payload as acquirePreset writes it.
    std::vector<uint8_t> acquired(bool fromROM, int index, CAudioParamRegistry* from = nullptr)
    {
        CMemoryWriteBuffer out;
        EXPECT_EQ(CErrorText::takeMessage(
                      (from ? from : master)->acquirePreset(fromROM, index, -1, out, false)),
                  "");
        return std::vector<uint8_t>(out.getData(), out.getData() + out.getSize());
    }
    std::string activate(CAudioParamRegistry& registry, const std::vector<uint8_t>& bytes,
                         int group = -1, bool isHost = false)
    {
        CMemoryReader reader(bytes.data(), bytes.size());
        return CErrorText::takeMessage(registry.activatePreset(reader, isHost, group));
    }
    std::vector<uint8_t> payload(const CAudioPreset& preset)
    {
        CMemoryWriteBuffer out;
        EXPECT_EQ(preset.save(out), nullptr);
        return std::vector<uint8_t>(out.getData(), out.getData() + out.getSize());
    }
    // A value blob of a real parameter with one value.
    static std::vector<uint8_t> realBlob(const char* path, double v, int version = 1)
    {
        CMemoryWriteBuffer out;
        EXPECT_EQ(out.writeString(CString(path)), nullptr);
        for (int32_t word : {version, 1, 0, 1, 1})
            EXPECT_EQ(out.writeInt32(word), nullptr);
        EXPECT_EQ(out.writeDouble(v), nullptr);
        return std::vector<uint8_t>(out.getData(), out.getData() + out.getSize());
    }

    CAudioParamRegistry* routing = nullptr;
    CFakeUndoSink undo;
};

TEST_F(CAudioParamRegistryTest, SessionStartsAsACopyOfTheFactoryBank)
{
    build();
    CAudioPresetBank factory;
    CAudioPresetBank session;
    master->copyBank(true, factory);
    master->copyBank(false, session);
    EXPECT_EQ(CUtf8::of(factory.getName()), "Factory ROM");
    EXPECT_EQ(CUtf8::of(session.getName()), "Session Bank");
    ASSERT_EQ(session.getCount(), 7);
    EXPECT_EQ(CUtf8::of(session.getPreset(6)->getName()), "z4m1:Mute - 0.5 s @ 15 s");
    kel::CArray<CString> names;
    int current = 99;
    master->getPresetNames(false, names, current);
    EXPECT_EQ(current, 0);
    EXPECT_EQ(CUtf8::of(names[1]), "Beep - 1 s 220 Hz @ 30 s");
    EXPECT_EQ(routing->getSessionCount(), 0);
    EXPECT_TRUE(gReported.empty());
}

TEST_F(CAudioParamRegistryTest, MissingFactoryBankIsReportedAndTheSessionHasOneDefault)
{
    build("NoSuchBank.cbf");
    ASSERT_EQ(gReported.size(), 1u);
    EXPECT_NE(gReported[0].find("NoSuchBank.cbf"), std::string::npos);
    CAudioPresetBank session;
    master->copyBank(false, session);
    ASSERT_EQ(session.getCount(), 1);
    EXPECT_EQ(CUtf8::of(session.getPreset(0)->getName()), "z4m1:Default");
    CAudioPresetBank factory;
    master->copyBank(true, factory);
    EXPECT_EQ(factory.getCount(), 0);
}

TEST_F(CAudioParamRegistryTest, UsersDefaultPresetReplacesSlotZeroAndABrokenOneIsIgnored)
{
    CAudioPreset mine(CString("z4m1:Mine"));
    const auto freq = realBlob("audio.modMain.modZumbelModule.freq", 123.0);
    ASSERT_TRUE(mine.setEntry(CString("modZumbelModule.freq"), freq.data(), freq.size()));
    const auto bytes = payload(mine);
    ASSERT_EQ(kel::CGlobalData::get().write(CString("default-preset"), bytes.data(), bytes.size(),
                                            CAudioPreset::kBlockId),
              nullptr);
    // build() binds the preset-name parameter after init, as the graph does: its default must
    // not rename the slot.
    build();
    EXPECT_TRUE(gReported.empty());
    EXPECT_EQ(CUtf8::of(master->getPresetName(0)), "Mine");
    EXPECT_EQ(master->getSessionCount(), 7);
    kel::CObject::destroyObject(root);
    root = nullptr;

    // Cut short: reported, and slot 0 stays the factory's.
    ASSERT_EQ(kel::CGlobalData::get().write(CString("default-preset"), bytes.data(),
                                            bytes.size() - 5, CAudioPreset::kBlockId),
              nullptr);
    build();
    EXPECT_EQ(gReported.size(), 1u);
    EXPECT_EQ(CUtf8::of(master->getPresetName(0)), "Default");
}

TEST_F(CAudioParamRegistryTest, FactoryPresetsSetEveryValueAndAbsentEntriesMeanTheDefault)
{
    build();
    setLive("modZumbelModule.signal", 2.0);
    ASSERT_EQ(CErrorText::takeMessage(master->activateROMPreset(1)), "");
    EXPECT_EQ(value("modZumbelModule.freq"), 220.0);
    EXPECT_EQ(value("modZumbelModule.duration"), 1.0);
    EXPECT_EQ(value("modZumbelModule.variation"), 0.2);
    EXPECT_EQ(value("modZumbelModule.signal"), 0.0) << "no signal entry: the default";
    EXPECT_EQ(valueText("preset-name"), "Beep - 1 s 220 Hz @ 30 s");
    EXPECT_EQ(CUtf8::of(master->getCurrentPresetName()), "Beep - 1 s 220 Hz @ 30 s");
    ASSERT_EQ(undo.labels.size(), 1u);
    EXPECT_EQ(undo.labels[0], "ROM preset activate");

    ASSERT_EQ(activate(*master, acquired(true, 5)), "");
    EXPECT_EQ(value("modZumbelModule.freq"), 1999.9999999999998);
    EXPECT_EQ(value("modZumbelModule.signal"), 1.0);
    EXPECT_EQ(undo.labels.back(), "Master preset activate");

    // Outside the factory bank nothing happens.
    ASSERT_EQ(CErrorText::takeMessage(master->activateROMPreset(7)), "");
    EXPECT_EQ(undo.labels.size(), 2u);
}

TEST_F(CAudioParamRegistryTest, PresetsOfAnotherFamilyChangeNothing)
{
    build();
    setLive("modZumbelModule.freq", 777.0);
    CAudioPreset routingPreset(CString("KLIO:Default Stereo"));
    const auto freq = realBlob("audio.modMain.modZumbelModule.freq", 100.0);
    ASSERT_TRUE(routingPreset.setEntry(CString("modZumbelModule.freq"), freq.data(), freq.size()));
    EXPECT_EQ(activate(*master, payload(routingPreset)), "Incompatible preset.");
    routingPreset.setName(CString("No family"));
    EXPECT_EQ(activate(*master, payload(routingPreset)), "Incompatible preset.");
    EXPECT_EQ(value("modZumbelModule.freq"), 777.0);
    EXPECT_TRUE(undo.labels.empty());

    // A bank with one foreign preset is refused whole.
    CAudioPresetBank bank(CString("B"));
    bank.addPreset(CAudioPreset(CString("z4m1:Fine")));
    bank.addPreset(routingPreset);
    CMemoryWriteBuffer out;
    ASSERT_EQ(bank.save(out), nullptr);
    CMemoryReader reader(out.getData(), out.getSize());
    EXPECT_EQ(CErrorText::takeMessage(master->activateBank(reader, true)), "Incompatible bank.");
    EXPECT_EQ(CUtf8::of(master->getPresetName(0)), "Default");
}

TEST_F(CAudioParamRegistryTest, UnknownKeysAreCreatedAndADamagedEntryStopsTheRest)
{
    build();
    CAudioPreset preset(CString("z4m1:Mixed"));
    const auto future = realBlob("audio.modMain.modZumbelModule.future", 5.0);
    const auto freq = realBlob("audio.modMain.modZumbelModule.freq", 300.0);
    ASSERT_TRUE(preset.setEntry(CString("modZumbelModule.future"), future.data(), future.size()));
    ASSERT_TRUE(preset.setEntry(CString("modZumbelModule.freq"), freq.data(), freq.size()));
    ASSERT_EQ(activate(*master, payload(preset)), "");
    EXPECT_EQ(value("modZumbelModule.freq"), 300.0);
    ASSERT_NE(collector->findParam(CString("plugin.modMain.modZumbelModule.future")), nullptr);
    EXPECT_FALSE(param("modZumbelModule.future").isBound());

    // Keys apply in order: duration is applied, the damaged freq fails, gain is not reached.
    CAudioPreset damaged(CString("z4m1:Damaged"));
    const auto duration = realBlob("audio.modMain.modZumbelModule.duration", 2.0);
    const auto badFreq = realBlob("audio.modMain.modZumbelModule.freq", 900.0, 2);
    const auto gain = realBlob("audio.modMain.modZumbelModule.gain", 0.5);
    ASSERT_TRUE(
        damaged.setEntry(CString("modZumbelModule.duration"), duration.data(), duration.size()));
    ASSERT_TRUE(damaged.setEntry(CString("modZumbelModule.freq"), badFreq.data(), badFreq.size()));
    ASSERT_TRUE(damaged.setEntry(CString("modZumbelModule.gain"), gain.data(), gain.size()));
    const double gainBefore = value("modZumbelModule.gain");
    EXPECT_EQ(activate(*master, payload(damaged)),
              "kelstr_CAudioParamStorage_load_VersionError Unsupported data set version 2.");
    EXPECT_EQ(value("modZumbelModule.duration"), 2.0);
    EXPECT_EQ(value("modZumbelModule.freq"), 300.0);
    EXPECT_EQ(value("modZumbelModule.gain"), gainBefore);
    EXPECT_EQ(CUtf8::of(master->getCurrentPresetName()), "Mixed")
        << "the failed preset is not named";
}

TEST_F(CAudioParamRegistryTest, PersistentValuesComeOnlyFromTheHost)
{
    build();
    CAudioParamContext context;
    param("instance-name").setString(0, 0, CString("Lead vox"), context);
    CMemoryWriteBuffer chunk;
    ASSERT_EQ(CErrorText::takeMessage(master->acquirePreset(false, -1, -1, chunk, true)), "");
    const std::vector<uint8_t> hostState(chunk.getData(), chunk.getData() + chunk.getSize());
    CAudioPreset parsed;
    CMemoryReader parsedReader(hostState.data(), hostState.size());
    ASSERT_EQ(parsed.load(parsedReader), nullptr);
    EXPECT_NE(parsed.findEntry(CString("instance-name")), nullptr);
    EXPECT_EQ(parsed.findEntry(CString("preset-name")), nullptr);
    EXPECT_EQ(parsed.getEntryCount(), 7) << "six stored values and the instance name";

    param("instance-name").setString(0, 0, CString("Other"), context);
    ASSERT_EQ(activate(*master, hostState), "");
    EXPECT_EQ(valueText("instance-name"), "Other") << "a user's preset has no say";
    ASSERT_EQ(activate(*master, hostState, -1, true), "");
    EXPECT_EQ(valueText("instance-name"), "Lead vox");
}

TEST_F(CAudioParamRegistryTest, AcquireChecksIndexAndRegistryKind)
{
    build();
    CMemoryWriteBuffer out;
    EXPECT_EQ(CErrorText::takeMessage(master->acquirePreset(false, 7, -1, out, false)),
              "Invalid preset index 7 specified.");
    EXPECT_EQ(CErrorText::takeMessage(master->acquirePreset(true, -1, -1, out, false)),
              "Invalid preset index -1 specified.");
    EXPECT_EQ(CErrorText::takeMessage(routing->acquirePreset(false, out, false)),
              "Acquiring bank in a non-master registry is an error.");
    EXPECT_EQ(out.getSize(), 0u);

    // The current session preset is refreshed from the live values first.
    setLive("modZumbelModule.period", 42.0);
    CAudioPreset current;
    const auto bytes = acquired(false, -1);
    CMemoryReader reader(bytes.data(), bytes.size());
    ASSERT_EQ(current.load(reader), nullptr);
    CString path;
    kel::CAudioParamStorage values;
    ASSERT_EQ(current.readEntryValues(CString("modZumbelModule.period"), path, values), nullptr);
    EXPECT_EQ(values.getGroupValues(0)[0], 42.0);
    EXPECT_EQ(CUtf8::of(current.getName()), "z4m1:Default");
}

TEST_F(CAudioParamRegistryTest, BankStateRoundTripsAndALongerBankKeepsTheSessionSize)
{
    build();
    CAudioParamContext context;
    param("instance-name").setString(0, 0, CString("Drums"), context);
    ASSERT_EQ(CErrorText::takeMessage(master->selectPreset(3, nullptr)), "");
    setLive("modZumbelModule.gain", 0.125);
    CMemoryWriteBuffer state;
    ASSERT_EQ(CErrorText::takeMessage(master->acquirePreset(false, state, true)), "");

    // A longer bank: the surplus is ignored.
    CAudioPresetBank bank;
    CMemoryReader stateReader(state.getData(), state.getSize());
    ASSERT_EQ(bank.load(stateReader), nullptr);
    EXPECT_EQ(CUtf8::of(bank.getName()), "Session Bank");
    bank.addPreset(CAudioPreset(CString("z4m1:Extra")));
    CMemoryWriteBuffer longer;
    ASSERT_EQ(bank.save(longer), nullptr);

    ASSERT_EQ(CErrorText::takeMessage(master->activateROMPreset(0)), "");
    EXPECT_NE(value("modZumbelModule.gain"), 0.125);
    undo.attachHistory(new CFakeUndoSink::CHistory(5));
    CMemoryReader reader(longer.getData(), longer.getSize());
    ASSERT_EQ(CErrorText::takeMessage(master->activateBank(reader, true)), "");
    EXPECT_EQ(master->getSessionCount(), 7);
    EXPECT_EQ(value("modZumbelModule.gain"), 0.125) << "slot 3 is current and applied";
    EXPECT_EQ(undo.currentTag(), -1) << "the replaced slot's history is gone";
    EXPECT_EQ(valueText("instance-name"), "Drums");
}

TEST_F(CAudioParamRegistryTest, NamesTravelBetweenSessionAndPresetNameParameter)
{
    build();
    master->setPresetName(0, CString("Verse"), nullptr);
    EXPECT_EQ(valueText("preset-name"), "Verse");
    EXPECT_EQ(CUtf8::of(master->getPresetName(0)), "Verse");
    ASSERT_EQ(undo.labels.size(), 1u);
    EXPECT_EQ(undo.labels[0], "Program name change");

    master->setPresetName(4, CString("Chorus"), nullptr);
    EXPECT_EQ(CUtf8::of(master->getPresetName(4)), "Chorus");
    EXPECT_EQ(valueText("preset-name"), "Verse");
    EXPECT_EQ(undo.labels.size(), 1u);

    // The user types into the parameter: the session follows, once the lock is left.
    CAudioParamContext typing(&undo);
    param("preset-name").setString(0, 0, CString("Bridge"), typing);
    typing.runDeferred();
    EXPECT_EQ(CUtf8::of(master->getCurrentPresetName()), "Bridge");
    CAudioPresetBank session;
    master->copyBank(false, session);
    EXPECT_EQ(CUtf8::of(session.getPreset(0)->getName()), "z4m1:Bridge");
}

TEST_F(CAudioParamRegistryTest, DefaultsFromAPresetAreWhatResetReturnsTo)
{
    build();
    setLive("modZumbelModule.freq", 1234.0);
    const auto beep = acquired(true, 3);
    CMemoryReader reader(beep.data(), beep.size());
    ASSERT_EQ(CErrorText::takeMessage(master->loadDefaultPreset(reader)), "");
    EXPECT_EQ(value("modZumbelModule.freq"), 1234.0) << "live values stay";
    master->resetMaster();
    EXPECT_EQ(value("modZumbelModule.freq"), 330.0);
    EXPECT_EQ(value("modZumbelModule.period"), 5.0);
    ASSERT_FALSE(undo.labels.empty());
    EXPECT_EQ(undo.labels.back(), "Master reset");
}

TEST_F(CAudioParamRegistryTest, RoutingGroupPresetsLabelTheirRecordWithTheGroupName)
{
    build();
    // The product defines no io-params; a bound group-names parameter stands in for the UI's.
    kel::CAudioParamInfo info;
    info.setLayout(1, kel::CAudioParamInfo::kTypeString);
    info.setFlags(false, true, false, false, false);
    CAudioParamContext context;
    CAudioParam& names = param("io-params.group-names");
    ASSERT_TRUE(names.bind(info, CString("audio.modMain.io-params.group-names"), context));
    const char* const groups[] = {"Front", "Rear", "Side"};
    for (int i = 0; i < 3; ++i)
        names.setString(0, i, CString(groups[i]), context);
    ASSERT_TRUE(names.getInfo(CAudioParam::CGuard(names)).isStorable());

    CMemoryWriteBuffer out;
    ASSERT_EQ(CErrorText::takeMessage(routing->acquirePreset(false, 0, -1, out, false)), "");
    const std::vector<uint8_t> bytes(out.getData(), out.getData() + out.getSize());
    names.setString(0, 0, CString("Changed"), context);
    ASSERT_EQ(activate(*routing, bytes, 2), "");
    EXPECT_EQ(undo.labels.back(), "Routing preset activate (Side)");
    ASSERT_EQ(activate(*routing, bytes), "");
    EXPECT_EQ(undo.labels.back(), "Routing preset activate");
    EXPECT_EQ(valueText("io-params.group-names", 0, 0), "Front");

    // The master preset names no io-params value that is not storable; this one is.
    const auto masterBytes = acquired(false, -1);
    CAudioPreset masterPreset;
    CMemoryReader reader(masterBytes.data(), masterBytes.size());
    ASSERT_EQ(masterPreset.load(reader), nullptr);
    EXPECT_NE(masterPreset.findEntry(CString("io-params.group-names")), nullptr);
}

TEST_F(CAudioParamRegistryTest, RoutingFeaturesAreReadFromTheRoutingEntries)
{
    CAudioPresetBank list;
    const uint8_t* data = nullptr;
    size_t size = 0;
    ASSERT_TRUE(kel::CResourceTable::find("AppDataGlobal_routing-presets", data, size));
    CMemoryReader block(data, size);
    kel::CByteBuffer bytes;
    ASSERT_EQ(block.readCompressedData(bytes, CAudioPresetBank::kListId), nullptr);
    CMemoryReader reader(bytes.getData(), bytes.getSize());
    bool hasBank = false;
    ASSERT_EQ(list.loadList(reader, hasBank), nullptr);
    ASSERT_EQ(list.getCount(), 9);
    std::string ms;
    std::string side;
    for (int i = 0; i < 9; ++i)
    {
        ms += CAudioParamRegistry::usesRoutingFeatures(*list.getPreset(i), true, false) ? "1" : "0";
        side +=
            CAudioParamRegistry::usesRoutingFeatures(*list.getPreset(i), false, true) ? "1" : "0";
    }
    EXPECT_EQ(ms, "000010000");
    EXPECT_EQ(side, "000000110");
}

} // namespace
