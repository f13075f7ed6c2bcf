#include "Audio/CAudioParamStorage.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBank.h"
#include "Core/CByteBuffer.h"
#include "Core/CMemoryReader.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CResourceTable.h"
#include "ProductResources.h"
#include "Support/CErrorText.h"
#include "Support/CTempFolder.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

using kel::CAudioParamStorage;
using kel::CAudioPreset;
using kel::CAudioPresetBank;
using kel::CByteBuffer;
using kel::CMemoryReader;
using kel::CMemoryWriteBuffer;
using kel::CString;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{

// The frames' object names of an error, joined; the error is deleted.
std::string takeFrameNames(kel::CError* error)
{
    std::string names;
    for (int i = 0; error && i < error->getFrameCount(); ++i)
        names += std::string(error->getFrameName(i) ? error->getFrameName(i) : "") + "|";
    delete error;
    return names;
}

// Little-endian wire bytes, written by hand to pin the stored forms.
class CBytes
{
public:
    CBytes& u32(uint32_t value)
    {
        for (int i = 0; i < 4; ++i)
            bytes.push_back(static_cast<uint8_t>(value >> (8 * i)));
        return *this;
    }
    CBytes& real(double value)
    {
        uint64_t bits = 0;
        std::memcpy(&bits, &value, 8);
        for (int i = 0; i < 8; ++i)
            bytes.push_back(static_cast<uint8_t>(bits >> (8 * i)));
        return *this;
    }
    CBytes& str(const std::string& value)
    {
        u32(static_cast<uint32_t>(value.size()));
        bytes.insert(bytes.end(), value.begin(), value.end());
        return *this;
    }
    // A text and the number after it: a name and a count, or a key and a size.
    CBytes& named(const std::string& value, uint32_t number) { return str(value).u32(number); }
    // A key, the size of its value and the value.
    CBytes& entry(const std::string& key, const std::vector<uint8_t>& value)
    {
        return named(key, static_cast<uint32_t>(value.size())).raw(value);
    }
    CBytes& raw(const std::vector<uint8_t>& more)
    {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    std::vector<uint8_t> bytes;
};

std::vector<uint8_t> written(const CMemoryWriteBuffer& buffer)
{
    return std::vector<uint8_t>(buffer.getData(), buffer.getData() + buffer.getSize());
}

// A real value blob of one group: path, version 1, esize 1, dtype 0, G 1, N, the values.
std::vector<uint8_t> realBlob(const std::string& path, const std::vector<double>& values)
{
    CBytes blob;
    blob.str(path).u32(1).u32(1).u32(0).u32(1).u32(static_cast<uint32_t>(values.size()));
    for (double value : values)
        blob.real(value);
    return blob.bytes;
}

// The payload of an embedded resource's compressed block.
CByteBuffer embeddedPayload(const char* name, uint32_t id)
{
    const kel::CResourceEntry* before = kel::CResourceTable::getInstalled();
    kel::CResourceTable::install(kel::resources::kResourceTable);
    const uint8_t* data = nullptr;
    size_t size = 0;
    const bool found = kel::CResourceTable::find(name, data, size);
    kel::CResourceTable::install(before);
    CByteBuffer payload;
    EXPECT_TRUE(found) << name;
    if (!found)
        return payload;
    CMemoryReader reader(data, size);
    EXPECT_EQ(CErrorText::takeMessage(reader.readCompressedData(payload, id)), "");
    return payload;
}

struct CRealRow
{
    const char* name;
    double duration;
    double freq;
    double gain;
    double period;
    double signal; // -1: absent
    double variation;
};

const CRealRow kFactoryRows[] = {
    {"Default", 0.5, 440, 0.251188643150958, 30, -1, 0.25},
    {"Beep - 1 s 220 Hz @ 30 s", 1, 220, 0.251188643150958, 30, -1, 0.2},
    {"Beep - 0.5 s 1 kHz @ 25 s", 0.5, 1000, 0.06309573444801932, 25, -1, 0.1},
    {"Beep - 0.1 s 330 Hz @ 5 s", 0.1, 330, 0.06309573444801932, 5, -1, 0.05},
    {"Noise - 0.5 s @ 25 s", 0.5, 1000, 0.251188643150958, 25, 1, 0.25},
    {"Noise - 1 s @ 35 s", 1, 1999.9999999999998, 0.251188643150958, 35, 1, 0.25},
    {"Mute - 0.5 s @ 15 s", 0.5, 440, 0.06309573444801933, 15, 2, 0.25},
};

// The one value of a one-group, one-item real entry.
void expectSingleReal(const CAudioPreset& preset, const char* leaf, double expected)
{
    const CString key = CString("modZumbelModule.") + CString(leaf);
    CString path;
    CAudioParamStorage values;
    ASSERT_EQ(CErrorText::takeMessage(preset.readEntryValues(key, path, values)), "") << leaf;
    EXPECT_EQ(CUtf8::of(path), std::string("audio.modMain.modZumbelModule.") + leaf);
    EXPECT_EQ(values.getElementSize(), 1);
    EXPECT_FALSE(values.isString());
    ASSERT_EQ(values.getGroupCount(), 1) << leaf;
    ASSERT_EQ(values.getGroupLength(0), 1) << leaf;
    // Exact: the stored digits are part of the bank.
    EXPECT_EQ(values.getGroupValues(0)[0], expected) << CUtf8::of(preset.getName()) << " " << leaf;
}

TEST(CAudioPresetFactoryTest, FactoryBankHoldsTheSevenPresetsValueForValue)
{
    const CByteBuffer payload = embeddedPayload("FactoryROM.cbf", CAudioPresetBank::kBlockId);
    EXPECT_EQ(payload.getSize(), 3979u);
    CAudioPresetBank bank;
    CMemoryReader reader(payload.getData(), payload.getSize());
    ASSERT_EQ(CErrorText::takeMessage(bank.load(reader)), "");
    EXPECT_EQ(reader.getPosition(), static_cast<int64_t>(payload.getSize()));
    EXPECT_EQ(CUtf8::of(bank.getName()), "Bank");
    ASSERT_EQ(bank.getCount(), 7);
    for (int i = 0; i < 7; ++i)
    {
        const CRealRow& row = kFactoryRows[i];
        const CAudioPreset& preset = *bank.getPreset(i);
        EXPECT_EQ(CUtf8::of(preset.getName()), std::string("z4m1:") + row.name);
        EXPECT_EQ(preset.getEntryCount(), row.signal < 0 ? 5 : 6) << row.name;
        expectSingleReal(preset, "duration", row.duration);
        expectSingleReal(preset, "freq", row.freq);
        expectSingleReal(preset, "gain", row.gain);
        expectSingleReal(preset, "period", row.period);
        expectSingleReal(preset, "variation", row.variation);
        if (row.signal >= 0)
            expectSingleReal(preset, "signal", row.signal);
        else
            EXPECT_EQ(preset.findEntry(CString("modZumbelModule.signal")), nullptr);
    }
}

// One preset of the routing presets' source text: its name and its entries in order, each a
// kind ("string" or "real"), a key and the values as written.
struct CSourcePreset
{
    std::string name;
    struct CEntry
    {
        std::string kind;
        std::string key;
        std::vector<std::string> values;
    };
    std::vector<CEntry> entries;
};

// Reads Resources/Presets/RoutingPresets.txt as the compiler does: '#' starts a comment, a
// "preset" line opens a preset, "string" and "real" lines are its entries.
std::vector<CSourcePreset> readRoutingSource()
{
    std::ifstream source(std::string(KEL_SOURCE_DIR) + "/Resources/Presets/RoutingPresets.txt");
    std::vector<CSourcePreset> presets;
    std::string line;
    while (std::getline(source, line))
    {
        line = line.substr(0, line.find('#'));
        std::istringstream words(line);
        std::string first;
        if (!(words >> first))
            continue;
        if (first == "preset")
        {
            const size_t open = line.find('"');
            presets.push_back(CSourcePreset{line.substr(open + 1, line.rfind('"') - open - 1), {}});
        }
        else if ((first == "string" || first == "real") && !presets.empty())
        {
            CSourcePreset::CEntry entry{first, {}, {}};
            words >> entry.key;
            for (std::string value; words >> value;)
                entry.values.push_back(value);
            presets.back().entries.push_back(entry);
        }
    }
    return presets;
}

// One group of an entry: reals as they stand, strings as their texts.
void readEntry(const CAudioPreset& preset, const char* key, bool isString,
               std::vector<double>& reals, std::vector<std::string>& strings)
{
    CString path;
    CAudioParamStorage values;
    ASSERT_EQ(CErrorText::takeMessage(preset.readEntryValues(CString(key), path, values)), "")
        << key;
    EXPECT_EQ(CUtf8::of(path), std::string("audio.modMain.io-params.") + key);
    EXPECT_EQ(values.isString(), isString) << key;
    ASSERT_EQ(values.getGroupCount(), 1) << key;
    reals.clear();
    strings.clear();
    for (int i = 0; i < values.getGroupLength(0); ++i)
    {
        const double value = values.getGroupValues(0)[i];
        reals.push_back(value);
        if (isString)
            strings.push_back(CUtf8::of(values.getStringOf(value)));
    }
}

TEST(CAudioPresetFactoryTest, RoutingListHoldsEveryRoutingPresetOfItsSourceValueForValue)
{
    const CByteBuffer payload =
        embeddedPayload("AppDataGlobal_routing-presets", CAudioPresetBank::kListId);
    CAudioPresetBank bank;
    bool hasBank = false;
    CMemoryReader reader(payload.getData(), payload.getSize());
    ASSERT_EQ(CErrorText::takeMessage(bank.loadList(reader, hasBank)), "");
    EXPECT_TRUE(hasBank);
    EXPECT_EQ(CUtf8::of(bank.getName()), "");
    const std::vector<CSourcePreset> source = readRoutingSource();
    ASSERT_EQ(source.size(), 9u) << "the source text was not found or not read";
    ASSERT_EQ(bank.getCount(), 9);
    std::vector<double> reals;
    std::vector<std::string> strings;
    for (int i = 0; i < bank.getCount(); ++i)
    {
        const CSourcePreset& expected = source[static_cast<size_t>(i)];
        const CAudioPreset& preset = *bank.getPreset(i);
        SCOPED_TRACE(expected.name);
        EXPECT_EQ(CUtf8::of(preset.getName()), expected.name);
        EXPECT_EQ(preset.getEntryCount(), static_cast<int>(expected.entries.size()));
        for (const CSourcePreset::CEntry& entry : expected.entries)
        {
            const bool isString = entry.kind == "string";
            readEntry(preset, entry.key.c_str(), isString, reals, strings);
            if (isString)
            {
                EXPECT_EQ(strings, entry.values) << entry.key;
                // String ids run from 1 in order of appearance.
                for (size_t n = 0; n < reals.size(); ++n)
                    EXPECT_EQ(reals[n], static_cast<double>(n + 1)) << entry.key;
                continue;
            }
            ASSERT_EQ(reals.size(), entry.values.size()) << entry.key;
            for (size_t n = 0; n < reals.size(); ++n)
                EXPECT_EQ(reals[n], std::stod(entry.values[n])) << entry.key << " " << n;
        }
    }
}

TEST(CAudioPresetTest, PresetAndBankPayloadsAreByteExact)
{
    const std::vector<uint8_t> freq = realBlob("audio.modMain.modZumbelModule.freq", {440.0});
    const std::vector<uint8_t> gain = realBlob("audio.modMain.modZumbelModule.gain", {0.5});
    CAudioPreset preset(CString("z4m1:Two"));
    // Added out of order: written in key order.
    ASSERT_TRUE(preset.setEntry(CString("modZumbelModule.gain"), gain.data(), gain.size()));
    ASSERT_TRUE(preset.setEntry(CString("modZumbelModule.freq"), freq.data(), freq.size()));

    const std::vector<uint8_t> presetBytes = CBytes()
                                                 .named("z4m1:Two", 2)
                                                 .entry("modZumbelModule.freq", freq)
                                                 .entry("modZumbelModule.gain", gain)
                                                 .bytes;
    CMemoryWriteBuffer out;
    ASSERT_EQ(preset.save(out), nullptr);
    EXPECT_EQ(written(out), presetBytes);

    CAudioPresetBank bank(CString("Session Bank"));
    bank.addPreset(preset);
    bank.addPreset(CAudioPreset(CString("z4m1:Empty")));
    CMemoryWriteBuffer bankOut;
    ASSERT_EQ(bank.save(bankOut), nullptr);
    EXPECT_EQ(written(bankOut),
              CBytes().named("Session Bank", 2).raw(presetBytes).named("z4m1:Empty", 0).bytes);

    CMemoryWriteBuffer listOut;
    ASSERT_EQ(bank.saveList(listOut), nullptr);
    EXPECT_EQ(written(listOut), CBytes().u32(1).raw(written(bankOut)).bytes);

    // And back: the same bytes again.
    CAudioPresetBank back;
    CMemoryReader reader(bankOut.getData(), bankOut.getSize());
    ASSERT_EQ(back.load(reader), nullptr);
    CMemoryWriteBuffer again;
    ASSERT_EQ(back.save(again), nullptr);
    EXPECT_EQ(written(again), written(bankOut));
}

TEST(CAudioPresetTest, LoadTakesAnyOrderKeepsTheLastOfARepeatedKeyAndEmptyCounts)
{
    const std::vector<uint8_t> bytes = CBytes()
                                           .named("z4m1:Mixed", 3)
                                           .entry("b", {0x11})
                                           .entry("a", {0x22})
                                           .entry("b", {0x33, 0x44})
                                           .bytes;
    CAudioPreset preset;
    CMemoryReader reader(bytes.data(), bytes.size());
    ASSERT_EQ(preset.load(reader), nullptr);
    ASSERT_EQ(preset.getEntryCount(), 2);
    auto entry = preset.getEntries().begin();
    EXPECT_EQ(CUtf8::of(entry->first), "a");
    ++entry;
    EXPECT_EQ(CUtf8::of(entry->first), "b");
    ASSERT_EQ(entry->second.getSize(), 2u);
    EXPECT_EQ(entry->second.getData()[0], 0x33);

    // Shorter first on an equal prefix.
    CAudioPreset ordered;
    ASSERT_TRUE(ordered.setEntry(CString("sidechain-mute"), "x", 1));
    ASSERT_TRUE(ordered.setEntry(CString("sidechain"), "y", 1));
    EXPECT_EQ(CUtf8::of(ordered.getEntries().begin()->first), "sidechain");

    for (int32_t count : {0, -5})
    {
        const std::vector<uint8_t> empty =
            CBytes().named("z4m1:None", static_cast<uint32_t>(count)).bytes;
        CMemoryReader emptyReader(empty.data(), empty.size());
        ASSERT_EQ(preset.load(emptyReader), nullptr);
        EXPECT_EQ(preset.getEntryCount(), 0);
        EXPECT_EQ(CUtf8::of(preset.getName()), "z4m1:None");
    }
}

TEST(CAudioPresetTest, BlobsUpTo32BytesStayInlineWithoutChangingTheFormat)
{
    for (size_t size : {32u, 33u})
    {
        const std::vector<uint8_t> blob(size, 0x5a);
        CAudioPreset preset(CString("z4m1:Size"));
        ASSERT_TRUE(preset.setEntry(CString("k"), blob.data(), blob.size()));
        EXPECT_EQ(preset.findEntry(CString("k"))->isInline(), size == 32u);
        CMemoryWriteBuffer out;
        ASSERT_EQ(preset.save(out), nullptr);
        EXPECT_EQ(
            written(out),
            CBytes().named("z4m1:Size", 1).named("k", static_cast<uint32_t>(size)).raw(blob).bytes);
        CAudioPreset copy(preset);
        EXPECT_EQ(std::memcmp(copy.findEntry(CString("k"))->getData(), blob.data(), size), 0);
    }
}

TEST(CAudioPresetTest, NamesSplitAtTheFirstColon)
{
    CString id;
    CString name;
    CAudioPreset::splitName(CString("KLIO:Default Stereo"), id, name);
    EXPECT_EQ(CUtf8::of(id), "KLIO");
    EXPECT_EQ(CUtf8::of(name), "Default Stereo");
    CAudioPreset::splitName(CString("z4m1:A:B"), id, name);
    EXPECT_EQ(CUtf8::of(id), "z4m1");
    EXPECT_EQ(CUtf8::of(name), "A:B");
    CAudioPreset::splitName(CString("No colon"), id, name);
    EXPECT_EQ(CUtf8::of(id), "");
    EXPECT_EQ(CUtf8::of(name), "No colon");
    EXPECT_EQ(CUtf8::of(CAudioPreset::joinName(CString("z4m1"), CString("X"))), "z4m1:X");
}

TEST(CAudioPresetTest, BankLoadSizesTheArrayAndStopsAtADamagedPreset)
{
    CAudioPresetBank bank;
    bank.setCount(5);
    const std::vector<uint8_t> two =
        CBytes().named("B", 2).named("z4m1:1", 0).named("z4m1:2", 0).bytes;
    CMemoryReader reader(two.data(), two.size());
    ASSERT_EQ(bank.load(reader), nullptr);
    EXPECT_EQ(bank.getCount(), 2);

    // The third preset is cut short: the first two are read, the error says so.
    std::vector<uint8_t> cut = CBytes()
                                   .named("B", 3)
                                   .named("z4m1:x", 0)
                                   .named("z4m1:y", 0)
                                   .named("z4m1:z", 1)
                                   .named("key", 8)
                                   .bytes;
    CMemoryReader cutReader(cut.data(), cut.size());
    EXPECT_NE(CErrorText::takeMessage(bank.load(cutReader)), "");
    EXPECT_EQ(CUtf8::of(bank.getPreset(1)->getName()), "z4m1:y");

    const std::vector<uint8_t> huge = CBytes().named("B", 0x7fffffff).bytes;
    CMemoryReader hugeReader(huge.data(), huge.size());
    EXPECT_EQ(CErrorText::takeMessage(bank.load(hugeReader)), "Invalid preset count 2147483647.");

    const std::vector<uint8_t> bigBlob = CBytes().named("P", 1).named("k", 0x7ffffff0).bytes;
    CAudioPreset preset;
    CMemoryReader blobReader(bigBlob.data(), bigBlob.size());
    EXPECT_EQ(CErrorText::takeMessage(preset.load(blobReader)),
              "Invalid size 2147483632 of the value 'k'.");
}

TEST(CAudioPresetTest, CopiesAreDeepAndSizeTheTargetFirst)
{
    CAudioPresetBank source(CString("S"));
    CAudioPreset& first = source.addPreset(CAudioPreset(CString("z4m1:A")));
    const std::vector<uint8_t> blob(40, 7);
    ASSERT_TRUE(first.setEntry(CString("k"), blob.data(), blob.size()));
    CAudioPresetBank target;
    target.setCount(4);
    target = source;
    EXPECT_EQ(target.getCount(), 1);
    ASSERT_TRUE(first.setEntry(CString("k"), "z", 1));
    EXPECT_EQ(target.getPreset(0)->findEntry(CString("k"))->getSize(), 40u);
}

class CAudioPresetFileTest : public ::testing::Test
{
protected:
    std::string writeBlock(const char* name, const std::vector<uint8_t>& payload, uint32_t id)
    {
        CMemoryWriteBuffer out;
        EXPECT_EQ(out.writeCompressedData(payload.data(), payload.size(), id), nullptr);
        return folder.write(name, std::string(out.getData(), out.getData() + out.getSize()));
    }

    kel::test::CTempFolder folder{"kel-preset"};
};

TEST_F(CAudioPresetFileTest, FilesLoadThroughTheirBlockId)
{
    CAudioPreset preset(CString("z4m1:File"));
    ASSERT_TRUE(preset.setEntry(CString("k"), "v", 1));
    CMemoryWriteBuffer payload;
    ASSERT_EQ(preset.save(payload), nullptr);
    const std::string presetPath = writeBlock("one.cpf", written(payload), CAudioPreset::kBlockId);

    CAudioPreset loaded;
    ASSERT_EQ(CErrorText::takeMessage(loaded.loadFile(CString(presetPath.c_str()))), "");
    EXPECT_EQ(CUtf8::of(loaded.getName()), "z4m1:File");
    EXPECT_EQ(loaded.getEntryCount(), 1);

    // writeBlock is readBlock's counterpart.
    CMemoryWriteBuffer block;
    ASSERT_EQ(loaded.writeBlock(block), nullptr);
    CMemoryReader blockReader(block.getData(), block.getSize());
    CAudioPreset again;
    ASSERT_EQ(again.readBlock(blockReader), nullptr);
    EXPECT_EQ(CUtf8::of(again.getName()), "z4m1:File");

    // A preset file handed to a bank fails with the id message and names the file.
    CAudioPresetBank bank(CString("Kept"));
    kel::CError* error = bank.loadFile(CString(presetPath.c_str()));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(std::string(error->getMessage()),
              "Invalid ID encountered when reading compressed data (expected 1802396257, read "
              "1936879713).");
    EXPECT_NE(takeFrameNames(error).find(presetPath), std::string::npos);
    EXPECT_EQ(CUtf8::of(bank.getName()), "Kept");
}

TEST_F(CAudioPresetFileTest, DamagedFilesFailAndChangeNothing)
{
    CAudioPreset preset(CString("z4m1:Kept"));
    ASSERT_TRUE(preset.setEntry(CString("k"), "v", 1));

    // A broken head CRC.
    CMemoryWriteBuffer out;
    const uint8_t payload[] = {1, 2, 3};
    ASSERT_EQ(out.writeCompressedData(payload, sizeof payload, CAudioPreset::kBlockId), nullptr);
    std::string bytes(out.getData(), out.getData() + out.getSize());
    bytes[9] = static_cast<char>(bytes[9] ^ 0x40);
    const std::string crcPath = folder.write("crc.cpf", bytes);
    EXPECT_EQ(
        CErrorText::takeMessage(preset.loadFile(CString(crcPath.c_str()))).rfind("Invalid CRC", 0),
        0u);

    // A sound block whose payload is cut inside an entry.
    const std::vector<uint8_t> cut = CBytes().named("z4m1:New", 1).named("k", 9).bytes;
    const std::string cutPath = writeBlock("cut.cpf", cut, CAudioPreset::kBlockId);
    kel::CError* error = preset.loadFile(CString(cutPath.c_str()));
    ASSERT_NE(error, nullptr);
    EXPECT_NE(takeFrameNames(error).find(cutPath), std::string::npos);

    // A damaged zlib stream.
    std::string stream = bytes;
    stream[9] = static_cast<char>(stream[9] ^ 0x40);
    for (size_t i = 12; i < stream.size(); ++i)
        stream[i] = static_cast<char>(0xff);
    const std::string zipPath = folder.write("zip.cpf", stream);
    EXPECT_NE(CErrorText::takeMessage(preset.loadFile(CString(zipPath.c_str()))), "");

    // A missing file.
    EXPECT_NE(CErrorText::takeMessage(preset.loadFile(CString(folder.file("gone.cpf").c_str()))),
              "");

    EXPECT_EQ(CUtf8::of(preset.getName()), "z4m1:Kept");
    ASSERT_EQ(preset.getEntryCount(), 1);
    EXPECT_EQ(preset.findEntry(CString("k"))->getData()[0], 'v');
}

// ---- value blobs ----

TEST(CAudioPresetValueBlobTest, OtherVersionsFailWithTheUnkeyedMessage)
{
    const std::vector<uint8_t> blob = CBytes().u32(2).u32(1).u32(0).u32(0).bytes;
    CAudioParamStorage storage(1, CAudioParamStorage::kTypeReal);
    CMemoryReader reader(blob.data(), blob.size());
    kel::CError* error = storage.load(reader);
    ASSERT_NE(error, nullptr);
    // The key of this one message has no "@": the whole text stands as the message.
    EXPECT_EQ(std::string(error->getMessage()),
              "kelstr_CAudioParamStorage_load_VersionError Unsupported data set version 2.");
    delete error;
}

TEST(CAudioPresetValueBlobTest, OneGroupSavesAsGroupZeroAndEmptyStringListsStayMinimal)
{
    CAudioParamStorage eight(1, CAudioParamStorage::kTypeReal);
    for (int g = 0; g < 8; ++g)
        ASSERT_TRUE(eight.storeValue(g, 0, 10.0 + g));
    CMemoryWriteBuffer out;
    ASSERT_EQ(eight.save(out, 3), nullptr);
    EXPECT_EQ(written(out), CBytes().u32(1).u32(1).u32(0).u32(1).u32(1).real(13.0).bytes);

    CAudioParamStorage names(1, CAudioParamStorage::kTypeString);
    ASSERT_TRUE(names.setGroupCount(1));
    CMemoryWriteBuffer stringOut;
    ASSERT_EQ(names.save(stringOut), nullptr);
    // Version, esize, dtype, G = 1, S = 0, N = 0.
    EXPECT_EQ(written(stringOut), CBytes().u32(1).u32(1).u32(1).u32(1).u32(0).u32(0).bytes);
}

} // namespace
