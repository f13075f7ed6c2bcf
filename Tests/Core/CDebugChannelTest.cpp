#include "Core/CDebugChannel.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

using kel::CDebugChannel;

namespace
{
std::vector<std::string> gLines;

void captureLine(const char* line, void*)
{
    gLines.push_back(line);
}

// Captures the channel's lines for one test and puts the channel back as it was.
class CDebugChannelTest : public testing::Test
{
protected:
    void SetUp() override
    {
        wasEnabled = CDebugChannel::isEnabled();
        gLines.clear();
        CDebugChannel::setSink(captureLine, nullptr);
        CDebugChannel::setEnabled(true);
    }
    void TearDown() override
    {
        CDebugChannel::setSink(nullptr, nullptr);
        CDebugChannel::setEnabled(wasEnabled);
    }

private:
    bool wasEnabled = false;
};

// As inside an object: errors and logs pick up this name.
struct CNamedContext
{
    static const char* kelErrorContextName() { return "root.plugin.gain"; }
    static void logMissing(const char* attrName)
    {
        KEL_LOG("attr not found: %s (string)", attrName);
    }
};
} // namespace

TEST_F(CDebugChannelTest, LineIsFormattedAndFollowedByTheObjectsFullName)
{
    CDebugChannel::log("root.view.knob", "attr not found: %s (%s)", "label", "string");
    CDebugChannel::log(nullptr, "WRONG COLOR INDEX %i", 77);
    CDebugChannel::log("", "no name");
    ASSERT_EQ(gLines.size(), 3u);
    EXPECT_EQ(gLines[0], "attr not found: label (string) // root.view.knob");
    EXPECT_EQ(gLines[1], "WRONG COLOR INDEX 77");
    EXPECT_EQ(gLines[2], "no name");

    // A line longer than the buffer is cut, never overrun.
    const std::string longText(3 * CDebugChannel::kLineBytes, 'x');
    CDebugChannel::log("name", "%s", longText.c_str());
    ASSERT_EQ(gLines.size(), 4u);
    EXPECT_EQ(gLines[3].size(), static_cast<size_t>(CDebugChannel::kLineBytes - 1));
}

TEST_F(CDebugChannelTest, SwitchedOffChannelAndSilentBuildsSayNothing)
{
    CDebugChannel::setEnabled(false);
    CDebugChannel::log("name", "hidden %d", 1);
    EXPECT_TRUE(gLines.empty());

    CDebugChannel::setEnabled(true);
    CNamedContext::logMissing("label");
    if (CDebugChannel::isCompiledIn())
    {
        ASSERT_EQ(gLines.size(), 1u);
        EXPECT_EQ(gLines[0], "attr not found: label (string) // root.plugin.gain");
    }
    else
        EXPECT_TRUE(gLines.empty());
}

TEST_F(CDebugChannelTest, LinesFromManyThreadsArriveWhole)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
    {
        threads.emplace_back(
            [t]
            {
                for (int i = 0; i < 200; ++i)
                    CDebugChannel::log("thread.object", "thread %d line %03d", t, i);
            });
    }
    for (std::thread& thread : threads)
        thread.join();
    ASSERT_EQ(gLines.size(), 800u);
    for (const std::string& line : gLines)
    {
        ASSERT_EQ(line.size(), std::string("thread 0 line 000 // thread.object").size()) << line;
        EXPECT_EQ(line.substr(17), " // thread.object");
    }
}
