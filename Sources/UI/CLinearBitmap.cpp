#include "UI/CLinearBitmap.h"

#include "UI/Resources/CColor.h"
#include "UI/Resources/CImageLayer.h"

#include <cstring>

namespace kel
{

int64_t CLinearBitmap::drawLoad = 0;

namespace
{

inline int channel(uint32_t pixel, int shift)
{
    return static_cast<int>((pixel >> shift) & 0xFF);
}

// The colour of one source pixel, before blending.
template <int Format> struct CSource
{
    const CColor& color;

    void get(const uint8_t* pixel, int& r, int& g, int& b) const
    {
        if (Format == CImageLayer::kAlphaMask)
        {
            r = color.red[255];
            g = color.green[255];
            b = color.blue[255];
        }
        else if (Format == CImageLayer::kGreyAlpha)
        {
            r = color.red[pixel[0]];
            g = color.green[pixel[0]];
            b = color.blue[pixel[0]];
        }
        else
        {
            b = pixel[0];
            g = pixel[1];
            r = pixel[2];
        }
    }
};

// Fixed-point mix of a destination pixel towards a source colour; weight in units of 1/2^Bits.
// The sum stays below 2^31 for every Bits used here (8, 15 and 23).
template <int Bits> inline uint32_t mix(uint32_t dst, int r, int g, int b, int weight)
{
    const int dr = channel(dst, 16);
    const int dg = channel(dst, 8);
    const int db = channel(dst, 0);
    const int nr = ((dr << Bits) + (r - dr) * weight) >> Bits;
    const int ng = ((dg << Bits) + (g - dg) * weight) >> Bits;
    const int nb = ((db << Bits) + (b - db) * weight) >> Bits;
    return static_cast<uint32_t>((nr << 16) | (ng << 8) | nb);
}

template <int Format>
void drawRuns(const CSource<Format>& source, const uint8_t* data, uint32_t* const* dstRows,
              int firstRow, int rowCount, int cutLeft, int visibleWidth, int opacity)
{
    const bool solid = opacity >= CLinearBitmap::kOpaqueThreshold;
    const int visibleEnd = cutLeft + visibleWidth;
    for (int i = 0; i < rowCount; ++i)
    {
        const uint8_t* entry = data + 2 + 4 * (firstRow + i);
        const uint32_t offset =
            entry[0] | (entry[1] << 8) | (entry[2] << 16) | (static_cast<uint32_t>(entry[3]) << 24);
        if (offset == 0)
            continue;
        const uint8_t* run = data + offset;
        uint32_t* dstRow = dstRows[i];
        int column = 0;
        while (column < visibleEnd)
        {
            int control = *run++;
            if (control & CImageLayer::kExtendedRunFlag)
                control |= *run++ << 8;
            const int type = control & 3;
            const int length = control >> 3;
            const int pixelBytes = type == CImageLayer::kRunTranslucent ? Format
                                   : type == CImageLayer::kRunOpaque    ? Format - 1
                                                                        : 0;
            const int runEnd = column + length;
            if (runEnd > cutLeft && type != CImageLayer::kRunTransparent)
            {
                const int from = column > cutLeft ? column : cutLeft;
                const int to = runEnd < visibleEnd ? runEnd : visibleEnd;
                const uint8_t* src = run + (from - column) * pixelBytes;
                uint32_t* dst = dstRow + (from - cutLeft);
                int r = 0;
                int g = 0;
                int b = 0;
                for (int n = to - from; n > 0; --n, src += pixelBytes, ++dst)
                {
                    source.get(src, r, g, b);
                    if (type == CImageLayer::kRunOpaque)
                        *dst = solid ? CLinearBitmap::makePixel(r, g, b)
                                     : mix<15>(*dst, r, g, b, opacity);
                    else if (solid)
                        *dst = mix<8>(*dst, r, g, b, src[Format - 1]);
                    else
                        *dst = mix<23>(*dst, r, g, b, src[Format - 1] * opacity);
                }
            }
            run += length * pixelBytes;
            column = runEnd;
        }
    }
}

} // namespace

CLinearBitmap::~CLinearBitmap()
{
    release();
}

void CLinearBitmap::release()
{
    CAllocator::free(pixels);
    pixels = nullptr;
    width = 0;
    height = 0;
}

CError* CLinearBitmap::resize(int pixelsWide, int pixelsHigh)
{
    release();
    if (pixelsWide <= 0 || pixelsHigh <= 0)
        return nullptr;
    const size_t count = static_cast<size_t>(pixelsWide) * static_cast<size_t>(pixelsHigh);
    pixels = allocArray<uint32_t>(count);
    if (!pixels)
        return KEL_ERROR("@kelstr_CLinearBitmap_resize_NoMemory Out of memory for a bitmap of "
                         "%1 x %2 pixels.",
                         pixelsWide, pixelsHigh);
    std::memset(pixels, 0, count * sizeof(uint32_t));
    width = pixelsWide;
    height = pixelsHigh;
    return nullptr;
}

void CLinearBitmap::fill(uint32_t value)
{
    const size_t count = static_cast<size_t>(width) * static_cast<size_t>(height);
    for (size_t i = 0; i < count; ++i)
        pixels[i] = value;
}

void CLinearBitmap::copyFrom(const CLinearBitmap& source, const Rect& area)
{
    const int left = area.left > 0 ? area.left : 0;
    const int top = area.top > 0 ? area.top : 0;
    int right = area.right < width ? area.right : width;
    int bottom = area.bottom < height ? area.bottom : height;
    right = right < source.width ? right : source.width;
    bottom = bottom < source.height ? bottom : source.height;
    for (int y = top; y < bottom && left < right; ++y)
        std::memcpy(getRow(y) + left, source.getRow(y) + left,
                    static_cast<size_t>(right - left) * sizeof(uint32_t));
}

void CLinearBitmap::drawLayer(const CImageLayer& layer, int originX, int originY, const Rect& clip,
                              const CColor* color, double opacity)
{
    if (clip.isEmpty())
        return;
    drawLoad += kLayerDrawCost + static_cast<int64_t>(layer.getDrawWidth()) * layer.getDrawHeight();

    const uint8_t* data = layer.getData();
    if (!data || !color || layer.getDataSize() < 2)
        return;
    const int rowCount = data[0] | (data[1] << 8);

    const int layerLeft = originX + layer.getX();
    const int layerTop = originY + layer.getY();
    int left = layerLeft > clip.left ? layerLeft : clip.left;
    int top = layerTop > clip.top ? layerTop : clip.top;
    int right = layerLeft + layer.getDrawWidth();
    int bottom = layerTop + (layer.getDrawHeight() < rowCount ? layer.getDrawHeight() : rowCount);
    right = right < clip.right ? right : clip.right;
    bottom = bottom < clip.bottom ? bottom : clip.bottom;
    left = left > 0 ? left : 0;
    top = top > 0 ? top : 0;
    right = right < width ? right : width;
    bottom = bottom < height ? bottom : height;
    if (right <= left || bottom <= top)
        return;

    double scaled = color->alpha * opacity * 32768.0;
    scaled = scaled < 0.0 ? 0.0 : (scaled > 32768.0 ? 32768.0 : scaled);
    const int effectiveOpacity = static_cast<int>(scaled);

    // The row pointers are gathered in batches on the stack so that the run walker needs no
    // knowledge of the bitmap's layout.
    constexpr int kBatchRows = 64;
    uint32_t* rows[kBatchRows];
    for (int batchTop = top; batchTop < bottom; batchTop += kBatchRows)
    {
        const int batchRows = bottom - batchTop < kBatchRows ? bottom - batchTop : kBatchRows;
        for (int i = 0; i < batchRows; ++i)
            rows[i] = getRow(batchTop + i) + left;
        const int firstRow = batchTop - layerTop;
        const int cutLeft = left - layerLeft;
        switch (layer.getPixelFormat())
        {
        case CImageLayer::kAlphaMask:
            drawRuns(CSource<CImageLayer::kAlphaMask>{*color}, data, rows, firstRow, batchRows,
                     cutLeft, right - left, effectiveOpacity);
            break;
        case CImageLayer::kGreyAlpha:
            drawRuns(CSource<CImageLayer::kGreyAlpha>{*color}, data, rows, firstRow, batchRows,
                     cutLeft, right - left, effectiveOpacity);
            break;
        case CImageLayer::kBgrAlpha:
            drawRuns(CSource<CImageLayer::kBgrAlpha>{*color}, data, rows, firstRow, batchRows,
                     cutLeft, right - left, effectiveOpacity);
            break;
        default:
            return;
        }
    }
}

} // namespace kel
