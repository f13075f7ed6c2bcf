#include "UI/Resources/CBrush.h"

#include "Core/CInputStream.h"
#include "Core/COutputStream.h"
#include "UI/Resources/CInPlaceData.h"
#include "UI/Resources/CUiScale.h"

namespace kel
{

CError* CBrush::read(CInputStream& stream)
{
    int32_t variantCount = 0;
    int best = -1;
    KEL_CHECK(stream.readDouble(size));
    KEL_CHECK(stream.readInt32(subPixelBits));
    KEL_CHECK(CUiScale::readSizes(stream, variantCount, best, scale));
    for (int i = 0; i < variantCount; ++i)
    {
        if (i != best)
        {
            uint32_t skipped = 0;
            KEL_CHECK(stream.consume(4 + 8));
            KEL_CHECK(stream.readUInt32(skipped));
            KEL_CHECK(stream.consume(skipped));
            continue;
        }
        KEL_CHECK(stream.readInt32(tileSize));
        KEL_CHECK(stream.readDouble(radius));
        KEL_CHECK(stream.readUInt32(coverageSize));
        KEL_CHECK(CInPlaceData::take(stream, coverageSize, ownedCoverage, coverage));
    }
    return nullptr;
}

CError* CBrush::write(COutputStream& stream) const
{
    KEL_CHECK(stream.writeDouble(size));
    KEL_CHECK(stream.writeInt32(subPixelBits));
    KEL_CHECK(stream.writeInt32(1));
    KEL_CHECK(stream.writeDouble(scale));
    KEL_CHECK(stream.writeInt32(tileSize));
    KEL_CHECK(stream.writeDouble(radius));
    KEL_CHECK(stream.writeUInt32(coverageSize));
    if (coverageSize)
        KEL_CHECK(stream.write(coverage, coverageSize));
    return nullptr;
}

const uint8_t* CBrush::getTile(int subX, int subY) const
{
    const int positions = 1 << subPixelBits;
    const uint32_t tileBytes = static_cast<uint32_t>(tileSize * tileSize);
    const uint32_t start = static_cast<uint32_t>(subY * positions + subX) * tileBytes;
    if (!coverage || subX < 0 || subY < 0 || subX >= positions || subY >= positions ||
        tileBytes == 0 || start + tileBytes > coverageSize)
        return nullptr;
    return coverage + start;
}

CError* CBrush::set(double strokeSize, int bits, int tilePx, double radiusPx, const uint8_t* tiles,
                    uint32_t bytes, double storedScale)
{
    if (!ownedCoverage.assign(tiles, bytes))
        return KEL_ERROR("@kelstr_CBrush_set_NoMemory Out of memory for %1 bytes of brush "
                         "coverage.",
                         bytes);
    size = strokeSize;
    subPixelBits = bits;
    tileSize = tilePx;
    radius = radiusPx;
    scale = storedScale;
    coverage = bytes ? ownedCoverage.getData() : nullptr;
    coverageSize = bytes;
    return nullptr;
}

} // namespace kel
