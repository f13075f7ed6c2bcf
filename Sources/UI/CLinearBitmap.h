#pragma once

#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CColor;
class CImageLayer;

// A picture in memory: width by height pixels of 32 bits, blue in the lowest byte, then green,
// then red, the top byte unused (0x00RRGGBB), rows one after the other from the top. The window
// side copies such bitmaps to the screen; everything in the interface is drawn into them.
// Owns its pixels. [ui thread]
class CLinearBitmap : public CCheckedObject
{
public:
    // A rectangle in pixels, right and bottom exclusive.
    struct Rect
    {
        int left = 0;
        int top = 0;
        int right = 0;
        int bottom = 0;

        bool isEmpty() const { return right <= left || bottom <= top; }
    };

    // Opacity at or above which a layer is drawn on the solid path, in units of 1/32768.
    static constexpr int kOpaqueThreshold = 32640;
    // Fixed cost in the draw-load counter of drawing one layer.
    static constexpr int64_t kLayerDrawCost = 500;

    CLinearBitmap() = default;
    CLinearBitmap(const CLinearBitmap&) = delete;
    CLinearBitmap& operator=(const CLinearBitmap&) = delete;
    ~CLinearBitmap() override;

    // New pixels, all zero (black); the old ones are gone.
    [[nodiscard]] CError* resize(int pixelsWide, int pixelsHigh);

    int getWidth() const { return width; }
    int getHeight() const { return height; }
    uint32_t* getPixels() { return pixels; }
    const uint32_t* getPixels() const { return pixels; }
    uint32_t* getRow(int y) { return pixels + static_cast<size_t>(y) * width; }
    const uint32_t* getRow(int y) const { return pixels + static_cast<size_t>(y) * width; }
    uint32_t getPixel(int x, int y) const { return getRow(y)[x]; }
    void setPixel(int x, int y, uint32_t value) { getRow(y)[x] = value; }
    void fill(uint32_t value);
    // Copies the part of source that lies inside area (in both bitmaps' coordinates).
    void copyFrom(const CLinearBitmap& source, const Rect& area);

    static uint32_t makePixel(int red, int green, int blue)
    {
        return static_cast<uint32_t>((red << 16) | (green << 8) | blue);
    }

    // Draws a layer with its origin at (originX, originY), inside clip and the bitmap. Grey levels
    // are coloured through color's ramps (a mask takes the colour at grey 255; blue, green, red
    // pixels keep their own). The layer shows at color->alpha times opacity; at 99.6 % and above
    // it is drawn as solid. Reads the coded pixels in place and allocates nothing.
    void drawLayer(const CImageLayer& layer, int originX, int originY, const Rect& clip,
                   const CColor* color, double opacity);

    // The global drawing statistic: each drawn layer adds 500 plus its pixel area. Not locked.
    static int64_t getDrawLoad() { return drawLoad; }
    static void resetDrawLoad() { drawLoad = 0; }

private:
    void release();

    static int64_t drawLoad;

    int width = 0;
    int height = 0;
    uint32_t* pixels = nullptr;
};

} // namespace kel
