#include "CWaveformPicture.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace kel
{

namespace
{
constexpr int kScaleHeight = 22;
constexpr int kLabelHeight = 20;
constexpr uint32_t kWhite = 0xFFFFFF;
constexpr uint32_t kWave = 0x606060;
constexpr uint32_t kAxis = 0xC8C8C8;
constexpr uint32_t kInk = 0x303030;

uint32_t kindColour(CEventDetector::EKind kind)
{
    switch (kind)
    {
    case CEventDetector::EKind::Beep:
        return 0xE8590C;
    case CEventDetector::EKind::Noise:
        return 0x1C7ED6;
    case CEventDetector::EKind::Mute:
        return 0x2B8A3E;
    }
    return kInk;
}

// A 5 x 7 pixel font for the few characters the picture writes; rows top down, bit 4 leftmost.
struct CGlyph
{
    char ch;
    uint8_t rows[7];
};

const CGlyph kGlyphs[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'A', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'B', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'D', {0x1C, 0x12, 0x11, 0x11, 0x11, 0x12, 0x1C}},
    {'E', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'H', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'I', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'L', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'M', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'N', {0x11, 0x11, 0x19, 0x15, 0x13, 0x11, 0x11}},
    {'O', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'P', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'R', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'S', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'T', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'U', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'Z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'s', {0x00, 0x00, 0x0F, 0x10, 0x0E, 0x01, 0x1E}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
};

const CGlyph* findGlyph(char ch)
{
    for (const CGlyph& glyph : kGlyphs)
        if (glyph.ch == ch)
            return &glyph;
    // Lower case falls back to capitals.
    if (ch >= 'a' && ch <= 'z')
        return findGlyph(static_cast<char>(ch - 'a' + 'A'));
    return nullptr;
}

// A readable step for the time scale: about one mark per 100 pixels.
double scaleStep(double seconds, int widthPx)
{
    const double rough = seconds / std::max(1, widthPx / 100);
    const double steps[] = {0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 30, 60, 120, 300};
    for (double step : steps)
        if (step >= rough)
            return step;
    return 600.0;
}
} // namespace

CWaveformPicture::CWaveformPicture(int widthPx, int heightPx)
    : width(std::max(widthPx, 16)), height(std::max(heightPx, 64)),
      pixels(static_cast<size_t>(width) * height * 3, 0xFF)
{
}

uint32_t CWaveformPicture::getPixel(int x, int y) const
{
    const uint8_t* p = &pixels[(static_cast<size_t>(y) * width + x) * 3];
    return (uint32_t(p[0]) << 16) | (uint32_t(p[1]) << 8) | p[2];
}

void CWaveformPicture::fill(int x0, int y0, int x1, int y1, uint32_t rgb)
{
    blend(x0, y0, x1, y1, rgb, 1.0);
}

void CWaveformPicture::blend(int x0, int y0, int x1, int y1, uint32_t rgb, double alpha)
{
    x0 = std::max(x0, 0);
    y0 = std::max(y0, 0);
    x1 = std::min(x1, width);
    y1 = std::min(y1, height);
    const double colour[3] = {double((rgb >> 16) & 0xFF), double((rgb >> 8) & 0xFF),
                              double(rgb & 0xFF)};
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x)
        {
            uint8_t* p = &pixels[(static_cast<size_t>(y) * width + x) * 3];
            for (int c = 0; c < 3; ++c)
                p[c] = static_cast<uint8_t>(std::lround(p[c] + (colour[c] - p[c]) * alpha));
        }
}

void CWaveformPicture::text(int x, int y, const char* str, int scale, uint32_t rgb)
{
    for (; *str; ++str, x += 6 * scale)
    {
        const CGlyph* glyph = findGlyph(*str);
        if (!glyph)
            continue;
        for (int row = 0; row < 7; ++row)
            for (int col = 0; col < 5; ++col)
                if (glyph->rows[row] & (0x10 >> col))
                    fill(x + col * scale, y + row * scale, x + (col + 1) * scale,
                         y + (row + 1) * scale, rgb);
    }
}

void CWaveformPicture::draw(const float* const* channels, int channelCount, int64_t frames,
                            double rateHz, const std::vector<CEventDetector::CEvent>& events)
{
    fill(0, 0, width, height, kWhite);
    const double seconds = frames / rateHz;
    const int laneTop = kLabelHeight;
    const int laneBottom = height - kScaleHeight;
    const int lanes = std::max(channelCount, 1);
    const double laneHeight = double(laneBottom - laneTop) / lanes;
    auto columnOf = [&](double sec)
    { return static_cast<int>(std::floor(sec / std::max(seconds, 1e-9) * width)); };

    // Event spans first, so that the waveform stays visible over them.
    for (const CEventDetector::CEvent& event : events)
    {
        const uint32_t colour = kindColour(event.kind);
        const int x0 = columnOf(event.startSec);
        const int x1 = std::max(columnOf(event.startSec + event.lengthSec), x0 + 2);
        blend(x0, laneTop, x1, laneBottom, colour, 0.28);
        fill(x0, laneTop, x0 + 1, laneBottom, colour);
        fill(x1 - 1, laneTop, x1, laneBottom, colour);
        const char* name = CEventDetector::kindName(event.kind);
        const int textX = std::min(x0, width - 6 * 2 * static_cast<int>(std::strlen(name)));
        text(std::max(textX, 0), 3, name, 2, colour);
    }

    for (int ch = 0; ch < channelCount; ++ch)
    {
        const int top = laneTop + static_cast<int>(ch * laneHeight);
        const int bottom = laneTop + static_cast<int>((ch + 1) * laneHeight);
        const double centre = (top + bottom) / 2.0;
        const double halfHeight = (bottom - top) / 2.0 - 2.0;
        fill(0, static_cast<int>(centre), width, static_cast<int>(centre) + 1, kAxis);
        if (ch > 0)
            fill(0, top, width, top + 1, kAxis);
        for (int x = 0; x < width && frames > 0; ++x)
        {
            const int64_t begin = frames * x / width;
            const int64_t end = std::max(frames * (x + 1) / width, begin + 1);
            float low = channels[ch][begin];
            float high = low;
            for (int64_t i = begin; i < end && i < frames; ++i)
            {
                low = std::min(low, channels[ch][i]);
                high = std::max(high, channels[ch][i]);
            }
            const double clampedHigh = std::clamp(double(high), -1.0, 1.0);
            const double clampedLow = std::clamp(double(low), -1.0, 1.0);
            const int y0 = static_cast<int>(std::floor(centre - clampedHigh * halfHeight));
            const int y1 = static_cast<int>(std::ceil(centre - clampedLow * halfHeight)) + 1;
            fill(x, y0, x + 1, y1, kWave);
        }
        if (channelCount == 2)
            text(4, top + 4, ch == 0 ? "L" : "R", 1, kInk);
    }

    // Time scale along the bottom.
    fill(0, laneBottom, width, laneBottom + 1, kInk);
    const double step = scaleStep(seconds, width);
    for (double t = 0.0; t <= seconds + 1e-9; t += step)
    {
        const int x = std::min(columnOf(t), width - 1);
        fill(x, laneBottom, x + 1, laneBottom + 5, kInk);
        char label[32];
        std::snprintf(label, sizeof(label), step < 1.0 ? "%.2f s" : "%.0f s", t);
        const int labelWidth = 6 * static_cast<int>(std::strlen(label));
        text(std::clamp(x - labelWidth / 2, 0, width - labelWidth), laneBottom + 9, label, 1, kInk);
    }
}

CError* CWaveformPicture::writePng(const char* path) const
{
    FILE* file = std::fopen(path, "wb");
    if (!file)
        return KEL_ERROR("@kelstr_CWaveformPicture_writePng_Open Cannot write '%1'.", path);
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!png || !info)
    {
        png_destroy_write_struct(png ? &png : nullptr, nullptr);
        std::fclose(file);
        return KEL_ERROR("@kelstr_CWaveformPicture_writePng_Png Cannot write '%1'.", path);
    }
    // libpng reports its failures by longjmp; nothing with a destructor lives in this frame.
    if (setjmp(png_jmpbuf(png)))
    {
        png_destroy_write_struct(&png, &info);
        std::fclose(file);
        return KEL_ERROR("@kelstr_CWaveformPicture_writePng_Png Cannot write '%1'.", path);
    }
    png_init_io(png, file);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (int y = 0; y < height; ++y)
        png_write_row(png, &pixels[static_cast<size_t>(y) * width * 3]);
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    if (std::fclose(file) != 0)
        return KEL_ERROR("@kelstr_CWaveformPicture_writePng_Open Cannot write '%1'.", path);
    return nullptr;
}

} // namespace kel
