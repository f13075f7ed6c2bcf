#include "Audio/CAudioParam.h"
#include "Audio/CAudioParamCollector.h"
#include "Audio/CAudioParamContext.h"
#include "Audio/VST/CAudioWrapperVST.h"
#include "Core/CGlobalData.h"
#include "Core/CLocalData.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "CWrapperEntry.h"
#include "Support/CTempFolder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <vector>

namespace kel
{
namespace
{

constexpr int32_t kPeriod = 1;
constexpr int32_t kDuration = 2;
constexpr int32_t kFreq = 3;
constexpr int32_t kGain = 4;

// What the host keeps of an instance: its state as chunks and its programs, seen through the
// AEffect record the way a host sees them.
class CAudioWrapperVSTStateTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // No user folders: nothing of the machine's user is read or written.
        CGlobalData::get().useFolders(CString(), CString());
        CLocalData::get().useFolders(CString(), CString());
        effect = open();
    }
    void TearDown() override
    {
        for (auto& opened : plugins)
            EXPECT_EQ(opened->close(), 1);
        CGlobalData::get().reset();
        CLocalData::get().reset();
    }

    // One more stereo instance, hosted on its own.
    AEffect* open()
    {
        auto made = std::make_unique<CHostedPlugin>(host);
        EXPECT_EQ(test::CErrorText::takeChain(made->attach(&CWrapperEntry::make<2>, "stereo")), "");
        AEffect* opened = made->getEffect();
        if (opened)
            plugins.push_back(std::move(made));
        return opened;
    }

    // Any dispatcher call to one of the instances, through its host.
    intptr_t dispatch(AEffect* to, int32_t opcode, int32_t index = 0, intptr_t value = 0,
                      void* ptr = nullptr)
    {
        for (auto& opened : plugins)
            if (opened->getEffect() == to)
                return opened->dispatch(opcode, index, value, ptr);
        ADD_FAILURE() << "no such instance";
        return 0;
    }

    std::vector<uint8_t> chunk(AEffect* from, bool isPreset)
    {
        void* data = nullptr;
        const intptr_t bytes = dispatch(from, kEffGetChunk, isPreset ? 1 : 0, 0, &data);
        if (bytes <= 0 || !data)
            return {};
        const auto* begin = static_cast<const uint8_t*>(data);
        return std::vector<uint8_t>(begin, begin + bytes);
    }

    intptr_t load(AEffect* into, std::vector<uint8_t> bytes, bool isPreset)
    {
        return dispatch(into, kEffSetChunk, isPreset ? 1 : 0, static_cast<intptr_t>(bytes.size()),
                        bytes.data());
    }

    static std::vector<float> values(AEffect* from)
    {
        std::vector<float> out;
        for (int32_t index = 0; index < from->numParams; ++index)
            out.push_back(from->getParameter(from, index));
        return out;
    }

    static void change(AEffect* target)
    {
        target->setParameter(target, kPeriod, 0.2f);
        target->setParameter(target, kDuration, 0.7f);
        target->setParameter(target, kFreq, 0.35f);
        target->setParameter(target, kGain, 0.6f);
    }

    CVstHost host;
    std::vector<std::unique_ptr<CHostedPlugin>> plugins;
    AEffect* effect = nullptr;
};

TEST_F(CAudioWrapperVSTStateTest, ChunksHaveReservedZerosThenOneTaggedBlock)
{
    ASSERT_NE(effect, nullptr);
    for (bool isPreset : {false, true})
    {
        const std::vector<uint8_t> bytes = chunk(effect, isPreset);
        ASSERT_GT(bytes.size(), 20u);
        for (int n = 0; n < 16; ++n)
            EXPECT_EQ(bytes[static_cast<size_t>(n)], 0) << n;
        EXPECT_EQ(std::memcmp(bytes.data() + 16, isPreset ? "aprs" : "abnk", 4), 0);
    }
}

TEST_F(CAudioWrapperVSTStateTest, BankAndPresetChunksRoundTripByteForByte)
{
    ASSERT_NE(effect, nullptr);
    dispatch(effect, kEffSetProgram, 0, 2);
    change(effect);
    for (bool isPreset : {false, true})
    {
        const std::vector<uint8_t> saved = chunk(effect, isPreset);
        AEffect* fresh = open();
        ASSERT_NE(fresh, nullptr);
        // As hosts restore a project: the program first, then the chunk.
        dispatch(fresh, kEffSetProgram, 0, 2);
        ASSERT_EQ(load(fresh, saved, isPreset), 1);
        EXPECT_EQ(chunk(fresh, isPreset), saved) << (isPreset ? "preset" : "bank");
        EXPECT_EQ(values(fresh), values(effect));
        EXPECT_EQ(dispatch(fresh, kEffGetProgram), 2);
    }
}

TEST_F(CAudioWrapperVSTStateTest, ShortDamagedOrMistaggedChunksChangeNothing)
{
    ASSERT_NE(effect, nullptr);
    change(effect);
    const std::vector<float> before = values(effect);
    const std::vector<uint8_t> bank = chunk(effect, false);
    const std::vector<uint8_t> preset = chunk(effect, true);
    AEffect* other = open();
    ASSERT_NE(other, nullptr);
    const std::vector<float> fresh = values(other);
    const std::vector<uint8_t> freshBank = chunk(other, false);

    // Sixteen reserved bytes or fewer: an empty state, accepted.
    std::vector<uint8_t> copy = bank;
    for (intptr_t size = 0; size <= 16; ++size)
        EXPECT_EQ(dispatch(other, kEffSetChunk, 0, size, copy.data()), 1) << size;
    // A bank given as a preset and the other way round.
    EXPECT_EQ(load(other, bank, true), 0);
    EXPECT_EQ(load(other, preset, false), 0);
    // Cut short, and a flipped byte in the compressed data.
    EXPECT_EQ(
        load(other, std::vector<uint8_t>(bank.begin(), bank.begin() + bank.size() * 2 / 3), false),
        0);
    std::vector<uint8_t> flipped = bank;
    ASSERT_GT(flipped.size(), 40u);
    flipped.at(34) ^= 0x5A;
    EXPECT_EQ(load(other, flipped, false), 0);
    EXPECT_EQ(values(other), fresh);
    EXPECT_EQ(chunk(other, false), freshBank);
    EXPECT_EQ(values(effect), before);
}

TEST_F(CAudioWrapperVSTStateTest, EachProgramKeepsItsOwnChangesAndOthersAreRefused)
{
    // The factory values each program brings are checked through the built plug-in by the host
    // replay tests, and exactly by the registry's factory preset tests.
    ASSERT_NE(effect, nullptr);
    ASSERT_EQ(effect->numPrograms, 7);
    // Each program keeps what was changed in it while another was in front.
    dispatch(effect, kEffSetProgram, 0, 3);
    effect->setParameter(effect, kFreq, 0.9f);
    const float changed = effect->getParameter(effect, kFreq);
    dispatch(effect, kEffSetProgram, 0, 4);
    EXPECT_NE(effect->getParameter(effect, kFreq), changed);
    dispatch(effect, kEffSetProgram, 0, 3);
    EXPECT_EQ(effect->getParameter(effect, kFreq), changed);
    // Out of range: nothing.
    dispatch(effect, kEffSetProgram, 0, 7);
    dispatch(effect, kEffSetProgram, 0, -1);
    EXPECT_EQ(dispatch(effect, kEffGetProgram), 3);
}

TEST_F(CAudioWrapperVSTStateTest, AProgramNamedAfterTheChunkThatMadeItCurrentKeepsTheState)
{
    // Hosts that restore the program first and the chunk second: the round trip above.
    ASSERT_NE(effect, nullptr);
    dispatch(effect, kEffSetProgram, 0, 5);
    change(effect);
    AEffect* chunkFirst = open();
    ASSERT_NE(chunkFirst, nullptr);
    ASSERT_EQ(load(chunkFirst, chunk(effect, false), false), 1);
    dispatch(chunkFirst, kEffSetProgram, 0, 5);
    EXPECT_EQ(values(chunkFirst), values(effect));
    EXPECT_EQ(dispatch(chunkFirst, kEffGetProgram), 5);
}

TEST_F(CAudioWrapperVSTStateTest, ProgramNamesFollowRenames)
{
    ASSERT_NE(effect, nullptr);
    char name[kVstProgramNameBytes + 1];
    char newName[] = "My very own program name, long";
    dispatch(effect, kEffSetProgram, 0, 1);
    dispatch(effect, kEffSetProgramName, 0, 0, newName);
    std::memset(name, '#', sizeof(name));
    dispatch(effect, kEffGetProgramName, 0, 0, name);
    EXPECT_STREQ(name, "My very own program nam");
    EXPECT_EQ(name[kVstProgramNameBytes], '#');
    // The new name travels with the bank.
    AEffect* fresh = open();
    ASSERT_NE(fresh, nullptr);
    ASSERT_EQ(load(fresh, chunk(effect, false), false), 1);
    std::memset(name, 0, sizeof(name));
    dispatch(fresh, kEffGetProgramNameIndexed, 1, 0, name);
    EXPECT_STREQ(name, "My very own program nam");
}

TEST(CAudioWrapperSettingsTest, ProcessWideSettingsShapeEveryNewInstance)
{
    test::CTempFolder user;
    test::CTempFolder common;
    CGlobalData::get().useFolders(CString::fromUtf8(user.path().c_str()),
                                  CString::fromUtf8(common.path().c_str()));
    CLocalData::get().useFolders(CString::fromUtf8(user.path().c_str()),
                                 CString::fromUtf8(common.path().c_str()));
    ASSERT_EQ(CGlobalData::get().writeString(CString("force-2ch"), CString("true")), nullptr);
    ASSERT_EQ(CGlobalData::get().writeString(CString("vst-func-sync"), CString("1")), nullptr);
    ASSERT_EQ(CLocalData::get().writeString(CString("integration-time"), CString("1234")), nullptr);

    CVstHost host;
    CHostedPlugin plugin(host);
    ASSERT_EQ(test::CErrorText::takeChain(plugin.attach(&CWrapperEntry::make<0>, "product")), "");
    AEffect* effect = plugin.getEffect();
    auto* wrapper = static_cast<CAudioWrapperVST*>(AudioEffect::fromAeffect(effect));
    // A host that could take eight channels gets two, and every call is serialised.
    EXPECT_EQ(effect->numOutputs, 2);
    EXPECT_TRUE(wrapper->hasSyncLock());
    // The shared meter time is put in the parameter when the instance starts...
    plugin.open();
    plugin.start(48000.0f, 512);
    CAudioParam* rms =
        wrapper->getParamCollector()->findParam(CString("plugin.modMain.meter-rmstime"));
    ASSERT_NE(rms, nullptr);
    EXPECT_DOUBLE_EQ(rms->getValue(0, 0), 1234.0);
    // ...and a change by the user goes back to the setting, for every instance.
    CAudioParamContext context;
    rms->setValue(0, 0, 500.0, context);
    context.runDeferred();
    CString stored;
    ASSERT_EQ(CLocalData::get().readString(CString("integration-time"), stored), nullptr);
    double storedValue = 0.0;
    EXPECT_TRUE(stored.parseDouble(storedValue));
    EXPECT_DOUBLE_EQ(storedValue, 500.0);
    EXPECT_EQ(plugin.close(), 1);
    CGlobalData::get().reset();
    CLocalData::get().reset();
}

TEST(CAudioWrapperIdentityTest, PluginCodeAndVersionForms)
{
    uint32_t code = 0;
    CError* error = CAudioWrapper::acquirePluginCode(CString("KZmb"), code);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(code, 0x4B5A6D62u);
    for (const char* bad : {"KZm", "KZmbb", ""})
    {
        error = CAudioWrapper::acquirePluginCode(CString(bad), code);
        ASSERT_NE(error, nullptr) << bad;
        EXPECT_NE(std::strstr(error->getMessage(), "Invalid plug-in code in string"), nullptr);
        delete error;
    }

    int major = -1, minor = -1, micro = -1;
    error = CAudioWrapper::parseVersion(CString("2.1"), major, minor, micro);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ((major << 16) | (minor << 8) | micro, 0x020100);
    error = CAudioWrapper::parseVersion(CString("1.10.3"), major, minor, micro);
    EXPECT_EQ(error, nullptr);
    EXPECT_EQ(minor, 10);
    EXPECT_EQ(micro, 3);
    for (const char* bad : {"2", "2.", ".1", "2.1.0.4", "2.x", "v2.1", "", "2..1"})
    {
        error = CAudioWrapper::parseVersion(CString(bad), major, minor, micro);
        ASSERT_NE(error, nullptr) << bad;
        EXPECT_NE(std::strstr(error->getMessage(), "Invalid version specification in string"),
                  nullptr);
        delete error;
    }
}

} // namespace
} // namespace kel
