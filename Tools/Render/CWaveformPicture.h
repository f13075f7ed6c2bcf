#pragma once

#include "CEventDetector.h"

#include "Core/CError.h"

#include <cstdint>
#include <vector>

namespace kel
{

// A picture of a rendered signal: each channel's waveform as min/max per pixel column in grey
// on white, the detected events as coloured spans labelled with their kind, and a time scale.
// Drawn in memory as 8-bit RGB, written as PNG. Owned by the renderer. [any thread]
class CWaveformPicture
{
public:
    CWaveformPicture(int widthPx, int heightPx);

    void draw(const float* const* channels, int channelCount, int64_t frames, double rateHz,
              const std::vector<CEventDetector::CEvent>& events);
    [[nodiscard]] CError* writePng(const char* path) const;

    int getWidth() const { return width; }
    int getHeight() const { return height; }
    // Packed red, green, blue of one pixel (for tests).
    uint32_t getPixel(int x, int y) const;

private:
    void fill(int x0, int y0, int x1, int y1, uint32_t rgb);
    void blend(int x0, int y0, int x1, int y1, uint32_t rgb, double alpha);
    void text(int x, int y, const char* str, int scale, uint32_t rgb);

    int width;
    int height;
    std::vector<uint8_t> pixels;
};

} // namespace kel
