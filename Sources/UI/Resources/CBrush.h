#pragma once

#include "Core/CByteBuffer.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"

#include <cstdint>

namespace kel
{

class CInputStream;
class COutputStream;

// A round pen for anti-aliased lines: its dot pre-rendered at every sub-pixel position. With
// subPixelBits b there are 2^b by 2^b positions, each a tile of tileSize by tileSize coverage
// bytes (0 none, 255 full); tile (sx, sy) starts at (sy * 2^b + sx) * tileSize^2. Of the stored
// sizes the one nearest to the interface scale is kept.
// The coverage points into the resource when read from memory, else into an owned buffer.
// Owned by its CBrushSet. [ui thread]
class CBrush : public CCheckedObject
{
public:
    CBrush() = default;
    CBrush(const CBrush&) = delete;
    CBrush& operator=(const CBrush&) = delete;

    // f64 size, i32 subPixelBits, i32 size count, the scales, then per size i32 tileSize,
    // f64 radius, u32 length and the coverage.
    [[nodiscard]] CError* read(CInputStream& stream);
    // The kept size alone.
    [[nodiscard]] CError* write(COutputStream& stream) const;

    double getSize() const { return size; }
    int getSubPixelBits() const { return subPixelBits; }
    int getTileSize() const { return tileSize; }
    double getRadius() const { return radius; }
    double getScale() const { return scale; }
    const uint8_t* getCoverage() const { return coverage; }
    uint32_t getCoverageSize() const { return coverageSize; }
    // The tile of sub-pixel position (subX, subY), each 0 to 2^subPixelBits - 1; null when empty.
    const uint8_t* getTile(int subX, int subY) const;

    // For the tools: a brush with one stored size and a copy of its coverage.
    [[nodiscard]] CError* set(double strokeSize, int bits, int tilePx, double radiusPx,
                              const uint8_t* tiles, uint32_t bytes, double storedScale);

private:
    double size = 0.0;
    int subPixelBits = 0;
    int tileSize = 0;
    double radius = 0.0;
    double scale = 1.0;
    const uint8_t* coverage = nullptr; // the resource's bytes or ownedCoverage's
    uint32_t coverageSize = 0;
    CByteBuffer ownedCoverage;
};

} // namespace kel
