#include "Audio/VST/AEffEditor.h"
#include "Audio/VST/AudioEffectX.h"
#include "Core/CAllocator.h"
#include "CHostedPlugin.h"
#include "CVstHost.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kel
{
namespace
{

// An effect with nothing but the base layer's defaults: one program and `Params` parameters.
template <int Params> AEffect* bareEntry(VstHostCallback host)
{
    return (new AudioEffectX(host, 1, Params))->getAeffect();
}

AudioEffectX* bareOf(CHostedPlugin& plugin)
{
    return static_cast<AudioEffectX*>(AudioEffect::fromAeffect(plugin.getEffect()));
}

class CRecordingEditor : public AEffEditor
{
public:
    explicit CRecordingEditor(AudioEffect* owner, int* destroyedCount)
        : AEffEditor(owner), destroyed(destroyedCount)
    {
    }
    ~CRecordingEditor() override { ++*destroyed; }
    void idle() override { ++idleCalls; }

    int idleCalls = 0;

private:
    int* destroyed;
};

// A host and its view of the plug-in, which unloads whatever is left when the test ends.
class AudioEffectTest : public ::testing::Test
{
protected:
    CVstHost host;
    CHostedPlugin plugin{host};
};

TEST_F(AudioEffectTest, RecordStartsWithFormatDefaults)
{
    ASSERT_EQ(plugin.attach(&bareEntry<1>, "bare"), nullptr);
    AEffect* effect = plugin.getEffect();
    EXPECT_EQ(effect->magic, kVstEffectMagic);
    EXPECT_EQ(effect->numInputs, 1);
    EXPECT_EQ(effect->numOutputs, 2);
    EXPECT_EQ(effect->flags, kEffectFlagCanReplacing);
    auto* self = AudioEffect::fromAeffect(effect);
    ASSERT_NE(self, nullptr);
    EXPECT_FLOAT_EQ(self->getSampleRate(), 44100.0f);
    EXPECT_EQ(self->getBlockSize(), 1024);
    EXPECT_EQ(plugin.dispatch(kEffGetVstVersion), 2400);
    EXPECT_EQ(plugin.close(), 1);
}

TEST_F(AudioEffectTest, TheEditorIsIdledReplacedAndDeletedWithTheEffectWithoutLeaks)
{
    const int64_t liveBefore = CAllocator::liveBlocks();
    int editorsDestroyed = 0;
    ASSERT_EQ(plugin.attach(&bareEntry<1>, "bare"), nullptr);
    AudioEffectX* bare = bareOf(plugin);
    auto* first = new CRecordingEditor(bare, &editorsDestroyed);
    bare->setEditor(first);
    EXPECT_NE(bare->getAeffect()->flags & kEffectFlagHasEditor, 0);
    plugin.dispatch(kEffEditIdle);
    plugin.dispatch(kEffEditIdle);
    EXPECT_EQ(first->idleCalls, 2);
    // A second editor replaces the first, which goes; none at all clears the flag.
    bare->setEditor(new CRecordingEditor(bare, &editorsDestroyed));
    EXPECT_EQ(editorsDestroyed, 1);
    bare->setEditor(nullptr);
    EXPECT_EQ(editorsDestroyed, 2);
    EXPECT_EQ(bare->getAeffect()->flags & kEffectFlagHasEditor, 0);
    // Closing takes the effect's editor with it.
    bare->setEditor(new CRecordingEditor(bare, &editorsDestroyed));
    EXPECT_EQ(plugin.close(), 1);
    EXPECT_EQ(editorsDestroyed, 3);
    EXPECT_EQ(CAllocator::liveBlocks(), liveBefore);
}

TEST_F(AudioEffectTest, EditorCallsWithoutEditorAreHarmless)
{
    ASSERT_EQ(plugin.attach(&bareEntry<1>, "bare"), nullptr);
    ERect* rect = reinterpret_cast<ERect*>(&host); // must be overwritten or left alone, not read
    EXPECT_EQ(plugin.dispatch(kEffEditGetRect, 0, 0, &rect), 0);
    EXPECT_EQ(plugin.dispatch(kEffEditIdle), 0);
    int parent = 0;
    EXPECT_EQ(plugin.dispatch(kEffEditOpen, 0, 0, &parent), 0);
    EXPECT_EQ(plugin.dispatch(kEffEditClose), 0);
    EXPECT_EQ(plugin.dispatch(kEffEditKeyDown, 'a', 0), 0);
}

// What the bare effect answers to an opcode that brings no data.
intptr_t answerWithoutData(int32_t opcode)
{
    if (opcode == kEffGetVstVersion)
        return 2400;
    if (opcode == kEffGetCurrentMidiProgram)
        return -1;
    return 0;
}

TEST_F(AudioEffectTest, NullPointersFromTheHostAnswerZero)
{
    ASSERT_EQ(plugin.attach(&bareEntry<1>, "bare"), nullptr);
    AEffect* effect = plugin.getEffect();
    for (int32_t opcode = 0; opcode <= 80; ++opcode)
    {
        if (opcode == kEffClose)
            continue;
        EXPECT_EQ(plugin.dispatch(opcode, 0, 0, nullptr), answerWithoutData(opcode))
            << "opcode " << opcode;
    }
    // The record's own entries with a foreign or null record.
    AEffect foreign = {};
    EXPECT_EQ(effect->dispatcher(nullptr, kEffGetVstVersion, 0, 0, nullptr, 0.0f), 0);
    EXPECT_EQ(effect->dispatcher(&foreign, kEffClose, 0, 0, nullptr, 0.0f), 0);
    EXPECT_EQ(effect->getParameter(nullptr, 0), 0.0f);
    effect->setParameter(nullptr, 0, 0.5f);
    effect->processReplacing(nullptr, nullptr, nullptr, 64);
    effect->processDoubleReplacing(nullptr, nullptr, nullptr, 64);
    effect->process(nullptr, nullptr, nullptr, 64);
}

TEST_F(AudioEffectTest, HostCallsCarryTheirArguments)
{
    host.setTempo(97.5);
    ASSERT_EQ(plugin.attach(&bareEntry<4>, "bare"), nullptr);
    AudioEffectX* bare = bareOf(plugin);
    EXPECT_EQ(bare->getMasterVersion(), 2400);
    EXPECT_TRUE(bare->sizeWindow(446, 215));
    bare->beginEdit(3);
    bare->setParameterAutomated(3, 0.25f);
    bare->endEdit(3);
    EXPECT_TRUE(bare->ioChanged());
    // The host's record reaches the caller as it is.
    const VstTimeInfo* info = bare->getTimeInfo(kTimeTempoValid);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->tempo, 97.5);
    EXPECT_NE(info->flags & kTimeTempoValid, 0);
    host.setTimeInfoEnabled(false);
    EXPECT_EQ(bare->getTimeInfo(kTimeTempoValid), nullptr);
    EXPECT_EQ(bare->canHostDo("sizeWindow"), 1);
    EXPECT_EQ(bare->canHostDo(nullptr), 0);

    const auto sizes = plugin.getCallbacks(kHostSizeWindow);
    ASSERT_EQ(sizes.size(), 1u);
    EXPECT_EQ(sizes[0].index, 446);
    EXPECT_EQ(sizes[0].value, 215);
    const auto automated = plugin.getCallbacks(kHostAutomate);
    ASSERT_EQ(automated.size(), 1u);
    EXPECT_EQ(automated[0].index, 3);
    EXPECT_FLOAT_EQ(automated[0].opt, 0.25f);
    EXPECT_EQ(plugin.getCallbacks(kHostBeginEdit).at(0).index, 3);
    EXPECT_EQ(plugin.getCallbacks(kHostEndEdit).at(0).index, 3);
    EXPECT_EQ(plugin.getCallbacks(kHostGetTime).at(0).value, kTimeTempoValid);
}

TEST_F(AudioEffectTest, HostStringsStayEmptyWhenTheHostDoesNotAnswer)
{
    host.setVendor(""); // the host then answers 0
    host.setProduct("Test Host");
    ASSERT_EQ(plugin.attach(&bareEntry<1>, "bare"), nullptr);
    AudioEffectX* bare = bareOf(plugin);
    char text[kVstHostStringBytes];
    std::memset(text, 'x', sizeof(text));
    EXPECT_FALSE(bare->getHostVendorString(text));
    EXPECT_STREQ(text, "");
    EXPECT_TRUE(bare->getHostProductString(text));
    EXPECT_STREQ(text, "Test Host");
}

TEST_F(AudioEffectTest, CopyTextCutsToTheBufferAndKeepsTheByteAfterIt)
{
    char buffer[9];
    std::memset(buffer, '#', sizeof(buffer));
    AudioEffect::copyText(buffer, "frequency", 8);
    EXPECT_STREQ(buffer, "frequen");
    EXPECT_EQ(buffer[8], '#');
    AudioEffect::copyText(buffer, nullptr, 8);
    EXPECT_STREQ(buffer, "");
    AudioEffect::copyText(buffer, "abc", 0); // no room at all: nothing is written
    EXPECT_STREQ(buffer, "");
}

} // namespace
} // namespace kel
