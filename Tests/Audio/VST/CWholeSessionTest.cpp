// One session of a host with the built plug-in, through the binary interface only: load, open,
// rate and block size, resume, float and double processing in awkward blocks, automation and
// chunks from a second thread while audio runs, suspend, a rate change, resume, close, unload.
// The sanitizer builds run it too, so the plug-in's whole life is checked for memory faults.
#include "CHostedPlugin.h"
#include "CVstHost.h"
#include "Support/CErrorText.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <memory>
#include <thread>
#include <vector>

using kel::test::CErrorText;

namespace kel
{
namespace
{

template <typename Sample> struct CSignal
{
    CSignal(int channels, int64_t frames)
        : in(channels, std::vector<Sample>(static_cast<size_t>(frames))),
          out(channels, std::vector<Sample>(static_cast<size_t>(frames)))
    {
        for (int ch = 0; ch < channels; ++ch)
        {
            for (int64_t n = 0; n < frames; ++n)
                in[ch][n] = static_cast<Sample>(0.3 * std::sin(0.013 * n * (ch + 1)));
            inPtr.push_back(in[ch].data());
            outPtr.push_back(out[ch].data());
        }
    }
    std::vector<std::vector<Sample>> in, out;
    std::vector<const Sample*> inPtr;
    std::vector<Sample*> outPtr;
};

TEST(CWholeSession, HostDrivesThePluginThroughItsWholeLife)
{
    CVstHost host;
    host.poseAsArdour();
    CHostedPlugin plugin(host);
    if (CError* error = plugin.load(KEL_PLUGIN_PATH))
        FAIL() << CErrorText::takeChain(error);
    plugin.open();
    ASSERT_EQ(plugin.getEffectName(), "Zumbel");
    const int channels = plugin.getNumInputs();
    ASSERT_EQ(channels, plugin.getNumOutputs());
    ASSERT_GE(channels, 2);

    // Ardour's bounce: the block size grows to 8192 while its own query still says 1024.
    plugin.start(48000.0, 1024);
    plugin.setActive(false);
    plugin.setBlockSize(8192);
    plugin.setActive(true);
    plugin.setActive(true);

    std::atomic<bool> audioRunning{true};
    std::thread control(
        [&]
        {
            // The interface thread: chunks and parameter reads while audio runs. The plug-in never
            // calls the host back from here with anything but what the host may take.
            while (audioRunning.load())
            {
                std::vector<uint8_t> chunk = plugin.getChunk(false);
                if (!chunk.empty())
                    plugin.setChunk(chunk.data(), chunk.size(), false);
                for (int index = 0; index < plugin.getNumParams(); ++index)
                    plugin.setParameter(index, plugin.getParameter(index));
                std::this_thread::yield();
            }
        });

    const int64_t frames = 48000 * 3;
    {
        CSignal<float> signal(channels, frames);
        plugin.setProcessMode(false, false);
        CError* error = plugin.process(signal.inPtr.data(), channels, signal.outPtr.data(),
                                       channels, frames, {8192, 1, 7, 513, 4096, 752, 272});
        EXPECT_EQ(error, nullptr) << (error ? CErrorText::takeChain(error) : "");
        // Nothing sounds in the first seconds: the output is the input, sample for sample.
        for (int ch = 0; ch < channels; ++ch)
            ASSERT_EQ(signal.in[ch], signal.out[ch]) << "channel " << ch;
    }
    audioRunning.store(false);
    control.join();

    // Suspend, a new rate, double precision, in-place buffers, resume.
    plugin.setActive(false);
    plugin.setSampleRate(96000.0);
    plugin.setBlockSize(512);
    ASSERT_EQ(plugin.setProcessPrecision(true), 1);
    plugin.setActive(true);
    {
        CSignal<double> signal(channels, 96000);
        plugin.setProcessMode(true, true);
        CError* error = plugin.process(signal.inPtr.data(), channels, signal.outPtr.data(),
                                       channels, 96000, {512, 100, 1000});
        EXPECT_EQ(error, nullptr) << (error ? CErrorText::takeChain(error) : "");
    }
    plugin.setActive(false);
    plugin.close();
    plugin.unload();
}

} // namespace
} // namespace kel
