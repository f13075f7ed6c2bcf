#pragma once

#include "Core/CDebugChannel.h"
#include "UI/Resources/CColor.h"
#include "UI/Resources/CPalette.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kel::test
{

// A colour whose every level is (r, g, b); tells entries apart in tests.
inline CColor flatColor(uint8_t r, uint8_t g, uint8_t b, double alpha = 1.0)
{
    CColor color;
    color.setFlat(r, g, b);
    color.alpha = alpha;
    return color;
}

// A small palette with the shapes the real ones have: "Default", plain roles with state twins,
// and the gradient "Alarm" of 32 steps whose step i has red 255 - 8 i.
inline void fillSmallPalette(CPalette& palette)
{
    palette.clear();
    palette.setColor("Default", flatColor(1, 2, 3));
    palette.setColor("Button", flatColor(10, 0, 0));
    palette.setColor("Button_Hover", flatColor(11, 0, 0));
    palette.setColor("Button_Active", flatColor(12, 0, 0));
    palette.setColor("Button_ActiveHover", flatColor(13, 0, 0));
    palette.setColor("ButtonText", flatColor(20, 0, 0));
    palette.setColor("ButtonText_ActiveHover", flatColor(21, 0, 0));
    palette.setColor("Panel", flatColor(30, 0, 0));
    palette.setColor("PanelText", flatColor(31, 0, 0));
    palette.setColor("PanelText_Hover", flatColor(32, 0, 0));
    palette.setColor("SelectionText", flatColor(40, 0, 0));
    palette.setColor("SelectionText_Hover", flatColor(41, 0, 0));
    palette.setColor("PalIconRed", flatColor(50, 0, 0));
    palette.setColor("PalIconRedOuter", flatColor(51, 0, 0));
    palette.setColor("PalIconRedInner", flatColor(52, 0, 0, 0.5));
    palette.setColor("Disabled", flatColor(60, 0, 0));
    palette.setColor("DisabledText", flatColor(61, 0, 0));
    for (int step = 0; step < 32; ++step)
        palette.setColor(CPalette::gradientStepName("Alarm", step),
                         flatColor(static_cast<uint8_t>(255 - 8 * step), 0, 0));
    palette.setGradient("Alarm", 32);
    palette.refreshDefaultColor();
}

// Captures the debug channel's lines while it lives. The log tests only run where the build
// compiles the channel in.
class CLogCapture
{
public:
    CLogCapture()
    {
        wasEnabled = CDebugChannel::isEnabled();
        CDebugChannel::setSink(&CLogCapture::take, this);
        CDebugChannel::setEnabled(true);
    }
    ~CLogCapture()
    {
        CDebugChannel::setSink(nullptr, nullptr);
        CDebugChannel::setEnabled(wasEnabled);
    }
    int count(const std::string& line) const
    {
        int n = 0;
        for (const std::string& taken : lines)
            n += taken == line ? 1 : 0;
        return n;
    }
    std::vector<std::string> lines;

private:
    static void take(const char* line, void* context)
    {
        static_cast<CLogCapture*>(context)->lines.push_back(line);
    }
    bool wasEnabled = false;
};

} // namespace kel::test
