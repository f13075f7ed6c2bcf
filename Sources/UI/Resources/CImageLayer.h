#pragma once

#include "Core/CByteBuffer.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CInputStream;
class COutputStream;

// One coloured plane of an image (or a glyph), in the one stored size that suits the interface
// scale at load time. The pixels stay in their run-length coded form and are drawn straight from
// it (CLinearBitmap::drawLayer); a grey level is turned into colour through a palette entry.
//
// Coded pixels: a u16 row count, one u32 per row with the row's offset from the start of the data
// (0 for a row with nothing in it), then the rows. A row is a chain of runs. A run starts with a
// control byte c; when c has bit 2 set, a second byte h follows and the control value is
// c | (h << 8). The value's low two bits are the type (0 transparent, 1 translucent pixels with
// alpha last, 2 opaque pixels without alpha), the value shifted right by 3 its length.
//
// The data points into the resource when it was read from memory (the resource outlives every
// layer), otherwise into a buffer the layer owns. Owned by its CImage. [ui thread]
class CImageLayer : public CCheckedObject
{
public:
    enum PixelFormat
    {
        kAlphaMask = 1,
        kGreyAlpha = 2,
        kBgrAlpha = 4
    };
    enum RunType
    {
        kRunTransparent = 0,
        kRunTranslucent = 1,
        kRunOpaque = 2
    };
    static constexpr int kExtendedRunFlag = 4;
    static constexpr int kMaxRunLength = 0xFFFF >> 3;

    CImageLayer() = default;
    CImageLayer(const CImageLayer&) = delete;
    CImageLayer& operator=(const CImageLayer&) = delete;

    // Reads one layer record with all its stored sizes and keeps the one nearest to the interface
    // scale. A record without sizes leaves the layer empty and is no error.
    [[nodiscard]] CError* read(CInputStream& stream);
    // Writes a layer record holding the kept size alone.
    [[nodiscard]] CError* write(COutputStream& stream) const;

    int getColorSlot() const { return colorSlot; }
    int getPixelFormat() const { return pixelFormat; }
    int getWidth() const { return width; }
    int getHeight() const { return height; }
    double getAdvance() const { return advance; }
    int getX() const { return x; }
    int getY() const { return y; }
    int getDrawWidth() const { return drawWidth; }
    int getDrawHeight() const { return drawHeight; }
    // The scale of the stored size that was kept.
    double getScale() const { return scale; }
    const uint8_t* getData() const { return data; }
    uint32_t getDataSize() const { return dataSize; }
    bool isInPlace() const { return data != nullptr && data != ownedData.getData(); }

    // A grey that stands for the layer's tone: the pixel byte behind the first run head among
    // the first ten byte pairs of row 0 that is translucent or opaque; 255 for a layer without
    // pixels, 128 when none is found.
    int getRepresentativeGrey() const;

    // For the tools that compile resources: describes the layer and copies coded pixels.
    void setFormat(int slot, int format);
    void setGeometry(int nominalWidth, int nominalHeight, double advancePx, int left, int top,
                     int pixelsWide, int pixelsHigh);
    [[nodiscard]] CError* setCodedData(const void* bytes, size_t size, double storedScale);

private:
    [[nodiscard]] CError* readVariant(CInputStream& stream, bool keep);

    int colorSlot = 0;
    int pixelFormat = kAlphaMask;
    int width = 0;
    int height = 0;
    double advance = 0.0;
    int x = 0;
    int y = 0;
    int drawWidth = 0;
    int drawHeight = 0;
    double scale = 1.0;
    const uint8_t* data = nullptr; // the resource's bytes or ownedData's
    uint32_t dataSize = 0;
    CByteBuffer ownedData;
};

} // namespace kel
