#include "Audio/VST/AEffEditor.h"
#include "Audio/VST/AudioEffectX.h"
#include "Core/CAllocator.h"
#include "Support/CFakeHost.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kel
{
namespace
{

// An effect with nothing but the base layer's defaults.
AEffect* makeBareEffect(CFakeHost& host)
{
    auto* effect = new AudioEffectX(host.callback(), 1, 1);
    return effect->getAeffect();
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

TEST(AudioEffect, RecordStartsWithFormatDefaults)
{
    CFakeHost host;
    AEffect* effect = makeBareEffect(host);
    EXPECT_EQ(effect->magic, kVstEffectMagic);
    EXPECT_EQ(effect->numInputs, 1);
    EXPECT_EQ(effect->numOutputs, 2);
    EXPECT_EQ(effect->flags, kEffectFlagCanReplacing);
    auto* self = AudioEffect::fromAeffect(effect);
    ASSERT_NE(self, nullptr);
    EXPECT_FLOAT_EQ(self->getSampleRate(), 44100.0f);
    EXPECT_EQ(self->getBlockSize(), 1024);
    EXPECT_EQ(CFakeHost::dispatch(effect, kEffGetVstVersion), 2400);
    EXPECT_EQ(CFakeHost::close(effect), 1);
}

TEST(AudioEffect, CloseDeletesEffectAndEditorWithoutLeaks)
{
    CFakeHost host;
    const int64_t liveBefore = CAllocator::liveBlocks();
    int editorsDestroyed = 0;
    auto* bare = new AudioEffectX(host.callback(), 1, 1);
    bare->setEditor(new CRecordingEditor(bare, &editorsDestroyed));
    EXPECT_NE(bare->getAeffect()->flags & kEffectFlagHasEditor, 0);
    EXPECT_EQ(CFakeHost::close(bare->getAeffect()), 1);
    EXPECT_EQ(editorsDestroyed, 1);
    EXPECT_EQ(CAllocator::liveBlocks(), liveBefore);
}

TEST(AudioEffect, ReplacingAnEditorDeletesTheOldOne)
{
    CFakeHost host;
    int editorsDestroyed = 0;
    auto* bare = new AudioEffectX(host.callback(), 1, 1);
    bare->setEditor(new CRecordingEditor(bare, &editorsDestroyed));
    bare->setEditor(new CRecordingEditor(bare, &editorsDestroyed));
    EXPECT_EQ(editorsDestroyed, 1);
    bare->setEditor(nullptr);
    EXPECT_EQ(editorsDestroyed, 2);
    EXPECT_EQ(bare->getAeffect()->flags & kEffectFlagHasEditor, 0);
    CFakeHost::close(bare->getAeffect());
}

TEST(AudioEffect, EditorCallsWithoutEditorAreHarmless)
{
    CFakeHost host;
    AEffect* effect = makeBareEffect(host);
    ERect* rect = reinterpret_cast<ERect*>(&host); // must be overwritten or left alone, not read
    EXPECT_EQ(CFakeHost::dispatch(effect, kEffEditGetRect, 0, 0, &rect), 0);
    EXPECT_EQ(CFakeHost::dispatch(effect, kEffEditIdle), 0);
    int parent = 0;
    EXPECT_EQ(CFakeHost::dispatch(effect, kEffEditOpen, 0, 0, &parent), 0);
    EXPECT_EQ(CFakeHost::dispatch(effect, kEffEditClose), 0);
    EXPECT_EQ(CFakeHost::dispatch(effect, kEffEditKeyDown, 'a', 0), 0);
    CFakeHost::close(effect);
}

TEST(AudioEffect, EditIdleReachesTheEditor)
{
    CFakeHost host;
    int editorsDestroyed = 0;
    auto* bare = new AudioEffectX(host.callback(), 1, 1);
    auto* editor = new CRecordingEditor(bare, &editorsDestroyed);
    bare->setEditor(editor);
    CFakeHost::dispatch(bare->getAeffect(), kEffEditIdle);
    CFakeHost::dispatch(bare->getAeffect(), kEffEditIdle);
    EXPECT_EQ(editor->idleCalls, 2);
    CFakeHost::close(bare->getAeffect());
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

TEST(AudioEffect, NullPointersFromTheHostAnswerZero)
{
    CFakeHost host;
    AEffect* effect = makeBareEffect(host);
    for (int32_t opcode = 0; opcode <= 80; ++opcode)
    {
        if (opcode == kEffClose)
            continue;
        EXPECT_EQ(CFakeHost::dispatch(effect, opcode, 0, 0, nullptr), answerWithoutData(opcode))
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
    CFakeHost::close(effect);
}

TEST(AudioEffect, HostCallsCarryTheirArguments)
{
    CFakeHost host;
    auto* bare = new AudioEffectX(host.callback(), 1, 4);
    EXPECT_EQ(bare->getMasterVersion(), 2400);
    EXPECT_TRUE(bare->sizeWindow(446, 215));
    bare->beginEdit(3);
    bare->setParameterAutomated(3, 0.25f);
    bare->endEdit(3);
    EXPECT_TRUE(bare->ioChanged());
    EXPECT_EQ(bare->getTimeInfo(kTimeTempoValid), &host.timeInfo);
    host.answerTimeInfo = false;
    EXPECT_EQ(bare->getTimeInfo(kTimeTempoValid), nullptr);
    EXPECT_EQ(bare->canHostDo("sizeWindow"), 1);
    EXPECT_EQ(bare->canHostDo(nullptr), 0);

    const auto sizes = host.callsOf(kHostSizeWindow);
    ASSERT_EQ(sizes.size(), 1u);
    EXPECT_EQ(sizes[0].index, 446);
    EXPECT_EQ(sizes[0].value, 215);
    const auto automated = host.callsOf(kHostAutomate);
    ASSERT_EQ(automated.size(), 1u);
    EXPECT_EQ(automated[0].index, 3);
    EXPECT_FLOAT_EQ(automated[0].opt, 0.25f);
    EXPECT_EQ(host.callsOf(kHostBeginEdit).at(0).index, 3);
    EXPECT_EQ(host.callsOf(kHostEndEdit).at(0).index, 3);
    EXPECT_EQ(host.callsOf(kHostGetTime).at(0).value, kTimeTempoValid);
    CFakeHost::close(bare->getAeffect());
}

TEST(AudioEffect, HostStringsStayEmptyWhenTheHostDoesNotAnswer)
{
    CFakeHost host;
    host.vendor[0] = 0; // the fake host then answers 0
    auto* bare = new AudioEffectX(host.callback(), 1, 1);
    char text[kVstHostStringBytes];
    std::memset(text, 'x', sizeof(text));
    EXPECT_FALSE(bare->getHostVendorString(text));
    EXPECT_STREQ(text, "");
    EXPECT_TRUE(bare->getHostProductString(text));
    EXPECT_STREQ(text, "Fake Host");
    CFakeHost::close(bare->getAeffect());
}

TEST(AudioEffect, CopyTextCutsToTheBufferAndKeepsTheByteAfterIt)
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
