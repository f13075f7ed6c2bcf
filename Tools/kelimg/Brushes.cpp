#include "Compilers.h"
#include "ImgWriter.h"

#include <cmath>

namespace kelimg
{

namespace
{

constexpr int kSubPixelBits = 4;
constexpr int kPositions = 1 << kSubPixelBits;
// Samples per pixel side when the dot's coverage is measured.
constexpr int kSamples = 16;

struct BrushSpec
{
    double size;
    int tileSize[3];
    double radius[3];
};

const BrushSpec kBrushes[] = {
    {0.0, {0, 0, 0}, {0.0, 0.0, 0.0}},
    {1.48, {4, 4, 4}, {1.092, 1.24, 1.425}},
    {2.96, {5, 5, 6}, {1.684, 1.98, 2.35}},
};

// Tile (sx, sy): the dot centred at tileSize / 2 - 0.5 plus the sub-pixel step, so every position
// keeps the whole dot inside the tile.
void renderTiles(int tileSize, double radius, ByteWriter& out)
{
    const double r2 = radius * radius;
    for (int sy = 0; sy < kPositions; ++sy)
        for (int sx = 0; sx < kPositions; ++sx)
        {
            const double cx = tileSize / 2.0 - 0.5 + static_cast<double>(sx) / kPositions;
            const double cy = tileSize / 2.0 - 0.5 + static_cast<double>(sy) / kPositions;
            for (int py = 0; py < tileSize; ++py)
                for (int px = 0; px < tileSize; ++px)
                {
                    int inside = 0;
                    for (int j = 0; j < kSamples; ++j)
                        for (int i = 0; i < kSamples; ++i)
                        {
                            const double dx = px + (i + 0.5) / kSamples - cx;
                            const double dy = py + (j + 0.5) / kSamples - cy;
                            inside += dx * dx + dy * dy <= r2 ? 1 : 0;
                        }
                    out.u8(static_cast<uint8_t>((inside * 255 + kSamples * kSamples / 2) /
                                                (kSamples * kSamples)));
                }
        }
}

} // namespace

bool compileBrushes(const std::string& outFile)
{
    ByteWriter out;
    out.u32(1);
    out.u32(3);
    for (const BrushSpec& brush : kBrushes)
    {
        out.f64(brush.size);
        out.i32(kSubPixelBits);
        out.i32(3);
        for (double scale : kScales)
            out.f64(scale);
        for (int v = 0; v < 3; ++v)
        {
            const int tile = brush.tileSize[v];
            out.i32(tile);
            out.f64(brush.radius[v]);
            out.u32(static_cast<uint32_t>(tile * tile * kPositions * kPositions));
            renderTiles(tile, brush.radius[v], out);
        }
    }
    return saveFile(outFile, out.bytes);
}

} // namespace kelimg
