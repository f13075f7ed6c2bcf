#include "Audio/CAudioInterfaceMessage.h"
#include "Audio/CAudioInterfaceTestTree.h"
#include "Audio/CAudioInterfaceVizProcessor.h"
#include "Audio/CAudioParamUndoRecord.h"
#include "Audio/CAudioPreset.h"
#include "Audio/CAudioPresetBank.h"
#include "Core/CApplication.h"
#include "Core/CMemoryWriteBuffer.h"
#include "Core/CNotifyServer.h"
#include "Core/Platform/CRunLoop.h"
#include "Core/Platform/CTickClock.h"
#include "Support/CErrorText.h"
#include "Support/CUtf8.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <thread>

using kel::CAudioInterfaceMessage;
using kel::CMemoryWriteBuffer;
using kel::CString;
using kel::ifacetest::CInterfaceTest;
using kel::ifacetest::CRecordingParamListener;
using kel::ifacetest::CRecordingRegistryListener;
using kel::test::CErrorText;
using kel::test::CUtf8;

namespace
{

// A raw client message: a type and int32 fields, or a type, a string and int32 fields.
std::vector<uint8_t> message(int32_t type, std::vector<int32_t> ints = {},
                             const char* textField = nullptr)
{
    CMemoryWriteBuffer out(64);
    EXPECT_EQ(CErrorText::takeMessage(out.writeInt32(type)), "");
    if (textField)
    {
        EXPECT_EQ(CErrorText::takeMessage(out.writeString(CString(textField))), "");
    }
    for (int32_t value : ints)
        EXPECT_EQ(CErrorText::takeMessage(out.writeInt32(value)), "");
    return std::vector<uint8_t>(out.getData(), out.getData() + out.getSize());
}

std::vector<uint8_t> savedBytes(const kel::CAudioPreset& preset)
{
    CMemoryWriteBuffer out(256);
    EXPECT_EQ(CErrorText::takeMessage(preset.save(out)), "");
    return std::vector<uint8_t>(out.getData(), out.getData() + out.getSize());
}

std::vector<uint8_t> savedBytes(const kel::CAudioPresetBank& bank)
{
    CMemoryWriteBuffer out(256);
    EXPECT_EQ(CErrorText::takeMessage(bank.save(out)), "");
    return std::vector<uint8_t>(out.getData(), out.getData() + out.getSize());
}

class CAudioInterfaceTest : public CInterfaceTest
{
protected:
    std::string sendRaw(const CUi& ui, const std::vector<uint8_t>& bytes)
    {
        return CErrorText::takeMessage(ui.connector->sendToBase(bytes.data(), bytes.size()));
    }
};

TEST_F(CAudioInterfaceTest, FaultyClientMessagesAreRejectedAndTheNextOneWorks)
{
    CUi ui = makeUi();
    // Types of the other direction and beyond the table.
    EXPECT_EQ(sendRaw(ui, message(30)), "Invalid data type 30.");
    EXPECT_EQ(sendRaw(ui, message(-1)), "Invalid data type -1.");
    EXPECT_EQ(sendRaw(ui, message(CAudioInterfaceMessage::kSelectPreset, {0}, "param-registy")),
              "No param registry object 'param-registy' found.");
    // Cut short: a subscription without its id, a change record without its values.
    EXPECT_NE(sendRaw(ui, message(CAudioInterfaceMessage::kSubscribeParam, {}, "x")), "");
    std::vector<uint8_t> empty;
    EXPECT_NE(sendRaw(ui, empty), "");

    // The connector goes on: a question is answered.
    base->updateSampleRate(96000.0);
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(sendRaw(ui, message(CAudioInterfaceMessage::kGetSampleRate, {7})), "");
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(ui.client->getSampleRate(), 96000.0);

    // A change record that does not hold what it declares, then a good one.
    CRecordingParamListener knob;
    ASSERT_EQ(ui.listen(knob, kel::ifacetest::kBoundLeaves[0]), "");
    EXPECT_EQ(ui.pump(), "");
    std::vector<uint8_t> bad = message(CAudioInterfaceMessage::kSetValues, {1, 0, 0, 0, 5, 0});
    EXPECT_NE(sendRaw(ui, bad), "");
    ASSERT_EQ(CErrorText::takeMessage(ui.client->setParamValue(&knob, 0, 0, 0.5)), "");
    EXPECT_EQ(param("modZumbelModule.gain").getValue(0, 0), 0.5);
}

TEST_F(CAudioInterfaceTest, MissingBaseOrClientIsReportedByTheirConnectors)
{
    auto* lonely = new kel::CAudioInterfaceBaseConnectorVST();
    const std::vector<uint8_t> question = message(CAudioInterfaceMessage::kGetGroupCount, {1});
    EXPECT_EQ(
        CErrorText::takeMessage(lonely->processClientData(1, question.data(), question.size())),
        "No base object defined.");
    kel::CObject::destroyObject(lonely);

    CUi ui = makeUi();
    ui.client->setConnector(nullptr);
    EXPECT_EQ(sendRaw(ui, question), "");
    EXPECT_EQ(ui.connector->getQueuedCount(), 1);
    EXPECT_EQ(ui.pump(), "No client object defined.");
    EXPECT_EQ(ui.connector->getQueuedCount(), 0) << "the messages are dropped";

    ui.connector->disconnect();
    EXPECT_EQ(sendRaw(ui, question), "Not connected to the audio side.");
}

TEST_F(CAudioInterfaceTest, LateSubscriberGetsTheDefinitionThenOneChangePerGroup)
{
    kel::CAudioParam& gain = param("modZumbelModule.gain");
    {
        kel::CAudioParamContext context;
        gain.setValue(2, 0, 0.25, context);
    }
    kel::CAudioParamStorage values;
    gain.copyValues(values);
    ASSERT_EQ(values.getGroupCount(), 3);

    CUi ui = makeUi();
    CRecordingParamListener knob;
    ASSERT_EQ(ui.listen(knob, "modZumbelModule.gain"), "");
    EXPECT_TRUE(knob.log.empty()) << "nothing before the queue is handled";
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(knob.log, (std::vector<std::string>{"info", "change 0", "change 1", "change 2"}));
    EXPECT_EQ(knob.lastValues, std::vector<double>{0.25});
    ASSERT_NE(ui.client->getParamInfo(&knob), nullptr);
    EXPECT_TRUE(ui.client->getParamInfo(&knob)->isValid());
}

TEST_F(CAudioInterfaceTest, AFullQueueLosesMessagesAndTheClientCatchesUpWithTheLastValue)
{
    kel::CAudioParam& gain = param("modZumbelModule.gain");
    CUi ui = makeUi();
    CRecordingParamListener knob;
    ASSERT_EQ(ui.listen(knob, "modZumbelModule.gain"), "");
    EXPECT_EQ(ui.pump(), "");
    knob.log.clear();

    // Changes from the setter's thread while the UI thread does not read: the queue fills.
    const int changes = kel::CAudioInterfaceClientConnector::kQueueCells + 100;
    for (int i = 0; i < changes; ++i)
    {
        kel::CAudioParamContext context;
        gain.setValue(0, 0, -30.0 + 0.01 * i, context);
    }
    EXPECT_EQ(ui.connector->getQueuedCount(), kel::CAudioInterfaceClientConnector::kQueueCells);
    EXPECT_EQ(ui.connector->getLostCount(), 100u);
    // The queued changes arrive, then the client asks again and gets the value as it is now.
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(ui.pump(), "");
    ASSERT_FALSE(knob.log.empty());
    EXPECT_EQ(knob.log.back(), "change 0");
    ASSERT_EQ(knob.lastValues.size(), 1u);
    EXPECT_DOUBLE_EQ(knob.lastValues[0], -30.0 + 0.01 * (changes - 1));
}

TEST_F(CAudioInterfaceTest, TheAudioThreadsChangeMessageIsTheOneTheStreamWriterMakes)
{
    const double values[] = {0.5, -2.25, 1e300, 3.0, 4.0, 5.0};
    kel::CAudioParamChange change;
    change.group = 3;
    change.firstItem = 1;
    change.itemCount = 3;
    change.values = values;
    change.isReplacing = true;
    CMemoryWriteBuffer stream(64);
    ASSERT_EQ(CErrorText::takeMessage(stream.writeInt32(CAudioInterfaceMessage::kParamChange)), "");
    ASSERT_EQ(CErrorText::takeMessage(stream.writeInt32(17)), "");
    ASSERT_EQ(CErrorText::takeMessage(CAudioInterfaceMessage::writeChange(stream, change, 2, 0)),
              "");
    uint8_t bytes[112];
    const size_t size =
        CAudioInterfaceMessage::writeParamChange(bytes, sizeof(bytes), 17, change, 2, 0);
    ASSERT_EQ(size, stream.getSize());
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size),
              std::vector<uint8_t>(stream.getData(), stream.getData() + size));
    // Too large for the buffer, of strings, or empty: the stream writer's road.
    EXPECT_EQ(CAudioInterfaceMessage::writeParamChange(bytes, size - 1, 17, change, 2, 0), 0u);
    EXPECT_EQ(CAudioInterfaceMessage::writeParamChange(bytes, sizeof(bytes), 17, change, 2, 1), 0u);
    change.itemCount = 0;
    EXPECT_EQ(CAudioInterfaceMessage::writeParamChange(bytes, sizeof(bytes), 17, change, 2, 0), 0u);
}

TEST_F(CAudioInterfaceTest, DefinitionChangeSendsTheDefinitionAndNoChangeForIt)
{
    CUi ui = makeUi();
    CRecordingParamListener knob;
    // Not bound yet: nothing to tell.
    ASSERT_EQ(ui.listen(knob, "modZumbelModule.duration"), "");
    EXPECT_EQ(ui.pump(), "");
    EXPECT_TRUE(knob.log.empty());
    EXPECT_NE(CErrorText::takeMessage(ui.client->setParamValue(&knob, 0, 0, 1.0)), "")
        << "no layout yet";

    bind("modZumbelModule.duration");
    kel::CAudioParamStorage values;
    param("modZumbelModule.duration").copyValues(values);
    EXPECT_EQ(ui.pump(), "");
    // The binding's definition change is one 31; the groups it then fills come as 32s.
    std::vector<std::string> expected{"info"};
    for (int g = 0; g < values.getGroupCount(); ++g)
        expected.push_back("change " + std::to_string(g));
    EXPECT_EQ(knob.log, expected);
    EXPECT_TRUE(knob.isValid);
}

TEST_F(CAudioInterfaceTest, ChangeByOneClientReachesOnlyTheOther)
{
    CUi first = makeUi();
    CUi second = makeUi();
    CRecordingParamListener firstKnob;
    CRecordingParamListener firstLabel;
    CRecordingParamListener secondKnob;
    const CString name(fullName("modZumbelModule.freq").c_str());
    ASSERT_EQ(CErrorText::takeMessage(first.client->addParamListener(&firstKnob, name)), "");
    ASSERT_EQ(CErrorText::takeMessage(first.client->addParamListener(&firstLabel, name)), "");
    ASSERT_EQ(CErrorText::takeMessage(second.client->addParamListener(&secondKnob, name)), "");
    EXPECT_EQ(first.pump(), "");
    EXPECT_EQ(second.pump(), "");
    firstKnob.log.clear();
    firstLabel.log.clear();
    secondKnob.log.clear();

    ASSERT_EQ(CErrorText::takeMessage(first.client->setParamValue(&firstKnob, 0, 0, 1234.0)), "");
    EXPECT_EQ(param("modZumbelModule.freq").getValue(0, 0), 1234.0);
    EXPECT_EQ(first.connector->getQueuedCount(), 0) << "no echo to the client that changed it";
    EXPECT_EQ(firstLabel.log, std::vector<std::string>{"change 0"}) << "its other listener hears";
    EXPECT_EQ(second.pump(), "");
    EXPECT_EQ(secondKnob.log, std::vector<std::string>{"change 0"});
    EXPECT_EQ(secondKnob.lastValues, std::vector<double>{1234.0});
    EXPECT_TRUE(firstKnob.log.empty());

    // A change from elsewhere (the host) reaches both.
    setLive("modZumbelModule.freq", 440.0);
    EXPECT_EQ(first.pump(), "");
    EXPECT_EQ(second.pump(), "");
    EXPECT_EQ(firstKnob.lastValues, std::vector<double>{440.0});
    EXPECT_EQ(secondKnob.lastValues, std::vector<double>{440.0});
}

TEST_F(CAudioInterfaceTest, KnobGestureMakesOneUndoRecordUnderTheClosingLabel)
{
    CUi ui = makeUi();
    CRecordingParamListener knob;
    ASSERT_EQ(ui.listen(knob, "modZumbelModule.gain"), "");
    ASSERT_EQ(CErrorText::takeMessage(ui.client->requestUndoHistory()), "");
    EXPECT_EQ(ui.pump(), "");
    const double before = param("modZumbelModule.gain").getValue(0, 0);

    int32_t recordId = 0;
    ASSERT_EQ(
        CErrorText::takeMessage(ui.client->openUndoRecord(CString("Drag"), false, -1, recordId)),
        "");
    for (int i = 1; i <= 40; ++i)
        ASSERT_EQ(
            CErrorText::takeMessage(ui.client->setParamValue(&knob, 0, 0, i / 50.0, recordId)), "");
    EXPECT_EQ(base->getHistoryCount(), 0) << "the record stays open until closed";
    ASSERT_EQ(CErrorText::takeMessage(ui.client->closeUndoRecord(recordId, CString("Gain"))), "");
    EXPECT_EQ(ui.pump(), "");

    kel::CArray<CString> labels;
    int cursor = -1;
    ui.client->getUndoHistory(labels, cursor);
    ASSERT_EQ(labels.getCount(), 2);
    EXPECT_EQ(CUtf8::of(labels[1]), "Gain");
    EXPECT_EQ(cursor, 1);
    EXPECT_EQ(base->getHistoryCount(), 1);

    ASSERT_EQ(CErrorText::takeMessage(ui.client->moveUndoHistory(0)), "");
    EXPECT_EQ(param("modZumbelModule.gain").getValue(0, 0), before) << "one step undoes it all";
    ASSERT_EQ(CErrorText::takeMessage(ui.client->moveUndoHistory(1)), "");
    EXPECT_EQ(param("modZumbelModule.gain").getValue(0, 0), 40 / 50.0);
    EXPECT_EQ(ui.pump(), "");
    ui.client->getUndoHistory(labels, cursor);
    EXPECT_EQ(cursor, 1);

    // A dropped record leaves the values and makes no entry.
    ASSERT_EQ(
        CErrorText::takeMessage(ui.client->openUndoRecord(CString("Drag"), false, -1, recordId)),
        "");
    ASSERT_EQ(CErrorText::takeMessage(ui.client->setParamValue(&knob, 0, 0, 0.1, recordId)), "");
    ASSERT_EQ(CErrorText::takeMessage(ui.client->dropUndoRecord(recordId)), "");
    ASSERT_EQ(CErrorText::takeMessage(ui.client->closeUndoRecord(recordId, CString("Late"))), "");
    EXPECT_EQ(base->getHistoryCount(), 1);
    EXPECT_EQ(param("modZumbelModule.gain").getValue(0, 0), 0.1);
}

TEST_F(CAudioInterfaceTest, AcquirePresetWaitsForTheAnswerAndMatchesTheBase)
{
    CUi ui = makeUi();
    setLive("modZumbelModule.freq", 777.0);
    kel::CAudioPreset fromClient;
    ASSERT_EQ(CErrorText::takeMessage(ui.client->acquirePreset(CString("param-registry"), false, -1,
                                                               -1, false, fromClient)),
              "");
    kel::CMemoryWriteBuffer direct(256);
    ASSERT_EQ(CErrorText::takeMessage(registry->acquirePreset(false, -1, -1, direct, false)), "");
    const std::vector<uint8_t> expected(direct.getData(), direct.getData() + direct.getSize());
    EXPECT_EQ(savedBytes(fromClient), expected);
    EXPECT_GT(fromClient.getEntryCount(), 0);

    kel::CAudioPresetBank bank;
    ASSERT_EQ(CErrorText::takeMessage(
                  ui.client->acquireBank(CString("param-registry"), true, false, bank)),
              "");
    kel::CAudioPresetBank factory;
    registry->copyBank(true, factory);
    EXPECT_EQ(savedBytes(bank), savedBytes(factory));
    EXPECT_GT(bank.getCount(), 1);

    // A failure is answered too, and comes back as the caller's error.
    EXPECT_EQ(CErrorText::takeMessage(
                  ui.client->acquirePreset(CString("nowhere"), false, -1, -1, false, fromClient)),
              "Preset not available: No param registry object 'nowhere' found.");
    EXPECT_EQ(ui.connector->getQueuedCount(), 0);
}

TEST_F(CAudioInterfaceTest, StateQuestionsAreAnsweredWithTheUpdatedValues)
{
    base->updateSampleRate(48000.0);
    base->updateIOChannelCounts(4, 6, 1);
    base->updateGroupCount(3);
    base->updateInternalChannelCount(8);
    // Connected after the updates: it has to ask.
    CUi ui = makeUi();
    ASSERT_EQ(CErrorText::takeMessage(ui.client->requestInternalChannelCount()), "");
    ASSERT_EQ(CErrorText::takeMessage(ui.client->requestGroupCount()), "");
    ASSERT_EQ(CErrorText::takeMessage(ui.client->requestIOChannelCounts()), "");
    ASSERT_EQ(CErrorText::takeMessage(ui.client->requestSampleRate()), "");
    EXPECT_EQ(ui.connector->getQueuedCount(), 4);
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(ui.client->getSampleRate(), 48000.0);
    EXPECT_EQ(ui.client->getGroupCount(), 3);
    EXPECT_EQ(ui.client->getInternalChannelCount(), 8);
    int inputs = 0;
    int outputs = 0;
    int side = 0;
    ui.client->getIOChannelCounts(inputs, outputs, side);
    EXPECT_EQ(inputs, 4);
    EXPECT_EQ(outputs, 6);
    EXPECT_EQ(side, 1);

    // A later change reaches the connected client unasked.
    base->updateGroupCount(5);
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(ui.client->getGroupCount(), 5);
}

TEST_F(CAudioInterfaceTest, RegistrySubscriberHearsThePresetListAfterEachChange)
{
    CUi ui = makeUi();
    CRecordingRegistryListener presets;
    ASSERT_EQ(CErrorText::takeMessage(
                  ui.client->addRegistryListener(&presets, CString("param-registry"))),
              "");
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(presets.calls, 1);
    EXPECT_EQ(presets.count, registry->getSessionCount());

    ASSERT_EQ(CErrorText::takeMessage(ui.client->selectPreset(CString("param-registry"), 2)), "");
    ASSERT_EQ(CErrorText::takeMessage(
                  ui.client->setPresetName(CString("param-registry"), 2, CString("Mine"))),
              "");
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(registry->getCurrentIndex(), 2);
    EXPECT_EQ(presets.current, 2);
    EXPECT_EQ(presets.name, "Mine");

    ASSERT_EQ(CErrorText::takeMessage(ui.client->removeRegistryListener(&presets)), "");
    const int calls = presets.calls;
    ASSERT_EQ(CErrorText::takeMessage(ui.client->selectPreset(CString("param-registry"), 1)), "");
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(presets.calls, calls);
}

TEST_F(CAudioInterfaceTest, LeavingClientIsForgottenAndTheOthersGetClearWhenTheBaseGoes)
{
    CUi leaving = makeUi();
    CUi staying = makeUi();
    CRecordingParamListener knob;
    ASSERT_EQ(leaving.listen(knob, "modZumbelModule.gain"), "");
    EXPECT_EQ(base->getClientCount(), 2);
    kel::CObject::destroyObject(leaving.root);
    uiRoots.erase(uiRoots.begin());
    EXPECT_EQ(base->getClientCount(), 1);
    EXPECT_EQ(baseConnector->getClientCount(), 1);
    setLive("modZumbelModule.gain", 0.3);

    bool cleared = false;
    struct CClearWatch : public kel::CAudioInterfaceVizProcessor
    {
        bool* flag;
        explicit CClearWatch(bool* target) : flag(target) {}
        void onVizSlotList(int32_t, const kel::CArray<CString>&) override {}
        void onVizInfo(int32_t, double, int) override {}
        void onVizReset() override { *flag = true; }
    } watch(&cleared);
    staying.client->setVizProcessor(&watch);
    kel::CObject::destroyObject(root);
    root = nullptr;
    EXPECT_EQ(staying.pump(), "");
    EXPECT_TRUE(cleared);
    EXPECT_FALSE(staying.connector->isConnected());
}

TEST_F(CAudioInterfaceTest, VisualQuestionsAreAnsweredAndBlocksAdvanceTheFrameCount)
{
    CUi ui = makeUi();
    struct CVizLog : public kel::CAudioInterfaceVizProcessor
    {
        int slotsId = -1;
        int slotCount = -1;
        double fps = 0.0;
        void onVizSlotList(int32_t id, const kel::CArray<CString>& names) override
        {
            slotsId = id;
            slotCount = names.getCount();
        }
        void onVizInfo(int32_t, double framesPerSec, int) override { fps = framesPerSec; }
        void onVizReset() override {}
    } log;
    ui.client->setVizProcessor(&log);
    int32_t requestId = 0;
    ASSERT_EQ(CErrorText::takeMessage(ui.client->requestVizSlots(requestId)), "");
    ASSERT_EQ(CErrorText::takeMessage(ui.client->requestVizInfo(3)), "");
    EXPECT_EQ(ui.pump(), "");
    EXPECT_EQ(log.slotsId, requestId);
    EXPECT_EQ(log.slotCount, 0);
    EXPECT_EQ(log.fps, 25.0);

    // 25 frames a second over blocks of 10 ms: one frame every fourth block.
    for (int block = 0; block < 100; ++block)
        viz->blockStart(block * 0.01);
    EXPECT_EQ(viz->getFrameCount(), 25);
    EXPECT_EQ(viz->getLastTimeStamp(), 0.99);
    viz->reset();
    EXPECT_EQ(viz->getFrameCount(), 0);
}

TEST_F(CAudioInterfaceTest, MessagesFromAnyThreadReachTheClientThroughItsEventBridge)
{
    kel::CApplication::getNotifyServer().install();
    CUi ui = makeUi(true, true);
    CRecordingParamListener knob;
    ASSERT_EQ(ui.listen(knob, "modZumbelModule.period"), "");
    auto pumpUntil = [](const std::function<bool()>& done)
    {
        const uint32_t startMs = kel::CTickClock::tickCountMs();
        while (!done() && kel::CTickClock::tickCountMs() - startMs < 5000)
            kel::CRunLoop::forThisThread()->runOnce(10);
        return done();
    };
    // Answers to the UI thread's own request are queued too, never handled inside the call.
    EXPECT_TRUE(knob.log.empty());
    EXPECT_TRUE(pumpUntil([&] { return knob.log.size() >= 2; }));
    EXPECT_EQ(knob.log[0], "info");

    // A change on another thread (the host's automation) arrives on this one.
    knob.log.clear();
    std::thread host(
        [&]
        {
            kel::CAudioParamContext context;
            param("modZumbelModule.period").setValue(0, 0, 0.125, context);
        });
    host.join();
    EXPECT_TRUE(pumpUntil([&] { return !knob.log.empty(); }));
    EXPECT_EQ(knob.lastValues, std::vector<double>{0.125});
    EXPECT_EQ(ui.connector->getQueuedCount(), 0);

    for (kel::CObject* made : uiRoots)
        kel::CObject::destroyObject(made);
    uiRoots.clear();
    kel::CRunLoop::forThisThread()->pump();
    kel::CObject::setEventService(nullptr);
}

} // namespace
