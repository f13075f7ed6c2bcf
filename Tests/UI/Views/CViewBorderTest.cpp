// Border strings: sides, adding, scale and rounding, and the tokens that are skipped.
#include "Core/CDebugChannel.h"
#include "UI/Resources/CUiScale.h"
#include "UI/Views/CViewBorder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace kel;

namespace
{

std::string sides(const CViewBorder& b)
{
    char text[96];
    std::snprintf(text, sizeof text, "%g %g %g %g", b.left, b.top, b.right, b.bottom);
    return text;
}

std::vector<std::string>& logLines()
{
    static std::vector<std::string> lines;
    return lines;
}

} // namespace

TEST(CViewBorderTest, TokensApplyLeftToRight)
{
    EXPECT_EQ(sides(CViewBorder::parse(CString(""))), "0 0 0 0");
    EXPECT_EQ(sides(CViewBorder::parse(CString("3 B4"))), "3 3 3 4");
    EXPECT_EQ(sides(CViewBorder::parse(CString("*LT1"))), "1 1 0 0");
    // The pressed look of a button: contents one pixel right and down.
    EXPECT_EQ(sides(CViewBorder::parse(CString("3 B4 *LT1 *RB-1"))), "4 4 2 3");
    EXPECT_EQ(sides(CViewBorder::parse(CString("lr2,5  tb-1"))), "2.5 -1 2.5 -1");
    EXPECT_EQ(sides(CViewBorder::parse(CString("\t3\tB4 "))), "3 3 3 4");
}

TEST(CViewBorderTest, ScaleComesBeforeRounding)
{
    CUiScale::set(1.25);
    // 3 * 1.25 = 3.75 -> 4; 2 * 1.25 = 2.5 -> 3 (halves away from zero); -2 -> -2.5 -> -3.
    EXPECT_EQ(sides(CViewBorder::parse(CString("3 L2 R-2"), true, true)), "3 4 -3 4");
    EXPECT_EQ(sides(CViewBorder::parse(CString("3"), true, false)), "3.75 3.75 3.75 3.75");
    CUiScale::set(1.0);
}

TEST(CViewBorderTest, ATokenThatIsNoNumberIsLoggedAndSkipped)
{
    logLines().clear();
    CDebugChannel::setEnabled(true);
    CDebugChannel::setSink([](const char* line, void*) { logLines().push_back(line); }, nullptr);
    EXPECT_EQ(sides(CViewBorder::parse(CString("2 Lx 1.2.3 B5"))), "2 2 2 5");
    EXPECT_EQ(sides(CViewBorder::parse(CString("T"))), "0 0 0 0");
    CDebugChannel::setSink(nullptr, nullptr);
    CDebugChannel::setEnabled(false);
    if (CDebugChannel::isCompiledIn())
    {
        ASSERT_EQ(logLines().size(), 3u);
        EXPECT_EQ(logLines()[0], "Invalid border syntax: '2 Lx 1.2.3 B5' (2)");
        EXPECT_EQ(logLines()[1], "Invalid border syntax: '2 Lx 1.2.3 B5' (1)");
        EXPECT_EQ(logLines()[2], "Invalid border syntax: 'T' (1)");
    }
}
