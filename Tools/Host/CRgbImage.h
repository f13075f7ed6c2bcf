#pragma once

#include "Core/CError.h"

#include <cstdint>
#include <vector>

namespace kel
{

// A picture in memory, 8-bit red, green and blue per pixel, rows top to bottom: what the editor
// host grabs from a window. Plain value; [any thread, one at a time].
class CRgbImage
{
public:
    CRgbImage() = default;
    CRgbImage(int imageWidth, int imageHeight);

    int getWidth() const { return width; }
    int getHeight() const { return height; }
    bool isEmpty() const { return width <= 0 || height <= 0; }

    // Colour as 0xRRGGBB.
    uint32_t getPixel(int x, int y) const;
    void setPixel(int x, int y, uint32_t rgb);

    // Distinct colours, counted up to `limit` (counting stops there).
    int countColours(int limit) const;
    // A window nothing has drawn into yet: empty, or no more than a few colours (a background
    // fill and perhaps a border).
    bool isBlank() const;

    // Same size and the same colour at every pixel.
    bool equals(const CRgbImage& other) const;

    [[nodiscard]] CError* writePng(const char* path) const;

private:
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels;
};

} // namespace kel
