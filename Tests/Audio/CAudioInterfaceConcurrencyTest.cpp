#include "Audio/CAudioExtParam.h"
#include "Audio/CAudioInterfaceTestTree.h"
#include "Core/Platform/CLock.h"
#include "Core/Platform/CThisThread.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using kel::CString;
using kel::ifacetest::CRecordingParamListener;
using kel::test::CErrorText;

namespace
{

constexpr int kGestures = 200;
constexpr int kValuesPerGesture = 20;

class CAudioInterfaceConcurrency : public kel::ifacetest::CInterfaceTest
{
};

// A client thread drags knobs through the interface, a fake audio thread takes the changes at
// each block start, a host thread automates and reads the host parameters and drives the
// registry: everything ends, the audio thread took no lock, and the last values are consistent.
TEST_F(CAudioInterfaceConcurrency, ClientAudioAndHostThreadsRunTogetherWithoutDeadlock)
{
    CUi ui = makeUi();
    CRecordingParamListener gainKnob;
    CRecordingParamListener freqKnob;
    ASSERT_EQ(ui.listen(gainKnob, "modZumbelModule.gain"), "");
    ASSERT_EQ(ui.listen(freqKnob, "modZumbelModule.freq"), "");
    ASSERT_EQ(ui.pump(), "");
    kel::CObject* extList = root->findObject("plugin.ext-param-list");
    ASSERT_NE(extList, nullptr);
    ASSERT_EQ(extList->getChildCount(), 2);
    auto* extFreq = dynamic_cast<kel::CAudioExtParam*>(extList->getChild(0));
    auto* extGain = dynamic_cast<kel::CAudioExtParam*>(extList->getChild(1));
    ASSERT_NE(extFreq, nullptr);
    ASSERT_NE(extGain, nullptr);

    std::atomic<bool> clientDone{false};
    std::atomic<uint64_t> audioLocks{0};
    std::atomic<int> packetsTaken{0};
    std::atomic<int> clientErrors{0};

    std::thread audio(
        [&]
        {
            kel::CLock::watchThread(kel::CThisThread::id());
            double clockSec = 0.0;
            // On a loaded machine the client may be through before this thread first runs: the
            // changes it left are still there to take.
            while (!clientDone.load() || packetsTaken.load() == 0)
            {
                viz->blockStart(clockSec);
                base->setBlockTimeStamp(clockSec);
                if (const auto* packet = collector->takeChanges())
                {
                    double sum = 0.0;
                    for (int i = 0; i < packet->getEntryCount(); ++i)
                        sum += packet->getValues(packet->getEntry(i))[0];
                    (void)sum;
                    collector->releaseChanges(packet);
                    packetsTaken.fetch_add(1);
                }
                clockSec += 512.0 / 48000.0;
                std::this_thread::yield();
            }
            audioLocks.store(kel::CLock::watchedLocks());
            kel::CLock::watchThread(0);
        });

    std::thread host(
        [&]
        {
            int round = 0;
            while (!clientDone.load())
            {
                extFreq->setValue((round % 100) / 100.0);
                (void)extGain->getValue();
                (void)extFreq->getDisplay();
                if (round % 50 == 0)
                    registry->copyToCompare();
                if (round % 200 == 100)
                    base->moveTo(0);
                ++round;
            }
        });

    for (int gesture = 0; gesture < kGestures; ++gesture)
    {
        int32_t recordId = 0;
        clientErrors +=
            CErrorText::takeMessage(ui.client->openUndoRecord(CString("Drag"), true, 7, recordId))
                    .empty()
                ? 0
                : 1;
        for (int k = 0; k < kValuesPerGesture; ++k)
        {
            const double gainLin = 0.1 + 0.01 * k;
            clientErrors += CErrorText::takeMessage(
                                ui.client->setParamValue(&gainKnob, 0, 0, gainLin, recordId))
                                    .empty()
                                ? 0
                                : 1;
        }
        clientErrors +=
            CErrorText::takeMessage(ui.client->closeUndoRecord(recordId, CString("Gain"))).empty()
                ? 0
                : 1;
        // The UI thread's timer: hand over what the audio side sent.
        clientErrors += ui.pump().empty() ? 0 : 1;
    }
    clientDone.store(true);
    audio.join();
    host.join();
    EXPECT_EQ(ui.pump(), "");

    EXPECT_EQ(clientErrors.load(), 0);
    EXPECT_EQ(audioLocks.load(), 0u) << "the audio thread takes no lock";
    EXPECT_GT(packetsTaken.load(), 0);
    EXPECT_GT(base->getHistoryCount(), 0);
    // The client saw the host's automation of the other parameter.
    EXPECT_FALSE(freqKnob.log.empty());
    EXPECT_EQ(freqKnob.lastValues.size(), 1u);
}

} // namespace
